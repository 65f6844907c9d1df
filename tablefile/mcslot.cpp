// mcslot.cpp -- the slot table of the binary table files: reservation, filling, lookup, release.
#include "tablefile/mcslot.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "runtime/mcmemoir.h"
#include "runtime/mctrace.h"

namespace mc {

EtatFichiers g_etatFichiers = {};

namespace {

bool numero_valide(uint16_t usNum) { return usNum != 0 && usNum <= kNbFichiers; }

// The record of a filled entry, or null.
FichierBinaire* enregistrement(const Emplacement& e) {
  return e.etat == EtatEmplacement::rempli ? e.psFichier : nullptr;
}

// A copy of a text in a block of MC_Allouer, or null.
char* copier_texte(const char* pc) {
  const size_t taille = strlen(pc) + 1;
  if (taille > UINT32_MAX) {
    return nullptr;
  }
  auto* pcCopie = static_cast<char*>(MC_Allouer(static_cast<uint32_t>(taille)));
  if (pcCopie != nullptr) {
    memcpy(pcCopie, pc, taille);
  }
  return pcCopie;
}

// The record, its name copies and its stream go back directly, without the trace lines of
// MC_Liberer.
void liberer_enregistrement(FichierBinaire* ps) {
  if (ps == nullptr) {
    return;
  }
  free(ps->pcRepertoire);
  free(ps->pcNomFichier);
  if (ps->pFichier != nullptr) {
    fclose(ps->pFichier);
  }
  free(ps);
}

void vider(Emplacement& e) {
  liberer_enregistrement(enregistrement(e));
  e = Emplacement{EtatEmplacement::vide, nullptr};
}

}  // namespace

FichierBinaire* nouvel_enregistrement(const char* pcRepertoire, const char* pcNomFichier,
                                      uint16_t usTypeControle) {
  auto* ps = static_cast<FichierBinaire*>(MC_Allouer(sizeof(FichierBinaire)));
  if (ps == nullptr) {
    return nullptr;
  }
  *ps = FichierBinaire{};
  ps->pcRepertoire = copier_texte(pcRepertoire);
  ps->pcNomFichier = copier_texte(pcNomFichier);
  if (ps->pcRepertoire == nullptr || ps->pcNomFichier == nullptr) {
    liberer_enregistrement(ps);
    return nullptr;
  }
  ps->usTypeControle = usTypeControle;
  return ps;
}

void annuler_ouverture(uint16_t* pusNum, FichierBinaire* psFichier) {
  if (pusNum != nullptr) {
    // Kept: the hundredth slot stays reserved after a failure.
    if (*pusNum != 0 && *pusNum < kNbFichiers) {
      Emplacement& e = g_etatFichiers.fichiers[*pusNum - 1];
      if (enregistrement(e) == psFichier) {
        e.psFichier = nullptr;
      }
      vider(e);
    }
    *pusNum = 0;
  }
  liberer_enregistrement(psFichier);
}

uint64_t longueur_ouverture(uint16_t usNumFichierBinaire) {
  if (!numero_valide(usNumFichierBinaire)) {
    return 0;
  }
  const FichierBinaire* ps = enregistrement(g_etatFichiers.fichiers[usNumFichierBinaire - 1]);
  return ps != nullptr && ps->ullFinLecture != kSansBorne ? ps->ullFinLecture : 0;
}

uint16_t usRechercherFichier(uint16_t usNumFichierBinaire, FichierBinaire** ppsFichier) {
  if (!numero_valide(usNumFichierBinaire)) {
    MC_TRACE(kModule, kTrcTables, MC_TRACE_ERREUR, "usRechercherFichier : numero de fichier invalide");
    return MC_ERR_NUMERO;
  }
  // A slot only reserved has no record yet: it is refused like an empty one.
  FichierBinaire* ps = enregistrement(g_etatFichiers.fichiers[usNumFichierBinaire - 1]);
  if (ps == nullptr) {
    MC_TRACE(kModule, kTrcTables, MC_TRACE_ERREUR, "usRechercherFichier : fichier non reserve");
    return MC_ERR_NUMERO;
  }
  *ppsFichier = ps;
  return MC_CR_OK;
}

uint16_t usInitialiserTableauFichiers() {
  if (!g_etatFichiers.initialise) {
    for (auto& e : g_etatFichiers.fichiers) {
      e = Emplacement{EtatEmplacement::vide, nullptr};
    }
    g_etatFichiers.initialise = true;
  }
  return MC_CR_OK;
}

uint16_t usRechercherNumeroFichier(uint16_t* pusNumFichierBinaire) {
  for (uint16_t i = 0; i < kNbFichiers; ++i) {
    Emplacement& e = g_etatFichiers.fichiers[i];
    if (e.etat == EtatEmplacement::vide) {
      e = Emplacement{EtatEmplacement::reserve, nullptr};
      *pusNumFichierBinaire = static_cast<uint16_t>(i + 1);
      MC_TRACE(kModule, kTrcTables, MC_TRACE_DETAIL, "numero de fichier =%hu\n", *pusNumFichierBinaire);
      return MC_CR_OK;
    }
  }
  MC_TRACE(kModule, kTrcTables, MC_TRACE_ERREUR, "plus de fichier disponible.");
  return MC_ERR_SLOTS;
}

uint16_t usRenseignerFichierTableau(uint16_t usNumFichierBinaire, FichierBinaire* psFichier) {
  if (!numero_valide(usNumFichierBinaire)) {
    return MC_ERR_NUMERO;
  }
  g_etatFichiers.fichiers[usNumFichierBinaire - 1] =
      Emplacement{psFichier != nullptr ? EtatEmplacement::rempli : EtatEmplacement::vide, psFichier};
  return MC_CR_OK;
}

uint16_t usLibererFichier(uint16_t usNumFichierBinaire) {
  if (!numero_valide(usNumFichierBinaire)) {
    return MC_ERR_NUMERO;
  }
  vider(g_etatFichiers.fichiers[usNumFichierBinaire - 1]);
  return MC_CR_OK;
}

uint32_t taille_donnees(const FichierBinaire& s) {
  // Kept: every control type but 1 leaves the last 128 bytes outside the table area, also a
  // file with no signature at all.
  return s.usTypeControle == MC_CONTROLE_CRC16 ? s.ulCompteurOctets : s.ulCompteurOctets - kTailleSignature;
}

uint16_t usTailleDonnneeFichierBinaire(uint16_t usNumFichierBinaire, uint32_t* pulTaille) {
  if (!numero_valide(usNumFichierBinaire)) {
    MC_TRACE(kModule, kTrcTables, MC_TRACE_ERREUR,
             "usTailleDonnneeFichierBinaire : numero de fichier invalide");
    return MC_ERR_NUMERO;
  }
  const FichierBinaire* ps = enregistrement(g_etatFichiers.fichiers[usNumFichierBinaire - 1]);
  if (ps == nullptr) {
    MC_TRACE(kModule, kTrcTables, MC_TRACE_ERREUR,
             "usTailleDonnneeFichierBinaire : fichier non reserve");
    return MC_ERR_NUMERO;
  }
  *pulTaille = taille_donnees(*ps);
  return MC_CR_OK;
}

namespace testing {
void reset_fichiers() {
  for (auto& e : g_etatFichiers.fichiers) {
    vider(e);
  }
  g_etatFichiers.initialise = false;
  g_etatFichiers.lPositionTailleTable = 0;
}
}  // namespace testing

}  // namespace mc
