// robustesse_test.cpp -- random zones built with the editing calls and checked against a model
// encoded independently; the same zones corrupted and walked (run it under the sanitizer build).
#include <cstring>
#include <memory>
#include <random>

#include "zone_fixture.h"

namespace mc::test {
namespace {

// Writer rules of the length coding, written out from the table of lengths.
void encoder_longueur(Bytes& out, uint32_t v) {
  if (v <= 127) {
    out.push_back(static_cast<uint8_t>(v));
  } else if (v <= 254) {
    out.insert(out.end(), {0x81, static_cast<uint8_t>(v)});
  } else if (v <= 65534) {
    out.insert(out.end(), {0x82, static_cast<uint8_t>(v >> 8), static_cast<uint8_t>(v)});
  } else {
    out.insert(out.end(), {0x83, static_cast<uint8_t>(v >> 16), static_cast<uint8_t>(v >> 8),
                           static_cast<uint8_t>(v)});
  }
}

struct Groupe {
  uint16_t id;
  std::vector<Bytes> champs;
};

Bytes encoder(const std::vector<Groupe>& groupes) {
  Bytes out;
  for (const Groupe& g : groupes) {
    Bytes corps;
    for (const Bytes& c : g.champs) {
      encoder_longueur(corps, static_cast<uint32_t>(c.size()));
      corps.insert(corps.end(), c.begin(), c.end());
    }
    out.insert(out.end(), {static_cast<uint8_t>(g.id >> 8), static_cast<uint8_t>(g.id)});
    encoder_longueur(out, static_cast<uint32_t>(corps.size()));
    out.insert(out.end(), corps.begin(), corps.end());
  }
  return out;
}

// Reader rules: a lone 0x80 is 128, 0x81..0x84 announce that many bytes, the rest is refused.
bool lire_longueur(const Bytes& d, size_t off, uint64_t& l, uint64_t& n) {
  if (off >= d.size()) {
    return false;
  }
  const uint8_t b = d[off];
  if (b <= 0x80) {
    l = b;
    n = 1;
    return true;
  }
  const size_t k = b & 0x7Fu;
  if (k > 4 || off + k >= d.size()) {
    return false;
  }
  l = 0;
  for (size_t i = 1; i <= k; ++i) {
    l = (l << 8) | d[off + i];
  }
  n = k + 1;
  return true;
}

// Groups of non-zero length tiling the data, fields tiling each body.
bool bien_forme(const Bytes& d) {
  if (d.empty()) {
    return false;
  }
  uint64_t pos = 0;
  while (pos < d.size()) {
    uint64_t lg = 0;
    uint64_t n = 0;
    if (pos + 2 >= d.size() || !lire_longueur(d, pos + 2, lg, n) || lg == 0) {
      return false;
    }
    const uint64_t fin = pos + 2 + n + lg;
    if (fin > d.size()) {
      return false;
    }
    for (uint64_t f = pos + 2 + n; f < fin;) {
      uint64_t lc = 0;
      uint64_t tl = 0;
      if (!lire_longueur(d, f, lc, tl)) {
        return false;
      }
      f += tl + lc;
      if (f > fin) {
        return false;
      }
    }
    pos = fin;
  }
  return true;
}

Bytes au_hasard(std::mt19937& rng, size_t taille) {
  Bytes b(taille);
  for (auto& o : b) {
    o = static_cast<uint8_t>(rng());
  }
  return b;
}

size_t longueur_au_hasard(std::mt19937& rng) {
  static const size_t classes[] = {0, 1, 2, 126, 127, 128, 129, 253, 254, 255, 256, 600};
  return rng() % 3 == 0 ? classes[rng() % std::size(classes)] : rng() % 20;
}

// The syntax control gives the same code and leaves the same cursor with tracing off (one pass
// over the lengths) as with tracing on (the walk that traces each step).
void controle_identique(uint16_t zone) {
  mc::testing::reset_trace();
  MC_usAvancerGroupeSuivant(zone, 1, 0, nullptr);  // a cursor away from the start
  const uint16_t crSansTrace = MC_usControlerSyntaxeZoneMemoire(zone);
  const ZoneMemoire sansTrace = *mc::ZM[zone];
  MC_usAvancerGroupeSuivant(zone, 1, 0, nullptr);
  uint16_t crAvecTrace = 0;
  {
    TraceCapture trace({{1, 1, 1}});
    crAvecTrace = MC_usControlerSyntaxeZoneMemoire(zone);
  }
  const ZoneMemoire& avecTrace = *mc::ZM[zone];
  EXPECT_CODE(crAvecTrace, crSansTrace);
  EXPECT_EQ(std::memcmp(&sansTrace, &avecTrace, sizeof(ZoneMemoire)), 0)
      << "group " << sansTrace.OffsetGroupe << "/" << avecTrace.OffsetGroupe << ", field "
      << sansTrace.OffsetChamp << "/" << avecTrace.OffsetChamp << ", counters "
      << sansTrace.CompteurGroupe << "/" << avecTrace.CompteurGroupe << " "
      << sansTrace.CompteurChamp << "/" << avecTrace.CompteurChamp << ", number "
      << sansTrace.NumeroChamp << "/" << avecTrace.NumeroChamp;
}

using Robustness = ZoneTest;

TEST_F(Robustness, RandomEditsMatchIndependentEncoding) {
  std::mt19937 rng(20261121);
  for (int essai = 0; essai < 40; ++essai) {
    SCOPED_TRACE(essai);
    mc::testing::reset_trace();
    const uint16_t zone = creer(64 * 1024, true);
    std::vector<Groupe> modele;
    for (int pas = 0; pas < 60; ++pas) {
      SCOPED_TRACE(pas);
      const unsigned choix = rng() % 4;
      if (modele.empty() || choix == 0) {
        // A new group at the end.
        const auto id = static_cast<uint16_t>(1 + rng() % 5);
        ASSERT_CODE(0, MC_usPositionnerFin(zone, rng() % 2));
        ASSERT_CODE(0, MC_usAjouterGroupe(zone, id));
        modele.push_back({id, {}});
      } else {
        const size_t g = rng() % modele.size();
        uint16_t occurrence = 0;
        for (size_t i = 0; i <= g; ++i) {
          occurrence = static_cast<uint16_t>(occurrence + (modele[i].id == modele[g].id));
        }
        const size_t k = modele[g].champs.empty() ? 0 : rng() % (modele[g].champs.size() + 1);
        if (choix == 3 && k > 0) {
          // Rewrite field k whole, from position 0, to a new length (never shorter).
          ASSERT_CODE(0, MC_usRechercherChamp(zone, modele[g].id, occurrence,
                                              static_cast<uint16_t>(k), rng() % 2, nullptr, nullptr));
          Bytes& champ = modele[g].champs[k - 1];
          const Bytes nouveau = au_hasard(rng, champ.size() + longueur_au_hasard(rng));
          ASSERT_CODE(0, MC_usModifierChamp(zone, nouveau.data(), 0,
                                            static_cast<uint32_t>(nouveau.size()), 1));
          champ = nouveau;
        } else {
          // A field after field k (k = 0: at the body's start).
          if (k == 0) {
            ASSERT_CODE(0, MC_usRechercherGroupe(zone, modele[g].id, occurrence, rng() % 2));
          } else {
            ASSERT_CODE(0, MC_usRechercherChamp(zone, modele[g].id, occurrence,
                                                static_cast<uint16_t>(k), 0, nullptr, nullptr));
          }
          const Bytes champ = au_hasard(rng, longueur_au_hasard(rng));
          ASSERT_CODE(0, MC_usAjouterChamp(zone, champ.data(), static_cast<uint32_t>(champ.size())));
          modele[g].champs.insert(modele[g].champs.begin() + static_cast<long>(k), champ);
        }
      }
      ASSERT_EQ(to_hex(donnees(zone)), to_hex(encoder(modele)));
    }
    const Bytes final_octets = donnees(zone);
    EXPECT_EQ(MC_usControlerSyntaxeZoneMemoire(zone) == 0, bien_forme(final_octets));
    controle_identique(zone);  // the fixture gives the zone back
  }
}

// Walks, searches and edits a zone; checks that every walk ends within the data's size.
void exercer(uint16_t zone, uint32_t taille) {
  const uint32_t limite = taille + 2;
  MC_usControlerSyntaxeZoneMemoire(zone);
  for (uint32_t parcours = 0; parcours < 2; ++parcours) {
    MC_usPositionnerDebut(zone);
    uint32_t nbGroupes = 0;
    uint16_t id = 0;
    while (MC_usAvancerGroupeSuivant(zone, 1, parcours, &id) == 0) {
      ASSERT_LE(++nbGroupes, limite);
      uint32_t nbChamps = 0;
      unsigned char* p = nullptr;
      uint32_t l = 0;
      while (MC_usAvancerChampSuivant(zone, 1, nullptr, &p, &l) == 0) {
        ASSERT_LE(++nbChamps, limite);
        if (l != 0) {
          volatile unsigned char premier = p[0];
          volatile unsigned char dernier = p[l - 1];
          (void)premier;
          (void)dernier;
        }
      }
    }
    MC_usPositionnerFin(zone, parcours);
    MC_usPositionnerDebut(zone);
    MC_usAvancerGroupeSuivant(zone, 3, parcours, &id);
    MC_usAvancerChampSuivant(zone, 2, nullptr, nullptr, nullptr);
  }
  for (uint16_t ident : {uint16_t{0}, uint16_t{1}, uint16_t{2}, uint16_t{0x4141}}) {
    for (uint16_t occ : {uint16_t{1}, uint16_t{3}}) {
      MC_usRechercherGroupe(zone, ident, occ, occ == 1);
      unsigned char* p = nullptr;
      uint32_t l = 0;
      if (MC_usRechercherChamp(zone, ident, occ, 2, 0, &p, &l) == 0 && l != 0) {
        volatile unsigned char dernier = p[l - 1];
        (void)dernier;
      }
    }
  }
  MC_usPositionnerDebut(zone);
  for (int i = 0; i < 8; ++i) {
    uint16_t id = 0;
    uint16_t occ = 0;
    if (MC_usLireGroupeSuivant(zone, static_cast<uint32_t>(i % 2), &id, &occ) != 0) {
      break;
    }
    if (i == 0) {
      MC_usAvancerGroupeSuivant(zone, 1, 0, nullptr);
    }
  }
  // Edits wherever the walks left the cursor, and after one more field advance.
  const unsigned char octets[300] = {};
  unsigned char* p = nullptr;
  MC_usModifierChamp(zone, octets, 0, 1, 0);
  MC_usModifierChamp(zone, octets, 1, 200, 1);
  MC_usExtraireChamp(zone, &p, 0, 1);
  MC_usAjouterChamp(zone, octets, 130);
  MC_usAvancerChampSuivant(zone, 1, nullptr, nullptr, nullptr);
  MC_usAjouterGroupe(zone, 7);
  MC_usAjouterChamp(zone, octets, 3);
  MC_usControlerSyntaxeZoneMemoire(zone);
}

TEST_F(Robustness, CorruptedZonesAreWalkedInsideTheirData) {
  std::mt19937 rng(4242);
  for (int essai = 0; essai < 300; ++essai) {
    SCOPED_TRACE(essai);
    // A valid zone of a few groups...
    std::vector<Groupe> groupes;
    const size_t nbGroupes = 1 + rng() % 5;
    for (size_t g = 0; g < nbGroupes; ++g) {
      Groupe groupe{static_cast<uint16_t>(rng() % 3), {}};
      const size_t nbChamps = 1 + rng() % 4;
      for (size_t c = 0; c < nbChamps; ++c) {
        groupe.champs.push_back(au_hasard(rng, longueur_au_hasard(rng)));
      }
      groupes.push_back(groupe);
    }
    Bytes octets = encoder(groupes);
    ASSERT_TRUE(bien_forme(octets));
    // ...corrupted: bytes changed, cut, or inserted.
    const unsigned maniere = rng() % 4;
    if (maniere == 0 || maniere == 3) {
      const size_t n = 1 + rng() % 4;
      for (size_t i = 0; i < n; ++i) {
        octets[rng() % octets.size()] = static_cast<uint8_t>(rng() % 4 == 0 ? 0x80 + rng() % 8 : rng());
      }
    }
    if (maniere == 1) {
      octets.resize(rng() % octets.size());
    }
    if (maniere == 2 || maniere == 3) {
      octets.insert(octets.begin() + static_cast<long>(rng() % (octets.size() + 1)),
                    static_cast<uint8_t>(rng()));
    }
    const auto taille = static_cast<uint32_t>(octets.size());
    for (uint32_t marge : {0u, 400u}) {
      SCOPED_TRACE(marge);
      // Exact-size heap buffers, so that the sanitizer sees any read past them.
      const uint32_t tailleBuffer = taille + marge == 0 ? 1 : taille + marge;
      std::unique_ptr<unsigned char[]> tampon(new unsigned char[tailleBuffer]());
      std::copy(octets.begin(), octets.end(), tampon.get());
      uint16_t zone = 0;
      ASSERT_CODE(0, MC_usInitialiserZoneMemoireNonPlein(tampon.get(), tailleBuffer, taille, &zone, 1));
      externe(tampon.get());
      if (marge == 0) {
        EXPECT_EQ(MC_usControlerSyntaxeZoneMemoire(zone) == 0, bien_forme(octets));
        controle_identique(zone);
      }
      exercer(zone, taille);
      EXPECT_LE(z(zone).TailleDonnees, tailleBuffer);
      MC_usLibererZoneMemoire(zone);
    }
  }
}

TEST_F(Robustness, TracedWalkOfCorruptZone) {
  // The same walks with tracing on at level 2: the trace formats see every odd value.
  const Bytes octets = hex("00 01 84 FF FF FF FF 00 02 83 00 00 01 80 7F");
  std::unique_ptr<unsigned char[]> tampon(new unsigned char[octets.size()]);
  std::copy(octets.begin(), octets.end(), tampon.get());
  uint16_t zone = 0;
  ASSERT_CODE(0, MC_usInitialiserZoneMemoire(tampon.get(), static_cast<uint32_t>(octets.size()), &zone, 1));
  externe(tampon.get());
  TraceCapture trace = TraceCapture::all(2);
  exercer(zone, static_cast<uint32_t>(octets.size()));
  EXPECT_FALSE(trace.text().empty());
}

}  // namespace
}  // namespace mc::test
