// format_random_test.cpp -- the format control on dictionaries drawn at random: conforming zones
// pass, and a zone with one injected fault gives the code of that fault's group or field.
#include <algorithm>
#include <array>
#include <map>
#include <cctype>
#include <random>
#include <strings.h>
#include <string>
#include <vector>

#include "dictionary/mctab.h"
#include "format_support.h"
#include "runtime/mcmemoir.h"
#include "support/mctest.h"
#include "zone/mczone.h"

namespace {

using namespace mc::test::format;

enum class Defaut {
  GroupeInconnu,
  ChampManquant,
  ChampEnTrop,
  MauvaisType,
  TropCourt,
  TropLong,
  ObligatoireVide,
  ValeurInterdite,
};
constexpr Defaut kDefauts[] = {Defaut::GroupeInconnu, Defaut::ChampManquant,  Defaut::ChampEnTrop,
                               Defaut::MauvaisType,   Defaut::TropCourt,      Defaut::TropLong,
                               Defaut::ObligatoireVide, Defaut::ValeurInterdite};

const char* nom(Defaut d) {
  switch (d) {
    case Defaut::GroupeInconnu: return "unknown group";
    case Defaut::ChampManquant: return "missing field";
    case Defaut::ChampEnTrop: return "extra field";
    case Defaut::MauvaisType: return "wrong type";
    case Defaut::TropCourt: return "too short";
    case Defaut::TropLong: return "too long";
    case Defaut::ObligatoireVide: return "empty mandatory field";
    case Defaut::ValeurInterdite: return "value not allowed";
  }
  return "?";
}

bool type_controle(int8_t t) { return t == 'D' || t == 'A' || t == 'L' || t == 'N'; }

class Generateur {
 public:
  explicit Generateur(uint32_t graine) : rng_(graine) {}

  int entre(int a, int b) { return std::uniform_int_distribution<int>(a, b)(rng_); }
  bool pile(int pourcent) { return entre(1, 100) <= pourcent; }
  template <typename T>
  const T& un_de(const std::vector<T>& v) {
    return v[static_cast<size_t>(entre(0, static_cast<int>(v.size()) - 1))];
  }

  // A value of that type and exactly that length that passes the type check: a calendar date
  // for the date lengths, no trailing blank.
  std::string valeur_de_type(int8_t type, int longueur) {
    std::string s;
    if (type == 'D' && (longueur == 6 || longueur == 8 || longueur == 12)) {
      const int annee = longueur == 6 ? entre(0, 99) : entre(0, 9999);
      const int mois = entre(1, 12);
      const int jour = entre(1, 28);
      char texte[16];
      if (longueur == 6) {
        std::snprintf(texte, sizeof texte, "%02d%02d%02d", annee, mois, jour);
      } else if (longueur == 8) {
        std::snprintf(texte, sizeof texte, "%04d%02d%02d", annee, mois, jour);
      } else {
        std::snprintf(texte, sizeof texte, "%04d%02d%02d%02d%02d", annee, mois, jour, entre(0, 23),
                      entre(0, 59));
      }
      return texte;
    }
    static const std::string kChiffres = "0123456789";
    static const std::string kLettres = "ABCDEFGHIJKLMNOPQRSTUVWXYZ ";
    static const std::string kAlphaNum = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ ";
    static const std::string kLibre = "0123456789abcdefXYZ -_/.*";
    const std::string& jeu = type == 'D' || type == 'N' ? kChiffres
                             : type == 'L'              ? kLettres
                             : type == 'A'              ? kAlphaNum
                                                        : kLibre;
    for (int i = 0; i < longueur; ++i) {
      char c = jeu[static_cast<size_t>(entre(0, static_cast<int>(jeu.size()) - 1))];
      if (c == ' ' && i == longueur - 1) {
        c = jeu[0];
      }
      s += c;
    }
    return s;
  }

  static int longueur_max_utile(const mc::dev::Champ& c) {
    return c.longueur_max != 0 ? c.longueur_max : c.longueur_min + 10;
  }

  mc::dev::Champ champ() {
    static const std::vector<int8_t> kTypes = {'D', 'A', 'L', 'N', 'D', 'A', 'L', 'N', 'X', '9', 0};
    static const std::vector<int32_t> kObligatoires = {1, 1, 0, 2, -1};
    mc::dev::Champ c;
    c.type = un_de(kTypes);
    c.obligatoire = un_de(kObligatoires);
    c.longueur_min = static_cast<uint16_t>(entre(0, 5));
    c.longueur_max = pile(25) ? 0 : static_cast<uint16_t>(entre(std::max(1, +c.longueur_min),
                                                                 c.longueur_min + 8));
    c.information = entre(-5, 5);
    if (pile(35)) {
      const int n = entre(1, 4);
      for (int i = 0; i < n; ++i) {
        const std::string v = valeur_de_type(
            c.type, entre(std::max(1, +c.longueur_min), longueur_max_utile(c)));
        if (std::find(c.valeurs.begin(), c.valeurs.end(), v) == c.valeurs.end()) {
          c.valeurs.push_back(v);
        }
      }
    }
    return c;
  }

  Dico dictionnaire() {
    Dico d;
    const int n = entre(1, 8);
    while (static_cast<int>(d.groupes.size()) < n) {
      const auto code = static_cast<uint16_t>(entre(1, 0xFFFF));
      if (std::any_of(d.groupes.begin(), d.groupes.end(),
                      [&](const mc::dev::Groupe& g) { return g.code == code; })) {
        continue;
      }
      mc::dev::Groupe g;
      g.code = code;
      const int nc = pile(5) ? 0 : entre(1, 6);
      for (int i = 0; i < nc; ++i) {
        g.champs.push_back(champ());
      }
      d.groupes.push_back(g);
    }
    return d;
  }

  static bool peut_etre_vide(const mc::dev::Champ& c) {
    return c.obligatoire != 1 || c.longueur_min == 0;
  }

  std::string blancs_finaux(int8_t type) {
    return type == 'A' || type == 'L' ? std::string(static_cast<size_t>(entre(0, 2)), ' ') : "";
  }

  std::string valeur_conforme(const mc::dev::Champ& c) {
    if (peut_etre_vide(c) && pile(15)) {
      return c.type == 'A' || c.type == 'L' ? blancs_finaux(c.type) : "";
    }
    if (!c.valeurs.empty()) {
      return un_de(c.valeurs) + blancs_finaux(c.type);
    }
    return valeur_de_type(c.type, entre(std::max(1, +c.longueur_min), longueur_max_utile(c))) +
           blancs_finaux(c.type);
  }

  ZoneModele zone_conforme(const Dico& d) {
    std::vector<const mc::dev::Groupe*> utiles;
    for (const auto& g : d.groupes) {
      if (!g.champs.empty()) {
        utiles.push_back(&g);
      }
    }
    ZoneModele z;
    if (utiles.empty()) {
      return z;
    }
    const int n = entre(1, 10);
    for (int i = 0; i < n; ++i) {
      const mc::dev::Groupe& g = *un_de(utiles);
      GroupeZone gz{g.code, {}};
      for (const auto& c : g.champs) {
        gz.champs.push_back(valeur_conforme(c));
      }
      z.push_back(gz);
    }
    return z;
  }

  // Injects one fault into a conforming zone and gives the code it must produce, computed from
  // its place; 0 when the zone offers no place for that fault.
  uint16_t injecter(const Dico& d, ZoneModele& z, Defaut defaut) {
    struct Place {
      size_t groupe;
      size_t champ;
      uint32_t rang;  // dictionary fields before the group
    };
    std::vector<Place> places;
    uint32_t rang = 0;
    for (size_t i = 0; i < z.size(); ++i) {
      for (size_t k = 0; k < z[i].champs.size(); ++k) {
        places.push_back({i, k, rang});
      }
      rang += static_cast<uint32_t>(z[i].champs.size());
    }
    const auto champ_dico = [&](const Place& p) -> const mc::dev::Champ& {
      for (const auto& g : d.groupes) {
        if (g.code == z[p.groupe].code) {
          return g.champs[p.champ];
        }
      }
      return d.groupes[0].champs[0];
    };
    const auto code_groupe = [](size_t i, uint16_t base) {
      return static_cast<uint16_t>(base + i + 1);
    };
    const auto code_champ = [](const Place& p) {
      return static_cast<uint16_t>(0x9000 + p.rang + p.champ + 1);
    };
    // Fields of the chosen kind, in random order; the first that can take the fault does.
    std::shuffle(places.begin(), places.end(), rng_);
    switch (defaut) {
      case Defaut::GroupeInconnu: {
        const auto i = static_cast<size_t>(entre(0, static_cast<int>(z.size()) - 1));
        uint16_t code = 0;
        do {
          code = static_cast<uint16_t>(entre(1, 0xFFFF));
        } while (std::any_of(d.groupes.begin(), d.groupes.end(),
                             [&](const mc::dev::Groupe& g) { return g.code == code; }));
        z[i].code = code;
        return code_groupe(i, 0xA000);
      }
      case Defaut::ChampManquant:
        for (size_t i = 0; i < z.size(); ++i) {
          if (z[i].champs.size() >= 2) {
            z[i].champs.pop_back();
            return code_groupe(i, 0xA800);
          }
        }
        return 0;
      case Defaut::ChampEnTrop: {
        const auto i = static_cast<size_t>(entre(0, static_cast<int>(z.size()) - 1));
        z[i].champs.push_back(valeur_de_type('X', entre(0, 4)));
        return code_groupe(i, 0xA800);
      }
      case Defaut::MauvaisType:
        for (const Place& p : places) {
          const auto& c = champ_dico(p);
          if (!type_controle(c.type)) {
            continue;
          }
          std::string v = valeur_de_type(c.type, entre(1, longueur_max_utile(c)));
          static const std::string kMauvaisNum = "Aa-.+ ";
          static const std::string kMauvaisAlpha = "a-.z*";
          static const std::string kMauvaisLettre = "0a9-.";
          const std::string& mauvais = c.type == 'A'   ? kMauvaisAlpha
                                       : c.type == 'L' ? kMauvaisLettre
                                                       : kMauvaisNum;
          v[static_cast<size_t>(entre(0, static_cast<int>(v.size()) - 1))] =
              mauvais[static_cast<size_t>(entre(0, static_cast<int>(mauvais.size()) - 1))];
          z[p.groupe].champs[p.champ] = v;
          return code_champ(p);
        }
        return 0;
      case Defaut::TropCourt:
        for (const Place& p : places) {
          const auto& c = champ_dico(p);
          if (c.longueur_min >= 2) {
            z[p.groupe].champs[p.champ] = valeur_de_type(c.type, entre(1, c.longueur_min - 1));
            return code_champ(p);
          }
        }
        return 0;
      case Defaut::TropLong:
        for (const Place& p : places) {
          const auto& c = champ_dico(p);
          if (c.longueur_max != 0) {
            z[p.groupe].champs[p.champ] =
                valeur_de_type(c.type, entre(c.longueur_max + 1, c.longueur_max + 3)) +
                blancs_finaux(c.type);
            return code_champ(p);
          }
        }
        return 0;
      case Defaut::ObligatoireVide:
        for (const Place& p : places) {
          const auto& c = champ_dico(p);
          if (!peut_etre_vide(c)) {
            z[p.groupe].champs[p.champ] = blancs_finaux(c.type);
            return code_champ(p);
          }
        }
        return 0;
      case Defaut::ValeurInterdite:
        for (const Place& p : places) {
          const auto& c = champ_dico(p);
          if (c.valeurs.empty()) {
            continue;
          }
          for (int essai = 0; essai < 20; ++essai) {
            const std::string v =
                valeur_de_type(c.type, entre(std::max(1, +c.longueur_min), longueur_max_utile(c)));
            uint32_t s = 0;
            const bool interdite = std::none_of(c.valeurs.begin(), c.valeurs.end(),
                                                [&](const std::string& a) {
                                                  return strcasecmp(a.c_str(), v.c_str()) == 0;
                                                });
            if (interdite && type_valide(c.type, v, &s)) {
              z[p.groupe].champs[p.champ] = v;
              return code_champ(p);
            }
          }
        }
        return 0;
    }
    return 0;
  }

  // What the model's values never hold, now and then: a case change, a zero byte, a trailing
  // blank or a leading zero.
  std::string bruiter(std::string v) {
    if (v.empty() || !pile(30)) {
      return v;
    }
    const auto i = static_cast<size_t>(entre(0, static_cast<int>(v.size()) - 1));
    switch (entre(0, 3)) {
      case 0: v[i] = static_cast<char>(islower(v[i]) ? toupper(v[i]) : tolower(v[i])); break;
      case 1: v.insert(i, 1, '\0'); break;
      case 2: v += ' '; break;
      default: v.insert(0, "0"); break;
    }
    return v;
  }

 private:
  std::mt19937 rng_;
};

// Dictionaries no load of a sound file gives: the exits only they reach.
enum class Degat {
  Aucun, Doublon, ChampsHorsTable, ValeursHorsTable, ValeurAbsente, GrandGroupe, Enorme, Vide
};
constexpr Degat kDegats[] = {Degat::Aucun,          Degat::Doublon,       Degat::ChampsHorsTable,
                             Degat::ValeursHorsTable, Degat::ValeurAbsente, Degat::GrandGroupe,
                             Degat::Enorme,         Degat::Vide};

// The model side of a spoilt dictionary: a second entry of a code (its fields numeric, without
// allowed values); a group of 300 fields (the field and value numbers pass 255) whose field 200
// has 300 allowed values; 65,537 entries, of which the list the control searches keeps one.
void abimer_modele(Dico& d, Degat degat) {
  if (degat == Degat::Doublon) {
    mc::dev::Groupe g = d.groupes[0];
    for (auto& c : g.champs) {
      c = {};
      c.type = 'N';
    }
    d.groupes.push_back(g);
  } else if (degat == Degat::GrandGroupe) {
    mc::dev::Groupe g{0xFFFF, std::vector<mc::dev::Champ>(300)};
    for (size_t i = 0; i < g.champs.size(); ++i) {
      g.champs[i].type = 'X';
      g.champs[i].valeurs = {"f" + std::to_string(i)};
    }
    for (int v = 0; v < 300; ++v) {
      g.champs[199].valeurs.push_back(std::to_string(v));
    }
    d.groupes.insert(d.groupes.begin(), g);
  } else if (degat == Degat::Enorme) {
    d.groupes.resize(0x10001);
  }
}

// The in-place side, on the loaded tables.
void abimer_tables(Degat degat) {
  const auto champ_avec_valeurs = []() -> MC_ChampDictionnaire* {
    for (uint32_t i = 0; i < g_ulNbTabChp; ++i) {
      if (g_stTabChp[i].usNbValeurs != 0) {
        return &g_stTabChp[i];
      }
    }
    return nullptr;
  };
  MC_ChampDictionnaire* c = champ_avec_valeurs();
  if (degat == Degat::ChampsHorsTable) {
    g_stTabGrp[g_ulNbTabGrp - 1].usPremierChamp = static_cast<uint16_t>(g_ulNbTabChp);
  } else if (degat == Degat::ValeursHorsTable && c != nullptr) {
    c->usPremiereValeur = static_cast<uint16_t>(g_ulNbTabVal);
  } else if (degat == Degat::ValeurAbsente && c != nullptr) {
    MC_Liberer(g_cTabVal[c->usPremiereValeur]);
    g_cTabVal[c->usPremiereValeur] = nullptr;
  }
}

class FormatAleatoire : public ::testing::Test {
 protected:
  void SetUp() override { reinitialiser(); }
  void TearDown() override { reinitialiser(); }
  static void reinitialiser() {
    mc::testing::reset_trace();
    mc::testing::reset_dictionnaire();
    mc::testing::reset_zones();
  }

  // One control from an accounted count set at `depart` (by a refused request): its code, both
  // counters and the cursor after it.
  static std::array<uint32_t, 9> passer(uint16_t zone, uint32_t depart) {
    mc::testing::reset_memoire();
    mc::testing::faire_echouer_allocation(0);
    MC_Allouer(depart);
    const uint16_t code = MC_usControlerFormatZoneMemoire(zone);
    const ZoneMemoire& z = *mc::descripteur(zone);
    return {code, mc::memoire_allouee(), mc::memoire_max(), z.OffsetGroupe, z.OffsetChamp,
            z.CompteurGroupe, z.CompteurChamp, z.IdentifiantGroupe, z.NumeroChamp};
  }

  // The control with tracing off, then on (a trace file open for a pair the library never
  // writes): the same code, counters and cursor, also when the count wraps past 2^32 during the
  // control, and nothing allocated with tracing off.
  static uint16_t controler_deux_fois(uint16_t zone) {
    std::array<uint32_t, 9> sans_trace{};
    for (const uint32_t depart : {0u, UINT32_MAX - 30, UINT32_MAX - 300}) {
      sans_trace = passer(zone, depart);
      EXPECT_EQ(1u, mc::testing::nombre_allocations());
      const mc::test::TraceCapture trace({{1, 8, 1}});
      EXPECT_EQ(passer(zone, depart), sans_trace);
    }
    return static_cast<uint16_t>(sans_trace[0]);
  }

  // Runs the control both ways; checks the code and where the cursor stands.
  static void verifier(const ZoneModele& modele, uint16_t attendu) {
    SCOPED_TRACE(decrire(modele));
    const Zone zone(modele);
    ASSERT_TRUE(zone.construite());
    const uint16_t code = controler_deux_fois(zone.numero());
    EXPECT_CODE(attendu, code);
    const Curseur apres = curseur(zone.numero());
    if ((code & 0xF800) == 0xA000) {
      // Unknown group: the cursor stays on it, after the fields of the groups before it.
      const size_t g = code - 0xA000u;
      uint16_t champs = 0;
      for (size_t i = 0; i + 1 < g; ++i) {
        champs = static_cast<uint16_t>(champs + modele[i].champs.size());
      }
      EXPECT_EQ(g, apres.groupes);
      EXPECT_EQ(champs, apres.champs);
      EXPECT_EQ(modele[g - 1].code, apres.identifiant);
    } else {
      EXPECT_EQ(0, apres.groupes);
      EXPECT_EQ(0, apres.champs);
      EXPECT_EQ(0, apres.identifiant);
    }
  }
};

TEST_F(FormatAleatoire, ConformingZonesPassAndEachInjectedFaultIsNamed) {
  int nb_defauts[8] = {};
  for (uint32_t graine = 1; graine <= 250; ++graine) {
    SCOPED_TRACE(::testing::Message() << "seed " << graine);
    Generateur gen(graine);
    const Dico d = gen.dictionnaire();
    mc::testing::reset_dictionnaire();
    charger(d);
    for (int i = 0; i < 3; ++i) {
      const ZoneModele z = gen.zone_conforme(d);
      if (z.empty()) {
        continue;
      }
      ASSERT_CODE(0, code_attendu(d, z));
      verifier(z, 0);
    }
    for (size_t n = 0; n < std::size(kDefauts); ++n) {
      const Defaut defaut = kDefauts[n];
      SCOPED_TRACE(nom(defaut));
      ZoneModele z = gen.zone_conforme(d);
      if (z.empty()) {
        continue;
      }
      const uint16_t attendu = gen.injecter(d, z, defaut);
      if (attendu == 0) {
        continue;
      }
      ++nb_defauts[n];
      // The model agrees with the place of the fault.
      ASSERT_CODE(attendu, code_attendu(d, z));
      verifier(z, attendu);
    }
  }
  // Every kind of fault was met often enough to mean something.
  for (size_t n = 0; n < std::size(kDefauts); ++n) {
    SCOPED_TRACE(nom(kDefauts[n]));
    EXPECT_GE(nb_defauts[n], 40);
  }
}

TEST_F(FormatAleatoire, ZoneWithAnEmptyGroupIsRefusedBySyntax) {
  Generateur gen(7);
  const Dico d = gen.dictionnaire();
  charger(d);
  ZoneModele z = gen.zone_conforme(d);
  ASSERT_FALSE(z.empty());
  z.push_back({d.groupes[0].code, {}});
  verifier(z, MC_ERR_SYNTAXE);
}

TEST_F(FormatAleatoire, TracedAndUntracedControlsAgreeOnSpoiltDictionariesAndNoisyZones) {
  std::map<uint32_t, int> familles;  // codes met, by family
  for (uint32_t graine = 1; graine <= 160; ++graine) {
    const Degat degat = kDegats[graine % std::size(kDegats)];
    SCOPED_TRACE(::testing::Message() << "seed " << graine << ", damage " << static_cast<int>(degat));
    Generateur gen(graine);
    Dico d = gen.dictionnaire();
    for (auto& g : d.groupes) {
      for (auto& c : g.champs) {
        for (auto& v : c.valeurs) {
          v = gen.bruiter(v);
        }
      }
    }
    abimer_modele(d, degat);
    mc::testing::reset_dictionnaire();
    charger(degat == Degat::Vide ? Dico{} : d);
    abimer_tables(degat);
    for (int i = 0; i < 12; ++i) {
      ZoneModele z = gen.zone_conforme(d);
      if (z.empty()) {
        continue;
      }
      if (i >= 4) {
        gen.injecter(d, z, kDefauts[static_cast<size_t>(i - 4)]);
      }
      for (auto& g : z) {
        for (auto& v : g.champs) {
          v = i % 2 == 1 ? gen.bruiter(v) : v;
        }
      }
      SCOPED_TRACE(decrire(z));
      const Zone zone(z);
      ASSERT_TRUE(zone.construite());
      const uint16_t code = controler_deux_fois(zone.numero());
      ++familles[code == MC_ERR_FIN ? code : code & 0xF800u];
    }
  }
  // Every exit was taken: success, field, unknown group (or unreadable value), field count, and
  // the failed field information.
  for (const uint32_t famille : {0x0000u, 0x9000u, 0xA000u, 0xA800u, 0xF805u}) {
    SCOPED_TRACE(famille);
    EXPECT_GE(familles[famille], 10);
  }
}

}  // namespace
