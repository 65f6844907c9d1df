// format_support.h -- helpers of the format control tests: a dictionary filled in place from a
// model, zones built through the editing functions, and the expected code of a zone computed
// from the model alone.
#ifndef MC_TESTS_DICTIONARY_FORMAT_SUPPORT_H
#define MC_TESTS_DICTIONARY_FORMAT_SUPPORT_H

#include <cstdint>
#include <string>
#include <vector>

#include "dictionary/dev/mcdicosrc.h"
#include "mc.h"

namespace mc::test::format {

using Dico = mc::dev::Dictionnaire;

struct GroupeZone {
  uint16_t code = 0;
  std::vector<std::string> champs;
};
using ZoneModele = std::vector<GroupeZone>;

// Fills g_stTabGrp, g_stTabChp and g_cTabVal (values from MC_Allouer) as a load would, groups
// and fields in model order. The previous tables must have been emptied.
void charger(const Dico& dico);
// The development dictionary, read from its source.
Dico dictionnaire_dev();

// A structured zone built with MC_usAjouterGroupe and MC_usAjouterChamp; its buffer and its
// number are given back on destruction.
class Zone {
 public:
  explicit Zone(const ZoneModele& modele);
  ~Zone();
  Zone(const Zone&) = delete;
  Zone& operator=(const Zone&) = delete;
  uint16_t numero() const { return numero_; }
  bool construite() const { return construite_; }

 private:
  uint16_t numero_ = 0xFFFF;
  bool construite_ = false;
};

// The code the control must give for a well-formed zone (every group holds at least one
// field), from the model and the rules of the field types alone.
uint16_t code_attendu(const Dico& dico, const ZoneModele& zone);
// The field type check of one value: true when it passes; *significative gets the length
// without trailing blanks for 'A' and 'L', the whole length otherwise.
bool type_valide(int8_t type, const std::string& valeur, uint32_t* significative);

// Where the cursor stands: groups and fields passed since the start, the current group.
struct Curseur {
  uint16_t groupes = 0xFFFF;
  uint16_t champs = 0xFFFF;
  uint16_t identifiant = 0xFFFF;
};
Curseur curseur(uint16_t zone);

std::string decrire(const ZoneModele& zone);

}  // namespace mc::test::format

#endif  // MC_TESTS_DICTIONARY_FORMAT_SUPPORT_H
