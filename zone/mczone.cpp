// mczone.cpp -- the zone table: creation, wrapping of callers' buffers, resizing, raw access, freeing.
#include "zone/mczone.h"

#include <cstring>

namespace mc {

ZoneMemoire* ZM[kNbZones] = {};

namespace {

// A cleared descriptor registered under the lowest free number. 0, 0xF801.
uint16_t enregistrer_descripteur(uint16_t* pusZone, ZoneMemoire** ppZone) {
  uint16_t usZone = 0;
  if (!MC_bRechercherZoneLibre(&usZone)) {
    return MC_ERR_MEMOIRE;
  }
  auto* pZone = static_cast<ZoneMemoire*>(MC_Allouer(sizeof(ZoneMemoire)));
  if (pZone == nullptr) {
    return MC_ERR_MEMOIRE;
  }
  std::memset(pZone, 0, sizeof(ZoneMemoire));
  ZM[usZone] = pZone;
  *pusZone = usZone;
  *ppZone = pZone;
  return MC_CR_OK;
}

void curseur_au_debut(ZoneMemoire& z) {
  if (z.Structuree != 0) {
    positionner_debut(z);
  }
  // A raw zone's cursor is already clear: the descriptor was cleared when it was taken.
}

uint16_t initialiser(unsigned char* pucBuffer, uint32_t ulTaille, uint32_t ulTailleDonnees,
                     uint16_t* pusZone, uint32_t ulStructuree) {
  MC_TRACE(kModule, kTrcZone, MC_TRACE_ENTREE, "MC_usInitZoneMemoire : buffer = 0x%p, taille = %u",
           static_cast<void*>(pucBuffer), static_cast<unsigned>(ulTaille));
  uint16_t usCr = MC_CR_OK;
  ZoneMemoire* pZone = nullptr;
  // A data length above the buffer would let every later read run past the caller's memory.
  if (pucBuffer == nullptr || ulTaille == 0 || pusZone == nullptr || ulTailleDonnees > ulTaille) {
    usCr = MC_ERR_ARGUMENT;
  } else {
    usCr = enregistrer_descripteur(pusZone, &pZone);
  }
  if (usCr == MC_CR_OK) {
    pZone->Buffer = pucBuffer;
    pZone->TailleBuffer = ulTaille;
    pZone->TailleDonnees = ulTailleDonnees;
    pZone->Structuree = ulStructuree;
    curseur_au_debut(*pZone);
  }
  return sortie(usCr);
}

// The entry of a raw read or write: the zone checks, the entry line and the bound, which is the
// allocated size. 0, 0xF807, 0xF811, 0xF804 (with its exit line).
uint16_t acces_brut(uint16_t usZone, const char* pcNom, uint32_t ulPosition, uint32_t ulLongueur,
                    ZoneMemoire** ppZone) {
  const uint16_t usCr = zone_du_genre(usZone, false, ppZone);
  if (usCr != MC_CR_OK) {
    return usCr;
  }
  MC_TRACE(kModule, kTrcZone, MC_TRACE_ENTREE, "%s", pcNom);
  if (static_cast<uint64_t>(ulPosition) + ulLongueur > (*ppZone)->TailleBuffer) {
    return sortie_erreur(MC_ERR_DEPASSEMENT);
  }
  return MC_CR_OK;
}

}  // namespace

namespace testing {
void reset_zones() {
  for (ZoneMemoire*& pZone : ZM) {
    MC_Liberer(pZone);
    pZone = nullptr;
  }
}
}  // namespace testing

}  // namespace mc

using mc::ZM;

extern "C" MC_API int32_t MC_bRechercherZoneLibre(uint16_t* pusZone) {
  for (uint16_t usZone = 0; usZone < mc::kNbZones; ++usZone) {
    if (ZM[usZone] == nullptr) {
      if (pusZone != nullptr) {
        *pusZone = usZone;
      }
      return 1;
    }
  }
  return 0;
}

extern "C" MC_API uint16_t MC_usCreerZoneMemoire(uint32_t ulTaille, uint32_t ulStructuree,
                                                 uint16_t* pusZone) {
  MC_TRACE(mc::kModule, mc::kTrcZone, MC_TRACE_ENTREE, "MC_usCreationZoneMemoire : taille = %u",
           static_cast<unsigned>(ulTaille));
  uint16_t usCr = MC_CR_OK;
  ZoneMemoire* pZone = nullptr;
  if (pusZone == nullptr) {
    usCr = MC_ERR_ARGUMENT;
  } else {
    usCr = mc::enregistrer_descripteur(pusZone, &pZone);
  }
  if (usCr == MC_CR_OK) {
    // A zone always has at least one byte.
    const uint32_t ulTailleBuffer = ulTaille == 0 ? 1 : ulTaille;
    auto* pucBuffer = static_cast<unsigned char*>(MC_Allouer(ulTailleBuffer));
    if (pucBuffer == nullptr) {
      // Kept: the descriptor stays registered without a buffer, its number taken until freed.
      // Its size stays 0, so that no raw access reaches the missing buffer.
      usCr = MC_ERR_MEMOIRE;
    } else {
      std::memset(pucBuffer, 0, ulTailleBuffer);
      pZone->Buffer = pucBuffer;
      pZone->TailleBuffer = ulTailleBuffer;
      pZone->Structuree = ulStructuree;
      pZone->TailleDonnees = 0;
      mc::curseur_au_debut(*pZone);
    }
  }
  // Kept: the exit line shows 0 when no number, descriptor or buffer could be had.
  const uint16_t usCrTrace = usCr == MC_ERR_MEMOIRE ? MC_CR_OK : usCr;
  mc::sortie(usCrTrace);
  return usCr;
}

extern "C" MC_API uint16_t MC_usInitialiserZoneMemoire(unsigned char* pucBuffer, uint32_t ulTaille,
                                                       uint16_t* pusZone, uint32_t ulStructuree) {
  return mc::initialiser(pucBuffer, ulTaille, ulTaille, pusZone, ulStructuree);
}

extern "C" MC_API uint16_t MC_usInitialiserZoneMemoireNonPlein(unsigned char* pucBuffer,
                                                               uint32_t ulTaille,
                                                               uint32_t ulTailleDonnees,
                                                               uint16_t* pusZone,
                                                               uint32_t ulStructuree) {
  return mc::initialiser(pucBuffer, ulTaille, ulTailleDonnees, pusZone, ulStructuree);
}

extern "C" MC_API uint16_t MC_usLibererZoneMemoire(uint16_t usZone) {
  ZoneMemoire* pZone = mc::descripteur(usZone);
  if (pZone == nullptr) {
    return MC_ERR_NUMERO;
  }
  MC_TRACE(mc::kModule, mc::kTrcZone, MC_TRACE_APPEL, "MC_usLibererZoneMemoire : numero de zone = %u",
           static_cast<unsigned>(usZone));
  // Kept: the buffer is never released here, also when the library allocated it.
  MC_Liberer(pZone);
  ZM[usZone] = nullptr;
  return MC_CR_OK;
}

extern "C" MC_API uint16_t MC_usRedimensionner(uint16_t usZone, uint32_t ulTaille) {
  ZoneMemoire* pZone = mc::descripteur(usZone);
  if (pZone == nullptr) {
    return MC_ERR_NUMERO;
  }
  MC_TRACE(mc::kModule, mc::kTrcZone, MC_TRACE_ENTREE, "MC_usRedimensionner : taille = %u",
           static_cast<unsigned>(ulTaille));
  uint16_t usCr = MC_CR_OK;
  // Kept: compared with the allocated size, not the data length the message names.
  if (ulTaille < pZone->TailleBuffer) {
    MC_TRACE(mc::kModule, mc::kTrcZone, MC_TRACE_ERREUR,
             "Nouvelle taille (%u) inferieure a la taille des donnees (%u).",
             static_cast<unsigned>(ulTaille), static_cast<unsigned>(pZone->TailleBuffer));
    usCr = MC_ERR_MEMOIRE;
  } else {
    auto* pucBuffer = static_cast<unsigned char*>(MC_Allouer(ulTaille));
    if (pucBuffer == nullptr) {
      usCr = MC_ERR_MEMOIRE;
    } else {
      if (pZone->TailleDonnees != 0) {
        std::memcpy(pucBuffer, pZone->Buffer, pZone->TailleDonnees);
      }
      MC_Liberer(pZone->Buffer);
      pZone->Buffer = pucBuffer;
      pZone->TailleBuffer = ulTaille;
    }
  }
  return mc::sortie(usCr);
}

extern "C" MC_API uint16_t MC_pucLireBuffer(uint16_t usZone, uint32_t* pulTaille,
                                            unsigned char** ppucBuffer) {
  ZoneMemoire* pZone = mc::descripteur(usZone);
  if (pZone == nullptr) {
    return MC_ERR_NUMERO;
  }
  if (pulTaille == nullptr || ppucBuffer == nullptr) {
    return MC_ERR_ARGUMENT;
  }
  *pulTaille = pZone->TailleDonnees;
  *ppucBuffer = pZone->Buffer;
  MC_TRACE(mc::kModule, mc::kTrcZone, MC_TRACE_APPEL,
           "MC_pucLireBuffer : numero de zone = %u, taille = %u", static_cast<unsigned>(usZone),
           static_cast<unsigned>(pZone->TailleDonnees));
  return MC_CR_OK;
}

extern "C" MC_API uint16_t MC_usLireZoneMemoire(uint16_t usZone, uint32_t ulPosition,
                                                unsigned char** ppucDestination,
                                                uint32_t ulLongueur) {
  ZoneMemoire* pZone = nullptr;
  // Bytes past the data but inside the buffer can be read.
  uint16_t usCr = mc::acces_brut(usZone, "MC_usLireZoneMemoire", ulPosition, ulLongueur, &pZone);
  if (usCr != MC_CR_OK) {
    return usCr;
  }
  if (ulLongueur != 0) {
    if (ppucDestination == nullptr || *ppucDestination == nullptr) {
      usCr = MC_ERR_ARGUMENT;
    } else {
      std::memcpy(*ppucDestination, pZone->Buffer + ulPosition, ulLongueur);
    }
  }
  return mc::sortie(usCr);
}

extern "C" MC_API uint16_t MC_usEcrireZoneMemoire(uint16_t usZone, uint32_t ulPosition,
                                                  const unsigned char* pucSource,
                                                  uint32_t ulLongueur) {
  ZoneMemoire* pZone = nullptr;
  // Raw zones never grow by themselves.
  uint16_t usCr = mc::acces_brut(usZone, "MC_usEcrireZoneMemoire", ulPosition, ulLongueur, &pZone);
  if (usCr != MC_CR_OK) {
    return usCr;
  }
  const uint64_t ullFin = static_cast<uint64_t>(ulPosition) + ulLongueur;
  if (ulLongueur != 0 && pucSource == nullptr) {
    usCr = MC_ERR_ARGUMENT;
  } else {
    if (ulLongueur != 0) {
      std::memcpy(pZone->Buffer + ulPosition, pucSource, ulLongueur);
    }
    // Writing inside the data never shrinks it.
    if (ullFin > pZone->TailleDonnees) {
      pZone->TailleDonnees = static_cast<uint32_t>(ullFin);
    }
  }
  return mc::sortie(usCr);
}
