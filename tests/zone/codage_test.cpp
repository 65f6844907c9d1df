// codage_test.cpp -- the length and group header coding, the sizes and the syntax control.
#include "common/mcbytes.h"
#include "zone_fixture.h"

namespace mc::test {
namespace {

using Coding = ZoneTest;

TEST_F(Coding, LengthCodesSizesAndReadBack) {
  for (const Case& c : read_cases("zone/longueurs.cases")) {
    SCOPED_TRACE(c.where);
    const auto v = static_cast<uint32_t>(number(c[0]));
    const Bytes code = hex(c[1]);
    const auto n = static_cast<uint32_t>(code.size());
    Bytes tampon(8, 0xEE);
    unsigned char* p = tampon.data();
    EXPECT_EQ(MC_stCoderLongueur(v, 3, &p), n);
    std::string attendu = "EE EE EE " + c[1];
    for (uint32_t i = n; i < 5; ++i) {
      attendu += " EE";
    }
    EXPECT_EQ(to_hex(tampon), attendu);
    EXPECT_EQ(MC_stCalculerTailleLongueur(v), n);
    EXPECT_EQ(MC_stCalculerTailleEnteteGroupe(v), n + 2);
    EXPECT_EQ(MC_stCalculerTailleChamp(v), n + v);
    EXPECT_EQ(MC_stCalculerTailleGroupe2(v), n + 2 + v);
    uint32_t l = 0;
    uint32_t t = 0;
    EXPECT_CODE(0, MC_stDecoderLongueur(code.data(), n, 0, &l, &t));
    EXPECT_EQ(l, v);
    EXPECT_EQ(t, n);
  }
  EXPECT_EQ(MC_stCalculerTailleGroupe1(2, 2u, 1u), 8u);
  EXPECT_EQ(MC_stCalculerTailleGroupe1(0), 3u);
  // A 127-byte body keeps a 1-byte length; 128 does not.
  EXPECT_EQ(MC_stCalculerTailleGroupe1(2, 120u, 5u), 3u + 127u);
  EXPECT_EQ(MC_stCalculerTailleGroupe1(2, 120u, 6u), 4u + 128u);
  Bytes tampon(7, 0xEE);
  unsigned char* p = tampon.data();
  EXPECT_EQ(MC_stCoderEnteteGroupe(0x0203, 65535, 1, &p), 6u);
  EXPECT_EQ(to_hex(tampon), "EE 02 03 83 00 FF FF");
  EXPECT_EQ(mc::lire_be16(tampon.data() + 1), 0x0203);
  EXPECT_EQ(mc::lire_be32(tampon.data() + 3), 0x8300FFFFu);
}

TEST_F(Coding, ReadsLengthsAndHeaders) {
  for (const Case& c : read_cases("zone/decodage.cases")) {
    SCOPED_TRACE(c.where);
    const Bytes octets = hex(c[1]);
    const auto taille = static_cast<uint32_t>(octets.size());
    const auto offset = static_cast<uint32_t>(number(c[2]));
    uint32_t l = 0xDEAD;
    uint32_t n = 0xDEAD;
    uint16_t id = 0xDEAD;
    const uint32_t cr = c[0] == "L" ? MC_stDecoderLongueur(octets.data(), taille, offset, &l, &n)
                                    : MC_usDecoderEnteteGroupe(octets.data(), taille, offset, &id, &l, &n);
    EXPECT_CODE(number(c[3]), cr);
    if (c.fields.size() > 4) {
      if (c[4] != "-") {
        EXPECT_EQ(l, number(c[4]));
      }
      EXPECT_EQ(n, number(c[5]));
    }
    if (c.fields.size() > 6) {
      EXPECT_EQ(id, number(c[6]));
    }
  }
  // Each missing pointer is refused before any byte is read.
  const Bytes b = hex("05");
  uint32_t l = 0;
  uint32_t n = 0;
  uint16_t id = 0;
  for (uint32_t cr : {MC_stDecoderLongueur(nullptr, 0, 0, &l, &n), MC_stDecoderLongueur(b.data(), 0, 0, nullptr, &n),
                      MC_stDecoderLongueur(b.data(), 0, 0, &l, nullptr),
                      static_cast<uint32_t>(MC_usDecoderEnteteGroupe(nullptr, 0, 0, &id, &l, &n)),
                      static_cast<uint32_t>(MC_usDecoderEnteteGroupe(b.data(), 0, 0, nullptr, &l, &n)),
                      static_cast<uint32_t>(MC_usDecoderEnteteGroupe(b.data(), 0, 0, &id, nullptr, &n)),
                      static_cast<uint32_t>(MC_usDecoderEnteteGroupe(b.data(), 0, 0, &id, &l, nullptr))}) {
    EXPECT_CODE(MC_ERR_ARGUMENT, cr);
  }
  TraceCapture trace({{1, 3, 2}});
  const Bytes trop = hex("85 00 00 00 00 00");
  MC_stDecoderLongueur(trop.data(), 6, 0, &l, &n);
  const Bytes court = hex("00 82 01");
  MC_stDecoderLongueur(court.data(), 3, 1, &l, &n);
  MC_usDecoderEnteteGroupe(court.data(), 3, 1, &id, &l, &n);
  trace_attendue(trace, "decodage_erreurs");
}

// The untraced control (one pass over the lengths) leaves the code and the cursor exactly where
// the traced walk does, from a cursor away from the start.
TEST_F(Coding, UntracedSyntaxControlLeavesCursorWhereTracedOneDoes) {
  for (const Case& c : read_cases("zone/syntaxe.cases")) {
    SCOPED_TRACE(c.where + " " + c[0]);
    const uint16_t zone = envelopper(hex(c[1]));
    MC_usAvancerGroupeSuivant(zone, 1, 0, nullptr);
    EXPECT_CODE(number(c[2]), MC_usControlerSyntaxeZoneMemoire(zone));
    EXPECT_EQ(curseur(zone), c[3]) << "untraced";
    MC_usAvancerGroupeSuivant(zone, 1, 0, nullptr);
    TraceCapture trace({{1, 1, 2}, {1, 3, 2}});
    EXPECT_CODE(number(c[2]), MC_usControlerSyntaxeZoneMemoire(zone));
    EXPECT_EQ(curseur(zone), c[3]) << "traced";
    const std::string lignes = texte(trace);
    const size_t pos = lignes.rfind("ERREUR : ");
    EXPECT_EQ(pos == std::string::npos ? "" : lignes.substr(pos, lignes.find('\n', pos) - pos), c[4]);
    MC_usLibererZoneMemoire(zone);
  }
}

TEST_F(Coding, SyntaxControlTracesAndChecks) {
  const uint16_t zone = envelopper(exemple_zone());
  {
    TraceCapture trace({{1, 1, 2}, {1, 3, 2}});
    EXPECT_CODE(0, MC_usControlerSyntaxeZoneMemoire(zone));
    trace_attendue(trace, "syntaxe_exemple");
  }
  EXPECT_EQ(curseur(zone), "g8+4:132 id515 c12+2:130 n1 cg2 cc5");
  {
    TraceCapture trace({{1, 1, 2}});  // its own lines only
    EXPECT_CODE(0, MC_usControlerSyntaxeZoneMemoire(zone));
    trace_attendue(trace, "syntaxe_trace_1");
  }
  const uint16_t deborde = envelopper(hex("00 01 02 05 41 00 02 01 00"));
  TraceCapture trace({{1, 1, 2}, {1, 3, 2}});
  EXPECT_CODE(MC_ERR_SYNTAXE, MC_usControlerSyntaxeZoneMemoire(deborde));
  trace_attendue(trace, "syntaxe_champ_deborde");
  trace.stop();
  EXPECT_CODE(MC_ERR_TYPE, MC_usControlerSyntaxeZoneMemoire(creer(10, false)));
  EXPECT_CODE(MC_ERR_NUMERO, MC_usControlerSyntaxeZoneMemoire(57));
  EXPECT_CODE(MC_ERR_NUMERO, MC_usControlerSyntaxeZoneMemoire(100));
  // Bytes after the data inside the buffer are not looked at.
  const uint16_t reste = envelopper(hex("00 01 01 00"), 3);
  z(reste).Buffer[4] = 0xFF;
  EXPECT_CODE(0, MC_usControlerSyntaxeZoneMemoire(reste));
}

}  // namespace
}  // namespace mc::test
