// mccodage.cpp -- the length and group header coding, the sizes of coded items and the syntax
// control of a structured zone.
#include <cstdarg>
#include <cstring>

#include "zone/mczone.h"

namespace mc {

uint32_t ecrire_longueur(ZoneMemoire& z, uint32_t ulLongueur, uint32_t ulOffset) {
  MC_TRACE(kModule, kTrcZone, MC_TRACE_ENTREE, "MC_stCoderLongueur : longueur = %u, offset = %u",
           static_cast<unsigned>(ulLongueur), static_cast<unsigned>(ulOffset));
  uint8_t code[5];
  const uint32_t ulNbOctets = coder_longueur(code, ulLongueur);
  if (ulOffset < z.TailleBuffer) {
    const uint32_t ulPlace = z.TailleBuffer - ulOffset;
    std::memcpy(z.Buffer + ulOffset, code, ulNbOctets < ulPlace ? ulNbOctets : ulPlace);
  }
  MC_TRACE(kModule, kTrcZone, MC_TRACE_SORTIE, "nbOctets = %u", static_cast<unsigned>(ulNbOctets));
  return ulNbOctets;
}

}  // namespace mc

extern "C" MC_API uint32_t MC_stCoderLongueur(uint32_t ulLongueur, uint32_t ulOffset,
                                              unsigned char** ppucBuffer) {
  MC_TRACE(mc::kModule, mc::kTrcZone, MC_TRACE_ENTREE,
           "MC_stCoderLongueur : longueur = %u, offset = %u", static_cast<unsigned>(ulLongueur),
           static_cast<unsigned>(ulOffset));
  uint32_t ulNbOctets = 0;
  if (ppucBuffer != nullptr && *ppucBuffer != nullptr) {
    ulNbOctets = mc::coder_longueur(*ppucBuffer + ulOffset, ulLongueur);
  }
  MC_TRACE(mc::kModule, mc::kTrcZone, MC_TRACE_SORTIE, "nbOctets = %u",
           static_cast<unsigned>(ulNbOctets));
  return ulNbOctets;
}

extern "C" MC_API uint32_t MC_stCoderEnteteGroupe(uint16_t usIdentifiant, uint32_t ulLongueur,
                                                  uint32_t ulOffset, unsigned char** ppucBuffer) {
  MC_TRACE(mc::kModule, mc::kTrcZone, MC_TRACE_ENTREE,
           "MC_stCoderEnteteGroupe : identifiant = %u, longueur = %u, offset = %u",
           static_cast<unsigned>(usIdentifiant), static_cast<unsigned>(ulLongueur),
           static_cast<unsigned>(ulOffset));
  uint32_t ulNbOctets = 0;
  if (ppucBuffer != nullptr && *ppucBuffer != nullptr) {
    (*ppucBuffer)[ulOffset] = static_cast<unsigned char>(usIdentifiant >> 8);
    (*ppucBuffer)[ulOffset + 1] = static_cast<unsigned char>(usIdentifiant);
    ulNbOctets = 2 + MC_stCoderLongueur(ulLongueur, ulOffset + 2, ppucBuffer);
  }
  MC_TRACE(mc::kModule, mc::kTrcZone, MC_TRACE_SORTIE, "nbOctets = %u",
           static_cast<unsigned>(ulNbOctets));
  return ulNbOctets;
}

extern "C" MC_API uint32_t MC_stDecoderLongueur(const unsigned char* pucBuffer,
                                                uint32_t ulTailleBuffer, uint32_t ulOffset,
                                                uint32_t* pulLongueur, uint32_t* pulNbOctets) {
  if (pucBuffer == nullptr || pulLongueur == nullptr || pulNbOctets == nullptr) {
    return MC_ERR_ARGUMENT;
  }
  return mc::g_fichierTrace != nullptr
             ? mc::decoder_longueur<true>(pucBuffer, ulTailleBuffer, ulOffset, pulLongueur, pulNbOctets)
             : mc::decoder_longueur<false>(pucBuffer, ulTailleBuffer, ulOffset, pulLongueur, pulNbOctets);
}

extern "C" MC_API uint16_t MC_usDecoderEnteteGroupe(const unsigned char* pucBuffer,
                                                    uint32_t ulTailleBuffer, uint32_t ulOffset,
                                                    uint16_t* pusIdentifiant,
                                                    uint32_t* pulLongueur,
                                                    uint32_t* pulNbOctets) {
  if (pucBuffer == nullptr || pusIdentifiant == nullptr || pulLongueur == nullptr ||
      pulNbOctets == nullptr) {
    return MC_ERR_ARGUMENT;
  }
  return mc::decoder_entete_groupe(pucBuffer, ulTailleBuffer, ulOffset, pusIdentifiant,
                                   pulLongueur, pulNbOctets);
}

extern "C" MC_API uint32_t MC_stCalculerTailleLongueur(uint32_t ulLongueur) {
  return mc::taille_longueur(ulLongueur);
}

extern "C" MC_API uint32_t MC_stCalculerTailleEnteteGroupe(uint32_t ulLongueur) {
  return 2 + MC_stCalculerTailleLongueur(ulLongueur);
}

extern "C" MC_API uint32_t MC_stCalculerTailleChamp(uint32_t ulLongueur) {
  return MC_stCalculerTailleLongueur(ulLongueur) + ulLongueur;
}

extern "C" MC_API uint32_t MC_stCalculerTailleGroupe2(uint32_t ulLongueur) {
  return MC_stCalculerTailleEnteteGroupe(ulLongueur) + ulLongueur;
}

extern "C" MC_API uint32_t MC_stCalculerTailleGroupe1(uint32_t ulNombre, ...) {
  va_list vaLongueurs;
  va_start(vaLongueurs, ulNombre);
  uint32_t ulSomme = 0;
  for (uint32_t i = 0; i < ulNombre; ++i) {
    ulSomme += MC_stCalculerTailleChamp(va_arg(vaLongueurs, uint32_t));
  }
  va_end(vaLongueurs);
  return MC_stCalculerTailleGroupe2(ulSomme);
}

namespace mc {
namespace {

// An error of the syntax control that ends it at once: its line, the bare exit line, 0xF810.
#define MC_SYNTAXE_ERREUR(...)                                                    \
  do {                                                                            \
    MC_TRACE(kModule, kTrcSyntaxe, MC_TRACE_ERREUR, __VA_ARGS__);                 \
    MC_TRACE(kModule, kTrcSyntaxe, MC_TRACE_SORTIE, "MC_usControlerSyntaxeZoneMemoire"); \
    *pbSortieEcrite = true;                                                       \
    return MC_ERR_SYNTAXE;                                                        \
  } while (0)

// The walk of the syntax control over a positioned zone; 0, or the code of the first fault. The
// errors it finds itself write their own exit line and set *pbSortieEcrite.
uint16_t controler_syntaxe(ZoneMemoire& z, bool* pbSortieEcrite) {
  uint32_t ulTailleDataIn = z.TailleDonnees;
  MC_TRACE(kModule, kTrcSyntaxe, MC_TRACE_DETAIL, "Longueur des donnees d'entree (%lu)",
           static_cast<unsigned long>(ulTailleDataIn));
  // Kept: the messages print 0, or 1 once a field of length 0 was met, as the length size.
  uint32_t ulMarqueur = 0;
  for (;;) {
    uint16_t usIdGroupe = 0;
    uint32_t stLongueurGroupe = 0;
    uint32_t stNbOctetsLongueurGroupe = 0;
    // The cursor's group ends inside the data here: the remaining count accounts for it.
    const auto ulOffset = static_cast<uint32_t>(fin_groupe(z));
    const uint16_t usCr = decoder_entete_groupe(z.Buffer, z.TailleDonnees, ulOffset, &usIdGroupe,
                                                &stLongueurGroupe, &stNbOctetsLongueurGroupe);
    if (usCr != MC_CR_OK) {
      return usCr;
    }
    MC_TRACE(kModule, kTrcSyntaxe, MC_TRACE_DETAIL, "usIdGroupe = %u",
             static_cast<unsigned>(usIdGroupe));
    MC_TRACE(kModule, kTrcSyntaxe, MC_TRACE_DETAIL,
             "stLongueurGroupe = %u, stNbOctetsLongueurGroupe = %u",
             static_cast<unsigned>(stLongueurGroupe), static_cast<unsigned>(stNbOctetsLongueurGroupe));
    if (stLongueurGroupe == 0) {
      MC_SYNTAXE_ERREUR("Groupe de longueur 0 => ERREUR");
    }
    if (ulTailleDataIn < stNbOctetsLongueurGroupe) {
      MC_SYNTAXE_ERREUR("ulTailleDataIn (%lu) < stNbOctetsLongueurGroupe (%u) ",
                        static_cast<unsigned long>(ulTailleDataIn),
                        static_cast<unsigned>(stNbOctetsLongueurGroupe));
    }
    if (ulTailleDataIn - stNbOctetsLongueurGroupe < stLongueurGroupe) {
      MC_SYNTAXE_ERREUR(
          "Longueur du groupe (%lu + %u) depasse la longueur des donnees d'entree restante (%lu)",
          static_cast<unsigned long>(stLongueurGroupe),
          static_cast<unsigned>(stNbOctetsLongueurGroupe),
          static_cast<unsigned long>(ulTailleDataIn));
    }
    ulTailleDataIn -= stLongueurGroupe + stNbOctetsLongueurGroupe;
    MC_TRACE(kModule, kTrcSyntaxe, MC_TRACE_DETAIL, "ulTailleDataIn = %lu",
             static_cast<unsigned long>(ulTailleDataIn));
    // The field part goes back to the body start, so the group advance below walks the
    // current group's fields again.
    z.OffsetChamp = z.OffsetGroupe + z.TailleEnteteGroupe;
    z.TailleLongueurChamp = 0;
    z.LongueurChamp = 0;
    z.NumeroChamp = 0;
    if (fin_groupe(z) > z.TailleDonnees) {
      MC_SYNTAXE_ERREUR(" La taille du groupe (%u) d\xe9passe la taille des donn\xe9" "es.",
                        static_cast<unsigned>(z.LongueurGroupe));
    }
    const uint16_t usCrGroupe = avancer_groupe(z, 1, true, nullptr);
    if (usCrGroupe != MC_CR_OK) {
      return usCrGroupe;
    }
    uint32_t ulResteGroupe = stLongueurGroupe;
    while (ulResteGroupe != 0) {
      if (avancer_champ_1(z, nullptr, nullptr, nullptr) != MC_CR_OK) {
        MC_SYNTAXE_ERREUR("Impossible de lire la longueur du champ");
      }
      if (z.LongueurChamp == 0) {
        ulMarqueur = 1;
      }
      if (ulResteGroupe < z.TailleLongueurChamp) {
        MC_SYNTAXE_ERREUR("Lg du groupe (%lu) < Nombre d'octets pour lg champ  (%u) ",
                          static_cast<unsigned long>(ulResteGroupe),
                          static_cast<unsigned>(ulMarqueur));
      }
      if (ulResteGroupe - z.TailleLongueurChamp < z.LongueurChamp) {
        MC_SYNTAXE_ERREUR("Longueur du champ (%lu + %u) depasse la longueur du groupe restante (%lu)",
                          static_cast<unsigned long>(z.LongueurChamp),
                          static_cast<unsigned>(ulMarqueur),
                          static_cast<unsigned long>(ulResteGroupe));
      }
      ulResteGroupe -= z.LongueurChamp + z.TailleLongueurChamp;
      MC_TRACE(kModule, kTrcSyntaxe, MC_TRACE_DETAIL, "stLongueurGroupe = %lu",
               static_cast<unsigned long>(ulResteGroupe));
    }
    if (ulTailleDataIn == 0) {
      return MC_CR_OK;
    }
  }
}

#undef MC_SYNTAXE_ERREUR

// The syntax control while tracing is off: one pass over the lengths. On a well-formed zone it
// leaves the cursor exactly where the traced walk ends (the last field of the last group, the
// counters as that walk counts them) and returns true; otherwise it changes nothing and returns
// false, and the traced walk runs to give the code and the cursor of the fault.
bool controler_syntaxe_rapide(ZoneMemoire& z) {
  const uint8_t* p = z.Buffer;
  const uint32_t ulTaille = z.TailleDonnees;
  if (ulTaille == 0) {
    return false;
  }
  uint64_t ullPos = 0;
  uint32_t ulNbGroupes = 0;
  uint32_t ulNbChamps = 0;
  uint32_t ulChampsGroupe = 0;
  uint32_t ulOffsetGroupe = 0, ulLongueurGroupe = 0, ulTailleEntete = 0;
  uint32_t ulOffsetChamp = 0, ulLongueurChamp = 0, ulTailleLongueur = 0;
  while (ullPos < ulTaille) {
    uint16_t usId = 0;
    uint32_t lg = 0;
    uint32_t te = 0;
    if (decoder_entete_groupe<false>(p, ulTaille, static_cast<uint32_t>(ullPos), &usId, &lg, &te) !=
            MC_CR_OK ||
        lg == 0) {
      return false;
    }
    const uint64_t ullCorps = ullPos + te;
    const uint64_t ullFin = ullCorps + lg;
    if (ullFin > ulTaille) {
      return false;
    }
    ulChampsGroupe = 0;
    for (uint64_t f = ullCorps; f < ullFin;) {
      uint32_t lc = 0;
      uint32_t tlc = 0;
      if (decoder_longueur<false>(p, ulTaille, static_cast<uint32_t>(f), &lc, &tlc) != MC_CR_OK) {
        return false;
      }
      ulOffsetChamp = static_cast<uint32_t>(f);
      ulLongueurChamp = lc;
      ulTailleLongueur = tlc;
      f += static_cast<uint64_t>(tlc) + lc;
      if (f > ullFin) {
        return false;
      }
      ++ulChampsGroupe;
    }
    ++ulNbGroupes;
    ulNbChamps += ulChampsGroupe;
    ulOffsetGroupe = static_cast<uint32_t>(ullPos);
    ulLongueurGroupe = lg;
    ulTailleEntete = te;
    ullPos = ullFin;
  }
  z.OffsetGroupe = ulOffsetGroupe;
  z.TailleEnteteGroupe = ulTailleEntete;
  z.LongueurGroupe = ulLongueurGroupe;
  z.IdentifiantGroupe = static_cast<uint16_t>((p[ulOffsetGroupe] << 8) | p[ulOffsetGroupe + 1]);
  z.OffsetChamp = ulOffsetChamp;
  z.TailleLongueurChamp = ulTailleLongueur;
  z.LongueurChamp = ulLongueurChamp;
  z.NumeroChamp = static_cast<uint16_t>(ulChampsGroupe);
  z.CompteurGroupe = static_cast<uint16_t>(ulNbGroupes);
  // Each group advance walks the previous group's fields again (the field part was put back at
  // its body start), so every field but those of the last group is counted twice.
  z.CompteurChamp = static_cast<uint16_t>(2 * ulNbChamps - ulChampsGroupe);
  return true;
}

}  // namespace
}  // namespace mc

extern "C" MC_API uint16_t MC_usControlerSyntaxeZoneMemoire(uint16_t usZone) {
  MC_TRACE(mc::kModule, mc::kTrcSyntaxe, MC_TRACE_ENTREE, "MC_usControlerSyntaxeZoneMemoire");
  uint16_t usResultat = MC_usPositionnerDebut(usZone);
  bool bSortieEcrite = false;
  if (usResultat == MC_CR_OK &&
      (mc::g_fichierTrace != nullptr || !mc::controler_syntaxe_rapide(*mc::ZM[usZone]))) {
    usResultat = mc::controler_syntaxe(*mc::ZM[usZone], &bSortieEcrite);
  }
  if (!bSortieEcrite) {
    MC_TRACE(mc::kModule, mc::kTrcSyntaxe, MC_TRACE_SORTIE,
             "MC_usControlerSyntaxeZoneMemoire usResultat = 0x%04x",
             static_cast<unsigned>(usResultat));
  }
  return usResultat;
}
