// mcdico.cpp -- turns a dictionary source into its tablebin.tbx with the library's own writer.
// Usage: mcdico <source.dico> <output directory>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>

#include "dictionary/dev/mcdicosrc.h"

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: %s <source.dico> <output directory>\n", argv[0]);
    return 2;
  }
  std::ifstream in(argv[1], std::ios::binary);
  if (!in) {
    std::fprintf(stderr, "%s: cannot read %s\n", argv[0], argv[1]);
    return 1;
  }
  const std::string texte((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  mc::dev::Dictionnaire dico;
  std::string erreur;
  if (!mc::dev::lire_source(texte, dico, erreur)) {
    std::fprintf(stderr, "%s:%s\n", argv[1], erreur.c_str());
    return 1;
  }
  const uint16_t resultat = mc::dev::ecrire_table(argv[2], dico);
  if (resultat != 0) {
    std::fprintf(stderr, "%s: writing %s/tablebin.tbx failed: 0x%04X\n", argv[0], argv[2],
                 static_cast<unsigned>(resultat));
    return 1;
  }
  return 0;
}
