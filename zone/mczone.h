// mczone.h -- internal side of the memory zones: the zone table, the length coding primitives and
// the cursor steps shared by navigation, editing and the syntax control.
//
// Naming: the names the library has always had (MC_usAvancerChampSuivant, ZM, ...) stay as they
// are; the other helpers are French snake_case (avancer_un_champ, est_fin_zone). Exported names are
// extern "C"; every other internal lives in namespace mc, the file-local ones in an anonymous
// namespace, the test hooks in mc::testing.
#ifndef MC_ZONE_MCZONE_H
#define MC_ZONE_MCZONE_H

#include <cstdint>

#include "mc.h"
#include "runtime/mctrace.h"

namespace mc {

inline constexpr uint16_t kNbZones = 100;

// The zone table: null, or a descriptor from MC_Allouer.
extern ZoneMemoire* ZM[kNbZones];

// The descriptor of a zone number, or null when the number is above 99 or unused.
inline ZoneMemoire* descripteur(uint16_t usZone) {
  return usZone < kNbZones ? ZM[usZone] : nullptr;
}

// The descriptor of a zone of the given kind through *ppZone: 0, 0xF807 (number), 0xF811 (the
// other kind).
inline uint16_t zone_du_genre(uint16_t usZone, bool bStructuree, ZoneMemoire** ppZone) {
  ZoneMemoire* pZone = descripteur(usZone);
  if (pZone == nullptr) {
    return MC_ERR_NUMERO;
  }
  if ((pZone->Structuree != 0) != bStructuree) {
    return MC_ERR_TYPE;
  }
  *ppZone = pZone;
  return MC_CR_OK;
}

inline uint16_t zone_structuree(uint16_t usZone, ZoneMemoire** ppZone) {
  return zone_du_genre(usZone, true, ppZone);
}

// The exit lines that carry a result code, without and with a leading blank; return the code.
inline uint16_t sortie(uint16_t usCr) {
  MC_TRACE(kModule, kTrcZone, MC_TRACE_SORTIE, "cr = 0x%04X", static_cast<unsigned>(usCr));
  return usCr;
}
inline uint16_t sortie_erreur(uint16_t usCr) {
  MC_TRACE(kModule, kTrcZone, MC_TRACE_SORTIE, " cr = 0x%04X", static_cast<unsigned>(usCr));
  return usCr;
}

// The hot steps below are compiled twice: with kTrace false their trace lines vanish, for the
// callers that have tested once that tracing is off; with kTrace true each line is an MC_TRACE.
#define MC_TRACE_SI(kTrace, ...)  \
  do {                            \
    if constexpr (kTrace) {       \
      MC_TRACE(__VA_ARGS__);      \
    }                             \
  } while (0)

// Coded size of a length. Kept: each class stops one below its all-ones value, so 255, 65535
// and 16777215 take the next size up. Values above 32 bits (sums that overflow) take 5.
constexpr uint32_t taille_longueur(uint64_t ullLongueur) {
  return ullLongueur <= 127u        ? 1u
         : ullLongueur <= 254u      ? 2u
         : ullLongueur <= 65534u    ? 3u
         : ullLongueur <= 16777214u ? 4u
                                    : 5u;
}

// Writes the coded length into p (room for 5 bytes); returns its size.
inline uint32_t coder_longueur(uint8_t* p, uint32_t ulLongueur) {
  const uint32_t ulTaille = taille_longueur(ulLongueur);
  if (ulTaille == 1) {
    p[0] = static_cast<uint8_t>(ulLongueur);
    return 1;
  }
  const uint32_t ulNbOctets = ulTaille - 1;
  p[0] = static_cast<uint8_t>(0x80u | ulNbOctets);
  for (uint32_t i = 0; i < ulNbOctets; ++i) {
    p[1 + i] = static_cast<uint8_t>(ulLongueur >> (8 * (ulNbOctets - 1 - i)));
  }
  return ulTaille;
}

// MC_stDecoderLongueur without its argument checks: reads the length at ulOffset within
// ulTailleBuffer bytes. 0, 0xF810.
template <bool kTrace = true>
inline uint32_t decoder_longueur(const uint8_t* pucBuffer, uint32_t ulTailleBuffer, uint32_t ulOffset,
                                 uint32_t* pulLongueur, uint32_t* pulNbOctets) {
  MC_TRACE_SI(kTrace, kModule, kTrcZone, MC_TRACE_ENTREE, "MC_stDecoderLongueur : offset = %u",
              static_cast<unsigned>(ulOffset));
  uint32_t ulCr = MC_ERR_SYNTAXE;
  if (ulOffset >= ulTailleBuffer) {
    // The first byte is read only inside the buffer: an offset at its end is a buffer too small.
    MC_TRACE_SI(kTrace, kModule, kTrcZone, MC_TRACE_ERREUR,
                " Buffer trop petit pour coder la longueur (%u) (tailleBuffer = %u).", 0u,
                static_cast<unsigned>(ulTailleBuffer));
  } else if (const uint32_t b = pucBuffer[ulOffset]; b <= 0x80u) {
    // Kept: a lone 0x80 reads as 128, although the writer never produces it.
    *pulLongueur = b;
    *pulNbOctets = 1;
    ulCr = MC_CR_OK;
  } else if (const uint32_t n = b & 0x7Fu; n > 4) {
    MC_TRACE_SI(kTrace, kModule, kTrcZone, MC_TRACE_ERREUR,
                " Nombre d'octets pour coder la longueur (%u) > %d.", static_cast<unsigned>(n), 4);
  } else if (static_cast<uint64_t>(ulOffset) + n >= ulTailleBuffer) {
    MC_TRACE_SI(kTrace, kModule, kTrcZone, MC_TRACE_ERREUR,
                " Buffer trop petit pour coder la longueur (%u) (tailleBuffer = %u).",
                static_cast<unsigned>(n), static_cast<unsigned>(ulTailleBuffer));
  } else {
    uint32_t ulLongueur = 0;
    for (uint32_t i = 1; i <= n; ++i) {
      ulLongueur = (ulLongueur << 8) | pucBuffer[ulOffset + i];
    }
    *pulLongueur = ulLongueur;
    *pulNbOctets = n + 1;
    ulCr = MC_CR_OK;
  }
  MC_TRACE_SI(kTrace, kModule, kTrcZone, MC_TRACE_SORTIE, "MC_stDecoderLongueur");
  return ulCr;
}

// MC_usDecoderEnteteGroupe without its argument checks. 0, 0xF810.
template <bool kTrace = true>
inline uint16_t decoder_entete_groupe(const uint8_t* pucBuffer, uint32_t ulTailleBuffer,
                                      uint32_t ulOffset, uint16_t* pusIdentifiant,
                                      uint32_t* pulLongueur, uint32_t* pulNbOctets) {
  if (static_cast<uint64_t>(ulOffset) + 2 >= ulTailleBuffer) {
    MC_TRACE_SI(kTrace, kModule, kTrcZone, MC_TRACE_ERREUR,
                "Buffer trop petit pour coder l'identifiant (tailleBuffer = %u).",
                static_cast<unsigned>(ulTailleBuffer));
    return MC_ERR_SYNTAXE;
  }
  *pusIdentifiant = static_cast<uint16_t>((pucBuffer[ulOffset] << 8) | pucBuffer[ulOffset + 1]);
  uint32_t ulNbOctets = 0;
  const auto usCr = static_cast<uint16_t>(decoder_longueur<kTrace>(
      pucBuffer, ulTailleBuffer, ulOffset + 2, pulLongueur, &ulNbOctets));
  *pulNbOctets = ulNbOctets + 2;
  return usCr;
}

// Cursor positions, in 64 bits so that no corrupt length wraps an offset around.
inline uint64_t fin_groupe(const ZoneMemoire& z) {
  return static_cast<uint64_t>(z.OffsetGroupe) + z.TailleEnteteGroupe + z.LongueurGroupe;
}
inline uint64_t fin_champ(const ZoneMemoire& z) {
  return static_cast<uint64_t>(z.OffsetChamp) + z.TailleLongueurChamp + z.LongueurChamp;
}
inline bool est_fin_zone(const ZoneMemoire& z) { return fin_groupe(z) >= z.TailleDonnees; }
inline bool est_fin_donnees(const ZoneMemoire& z) { return fin_champ(z) >= z.TailleDonnees; }
inline bool est_fin_groupe(const ZoneMemoire& z) { return fin_champ(z) >= fin_groupe(z); }

// Clears every cursor field, with the trace of MC_usPositionnerDebut.
inline void positionner_debut(ZoneMemoire& z) {
  MC_TRACE(kModule, kTrcZone, MC_TRACE_APPEL, "MC_usPositionnerDebut");
  z.OffsetChamp = 0;
  z.OffsetGroupe = 0;
  z.TailleLongueurChamp = 0;
  z.LongueurChamp = 0;
  z.LongueurGroupe = 0;
  z.TailleEnteteGroupe = 0;
  z.IdentifiantGroupe = 0;
  z.NumeroChamp = 0;
  z.CompteurGroupe = 0;
  z.CompteurChamp = 0;
}

// One field advance of MC_usAvancerChampSuivant (after its entry line): the end test, the move
// and the exit line. Outputs may be null. 0, 0xF805, 0xF810.
template <bool kTrace>
inline uint16_t avancer_un_champ(ZoneMemoire& z, uint16_t* pusNumero, unsigned char** ppucDonnees,
                                 uint32_t* pulLongueur) {
  if (est_fin_groupe(z)) {
    MC_TRACE_SI(kTrace, kModule, kTrcZone, MC_TRACE_ERREUR, " Fin du groupe atteinte.");
    MC_TRACE_SI(kTrace, kModule, kTrcZone, MC_TRACE_SORTIE, "MC_usAvancerChampSuivant");
    return MC_ERR_FIN;
  }
  // A field end past the data (a corrupt length) is read as the data's end, where decoding fails.
  const uint64_t ullFin = fin_champ(z);
  const uint32_t ulOffset = ullFin < z.TailleDonnees ? static_cast<uint32_t>(ullFin) : z.TailleDonnees;
  uint32_t ulLongueur = 0;
  uint32_t ulNbOctets = 0;
  const uint32_t ulCr = decoder_longueur<kTrace>(z.Buffer, z.TailleDonnees, ulOffset, &ulLongueur, &ulNbOctets);
  if (ulCr != MC_CR_OK) {
    MC_TRACE_SI(kTrace, kModule, kTrcZone, MC_TRACE_SORTIE, "MC_usAvancerChampSuivant");
    return static_cast<uint16_t>(ulCr);
  }
  z.OffsetChamp = ulOffset;
  ++z.NumeroChamp;
  ++z.CompteurChamp;
  z.LongueurChamp = ulLongueur;
  z.TailleLongueurChamp = ulNbOctets;
  if (fin_champ(z) > fin_groupe(z)) {
    // The cursor stays on the overrunning field.
    MC_TRACE_SI(kTrace, kModule, kTrcZone, MC_TRACE_ERREUR, " Fin du groupe atteinte.");
    MC_TRACE_SI(kTrace, kModule, kTrcZone, MC_TRACE_SORTIE, "MC_usAvancerChampSuivant");
    return MC_ERR_FIN;
  }
  if (pusNumero != nullptr) {
    *pusNumero = z.NumeroChamp;
  }
  if (ppucDonnees != nullptr) {
    *ppucDonnees = z.Buffer + z.OffsetChamp + z.TailleLongueurChamp;
  }
  if (pulLongueur != nullptr) {
    *pulLongueur = z.LongueurChamp;
  }
  MC_TRACE_SI(kTrace, kModule, kTrcZone, MC_TRACE_SORTIE,
              "offsetChamp  = %u, longueurChamp  = %u, tailleLongueurChamp = %u",
              static_cast<unsigned>(z.OffsetChamp), static_cast<unsigned>(z.LongueurChamp),
              static_cast<unsigned>(z.TailleLongueurChamp));
  return MC_CR_OK;
}

// MC_usAvancerChampSuivant on a checked zone with a count of 1.
template <bool kTrace = true>
inline uint16_t avancer_champ_1(ZoneMemoire& z, uint16_t* pusNumero, unsigned char** ppucDonnees,
                                uint32_t* pulLongueur) {
  MC_TRACE_SI(kTrace, kModule, kTrcZone, MC_TRACE_ENTREE, "MC_usAvancerChampSuivant");
  return avancer_un_champ<kTrace>(z, pusNumero, ppucDonnees, pulLongueur);
}

// MC_usAvancerChampSuivant on a checked zone: usNombre fields (0 acts as 1), with the nested
// entry and exit lines that advancing usNombre - 1 fields first gives.
uint16_t avancer_champ(ZoneMemoire& z, uint16_t usNombre, uint16_t* pusNumero,
                       unsigned char** ppucDonnees, uint32_t* pulLongueur);

// MC_usAvancerGroupeSuivant on a checked zone. Outputs may be null.
uint16_t avancer_groupe(ZoneMemoire& z, uint16_t usNombre, bool bParcoursChamps,
                        uint16_t* pusIdentifiant);

// MC_usRechercherGroupeSuivant on a checked zone.
uint16_t rechercher_groupe_suivant(ZoneMemoire& z, uint16_t usIdentifiant, uint16_t usOccurrence,
                                   bool bParcoursChamps);

// MC_usRechercherGroupe on a checked zone, occurrence not 0.
uint16_t rechercher_groupe(ZoneMemoire& z, uint16_t usIdentifiant, uint16_t usOccurrence,
                           bool bParcoursChamps);

// MC_stCoderLongueur into a zone's buffer, with its traces; bytes that would fall past the
// allocated size are not written. Returns the coded size.
uint32_t ecrire_longueur(ZoneMemoire& z, uint32_t ulLongueur, uint32_t ulOffset);

namespace testing {
// Frees every zone descriptor (never the buffers) and empties the table.
void reset_zones();
}  // namespace testing

}  // namespace mc

#endif  // MC_ZONE_MCZONE_H
