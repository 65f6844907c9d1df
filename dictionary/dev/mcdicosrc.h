// mcdicosrc.h -- the development dictionary: its readable source and its tablebin.tbx, written
// with the library's own table writer. Not part of libmc; used by the mcdico tool and the tests.
#ifndef MC_DICTIONARY_DEV_MCDICOSRC_H
#define MC_DICTIONARY_DEV_MCDICOSRC_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace mc::dev {

struct Champ {
  int32_t obligatoire = 0;  // 1 mandatory, 0 optional
  uint16_t longueur_min = 0;
  uint16_t longueur_max = 0;
  int8_t type = 'A';
  int32_t information = 0;
  std::vector<std::string> valeurs;  // allowed values; empty: any value
};

struct Groupe {
  uint16_t code = 0;
  std::vector<Champ> champs;
};

struct Dictionnaire {
  std::vector<Groupe> groupes;
};

// Reads a dictionary source (see dictionary/dev/dictionnaire.dico for the syntax). On a syntax
// error returns false and sets `erreur` to "line N: ...".
bool lire_source(std::string_view texte, Dictionnaire& dico, std::string& erreur);

// How the table file is written; the defaults make the file the library loads.
struct Options {
  std::string nom_fichier = "tablebin.tbx";
  std::string version = "0100";           // the file's version
  std::string version_requise = "0100";   // the oldest library version that may load it
  std::string commentaire = "dictionnaire de developpement";
  uint16_t type_controle = 1;             // CRC16
  // Tables in file order; a name other than TGROUPE, TCHAMP, TVALEUR gives an empty table.
  std::vector<std::string> tables = {"TGROUPE", "TCHAMP", "TVALEUR"};
  // Added to the row count announced in the header of the last table (rows beyond are missing).
  uint32_t lignes_manquantes = 0;
};

// Writes the dictionary as a binary table file into `repertoire`. Returns the first failing
// result code of the library's writer, 0 on success.
uint16_t ecrire_table(const std::string& repertoire, const Dictionnaire& dico,
                      const Options& options = Options{});

}  // namespace mc::dev

#endif  // MC_DICTIONARY_DEV_MCDICOSRC_H
