// ecriture_fuzz.cpp -- WriteIniString on any file content with any section, key and value, then
// the file read back. Written (1): the file holds the line "key=value" and no temporary file is
// left; not written (0): the file is as it was. On a file that did not exist or was empty, a
// key and section that the reader can find read back as the value.
//
// Input: a flag byte (bit 0: the file exists; bit 1: named by a path with "/" rather than inside
// the configuration directory), then section, key and value each ended by a zero byte, then the
// file's content.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "config/mcrepconf.h"
#include "fuzz/support/mcfuzz.h"
#include "mc.h"

namespace {

using mc::fuzz::check;

// A name the reader can find: two characters or more, printable ASCII without blanks, and none
// of the characters that start a comment or a section or end a key or a section name.
bool nom_lisible(std::string_view nom, std::string_view interdits) {
  if (nom.size() < 2 || nom.size() > 200 || nom.front() == ';' || nom.front() == '#' ||
      nom.front() == '[') {
    return false;
  }
  for (const char c : nom) {
    if (c <= ' ' || c > '~' || interdits.find(c) != std::string_view::npos) {
      return false;
    }
  }
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const std::string dans_configuration =
      std::string(mc::repertoire_configuration()) + "/cible.ini";
  static const std::string ailleurs = mc::fuzz::in_scratch("cible.ini");
  static const std::string temporaire =
      std::string(mc::repertoire_configuration()) + "/WriteIniTmp.txt";
  mc::fuzz::Input in(data, size);
  const uint8_t drapeaux = in.byte();
  const std::string section(in.text());
  const std::string cle(in.text());
  const std::string valeur(in.text());
  const std::string_view contenu = in.rest();
  if (section.size() > 200 || cle.size() > 200 || valeur.size() > 200) {
    return 0;  // callers keep names and lines under 256 bytes
  }
  const bool existe = (drapeaux & 1u) != 0;
  const std::string& chemin = (drapeaux & 2u) != 0 ? ailleurs : dans_configuration;
  const char* nom = (drapeaux & 2u) != 0 ? ailleurs.c_str() : "cible.ini";
  if (existe) {
    mc::fuzz::write_file(chemin, contenu);
  } else {
    unlink(chemin.c_str());
  }

  const int32_t ecrit = WriteIniString(section.c_str(), cle.c_str(), valeur.c_str(), nom);
  std::string apres;
  const bool lu = mc::fuzz::read_file(chemin, apres);
  check(access(temporaire.c_str(), F_OK) != 0);
  if (ecrit == 1) {
    check(lu && apres.find(cle + "=" + valeur + "\n") != std::string::npos);
  } else {
    check(ecrit == 0 && lu == existe && (!existe || apres == contenu));
  }

  std::vector<char> tampon(valeur.size() + 2, '\x5a');
  const auto taille = static_cast<int32_t>(valeur.size());
  const int32_t n = GetIniString(section.c_str(), cle.c_str(), "", tampon.data(), taille, nom);
  check(n >= 0 && n <= taille && tampon.back() == '\x5a');
  if (ecrit == 1 && (!existe || contenu.empty()) && nom_lisible(section, "]") &&
      nom_lisible(cle, "=") && valeur.find_first_of("\r\n") == std::string::npos) {
    check(std::string_view(tampon.data(), static_cast<size_t>(n)) == valeur);
  }
  GetIniInt(section.c_str(), cle.c_str(), -1, nom);
  return 0;
}
