// mcindex.h -- internal side of the dictionary index (the first entry of each group code) and of
// the format control while tracing is off.
#ifndef MC_DICTIONARY_MCINDEX_H
#define MC_DICTIONARY_MCINDEX_H

#include <cstdint>

#include "mc.h"

namespace mc {

// Codes of the format control, computed in 16 bits as the callers have always decoded them: a
// rank beyond 0x6FFF runs out of the 0x9000 family and wraps.
inline uint16_t code_groupe_inconnu(uint16_t usGroupe) {
  return static_cast<uint16_t>(MC_ERR_GROUPE_INCONNU + usGroupe);
}
inline uint16_t code_nombre_champs(uint16_t usGroupe) {
  return static_cast<uint16_t>(MC_ERR_NOMBRE_CHAMPS + usGroupe);
}
inline uint16_t code_champ(uint16_t usBase, uint16_t usNbChamps, uint16_t usNumChamp) {
  return static_cast<uint16_t>(MC_ERR_FORMAT_CHAMP + static_cast<uint16_t>(usBase - usNbChamps) +
                               usNumChamp);
}

// A field's length rule for a value of significant length s: within [usMin, usMax] (no upper
// bound when usMax is 0) when s is not 0, else refused only for a mandatory field (indicator 1)
// with a minimum.
inline bool longueur_conforme(int32_t lObligatoire, uint16_t usMin, uint16_t usMax, uint32_t ulSignificative) {
  if (ulSignificative != 0) {
    return ulSignificative >= usMin && (usMax == 0 || ulSignificative <= usMax);
  }
  return usMin == 0 || lObligatoire != 1;
}

// The position of the first entry of the group table that holds usCodeGroupe: false when none
// does, entries at or past the count never being read. Constant time through an index built at
// first need and built again once the group or value table's address or count changes or a
// table is loaded.
bool premier_groupe(uint16_t usCodeGroupe, uint32_t* pulPosition);

// A table was loaded (possibly at the address of the one before): the next lookup builds the
// index again.
void invalider_index();

// The allowed value ucNumValeur of the field ucNumChamp of a group (both from 1, computed in 16
// bits and checked against nothing but the tables' ends), as MC_usDonnerChampValeur reads it;
// null when the indexes fall outside the tables or the entry is empty. *pusIndex (may be null)
// gets the value's index.
const char* valeur_du_champ(const MC_GroupeDictionnaire& sGroupe, uint8_t ucNumChamp,
                            uint8_t ucNumValeur, uint16_t* pusIndex = nullptr);

// MC_usControlerFormatZoneMemoire while no trace file is open: the same code, the same cursor
// and the same requests added to the accounted memory, without allocating anything.
uint16_t controler_format_sans_trace(uint16_t usZone);

}  // namespace mc

#endif  // MC_DICTIONARY_MCINDEX_H
