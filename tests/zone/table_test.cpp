// table_test.cpp -- the zone table: numbers, creation, wrapping, resizing, raw access, freeing.
#include "zone_fixture.h"

namespace mc::test {
namespace {

using ZoneTable = ZoneTest;

TEST_F(ZoneTable, HundredNumbersThenNoneAndLowestFreeReused) {
  for (uint16_t i = 0; i < 100; ++i) {
    EXPECT_EQ(creer(i == 0 ? 0 : 4, i % 2 == 0), i);
  }
  EXPECT_EQ(z(0).TailleBuffer, 1u);  // a zone always has one byte
  EXPECT_EQ(Bytes(z(1).Buffer, z(1).Buffer + 4), Bytes(4, 0));
  EXPECT_EQ(z(1).Structuree, 0u);
  uint16_t usZone = 0xFFFF;
  EXPECT_EQ(MC_bRechercherZoneLibre(&usZone), 0);
  EXPECT_CODE(MC_ERR_MEMOIRE, MC_usCreerZoneMemoire(4, 1, &usZone));
  unsigned char dummy[4] = {};
  EXPECT_CODE(MC_ERR_MEMOIRE, MC_usInitialiserZoneMemoire(dummy, 4, &usZone, 0));
  for (uint16_t libre : {uint16_t{42}, uint16_t{5}}) {
    MC_Liberer(z(libre).Buffer);
    ASSERT_CODE(0, MC_usLibererZoneMemoire(libre));
  }
  EXPECT_EQ(MC_bRechercherZoneLibre(&usZone), 1);
  EXPECT_EQ(usZone, 5);
  EXPECT_EQ(creer(1, true), 5);
  EXPECT_EQ(creer(1, true), 42);
}

TEST_F(ZoneTable, CreationTracesAndKeptFailures) {
  {
    TraceCapture trace({{1, 3, 2}});
    creer(8, true);
    creer(8, false);
    trace_attendue(trace, "creation");
  }
  // Kept: the exit line shows 0; a refused buffer leaves the descriptor registered.
  for (uint32_t reussites : {0u, 1u}) {
    SCOPED_TRACE(reussites);
    vider();
    TraceCapture trace({{1, 3, 2}});
    mc::testing::faire_echouer_allocation(reussites);
    uint16_t usZone = 0xFFFF;
    EXPECT_CODE(MC_ERR_MEMOIRE, MC_usCreerZoneMemoire(8, 1, &usZone));
    trace_attendue(trace, "creation_refusee");
    uint16_t usLibre = 0xFFFF;
    EXPECT_EQ(MC_bRechercherZoneLibre(&usLibre), 1);
    EXPECT_EQ(usLibre, reussites);
    if (reussites == 1) {
      EXPECT_EQ(mc::ZM[0]->Buffer, nullptr);
      unsigned char octet = 0;
      unsigned char* p = &octet;
      EXPECT_CODE(MC_ERR_DEPASSEMENT, MC_usLireZoneMemoire(0, 0, &p, 1));  // no buffer reached
    }
  }
}

TEST_F(ZoneTable, InitialisationWrapsCallerBufferWithoutCopy) {
  Bytes tampon = exemple_zone();
  externe(tampon.data());
  uint16_t usZone = 0xFFFF;
  uint16_t usBrute = 0xFFFF;
  TraceCapture trace({{1, 3, 2}});
  ASSERT_CODE(0, MC_usInitialiserZoneMemoire(tampon.data(), 144, &usZone, 1));
  ASSERT_CODE(0, MC_usInitialiserZoneMemoireNonPlein(tampon.data(), 144, 8, &usBrute, 0));
  trace_attendue(trace, "initialisation");
  EXPECT_EQ(z(usZone).Buffer, tampon.data());
  EXPECT_EQ(z(usZone).TailleDonnees, 144u);
  EXPECT_EQ(z(usBrute).TailleBuffer, 144u);
  EXPECT_EQ(z(usBrute).TailleDonnees, 8u);
  EXPECT_EQ(z(usBrute).Structuree, 0u);
  EXPECT_CODE(MC_ERR_ARGUMENT, MC_usInitialiserZoneMemoire(nullptr, 8, &usZone, 1));
  EXPECT_CODE(MC_ERR_ARGUMENT, MC_usInitialiserZoneMemoire(tampon.data(), 0, &usZone, 1));
  EXPECT_CODE(MC_ERR_ARGUMENT, MC_usInitialiserZoneMemoire(tampon.data(), 8, nullptr, 1));
  EXPECT_CODE(MC_ERR_ARGUMENT, MC_usInitialiserZoneMemoireNonPlein(nullptr, 8, 0, &usZone, 1));
  // A data length above the buffer would let reads run past the caller's memory.
  EXPECT_CODE(MC_ERR_ARGUMENT, MC_usInitialiserZoneMemoireNonPlein(tampon.data(), 8, 9, &usZone, 1));
  EXPECT_CODE(0, MC_usInitialiserZoneMemoireNonPlein(tampon.data(), 8, 8, &usZone, 1));
}

TEST_F(ZoneTable, KeptFreeingReleasesDescriptorOnly) {
  const uint16_t usZone = creer(32, true);
  unsigned char* pucBuffer = z(usZone).Buffer;
  const uint32_t ulLiberations = mc::testing::nombre_liberations();
  TraceCapture trace({{1, 3, 2}});
  EXPECT_CODE(0, MC_usLibererZoneMemoire(usZone));
  trace_attendue(trace, "liberation");
  EXPECT_EQ(mc::testing::nombre_liberations(), ulLiberations + 1);
  pucBuffer[31] = 1;  // still ours
  MC_Liberer(pucBuffer);
  EXPECT_CODE(MC_ERR_NUMERO, MC_usLibererZoneMemoire(usZone));
  EXPECT_CODE(MC_ERR_NUMERO, MC_usLibererZoneMemoire(100));
}

TEST_F(ZoneTable, KeptResizeComparesWithAllocatedSizeAndKeepsDataAndCursor) {
  const Bytes zone = exemple_zone();
  auto* pucTampon = static_cast<unsigned char*>(MC_Allouer(150));  // given back by the resize
  std::copy(zone.begin(), zone.end(), pucTampon);
  uint16_t usZone = 0;
  ASSERT_CODE(0, MC_usInitialiserZoneMemoireNonPlein(pucTampon, 150, 144, &usZone, 1));
  ASSERT_CODE(0, MC_usAvancerGroupeSuivant(usZone, 2, 0, nullptr));
  TraceCapture trace({{1, 3, 2}});
  EXPECT_CODE(MC_ERR_MEMOIRE, MC_usRedimensionner(usZone, 149));
  EXPECT_CODE(0, MC_usRedimensionner(usZone, 150));
  trace_attendue(trace, "redimension");
  trace.stop();
  EXPECT_NE(z(usZone).Buffer, pucTampon);  // a fresh copy
  mc::testing::faire_echouer_allocation(0);
  unsigned char* pucAvant = z(usZone).Buffer;
  EXPECT_CODE(MC_ERR_MEMOIRE, MC_usRedimensionner(usZone, 200));
  EXPECT_EQ(z(usZone).Buffer, pucAvant);
  EXPECT_CODE(0, MC_usRedimensionner(usZone, 1000));
  EXPECT_EQ(z(usZone).TailleBuffer, 1000u);
  EXPECT_EQ(donnees(usZone), zone);
  EXPECT_EQ(curseur(usZone), "g8+4:132 id515 c12+0:0 n0 cg2 cc0");
  EXPECT_CODE(MC_ERR_NUMERO, MC_usRedimensionner(99, 10));
}

TEST_F(ZoneTable, RawWritesAndReadsAtTheirBounds) {
  const uint16_t usZone = creer(16, false);
  const Bytes cinq = hex("A1 A2 A3 A4 A5");
  EXPECT_CODE(0, MC_usEcrireZoneMemoire(usZone, 10, cinq.data(), 5));
  EXPECT_EQ(z(usZone).TailleDonnees, 15u);
  EXPECT_CODE(0, MC_usEcrireZoneMemoire(usZone, 0, cinq.data() + 1, 1));
  EXPECT_CODE(0, MC_usEcrireZoneMemoire(usZone, 14, nullptr, 0));
  EXPECT_EQ(z(usZone).TailleDonnees, 15u);  // writing inside the data never shrinks it
  EXPECT_CODE(MC_ERR_ARGUMENT, MC_usEcrireZoneMemoire(usZone, 0, nullptr, 1));
  EXPECT_CODE(0, MC_usEcrireZoneMemoire(usZone, 11, cinq.data(), 5));  // up to the last byte
  EXPECT_EQ(z(usZone).TailleDonnees, 16u);
  EXPECT_CODE(MC_ERR_DEPASSEMENT, MC_usEcrireZoneMemoire(usZone, 12, cinq.data(), 5));
  EXPECT_CODE(MC_ERR_DEPASSEMENT, MC_usEcrireZoneMemoire(usZone, 0xFFFFFFFFu, cinq.data(), 2));
  Bytes lu(16, 0xEE);
  unsigned char* p = lu.data();
  EXPECT_CODE(0, MC_usLireZoneMemoire(usZone, 0, &p, 16));
  EXPECT_EQ(to_hex(lu), "A2 00 00 00 00 00 00 00 00 00 A1 A1 A2 A3 A4 A5");
  EXPECT_CODE(0, MC_usLireZoneMemoire(usZone, 13, &p, 1));
  EXPECT_EQ(lu[0], 0xA3);
  EXPECT_CODE(0, MC_usLireZoneMemoire(usZone, 3, nullptr, 0));
  EXPECT_CODE(MC_ERR_ARGUMENT, MC_usLireZoneMemoire(usZone, 3, nullptr, 1));
  EXPECT_CODE(MC_ERR_DEPASSEMENT, MC_usLireZoneMemoire(usZone, 0xFFFFFFF0u, &p, 0x20));
  // Bytes past the data but inside the buffer can be read.
  const uint16_t usCourte = creer(8, false);
  ASSERT_CODE(0, MC_usEcrireZoneMemoire(usCourte, 0, cinq.data(), 2));
  TraceCapture trace({{1, 3, 2}});
  EXPECT_CODE(0, MC_usLireZoneMemoire(usCourte, 2, &p, 6));
  EXPECT_CODE(MC_ERR_DEPASSEMENT, MC_usLireZoneMemoire(usCourte, 3, &p, 6));
  trace_attendue(trace, "lecture_brute");
  EXPECT_EQ(to_hex(Bytes(lu.begin(), lu.begin() + 6)), "00 00 00 00 00 00");
}

TEST_F(ZoneTable, KindAndNumberChecks) {
  const uint16_t brute = creer(8, false);
  const uint16_t structuree = creer(8, true);
  unsigned char octet = 0;
  unsigned char* pd = &octet;
  uint16_t u16 = 0;
  uint32_t u32 = 0;
  EXPECT_CODE(MC_ERR_TYPE, MC_usLireZoneMemoire(structuree, 0, &pd, 1));
  EXPECT_CODE(MC_ERR_TYPE, MC_usEcrireZoneMemoire(structuree, 0, &octet, 1));
  EXPECT_CODE(MC_ERR_NUMERO, MC_usLireZoneMemoire(100, 0, &pd, 1));
  EXPECT_CODE(MC_ERR_NUMERO, MC_usEcrireZoneMemoire(7, 0, &octet, 1));
  for (const uint16_t cr :
       {MC_usPositionnerDebut(brute), MC_usPositionnerFin(brute, 1), MC_usFinZone(brute, &u32),
        MC_usFinDonnees(brute, &u32), MC_usFinGroupe(brute, &u32), MC_usAvancerGroupeSuivant(brute, 1, 0, &u16),
        MC_usAvancerChampSuivant(brute, 1, &u16, &pd, &u32), MC_usRechercherGroupe(brute, 1, 1, 0),
        MC_usRechercherGroupeSuivant(brute, 1, 1, 0), MC_usRechercherChamp(brute, 1, 1, 1, 0, &pd, &u32),
        MC_usLireGroupeSuivant(brute, 0, &u16, &u16), MC_usLireCompteurGroupe(brute, &u16),
        MC_usLireCompteurChamp(brute, &u16), MC_usAjouterGroupe(brute, 1), MC_usAjouterChamp(brute, &octet, 1),
        MC_usModifierChamp(brute, &octet, 0, 1, 1), MC_usExtraireChamp(brute, &pd, 0, 0)}) {
    EXPECT_CODE(MC_ERR_TYPE, cr);
  }
  for (const uint16_t cr :
       {MC_usPositionnerDebut(99), MC_usFinZone(100, &u32), MC_usAvancerGroupeSuivant(50, 1, 0, &u16),
        MC_usRechercherGroupe(50, 1, 1, 0), MC_usRechercherChamp(50, 1, 1, 1, 0, &pd, &u32),
        MC_usLireCompteurChamp(0xFFFF, &u16), MC_usAjouterGroupe(3, 1), MC_usModifierChamp(3, &octet, 0, 1, 1),
        MC_pucLireBuffer(3, &u32, &pd)}) {
    EXPECT_CODE(MC_ERR_NUMERO, cr);
  }
  // Occurrence 0 is refused before the zone is looked at.
  EXPECT_CODE(MC_ERR_ARGUMENT, MC_usRechercherGroupe(99, 1, 0, 0));
  EXPECT_CODE(MC_ERR_ARGUMENT, MC_pucLireBuffer(brute, nullptr, &pd));
  EXPECT_CODE(MC_ERR_ARGUMENT, MC_usFinZone(structuree, nullptr));
  EXPECT_CODE(0, MC_pucLireBuffer(structuree, &u32, &pd));
  EXPECT_EQ(pd, z(structuree).Buffer);
}

}  // namespace
}  // namespace mc::test
