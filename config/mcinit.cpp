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
  uint16_t usResultat = MC_CR_OK;
  uint16_t usResultatSP = MC_CR_OK;
  char* pcRepTravail = nullptr;
  char* pcRepTables = nullptr;
  EnteteTable* psEnteteTable = nullptr;
  EnteteFichierBinaire* psEnteteFichier = nullptr;
  uint16_t usNumFichierBinaire = 0;
  bool bFichierOuvert = false;
  // The start-up's own buffers are given back on every way out: nothing depends on keeping them.
  auto liberer_tampons = [&] {
    MC_Liberer(pcRepTravail);
    MC_Liberer(pcRepTables);
    MC_Liberer(psEnteteTable);
    MC_Liberer(psEnteteFichier);
  };

  auto* pcTampon = static_cast<char*>(MC_Allouer(mc::kTailleRepertoire));
  if (pcTampon == nullptr) {
    MC_TRACE(kModule, kTrcInit, MC_TRACE_ERREUR, "IAInitialisation probleme allocation memoire");
    usResultat = MC_ERR_CONFIG;
  }
  if (usResultat == MC_CR_OK) {
    bool bMemoire = false;
    uint16_t usLongueur = lire_repertoire(pcTampon, kCleTravail, &pcRepTravail, &bMemoire);
    MC_TRACE(kModule, kTrcInit, MC_TRACE_DETAIL,
             "REPERTOIRE TRAVAIL :MC_ulLireChaineNorba:usLongueur=0x%04x",
             static_cast<unsigned>(usLongueur));
    if (usLongueur != 0) {
      MC_TRACE(kModule, kTrcInit, MC_TRACE_DETAIL, "recuperation du repertoire de travail OK");
    } else {
      // A missing working directory is reported only once the tables are loaded.
      usResultatSP = MC_ERR_REP_TRAVAIL;
      MC_TRACE(kModule, kTrcInit, MC_TRACE_ERREUR,
               "erreur de lecture du repertoire de travail / usResultatSP = 0x%04x",
               static_cast<unsigned>(usResultatSP));
    }

    usLongueur = lire_repertoire(pcTampon, kCleTables, &pcRepTables, &bMemoire);
    MC_TRACE(kModule, kTrcInit, MC_TRACE_DETAIL,
             "REPERTOIRE TABLES:MC_ulLireChaineNorba:usLongueur=0x%04x",
             static_cast<unsigned>(usLongueur));
    if (usLongueur == 0) {
      usResultat = MC_ERR_REP_TABLES;
      MC_TRACE(kModule, kTrcInit, MC_TRACE_ERREUR,
               "erreur de lecture du repertoire des tables externes / usResultat=0x%04x",
               static_cast<unsigned>(usResultat));
    } else {
      MC_TRACE(kModule, kTrcInit, MC_TRACE_DETAIL,
               "recuperation du repertoire des tables externes OK");
    }
    if (bMemoire) {
      usResultat = MC_ERR_MEMOIRE;
    }
    MC_Liberer(pcTampon);
  }

  if (usResultat == MC_CR_OK) {
    psEnteteTable = static_cast<EnteteTable*>(
        MC_Allouer(std::max<uint32_t>(kTailleEnteteTable, sizeof(EnteteTable))));
    psEnteteFichier = static_cast<EnteteFichierBinaire*>(
        MC_Allouer(std::max<uint32_t>(kTailleEnteteFichier, sizeof(EnteteFichierBinaire))));
    if (psEnteteTable == nullptr || psEnteteFichier == nullptr) {
      // Deviation: a header buffer the heap refused is 0xF801.
      usResultat = MC_ERR_MEMOIRE;
    } else {
      usResultat = MC_usInitialiserFichierBinaire(pcRepTables, kFichierTables, kControleCrc,
                                                  &usNumFichierBinaire, psEnteteFichier);
      bFichierOuvert = usResultat == MC_CR_OK;
    }
    MC_TRACE(kModule, kTrcInit, MC_TRACE_DETAIL,
             "MC_usInitialiserFichierBinaire:initialisation des tables externes / usResultat=0x%04x",
             static_cast<unsigned>(usResultat));

    if (usResultat == MC_CR_OK) {
      char* pcVersionMC = copier(mc::kVersionMC, kTailleVersion);
      if (pcVersionMC == nullptr) {
        usResultat = MC_ERR_MEMOIRE;
      } else {
        const uint16_t usVersionFichier = valeur_version(psEnteteFichier->szVersion);
        const uint16_t usVersionRequise = valeur_version(psEnteteFichier->szVersionRequise);
        if (valeur_version(pcVersionMC) > usVersionFichier ||
            valeur_version(pcVersionMC) < usVersionRequise) {
          usResultat = MC_ERR_VERSION;
        }
        MC_Liberer(pcVersionMC);
      }
      MC_TRACE(kModule, kTrcInit, MC_TRACE_DETAIL, "controle de numeros de version,usResultat= 0x%04x",
               static_cast<unsigned>(usResultat));
      if (usResultat != MC_CR_OK) {
        // Kept: a version mismatch leaves at once, the file open in its slot, the dictionary
        // untouched and no exit line.
        if (usResultat == MC_ERR_MEMOIRE) {
          // Deviation: a start-up short of memory does not leave the file's slot taken.
          mc::usLibererFichier(usNumFichierBinaire);
        }
        liberer_tampons();
        return usResultat;
      }
    }
  }

  auto* pcNomTable = static_cast<char*>(MC_Allouer(kTailleNomTable));
  if (pcNomTable == nullptr && usResultat == MC_CR_OK) {
    // Deviation: a name buffer the heap refused is 0xF801 (the load fails and is undone).
    usResultat = MC_ERR_MEMOIRE;
  }
  // Exactly three table headers are read: the file starts with the three dictionary tables.
  for (int iPasse = 1; iPasse <= 3 && usResultat == MC_CR_OK; ++iPasse) {
    usResultat = MC_usLireEnteteTable(usNumFichierBinaire, psEnteteTable);
    MC_TRACE(kModule, kTrcInit, MC_TRACE_DETAIL, "MC_usLireEnteteTable:usResultat= 0x%04x",
             static_cast<unsigned>(usResultat));
    if (usResultat == MC_CR_OK) {
      // The name has at most ten characters; the three wanted names have seven, so a longer one
      // cut to fit the buffer still matches none of them.
      strncpy(pcNomTable, psEnteteTable->szNomTable, kTailleNomTable - 1);
      pcNomTable[kTailleNomTable - 1] = '\0';
      const uint32_t ulInutilise = psEnteteTable->ulTailleDonnees;
      const uint32_t ulNbLignes = psEnteteTable->ulNombreEnregistrements;
      if (strcmp(pcNomTable, "TGROUPE") == 0) {
        usResultat = usInitTabGroupe(usNumFichierBinaire, ulInutilise, ulNbLignes);
      } else if (strcmp(pcNomTable, "TCHAMP") == 0) {
        usResultat = usInitTabChamp(usNumFichierBinaire, ulInutilise, ulNbLignes);
      } else if (strcmp(pcNomTable, "TVALEUR") == 0) {
        usResultat = usInitTabValeur(usNumFichierBinaire, ulInutilise, ulNbLignes);
      } else {
        usResultat = MC_ERR_FIN_FICHIER;
      }
    }
  }
  MC_Liberer(pcNomTable);
  if (usResultat != MC_CR_OK) {
    MC_TRACE(kModule, kTrcInit, MC_TRACE_ERREUR,
             "erreur de chargement des tables : suppression des tables deja chargees");
    usGTSupprTables();
    if (bFichierOuvert) {
      // Deviation: a failed load gives the slot back (without trace lines) for the retry.
      mc::usLibererFichier(usNumFichierBinaire);
    }
  }

  if (usResultat == MC_CR_OK) {
    MC_TRACE(kModule, kTrcInit, MC_TRACE_DETAIL, "ecriture des fichiers .adm composants");
    if (pcRepTravail != nullptr && pcRepTravail[0] != '\0') {
      usResultatSP = MC_usEcrireVersionComposant(kComposantMC, mc::kVersionMC,
                                                 static_cast<uint32_t>(strlen(mc::kVersionMC)));
      MC_TRACE(kModule, kTrcInit, MC_TRACE_DETAIL,
               "ecriture du fichier .adm, composant MC :usResultat= 0x%04x",
               static_cast<unsigned>(usResultatSP));
      if (usResultatSP == MC_CR_OK) {
        usResultatSP = MC_usEcrireVersionComposant(
            kComposantTables, psEnteteFichier->szVersion,
            static_cast<uint32_t>(strlen(psEnteteFichier->szVersion)));
        MC_TRACE(kModule, kTrcInit, MC_TRACE_DETAIL,
                 "ecriture du fichier .adm, composant Fichier Tables :usResultat= 0x%04x",
                 static_cast<unsigned>(usResultatSP));
      }
    } else {
      // Kept: the dictionary stays loaded and the file open.
      usResultat = MC_ERR_REP_TRAVAIL;
      MC_TRACE(kModule, kTrcInit, MC_TRACE_ERREUR, "ecriture des fichiers composants impossible");
      MC_TRACE(kModule, kTrcInit, MC_TRACE_ERREUR,
               "erreur repertoire de travail absent / usResultat=0x%04x",
               static_cast<unsigned>(usResultat));
    }
  }

  if (usResultat == MC_CR_OK) {
    char* pcSortieMC = copier(mc::kVersionMC, kTailleVersion);
    MC_TRACE(kModule, kTrcInit, MC_TRACE_DETAIL, "Sortie : numero de version MC");
    char* pcSortieFichier = copier(psEnteteFichier->szVersion, kTailleVersion);
    MC_TRACE(kModule, kTrcInit, MC_TRACE_DETAIL, "Sortie : numero de version du Fichier de tables");
    if (pcSortieMC == nullptr || pcSortieFichier == nullptr) {
      MC_Liberer(pcSortieMC);
      MC_Liberer(pcSortieFichier);
      usResultat = MC_ERR_MEMOIRE;
      // Deviation: a start-up short of memory leaves neither the dictionary nor the slot.
      usGTSupprTables();
      mc::usLibererFichier(usNumFichierBinaire);
    } else {
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
  }
  MC_TRACE(kModule, kTrcInit, MC_TRACE_SORTIE, "IAInitialisation");

  if (usResultat == MC_CR_OK) {
    usResultat = mc::usLibererFichier(usNumFichierBinaire);
  }
  if (usResultat == MC_CR_OK) {
    ++nbre_chargt_module;
  }
  liberer_tampons();
  // Kept: a version file that could not be written is reported although the library counts as
  // initialised.
  return usResultat != MC_CR_OK ? usResultat : usResultatSP;
}

extern "C" MC_API uint16_t MC_usTermLIB(void) {
  MC_TRACE(kModule, kTrcInit, MC_TRACE_ENTREE, "MC_usTermLIB");
  // Kept: no test for 0; an unmatched termination turns the counter into 65535.
  --nbre_chargt_module;
  if (nbre_chargt_module != 0) {
    return MC_CR_OK;
  }
  MC_TRACE(kModule, kTrcInit, MC_TRACE_DETAIL, " %u", static_cast<unsigned>(nbre_chargt_module));
  const uint16_t usResultat = usIADecharger();
  MC_TRACE(kModule, kTrcInit, MC_TRACE_SORTIE, "MC_usTermLIB");
  return usResultat;
}

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
