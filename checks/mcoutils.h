// mcoutils.h -- internal side of the value checks: the date helpers and the field type check
// used by the format control. The exported checks (MC_bReduireChaineCtrl, MC_bCompareChaine,
// MC_bEstDateChaineValide, ...) are declared in mc.h, included here.
//
// Naming: the names the library has always had (bOUTILSEstDate6, bChaineCtrlFormat, ...) stay as
// they are; the other helpers are French snake_case (date_selon_longueur, type_valide). Exported
// names are extern "C"; every other internal lives in namespace mc, the file-local ones in an
// anonymous namespace, the test hooks in mc::testing.
#ifndef MC_CHECKS_MCOUTILS_H
#define MC_CHECKS_MCOUTILS_H

#include <cstdint>

#include "mc.h"

namespace mc {

// Field type codes of the dictionary.
inline constexpr int8_t kTypeDate = 'D';
inline constexpr int8_t kTypeAlphaNumerique = 'A';
inline constexpr int8_t kTypeAlphabetique = 'L';
inline constexpr int8_t kTypeNumerique = 'N';

// True for a string of 6 (YYMMDD), 8 (YYYYMMDD) or 12 (YYYYMMDDhhmm) digits that is a valid
// date; false at the first character that is not a digit.
int32_t bOUTILSEstDate6(const char* pcDate);
int32_t bOUTILSEstDate8(const char* pcDate);
int32_t bOUTILSEstDate12(const char* pcDate);
// True for a valid date; hour and minute are checked only once the date holds.
int32_t bOUTILSEstDateValide(uint16_t usAnnee, uint8_t ucMois, uint8_t ucJour, uint8_t ucHeure,
                             uint8_t ucMinute);

// Checks ulLongueur bytes of a value (not NUL-terminated) against a field type code ('D' digits
// and a valid date, 'A', 'L', 'N', other codes pass). On success stores the significant length
// (without trailing blanks for 'A' and 'L'); on failure leaves it untouched.
int32_t bChaineCtrlFormat(const char* pcValeur, uint32_t ulLongueur, int8_t cType,
                          uint32_t* pulLongueurSignificative);

// The date check of MC_bEstDateChaineValide for a string of usLongueur characters (its length as
// that check takes it, in 16 bits): 6, 8 and 12 are checked as dates, any other length passes.
int32_t date_selon_longueur(const char* pcDate, uint16_t usLongueur);
// date_selon_longueur without its trace lines, for a string of usLongueur characters.
bool date_valide(const char* pcDate, uint16_t usLongueur);
// bChaineCtrlFormat without its copy and its trace lines: the characters before the value's
// first zero byte (within ulLongueur) are checked, as in the NUL-terminated copy. *pbEntier (may
// be null) is set to whether the value holds no zero byte that cut the check short.
bool type_valide(const char* pcValeur, uint32_t ulLongueur, int8_t cType,
                 uint32_t* pulLongueurSignificative, bool* pbEntier = nullptr);
}  // namespace mc

#endif  // MC_CHECKS_MCOUTILS_H
