// golden_test.cpp -- whole trace files of traced scenarios, compared with hand-checked copies in
// tests/golden/tablefile (dates and the test directory masked).
#include "tests/tablefile/tftest.h"

namespace mc::test {
namespace {

class GoldenTest : public TableFileTest {
 protected:
  std::string masked(const TraceCapture& trace) const {
    std::string text;
    for (std::string line : trace.lines()) {
      for (size_t at = line.find(dir_); at != std::string::npos; at = line.find(dir_)) {
        line.replace(at, dir_.size(), "<dir>");
      }
      text += line + "\n";
    }
    return text;
  }
};

TEST_F(GoldenTest, ExampleFileWrittenThenSearchedAndRead) {
  TraceCapture trace({{1, 7, 2}, {1, 3, 2}});
  uint16_t num = 0;
  ASSERT_CODE(0, creer("tablebin.tbx", MC_CONTROLE_CRC16, &num, entete_exemple()));
  const EnteteTable t = entete_table("TEST", 1);
  ASSERT_CODE(0, MC_usEcrireEnteteTable(num, &t));
  ASSERT_CODE(0, MC_usEcrireUnsignedShort(num, 0x0102));
  ASSERT_CODE(0, MC_usEcrireChaineVariable(num, "AB"));
  ASSERT_CODE(0, MC_usEcrireTaille(num));
  ASSERT_CODE(0, MC_usLibererFichierBinaire(num, nullptr));
  ASSERT_CODE(0, ouvrir("tablebin.tbx", MC_CONTROLE_CRC16, &num));
  EnteteTable r;
  ASSERT_CODE(0, MC_usRechercherTable(num, "TEST", &r));
  uint16_t v = 0;
  ASSERT_CODE(0, MC_usLireUnsignedShort(num, &v));
  char* text = nullptr;
  ASSERT_CODE(0, MC_usLireChaineVariable(num, &text));
  MC_Liberer(text);
  ASSERT_CODE(MC_ERR_FIN, MC_usRechercherTable(num, "ABSENT", &r));
  ASSERT_CODE(0, MC_usLibererFichierBinaire(num, nullptr));
  trace.stop();
  EXPECT_EQ(read_text(golden_path("tablefile/exemple.trace")), masked(trace));
}

TEST_F(GoldenTest, FailuresOfOpeningAndWriting) {
  write_file(path("tablebin.tbx"), exemple_95());
  TraceCapture trace({{1, 7, 2}});
  uint16_t num = 0;
  EXPECT_CODE(MC_ERR_FICHIER, ouvrir("absent.tbx", MC_CONTROLE_CRC16, &num));
  ASSERT_CODE(0, ouvrir("tablebin.tbx", MC_CONTROLE_CRC16, &num));
  const EnteteTable t = entete_table("X");
  EXPECT_CODE(MC_ERR_TYPE, MC_usEcrireEnteteTable(num, &t));
  EXPECT_CODE(MC_ERR_TYPE, MC_usEcrireTaille(num));
  EXPECT_CODE(0, MC_usLibererFichierBinaire(num, nullptr));
  EXPECT_CODE(MC_ERR_NUMERO, MC_usLibererFichierBinaire(num, nullptr));
  trace.stop();
  EXPECT_EQ(read_text(golden_path("tablefile/echecs.trace")), masked(trace));
}

}  // namespace
}  // namespace mc::test
