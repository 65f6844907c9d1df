// mcdicosrc.cpp -- reading the development dictionary source and writing its table file.
#include "dictionary/dev/mcdicosrc.h"

#include <charconv>
#include <cstring>

#include "mc.h"

namespace mc::dev {
namespace {

// Splits a line into words; a word between double quotes may hold blanks. '#' outside quotes
// starts a comment.
bool decouper(std::string_view ligne, std::vector<std::string>& mots, std::string& erreur) {
  size_t i = 0;
  while (i < ligne.size()) {
    const char c = ligne[i];
    if (c == ' ' || c == '\t' || c == '\r') {
      ++i;
    } else if (c == '#') {
      break;
    } else if (c == '"') {
      const size_t fin = ligne.find('"', i + 1);
      if (fin == std::string_view::npos) {
        erreur = "unterminated quoted value";
        return false;
      }
      mots.emplace_back(ligne.substr(i + 1, fin - i - 1));
      i = fin + 1;
    } else {
      size_t fin = i;
      while (fin < ligne.size() && ligne[fin] != ' ' && ligne[fin] != '\t' && ligne[fin] != '\r' &&
             ligne[fin] != '#') {
        ++fin;
      }
      mots.emplace_back(ligne.substr(i, fin - i));
      i = fin;
    }
  }
  return true;
}

template <typename T>
bool nombre(const std::string& mot, T& valeur) {
  std::string_view texte = mot;
  int base = 10;
  if (texte.size() > 2 && texte[0] == '0' && (texte[1] == 'x' || texte[1] == 'X')) {
    texte.remove_prefix(2);
    base = 16;
  }
  const char* fin = texte.data() + texte.size();
  const auto [ptr, ec] = std::from_chars(texte.data(), fin, valeur, base);
  return ec == std::errc() && ptr == fin;
}

bool lire_champ(const std::vector<std::string>& mots, Champ& champ, std::string& erreur) {
  if (mots.size() < 5) {
    erreur = "champ needs <type> <min> <max> <obligatoire|facultatif>";
    return false;
  }
  if (mots[1].size() != 1) {
    erreur = "type must be one character: " + mots[1];
    return false;
  }
  champ.type = static_cast<int8_t>(mots[1][0]);
  if (!nombre(mots[2], champ.longueur_min) || !nombre(mots[3], champ.longueur_max)) {
    erreur = "bad length";
    return false;
  }
  if (mots[4] == "obligatoire") {
    champ.obligatoire = 1;
  } else if (mots[4] == "facultatif") {
    champ.obligatoire = 0;
  } else {
    erreur = "expected obligatoire or facultatif: " + mots[4];
    return false;
  }
  size_t i = 5;
  if (i < mots.size() && mots[i].rfind("info=", 0) == 0) {
    if (!nombre(mots[i].substr(5), champ.information)) {
      erreur = "bad info value: " + mots[i];
      return false;
    }
    ++i;
  }
  if (i < mots.size()) {
    if (mots[i] != ":") {
      erreur = "expected ':' before the values: " + mots[i];
      return false;
    }
    champ.valeurs.assign(mots.begin() + static_cast<std::ptrdiff_t>(i) + 1, mots.end());
    if (champ.valeurs.empty()) {
      erreur = "':' without values";
      return false;
    }
  }
  return true;
}

// Keeps the first failing code.
void garder(uint16_t& resultat, uint16_t code) {
  if (resultat == MC_CR_OK) {
    resultat = code;
  }
}

void entete_table(const std::string& nom, uint32_t lignes, EnteteTable& entete) {
  memset(&entete, 0, sizeof entete);
  memset(entete.szNomTable, ' ', 10);
  memcpy(entete.szNomTable, nom.data(), nom.size() < 10 ? nom.size() : 10);
  entete.ulNombreEnregistrements = lignes;
}

}  // namespace

bool lire_source(std::string_view texte, Dictionnaire& dico, std::string& erreur) {
  dico = Dictionnaire{};
  size_t numero = 0;
  while (!texte.empty()) {
    ++numero;
    const size_t fin = texte.find('\n');
    const std::string_view ligne = texte.substr(0, fin);
    texte.remove_prefix(fin == std::string_view::npos ? texte.size() : fin + 1);
    std::vector<std::string> mots;
    std::string message;
    bool ok = decouper(ligne, mots, message);
    if (ok && !mots.empty()) {
      if (mots[0] == "groupe") {
        Groupe groupe;
        ok = mots.size() == 2 && nombre(mots[1], groupe.code);
        if (!ok) {
          message = "groupe needs one code of 16 bits";
        } else {
          dico.groupes.push_back(std::move(groupe));
        }
      } else if (mots[0] == "champ") {
        Champ champ;
        ok = !dico.groupes.empty();
        if (!ok) {
          message = "champ before any groupe";
        } else if ((ok = lire_champ(mots, champ, message))) {
          dico.groupes.back().champs.push_back(std::move(champ));
        }
      } else {
        ok = false;
        message = "unknown keyword: " + mots[0];
      }
    }
    if (!ok) {
      erreur = "line " + std::to_string(numero) + ": " + message;
      return false;
    }
  }
  return true;
}

uint16_t ecrire_table(const std::string& repertoire, const Dictionnaire& dico,
                      const Options& options) {
  EnteteFichierBinaire sEntete;
  memset(&sEntete, 0, sizeof sEntete);
  EnteteFichierBinaire* entete = &sEntete;
  auto remplir = [](char* champ, size_t taille, const std::string& texte) {
    memcpy(champ, texte.data(), texte.size() < taille ? texte.size() : taille);
  };
  remplir(entete->szNomFichier, 12, options.nom_fichier);
  remplir(entete->szVersion, 4, options.version);
  remplir(entete->szTexte5, 5, "00001");
  remplir(entete->szTexte8, 8, "20260101");
  remplir(entete->szVersionRequise, 4, options.version_requise);
  remplir(entete->szTexte5b, 5, "00001");
  remplir(entete->szTexte10, 10, "0000000001");
  remplir(entete->szCommentaire, sizeof entete->szCommentaire - 1, options.commentaire);

  uint16_t numero = 0;
  uint16_t resultat = MC_usCreerFichierBinaire(repertoire.c_str(), options.nom_fichier.c_str(),
                                               options.type_controle, entete, &numero);
  if (resultat != MC_CR_OK) {
    return resultat;
  }
  uint32_t nb_champs = 0;
  uint32_t nb_valeurs = 0;
  for (const Groupe& groupe : dico.groupes) {
    for (const Champ& champ : groupe.champs) {
      nb_valeurs += static_cast<uint32_t>(champ.valeurs.size());
    }
    nb_champs += static_cast<uint32_t>(groupe.champs.size());
  }
  for (size_t t = 0; t < options.tables.size() && resultat == MC_CR_OK; ++t) {
    const std::string& nom = options.tables[t];
    const uint32_t en_plus = t + 1 == options.tables.size() ? options.lignes_manquantes : 0;
    EnteteTable table;
    if (nom == "TGROUPE") {
      entete_table(nom, static_cast<uint32_t>(dico.groupes.size()) + en_plus, table);
      garder(resultat, MC_usEcrireEnteteTable(numero, &table));
      uint16_t premier = 0;
      for (const Groupe& groupe : dico.groupes) {
        garder(resultat, MC_usEcrireUnsignedShort(numero, groupe.code));
        garder(resultat, MC_usEcrireUnsignedShort(numero, premier));
        garder(resultat, MC_usEcrireUnsignedShort(numero, static_cast<uint16_t>(groupe.champs.size())));
        premier = static_cast<uint16_t>(premier + groupe.champs.size());
      }
    } else if (nom == "TCHAMP") {
      entete_table(nom, nb_champs + en_plus, table);
      garder(resultat, MC_usEcrireEnteteTable(numero, &table));
      uint16_t premiere = 0;
      for (const Groupe& groupe : dico.groupes) {
        for (const Champ& champ : groupe.champs) {
          garder(resultat, MC_usEcrireSignedLong(numero, champ.obligatoire));
          garder(resultat, MC_usEcrireUnsignedShort(numero, champ.longueur_min));
          garder(resultat, MC_usEcrireUnsignedShort(numero, champ.longueur_max));
          garder(resultat, MC_usEcrireSignedChar(numero, champ.type));
          garder(resultat, MC_usEcrireSignedLong(numero, champ.information));
          garder(resultat, MC_usEcrireUnsignedShort(numero, premiere));
          garder(resultat, MC_usEcrireUnsignedShort(numero, static_cast<uint16_t>(champ.valeurs.size())));
          premiere = static_cast<uint16_t>(premiere + champ.valeurs.size());
        }
      }
    } else if (nom == "TVALEUR") {
      entete_table(nom, nb_valeurs + en_plus, table);
      garder(resultat, MC_usEcrireEnteteTable(numero, &table));
      for (const Groupe& groupe : dico.groupes) {
        for (const Champ& champ : groupe.champs) {
          for (const std::string& valeur : champ.valeurs) {
            garder(resultat, MC_usEcrireChaineVariable(numero, valeur.c_str()));
          }
        }
      }
    } else {
      entete_table(nom, en_plus, table);
      garder(resultat, MC_usEcrireEnteteTable(numero, &table));
    }
    garder(resultat, MC_usEcrireTaille(numero));
  }
  garder(resultat, MC_usLibererFichierBinaire(numero, nullptr));
  return resultat;
}

}  // namespace mc::dev
