// mcedit.cpp -- editing a structured zone at its cursor: adding groups and fields, modifying and
// extracting the current field.
#include <algorithm>
#include <cstring>

#include "zone/mczone.h"

namespace mc {
namespace {

// Overlapping move inside the buffer; bytes that would come from or go past the allocated size
// are left out (an edit of a zone whose lengths are not in their shortest form can ask for them).
void deplacer(ZoneMemoire& z, uint64_t ullVers, uint64_t ullDepuis, uint64_t ullNombre) {
  const uint64_t ullTaille = z.TailleBuffer;
  if (ullNombre == 0 || ullVers >= ullTaille || ullDepuis >= ullTaille) {
    return;
  }
  ullNombre = std::min({ullNombre, ullTaille - ullVers, ullTaille - ullDepuis});
  std::memmove(z.Buffer + ullVers, z.Buffer + ullDepuis, static_cast<size_t>(ullNombre));
}

// Copies caller bytes into the buffer, within its allocated size.
void copier(ZoneMemoire& z, uint64_t ullVers, const unsigned char* pucDonnees, uint64_t ullNombre) {
  if (ullNombre == 0 || ullVers >= z.TailleBuffer) {
    return;
  }
  ullNombre = std::min<uint64_t>(ullNombre, z.TailleBuffer - ullVers);
  std::memcpy(z.Buffer + ullVers, pucDonnees, static_cast<size_t>(ullNombre));
}

uint64_t debut_corps(const ZoneMemoire& z) {
  return static_cast<uint64_t>(z.OffsetGroupe) + z.TailleEnteteGroupe;
}

// The group's length takes d more bytes: the first ullNombre bytes of its body move up by d and
// the current field with them.
void agrandir_entete_groupe(ZoneMemoire& z, uint32_t d, uint64_t ullNombre) {
  const uint64_t ullCorps = debut_corps(z);
  deplacer(z, ullCorps + d, ullCorps, ullNombre);
  z.TailleEnteteGroupe += d;
  z.OffsetChamp += d;
}

// The current field lies in the current group, which lies in the data. Only a cursor left on a
// faulty item of a malformed zone breaks this.
bool champ_dans_groupe(const ZoneMemoire& z) {
  return debut_corps(z) <= z.OffsetChamp && fin_champ(z) <= fin_groupe(z) &&
         fin_groupe(z) <= z.TailleDonnees;
}

// The current field of a structured zone through *ppZone: 0, 0xF807, 0xF811, 0xF805 (none).
uint16_t champ_courant(uint16_t usZone, ZoneMemoire** ppZone) {
  const uint16_t usCr = zone_structuree(usZone, ppZone);
  if (usCr != MC_CR_OK) {
    return usCr;
  }
  return (*ppZone)->NumeroChamp == 0 ? MC_ERR_FIN : MC_CR_OK;
}

}  // namespace
}  // namespace mc

extern "C" MC_API uint16_t MC_usAjouterGroupe(uint16_t usZone, uint16_t usIdentifiant) {
  ZoneMemoire* pZone = nullptr;
  const uint16_t usCr = mc::zone_structuree(usZone, &pZone);
  if (usCr != MC_CR_OK) {
    return usCr;
  }
  ZoneMemoire& z = *pZone;
  MC_TRACE(mc::kModule, mc::kTrcZone, MC_TRACE_ENTREE, "MC_usAjouterGroupe : identifiant = %u",
           static_cast<unsigned>(usIdentifiant));
  if (static_cast<uint64_t>(z.TailleDonnees) + 3 > z.TailleBuffer) {
    return mc::sortie_erreur(MC_ERR_DEPASSEMENT);
  }
  const uint64_t ullP = mc::fin_groupe(z);
  if (ullP > z.TailleDonnees) {
    return mc::sortie_erreur(MC_ERR_SYNTAXE);
  }
  const auto ulP = static_cast<uint32_t>(ullP);
  z.OffsetGroupe = ulP;
  // Kept: the end test runs before the previous group's sizes are cleared, so an insertion
  // followed by no more than that group's whole size overwrites those bytes without a shift.
  if (!mc::est_fin_zone(z)) {
    mc::deplacer(z, ulP + 3ull, ulP, z.TailleDonnees - ulP);
  }
  z.IdentifiantGroupe = usIdentifiant;
  z.LongueurGroupe = 0;
  z.TailleEnteteGroupe = MC_stCoderEnteteGroupe(usIdentifiant, 0, ulP, &z.Buffer);
  ++z.CompteurGroupe;
  z.NumeroChamp = 0;
  z.OffsetChamp = ulP + 3;
  z.LongueurChamp = 0;
  z.TailleLongueurChamp = 0;
  z.TailleDonnees += 3;
  MC_TRACE(mc::kModule, mc::kTrcZone, MC_TRACE_SORTIE, "cr = 0x%04X, tailleDonnees = %u", 0u,
           static_cast<unsigned>(z.TailleDonnees));
  return MC_CR_OK;
}

extern "C" MC_API uint16_t MC_usAjouterChamp(uint16_t usZone, const unsigned char* pucDonnees,
                                             uint32_t ulLongueur) {
  ZoneMemoire* pZone = nullptr;
  const uint16_t usCr = mc::zone_structuree(usZone, &pZone);
  if (usCr != MC_CR_OK) {
    return usCr;
  }
  ZoneMemoire& z = *pZone;
  MC_TRACE(mc::kModule, mc::kTrcZone, MC_TRACE_ENTREE, "MC_usAjouterChamp : donnees = 0x%p, longueur = %u",
           static_cast<const void*>(pucDonnees), static_cast<unsigned>(ulLongueur));
  // Kept: identifier 0 never takes fields, like the start state.
  if (z.IdentifiantGroupe == 0) {
    return mc::sortie_erreur(MC_ERR_FIN);
  }
  if (pucDonnees == nullptr && ulLongueur != 0) {
    return mc::sortie_erreur(MC_ERR_ARGUMENT);
  }
  const uint64_t t = mc::taille_longueur(ulLongueur) + static_cast<uint64_t>(ulLongueur);
  const uint32_t d =
      mc::taille_longueur(z.LongueurGroupe + t) - mc::taille_longueur(z.LongueurGroupe);
  if (z.TailleDonnees + t + d > z.TailleBuffer) {
    return mc::sortie_erreur(MC_ERR_DEPASSEMENT);
  }
  if (!mc::champ_dans_groupe(z)) {
    return mc::sortie_erreur(MC_ERR_SYNTAXE);
  }
  const auto ulF = static_cast<uint32_t>(mc::fin_champ(z));
  z.OffsetChamp = ulF;
  if (ulF < z.TailleDonnees) {
    mc::deplacer(z, ulF + t + d, ulF, z.TailleDonnees - ulF);
  }
  if (d > 0) {
    mc::agrandir_entete_groupe(z, d, ulF - mc::debut_corps(z));
  }
  z.LongueurGroupe += static_cast<uint32_t>(t);
  mc::ecrire_longueur(z, z.LongueurGroupe, z.OffsetGroupe + 2);
  ++z.CompteurChamp;
  ++z.NumeroChamp;
  z.LongueurChamp = ulLongueur;
  z.TailleLongueurChamp = mc::ecrire_longueur(z, ulLongueur, z.OffsetChamp);
  mc::copier(z, static_cast<uint64_t>(z.OffsetChamp) + z.TailleLongueurChamp, pucDonnees, ulLongueur);
  z.TailleDonnees += static_cast<uint32_t>(t) + d;
  MC_TRACE(mc::kModule, mc::kTrcZone, MC_TRACE_SORTIE, "cr = 0x%04X, tailleDonnees = %u", 0u,
           static_cast<unsigned>(z.TailleDonnees));
  return MC_CR_OK;
}

extern "C" MC_API uint16_t MC_usModifierChamp(uint16_t usZone, const unsigned char* pucDonnees,
                                              uint32_t ulPosition, uint32_t ulLongueur,
                                              uint32_t ulAgrandissement) {
  ZoneMemoire* pZone = nullptr;
  const uint16_t usCr = mc::champ_courant(usZone, &pZone);
  if (usCr != MC_CR_OK) {
    return usCr;
  }
  ZoneMemoire& z = *pZone;
  MC_TRACE(mc::kModule, mc::kTrcZone, MC_TRACE_ENTREE, "MC_usModifierChamp : donnees = 0x%p, longueur = %u",
           static_cast<const void*>(pucDonnees), static_cast<unsigned>(ulLongueur));
  if (ulPosition > z.LongueurChamp) {
    MC_TRACE(mc::kModule, mc::kTrcZone, MC_TRACE_ERREUR, " position > longueur du champ (%u).",
             static_cast<unsigned>(z.LongueurChamp));
    return mc::sortie(MC_ERR_CHAMP_POSITION);
  }
  if (pucDonnees == nullptr && ulLongueur != 0) {
    return mc::sortie_erreur(MC_ERR_ARGUMENT);
  }
  const uint64_t e = static_cast<uint64_t>(ulPosition) + ulLongueur;
  const uint64_t ullDonneesChamp = static_cast<uint64_t>(z.OffsetChamp) + z.TailleLongueurChamp;
  if (e <= z.LongueurChamp) {
    if (mc::fin_champ(z) > z.TailleDonnees) {
      return mc::sortie_erreur(MC_ERR_SYNTAXE);
    }
    // A shorter write never shrinks the field.
    mc::copier(z, ullDonneesChamp + ulPosition, pucDonnees, ulLongueur);
    return mc::sortie(MC_CR_OK);
  }
  if (ulAgrandissement == 0) {
    MC_TRACE(mc::kModule, mc::kTrcZone, MC_TRACE_ERREUR,
             "Agrandissement non autorise Position + Longueur > ZM[Zone]->LongueurChamp (%u).",
             static_cast<unsigned>(z.LongueurChamp));
    return mc::sortie(MC_ERR_CHAMP_POSITION);
  }
  const uint32_t dl = mc::taille_longueur(e) - mc::taille_longueur(z.LongueurChamp);
  const uint64_t df = (mc::taille_longueur(e) + e) -
                      (mc::taille_longueur(z.LongueurChamp) + static_cast<uint64_t>(z.LongueurChamp));
  const uint32_t dg =
      mc::taille_longueur(z.LongueurGroupe + df) - mc::taille_longueur(z.LongueurGroupe);
  if (z.TailleDonnees + df + dg > z.TailleBuffer) {
    return mc::sortie_erreur(MC_ERR_DEPASSEMENT);
  }
  if (!mc::champ_dans_groupe(z)) {
    return mc::sortie_erreur(MC_ERR_SYNTAXE);
  }
  // Kept: exactly these two moves. A length header that grows leaves the old data bytes
  // misplaced; only the bytes written below are sure to be intact.
  if (z.OffsetChamp < z.TailleDonnees) {
    const uint64_t ullFinChamp = mc::fin_champ(z);
    mc::deplacer(z, static_cast<uint64_t>(z.OffsetChamp) + dg + z.TailleLongueurChamp + dl + e,
                 ullFinChamp, z.TailleDonnees - ullFinChamp);
  }
  if (dg > 0) {
    mc::agrandir_entete_groupe(z, dg, (z.OffsetChamp - mc::debut_corps(z)) + dl + df);
  }
  z.LongueurGroupe += static_cast<uint32_t>(df);
  mc::ecrire_longueur(z, z.LongueurGroupe, z.OffsetGroupe + 2);
  z.LongueurChamp = static_cast<uint32_t>(e);
  z.TailleLongueurChamp = mc::ecrire_longueur(z, z.LongueurChamp, z.OffsetChamp);
  mc::copier(z, static_cast<uint64_t>(z.OffsetChamp) + z.TailleLongueurChamp + ulPosition,
             pucDonnees, ulLongueur);
  z.TailleDonnees += static_cast<uint32_t>(df) + dg;
  return mc::sortie(MC_CR_OK);
}

extern "C" MC_API uint16_t MC_usExtraireChamp(uint16_t usZone, unsigned char** ppucDonnees,
                                              uint32_t ulPosition, uint32_t ulLongueur) {
  ZoneMemoire* pZone = nullptr;
  const uint16_t usCr = mc::champ_courant(usZone, &pZone);
  if (usCr != MC_CR_OK) {
    return usCr;
  }
  ZoneMemoire& z = *pZone;
  MC_TRACE(mc::kModule, mc::kTrcZone, MC_TRACE_ENTREE, "MC_usExtraireChamp : donnees = 0x%p, pos = %u",
           static_cast<void*>(ppucDonnees), static_cast<unsigned>(ulPosition));
  if (ulPosition > z.LongueurChamp) {
    MC_TRACE(mc::kModule, mc::kTrcZone, MC_TRACE_ERREUR, " position  > longueur du champ (%u).",
             static_cast<unsigned>(z.LongueurChamp));
    return mc::sortie(MC_ERR_CHAMP_POSITION);
  }
  if (static_cast<uint64_t>(ulPosition) + ulLongueur > z.LongueurChamp) {
    MC_TRACE(mc::kModule, mc::kTrcZone, MC_TRACE_ERREUR,
             " position + Longueur > longueur du champ (%u).",
             static_cast<unsigned>(z.LongueurChamp));
    return mc::sortie(MC_ERR_CHAMP_POSITION);
  }
  // A field that runs past the data (a cursor left on a faulty field) hands out no address.
  if (mc::fin_champ(z) > z.TailleDonnees) {
    return mc::sortie_erreur(MC_ERR_SYNTAXE);
  }
  if (ppucDonnees == nullptr) {
    return mc::sortie_erreur(MC_ERR_ARGUMENT);
  }
  *ppucDonnees = z.Buffer + z.OffsetChamp + z.TailleLongueurChamp + ulPosition;
  return mc::sortie(MC_CR_OK);
}
