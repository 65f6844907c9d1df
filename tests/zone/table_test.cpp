// table_test.cpp -- the zone table: numbers, creation, wrapping, resizing, raw access, freeing.
#include <cstddef>

#include "zone_fixture.h"

namespace mc::test {
namespace {

using ZoneTable = ZoneTest;

// The descriptor's fields in their order: the pointer, nine 32-bit values, four 16-bit ones.
constexpr size_t kP = sizeof(void*);
static_assert(offsetof(ZoneMemoire, Buffer) == 0);
static_assert(offsetof(ZoneMemoire, TailleBuffer) == kP);
static_assert(offsetof(ZoneMemoire, TailleDonnees) == kP + 4);
static_assert(offsetof(ZoneMemoire, Structuree) == kP + 8);
static_assert(offsetof(ZoneMemoire, OffsetChamp) == kP + 12);
static_assert(offsetof(ZoneMemoire, OffsetGroupe) == kP + 16);
static_assert(offsetof(ZoneMemoire, TailleLongueurChamp) == kP + 20);
static_assert(offsetof(ZoneMemoire, LongueurChamp) == kP + 24);
static_assert(offsetof(ZoneMemoire, LongueurGroupe) == kP + 28);
static_assert(offsetof(ZoneMemoire, TailleEnteteGroupe) == kP + 32);
static_assert(offsetof(ZoneMemoire, IdentifiantGroupe) == kP + 36);
static_assert(offsetof(ZoneMemoire, NumeroChamp) == kP + 38);
static_assert(offsetof(ZoneMemoire, CompteurGroupe) == kP + 40);
static_assert(offsetof(ZoneMemoire, CompteurChamp) == kP + 42);
static_assert(sizeof(ZoneMemoire) == (kP == 8 ? 56 : 48));

TEST_F(ZoneTable, HundredNumbersThenNoneAndLowestFreeReused) {
  for (uint16_t i = 0; i < 100; ++i) {
    EXPECT_EQ(creer(4, i % 2 == 0), i);
  }
  uint16_t usZone = 0xFFFF;
  EXPECT_EQ(MC_bRechercherZoneLibre(&usZone), 0);
  EXPECT_CODE(MC_ERR_MEMOIRE, MC_usCreerZoneMemoire(4, 1, &usZone));
  unsigned char dummy[4] = {};
  EXPECT_CODE(MC_ERR_MEMOIRE, MC_usInitialiserZoneMemoire(dummy, 4, &usZone, 0));

  for (uint16_t libre : {uint16_t{42}, uint16_t{5}}) {
    uint32_t ulTaille = 0;
    unsigned char* pucBuffer = nullptr;
    ASSERT_CODE(0, MC_pucLireBuffer(libre, &ulTaille, &pucBuffer));
    MC_Liberer(pucBuffer);
    ASSERT_CODE(0, MC_usLibererZoneMemoire(libre));
  }
  EXPECT_EQ(MC_bRechercherZoneLibre(&usZone), 1);
  EXPECT_EQ(usZone, 5);
  EXPECT_EQ(creer(1, true), 5);
  EXPECT_EQ(creer(1, true), 42);
}

TEST_F(ZoneTable, CreationClearsBufferAndTakesAtLeastOneByte) {
  const uint16_t vide = creer(0, true);
  EXPECT_EQ(z(vide).TailleBuffer, 1u);
  EXPECT_EQ(z(vide).TailleDonnees, 0u);
  const uint16_t brute = creer(16, false);
  EXPECT_EQ(z(brute).Structuree, 0u);
  EXPECT_EQ(Bytes(z(brute).Buffer, z(brute).Buffer + 16), Bytes(16, 0));
  EXPECT_NE(z(vide).Structuree, 0u);
}

TEST_F(ZoneTable, KeptCreationFailureExitLineShowsZero) {
  struct Case {
    const char* nom;
    uint32_t reussites;  // allocations that succeed before the refused one
    bool enregistree;
  };
  const Case cases[] = {{"descriptor refused", 0, false}, {"buffer refused", 1, true}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.nom);
    mc::testing::reset_zones();
    std::vector<std::string> lignes;
    {
      TraceCapture trace({{1, 3, 2}});
      mc::testing::faire_echouer_allocation(c.reussites);
      uint16_t usZone = 0xFFFF;
      EXPECT_CODE(MC_ERR_MEMOIRE, MC_usCreerZoneMemoire(8, 1, &usZone));
      lignes = trace.lines();
    }
    const std::vector<std::string> attendu = {"### DEBUT TRACE ###",
                                              "{ MC_usCreationZoneMemoire : taille = 8",
                                              "  cr = 0x0000", "}"};
    EXPECT_EQ(lignes, attendu);
    // Kept: a refused buffer leaves the descriptor registered, its number taken.
    EXPECT_EQ(mc::ZM[0] != nullptr, c.enregistree);
    uint16_t usLibre = 0xFFFF;
    EXPECT_EQ(MC_bRechercherZoneLibre(&usLibre), 1);
    EXPECT_EQ(usLibre, c.enregistree ? 1 : 0);
    if (c.enregistree) {
      EXPECT_EQ(mc::ZM[0]->Buffer, nullptr);
      // No raw access reaches the missing buffer.
      unsigned char octet = 0;
      unsigned char* p = &octet;
      EXPECT_CODE(MC_ERR_DEPASSEMENT, MC_usLireZoneMemoire(0, 0, &p, 1));
      EXPECT_CODE(0, MC_usLibererZoneMemoire(0));
    }
  }
}

TEST_F(ZoneTable, CreationTraceWithCursorAtStart) {
  TraceCapture trace({{1, 3, 2}});
  creer(8, true);
  creer(8, false);
  const std::vector<std::string> attendu = {
      "### DEBUT TRACE ###",
      "{ MC_usCreationZoneMemoire : taille = 8",
      "  { MC_usPositionnerDebut",
      "  }",
      "  cr = 0x0000",
      "}",
      "{ MC_usCreationZoneMemoire : taille = 8",
      "  cr = 0x0000",
      "}",
  };
  EXPECT_EQ(trace.lines(), attendu);
}

TEST_F(ZoneTable, InitialisationWrapsCallerBufferWithoutCopy) {
  Bytes tampon = exemple_zone();
  externe(tampon.data());
  uint16_t usZone = 0xFFFF;
  TraceCapture trace({{1, 3, 2}});
  ASSERT_CODE(0, MC_usInitialiserZoneMemoire(tampon.data(), 144, &usZone, 1));
  EXPECT_EQ(z(usZone).Buffer, tampon.data());
  EXPECT_EQ(z(usZone).TailleBuffer, 144u);
  EXPECT_EQ(z(usZone).TailleDonnees, 144u);
  EXPECT_EQ(sans_adresses(trace.lines())[1], "{ MC_usInitZoneMemoire : buffer = 0x<adr>, taille = 144");

  uint16_t usNonPlein = 0xFFFF;
  ASSERT_CODE(0, MC_usInitialiserZoneMemoireNonPlein(tampon.data(), 144, 8, &usNonPlein, 0));
  EXPECT_EQ(z(usNonPlein).TailleDonnees, 8u);
  EXPECT_EQ(z(usNonPlein).Structuree, 0u);
  EXPECT_EQ(sans_adresses(trace.lines())[6], "{ MC_usInitZoneMemoire : buffer = 0x<adr>, taille = 144");
}

TEST_F(ZoneTable, InitialisationRefusesBadArguments) {
  unsigned char tampon[8] = {};
  uint16_t usZone = 0xFFFF;
  EXPECT_CODE(MC_ERR_ARGUMENT, MC_usInitialiserZoneMemoire(nullptr, 8, &usZone, 1));
  EXPECT_CODE(MC_ERR_ARGUMENT, MC_usInitialiserZoneMemoire(tampon, 0, &usZone, 1));
  EXPECT_CODE(MC_ERR_ARGUMENT, MC_usInitialiserZoneMemoireNonPlein(nullptr, 8, 0, &usZone, 1));
  EXPECT_CODE(MC_ERR_ARGUMENT, MC_usInitialiserZoneMemoireNonPlein(tampon, 0, 0, &usZone, 1));
  // A data length above the buffer would let reads run past the caller's memory.
  EXPECT_CODE(MC_ERR_ARGUMENT, MC_usInitialiserZoneMemoireNonPlein(tampon, 8, 9, &usZone, 1));
  EXPECT_CODE(0, MC_usInitialiserZoneMemoireNonPlein(tampon, 8, 8, &usZone, 1));
  externe(tampon);
  EXPECT_EQ(usZone, 0);
}

TEST_F(ZoneTable, KeptFreeingReleasesDescriptorOnly) {
  const uint16_t usZone = creer(32, true);
  unsigned char* pucBuffer = z(usZone).Buffer;
  const uint32_t ulLiberations = mc::testing::nombre_liberations();
  TraceCapture trace({{1, 3, 2}});
  EXPECT_CODE(0, MC_usLibererZoneMemoire(usZone));
  EXPECT_EQ(mc::testing::nombre_liberations(), ulLiberations + 1);
  EXPECT_EQ(mc::ZM[usZone], nullptr);
  const std::vector<std::string> attendu = {"### DEBUT TRACE ###",
                                            "{ MC_usLibererZoneMemoire : numero de zone = 0", "}"};
  EXPECT_EQ(trace.lines(), attendu);
  pucBuffer[31] = 1;  // still ours
  MC_Liberer(pucBuffer);
  EXPECT_CODE(MC_ERR_NUMERO, MC_usLibererZoneMemoire(usZone));
  EXPECT_CODE(MC_ERR_NUMERO, MC_usLibererZoneMemoire(100));
  EXPECT_CODE(MC_ERR_NUMERO, MC_usLibererZoneMemoire(0xFFFF));
}

TEST_F(ZoneTable, KeptResizeComparesWithAllocatedSize) {
  const uint16_t usZone = creer(16, false);
  const Bytes octets = hex("01 02 03");
  ASSERT_CODE(0, MC_usEcrireZoneMemoire(usZone, 0, octets.data(), 3));
  TraceCapture trace({{1, 3, 2}});
  EXPECT_CODE(MC_ERR_MEMOIRE, MC_usRedimensionner(usZone, 15));
  const std::vector<std::string> attendu = {
      "### DEBUT TRACE ###", "{ MC_usRedimensionner : taille = 15",
      "  ERREUR : Nouvelle taille (15) inferieure a la taille des donnees (16).",
      "  cr = 0xF801", "}"};
  EXPECT_EQ(trace.lines(), attendu);
  EXPECT_EQ(z(usZone).TailleBuffer, 16u);

  unsigned char* pucAncien = z(usZone).Buffer;
  EXPECT_CODE(0, MC_usRedimensionner(usZone, 16));
  EXPECT_NE(z(usZone).Buffer, pucAncien);  // a fresh copy
  EXPECT_CODE(0, MC_usRedimensionner(usZone, 1000));
  EXPECT_EQ(z(usZone).TailleBuffer, 1000u);
  EXPECT_EQ(donnees(usZone), octets);
  EXPECT_CODE(MC_ERR_NUMERO, MC_usRedimensionner(99, 10));
}

TEST_F(ZoneTable, ResizeKeepsCursorAndRefusedAllocationChangesNothing) {
  const Bytes zone = exemple_zone();
  auto* pucTampon = static_cast<unsigned char*>(MC_Allouer(144));  // given back by the resize
  std::copy(zone.begin(), zone.end(), pucTampon);
  uint16_t usZone = 0;
  ASSERT_CODE(0, MC_usInitialiserZoneMemoire(pucTampon, 144, &usZone, 1));
  uint16_t id = 0;
  ASSERT_CODE(0, MC_usAvancerGroupeSuivant(usZone, 2, 0, &id));
  mc::testing::faire_echouer_allocation(0);
  EXPECT_CODE(MC_ERR_MEMOIRE, MC_usRedimensionner(usZone, 200));
  EXPECT_EQ(z(usZone).Buffer, pucTampon);
  EXPECT_CODE(0, MC_usRedimensionner(usZone, 200));
  EXPECT_EQ(z(usZone).OffsetGroupe, 8u);
  EXPECT_EQ(donnees(usZone), zone);
  EXPECT_CODE(0, MC_usAjouterChamp(usZone, reinterpret_cast<const unsigned char*>("xyz"), 3));
  EXPECT_CODE(0, MC_usControlerSyntaxeZoneMemoire(usZone));
}

TEST_F(ZoneTable, RawWritesAndReadsAtTheirBounds) {
  const uint16_t usZone = creer(16, false);
  const Bytes cinq = hex("A1 A2 A3 A4 A5");
  EXPECT_CODE(0, MC_usEcrireZoneMemoire(usZone, 10, cinq.data(), 5));
  EXPECT_EQ(z(usZone).TailleDonnees, 15u);
  EXPECT_CODE(0, MC_usEcrireZoneMemoire(usZone, 0, cinq.data(), 2));
  EXPECT_EQ(z(usZone).TailleDonnees, 15u);
  EXPECT_CODE(0, MC_usEcrireZoneMemoire(usZone, 11, cinq.data(), 5));  // up to the last byte
  EXPECT_EQ(z(usZone).TailleDonnees, 16u);
  EXPECT_CODE(MC_ERR_DEPASSEMENT, MC_usEcrireZoneMemoire(usZone, 12, cinq.data(), 5));
  EXPECT_CODE(MC_ERR_DEPASSEMENT, MC_usEcrireZoneMemoire(usZone, 0xFFFFFFFFu, cinq.data(), 2));
  EXPECT_CODE(MC_ERR_DEPASSEMENT, MC_usEcrireZoneMemoire(usZone, 2, cinq.data(), 0xFFFFFFFFu));

  Bytes lu(16, 0xEE);
  unsigned char* p = lu.data();
  EXPECT_CODE(0, MC_usLireZoneMemoire(usZone, 0, &p, 16));
  EXPECT_EQ(to_hex(lu), to_hex(hex("A1 A2 00 00 00 00 00 00 00 00 A1 A1 A2 A3 A4 A5")));
  EXPECT_CODE(MC_ERR_DEPASSEMENT, MC_usLireZoneMemoire(usZone, 1, &p, 16));
  EXPECT_CODE(MC_ERR_DEPASSEMENT, MC_usLireZoneMemoire(usZone, 0xFFFFFFF0u, &p, 0x20));
}

TEST_F(ZoneTable, RawReadReachesPastDataInsideBuffer) {
  const uint16_t usZone = creer(8, false);
  const Bytes deux = hex("11 22");
  ASSERT_CODE(0, MC_usEcrireZoneMemoire(usZone, 0, deux.data(), 2));
  Bytes lu(6, 0xEE);
  unsigned char* p = lu.data();
  TraceCapture trace({{1, 3, 2}});
  EXPECT_CODE(0, MC_usLireZoneMemoire(usZone, 2, &p, 6));
  EXPECT_EQ(lu, Bytes(6, 0));
  EXPECT_CODE(MC_ERR_DEPASSEMENT, MC_usLireZoneMemoire(usZone, 3, &p, 6));
  const std::vector<std::string> attendu = {
      "### DEBUT TRACE ###", "{ MC_usLireZoneMemoire", "  cr = 0x0000", "}",
      "{ MC_usLireZoneMemoire", "   cr = 0xF804", "}"};
  EXPECT_EQ(trace.lines(), attendu);
}

TEST_F(ZoneTable, KindAndNumberChecks) {
  const uint16_t brute = creer(8, false);
  const uint16_t structuree = creer(8, true);
  unsigned char octet = 0;
  unsigned char* p = &octet;
  EXPECT_CODE(MC_ERR_TYPE, MC_usLireZoneMemoire(structuree, 0, &p, 1));
  EXPECT_CODE(MC_ERR_TYPE, MC_usEcrireZoneMemoire(structuree, 0, &octet, 1));
  EXPECT_CODE(MC_ERR_NUMERO, MC_usLireZoneMemoire(100, 0, &p, 1));
  EXPECT_CODE(MC_ERR_NUMERO, MC_usEcrireZoneMemoire(7, 0, &octet, 1));

  uint16_t u16 = 0;
  uint32_t u32 = 0;
  unsigned char* pd = nullptr;
  struct Case {
    const char* nom;
    uint16_t cr;
  };
  const Case raw[] = {
      {"PositionnerDebut", MC_usPositionnerDebut(brute)},
      {"PositionnerFin", MC_usPositionnerFin(brute, 1)},
      {"FinZone", MC_usFinZone(brute, &u32)},
      {"FinDonnees", MC_usFinDonnees(brute, &u32)},
      {"FinGroupe", MC_usFinGroupe(brute, &u32)},
      {"AvancerGroupeSuivant", MC_usAvancerGroupeSuivant(brute, 1, 0, &u16)},
      {"AvancerChampSuivant", MC_usAvancerChampSuivant(brute, 1, &u16, &pd, &u32)},
      {"RechercherGroupe", MC_usRechercherGroupe(brute, 1, 1, 0)},
      {"RechercherGroupeSuivant", MC_usRechercherGroupeSuivant(brute, 1, 1, 0)},
      {"RechercherChamp", MC_usRechercherChamp(brute, 1, 1, 1, 0, &pd, &u32)},
      {"LireGroupeSuivant", MC_usLireGroupeSuivant(brute, 0, &u16, &u16)},
      {"LireCompteurGroupe", MC_usLireCompteurGroupe(brute, &u16)},
      {"LireCompteurChamp", MC_usLireCompteurChamp(brute, &u16)},
      {"AjouterGroupe", MC_usAjouterGroupe(brute, 1)},
      {"AjouterChamp", MC_usAjouterChamp(brute, &octet, 1)},
      {"ModifierChamp", MC_usModifierChamp(brute, &octet, 0, 1, 1)},
      {"ExtraireChamp", MC_usExtraireChamp(brute, &pd, 0, 0)},
      {"ControlerSyntaxe", MC_usControlerSyntaxeZoneMemoire(brute)},
  };
  for (const Case& c : raw) {
    SCOPED_TRACE(c.nom);
    EXPECT_CODE(MC_ERR_TYPE, c.cr);
  }
  const Case unused[] = {
      {"PositionnerDebut", MC_usPositionnerDebut(99)},
      {"FinZone", MC_usFinZone(100, &u32)},
      {"AvancerGroupeSuivant", MC_usAvancerGroupeSuivant(50, 1, 0, &u16)},
      {"RechercherGroupe", MC_usRechercherGroupe(50, 1, 1, 0)},
      {"RechercherChamp", MC_usRechercherChamp(50, 1, 1, 1, 0, &pd, &u32)},
      {"LireCompteurChamp", MC_usLireCompteurChamp(0xFFFF, &u16)},
      {"AjouterGroupe", MC_usAjouterGroupe(3, 1)},
      {"ModifierChamp", MC_usModifierChamp(3, &octet, 0, 1, 1)},
      {"LireBuffer", MC_pucLireBuffer(3, &u32, &pd)},
  };
  for (const Case& c : unused) {
    SCOPED_TRACE(c.nom);
    EXPECT_CODE(MC_ERR_NUMERO, c.cr);
  }
  // Occurrence 0 is refused before the zone is looked at.
  EXPECT_CODE(MC_ERR_ARGUMENT, MC_usRechercherGroupe(99, 1, 0, 0));
  EXPECT_CODE(0, MC_pucLireBuffer(brute, &u32, &pd));
  EXPECT_CODE(0, MC_pucLireBuffer(structuree, &u32, &pd));
}

}  // namespace
}  // namespace mc::test
