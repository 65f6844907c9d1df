// ini_fuzz.cpp -- arbitrary file contents and queries fed to the INI reader and line reader.
//
// Input: one byte choosing the buffer size, then the section, a zero byte, the key, a zero
// byte, and the file's content. Without two zero bytes the whole input is the content.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "config/sys_util.h"
#include "fuzz/support/mcfuzz.h"

namespace {

using mc::fuzz::check;

constexpr char kDefaut[] = "\x01" "defaut\x02";
constexpr size_t kGarde = 16;

// The file the reader works on, in the process's scratch directory.
const char* fichier() {
  static const std::string nom = mc::fuzz::in_scratch("lu.ini");
  return nom.c_str();
}

void lire_chaine(std::string_view contenu, const std::string& section, const std::string& cle,
                 int32_t taille) {
  const size_t octets = static_cast<size_t>(taille > 0 ? taille : 0) + 1;
  std::vector<char> tampon(octets + kGarde, '\x5a');
  const int32_t n =
      GetIniString(section.c_str(), cle.c_str(), kDefaut, tampon.data(), taille, fichier());
  for (size_t i = octets; i < tampon.size(); ++i) {
    check(tampon[i] == '\x5a');
  }
  check(n >= 0 && static_cast<size_t>(n) == std::strlen(tampon.data()));
  check(static_cast<size_t>(n) < octets);
  const std::string_view resultat(tampon.data(), static_cast<size_t>(n));
  const std::string_view defaut(kDefaut);
  if (resultat != defaut.substr(0, resultat.size())) {
    check(contenu.find(resultat) != std::string_view::npos);
  }
}

void lire_lignes(std::string_view contenu) {
  FILE* f = fmemopen(const_cast<char*>(contenu.data()), contenu.size(), "r");
  if (f == nullptr) {
    return;
  }
  mc::Ligne ligne;
  size_t position = 0;
  while (mc::read_line(f, ligne) == 1) {
    check(contenu.substr(position, ligne.size()) == std::string_view(ligne.data(), ligne.size()));
    position += ligne.size();
    check(position < contenu.size() && contenu[position] == '\n');
    ++position;
  }
  std::fclose(f);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) {
    return 0;
  }
  const int32_t taille = static_cast<int32_t>(data[0]) - 8;
  std::string_view reste(reinterpret_cast<const char*>(data + 1), size - 1);
  std::string section = "ss";
  std::string cle = "cle";
  const size_t fin_section = reste.find('\0');
  const size_t fin_cle =
      fin_section == std::string_view::npos ? fin_section : reste.find('\0', fin_section + 1);
  if (fin_cle != std::string_view::npos) {
    section.assign(reste.substr(0, fin_section));
    cle.assign(reste.substr(fin_section + 1, fin_cle - fin_section - 1));
    reste.remove_prefix(fin_cle + 1);
  }
  mc::fuzz::write_file(fichier(), reste);
  lire_chaine(reste, section, cle, taille);
  lire_chaine(reste, section, cle, 4096);
  (void)GetIniInt(section.c_str(), cle.c_str(), -1, fichier());
  if (!reste.empty()) {
    lire_lignes(reste);
  }
  return 0;
}
