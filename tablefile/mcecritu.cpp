// mcecritu.cpp -- writing a binary table file: the file header, table headers and their data
// sizes, the typed values, and the packed-decimal doubles.
#include "tablefile/mcecritu.h"

#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <type_traits>

#include "common/mcbytes.h"
#include "runtime/mctrace.h"
#include "tablefile/mcflux.h"
#include "tablefile/mcslot.h"

namespace mc {
namespace {

constexpr size_t kChiffresDouble = 14;  // digit positions of a packed double
constexpr uint8_t kDemiPoint = 0xF;     // the decimal point's half-byte
constexpr char kCRC16_FICTIF[] = "0000";  // provisional control value of every file

// The write-mode check; the header operations trace a refused mode. 0, 0xF811.
uint16_t mode_ecriture(const FichierBinaire& s, bool bTracer = false) {
  if (en_ecriture(s)) {
    return MC_CR_OK;
  }
  if (bTracer) {
    MC_TRACE(kModule, kTrcTables, MC_TRACE_ERREUR, "Le fichier n'est pas en ecriture");
  }
  return MC_ERR_TYPE;
}

// Slot lookup and write-mode check of an exported writer. 0, 0xF807, 0xF811.
uint16_t fichier_en_ecriture(uint16_t usNum, FichierBinaire** pps, bool bTracer = false) {
  const uint16_t usCr = usRechercherFichier(usNum, pps);
  return usCr != MC_CR_OK ? usCr : mode_ecriture(**pps, bTracer);
}

// An integer of sizeof(T) big-endian bytes; the signed forms write the same bits, and the
// counter grows whether or not the write works. 0, 0xF610, 0xF811.
template <typename T>
uint16_t ecrire_valeur(FichierBinaire& s, T valeur) {
  static_assert(std::is_integral_v<T> && sizeof(T) <= 4);
  uint16_t usCr = mode_ecriture(s);
  if (usCr == MC_CR_OK) {
    const auto ulValeur = static_cast<uint32_t>(static_cast<std::make_unsigned_t<T>>(valeur));
    uint8_t auc[sizeof(T)];
    for (size_t i = 0; i < sizeof auc; ++i) {
      auc[i] = static_cast<uint8_t>(ulValeur >> (8 * (sizeof auc - 1 - i)));
    }
    s.ulCompteurOctets += static_cast<uint32_t>(sizeof auc);
    usCr = ecrire(s, auc, sizeof auc);
  }
  return usCr;
}

// An exported integer writer named pcNom: its lines, the lookup, the value.
template <typename T>
uint16_t ecrire_valeur_par_numero(const char* pcNom, uint16_t usNum, T valeur) {
  return sur_numero(pcNom, usNum, [&](FichierBinaire& s) { return ecrire_valeur(s, valeur); });
}

// A field of ulNombre units of `taille` bytes, as they lie in memory; the counter grows only after
// a complete write. 0, 0xF610, 0xF802 (no buffer), 0xF811.
uint16_t ecrire_champ(FichierBinaire& s, const void* pvBuffer, size_t taille, uint32_t ulNombre) {
  uint16_t usCr = mode_ecriture(s);
  if (usCr == MC_CR_OK && pvBuffer == nullptr && ulNombre != 0) {
    usCr = MC_ERR_ARGUMENT;
  }
  if (usCr == MC_CR_OK && ulNombre != 0) {
    usCr = ecrire(s, pvBuffer, taille, ulNombre);
    if (usCr == MC_CR_OK) {
      s.ulCompteurOctets += static_cast<uint32_t>(taille * ulNombre);
    }
  }
  return usCr;
}

// The table header: the name's first 10 bytes, the size to patch, the record count; the counter
// is reset whatever happens. 0, 0xF610, 0xF802, 0xF811.
uint16_t ecrire_entete_table(FichierBinaire& s, const EnteteTable* psEnteteTable) {
  uint16_t usCr = mode_ecriture(s, true);
  if (usCr == MC_CR_OK && psEnteteTable == nullptr) {
    usCr = MC_ERR_ARGUMENT;
  }
  if (usCr == MC_CR_OK) {
    const long lPosition = ftell(s.pFichier);
    if (lPosition < 0 || lPosition > INT32_MAX - 10) {
      noter_erreur_ecriture(s);
      usCr = MC_ERR_FICHIER;
    } else {
      // The name's first 10 bytes as they stand; the size, the reserved word and the three count
      // bytes go out as 0, whatever the record holds.
      uint8_t aucEntete[25] = {};
      memcpy(aucEntete, psEnteteTable->szNomTable, 10);
      ecrire_be32(aucEntete + 14, psEnteteTable->ulNombreEnregistrements);
      g_etatFichiers.lPositionTailleTable = static_cast<int32_t>(lPosition + 10);
      usCr = ecrire(s, aucEntete, sizeof aucEntete);
    }
  }
  s.ulCompteurOctets = 0;
  return usCr;
}

// The pending data size, then back to the end of the file whatever happened. 0, 0xF610, 0xF811.
uint16_t ecrire_taille(FichierBinaire& s) {
  uint16_t usCr = mode_ecriture(s, true);
  if (usCr == MC_CR_OK) {
    if (g_etatFichiers.lPositionTailleTable == 0) {
      MC_TRACE(kModule, kTrcTables, MC_TRACE_ERREUR, "Pas d'entete de table de cree");
      usCr = MC_ERR_TYPE;
    } else if (!positionner(s, g_etatFichiers.lPositionTailleTable, SEEK_SET)) {
      MC_TRACE(kModule, kTrcTables, MC_TRACE_ERREUR, "Probleme de positionnement dans le fichier");
      usCr = MC_ERR_FICHIER;
    } else {
      uint8_t auc[4];
      ecrire_be32(auc, s.ulCompteurOctets);
      usCr = ecrire(s, auc, sizeof auc);
      if (usCr == MC_CR_OK) {
        s.ulCompteurOctets = 0;
        g_etatFichiers.lPositionTailleTable = 0;
      }
    }
  }
  // Whenever the slot was found, in write mode or not, the stream goes back to the end.
  if (!positionner(s, 0L, SEEK_END)) {
    MC_TRACE(kModule, kTrcTables, MC_TRACE_ERREUR, "Probleme de positionnement dans le fichier");
    usCr = MC_ERR_FICHIER;
  }
  return usCr;
}

// The data size's lines around corps: the entry line is the table header's, kept word for word.
template <typename F>
uint16_t traces_taille(uint16_t usNum, F&& corps) {
  MC_TRACE(kModule, kTrcTables, MC_TRACE_ENTREE, "MC_usEcrireEnteteTable : usNumFichierBinaire = %d", usNum);
  const uint16_t usCr = corps();
  MC_TRACE(kModule, kTrcTables, MC_TRACE_SORTIE, "MC_usEcrireTaille : Code retour = 0x%04x", usCr);
  return usCr;
}

// A variable string on a record in write mode: a missing text as the single byte 0, else its
// length coding and its characters, each as a fixed field with its lines.
uint16_t ecrire_chaine_variable(FichierBinaire& s, const char* pcTexte) {
  if (pcTexte == nullptr) {
    // A missing text is written as an empty one.
    const uint8_t ucZero = 0;
    return ecrire_champ_fixe_tracee(s, &ucZero, 1);
  }
  const size_t longueur = strlen(pcTexte);
  if (longueur > UINT32_MAX) {
    return MC_ERR_ARGUMENT;
  }
  unsigned char aucLongueur[5];
  const size_t nbOctets = stCoderLongueur(static_cast<uint32_t>(longueur), aucLongueur);
  uint16_t usCr = ecrire_champ_fixe_tracee(s, aucLongueur, static_cast<uint32_t>(nbOctets));
  if (usCr == MC_CR_OK) {
    usCr = ecrire_champ_fixe_tracee(s, pcTexte, static_cast<uint32_t>(longueur));
  }
  return usCr;
}

uint8_t demi_octet(char c) {
  if (c >= '0' && c <= '9') {
    return static_cast<uint8_t>(c - '0');
  }
  return kDemiPoint;
}

// Integer digits of a finite |value|: 1 below 10, at most 15 (more than a packed double holds).
// Counted against the exact powers of ten: floor(log10()) in double precision gives a value just
// below 1e14 fifteen digits, and only x87's wider precision gives the fourteen it has.
int chiffres_entiers(double dAbsolue) {
  int iChiffres = 1;
  for (double dPuissance = 10.0; iChiffres <= static_cast<int>(kChiffresDouble) && dAbsolue >= dPuissance;
       dPuissance *= 10.0) {
    ++iChiffres;
  }
  return iChiffres;
}

bool coder_double(double dValeur, uint8_t pucOctets[8]) {
  if (!std::isfinite(dValeur)) {
    return false;
  }
  const int iChiffres = chiffres_entiers(std::fabs(dValeur));
  if (iChiffres > static_cast<int>(kChiffresDouble)) {
    return false;
  }
  char acTexte[64];
  const int iLongueur =
      snprintf(acTexte, sizeof acTexte - 1, "%.*f", static_cast<int>(kChiffresDouble) - iChiffres, dValeur);
  if (iLongueur < 0 || static_cast<size_t>(iLongueur) >= sizeof acTexte - 1) {
    return false;
  }
  if (iChiffres == static_cast<int>(kChiffresDouble)) {
    acTexte[iLongueur] = '.';
    acTexte[iLongueur + 1] = '\0';
  }
  const char* pc = acTexte;
  const bool bNegatif = *pc == '-';
  if (bNegatif) {
    ++pc;
  }
  // The text always has fifteen characters or more; a shorter one would be padded with zeros.
  char acChiffres[1 + kChiffresDouble];
  const size_t longueur = strlen(pc);
  for (size_t i = 0; i < sizeof acChiffres; ++i) {
    acChiffres[i] = i < longueur ? pc[i] : '0';
  }
  pucOctets[0] = static_cast<uint8_t>((bNegatif ? 0x10 : 0x00) | demi_octet(acChiffres[0]));
  for (size_t i = 1; i < 8; ++i) {
    pucOctets[i] = static_cast<uint8_t>((demi_octet(acChiffres[2 * i - 1]) << 4) |
                                        demi_octet(acChiffres[2 * i]));
  }
  return true;
}

}  // namespace

uint16_t ecrire_champ_fixe_tracee(FichierBinaire& s, const void* pvBuffer, uint32_t ulLongueur) {
  return entre_traces("MC_usEcrireChampFixe", [&] { return ecrire_champ(s, pvBuffer, 1, ulLongueur); });
}

uint16_t ecrire_taille_tracee(FichierBinaire& s, uint16_t usNumFichierBinaire) {
  return traces_taille(usNumFichierBinaire, [&] { return ecrire_taille(s); });
}

size_t stCoderLongueur(uint32_t ulLongueur, unsigned char* pucBuffer) {
  MC_TRACE(kModule, kTrcZone, MC_TRACE_ENTREE, "stCoderLongueur :  longueur = %u",
           static_cast<unsigned>(ulLongueur));
  size_t nbOctets = 1;
  if (ulLongueur < 0x80) {
    pucBuffer[0] = static_cast<unsigned char>(ulLongueur);
  } else {
    size_t nbLongueur = 1;
    while (nbLongueur < 4 && (ulLongueur >> (8 * nbLongueur)) != 0) {
      ++nbLongueur;
    }
    pucBuffer[0] = static_cast<unsigned char>(0x80 + nbLongueur);
    for (size_t i = 0; i < nbLongueur; ++i) {
      pucBuffer[1 + i] = static_cast<unsigned char>(ulLongueur >> (8 * (nbLongueur - 1 - i)));
    }
    nbOctets = 1 + nbLongueur;
  }
  if (g_fichierTrace != nullptr) {
    char acTexte[6];
    memcpy(acTexte, pucBuffer, nbOctets);
    acTexte[nbOctets] = '\0';
    MC_TRACE(kModule, kTrcZone, MC_TRACE_DETAIL, "buffer = %s", acTexte);
  }
  MC_TRACE(kModule, kTrcZone, MC_TRACE_SORTIE, "stCoderLongueur :nbOctets = %u",
           static_cast<unsigned>(nbOctets));
  return nbOctets;
}

uint16_t usEcrireEnteteFichierBinaire(FichierBinaire& s, uint16_t usNumFichierBinaire,
                                      const EnteteFichierBinaire* psEntete) {
  MC_TRACE(kModule, kTrcTables, MC_TRACE_ENTREE, "usEcrireEnteteFichierBinaire : usNumFichierBinaire = %d",
           usNumFichierBinaire);
  uint16_t usCr = mode_ecriture(s, true);
  if (usCr == MC_CR_OK && psEntete == nullptr) {
    usCr = MC_ERR_ARGUMENT;
  }
  if (usCr == MC_CR_OK && !positionner(s, 0L, SEEK_SET)) {
    MC_TRACE(kModule, kTrcTables, MC_TRACE_ERREUR,
             "usRechercherFichier : probleme de positionnement en debut de fichier");
    usCr = MC_ERR_FICHIER;
  }
  uint8_t aucControle[sizeof kCRC16_FICTIF];  // "0000 "
  memcpy(aucControle, kCRC16_FICTIF, sizeof kCRC16_FICTIF - 1);
  aucControle[sizeof kCRC16_FICTIF - 1] = ' ';
  if (usCr == MC_CR_OK && ecrire(s, aucControle, sizeof aucControle) != MC_CR_OK) {
    MC_TRACE(kModule, kTrcTables, MC_TRACE_ERREUR, "usRechercherFichier : probleme d'ecriture dans le fichier");
    usCr = MC_ERR_FICHIER;
  }
  if (usCr == MC_CR_OK) {
    // Name to comment in one block: the name padded to 12, the other fields byte for byte.
    uint8_t aucEntete[55 + MC_LG_COMMENTAIRE + 3];
    uint8_t* puc = aucEntete;
    const size_t longueurNom = strnlen(psEntete->szNomFichier, 12);
    memcpy(puc, psEntete->szNomFichier, longueurNom);
    memset(puc + longueurNom, ' ', 12 - longueurNom);
    puc += 12;
    const auto champ = [&puc](const char* pc, size_t n) {
      *puc++ = ' ';
      memcpy(puc, pc, n);
      puc += n;
    };
    champ(psEntete->szVersion, 4);
    champ(psEntete->szTexte5, 5);
    champ(psEntete->szTexte8, 8);
    champ(psEntete->szVersionRequise, 4);
    champ(psEntete->szTexte5b, 5);
    champ(psEntete->szTexte10, 10);
    champ(psEntete->szCommentaire, strnlen(psEntete->szCommentaire, MC_LG_COMMENTAIRE));
    *puc++ = 0x0D;
    *puc++ = 0x0A;
    *puc++ = 0x1A;
    usCr = ecrire(s, aucEntete, static_cast<size_t>(puc - aucEntete));
  }
  MC_TRACE(kModule, kTrcTables, MC_TRACE_SORTIE, "usEcrireEnteteFichierBinaire : Code retour = 0x%04x",
           usCr);
  return usCr;
}

}  // namespace mc

using mc::FichierBinaire;
using mc::kModule;
using mc::kTrcTables;

extern "C" MC_API uint16_t MC_usEcrireEnteteTable(uint16_t usNumFichierBinaire,
                                                  const EnteteTable* psEnteteTable) {
  MC_TRACE(kModule, kTrcTables, MC_TRACE_ENTREE, "MC_usEcrireEnteteTable : usNumFichierBinaire = %d",
           usNumFichierBinaire);
  FichierBinaire* ps = nullptr;
  uint16_t usCr = mc::usRechercherFichier(usNumFichierBinaire, &ps);
  if (usCr == MC_CR_OK) {
    usCr = mc::ecrire_entete_table(*ps, psEnteteTable);
  }
  MC_TRACE(kModule, kTrcTables, MC_TRACE_SORTIE, "MC_usEcrireEnteteTable : Code retour = 0x%04x", usCr);
  return usCr;
}

extern "C" MC_API uint16_t MC_usEcrireTaille(uint16_t usNumFichierBinaire) {
  return mc::traces_taille(usNumFichierBinaire, [&] {
    FichierBinaire* ps = nullptr;
    const uint16_t usCr = mc::usRechercherFichier(usNumFichierBinaire, &ps);
    return usCr == MC_CR_OK ? mc::ecrire_taille(*ps) : usCr;
  });
}

extern "C" MC_API uint16_t MC_usEcrireUnsignedChar(uint16_t usNumFichierBinaire, uint8_t ucValeur) {
  return mc::ecrire_valeur_par_numero("MC_usEcrireUnsignedChar", usNumFichierBinaire, ucValeur);
}

extern "C" MC_API uint16_t MC_usEcrireSignedChar(uint16_t usNumFichierBinaire, int8_t cValeur) {
  return mc::ecrire_valeur_par_numero("MC_usEcrireSignedChar", usNumFichierBinaire, cValeur);
}

extern "C" MC_API uint16_t MC_usEcrireUnsignedShort(uint16_t usNumFichierBinaire, uint16_t usValeur) {
  return mc::ecrire_valeur_par_numero("MC_usEcrireUnsignedShort", usNumFichierBinaire, usValeur);
}

extern "C" MC_API uint16_t MC_usEcrireSignedShort(uint16_t usNumFichierBinaire, int16_t sValeur) {
  return mc::ecrire_valeur_par_numero("MC_usEcrireSignedShort", usNumFichierBinaire, sValeur);
}

extern "C" MC_API uint16_t MC_usEcrireUnsignedLong(uint16_t usNumFichierBinaire, uint32_t ulValeur) {
  return mc::ecrire_valeur_par_numero("MC_usEcrireUnsignedLong", usNumFichierBinaire, ulValeur);
}

extern "C" MC_API uint16_t MC_usEcrireSignedLong(uint16_t usNumFichierBinaire, int32_t lValeur) {
  return mc::ecrire_valeur_par_numero("MC_usEcrireSignedLong", usNumFichierBinaire, lValeur);
}

extern "C" MC_API uint16_t MC_usEcrireDouble(uint16_t usNumFichierBinaire, double dValeur) {
  // Kept: no write-mode check; a double goes into any open file.
  return mc::sur_numero("MC_usEcrireDouble", usNumFichierBinaire, [&](FichierBinaire& s) -> uint16_t {
    uint8_t auc[8];
    if (!mc::coder_double(dValeur, auc)) {
      return MC_ERR_FICHIER;
    }
    s.ulCompteurOctets += sizeof auc;
    return mc::ecrire(s, auc, sizeof auc);
  });
}

extern "C" MC_API uint16_t MC_usEcrireDate(uint16_t usNumFichierBinaire, uint16_t usValeur1,
                                           uint8_t ucValeur2, uint8_t ucValeur3) {
  MC_TRACE(kModule, kTrcTables, MC_TRACE_ENTREE, "MC_usEcrireDate");
  FichierBinaire* ps = nullptr;
  uint16_t usCr = mc::fichier_en_ecriture(usNumFichierBinaire, &ps);
  if (usCr == MC_CR_OK) {
    usCr = mc::entre_traces("MC_usEcrireUnsignedShort", [&] { return mc::ecrire_valeur(*ps, usValeur1); });
  }
  if (usCr == MC_CR_OK) {
    usCr = mc::entre_traces("MC_usEcrireUnsignedChar", [&] { return mc::ecrire_valeur(*ps, ucValeur2); });
  }
  if (usCr == MC_CR_OK) {
    usCr = mc::entre_traces("MC_usEcrireUnsignedChar", [&] { return mc::ecrire_valeur(*ps, ucValeur3); });
  }
  MC_TRACE(kModule, kTrcTables, MC_TRACE_SORTIE, "MC_usEcrireDate");
  return usCr;
}

extern "C" MC_API uint16_t MC_usEcrireChampFixe(uint16_t usNumFichierBinaire, const void* pvBuffer,
                                                uint32_t ulLongueur) {
  return mc::sur_numero("MC_usEcrireChampFixe", usNumFichierBinaire,
                        [&](FichierBinaire& s) { return mc::ecrire_champ(s, pvBuffer, 1, ulLongueur); });
}

extern "C" MC_API uint16_t MC_usEcrireChampUnicodeFixe(uint16_t usNumFichierBinaire,
                                                       const uint16_t* pusBuffer, uint32_t ulNombre) {
  // Kept: the units go out as they lie in memory, not as big-endian integers.
  return mc::sur_numero("MC_usEcrireChampUnicodeFixe", usNumFichierBinaire, [&](FichierBinaire& s) {
    return mc::ecrire_champ(s, pusBuffer, sizeof(uint16_t), ulNombre);
  });
}

extern "C" MC_API uint16_t MC_usEcrireChaineVariable(uint16_t usNumFichierBinaire, const char* pcTexte) {
  MC_TRACE(kModule, kTrcTables, MC_TRACE_ENTREE, "MC_usEcrireChaineVariable");
  // The slot and its write mode come first: a refused file codes no length and writes nothing.
  FichierBinaire* ps = nullptr;
  uint16_t usCr = mc::fichier_en_ecriture(usNumFichierBinaire, &ps);
  if (usCr == MC_CR_OK) {
    usCr = mc::ecrire_chaine_variable(*ps, pcTexte);
  }
  MC_TRACE(kModule, kTrcTables, MC_TRACE_SORTIE, "MC_usEcrireChaineVariable");
  return usCr;
}
