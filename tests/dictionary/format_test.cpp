// format_test.cpp -- the format control on the dictionaries and zones of format.cases: the code,
// the cursor, and the traced and untraced controls agreeing on code, cursor and accounted memory.
#include <array>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "demarrage.h"

namespace {

using mc::test::number;
using mc::test::unescape;
using Format = mc::test::Configuration;

// A block of dicos.golden loaded in place, groups and fields in source order.
void charger(const std::string& nom) {
  static const auto blocs = mc::test::read_blocks("dictionary/dicos.golden");
  std::string texte;
  for (const auto& [bloc, lignes] : blocs) {
    if (bloc == nom) {
      std::istringstream entree(lignes);
      for (std::string ligne; std::getline(entree, ligne);) {
        const size_t etoile = ligne.find("* ");
        const int fois = etoile == std::string::npos ? 1 : std::stoi(ligne.substr(0, etoile));
        for (int i = 0; i < fois; ++i) {
          texte += ligne.substr(etoile == std::string::npos ? 0 : etoile + 2) + "\n";
        }
      }
    }
  }
  const auto dico = nom == "dev" ? Format::dictionnaire_dev() : Format::source(texte);
  std::vector<MC_GroupeDictionnaire> groupes;
  std::vector<MC_ChampDictionnaire> champs;
  std::vector<const char*> valeurs;
  for (const auto& g : dico.groupes) {
    groupes.push_back({g.code, static_cast<uint16_t>(champs.size()), static_cast<uint16_t>(g.champs.size())});
    for (const auto& c : g.champs) {
      champs.push_back({c.obligatoire, c.longueur_min, c.longueur_max, c.type, c.information,
                        static_cast<uint16_t>(valeurs.size()), static_cast<uint16_t>(c.valeurs.size())});
      for (const auto& v : c.valeurs) {
        valeurs.push_back(v.c_str());
      }
    }
  }
  mc::testing::installer_dictionnaire(groupes.data(), static_cast<uint32_t>(groupes.size()), champs.data(),
                                      static_cast<uint32_t>(champs.size()), valeurs.data(),
                                      static_cast<uint32_t>(valeurs.size()));
}

void modifier(const std::string& changements) {
  std::istringstream entree(changements);
  for (std::string c; entree >> c;) {
    const size_t egal = c.find('=');
    const std::string cle = c.substr(0, egal);
    const std::string valeur = c.substr(egal + 1);
    if (cle == "nbchp" || cle == "sanschamps") {
      cle == "nbchp" ? void(g_ulNbTabChp = static_cast<uint32_t>(number(valeur))) : void(mc::usSupprTabChamp());
      continue;
    }
    const auto n = static_cast<uint32_t>(std::stoul(cle.substr(1)));
    if (cle[0] == 'V') {
      MC_Liberer(g_cTabVal[n]);
      g_cTabVal[n] = nullptr;
    } else if (cle.find(".premier") != std::string::npos) {
      g_stTabGrp[n].usPremierChamp = static_cast<uint16_t>(number(valeur));
    } else if (cle.find(".valeurs") != std::string::npos) {
      g_stTabChp[n].usPremiereValeur = static_cast<uint16_t>(number(valeur));
    } else {
      g_stTabChp[n].lObligatoire = static_cast<int32_t>(number(valeur));
    }
  }
}

// "N*x" -> x repeated N times.
std::vector<std::string> repeter(const std::string& texte, char separateur) {
  std::vector<std::string> parties;
  std::istringstream entree(texte);
  for (std::string p; std::getline(entree, p, separateur);) {
    size_t etoile = p.find_first_not_of("0123456789");
    etoile = etoile != 0 && etoile != std::string::npos && p[etoile] == '*' ? etoile : std::string::npos;
    const int fois = etoile == std::string::npos ? 1 : std::stoi(p.substr(0, etoile));
    parties.insert(parties.end(), static_cast<size_t>(fois), p.substr(etoile == std::string::npos ? 0 : etoile + 1));
  }
  if (!texte.empty() && texte.back() == separateur) {
    parties.emplace_back();
  }
  return parties;
}

uint16_t construire(const std::string& texte) {
  std::vector<std::pair<uint16_t, std::vector<std::string>>> groupes;
  uint32_t ulTaille = 1;
  for (const std::string& groupe : texte.empty() ? std::vector<std::string>{} : repeter(texte, ';')) {
    groupes.push_back({static_cast<uint16_t>(std::stoul(groupe, nullptr, 16)), {}});
    const size_t deux_points = groupe.find(':');
    if (deux_points != std::string::npos) {
      const std::string champs = groupe.substr(deux_points + 1);
      for (const std::string& champ : champs.empty() ? std::vector<std::string>{""} : repeter(champs, ',')) {
        groupes.back().second.push_back(unescape(champ));
        ulTaille += static_cast<uint32_t>(champ.size()) + 5;
      }
    }
    ulTaille += 7;
  }
  uint16_t usZone = 0xFFFF;
  EXPECT_CODE(0, MC_usCreerZoneMemoire(ulTaille, 1, &usZone));
  for (const auto& [usCode, champs] : groupes) {
    EXPECT_CODE(0, MC_usAjouterGroupe(usZone, usCode));
    for (const std::string& octets : champs) {
      EXPECT_CODE(0, MC_usAjouterChamp(usZone, reinterpret_cast<const unsigned char*>(octets.data()),
                                       static_cast<uint32_t>(octets.size())));
    }
  }
  return usZone;
}

void liberer(uint16_t usZone) {
  uint32_t ulTaille = 0;
  unsigned char* pucBuffer = nullptr;
  if (MC_pucLireBuffer(usZone, &ulTaille, &pucBuffer) == MC_CR_OK) {
    MC_Liberer(pucBuffer);
    MC_usLibererZoneMemoire(usZone);
  }
}

// One control from an accounted count set at `depart`: its code, the accounted total and peak,
// the blocks it took and did not give back, and the whole cursor.
std::array<uint32_t, 10> controler(uint16_t usZone, uint32_t ulDepart) {
  mc::testing::reset_memoire();
  mc::testing::faire_echouer_allocation(0);
  MC_Allouer(ulDepart);  // refused, but counted
  const uint16_t usCode = MC_usControlerFormatZoneMemoire(usZone);
  const ZoneMemoire& z = *mc::descripteur(usZone);
  return {usCode, mc::memoire_allouee(), mc::memoire_max(),
          mc::testing::nombre_allocations() - 1 - mc::testing::nombre_liberations(),
          z.OffsetGroupe, z.OffsetChamp, z.CompteurGroupe, z.CompteurChamp, z.IdentifiantGroupe, z.NumeroChamp};
}

TEST_F(Format, CasesTracedAndUntraced) {
  for (const auto& c : mc::test::read_cases("dictionary/format.cases")) {
    SCOPED_TRACE(c.where + " " + c[0]);
    charger(c[1]);
    modifier(c[2]);
    const uint16_t usZone = construire(c[3]);
    for (const uint32_t ulDepart : {0u, UINT32_MAX - 30, UINT32_MAX - 300}) {
      const auto sans_trace = controler(usZone, ulDepart);
      EXPECT_EQ(1u, mc::testing::nombre_allocations());  // nothing allocated without a trace
      const mc::test::TraceCapture trace({{1, 8, 1}});  // a trace file the control never writes to
      const auto avec_trace = controler(usZone, ulDepart);
      EXPECT_EQ(sans_trace[0], avec_trace[0]);
      EXPECT_EQ(std::vector<uint32_t>(sans_trace.begin() + 1, sans_trace.begin() + 3),
                std::vector<uint32_t>(avec_trace.begin() + 1, avec_trace.begin() + 3));
      EXPECT_EQ(std::vector<uint32_t>(sans_trace.begin() + 4, sans_trace.end()),
                std::vector<uint32_t>(avec_trace.begin() + 4, avec_trace.end()));
      EXPECT_CODE(number(c[4]), avec_trace[0]);
      const ZoneMemoire& z = *mc::descripteur(usZone);
      const std::string curseur = c[5] == "-" ? "0/0/0x0000" : c[5];
      char texte[32];
      std::snprintf(texte, sizeof texte, "%u/%u/0x%04X", z.CompteurGroupe, z.CompteurChamp, z.IdentifiantGroupe);
      EXPECT_EQ(curseur, texte);
      // Only the exits that leave the cursor on an unknown group or value keep the group list.
      EXPECT_EQ(c[5] != "-" && avec_trace[0] != MC_ERR_FIN ? 1u : 0u, avec_trace[3]);
    }
    liberer(usZone);
    mc::testing::reset_dictionnaire();
  }
}

TEST_F(Format, TracesMatchGolden) {
  for (const auto& c : mc::test::read_cases("dictionary/traces.cases")) {
    SCOPED_TRACE(c.where);
    charger(c[1]);
    const uint16_t usZone = construire(c[2]);
    mc::test::TraceCapture trace({{1, 2, 2}});
    EXPECT_CODE(number(c[3]), MC_usControlerFormatZoneMemoire(usZone));
    trace.stop();
    EXPECT_EQ(mc::test::read_text(mc::test::golden_path("dictionary/" + c[0])),
              mc::test::mask_dates(trace.text()));
    liberer(usZone);
    mc::testing::reset_dictionnaire();
  }
}

TEST_F(Format, EveryTracedAllocationFailureGivesACodeAndLeavesNothing) {
  charger("exemple");
  const uint16_t usZone = construire("0010:12,ABC,XY;0020:7,20240229;0030:02");
  const mc::test::TraceCapture trace({{1, 2, 2}});
  mc::test::each_allocation_failure(
      [&] {
        const uint32_t ulPris = mc::testing::nombre_allocations() - mc::testing::nombre_liberations();
        const uint16_t usCode = MC_usControlerFormatZoneMemoire(usZone);
        const uint32_t ulRefus = mc::testing::nombre_allocations() - mc::testing::nombre_liberations() - ulPris;
        // A refused allowed value: the group is named unknown and its list is kept (one block,
        // plus the refused request counted).
        return usCode == 0xA003 && ulRefus == 2 ? MC_ERR_MEMOIRE : (ulRefus <= 1 ? usCode : 0xFFFFu);
      },
      0, [](uint32_t, uint32_t code) { EXPECT_TRUE(code == MC_ERR_MEMOIRE || (code & 0xFFF8) == 0x9000) << code; });
  liberer(usZone);
}

}  // namespace
