// mcecritu.cpp -- writing a binary table file: the file header, table headers and their data
// sizes, the typed values, and the packed-decimal doubles.
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <type_traits>

#include "common/mcbytes.h"
#include "runtime/mctrace.h"
#include "tablefile/mcfichie.h"

namespace mc {
namespace {

constexpr size_t kChiffresDouble = 14;  // digit positions of a packed double
constexpr uint8_t kDemiPoint = 0xF;     // the decimal point's half-byte

bool en_ecriture(const FichierBinaire* ps) { return ps->usEcriture == 1 && ps->usLecture == 0; }

// Slot lookup and write-mode check; the header operations trace a refused mode.
// 0, 0xF807, 0xF811.
uint16_t fichier_en_ecriture(uint16_t usNum, FichierBinaire** pps, bool bTracer = false) {
  const uint16_t usCr = usRechercherFichier(usNum, pps);
  if (usCr != MC_CR_OK || en_ecriture(*pps)) {
    return usCr;
  }
  if (bTracer) {
    MC_TRACE(kModule, kTrcTables, MC_TRACE_ERREUR, "Le fichier n'est pas en ecriture");
  }
  return MC_ERR_TYPE;
}

// n units of `taille` bytes in one call. 0, 0xF610.
uint16_t ecrire(FichierBinaire* ps, const void* pv, size_t taille, size_t n) {
  // Deviation: once a write failed (a full disk drops a whole buffer), every later write on the
  // file fails too, so no write reports success for bytes that never reach the file.
  if (ps->iErreurEcriture != 0) {
    return MC_ERR_FICHIER;
  }
  if (fwrite(pv, taille, n, ps->pFichier) != n) {
    noter_erreur_ecriture(ps);
    return MC_ERR_FICHIER;
  }
  return MC_CR_OK;
}
uint16_t ecrire(FichierBinaire* ps, const uint8_t* puc, size_t n) { return ecrire(ps, puc, 1, n); }

// A positioning of the writers; its failure counts as a failed write. true: done.
bool positionner(FichierBinaire* ps, long lPosition, int iOrigine) {
  if (fseek(ps->pFichier, lPosition, iOrigine) == 0) {
    return true;
  }
  noter_erreur_ecriture(ps);
  return false;
}

// An integer of sizeof(T) big-endian bytes between its entry and exit lines, named pcNom; the
// signed forms write the same bits, and the counter grows whether or not the write works.
template <typename T>
uint16_t ecrire_valeur(const char* pcNom, uint16_t usNum, T valeur) {
  static_assert(std::is_integral_v<T> && sizeof(T) <= 4);
  MC_TRACE(kModule, kTrcTables, MC_TRACE_ENTREE, "%s", pcNom);
  FichierBinaire* ps = nullptr;
  uint16_t usCr = fichier_en_ecriture(usNum, &ps);
  if (usCr == MC_CR_OK) {
    const auto ulValeur = static_cast<uint32_t>(static_cast<std::make_unsigned_t<T>>(valeur));
    uint8_t auc[sizeof(T)];
    for (size_t i = 0; i < sizeof auc; ++i) {
      auc[i] = static_cast<uint8_t>(ulValeur >> (8 * (sizeof auc - 1 - i)));
    }
    ps->ulCompteurOctets += static_cast<uint32_t>(sizeof auc);
    usCr = ecrire(ps, auc, sizeof auc);
  }
  MC_TRACE(kModule, kTrcTables, MC_TRACE_SORTIE, "%s", pcNom);
  return usCr;
}

// A field of ulNombre units of `taille` bytes, as they lie in memory; the counter grows only after
// a complete write. 0, 0xF610, 0xF802 (no buffer), 0xF807, 0xF811.
uint16_t ecrire_champ(uint16_t usNum, const void* pvBuffer, size_t taille, uint32_t ulNombre) {
  FichierBinaire* ps = nullptr;
  uint16_t usCr = fichier_en_ecriture(usNum, &ps);
  if (usCr == MC_CR_OK && pvBuffer == nullptr && ulNombre != 0) {
    usCr = MC_ERR_ARGUMENT;
  }
  if (usCr == MC_CR_OK && ulNombre != 0) {
    usCr = ecrire(ps, pvBuffer, taille, ulNombre);
    if (usCr == MC_CR_OK) {
      ps->ulCompteurOctets += static_cast<uint32_t>(taille * ulNombre);
    }
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

}  // namespace

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

uint16_t usEcrireEnteteFichierBinaire(uint16_t usNumFichierBinaire, const EnteteFichierBinaire* psEntete) {
  MC_TRACE(kModule, kTrcTables, MC_TRACE_ENTREE, "usEcrireEnteteFichierBinaire : usNumFichierBinaire = %d",
           usNumFichierBinaire);
  FichierBinaire* ps = nullptr;
  uint16_t usCr = fichier_en_ecriture(usNumFichierBinaire, &ps, true);
  if (usCr == MC_CR_OK && psEntete == nullptr) {
    usCr = MC_ERR_ARGUMENT;
  }
  if (usCr == MC_CR_OK && !positionner(ps, 0L, SEEK_SET)) {
    MC_TRACE(kModule, kTrcTables, MC_TRACE_ERREUR,
             "usRechercherFichier : probleme de positionnement en debut de fichier");
    usCr = MC_ERR_FICHIER;
  }
  uint8_t aucControle[sizeof kCRC16_FICTIF];  // "0000 "
  memcpy(aucControle, kCRC16_FICTIF, sizeof kCRC16_FICTIF - 1);
  aucControle[sizeof kCRC16_FICTIF - 1] = ' ';
  if (usCr == MC_CR_OK && ecrire(ps, aucControle, sizeof aucControle) != MC_CR_OK) {
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
    usCr = ecrire(ps, aucEntete, static_cast<size_t>(puc - aucEntete));
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
  uint16_t usCr = mc::fichier_en_ecriture(usNumFichierBinaire, &ps, true);
  if (usCr == MC_CR_OK && psEnteteTable == nullptr) {
    usCr = MC_ERR_ARGUMENT;
  }
  if (usCr == MC_CR_OK) {
    const long lPosition = ftell(ps->pFichier);
    if (lPosition < 0 || lPosition > INT32_MAX - 10) {
      mc::noter_erreur_ecriture(ps);
      usCr = MC_ERR_FICHIER;
    } else {
      // The name's first 10 bytes as they stand; the size, the reserved word and the three count
      // bytes go out as 0, whatever the record holds.
      uint8_t aucEntete[25] = {};
      memcpy(aucEntete, psEnteteTable->szNomTable, 10);
      mc::store_be32(aucEntete + 14, psEnteteTable->ulNombreEnregistrements);
      mc::g_etatFichiers.lPositionTailleTable = static_cast<int32_t>(lPosition + 10);
      usCr = mc::ecrire(ps, aucEntete, sizeof aucEntete);
    }
  }
  if (ps != nullptr) {
    ps->ulCompteurOctets = 0;
  }
  MC_TRACE(kModule, kTrcTables, MC_TRACE_SORTIE, "MC_usEcrireEnteteTable : Code retour = 0x%04x", usCr);
  return usCr;
}

extern "C" MC_API uint16_t MC_usEcrireTaille(uint16_t usNumFichierBinaire) {
  // Kept: the entry line is the table header's.
  MC_TRACE(kModule, kTrcTables, MC_TRACE_ENTREE, "MC_usEcrireEnteteTable : usNumFichierBinaire = %d",
           usNumFichierBinaire);
  FichierBinaire* ps = nullptr;
  uint16_t usCr = mc::fichier_en_ecriture(usNumFichierBinaire, &ps, true);
  if (usCr == MC_CR_OK) {
    if (mc::g_etatFichiers.lPositionTailleTable == 0) {
      MC_TRACE(kModule, kTrcTables, MC_TRACE_ERREUR, "Pas d'entete de table de cree");
      usCr = MC_ERR_TYPE;
    } else if (!mc::positionner(ps, mc::g_etatFichiers.lPositionTailleTable, SEEK_SET)) {
      MC_TRACE(kModule, kTrcTables, MC_TRACE_ERREUR, "Probleme de positionnement dans le fichier");
      usCr = MC_ERR_FICHIER;
    } else {
      uint8_t auc[4];
      mc::store_be32(auc, ps->ulCompteurOctets);
      usCr = mc::ecrire(ps, auc, sizeof auc);
      if (usCr == MC_CR_OK) {
        ps->ulCompteurOctets = 0;
        mc::g_etatFichiers.lPositionTailleTable = 0;
      }
    }
  }
  // Whenever the slot was found, in write mode or not, the stream goes back to the end.
  if (ps != nullptr && !mc::positionner(ps, 0L, SEEK_END)) {
    MC_TRACE(kModule, kTrcTables, MC_TRACE_ERREUR, "Probleme de positionnement dans le fichier");
    usCr = MC_ERR_FICHIER;
  }
  MC_TRACE(kModule, kTrcTables, MC_TRACE_SORTIE, "MC_usEcrireTaille : Code retour = 0x%04x", usCr);
  return usCr;
}

extern "C" MC_API uint16_t MC_usEcrireUnsignedChar(uint16_t usNumFichierBinaire, uint8_t ucValeur) {
  return mc::ecrire_valeur("MC_usEcrireUnsignedChar", usNumFichierBinaire, ucValeur);
}

extern "C" MC_API uint16_t MC_usEcrireSignedChar(uint16_t usNumFichierBinaire, int8_t cValeur) {
  return mc::ecrire_valeur("MC_usEcrireSignedChar", usNumFichierBinaire, cValeur);
}

extern "C" MC_API uint16_t MC_usEcrireUnsignedShort(uint16_t usNumFichierBinaire, uint16_t usValeur) {
  return mc::ecrire_valeur("MC_usEcrireUnsignedShort", usNumFichierBinaire, usValeur);
}

extern "C" MC_API uint16_t MC_usEcrireSignedShort(uint16_t usNumFichierBinaire, int16_t sValeur) {
  return mc::ecrire_valeur("MC_usEcrireSignedShort", usNumFichierBinaire, sValeur);
}

extern "C" MC_API uint16_t MC_usEcrireUnsignedLong(uint16_t usNumFichierBinaire, uint32_t ulValeur) {
  return mc::ecrire_valeur("MC_usEcrireUnsignedLong", usNumFichierBinaire, ulValeur);
}

extern "C" MC_API uint16_t MC_usEcrireSignedLong(uint16_t usNumFichierBinaire, int32_t lValeur) {
  return mc::ecrire_valeur("MC_usEcrireSignedLong", usNumFichierBinaire, lValeur);
}

extern "C" MC_API uint16_t MC_usEcrireDouble(uint16_t usNumFichierBinaire, double dValeur) {
  MC_TRACE(kModule, kTrcTables, MC_TRACE_ENTREE, "MC_usEcrireDouble");
  FichierBinaire* ps = nullptr;
  // Kept: no write-mode check; a double goes into any open file.
  uint16_t usCr = mc::usRechercherFichier(usNumFichierBinaire, &ps);
  uint8_t auc[8];
  if (usCr == MC_CR_OK && !mc::coder_double(dValeur, auc)) {
    usCr = MC_ERR_FICHIER;
  }
  if (usCr == MC_CR_OK) {
    ps->ulCompteurOctets += sizeof auc;
    usCr = mc::ecrire(ps, auc, sizeof auc);
  }
  MC_TRACE(kModule, kTrcTables, MC_TRACE_SORTIE, "MC_usEcrireDouble");
  return usCr;
}

extern "C" MC_API uint16_t MC_usEcrireDate(uint16_t usNumFichierBinaire, uint16_t usValeur1,
                                           uint8_t ucValeur2, uint8_t ucValeur3) {
  MC_TRACE(kModule, kTrcTables, MC_TRACE_ENTREE, "MC_usEcrireDate");
  FichierBinaire* ps = nullptr;
  uint16_t usCr = mc::fichier_en_ecriture(usNumFichierBinaire, &ps);
  if (usCr == MC_CR_OK) {
    usCr = MC_usEcrireUnsignedShort(usNumFichierBinaire, usValeur1);
  }
  if (usCr == MC_CR_OK) {
    usCr = MC_usEcrireUnsignedChar(usNumFichierBinaire, ucValeur2);
  }
  if (usCr == MC_CR_OK) {
    usCr = MC_usEcrireUnsignedChar(usNumFichierBinaire, ucValeur3);
  }
  MC_TRACE(kModule, kTrcTables, MC_TRACE_SORTIE, "MC_usEcrireDate");
  return usCr;
}

extern "C" MC_API uint16_t MC_usEcrireChampFixe(uint16_t usNumFichierBinaire, const void* pvBuffer,
                                                uint32_t ulLongueur) {
  MC_TRACE(kModule, kTrcTables, MC_TRACE_ENTREE, "MC_usEcrireChampFixe");
  const uint16_t usCr = mc::ecrire_champ(usNumFichierBinaire, pvBuffer, 1, ulLongueur);
  MC_TRACE(kModule, kTrcTables, MC_TRACE_SORTIE, "MC_usEcrireChampFixe");
  return usCr;
}

extern "C" MC_API uint16_t MC_usEcrireChampUnicodeFixe(uint16_t usNumFichierBinaire,
                                                       const uint16_t* pusBuffer, uint32_t ulNombre) {
  MC_TRACE(kModule, kTrcTables, MC_TRACE_ENTREE, "MC_usEcrireChampUnicodeFixe");
  // Kept: the units go out as they lie in memory, not as big-endian integers.
  const uint16_t usCr = mc::ecrire_champ(usNumFichierBinaire, pusBuffer, sizeof(uint16_t), ulNombre);
  MC_TRACE(kModule, kTrcTables, MC_TRACE_SORTIE, "MC_usEcrireChampUnicodeFixe");
  return usCr;
}

extern "C" MC_API uint16_t MC_usEcrireChaineVariable(uint16_t usNumFichierBinaire, const char* pcTexte) {
  MC_TRACE(kModule, kTrcTables, MC_TRACE_ENTREE, "MC_usEcrireChaineVariable");
  // The slot and its write mode come first: a refused file codes no length and writes nothing.
  FichierBinaire* ps = nullptr;
  uint16_t usCr = mc::fichier_en_ecriture(usNumFichierBinaire, &ps);
  if (usCr == MC_CR_OK && pcTexte == nullptr) {
    // A missing text is written as an empty one.
    const uint8_t ucZero = 0;
    usCr = MC_usEcrireChampFixe(usNumFichierBinaire, &ucZero, 1);
  } else if (usCr == MC_CR_OK) {
    const size_t longueur = strlen(pcTexte);
    if (longueur > UINT32_MAX) {
      usCr = MC_ERR_ARGUMENT;
    } else {
      unsigned char aucLongueur[5];
      const size_t nbOctets = mc::stCoderLongueur(static_cast<uint32_t>(longueur), aucLongueur);
      usCr = MC_usEcrireChampFixe(usNumFichierBinaire, aucLongueur, static_cast<uint32_t>(nbOctets));
      if (usCr == MC_CR_OK) {
        usCr = MC_usEcrireChampFixe(usNumFichierBinaire, pcTexte, static_cast<uint32_t>(longueur));
      }
    }
  }
  MC_TRACE(kModule, kTrcTables, MC_TRACE_SORTIE, "MC_usEcrireChaineVariable");
  return usCr;
}
