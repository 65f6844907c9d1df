// format_support.cpp -- model dictionaries and zones of the format control tests.
#include "format_support.h"

#include <chrono>

#include "dictionary/mctab.h"
#include "support/mctest.h"
#include "zone/mczone.h"

namespace mc::test::format {

namespace {

bool chiffres(const std::string& s) {
  for (const char c : s) {
    if (c < '0' || c > '9') {
      return false;
    }
  }
  return true;
}

unsigned nombre(const std::string& s, size_t pos, size_t n) {
  return static_cast<unsigned>(std::stoul(s.substr(pos, n)));
}

// A calendar date through std::chrono (the proleptic Gregorian calendar, year 0 a leap year).
bool date_valide(const std::string& s) {
  if (s.size() != 6 && s.size() != 8 && s.size() != 12) {
    return true;  // a digit string of another length is not taken as a date
  }
  const size_t n = s.size() == 6 ? 2 : 4;
  const std::chrono::year_month_day jour{std::chrono::year{static_cast<int>(nombre(s, 0, n))},
                                         std::chrono::month{nombre(s, n, 2)},
                                         std::chrono::day{nombre(s, n + 2, 2)}};
  if (!jour.ok()) {
    return false;
  }
  return s.size() != 12 || (nombre(s, 8, 2) <= 23 && nombre(s, 10, 2) <= 59);
}

uint32_t sans_blancs(const std::string& s) {
  size_t n = s.size();
  while (n > 0 && s[n - 1] == ' ') {
    --n;
  }
  return static_cast<uint32_t>(n);
}

bool egales_sans_casse(const std::string& a, const std::string& b) {
  if (a.size() != b.size()) {
    return false;
  }
  for (size_t i = 0; i < a.size(); ++i) {
    const auto x = static_cast<unsigned char>(a[i]);
    const auto y = static_cast<unsigned char>(b[i]);
    const auto bas = [](unsigned char c) { return c >= 'A' && c <= 'Z' ? c + 32 : c; };
    if (bas(x) != bas(y)) {
      return false;
    }
  }
  return true;
}

}  // namespace

void charger(const Dico& dico) {
  std::vector<MC_GroupeDictionnaire> groupes;
  std::vector<MC_ChampDictionnaire> champs;
  std::vector<std::string> valeurs;
  for (const auto& g : dico.groupes) {
    groupes.push_back({g.code, static_cast<uint16_t>(champs.size()),
                       static_cast<uint16_t>(g.champs.size())});
    for (const auto& c : g.champs) {
      MC_ChampDictionnaire e{};
      e.lObligatoire = c.obligatoire;
      e.usLongueurMin = c.longueur_min;
      e.usLongueurMax = c.longueur_max;
      e.cType = c.type;
      e.lInformation = c.information;
      e.usPremiereValeur = static_cast<uint16_t>(valeurs.size());
      e.usNbValeurs = static_cast<uint16_t>(c.valeurs.size());
      champs.push_back(e);
      valeurs.insert(valeurs.end(), c.valeurs.begin(), c.valeurs.end());
    }
  }
  std::vector<const char*> textes;
  for (const auto& v : valeurs) {
    textes.push_back(v.c_str());
  }
  mc::testing::installer_dictionnaire(groupes.data(), static_cast<uint32_t>(groupes.size()),
                                      champs.data(), static_cast<uint32_t>(champs.size()),
                                      textes.data(), static_cast<uint32_t>(textes.size()));
}

Dico dictionnaire_dev() {
  Dico dico;
  std::string erreur;
  EXPECT_TRUE(mc::dev::lire_source(
      read_text(std::string(MC_TEST_SOURCE_DIR) + "/dictionary/dev/dictionnaire.dico"), dico,
      erreur))
      << erreur;
  return dico;
}

Zone::Zone(const ZoneModele& modele) {
  uint32_t taille = 1;
  for (const auto& g : modele) {
    taille += 7;
    for (const auto& c : g.champs) {
      taille += static_cast<uint32_t>(c.size()) + 5;
    }
  }
  if (MC_usCreerZoneMemoire(taille, 1, &numero_) != MC_CR_OK) {
    numero_ = 0xFFFF;
    return;
  }
  for (const auto& g : modele) {
    if (MC_usAjouterGroupe(numero_, g.code) != MC_CR_OK) {
      return;
    }
    for (const auto& c : g.champs) {
      if (MC_usAjouterChamp(numero_, reinterpret_cast<const unsigned char*>(c.data()),
                            static_cast<uint32_t>(c.size())) != MC_CR_OK) {
        return;
      }
    }
  }
  construite_ = true;
}

Zone::~Zone() {
  if (numero_ == 0xFFFF) {
    return;
  }
  uint32_t taille = 0;
  unsigned char* buffer = nullptr;
  MC_pucLireBuffer(numero_, &taille, &buffer);
  MC_Liberer(buffer);
  MC_usLibererZoneMemoire(numero_);
}

bool type_valide(int8_t type, const std::string& valeur, uint32_t* significative) {
  const auto tous = [&](auto&& classe) {
    for (const char c : valeur) {
      if (!classe(c)) {
        return false;
      }
    }
    return true;
  };
  const auto chiffre = [](char c) { return c >= '0' && c <= '9'; };
  const auto majuscule = [](char c) { return c >= 'A' && c <= 'Z'; };
  *significative = static_cast<uint32_t>(valeur.size());
  switch (type) {
    case 'D':
      return chiffres(valeur) && date_valide(valeur);
    case 'N':
      return tous(chiffre);
    case 'A':
      *significative = sans_blancs(valeur);
      return tous([&](char c) { return chiffre(c) || majuscule(c) || c == ' '; });
    case 'L':
      *significative = sans_blancs(valeur);
      return tous([&](char c) { return majuscule(c) || c == ' '; });
    default:
      return true;
  }
}

uint16_t code_attendu(const Dico& dico, const ZoneModele& zone) {
  uint32_t rang = 0;  // fields of the dictionary groups met before the current one
  for (size_t i = 0; i < zone.size(); ++i) {
    const uint32_t g = static_cast<uint32_t>(i + 1);
    const mc::dev::Groupe* dg = nullptr;
    for (const auto& d : dico.groupes) {
      if (d.code == zone[i].code) {
        dg = &d;
        break;
      }
    }
    if (dg == nullptr) {
      return static_cast<uint16_t>(0xA000 + g);
    }
    const auto& champs = zone[i].champs;
    for (size_t k = 0; k < dg->champs.size(); ++k) {
      if (k >= champs.size()) {
        return static_cast<uint16_t>(0xA800 + g);
      }
      const auto& c = dg->champs[k];
      const auto code_champ = static_cast<uint16_t>(0x9000 + rang + k + 1);
      uint32_t s = 0;
      if (!type_valide(c.type, champs[k], &s)) {
        return code_champ;
      }
      if (s == 0 && c.obligatoire == 1 && c.longueur_min != 0) {
        return code_champ;
      }
      if (s != 0 && (s < c.longueur_min || (c.longueur_max != 0 && s > c.longueur_max))) {
        return code_champ;
      }
      if (s != 0 && !c.valeurs.empty()) {
        const std::string reduite = champs[k].substr(0, s);
        bool trouvee = false;
        for (const auto& v : c.valeurs) {
          trouvee = trouvee || egales_sans_casse(reduite, v);
        }
        if (!trouvee) {
          return code_champ;
        }
      }
    }
    if (champs.size() > dg->champs.size()) {
      return static_cast<uint16_t>(0xA800 + g);
    }
    rang += static_cast<uint32_t>(dg->champs.size());
  }
  return 0;
}

Curseur curseur(uint16_t zone) {
  Curseur c;
  MC_usLireCompteurGroupe(zone, &c.groupes);
  MC_usLireCompteurChamp(zone, &c.champs);
  if (const ZoneMemoire* z = mc::descripteur(zone)) {
    c.identifiant = z->IdentifiantGroupe;
  }
  return c;
}

std::string decrire(const ZoneModele& zone) {
  std::string s;
  for (const auto& g : zone) {
    char code[16];
    std::snprintf(code, sizeof code, "%04X", g.code);
    s += "[";
    s += code;
    for (const auto& c : g.champs) {
      s += " '" + c + "'";
    }
    s += "]";
  }
  return s;
}

}  // namespace mc::test::format
