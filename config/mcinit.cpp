// mcinit.cpp -- start-up and shut-down of the library: the load counter, the dictionary file and
// the component version files.
#include "config/mcinit.h"

#include <algorithm>
#include <cstring>

#include "config/mcnorba.h"
#include "dictionary/mctab.h"
#include "runtime/mcmemoir.h"
#include "runtime/mctrace.h"
#include "tablefile/mcslot.h"

extern "C" {
// Kept: declared for the clients, never set; start-up keeps its directories to itself.
MC_API char* pcRepertoireTravail = nullptr;
MC_API char* pcRepertoireTables = nullptr;
}

namespace {

using mc::kModule;
using mc::kTrcInit;

uint16_t nbre_chargt_module = 0;

constexpr const char* kSection = "commun";
constexpr const char* kCleTravail = "repertoiretravail";
constexpr const char* kCleTables = "repertoiretable";
constexpr const char* kFichierTables = "tablebin.tbx";
constexpr uint16_t kControleCrc = 1;
constexpr uint8_t kComposantMC = 92;
constexpr uint8_t kComposantTables = 93;
constexpr uint32_t kTailleVersion = 5;      // four digits and the zero
constexpr uint32_t kTailleNomTable = 10;    // the start-up's table name buffer
constexpr uint32_t kTailleEnteteTable = 26;
constexpr uint32_t kTailleEnteteFichier = 256;

// A version of four characters as a number: each character taken as signed, less '0', with no
// test that it is a digit, in 16-bit arithmetic.
uint16_t valeur_version(const char* pcVersion) {
  uint16_t usValeur = 0;
  for (int i = 0; i < 4; ++i) {
    usValeur = static_cast<uint16_t>(usValeur * 10 + (static_cast<int8_t>(pcVersion[i]) - 48));
  }
  return usValeur;
}

// A new copy of the first usLongueur + 1 bytes of pcTexte, or null.
char* copier(const char* pcTexte, uint32_t ulTaille) {
  auto* pcCopie = static_cast<char*>(MC_Allouer(ulTaille));
  if (pcCopie != nullptr) {
    memcpy(pcCopie, pcTexte, ulTaille);
  }
  return pcCopie;
}

// Reads one directory key of norba.ini into a new allocation (*ppcRepertoire stays null when the
// key is absent or empty; *pbMemoire is set when the copy is refused); returns the length read,
// as 16 bits.
uint16_t lire_repertoire(char* pcTampon, const char* pcCle, char** ppcRepertoire, bool* pbMemoire) {
  pcTampon[0] = '\0';
  const uint32_t ulRefus = mc::allocations_refusees();
  const auto usLongueur = static_cast<uint16_t>(
      MC_ulLireChaineNorba(kSection, pcCle, pcTampon, mc::kTailleLectureRepertoire));
  if (usLongueur == 0 && mc::allocations_refusees() != ulRefus) {
    // Deviation: a key lost for want of memory is 0xF801, not an absent directory.
    *pbMemoire = true;
  }
  if (usLongueur != 0) {
    *ppcRepertoire = copier(pcTampon, static_cast<uint32_t>(usLongueur) + 1u);
    // Deviation: a directory copy the heap refused is 0xF801.
    if (*ppcRepertoire == nullptr) {
      *pbMemoire = true;
    }
  }
  return usLongueur;
}

// What the start-up carries from one step to the next. Its own buffers are given back on every
// way out, when it goes: nothing depends on keeping them.
struct Demarrage {
  uint16_t usResultat = MC_CR_OK;    // the main result
  uint16_t usResultatSP = MC_CR_OK;  // reported only when the main one is 0
  char* pcRepTravail = nullptr;
  char* pcRepTables = nullptr;
  EnteteTable* psEnteteTable = nullptr;
  EnteteFichierBinaire* psEnteteFichier = nullptr;
  uint16_t usNumFichierBinaire = 0;
  bool bFichierOuvert = false;

  Demarrage() = default;
  Demarrage(const Demarrage&) = delete;
  Demarrage& operator=(const Demarrage&) = delete;
  ~Demarrage() {
    MC_Liberer(pcRepTravail);
    MC_Liberer(pcRepTables);
    MC_Liberer(psEnteteTable);
    MC_Liberer(psEnteteFichier);
  }
};

// The working and table directories from norba.ini, through a buffer given back at the end.
void lire_repertoires(Demarrage& sEtat) {
  auto* pcTampon = static_cast<char*>(MC_Allouer(mc::kTailleRepertoire));
  if (pcTampon == nullptr) {
    MC_TRACE(kModule, kTrcInit, MC_TRACE_ERREUR, "IAInitialisation probleme allocation memoire");
    sEtat.usResultat = MC_ERR_CONFIG;
    return;
  }
  bool bMemoire = false;
  uint16_t usLongueur = lire_repertoire(pcTampon, kCleTravail, &sEtat.pcRepTravail, &bMemoire);
  MC_TRACE(kModule, kTrcInit, MC_TRACE_DETAIL,
           "REPERTOIRE TRAVAIL :MC_ulLireChaineNorba:usLongueur=0x%04x",
           static_cast<unsigned>(usLongueur));
  if (usLongueur != 0) {
    MC_TRACE(kModule, kTrcInit, MC_TRACE_DETAIL, "recuperation du repertoire de travail OK");
  } else {
    // A missing working directory is reported only once the tables are loaded.
    sEtat.usResultatSP = MC_ERR_REP_TRAVAIL;
    MC_TRACE(kModule, kTrcInit, MC_TRACE_ERREUR,
             "erreur de lecture du repertoire de travail / usResultatSP = 0x%04x",
             static_cast<unsigned>(sEtat.usResultatSP));
  }

  usLongueur = lire_repertoire(pcTampon, kCleTables, &sEtat.pcRepTables, &bMemoire);
  MC_TRACE(kModule, kTrcInit, MC_TRACE_DETAIL,
           "REPERTOIRE TABLES:MC_ulLireChaineNorba:usLongueur=0x%04x",
           static_cast<unsigned>(usLongueur));
  if (usLongueur == 0) {
    sEtat.usResultat = MC_ERR_REP_TABLES;
    MC_TRACE(kModule, kTrcInit, MC_TRACE_ERREUR,
             "erreur de lecture du repertoire des tables externes / usResultat=0x%04x",
             static_cast<unsigned>(sEtat.usResultat));
  } else {
    MC_TRACE(kModule, kTrcInit, MC_TRACE_DETAIL,
             "recuperation du repertoire des tables externes OK");
  }
  if (bMemoire) {
    sEtat.usResultat = MC_ERR_MEMOIRE;
  }
  MC_Liberer(pcTampon);
}

// The two header buffers, then the dictionary file opened and checked (name, CRC16).
void ouvrir_fichier_tables(Demarrage& sEtat) {
  sEtat.psEnteteTable = static_cast<EnteteTable*>(
      MC_Allouer(std::max<uint32_t>(kTailleEnteteTable, sizeof(EnteteTable))));
  sEtat.psEnteteFichier = static_cast<EnteteFichierBinaire*>(
      MC_Allouer(std::max<uint32_t>(kTailleEnteteFichier, sizeof(EnteteFichierBinaire))));
  if (sEtat.psEnteteTable == nullptr || sEtat.psEnteteFichier == nullptr) {
    // Deviation: a header buffer the heap refused is 0xF801.
    sEtat.usResultat = MC_ERR_MEMOIRE;
  } else {
    sEtat.usResultat =
        MC_usInitialiserFichierBinaire(sEtat.pcRepTables, kFichierTables, kControleCrc,
                                       &sEtat.usNumFichierBinaire, sEtat.psEnteteFichier);
    sEtat.bFichierOuvert = sEtat.usResultat == MC_CR_OK;
  }
  MC_TRACE(kModule, kTrcInit, MC_TRACE_DETAIL,
           "MC_usInitialiserFichierBinaire:initialisation des tables externes / usResultat=0x%04x",
           static_cast<unsigned>(sEtat.usResultat));
}

// The library's version against the file's and the one the file requires. False when the
// start-up must stop here.
bool controler_versions(Demarrage& sEtat) {
  char* pcVersionMC = copier(mc::kVersionMC, kTailleVersion);
  if (pcVersionMC == nullptr) {
    sEtat.usResultat = MC_ERR_MEMOIRE;
  } else {
    const uint16_t usVersionFichier = valeur_version(sEtat.psEnteteFichier->szVersion);
    const uint16_t usVersionRequise = valeur_version(sEtat.psEnteteFichier->szVersionRequise);
    if (valeur_version(pcVersionMC) > usVersionFichier ||
        valeur_version(pcVersionMC) < usVersionRequise) {
      sEtat.usResultat = MC_ERR_VERSION;
    }
    MC_Liberer(pcVersionMC);
  }
  MC_TRACE(kModule, kTrcInit, MC_TRACE_DETAIL, "controle de numeros de version,usResultat= 0x%04x",
           static_cast<unsigned>(sEtat.usResultat));
  if (sEtat.usResultat == MC_ERR_MEMOIRE) {
    // Deviation: a start-up short of memory does not leave the file's slot taken.
    mc::usLibererFichier(sEtat.usNumFichierBinaire);
  }
  return sEtat.usResultat == MC_CR_OK;
}

// One table header and the table it names. 0, or the header's, the loader's or 0xF640.
uint16_t charger_une_table(Demarrage& sEtat, char* pcNomTable) {
  uint16_t usResultat = MC_usLireEnteteTable(sEtat.usNumFichierBinaire, sEtat.psEnteteTable);
  MC_TRACE(kModule, kTrcInit, MC_TRACE_DETAIL, "MC_usLireEnteteTable:usResultat= 0x%04x",
           static_cast<unsigned>(usResultat));
  if (usResultat != MC_CR_OK) {
    return usResultat;
  }
  // The name has at most ten characters; the three wanted names have seven, so a longer one
  // cut to fit the buffer still matches none of them.
  strncpy(pcNomTable, sEtat.psEnteteTable->szNomTable, kTailleNomTable - 1);
  pcNomTable[kTailleNomTable - 1] = '\0';
  const uint16_t usNum = sEtat.usNumFichierBinaire;
  const uint32_t ulInutilise = sEtat.psEnteteTable->ulTailleDonnees;
  const uint32_t ulNbLignes = sEtat.psEnteteTable->ulNombreEnregistrements;
  if (strcmp(pcNomTable, "TGROUPE") == 0) {
    return mc::usInitTabGroupe(usNum, ulInutilise, ulNbLignes);
  }
  if (strcmp(pcNomTable, "TCHAMP") == 0) {
    return mc::usInitTabChamp(usNum, ulInutilise, ulNbLignes);
  }
  if (strcmp(pcNomTable, "TVALEUR") == 0) {
    return mc::usInitTabValeur(usNum, ulInutilise, ulNbLignes);
  }
  return MC_ERR_FIN_FICHIER;
}

// The three dictionary tables; a load that fails is undone.
void charger_dictionnaire(Demarrage& sEtat) {
  auto* pcNomTable = static_cast<char*>(MC_Allouer(kTailleNomTable));
  if (pcNomTable == nullptr && sEtat.usResultat == MC_CR_OK) {
    // Deviation: a name buffer the heap refused is 0xF801 (the load fails and is undone).
    sEtat.usResultat = MC_ERR_MEMOIRE;
  }
  // Exactly three table headers are read: the file starts with the three dictionary tables.
  for (int iPasse = 1; iPasse <= 3 && sEtat.usResultat == MC_CR_OK; ++iPasse) {
    sEtat.usResultat = charger_une_table(sEtat, pcNomTable);
  }
  MC_Liberer(pcNomTable);
  if (sEtat.usResultat != MC_CR_OK) {
    MC_TRACE(kModule, kTrcInit, MC_TRACE_ERREUR,
             "erreur de chargement des tables : suppression des tables deja chargees");
    mc::usGTSupprTables();
    if (sEtat.bFichierOuvert) {
      // Deviation: a failed load gives the slot back (without trace lines) for the retry.
      mc::usLibererFichier(sEtat.usNumFichierBinaire);
    }
  }
}

// The component version files 92.adm and 93.adm, in the working directory.
void ecrire_versions_composants(Demarrage& sEtat) {
  MC_TRACE(kModule, kTrcInit, MC_TRACE_DETAIL, "ecriture des fichiers .adm composants");
  if (sEtat.pcRepTravail == nullptr || sEtat.pcRepTravail[0] == '\0') {
    // Kept: the dictionary stays loaded and the file open.
    sEtat.usResultat = MC_ERR_REP_TRAVAIL;
    MC_TRACE(kModule, kTrcInit, MC_TRACE_ERREUR, "ecriture des fichiers composants impossible");
    MC_TRACE(kModule, kTrcInit, MC_TRACE_ERREUR,
             "erreur repertoire de travail absent / usResultat=0x%04x",
             static_cast<unsigned>(sEtat.usResultat));
    return;
  }
  sEtat.usResultatSP = MC_usEcrireVersionComposant(kComposantMC, mc::kVersionMC,
                                                   static_cast<uint32_t>(strlen(mc::kVersionMC)));
  MC_TRACE(kModule, kTrcInit, MC_TRACE_DETAIL,
           "ecriture du fichier .adm, composant MC :usResultat= 0x%04x",
           static_cast<unsigned>(sEtat.usResultatSP));
  if (sEtat.usResultatSP == MC_CR_OK) {
    const char* pcVersionFichier = sEtat.psEnteteFichier->szVersion;
    sEtat.usResultatSP = MC_usEcrireVersionComposant(
        kComposantTables, pcVersionFichier, static_cast<uint32_t>(strlen(pcVersionFichier)));
    MC_TRACE(kModule, kTrcInit, MC_TRACE_DETAIL,
             "ecriture du fichier .adm, composant Fichier Tables :usResultat= 0x%04x",
             static_cast<unsigned>(sEtat.usResultatSP));
  }
}

// The two version texts handed to the caller (a null destination gets none).
void remettre_versions(Demarrage& sEtat, char** ppcVersionMC, char** ppcVersionFichier) {
  char* pcSortieMC = copier(mc::kVersionMC, kTailleVersion);
  MC_TRACE(kModule, kTrcInit, MC_TRACE_DETAIL, "Sortie : numero de version MC");
  char* pcSortieFichier = copier(sEtat.psEnteteFichier->szVersion, kTailleVersion);
  MC_TRACE(kModule, kTrcInit, MC_TRACE_DETAIL, "Sortie : numero de version du Fichier de tables");
  if (pcSortieMC == nullptr || pcSortieFichier == nullptr) {
    MC_Liberer(pcSortieMC);
    MC_Liberer(pcSortieFichier);
    sEtat.usResultat = MC_ERR_MEMOIRE;
    // Deviation: a start-up short of memory leaves neither the dictionary nor the slot.
    mc::usGTSupprTables();
    mc::usLibererFichier(sEtat.usNumFichierBinaire);
    return;
  }
  if (ppcVersionMC != nullptr) {
    *ppcVersionMC = pcSortieMC;
  } else {
    MC_Liberer(pcSortieMC);
  }
  if (ppcVersionFichier != nullptr) {
    *ppcVersionFichier = pcSortieFichier;
  } else {
    MC_Liberer(pcSortieFichier);
  }
}

}  // namespace

namespace mc::testing {
uint16_t nombre_chargements() { return nbre_chargt_module; }
void reset_chargement() { nbre_chargt_module = 0; }
}  // namespace mc::testing

extern "C" MC_API uint16_t MC_usInitLIB(char** ppcVersionMC, char** ppcVersionFichier) {
  MC_TRACE(kModule, kTrcInit, MC_TRACE_ENTREE, "MC_usInitLIB");
  MC_TRACE(kModule, kTrcInit, MC_TRACE_DETAIL, "Nombre de modules ayant initialis\xe9 le MC = %u",
           static_cast<unsigned>(nbre_chargt_module));
  MC_TRACE(kModule, kTrcInit, MC_TRACE_SORTIE, "MC_usInitLIB");
  return MC_usIAInitialisation(ppcVersionMC, ppcVersionFichier);
}

extern "C" MC_API uint16_t MC_usIAInitialisation(char** ppcVersionMC, char** ppcVersionFichier) {
  MC_TRACE(kModule, kTrcInit, MC_TRACE_ENTREE, "IAInitialisation");
  if (nbre_chargt_module != 0) {
    // Kept: a later initialisation only counts, and leaves without an exit line.
    ++nbre_chargt_module;
    return MC_CR_OK;
  }
  Demarrage sEtat;
  lire_repertoires(sEtat);
  if (sEtat.usResultat == MC_CR_OK) {
    ouvrir_fichier_tables(sEtat);
    if (sEtat.usResultat == MC_CR_OK && !controler_versions(sEtat)) {
      // Kept: a version mismatch leaves at once, the file open in its slot, the dictionary
      // untouched and no exit line.
      return sEtat.usResultat;
    }
  }
  charger_dictionnaire(sEtat);
  if (sEtat.usResultat == MC_CR_OK) {
    ecrire_versions_composants(sEtat);
  }
  if (sEtat.usResultat == MC_CR_OK) {
    remettre_versions(sEtat, ppcVersionMC, ppcVersionFichier);
  }
  MC_TRACE(kModule, kTrcInit, MC_TRACE_SORTIE, "IAInitialisation");

  if (sEtat.usResultat == MC_CR_OK) {
    sEtat.usResultat = mc::usLibererFichier(sEtat.usNumFichierBinaire);
  }
  if (sEtat.usResultat == MC_CR_OK) {
    ++nbre_chargt_module;
  }
  // Kept: a version file that could not be written is reported although the library counts as
  // initialised.
  return sEtat.usResultat != MC_CR_OK ? sEtat.usResultat : sEtat.usResultatSP;
}

extern "C" MC_API uint16_t MC_usTermLIB(void) {
  MC_TRACE(kModule, kTrcInit, MC_TRACE_ENTREE, "MC_usTermLIB");
  // Kept: no test for 0; an unmatched termination turns the counter into 65535.
  --nbre_chargt_module;
  if (nbre_chargt_module != 0) {
    return MC_CR_OK;
  }
  MC_TRACE(kModule, kTrcInit, MC_TRACE_DETAIL, " %u", static_cast<unsigned>(nbre_chargt_module));
  const uint16_t usResultat = mc::usIADecharger();
  MC_TRACE(kModule, kTrcInit, MC_TRACE_SORTIE, "MC_usTermLIB");
  return usResultat;
}

namespace mc {

uint16_t usIADecharger() {
  MC_TRACE(kModule, kTrcInit, MC_TRACE_ENTREE, "usIADecharger");
  usGTSupprTables();
  MC_TRACE(kModule, kTrcInit, MC_TRACE_SORTIE, "usIADecharger");
  return MC_CR_OK;
}

uint16_t usGTSupprTables() {
  MC_TRACE(kModule, kTrcInit, MC_TRACE_ENTREE, "Suppression des tables /usGTSupprTables");
  uint16_t usResultat = usSupprTabGroupe();
  MC_TRACE(kModule, kTrcInit, MC_TRACE_DETAIL, "suppression de la table TGROUPE, usResultat=0x%04x",
           static_cast<unsigned>(usResultat));
  usResultat |= usSupprTabChamp();
  MC_TRACE(kModule, kTrcInit, MC_TRACE_DETAIL, "suppression de la table TCHAMP, usResultat=0x%04x",
           static_cast<unsigned>(usResultat));
  usResultat |= usSupprTabValeur();
  MC_TRACE(kModule, kTrcInit, MC_TRACE_DETAIL, "suppression de la table TVALEUR, usResultat=0x%04x",
           static_cast<unsigned>(usResultat));
  MC_TRACE(kModule, kTrcInit, MC_TRACE_SORTIE,
           "Suppression des tables = usGTSupprTables / usResultat = 0x%04x",
           static_cast<unsigned>(usResultat));
  return usResultat;
}

}  // namespace mc
