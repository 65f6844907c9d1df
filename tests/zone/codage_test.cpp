// codage_test.cpp -- the length and group header coding, the sizes and the syntax control.
#include "zone_fixture.h"

namespace mc::test {
namespace {

Bytes coder(uint32_t ulLongueur, uint32_t ulOffset = 0) {
  Bytes tampon(ulOffset + 5, 0xEE);
  unsigned char* p = tampon.data();
  const uint32_t n = MC_stCoderLongueur(ulLongueur, ulOffset, &p);
  EXPECT_EQ(n, MC_stCalculerTailleLongueur(ulLongueur));
  return Bytes(tampon.begin() + ulOffset, tampon.begin() + ulOffset + n);
}

TEST(LengthCode, WritesEachClassKeptOffByOneAtAllOnesValues) {
  struct Case {
    uint32_t longueur;
    Bytes attendu;
  };
  const Case cases[] = {
      {0, hex("00")},
      {127, hex("7F")},
      {128, hex("81 80")},
      {254, hex("81 FE")},
      {255, hex("82 00 FF")},  // Kept: 255 takes three bytes
      {65534, hex("82 FF FE")},
      {65535, hex("83 00 FF FF")},
      {16777214, hex("83 FF FF FE")},
      {16777215, hex("84 00 FF FF FF")},
      {0x12345678u, hex("84 12 34 56 78")},
      {0xFFFFFFFFu, hex("84 FF FF FF FF")},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.longueur);
    EXPECT_EQ(to_hex(coder(c.longueur)), to_hex(c.attendu));
    EXPECT_EQ(to_hex(coder(c.longueur, 3)), to_hex(c.attendu));
  }
}

TEST(LengthCode, SizesOfCodedItems) {
  struct Case {
    uint32_t longueur;
    uint32_t taille;
  };
  const Case cases[] = {{0, 1},        {127, 1},      {128, 2},        {254, 2},
                        {255, 3},      {65534, 3},    {65535, 4},      {16777214, 4},
                        {16777215, 5}, {0xFFFFFFFFu, 5}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.longueur);
    EXPECT_EQ(MC_stCalculerTailleLongueur(c.longueur), c.taille);
    EXPECT_EQ(MC_stCalculerTailleEnteteGroupe(c.longueur), c.taille + 2);
    EXPECT_EQ(MC_stCalculerTailleChamp(c.longueur), c.taille + c.longueur);
    EXPECT_EQ(MC_stCalculerTailleGroupe2(c.longueur), c.taille + 2 + c.longueur);
  }
  EXPECT_EQ(MC_stCalculerTailleGroupe1(2, 2u, 1u), 8u);
  EXPECT_EQ(MC_stCalculerTailleGroupe1(1, 130u), 136u);
  EXPECT_EQ(MC_stCalculerTailleGroupe1(0), 3u);
  // 125 data bytes in fields of 120 and 3: a 127-byte body keeps a 1-byte length; 128 does not.
  EXPECT_EQ(MC_stCalculerTailleGroupe1(2, 120u, 5u), 3u + 127u);
  EXPECT_EQ(MC_stCalculerTailleGroupe1(2, 120u, 6u), 4u + 128u);
}

TEST(LengthCode, GroupHeaderWritesIdentifierHighByteFirst) {
  Bytes tampon(10, 0xEE);
  unsigned char* p = tampon.data();
  EXPECT_EQ(MC_stCoderEnteteGroupe(0x0203, 132, 1, &p), 4u);
  EXPECT_EQ(to_hex(tampon), to_hex(hex("EE 02 03 81 84 EE EE EE EE EE")));
  EXPECT_EQ(MC_stCoderEnteteGroupe(0xFFFF, 65535, 0, &p), 6u);
  EXPECT_EQ(to_hex(Bytes(tampon.begin(), tampon.begin() + 6)), to_hex(hex("FF FF 83 00 FF FF")));
}

TEST(LengthCode, DecodesReaderForms) {
  struct Case {
    const char* nom;
    Bytes octets;
    uint32_t offset;
    uint16_t cr;
    uint32_t longueur;
    uint32_t taille;
  };
  const Case cases[] = {
      {"one byte", hex("05"), 0, 0, 5, 1},
      {"0x7F", hex("7F"), 0, 0, 127, 1},
      {"kept lone 0x80 reads 128", hex("80"), 0, 0, 128, 1},
      {"0x81", hex("81 80"), 0, 0, 128, 2},
      {"non-minimal", hex("82 00 05"), 0, 0, 5, 3},
      {"four bytes", hex("84 FF FF FF FE"), 0, 0, 0xFFFFFFFEu, 5},
      {"at an offset", hex("00 00 83 01 02 03"), 2, 0, 0x010203u, 4},
      {"0x85", hex("85 00 00 00 00 00"), 0, MC_ERR_SYNTAXE, 0, 0},
      {"0xFF", hex("FF"), 0, MC_ERR_SYNTAXE, 0, 0},
      {"0x82 at the second-last byte", hex("00 82 01"), 1, MC_ERR_SYNTAXE, 0, 0},
      {"0x84 short of one byte", hex("84 01 02 03"), 0, MC_ERR_SYNTAXE, 0, 0},
      {"offset at the end", hex("01 02"), 2, MC_ERR_SYNTAXE, 0, 0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.nom);
    uint32_t ulLongueur = 0xDEAD;
    uint32_t ulTaille = 0xDEAD;
    // An exact-size heap copy, so that a read past its end is caught by the sanitizer build.
    Bytes octets = c.octets;
    EXPECT_CODE(c.cr, MC_stDecoderLongueur(octets.data(), static_cast<uint32_t>(octets.size()),
                                           c.offset, &ulLongueur, &ulTaille));
    if (c.cr == 0) {
      EXPECT_EQ(ulLongueur, c.longueur);
      EXPECT_EQ(ulTaille, c.taille);
    }
  }
}

TEST(LengthCode, DecoderErrorLines) {
  mc::testing::reset_trace();
  TraceCapture trace({{1, 3, 2}});
  uint32_t l = 0;
  uint32_t n = 0;
  const Bytes trop = hex("85 00 00 00 00 00");
  EXPECT_CODE(MC_ERR_SYNTAXE, MC_stDecoderLongueur(trop.data(), 6, 0, &l, &n));
  const Bytes court = hex("00 82 01");
  EXPECT_CODE(MC_ERR_SYNTAXE, MC_stDecoderLongueur(court.data(), 3, 1, &l, &n));
  const Bytes entete = hex("00 01 02 03");
  uint16_t id = 0;
  EXPECT_CODE(MC_ERR_SYNTAXE, MC_usDecoderEnteteGroupe(entete.data(), 4, 2, &id, &l, &n));
  const std::vector<std::string> attendu = {
      "### DEBUT TRACE ###",
      "{ MC_stDecoderLongueur : offset = 0",
      "  ERREUR :  Nombre d'octets pour coder la longueur (5) > 4.",
      "  MC_stDecoderLongueur",
      "}",
      "{ MC_stDecoderLongueur : offset = 1",
      "  ERREUR :  Buffer trop petit pour coder la longueur (2) (tailleBuffer = 3).",
      "  MC_stDecoderLongueur",
      "}",
      "ERREUR : Buffer trop petit pour coder l'identifiant (tailleBuffer = 4).",
  };
  EXPECT_EQ(trace.lines(), attendu);
}

TEST(LengthCode, GroupHeaderDecodes) {
  const Bytes zone = exemple_zone();
  uint16_t id = 0;
  uint32_t l = 0;
  uint32_t n = 0;
  EXPECT_CODE(0, MC_usDecoderEnteteGroupe(zone.data(), 144, 8, &id, &l, &n));
  EXPECT_EQ(id, 515);
  EXPECT_EQ(l, 132u);
  EXPECT_EQ(n, 4u);
  // The two identifier bytes and one length byte must lie inside the buffer.
  EXPECT_CODE(0, MC_usDecoderEnteteGroupe(zone.data(), 3, 0, &id, &l, &n));
  EXPECT_CODE(MC_ERR_SYNTAXE, MC_usDecoderEnteteGroupe(zone.data(), 2, 0, &id, &l, &n));
}

using SyntaxControl = ZoneTest;

TEST_F(SyntaxControl, WorkedExamplePassesAndLeavesCursorOnLastField) {
  const uint16_t zone = envelopper(exemple_zone());
  EXPECT_CODE(0, MC_usControlerSyntaxeZoneMemoire(zone));
  EXPECT_EQ(z(zone).IdentifiantGroupe, 515);
  EXPECT_EQ(z(zone).OffsetGroupe, 8u);
  EXPECT_EQ(z(zone).OffsetChamp, 12u);
  EXPECT_EQ(z(zone).LongueurChamp, 130u);
  EXPECT_EQ(z(zone).NumeroChamp, 1);
  EXPECT_EQ(z(zone).CompteurGroupe, 2);
}

TEST_F(SyntaxControl, MalformedZones) {
  struct Case {
    const char* nom;
    Bytes octets;
    uint16_t cr;
    const char* erreur;  // the last error line, or null
  };
  const Case cases[] = {
      {"empty zone", Bytes{}, MC_ERR_SYNTAXE,
       "ERREUR : Buffer trop petit pour coder l'identifiant (tailleBuffer = 0)."},
      {"field of length 0", hex("00 01 01 00"), 0, nullptr},
      {"group of length 0", hex("00 01 00"), MC_ERR_SYNTAXE, "ERREUR : Groupe de longueur 0 => ERREUR"},
      {"group longer than the data", hex("00 01 05 02 41 42"), MC_ERR_SYNTAXE,
       "ERREUR : Longueur du groupe (5 + 3) depasse la longueur des donnees d'entree restante (6)"},
      {"trailing bytes", hex("00 01 01 00 00 02"), MC_ERR_SYNTAXE,
       "ERREUR : Buffer trop petit pour coder l'identifiant (tailleBuffer = 6)."},
      {"field over its group", hex("00 01 02 05 41 00 02 01 00"), MC_ERR_SYNTAXE,
       "ERREUR : Impossible de lire la longueur du champ"},
      {"field length past the data", hex("00 01 01 82"), MC_ERR_SYNTAXE,
       "ERREUR : Impossible de lire la longueur du champ"},
      {"five length bytes", hex("00 01 85 00 00 00 00 01"), MC_ERR_SYNTAXE,
       "ERREUR :  Nombre d'octets pour coder la longueur (5) > 4."},
      {"lone 0x80 group length", hex("00 01 80"), MC_ERR_SYNTAXE,
       "ERREUR : Longueur du groupe (128 + 3) depasse la longueur des donnees d'entree restante (3)"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.nom);
    const uint16_t zone = envelopper(c.octets, 1);
    std::vector<std::string> lignes;
    {
      TraceCapture trace({{1, 1, 2}, {1, 3, 2}});
      EXPECT_CODE(c.cr, MC_usControlerSyntaxeZoneMemoire(zone));
      lignes = trace.lines();
    }
    std::string derniere;
    for (const std::string& ligne : lignes) {
      const auto pos = ligne.find("ERREUR : ");
      if (pos != std::string::npos) {
        derniere = ligne.substr(pos);
      }
    }
    EXPECT_EQ(derniere, c.erreur == nullptr ? "" : c.erreur);
    MC_usLibererZoneMemoire(zone);
  }
}

TEST_F(SyntaxControl, ZoneChecksComeFromPositioning) {
  const uint16_t brute = creer(10, false);
  EXPECT_CODE(MC_ERR_TYPE, MC_usControlerSyntaxeZoneMemoire(brute));
  EXPECT_CODE(MC_ERR_NUMERO, MC_usControlerSyntaxeZoneMemoire(57));
  EXPECT_CODE(MC_ERR_NUMERO, MC_usControlerSyntaxeZoneMemoire(100));
}

TEST_F(SyntaxControl, ControlChecksOnlyTheDataNotTheBufferTail) {
  // Garbage after the data inside the buffer is not looked at.
  Bytes tampon = hex("00 01 01 00 FF FF FF");
  externe(tampon.data());
  uint16_t zone = 0;
  ASSERT_CODE(0, MC_usInitialiserZoneMemoireNonPlein(tampon.data(), 7, 4, &zone, 1));
  EXPECT_CODE(0, MC_usControlerSyntaxeZoneMemoire(zone));
}

TEST_F(SyntaxControl, GoldenTraceOfWorkedExample) {
  const uint16_t zone = envelopper(exemple_zone());
  TraceCapture trace({{1, 1, 2}, {1, 3, 2}});
  EXPECT_CODE(0, MC_usControlerSyntaxeZoneMemoire(zone));
  trace.stop();
  EXPECT_EQ(trace.text(), read_text(golden_path("zone/syntaxe_exemple.trace")));
}

TEST_F(SyntaxControl, GoldenTraceOfOverrunningField) {
  const uint16_t zone = envelopper(hex("00 01 02 05 41 00 02 01 00"));
  TraceCapture trace({{1, 1, 2}, {1, 3, 2}});
  EXPECT_CODE(MC_ERR_SYNTAXE, MC_usControlerSyntaxeZoneMemoire(zone));
  trace.stop();
  EXPECT_EQ(trace.text(), read_text(golden_path("zone/syntaxe_champ_deborde.trace")));
}

TEST_F(SyntaxControl, TracesOnlyItsOwnLinesUnderTraceOne) {
  const uint16_t zone = envelopper(exemple_zone());
  TraceCapture trace({{1, 1, 2}});
  EXPECT_CODE(0, MC_usControlerSyntaxeZoneMemoire(zone));
  const std::vector<std::string> attendu = {
      "### DEBUT TRACE ###",
      "{ MC_usControlerSyntaxeZoneMemoire",
      "  Longueur des donnees d'entree (144)",
      "  usIdGroupe = 1",
      "  stLongueurGroupe = 5, stNbOctetsLongueurGroupe = 3",
      "  ulTailleDataIn = 136",
      "  stLongueurGroupe = 2",
      "  stLongueurGroupe = 0",
      "  usIdGroupe = 515",
      "  stLongueurGroupe = 132, stNbOctetsLongueurGroupe = 4",
      "  ulTailleDataIn = 0",
      "  stLongueurGroupe = 0",
      "  MC_usControlerSyntaxeZoneMemoire usResultat = 0x0000",
      "}",
  };
  EXPECT_EQ(trace.lines(), attendu);
}

}  // namespace
}  // namespace mc::test
