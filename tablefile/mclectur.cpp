// mclectur.cpp -- reading a binary table file: the file header, table headers one by one or by
// name, and the typed values of the records.
#include "tablefile/mclectur.h"

#include <sys/types.h>

#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <type_traits>

#include "common/mcbytes.h"
#include "runtime/mcmemoir.h"
#include "runtime/mctrace.h"
#include "tablefile/mcflux.h"
#include "tablefile/mcslot.h"

namespace mc {
namespace {

// On-disk sizes.
constexpr size_t kTailleEnteteFixe = 55;  // positions 5 to 59: name to the separator before the comment
constexpr size_t kTailleEnteteTable = 25;
constexpr uint32_t kTailleDescripteur = 5;
constexpr uint8_t kDemiPoint = 0xF;  // the decimal point's half-byte of a packed double

// The packed decimal double of 8 bytes.
double decoder_double(const uint8_t pucOctets[8]) {
  char acTexte[17];  // sign, first digit, fourteen half-bytes, NUL
  size_t n = 0;
  if (pucOctets[0] > 15) {
    acTexte[n++] = '-';
  }
  acTexte[n++] = static_cast<char>('0' + (pucOctets[0] & 0x0F));
  for (size_t i = 2; i < 16; ++i) {
    const auto ucDemi = static_cast<uint8_t>((i % 2 == 0 ? pucOctets[i / 2] >> 4 : pucOctets[i / 2]) & 0x0F);
    acTexte[n++] = ucDemi == kDemiPoint ? '.' : static_cast<char>('0' + ucDemi);
  }
  if (acTexte[n - 1] == '.') {
    --n;
  }
  acTexte[n] = '\0';
  return atof(acTexte);
}

// One typed value from the record's stream: an integer of sizeof(T) big-endian bytes, the signed
// forms keeping the same bits, or a packed double (which also fails on a stream error). The
// target is untouched on failure. 0, 0xF640, 0xF802 (no target).
template <typename T>
uint16_t lire_valeur(const FichierBinaire& s, T* pValeur) {
  constexpr bool bDouble = std::is_floating_point_v<T>;
  static_assert(sizeof(T) <= 4 || (bDouble && sizeof(T) == 8));
  if (pValeur == nullptr) {
    return MC_ERR_ARGUMENT;
  }
  uint8_t auc[sizeof(T)];
  const uint16_t usCr = lire_octets(s, auc, sizeof auc, bDouble);
  if (usCr == MC_CR_OK) {
    if constexpr (bDouble) {
      *pValeur = decoder_double(auc);
    } else {
      uint32_t ulValeur = 0;
      for (const uint8_t uc : auc) {
        ulValeur = (ulValeur << 8) | uc;
      }
      *pValeur = static_cast<T>(ulValeur);
    }
  }
  return usCr;
}

// An exported typed reader named pcNom: its lines, the lookup, the value.
template <typename T>
uint16_t lire_valeur_par_numero(const char* pcNom, uint16_t usNum, T* pValeur) {
  return sur_numero(pcNom, usNum, [&](FichierBinaire& s) { return lire_valeur(s, pValeur); });
}

// An exported fixed field named pcNom of ulNombre units of `taille` bytes.
uint16_t lire_champ_par_numero(const char* pcNom, uint16_t usNum, void* pvBuffer, size_t taille,
                               uint32_t ulNombre) {
  return sur_numero(pcNom, usNum, [&](FichierBinaire& s) {
    uint32_t ulLus = 0;
    return lire_champ(pcNom, s, pvBuffer, taille, ulNombre, ulNombre, &ulLus);
  });
}

// Replaces the trailing spaces of a field of n characters by NULs, never before its first one.
void retirer_blancs(char* pc, size_t n) {
  for (size_t i = n; i > 0 && pc[i - 1] == ' '; --i) {
    pc[i - 1] = '\0';
  }
}

void copier_champ(char* pcCible, const uint8_t* puc, size_t n) {
  memcpy(pcCible, puc, n);
  pcCible[n] = '\0';
}

// Moves forward over a table's data of ulTaille bytes; false when the move fails.
// Deviation: a move that would end past 0x7FFFFFFF fails on every build, as the first form's move
// through a signed 32-bit offset did, whatever the width of long; a damaged size gives 0xF640.
bool sauter_donnees(FILE* pFichier, uint32_t ulTaille) {
  static_assert(sizeof(off_t) == 8, "built with large-file support");
  const off_t position = ftello(pFichier);
  return position >= 0 && ulTaille <= INT32_MAX - position &&
         fseeko(pFichier, static_cast<off_t>(ulTaille), SEEK_CUR) == 0;
}

// The comment up to its CR, at most ulTaille - 1 characters kept in pcBuffer. 0, 0xF640, 0xF802.
uint16_t usLireCommentaire(FichierBinaire& s, char* pcBuffer, size_t ulTaille) {
  MC_TRACE(kModule, kTrcTables, MC_TRACE_ENTREE, "usLireCommentaire");
  uint16_t usCr = MC_CR_OK;
  if (pcBuffer == nullptr || ulTaille == 0) {
    usCr = MC_ERR_ARGUMENT;
  }
  if (usCr == MC_CR_OK && ftell(s.pFichier) < 0) {
    usCr = MC_ERR_FIN_FICHIER;
  }
  if (usCr == MC_CR_OK) {
    // The characters are kept while they are counted, which reads the same bytes as going back
    // and reading the comment and its CR again.
    FILE* pFichier = s.pFichier;
    size_t compte = 0;
    int c = EOF;
    // Deviation: the search for the CR stops at the length measured at opening, like at the end
    // of the file, so a file that never ends cannot hold the opening.
    uint64_t ullLisibles = octets_lisibles(s, ftell(pFichier));
    flockfile(pFichier);
    for (; ullLisibles != 0; --ullLisibles) {
      c = getc_unlocked(pFichier);
      if (c == EOF || c == '\r') {
        break;
      }
      if (compte + 1 < ulTaille) {
        pcBuffer[compte] = static_cast<char>(c);
      }
      ++compte;
    }
    funlockfile(pFichier);
    if (c != '\r') {
      usCr = MC_ERR_FIN_FICHIER;
    } else if (compte == 0) {
      // Kept: an empty comment consumes the byte after its CR too, so the header misreads.
      uint8_t ucSuivant = 0;
      if (ullLisibles <= 1 || fread(&ucSuivant, 1, 1, pFichier) != 1) {
        usCr = MC_ERR_FIN_FICHIER;
      }
    }
    pcBuffer[compte < ulTaille ? compte : ulTaille - 1] = '\0';
  }
  MC_TRACE(kModule, kTrcTables, MC_TRACE_SORTIE, "usLireCommentaire");
  return usCr;
}

// The next table header; the stream then stands at the table's first record. 0, 0xF640, 0xF802.
uint16_t lire_entete_table(FichierBinaire& s, EnteteTable* psEnteteTable) {
  if (psEnteteTable == nullptr) {
    return MC_ERR_ARGUMENT;
  }
  uint8_t aucEntete[kTailleEnteteTable];
  if (lire_borne(s, aucEntete, sizeof aucEntete) != sizeof aucEntete) {
    return MC_ERR_FIN_FICHIER;
  }
  copier_champ(psEnteteTable->szNomTable, aucEntete, 10);
  retirer_blancs(psEnteteTable->szNomTable, 10);
  psEnteteTable->ulTailleDonnees = lire_be32(aucEntete + 10);
  psEnteteTable->ulNombreEnregistrements = lire_be32(aucEntete + 14);
  psEnteteTable->ulReserve = lire_be32(aucEntete + 18);
  psEnteteTable->ucNombreDescripteurs1 = aucEntete[22];
  psEnteteTable->ucNombreDescripteurs2 = aucEntete[23];
  psEnteteTable->ucReserve = aucEntete[24];
  // The descriptor entries are skipped without interpretation.
  const long lSaut = static_cast<long>(kTailleDescripteur) *
                     (psEnteteTable->ucNombreDescripteurs1 + psEnteteTable->ucNombreDescripteurs2);
  return fseek(s.pFichier, lSaut, SEEK_CUR) == 0 ? MC_CR_OK : MC_ERR_FIN_FICHIER;
}

// The table header's entry and exit lines around corps.
template <typename F>
uint16_t traces_entete_table(uint16_t usNum, F&& corps) {
  MC_TRACE(kModule, kTrcTables, MC_TRACE_ENTREE, "MC_usLireEnteteTable : usNumFichierBinaire = %d", usNum);
  const uint16_t usCr = corps();
  // Kept: the exit line carries the writing operation's text.
  MC_TRACE(kModule, kTrcTables, MC_TRACE_SORTIE, "MC_usEcrireEnteteTable : Code retour = 0x%04x", usCr);
  return usCr;
}

// The search by name from the current position, wrapping once. 0, 0xF640, 0xF805, and the codes
// of the header readers.
uint16_t rechercher_table(FichierBinaire& s, uint16_t usNumFichierBinaire, const char* pcNomTable,
                          EnteteTable* psEnteteTable) {
  if (pcNomTable == nullptr || psEnteteTable == nullptr) {
    return MC_ERR_ARGUMENT;
  }
  uint16_t usCr = MC_CR_OK;
  const uint32_t ulFinZone = taille_donnees(s);
  const long lDebut = ftell(s.pFichier);
  if (lDebut < 0) {
    usCr = MC_ERR_FIN_FICHIER;
  }
  bool bEnroule = false;
  bool bTrouve = false;
  bool bArret = false;
  // Back to the first table: the file header is read again, and its result replaces the code.
  auto enrouler = [&] {
    bEnroule = true;
    EnteteFichierBinaire sEntete;
    usCr = usLireEnteteFichierBinaire(s, usNumFichierBinaire, &sEntete);
  };
  while (usCr == MC_CR_OK && !bTrouve && !bArret) {
    const long lPosition = ftell(s.pFichier);
    if (lPosition < 0) {
      usCr = MC_ERR_FIN_FICHIER;
      break;
    }
    if (bEnroule && lPosition >= lDebut) {
      bArret = true;
      usCr = MC_ERR_FIN;
      break;
    }
    const bool bDansZone = static_cast<unsigned long>(lPosition) < ulFinZone;
    if (bDansZone) {
      usCr = traces_entete_table(usNumFichierBinaire, [&] { return lire_entete_table(s, psEnteteTable); });
      if (usCr == MC_CR_OK) {
        if (strcmp(psEnteteTable->szNomTable, pcNomTable) == 0) {
          bTrouve = true;
        } else {
          if (!sauter_donnees(s.pFichier, psEnteteTable->ulTailleDonnees)) {
            usCr = MC_ERR_FIN_FICHIER;
          }
        }
      }
      if (feof(s.pFichier) != 0) {
        if (!bEnroule) {
          enrouler();
        } else if (lPosition > lDebut) {
          bArret = true;
          usCr = MC_ERR_FIN;
        }
      }
    } else if (!bEnroule) {
      enrouler();
    } else {
      // Back at the end of the table area after the wrap without reaching the start (a search
      // started beyond the area): the round is over.
      bArret = true;
      usCr = MC_ERR_FIN;
    }
  }
  return usCr;
}

// A variable string: its length coding, then the characters in a new text handed to the caller
// even when they could not all be read. 0, 0xF640, 0xF801, 0xF802.
uint16_t lire_chaine_variable(FichierBinaire& s, char** ppcTexte) {
  if (ppcTexte == nullptr) {
    return MC_ERR_ARGUMENT;
  }
  *ppcTexte = nullptr;
  uint32_t ulLongueur = 0;
  uint8_t ucPremier = 0;
  uint16_t usCr = lire_octets(s, &ucPremier, 1);
  if (usCr != MC_CR_OK) {
    return usCr;
  }
  if (ucPremier > 0x80) {
    // Kept: 0x80 alone is read as the length 128, a form the writer never makes.
    const unsigned uNbOctets = ucPremier - 0x80u;
    if (uNbOctets > 4) {
      MC_TRACE(kModule, kTrcTables, MC_TRACE_ERREUR,
               "MC_usLireChaineVariable : Nombre d'octets pour coder la longueur (%u) > %d.", uNbOctets, 4);
      return MC_ERR_ARGUMENT;
    }
    // The length bytes stop early at the end of the file; the characters then fail.
    uint8_t auc[4];
    const size_t lus = lire_borne(s, auc, uNbOctets);
    for (size_t i = 0; i < lus; ++i) {
      ulLongueur = (ulLongueur << 8) | auc[i];
    }
  } else {
    ulLongueur = ucPremier;
  }
  // Deviation: the block is no larger than what the file still holds, plus the zero; a
  // length beyond the end fails with the same code and line, having read what there is.
  const uint64_t ullRestants = octets_restants(s);
  const uint32_t ulPlace = ullRestants < ulLongueur ? static_cast<uint32_t>(ullRestants) : ulLongueur;
  char* pcTexte = ulPlace == UINT32_MAX ? nullptr : static_cast<char*>(MC_Allouer(ulPlace + 1));
  if (pcTexte == nullptr) {
    return MC_ERR_MEMOIRE;
  }
  uint32_t ulLus = 0;
  usCr = entre_traces("MC_usLireChampFixe", [&] {
    return lire_champ("MC_usLireChampFixe", s, pcTexte, 1, ulLongueur, ulPlace, &ulLus);
  });
  pcTexte[ulLus] = '\0';
  // The text is the caller's even when its characters could not all be read.
  *ppcTexte = pcTexte;
  return usCr;
}

}  // namespace

uint16_t usLireEnteteFichierBinaire(FichierBinaire& s, uint16_t usNumFichierBinaire,
                                    EnteteFichierBinaire* psEntete) {
  MC_TRACE(kModule, kTrcTables, MC_TRACE_ENTREE, "usLireEnteteFichierBinaire : usNumFichierBinaire = %d",
           usNumFichierBinaire);
  uint16_t usCr = MC_CR_OK;
  if (psEntete == nullptr) {
    usCr = MC_ERR_ARGUMENT;
  }
  if (usCr == MC_CR_OK && fseek(s.pFichier, 5L, SEEK_SET) != 0) {
    MC_TRACE(kModule, kTrcTables, MC_TRACE_ERREUR,
             "usRechercherFichier : probleme de positionnement en debut de fichier");
    usCr = MC_ERR_FICHIER;
  }
  if (usCr == MC_CR_OK) {
    // The separators are read and ignored, whatever their value.
    uint8_t aucEntete[kTailleEnteteFixe];
    if (lire_borne(s, aucEntete, sizeof aucEntete) != sizeof aucEntete) {
      usCr = MC_ERR_FIN_FICHIER;
    } else {
      copier_champ(psEntete->szNomFichier, aucEntete, 12);
      retirer_blancs(psEntete->szNomFichier, 12);
      copier_champ(psEntete->szVersion, aucEntete + 13, 4);
      copier_champ(psEntete->szTexte5, aucEntete + 18, 5);
      copier_champ(psEntete->szTexte8, aucEntete + 24, 8);
      copier_champ(psEntete->szVersionRequise, aucEntete + 33, 4);
      copier_champ(psEntete->szTexte5b, aucEntete + 38, 5);
      copier_champ(psEntete->szTexte10, aucEntete + 44, 10);
    }
  }
  if (usCr == MC_CR_OK) {
    usCr = usLireCommentaire(s, psEntete->szCommentaire, sizeof psEntete->szCommentaire);
  }
  if (usCr == MC_CR_OK && fseek(s.pFichier, 2L, SEEK_CUR) != 0) {
    MC_TRACE(kModule, kTrcTables, MC_TRACE_ERREUR, "usLireEnteteFichierBinaire : en fin d'entete");
    usCr = MC_ERR_FIN_FICHIER;
  }
  MC_TRACE(kModule, kTrcTables, MC_TRACE_SORTIE, "usLireEnteteFichierBinaire : Code retour = 0x%04x",
           usCr);
  return usCr;
}

}  // namespace mc

using mc::FichierBinaire;
using mc::kModule;
using mc::kTrcTables;

extern "C" MC_API uint16_t MC_usLireEnteteTable(uint16_t usNumFichierBinaire, EnteteTable* psEnteteTable) {
  return mc::traces_entete_table(usNumFichierBinaire, [&] {
    FichierBinaire* ps = nullptr;
    const uint16_t usCr = mc::usRechercherFichier(usNumFichierBinaire, &ps);
    return usCr == MC_CR_OK ? mc::lire_entete_table(*ps, psEnteteTable) : usCr;
  });
}

extern "C" MC_API uint16_t MC_usRechercherTable(uint16_t usNumFichierBinaire, const char* pcNomTable,
                                                EnteteTable* psEnteteTable) {
  MC_TRACE(kModule, kTrcTables, MC_TRACE_ENTREE, "MC_usRechercherTable : usNumFichierBinaire = %d",
           usNumFichierBinaire);
  FichierBinaire* ps = nullptr;
  uint16_t usCr = mc::usRechercherFichier(usNumFichierBinaire, &ps);
  if (usCr == MC_CR_OK) {
    usCr = mc::rechercher_table(*ps, usNumFichierBinaire, pcNomTable, psEnteteTable);
  }
  MC_TRACE(kModule, kTrcTables, MC_TRACE_SORTIE, "MC_usRechercherTable : Code retour = 0x%04x", usCr);
  return usCr;
}

extern "C" MC_API uint16_t MC_usLireUnsignedChar(uint16_t usNumFichierBinaire, uint8_t* pucValeur) {
  return mc::lire_valeur_par_numero("MC_usLireUnsignedChar", usNumFichierBinaire, pucValeur);
}

extern "C" MC_API uint16_t MC_usLireSignedChar(uint16_t usNumFichierBinaire, int8_t* pcValeur) {
  return mc::lire_valeur_par_numero("MC_usLireSignedChar", usNumFichierBinaire, pcValeur);
}

extern "C" MC_API uint16_t MC_usLireUnsignedShort(uint16_t usNumFichierBinaire, uint16_t* pusValeur) {
  return mc::lire_valeur_par_numero("MC_usLireUnsignedShort", usNumFichierBinaire, pusValeur);
}

extern "C" MC_API uint16_t MC_usLireSignedShort(uint16_t usNumFichierBinaire, int16_t* psValeur) {
  return mc::lire_valeur_par_numero("MC_usLireSignedShort", usNumFichierBinaire, psValeur);
}

extern "C" MC_API uint16_t MC_usLireUnsignedLong(uint16_t usNumFichierBinaire, uint32_t* pulValeur) {
  return mc::lire_valeur_par_numero("MC_usLireUnsignedLong", usNumFichierBinaire, pulValeur);
}

extern "C" MC_API uint16_t MC_usLireSignedLong(uint16_t usNumFichierBinaire, int32_t* plValeur) {
  return mc::lire_valeur_par_numero("MC_usLireSignedLong", usNumFichierBinaire, plValeur);
}

extern "C" MC_API uint16_t MC_usLireDouble(uint16_t usNumFichierBinaire, double* pdValeur) {
  return mc::lire_valeur_par_numero("MC_usLireDouble", usNumFichierBinaire, pdValeur);
}

extern "C" MC_API uint16_t MC_usLireDate(uint16_t usNumFichierBinaire, uint16_t* pusValeur1,
                                         uint8_t* pucValeur2, uint8_t* pucValeur3) {
  MC_TRACE(kModule, kTrcTables, MC_TRACE_ENTREE, "MC_usLireDate");
  // The number is looked up once, within the first value's lines, as its own reader does.
  FichierBinaire* ps = nullptr;
  uint16_t usCr = mc::sur_numero("MC_usLireUnsignedShort", usNumFichierBinaire, [&](FichierBinaire& s) {
    ps = &s;
    return mc::lire_valeur(s, pusValeur1);
  });
  if (usCr == MC_CR_OK) {
    usCr = mc::entre_traces("MC_usLireUnsignedChar", [&] { return mc::lire_valeur(*ps, pucValeur2); });
  }
  if (usCr == MC_CR_OK) {
    usCr = mc::entre_traces("MC_usLireUnsignedChar", [&] { return mc::lire_valeur(*ps, pucValeur3); });
  }
  MC_TRACE(kModule, kTrcTables, MC_TRACE_SORTIE, "MC_usLireDate");
  return usCr;
}

extern "C" MC_API uint16_t MC_usLireChampFixe(uint16_t usNumFichierBinaire, void* pvBuffer,
                                              uint32_t ulLongueur) {
  return mc::lire_champ_par_numero("MC_usLireChampFixe", usNumFichierBinaire, pvBuffer, 1, ulLongueur);
}

extern "C" MC_API uint16_t MC_usLireChampUnicodeFixe(uint16_t usNumFichierBinaire, uint16_t* pusBuffer,
                                                     uint32_t ulNombre) {
  return mc::lire_champ_par_numero("MC_usLireChampUnicodeFixe", usNumFichierBinaire, pusBuffer, sizeof(uint16_t),
                        ulNombre);
}

extern "C" MC_API uint16_t MC_usLireChaineVariable(uint16_t usNumFichierBinaire, char** ppcTexte) {
  return mc::sur_numero("MC_usLireChaineVariable", usNumFichierBinaire,
                        [&](FichierBinaire& s) { return mc::lire_chaine_variable(s, ppcTexte); });
}
