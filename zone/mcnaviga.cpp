// mcnaviga.cpp -- the cursor of a structured zone: start and end, group and field advances, end
// tests, searches by identifier and occurrence, counters.
#include "zone/mczone.h"

namespace mc {
namespace {

// One group advance of MC_usAvancerGroupeSuivant (after its entry line), with its exit line.
template <bool kTrace = true>
uint16_t avancer_un_groupe(ZoneMemoire& z, bool bParcoursChamps, uint16_t* pusIdentifiant) {
  if (est_fin_zone(z)) {
    MC_TRACE_SI(kTrace, kModule, kTrcZone, MC_TRACE_ERREUR, " Fin de la zone atteinte.");
    MC_TRACE_SI(kTrace, kModule, kTrcZone, MC_TRACE_SORTIE, "MC_usAvancergroupeSuivant");
    return MC_ERR_FIN;
  }
  if (bParcoursChamps) {
    // Only counts the fields passed; a failure ends the walk and is ignored.
    while (!est_fin_groupe(z) && avancer_champ_1<kTrace>(z, nullptr, nullptr, nullptr) == MC_CR_OK) {
    }
  }
  // Below the data length, since the zone does not end here.
  const auto ulOffset = static_cast<uint32_t>(fin_groupe(z));
  uint16_t usIdentifiant = 0;
  uint32_t ulLongueur = 0;
  uint32_t ulTailleEntete = 0;
  const uint16_t usCr = decoder_entete_groupe<kTrace>(z.Buffer, z.TailleDonnees, ulOffset, &usIdentifiant,
                                              &ulLongueur, &ulTailleEntete);
  if (usCr != MC_CR_OK) {
    MC_TRACE_SI(kTrace, kModule, kTrcZone, MC_TRACE_SORTIE, "MC_usAvancergroupeSuivant");
    return usCr;
  }
  z.OffsetGroupe = ulOffset;
  ++z.CompteurGroupe;
  z.IdentifiantGroupe = usIdentifiant;
  z.LongueurGroupe = ulLongueur;
  z.TailleEnteteGroupe = ulTailleEntete;
  z.OffsetChamp = ulOffset + ulTailleEntete;
  z.NumeroChamp = 0;
  z.LongueurChamp = 0;
  z.TailleLongueurChamp = 0;
  if (fin_groupe(z) > z.TailleDonnees) {
    // The cursor stays on the group that runs past the data.
    MC_TRACE_SI(kTrace, kModule, kTrcZone, MC_TRACE_ERREUR,
                " La taille du groupe (%u) d\xe9passe la taille des donn\xe9" "es.",
                static_cast<unsigned>(z.LongueurGroupe));
    MC_TRACE_SI(kTrace, kModule, kTrcZone, MC_TRACE_SORTIE, "MC_usAvancergroupeSuivant");
    return MC_ERR_SYNTAXE;
  }
  if (pusIdentifiant != nullptr) {
    *pusIdentifiant = z.IdentifiantGroupe;
  }
  MC_TRACE_SI(kTrace, kModule, kTrcZone, MC_TRACE_DETAIL,
              "offsetGroupe = %u, longueurGroupe = %u, tailleEnteteGroupe  = %u",
              static_cast<unsigned>(z.OffsetGroupe), static_cast<unsigned>(z.LongueurGroupe),
              static_cast<unsigned>(z.TailleEnteteGroupe));
  MC_TRACE_SI(kTrace, kModule, kTrcZone, MC_TRACE_SORTIE,
              "offsetChamp = %u, longueurChamp = %u, tailleLongueurChamp  = %u",
              static_cast<unsigned>(z.OffsetChamp), static_cast<unsigned>(z.LongueurChamp),
              static_cast<unsigned>(z.TailleLongueurChamp));
  return MC_CR_OK;
}

// The search loop of MC_usRechercherGroupeSuivant for one occurrence.
uint16_t chercher_une_occurrence(ZoneMemoire& z, uint16_t usIdentifiant, bool bOccurrenceSuivante,
                                 bool bParcoursChamps) {
  // Kept: the found identifier starts at 0, not at the current group's; the search starts
  // after the current group and identifier 0 is found at once.
  uint16_t usTrouve = 0;
  while (usTrouve != usIdentifiant) {
    const uint16_t usCr = avancer_groupe(z, 1, bParcoursChamps, &usTrouve);
    if (usCr == MC_ERR_FIN && bOccurrenceSuivante) {
      return MC_ERR_OCCURRENCE;
    }
    if (usCr != MC_CR_OK) {
      return usCr;
    }
  }
  return MC_CR_OK;
}

// Advancing n items first advances n - 1 by the same call: n entry lines, then one step and one
// exit line per level; a failing level ends the levels above it with its code. 0 acts as 1.
template <typename Pas>
uint16_t avancer_par_niveaux(uint16_t usNombre, const char* pcNom, Pas pas) {
  const uint32_t ulNiveaux = usNombre > 1 ? usNombre : 1;
  for (uint32_t i = 0; i < ulNiveaux; ++i) {
    MC_TRACE(kModule, kTrcZone, MC_TRACE_ENTREE, "%s", pcNom);
  }
  uint16_t usCr = MC_CR_OK;
  uint32_t ulNiveau = 0;
  for (; ulNiveau < ulNiveaux; ++ulNiveau) {
    usCr = pas();
    if (usCr != MC_CR_OK) {
      break;
    }
  }
  for (++ulNiveau; ulNiveau < ulNiveaux; ++ulNiveau) {
    MC_TRACE(kModule, kTrcZone, MC_TRACE_SORTIE, "%s", pcNom);
  }
  return usCr;
}

// A flag of the cursor (the end tests) or a counter, read from a structured zone.
template <typename T, typename Lire>
uint16_t lire_curseur(uint16_t usZone, T* pValeur, Lire lire) {
  ZoneMemoire* pZone = nullptr;
  const uint16_t usCr = zone_structuree(usZone, &pZone);
  if (usCr != MC_CR_OK) {
    return usCr;
  }
  if (pValeur == nullptr) {
    return MC_ERR_ARGUMENT;
  }
  *pValeur = lire(*pZone);
  return MC_CR_OK;
}

}  // namespace

// Out of line, so that the one-step paths of the exported advances need no stack frame.
[[gnu::noinline]] uint16_t avancer_groupe(ZoneMemoire& z, uint16_t usNombre, bool bParcoursChamps,
                                          uint16_t* pusIdentifiant) {
  return avancer_par_niveaux(usNombre, "MC_usAvancergroupeSuivant",
                             [&] { return avancer_un_groupe(z, bParcoursChamps, pusIdentifiant); });
}

[[gnu::noinline]] uint16_t avancer_champ(ZoneMemoire& z, uint16_t usNombre, uint16_t* pusNumero,
                                         unsigned char** ppucDonnees, uint32_t* pulLongueur) {
  return avancer_par_niveaux(usNombre, "MC_usAvancerChampSuivant", [&] {
    return avancer_un_champ<true>(z, pusNumero, ppucDonnees, pulLongueur);
  });
}

// Searching occurrence n first searches occurrence n - 1 by the same call; past the first
// level, running out of groups means too few occurrences.
uint16_t rechercher_groupe_suivant(ZoneMemoire& z, uint16_t usIdentifiant, uint16_t usOccurrence,
                                   bool bParcoursChamps) {
  const uint32_t ulNiveaux = usOccurrence > 1 ? usOccurrence : 1;
  for (uint32_t ulNiveau = 1; ulNiveau <= ulNiveaux; ++ulNiveau) {
    const uint16_t usCr = chercher_une_occurrence(z, usIdentifiant, ulNiveau > 1, bParcoursChamps);
    if (usCr != MC_CR_OK) {
      return usCr;
    }
  }
  return MC_CR_OK;
}

uint16_t rechercher_groupe(ZoneMemoire& z, uint16_t usIdentifiant, uint16_t usOccurrence,
                           bool bParcoursChamps) {
  MC_TRACE(kModule, kTrcZone, MC_TRACE_APPEL, "MC_usRechercherGroupe");
  positionner_debut(z);
  return rechercher_groupe_suivant(z, usIdentifiant, usOccurrence, bParcoursChamps);
}

}  // namespace mc

extern "C" MC_API uint16_t MC_usPositionnerDebut(uint16_t usZone) {
  ZoneMemoire* pZone = nullptr;
  const uint16_t usCr = mc::zone_structuree(usZone, &pZone);
  if (usCr != MC_CR_OK) {
    return usCr;
  }
  mc::positionner_debut(*pZone);
  return MC_CR_OK;
}

extern "C" MC_API uint16_t MC_usPositionnerFin(uint16_t usZone, uint32_t ulParcoursChamps) {
  ZoneMemoire* pZone = nullptr;
  const uint16_t usCr = mc::zone_structuree(usZone, &pZone);
  if (usCr != MC_CR_OK) {
    return usCr;
  }
  ZoneMemoire& z = *pZone;
  MC_TRACE(mc::kModule, mc::kTrcZone, MC_TRACE_APPEL, "MC_usPositionnerFin");
  if (!mc::est_fin_zone(z)) {
    // Kept: the field test after each group advance stops early only on an empty last group;
    // otherwise the walk ends on the end-of-zone report.
    while (mc::avancer_groupe(z, 1, ulParcoursChamps != 0, nullptr) == MC_CR_OK &&
           !mc::est_fin_donnees(z)) {
    }
  }
  while (!mc::est_fin_groupe(z) && mc::avancer_champ_1(z, nullptr, nullptr, nullptr) == MC_CR_OK) {
  }
  // Kept: an exit line with an empty text after the single-line entry.
  MC_TRACE(mc::kModule, mc::kTrcZone, MC_TRACE_SORTIE, "%s", "");
  return MC_CR_OK;
}

extern "C" MC_API uint16_t MC_usFinZone(uint16_t usZone, uint32_t* pulFin) {
  return mc::lire_curseur(usZone, pulFin,
                          [](const ZoneMemoire& z) { return mc::est_fin_zone(z) ? 1u : 0u; });
}

extern "C" MC_API uint16_t MC_usFinDonnees(uint16_t usZone, uint32_t* pulFin) {
  return mc::lire_curseur(usZone, pulFin,
                          [](const ZoneMemoire& z) { return mc::est_fin_donnees(z) ? 1u : 0u; });
}

extern "C" MC_API uint16_t MC_usFinGroupe(uint16_t usZone, uint32_t* pulFin) {
  return mc::lire_curseur(usZone, pulFin,
                          [](const ZoneMemoire& z) { return mc::est_fin_groupe(z) ? 1u : 0u; });
}

extern "C" MC_API uint16_t MC_usAvancerGroupeSuivant(uint16_t usZone, uint16_t usNombre,
                                                     uint32_t ulParcoursChamps,
                                                     uint16_t* pusIdentifiant) {
  ZoneMemoire* pZone = nullptr;
  const uint16_t usCr = mc::zone_structuree(usZone, &pZone);
  if (usCr != MC_CR_OK) {
    return usCr;
  }
  if (usNombre <= 1 && mc::g_fichierTrace == nullptr) {
    return mc::avancer_un_groupe<false>(*pZone, ulParcoursChamps != 0, pusIdentifiant);
  }
  return mc::avancer_groupe(*pZone, usNombre, ulParcoursChamps != 0, pusIdentifiant);
}

extern "C" MC_API uint16_t MC_usAvancerChampSuivant(uint16_t usZone, uint16_t usNombre,
                                                    uint16_t* pusNumero,
                                                    unsigned char** ppucDonnees,
                                                    uint32_t* pulLongueur) {
  ZoneMemoire* pZone = nullptr;
  const uint16_t usCr = mc::zone_structuree(usZone, &pZone);
  if (usCr != MC_CR_OK) {
    return usCr;
  }
  if (usNombre <= 1 && mc::g_fichierTrace == nullptr) {
    return mc::avancer_champ_1<false>(*pZone, pusNumero, ppucDonnees, pulLongueur);
  }
  return mc::avancer_champ(*pZone, usNombre, pusNumero, ppucDonnees, pulLongueur);
}

extern "C" MC_API uint16_t MC_usRechercherGroupe(uint16_t usZone, uint16_t usIdentifiant,
                                                 uint16_t usOccurrence, uint32_t ulParcoursChamps) {
  if (usOccurrence == 0) {
    return MC_ERR_ARGUMENT;
  }
  ZoneMemoire* pZone = nullptr;
  const uint16_t usCr = mc::zone_structuree(usZone, &pZone);
  if (usCr != MC_CR_OK) {
    return usCr;
  }
  return mc::rechercher_groupe(*pZone, usIdentifiant, usOccurrence, ulParcoursChamps != 0);
}

extern "C" MC_API uint16_t MC_usRechercherGroupeSuivant(uint16_t usZone, uint16_t usIdentifiant,
                                                        uint16_t usOccurrence,
                                                        uint32_t ulParcoursChamps) {
  ZoneMemoire* pZone = nullptr;
  const uint16_t usCr = mc::zone_structuree(usZone, &pZone);
  if (usCr != MC_CR_OK) {
    return usCr;
  }
  return mc::rechercher_groupe_suivant(*pZone, usIdentifiant, usOccurrence, ulParcoursChamps != 0);
}

extern "C" MC_API uint16_t MC_usRechercherChamp(uint16_t usZone, uint16_t usIdentifiant,
                                                uint16_t usOccurrenceGroupe, uint16_t usNumero,
                                                uint32_t ulParcoursChamps,
                                                unsigned char** ppucDonnees,
                                                uint32_t* pulLongueur) {
  ZoneMemoire* pZone = nullptr;
  uint16_t usCr = mc::zone_structuree(usZone, &pZone);
  if (usCr != MC_CR_OK) {
    return usCr;
  }
  if (usOccurrenceGroupe == 0 || usNumero == 0) {
    return MC_ERR_ARGUMENT;
  }
  MC_TRACE(mc::kModule, mc::kTrcZone, MC_TRACE_ENTREE,
           "MC_usRechercherChamp: identifiant = %u, occurrenceGroupe = %u, numero = %u",
           static_cast<unsigned>(usIdentifiant), static_cast<unsigned>(usOccurrenceGroupe),
           static_cast<unsigned>(usNumero));
  usCr = mc::rechercher_groupe(*pZone, usIdentifiant, usOccurrenceGroupe, ulParcoursChamps != 0);
  if (usCr != MC_CR_OK) {
    return mc::sortie_erreur(usCr);
  }
  unsigned char* pucDonnees = nullptr;
  uint32_t ulLongueur = 0;
  usCr = mc::avancer_champ(*pZone, usNumero, nullptr, &pucDonnees, &ulLongueur);
  if (usCr == MC_CR_OK) {
    if (ppucDonnees != nullptr) {
      *ppucDonnees = pucDonnees;
    }
    if (pulLongueur != nullptr) {
      *pulLongueur = ulLongueur;
    }
  }
  MC_TRACE(mc::kModule, mc::kTrcZone, MC_TRACE_SORTIE,
           "cr = 0x%04X, donnees = 0x%p, longueur = %u", static_cast<unsigned>(usCr),
           static_cast<void*>(pucDonnees), static_cast<unsigned>(ulLongueur));
  return usCr;
}

extern "C" MC_API uint16_t MC_usLireGroupeSuivant(uint16_t usZone, uint32_t ulParcoursChamps,
                                                  uint16_t* pusIdentifiant,
                                                  uint16_t* pusOccurrence) {
  ZoneMemoire* pZone = nullptr;
  uint16_t usCr = mc::zone_structuree(usZone, &pZone);
  if (usCr != MC_CR_OK) {
    return usCr;
  }
  ZoneMemoire& z = *pZone;
  MC_TRACE(mc::kModule, mc::kTrcZone, MC_TRACE_ENTREE, "MC_usLireGroupeSuivant");
  if (mc::est_fin_zone(z)) {
    MC_TRACE(mc::kModule, mc::kTrcZone, MC_TRACE_ERREUR, " Fin des donnees atteinte.");
    return mc::sortie_erreur(MC_ERR_FIN);
  }
  const auto ulOffsetSuivant = static_cast<uint32_t>(mc::fin_groupe(z));
  uint16_t usIdentifiant = 0;
  uint32_t ulLongueur = 0;
  uint32_t ulTailleEntete = 0;
  usCr = mc::decoder_entete_groupe(z.Buffer, z.TailleDonnees, ulOffsetSuivant, &usIdentifiant,
                                   &ulLongueur, &ulTailleEntete);
  if (usCr != MC_CR_OK) {
    return mc::sortie_erreur(usCr);
  }
  if (pusIdentifiant != nullptr) {
    *pusIdentifiant = usIdentifiant;
  }
  // Kept: from the start state the next group's offset is the start's, so the loop does not
  // run, the occurrence is 0 and the cursor stays at the start.
  mc::positionner_debut(z);
  uint16_t usOccurrence = 1;
  if (usIdentifiant == 0) {
    // Identifier 0 is found at once without moving, so the loop runs its 16-bit occurrence
    // round to 0, where the search refuses it: the cursor ends at the start and the occurrence
    // at 0. Each of the 65535 searches only writes its line and puts the cursor at the start
    // (the nested levels of occurrence n find 0 at once, without trace), so write those lines
    // without walking the levels.
    if (mc::g_fichierTrace != nullptr && z.OffsetGroupe < ulOffsetSuivant) {
      for (uint32_t i = 0; i < 0xFFFFu; ++i) {
        MC_TRACE(mc::kModule, mc::kTrcZone, MC_TRACE_APPEL, "MC_usRechercherGroupe");
        mc::positionner_debut(z);
      }
    }
  } else {
    uint16_t usCrRecherche = MC_CR_OK;
    while (z.OffsetGroupe < ulOffsetSuivant && usCrRecherche == MC_CR_OK) {
      usCrRecherche = usOccurrence == 0 ? MC_ERR_ARGUMENT
                                        : mc::rechercher_groupe(z, usIdentifiant, usOccurrence,
                                                                ulParcoursChamps != 0);
      ++usOccurrence;
    }
  }
  if (pusOccurrence != nullptr) {
    *pusOccurrence = static_cast<uint16_t>(usOccurrence - 1);
  }
  MC_TRACE(mc::kModule, mc::kTrcZone, MC_TRACE_SORTIE, "%s", "");
  return MC_CR_OK;
}

extern "C" MC_API uint16_t MC_usLireCompteurGroupe(uint16_t usZone, uint16_t* pusCompteur) {
  return mc::lire_curseur(usZone, pusCompteur, [](const ZoneMemoire& z) { return z.CompteurGroupe; });
}

extern "C" MC_API uint16_t MC_usLireCompteurChamp(uint16_t usZone, uint16_t* pusCompteur) {
  return mc::lire_curseur(usZone, pusCompteur, [](const ZoneMemoire& z) { return z.CompteurChamp; });
}
