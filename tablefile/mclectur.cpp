// mclectur.cpp -- reading a binary table file: the file header, table headers one by one or by
// name, and the typed values of the records.
#include <sys/stat.h>

#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <type_traits>

#include "common/mcbytes.h"
#include "runtime/mctrace.h"
#include "tablefile/mcfichie.h"

namespace mc {
namespace {

// On-disk sizes.
constexpr size_t kTailleEnteteFixe = 55;  // positions 5 to 59: name to the separator before the comment
constexpr size_t kTailleEnteteTable = 25;
constexpr uint32_t kTailleDescripteur = 5;

// Reads at most n bytes, none beyond the file's read bound; the number read. A read cut by the
// bound looks one byte further, and puts it back, so that the stream shows its end of file as
// a read cut by the end itself does when the file has not grown since it was opened.
size_t lire_borne(const FichierBinaire* ps, void* pv, size_t n) {
  // Deviation: nothing is read beyond the length measured at opening.
  bool bCoupe = false;
  if (ps->ullFinLecture != kSansBorne) {
    const uint64_t ullLisibles = octets_lisibles(ps, ftell(ps->pFichier));
    if (ullLisibles < n) {
      n = static_cast<size_t>(ullLisibles);
      bCoupe = true;
    }
  }
  const size_t lus = n != 0 ? fread(pv, 1, n, ps->pFichier) : 0;
  if (bCoupe && lus == n) {
    const int c = getc(ps->pFichier);
    if (c != EOF) {
      ungetc(c, ps->pFichier);
    }
  }
  return lus;
}

// Reads the n bytes of one value in one call, after the slot lookup and the position check; a
// value cut by the read bound fails like one cut by the end of the file.
// 0, 0xF640, 0xF802 (no target), 0xF807.
uint16_t lire_octets(uint16_t usNum, const void* pvCible, uint8_t* puc, size_t n,
                     bool bErreurFlux = false) {
  FichierBinaire* ps = nullptr;
  const uint16_t usCr = usRechercherFichier(usNum, &ps);
  if (usCr != MC_CR_OK) {
    return usCr;
  }
  if (pvCible == nullptr) {
    return MC_ERR_ARGUMENT;
  }
  const long lPosition = ftell(ps->pFichier);
  if (lPosition < 0) {
    return MC_ERR_FIN_FICHIER;
  }
  // Deviation: nothing is read beyond the length measured at opening.
  const uint64_t ullLisibles = octets_lisibles(ps, lPosition);
  const size_t lisibles = ullLisibles < n ? static_cast<size_t>(ullLisibles) : n;
  if ((lisibles != 0 ? fread(puc, 1, lisibles, ps->pFichier) : 0) != n ||
      (bErreurFlux && ferror(ps->pFichier) != 0)) {
    return MC_ERR_FIN_FICHIER;
  }
  return MC_CR_OK;
}

// One typed value between its entry and exit lines, named pcNom: an integer of sizeof(T)
// big-endian bytes, the signed forms keeping the same bits, or a packed double (which also
// fails on a stream error). The target is untouched on failure.
template <typename T>
uint16_t lire_valeur(const char* pcNom, uint16_t usNum, T* pValeur) {
  MC_TRACE(kModule, kTrcTables, MC_TRACE_ENTREE, "%s", pcNom);
  constexpr bool bDouble = std::is_floating_point_v<T>;
  static_assert(sizeof(T) <= 4 || (bDouble && sizeof(T) == 8));
  uint8_t auc[sizeof(T)];
  const uint16_t usCr = lire_octets(usNum, pValeur, auc, sizeof auc, bDouble);
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
  MC_TRACE(kModule, kTrcTables, MC_TRACE_SORTIE, "%s", pcNom);
  return usCr;
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

// A fixed field of ulNombre units of `taille` bytes, between the entry and exit lines of pcNom,
// of which at most ulPlace units go to the buffer; the shortfall is reported against ulNombre.
// Stores the number of units read.
uint16_t lire_champ(const char* pcNom, uint16_t usNum, void* pvBuffer, size_t taille, uint32_t ulNombre,
                    uint32_t ulPlace, uint32_t* pulLus) {
  MC_TRACE(kModule, kTrcTables, MC_TRACE_ENTREE, "%s", pcNom);
  FichierBinaire* ps = nullptr;
  *pulLus = 0;
  uint16_t usCr = usRechercherFichier(usNum, &ps);
  if (usCr == MC_CR_OK && pvBuffer == nullptr && ulNombre != 0) {
    usCr = MC_ERR_ARGUMENT;
  }
  if (usCr == MC_CR_OK && ulNombre != 0) {
    const uint32_t ulDemandes = ulPlace < ulNombre ? ulPlace : ulNombre;
    size_t lus = 0;
    if (ps->ullFinLecture == kSansBorne) {
      lus = fread(pvBuffer, taille, ulDemandes, ps->pFichier);
    } else {
      // Byte by byte up to the bound, as fread takes the bytes of a unit cut by the end.
      lus = lire_borne(ps, pvBuffer, static_cast<size_t>(uint64_t{taille} * ulDemandes)) / taille;
    }
    *pulLus = static_cast<uint32_t>(lus);
    if (lus != ulNombre) {
      usCr = MC_ERR_FIN_FICHIER;
      MC_TRACE(kModule, kTrcTables, MC_TRACE_ERREUR, "%s : Fin de fichier lu %d a liree %d usCr %d", pcNom,
               static_cast<int>(lus), static_cast<int>(ulNombre), static_cast<int>(usCr));
    }
  }
  MC_TRACE(kModule, kTrcTables, MC_TRACE_SORTIE, "%s", pcNom);
  return usCr;
}

// Bytes left between the stream's position and the end of its file: the read bound of a file
// opened for reading, the length on disk of a file created for writing.
uint64_t octets_restants(FichierBinaire* ps) {
  const long lPosition = ftell(ps->pFichier);
  uint64_t ullRestants = octets_lisibles(ps, lPosition);
  if (ullRestants == kSansBorne) {
    struct stat st {};
    if (fflush(ps->pFichier) != 0) {
      noter_erreur_ecriture(ps);
    }
    ullRestants = lPosition >= 0 && fstat(fileno(ps->pFichier), &st) == 0 && st.st_size > lPosition
                      ? static_cast<uint64_t>(st.st_size - lPosition)
                      : 0;
  }
  return ullRestants;
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

}  // namespace

uint16_t usLireCommentaire(uint16_t usNumFichierBinaire, char* pcBuffer, size_t ulTaille) {
  MC_TRACE(kModule, kTrcTables, MC_TRACE_ENTREE, "usLireCommentaire");
  FichierBinaire* ps = nullptr;
  uint16_t usCr = usRechercherFichier(usNumFichierBinaire, &ps);
  if (usCr == MC_CR_OK && (pcBuffer == nullptr || ulTaille == 0)) {
    usCr = MC_ERR_ARGUMENT;
  }
  if (usCr == MC_CR_OK && ftell(ps->pFichier) < 0) {
    usCr = MC_ERR_FIN_FICHIER;
  }
  if (usCr == MC_CR_OK) {
    // The characters are kept while they are counted, which reads the same bytes as going back
    // and reading the comment and its CR again.
    FILE* pFichier = ps->pFichier;
    size_t compte = 0;
    int c = EOF;
    // Deviation: the search for the CR stops at the length measured at opening, like at the end
    // of the file, so a file that never ends cannot hold the opening.
    uint64_t ullLisibles = octets_lisibles(ps, ftell(pFichier));
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

uint16_t usLireEnteteFichierBinaire(uint16_t usNumFichierBinaire, EnteteFichierBinaire* psEntete) {
  MC_TRACE(kModule, kTrcTables, MC_TRACE_ENTREE, "usLireEnteteFichierBinaire : usNumFichierBinaire = %d",
           usNumFichierBinaire);
  FichierBinaire* ps = nullptr;
  uint16_t usCr = usRechercherFichier(usNumFichierBinaire, &ps);
  if (usCr == MC_CR_OK && psEntete == nullptr) {
    usCr = MC_ERR_ARGUMENT;
  }
  if (usCr == MC_CR_OK && fseek(ps->pFichier, 5L, SEEK_SET) != 0) {
    MC_TRACE(kModule, kTrcTables, MC_TRACE_ERREUR,
             "usRechercherFichier : probleme de positionnement en debut de fichier");
    usCr = MC_ERR_FICHIER;
  }
  if (usCr == MC_CR_OK) {
    // The separators are read and ignored, whatever their value.
    uint8_t aucEntete[kTailleEnteteFixe];
    if (lire_borne(ps, aucEntete, sizeof aucEntete) != sizeof aucEntete) {
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
    usCr = usLireCommentaire(usNumFichierBinaire, psEntete->szCommentaire,
                             sizeof psEntete->szCommentaire);
  }
  if (usCr == MC_CR_OK && fseek(ps->pFichier, 2L, SEEK_CUR) != 0) {
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
  MC_TRACE(kModule, kTrcTables, MC_TRACE_ENTREE, "MC_usLireEnteteTable : usNumFichierBinaire = %d",
           usNumFichierBinaire);
  FichierBinaire* ps = nullptr;
  uint16_t usCr = mc::usRechercherFichier(usNumFichierBinaire, &ps);
  if (usCr == MC_CR_OK && psEnteteTable == nullptr) {
    usCr = MC_ERR_ARGUMENT;
  }
  if (usCr == MC_CR_OK) {
    uint8_t aucEntete[mc::kTailleEnteteTable];
    if (mc::lire_borne(ps, aucEntete, sizeof aucEntete) != sizeof aucEntete) {
      usCr = MC_ERR_FIN_FICHIER;
    } else {
      mc::copier_champ(psEnteteTable->szNomTable, aucEntete, 10);
      mc::retirer_blancs(psEnteteTable->szNomTable, 10);
      psEnteteTable->ulTailleDonnees = mc::load_be32(aucEntete + 10);
      psEnteteTable->ulNombreEnregistrements = mc::load_be32(aucEntete + 14);
      psEnteteTable->ulReserve = mc::load_be32(aucEntete + 18);
      psEnteteTable->ucNombreDescripteurs1 = aucEntete[22];
      psEnteteTable->ucNombreDescripteurs2 = aucEntete[23];
      psEnteteTable->ucReserve = aucEntete[24];
      // The descriptor entries are skipped without interpretation.
      const long lSaut = static_cast<long>(mc::kTailleDescripteur) *
                         (psEnteteTable->ucNombreDescripteurs1 + psEnteteTable->ucNombreDescripteurs2);
      if (fseek(ps->pFichier, lSaut, SEEK_CUR) != 0) {
        usCr = MC_ERR_FIN_FICHIER;
      }
    }
  }
  // Kept: the exit line carries the writing operation's text.
  MC_TRACE(kModule, kTrcTables, MC_TRACE_SORTIE, "MC_usEcrireEnteteTable : Code retour = 0x%04x", usCr);
  return usCr;
}

extern "C" MC_API uint16_t MC_usRechercherTable(uint16_t usNumFichierBinaire, const char* pcNomTable,
                                                EnteteTable* psEnteteTable) {
  MC_TRACE(kModule, kTrcTables, MC_TRACE_ENTREE, "MC_usRechercherTable : usNumFichierBinaire = %d",
           usNumFichierBinaire);
  FichierBinaire* ps = nullptr;
  uint16_t usCr = mc::usRechercherFichier(usNumFichierBinaire, &ps);
  if (usCr == MC_CR_OK && (pcNomTable == nullptr || psEnteteTable == nullptr)) {
    usCr = MC_ERR_ARGUMENT;
  }
  uint32_t ulFinZone = 0;
  if (usCr == MC_CR_OK) {
    usCr = mc::usTailleDonnneeFichierBinaire(usNumFichierBinaire, &ulFinZone);
  }
  const long lDebut = usCr == MC_CR_OK ? ftell(ps->pFichier) : 0;
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
    usCr = mc::usLireEnteteFichierBinaire(usNumFichierBinaire, &sEntete);
  };
  while (usCr == MC_CR_OK && !bTrouve && !bArret) {
    const long lPosition = ftell(ps->pFichier);
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
      usCr = MC_usLireEnteteTable(usNumFichierBinaire, psEnteteTable);
      if (usCr == MC_CR_OK) {
        if (strcmp(psEnteteTable->szNomTable, pcNomTable) == 0) {
          bTrouve = true;
        } else {
          if (!mc::sauter_donnees(ps->pFichier, psEnteteTable->ulTailleDonnees)) {
            usCr = MC_ERR_FIN_FICHIER;
          }
        }
      }
      if (feof(ps->pFichier) != 0) {
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
  MC_TRACE(kModule, kTrcTables, MC_TRACE_SORTIE, "MC_usRechercherTable : Code retour = 0x%04x", usCr);
  return usCr;
}

extern "C" MC_API uint16_t MC_usLireUnsignedChar(uint16_t usNumFichierBinaire, uint8_t* pucValeur) {
  return mc::lire_valeur("MC_usLireUnsignedChar", usNumFichierBinaire, pucValeur);
}

extern "C" MC_API uint16_t MC_usLireSignedChar(uint16_t usNumFichierBinaire, int8_t* pcValeur) {
  return mc::lire_valeur("MC_usLireSignedChar", usNumFichierBinaire, pcValeur);
}

extern "C" MC_API uint16_t MC_usLireUnsignedShort(uint16_t usNumFichierBinaire, uint16_t* pusValeur) {
  return mc::lire_valeur("MC_usLireUnsignedShort", usNumFichierBinaire, pusValeur);
}

extern "C" MC_API uint16_t MC_usLireSignedShort(uint16_t usNumFichierBinaire, int16_t* psValeur) {
  return mc::lire_valeur("MC_usLireSignedShort", usNumFichierBinaire, psValeur);
}

extern "C" MC_API uint16_t MC_usLireUnsignedLong(uint16_t usNumFichierBinaire, uint32_t* pulValeur) {
  return mc::lire_valeur("MC_usLireUnsignedLong", usNumFichierBinaire, pulValeur);
}

extern "C" MC_API uint16_t MC_usLireSignedLong(uint16_t usNumFichierBinaire, int32_t* plValeur) {
  return mc::lire_valeur("MC_usLireSignedLong", usNumFichierBinaire, plValeur);
}

extern "C" MC_API uint16_t MC_usLireDouble(uint16_t usNumFichierBinaire, double* pdValeur) {
  return mc::lire_valeur("MC_usLireDouble", usNumFichierBinaire, pdValeur);
}

extern "C" MC_API uint16_t MC_usLireDate(uint16_t usNumFichierBinaire, uint16_t* pusValeur1,
                                         uint8_t* pucValeur2, uint8_t* pucValeur3) {
  MC_TRACE(kModule, kTrcTables, MC_TRACE_ENTREE, "MC_usLireDate");
  uint16_t usCr = MC_usLireUnsignedShort(usNumFichierBinaire, pusValeur1);
  if (usCr == MC_CR_OK) {
    usCr = MC_usLireUnsignedChar(usNumFichierBinaire, pucValeur2);
  }
  if (usCr == MC_CR_OK) {
    usCr = MC_usLireUnsignedChar(usNumFichierBinaire, pucValeur3);
  }
  MC_TRACE(kModule, kTrcTables, MC_TRACE_SORTIE, "MC_usLireDate");
  return usCr;
}

extern "C" MC_API uint16_t MC_usLireChampFixe(uint16_t usNumFichierBinaire, void* pvBuffer,
                                              uint32_t ulLongueur) {
  uint32_t ulLus = 0;
  return mc::lire_champ("MC_usLireChampFixe", usNumFichierBinaire, pvBuffer, 1, ulLongueur, ulLongueur,
                        &ulLus);
}

extern "C" MC_API uint16_t MC_usLireChampUnicodeFixe(uint16_t usNumFichierBinaire, uint16_t* pusBuffer,
                                                     uint32_t ulNombre) {
  uint32_t ulLus = 0;
  return mc::lire_champ("MC_usLireChampUnicodeFixe", usNumFichierBinaire, pusBuffer, sizeof(uint16_t),
                        ulNombre, ulNombre, &ulLus);
}

extern "C" MC_API uint16_t MC_usLireChaineVariable(uint16_t usNumFichierBinaire, char** ppcTexte) {
  MC_TRACE(kModule, kTrcTables, MC_TRACE_ENTREE, "MC_usLireChaineVariable");
  FichierBinaire* ps = nullptr;
  uint16_t usCr = mc::usRechercherFichier(usNumFichierBinaire, &ps);
  if (usCr == MC_CR_OK && ppcTexte == nullptr) {
    usCr = MC_ERR_ARGUMENT;
  }
  uint32_t ulLongueur = 0;
  if (usCr == MC_CR_OK) {
    *ppcTexte = nullptr;
    uint8_t ucPremier = 0;
    usCr = mc::lire_octets(usNumFichierBinaire, ppcTexte, &ucPremier, 1);
    if (usCr == MC_CR_OK && ucPremier > 0x80) {
      // Kept: 0x80 alone is read as the length 128, a form the writer never makes.
      const unsigned uNbOctets = ucPremier - 0x80u;
      if (uNbOctets > 4) {
        MC_TRACE(kModule, kTrcTables, MC_TRACE_ERREUR,
                 "MC_usLireChaineVariable : Nombre d'octets pour coder la longueur (%u) > %d.", uNbOctets, 4);
        usCr = MC_ERR_ARGUMENT;
      } else {
        // The length bytes stop early at the end of the file; the characters then fail.
        uint8_t auc[4];
        const size_t lus = mc::lire_borne(ps, auc, uNbOctets);
        for (size_t i = 0; i < lus; ++i) {
          ulLongueur = (ulLongueur << 8) | auc[i];
        }
      }
    } else if (usCr == MC_CR_OK) {
      ulLongueur = ucPremier;
    }
  }
  if (usCr == MC_CR_OK) {
    // Deviation: the block is no larger than what the file still holds, plus the zero; a
    // length beyond the end fails with the same code and line, having read what there is.
    const uint64_t ullRestants = mc::octets_restants(ps);
    const uint32_t ulPlace = ullRestants < ulLongueur ? static_cast<uint32_t>(ullRestants) : ulLongueur;
    char* pcTexte = ulPlace == UINT32_MAX ? nullptr : static_cast<char*>(MC_Allouer(ulPlace + 1));
    if (pcTexte == nullptr) {
      usCr = MC_ERR_MEMOIRE;
    } else {
      uint32_t ulLus = 0;
      usCr = mc::lire_champ("MC_usLireChampFixe", usNumFichierBinaire, pcTexte, 1, ulLongueur, ulPlace,
                            &ulLus);
      pcTexte[ulLus] = '\0';
      // The text is the caller's even when its characters could not all be read.
      *ppcTexte = pcTexte;
    }
  }
  MC_TRACE(kModule, kTrcTables, MC_TRACE_SORTIE, "MC_usLireChaineVariable");
  return usCr;
}
