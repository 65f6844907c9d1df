// mcfichie.cpp -- top layer of the table files: opening, creation and release of a file, and the
// exported positioning and reading helpers of a slot.
#include <cerrno>
#include <cstdint>
#include <cstring>

#include "runtime/mcmemoir.h"
#include "runtime/mctrace.h"
#include "tablefile/mccrc.h"
#include "tablefile/mcecritu.h"
#include "tablefile/mcflux.h"
#include "tablefile/mclectur.h"
#include "tablefile/mcsign.h"
#include "tablefile/mcslot.h"

namespace mc {
namespace {

const char* texte_ou_nul(const char* pc) { return pc != nullptr ? pc : "(null)"; }

// Steps shared by opening and creation: the table cleared on first use, a number reserved, and
// a new record with copies of both names, for reading or for writing; a failed allocation traces
// pcMessage. 0, 0xF801, 0xF80A.
uint16_t reserver_fichier(uint16_t* pusNum, const char* pcRepertoire, const char* pcNomFichier,
                          uint16_t usTypeControle, bool bEcriture, const char* pcMessage,
                          FichierBinaire** ppsFichier) {
  usInitialiserTableauFichiers();
  uint16_t usCr = usRechercherNumeroFichier(pusNum);
  if (usCr == MC_CR_OK) {
    *ppsFichier = nouvel_enregistrement(pcRepertoire, pcNomFichier, usTypeControle);
    if (*ppsFichier == nullptr) {
      MC_TRACE(kModule, kTrcTables, MC_TRACE_ERREUR, "%s", pcMessage);
      usCr = MC_ERR_MEMOIRE;
    } else {
      (*ppsFichier)->usLecture = bEcriture ? 0 : 1;
      (*ppsFichier)->usEcriture = bEcriture ? 1 : 0;
      (*ppsFichier)->ullFinLecture = bEcriture ? kSansBorne : 0;
    }
  }
  return usCr;
}

}  // namespace
}  // namespace mc

using mc::FichierBinaire;
using mc::kModule;
using mc::kTrcTables;

extern "C" MC_API uint16_t MC_usInitialiserFichierBinaire(const char* pcRepertoire,
                                                          const char* pcNomFichier,
                                                          uint16_t usTypeControle,
                                                          uint16_t* pusNumFichierBinaire,
                                                          EnteteFichierBinaire* psEntete) {
  MC_TRACE(kModule, kTrcTables, MC_TRACE_ENTREE,
           "MC_usInitialiserFichierBinaire : pcRepertoire = %s, pcNomFichier =%s, usTypeControle = %d\n",
           mc::texte_ou_nul(pcRepertoire), mc::texte_ou_nul(pcNomFichier), usTypeControle);
  uint16_t usCr = MC_CR_OK;
  char* pcNomComplet = nullptr;
  FichierBinaire* psFichier = nullptr;

  // Kept: the messages of the opening carry the name of the creating operation.
  if (pcRepertoire == nullptr || pcNomFichier == nullptr) {
    MC_TRACE(kModule, kTrcTables, MC_TRACE_ERREUR,
             "MC_usCreerFichierBinaire : Nom de repertoire ou nom de fichier nul.");
    usCr = MC_ERR_ARGUMENT;
  }
  if (usCr == MC_CR_OK && (pusNumFichierBinaire == nullptr || psEntete == nullptr)) {
    MC_TRACE(kModule, kTrcTables, MC_TRACE_ERREUR,
             "MC_usCreerFichierBinaire : pointeur numero de fichier binaire ou pointeur entete du "
             "fichier nul.");
    usCr = MC_ERR_POINTEUR;
  }
  if (usCr == MC_CR_OK) {
    usCr = MC_usCreerNomCompletFichier(pcRepertoire, pcNomFichier, &pcNomComplet);
  }
  if (usCr == MC_CR_OK) {
    usCr = mc::reserver_fichier(pusNumFichierBinaire, pcRepertoire, pcNomFichier, usTypeControle, false,
                                "MC_usCreerFichierBinaire : Probleme d'allocation memoire : "
                                "psFichier->pcRepertoire ou psFichier->pcNomFichier",
                                &psFichier);
  }
  if (usCr == MC_CR_OK) {
    MC_TRACE(kModule, kTrcTables, MC_TRACE_DETAIL, "Ouverture du fichier %s", pcNomComplet);
    // Deviation: only a regular file opens; a FIFO or a device is refused like a missing file.
    psFichier->pFichier = mc::ouvrir_fichier_regulier(pcNomComplet, "rb");
    if (psFichier->pFichier == nullptr) {
      MC_TRACE(kModule, kTrcTables, MC_TRACE_ERREUR,
               "MC_usCreerFichierBinaire : Probleme d'ouverture du fichier %s, %s", pcNomComplet,
               strerror(errno));
      usCr = MC_ERR_FICHIER;
    }
  }
  if (usCr != MC_CR_OK) {
    mc::annuler_ouverture(pusNumFichierBinaire, psFichier);
  } else {
    mc::usRenseignerFichierTableau(*pusNumFichierBinaire, psFichier);
    usCr = mc::longueur_tracee(*psFichier, &psFichier->ulCompteurOctets);
    if (usCr == MC_CR_OK) {
      // Deviation: no read goes beyond the length measured here.
      psFichier->ullFinLecture = psFichier->ulCompteurOctets;
    }
  }

  // From here on a failure leaves the file open in its slot.
  if (usCr == MC_CR_OK) {
    usCr = mc::usLireEnteteFichierBinaire(*psFichier, *pusNumFichierBinaire, psEntete);
  }
  if (usCr == MC_CR_OK && strcmp(psEntete->szNomFichier, pcNomFichier) != 0) {
    usCr = MC_ERR_NOM_FICHIER;
  }
  if (usCr == MC_CR_OK) {
    if (usTypeControle == MC_CONTROLE_CRC16) {
      uint16_t usLu = 0;
      uint16_t usCalcule = 0;
      usCr = mc::usLireCRC(psFichier->pFichier, &usLu);
      if (usCr == MC_CR_OK) {
        usCr = mc::usCalculerCRC16(psFichier->pFichier, &usCalcule, psFichier->ullFinLecture);
      }
      if (usCr == MC_CR_OK && usLu != usCalcule) {
        usCr = MC_ERR_CONTROLE;
      }
    } else if (usTypeControle == MC_CONTROLE_SIGNATURE) {
      if (mc::verifier_fichier(*psFichier, *pusNumFichierBinaire) != MC_CR_OK) {
        usCr = MC_ERR_CONTROLE;
      }
    }
  }
  MC_Liberer(pcNomComplet);
  MC_TRACE(kModule, kTrcTables, MC_TRACE_SORTIE, "MC_usInitialiserFichierBinaire : Code retour = 0x%04x",
           usCr);
  return usCr;
}

extern "C" MC_API uint16_t MC_usCreerFichierBinaire(const char* pcRepertoire, const char* pcNomFichier,
                                                    uint16_t usTypeControle,
                                                    const EnteteFichierBinaire* psEntete,
                                                    uint16_t* pusNumFichierBinaire) {
  MC_TRACE(kModule, kTrcTables, MC_TRACE_ENTREE,
           "MC_usCreerFichierBinaire : pcRepertoire = %s, pcNomFichier =%s, usTypeControle = %d, "
           "pusNumFichierBinaire= %d",
           mc::texte_ou_nul(pcRepertoire), mc::texte_ou_nul(pcNomFichier), usTypeControle,
           pusNumFichierBinaire != nullptr ? *pusNumFichierBinaire : 0);
  uint16_t usCr = MC_CR_OK;
  char* pcNomComplet = nullptr;
  FichierBinaire* psFichier = nullptr;

  if (pusNumFichierBinaire != nullptr) {
    *pusNumFichierBinaire = 0;
  }
  if (pcRepertoire == nullptr || pcNomFichier == nullptr || psEntete == nullptr) {
    MC_TRACE(kModule, kTrcTables, MC_TRACE_ERREUR,
             "MC_usCreerFichierBinaire : Nom de repertoire ou nom de fichier nul ou pointeur sur "
             "l'entete du fichier nul.");
    usCr = MC_ERR_ARGUMENT;
  }
  if (usCr == MC_CR_OK && pusNumFichierBinaire == nullptr) {
    MC_TRACE(kModule, kTrcTables, MC_TRACE_ERREUR,
             "MC_usCreerFichierBinaire : pointeur numero de fichier binaire nul.");
    usCr = MC_ERR_POINTEUR;
  }
  if (usCr == MC_CR_OK) {
    usCr = mc::reserver_fichier(pusNumFichierBinaire, pcRepertoire, pcNomFichier, usTypeControle, true,
                                "MC_usCreerFichierBinaire : ERREUR : probleme d'allocation memoire : "
                                "psFichier->pcRepertoire ou psFichier->pcNomFichier",
                                &psFichier);
  }
  if (usCr == MC_CR_OK) {
    usCr = MC_usCreerNomCompletFichier(pcRepertoire, pcNomFichier, &pcNomComplet);
  }
  if (usCr == MC_CR_OK) {
    MC_TRACE(kModule, kTrcTables, MC_TRACE_DETAIL, "Ouverture du fichier %s\n", pcNomComplet);
    // "wb+": created or emptied, and readable for the sealing.
    // Deviation: only a regular file is created or emptied; a FIFO or a device is refused.
    psFichier->pFichier = mc::ouvrir_fichier_regulier(pcNomComplet, "wb+");
    if (psFichier->pFichier == nullptr) {
      MC_TRACE(kModule, kTrcTables, MC_TRACE_ERREUR,
               "MC_usCreerFichierBinaire : ERREUR : Probleme d'ouverture du fichier %s, %s",
               pcNomComplet, strerror(errno));
      usCr = MC_ERR_FICHIER;
    }
  }
  if (usCr == MC_CR_OK) {
    mc::usRenseignerFichierTableau(*pusNumFichierBinaire, psFichier);
    usCr = mc::usEcrireEnteteFichierBinaire(*psFichier, *pusNumFichierBinaire, psEntete);
  } else {
    mc::annuler_ouverture(pusNumFichierBinaire, psFichier);
  }
  MC_Liberer(pcNomComplet);
  MC_TRACE(kModule, kTrcTables, MC_TRACE_SORTIE, "MC_usCreerFichierBinaire : Code retour = 0x%04x", usCr);
  return usCr;
}

extern "C" MC_API uint16_t MC_usLibererFichierBinaire(uint16_t usNumFichierBinaire,
                                                      const char* pcFichierCle) {
  MC_TRACE(kModule, kTrcTables, MC_TRACE_ENTREE, "MC_usLibererFichierBinaire : usNumFichierBinaire = %d",
           usNumFichierBinaire);
  FichierBinaire* psFichier = nullptr;
  uint16_t usCr = mc::usRechercherFichier(usNumFichierBinaire, &psFichier);
  const bool bEcrit = usCr == MC_CR_OK && mc::en_ecriture(*psFichier);
  if (bEcrit) {
    if (mc::g_etatFichiers.lPositionTailleTable != 0) {
      usCr = mc::ecrire_taille_tracee(*psFichier, usNumFichierBinaire);
    }
    // Deviation: a file of which a write was lost is sealed neither by CRC nor by signature.
    if (usCr == MC_CR_OK) {
      usCr = mc::verifier_ecritures(*psFichier);
    }
    if (usCr == MC_CR_OK && psFichier->usTypeControle == MC_CONTROLE_CRC16) {
      usCr = mc::sceller_crc(*psFichier);
    }
    if (usCr == MC_CR_OK && psFichier->usTypeControle == MC_CONTROLE_SIGNATURE) {
      usCr = mc::signer_fichier(*psFichier, usNumFichierBinaire, pcFichierCle);
    }
    if (usCr != MC_CR_OK) {
      // Deviation: a size left pending by a failed release is forgotten, not written into the
      // next file released.
      mc::g_etatFichiers.lPositionTailleTable = 0;
    }
  }
  if (psFichier != nullptr) {
    if (psFichier->pFichier != nullptr) {
      MC_TRACE(kModule, kTrcTables, MC_TRACE_DETAIL, "Fermeture du fichier");
      const int iFermeture = fclose(psFichier->pFichier);
      const int iErreur = iFermeture != 0 ? errno : 0;
      psFichier->pFichier = nullptr;
      // Deviation: a written file whose content did not all reach the disk fails its closing.
      if (iFermeture != 0 || (bEcrit && psFichier->iErreurEcriture != 0)) {
        MC_TRACE(kModule, kTrcTables, MC_TRACE_ERREUR, "Probleme lors de la fermeture du fichier: %s",
                 strerror(iFermeture != 0 ? iErreur : psFichier->iErreurEcriture));
        usCr = MC_ERR_FICHIER;
      }
    }
    const uint16_t usCrLiberation = mc::usLibererFichier(usNumFichierBinaire);
    if (usCr == MC_CR_OK) {
      usCr = usCrLiberation;
    }
  }
  MC_TRACE(kModule, kTrcTables, MC_TRACE_SORTIE, "MC_usLibererFichierBinaire : Code retour = 0x%04x",
           usCr);
  return usCr;
}

extern "C" MC_API uint16_t MC_usLongueurFichierBinaire(uint16_t usNumFichierBinaire,
                                                       uint32_t* pulLongueur) {
  return mc::entre_traces("MC_usLongueurFichierBinaire", [&] {
    FichierBinaire* psFichier = nullptr;
    // A failed lookup is reported as a file error, not as a bad number.
    return mc::usRechercherFichier(usNumFichierBinaire, &psFichier) == MC_CR_OK
               ? mc::longueur(*psFichier, pulLongueur)
               : MC_ERR_FICHIER;
  });
}

extern "C" MC_API uint16_t MC_usPositionnerOffset(uint16_t usNumFichierBinaire, int32_t lPosition,
                                                  int32_t iOrigine) {
  return mc::entre_traces("MC_usPositionnerOffset", [&] {
    FichierBinaire* psFichier = nullptr;
    return mc::usRechercherFichier(usNumFichierBinaire, &psFichier) == MC_CR_OK
               ? mc::positionner_offset(*psFichier, lPosition, iOrigine)
               : MC_ERR_FICHIER;
  });
}

extern "C" MC_API uint16_t MC_usLirePositionFichier(uint16_t usNumFichierBinaire,
                                                    uint32_t* pulPosition) {
  return mc::entre_traces("MC_usLirePositionFichier", [&]() -> uint16_t {
    FichierBinaire* psFichier = nullptr;
    if (pulPosition == nullptr || mc::usRechercherFichier(usNumFichierBinaire, &psFichier) != MC_CR_OK) {
      return MC_ERR_FICHIER;
    }
    const uint32_t ulPosition = mc::position_32(ftello(psFichier->pFichier));
    if (ulPosition == 0xFFFFFFFFu) {
      return MC_ERR_FICHIER;
    }
    *pulPosition = ulPosition;
    return MC_CR_OK;
  });
}

extern "C" MC_API uint16_t MC_usLireFichierBinaire(uint16_t usNumFichierBinaire, int32_t lPosition,
                                                   uint32_t ulLongueur, unsigned char** ppucBuffer) {
  return mc::entre_traces("MC_usLireFichierBinaire", [&]() -> uint16_t {
    if (ppucBuffer == nullptr) {
      return MC_ERR_ARGUMENT;
    }
    *ppucBuffer = nullptr;
    FichierBinaire* psFichier = nullptr;
    return mc::usRechercherFichier(usNumFichierBinaire, &psFichier) == MC_CR_OK
               ? mc::lire_zone(*psFichier, lPosition, ulLongueur, ppucBuffer)
               : MC_ERR_FICHIER;
  });
}
