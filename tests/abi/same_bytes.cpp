// same_bytes.cpp -- writes a fixed set of table files and traces into the directory given as
// argument, so that two builds (x86-64 and i386) can be compared byte for byte. Trace lines are
// masked where they must differ: dates, addresses, the sizes of records holding pointers and the
// running memory total that includes them.
#include <cmath>
#include <cstdio>
#include <cstring>
#include <regex>
#include <string>

#include "support/mctest.h"
#include "tablefile/mcslot.h"

namespace {

std::string g_dir;
int g_failures = 0;

void check(uint16_t code, const char* what) {
  if (code != 0) {
    fprintf(stderr, "mc_same_bytes: %s: 0x%04X\n", what, code);
    ++g_failures;
  }
}

void start_trace(const char* name) {
  const std::string path = g_dir + "/" + name;
  for (uint16_t trace = 1; trace <= 8; ++trace) {
    check(MC_usActiverTrace(path.c_str(), "w", 1, trace, 4), "trace");
  }
}

void stop_trace(const char* name) {
  const std::string path = g_dir + "/" + name;
  check(MC_usActiverTrace(path.c_str(), "w", 1, 1, 0), "trace off");
  const std::string record = std::to_string(sizeof(mc::FichierBinaire));
  std::string text = mc::test::mask_dates(mc::test::read_text(path));
  text = std::regex_replace(text, std::regex("a l'adresse [^\n]*"), "a l'adresse <adresse>");
  text = std::regex_replace(text, std::regex("Allocation de " + record + " \\(" + record + "\\)"),
                            "Allocation de <FichierBinaire>");
  text = std::regex_replace(text, std::regex("Taille Memoire cumulee = (\t?)[0-9]+"), "Taille Memoire cumulee = $1<total>");
  for (size_t at = text.find(g_dir); at != std::string::npos; at = text.find(g_dir)) {
    text.replace(at, g_dir.size(), "<dir>");
  }
  mc::test::write_text(path, text);
}

EnteteFichierBinaire header(const char* name) {
  EnteteFichierBinaire e;
  memset(&e, 0, sizeof e);
  strcpy(e.szNomFichier, name);
  strcpy(e.szVersion, "0100");
  strcpy(e.szTexte5, "00001");
  strcpy(e.szTexte8, "20260115");
  strcpy(e.szVersionRequise, "0100");
  strcpy(e.szTexte5b, "00002");
  strcpy(e.szTexte10, "0000000003");
  strcpy(e.szCommentaire, "memes octets");
  return e;
}

EnteteTable table(const char* name, uint32_t records) {
  EnteteTable t;
  memset(&t, 0, sizeof t);
  memset(t.szNomTable, ' ', 10);
  memcpy(t.szNomTable, name, strlen(name));
  t.ulNombreEnregistrements = records;
  return t;
}

// One table of every value type, then one of doubles around the digit limits.
void write_file(const char* name, uint16_t control, const char* key) {
  const EnteteFichierBinaire e = header(name);
  uint16_t n = 0;
  check(MC_usCreerFichierBinaire(g_dir.c_str(), name, control, &e, &n), "create");
  const EnteteTable values = table("VALEURS", 2);
  check(MC_usEcrireEnteteTable(n, &values), "table");
  const std::string long_text(300, 'x');
  const uint16_t units[] = {0x0041, 0x00E9, 0x20AC};
  for (int r = 0; r < 2; ++r) {
    check(MC_usEcrireUnsignedChar(n, static_cast<uint8_t>(0xF0 + r)), "uchar");
    check(MC_usEcrireSignedChar(n, static_cast<int8_t>(-1 - r)), "schar");
    check(MC_usEcrireUnsignedShort(n, static_cast<uint16_t>(0xBEEF + r)), "ushort");
    check(MC_usEcrireSignedShort(n, static_cast<int16_t>(-2 - r)), "sshort");
    check(MC_usEcrireUnsignedLong(n, 0xDEADBEEFu + static_cast<uint32_t>(r)), "ulong");
    check(MC_usEcrireSignedLong(n, -100000 - r), "slong");
    check(MC_usEcrireDate(n, static_cast<uint16_t>(2026 + r), 1, 15), "date");
    check(MC_usEcrireChampFixe(n, "FIXE\0", 5), "fixed");
    check(MC_usEcrireChaineVariable(n, r == 0 ? nullptr : long_text.c_str()), "string");
    check(MC_usEcrireChaineVariable(n, r == 0 ? "" : "texte"), "string");
    check(MC_usEcrireChampUnicodeFixe(n, units, 3), "unicode");
  }
  check(MC_usEcrireTaille(n), "size");
  const double doubles[] = {3.5, -1234.5, 0.0, 0.001, 1.0 / 3.0, -2.0 / 3.0, 12345678901234.0,
                            std::nextafter(1e14, 0.0), -std::nextafter(1e14, 0.0), std::nextafter(1e13, 0.0),
                            std::nextafter(1000.0, 0.0), 999.99999999999, 1e-300, 6.02214076e13};
  const EnteteTable reels = table("REELS", static_cast<uint32_t>(std::size(doubles)));
  check(MC_usEcrireEnteteTable(n, &reels), "table");
  for (double d : doubles) {
    check(MC_usEcrireDouble(n, d), "double");
  }
  check(MC_usLibererFichierBinaire(n, key), "release");
}

void read_file(const char* name, uint16_t control) {
  EnteteFichierBinaire e;
  uint16_t n = 0;
  check(MC_usInitialiserFichierBinaire(g_dir.c_str(), name, control, &n, &e), "open");
  EnteteTable t;
  check(MC_usRechercherTable(n, "REELS", &t), "search");
  for (uint32_t i = 0; i < t.ulNombreEnregistrements; ++i) {
    double d = 0;
    check(MC_usLireDouble(n, &d), "read double");
  }
  check(MC_usRechercherTable(n, "ABSENT", &t) == MC_ERR_FIN ? 0 : 1, "search absent");
  check(MC_usRechercherTable(n, "VALEURS", &t), "search");
  uint32_t l = 0;
  check(MC_usLireUnsignedLong(n, &l), "read");
  char* text = nullptr;
  check(MC_usPositionnerOffset(n, 19, SEEK_CUR), "move");
  check(MC_usLireChaineVariable(n, &text), "read string");
  MC_Liberer(text);
  check(MC_usLibererFichierBinaire(n, nullptr), "release");
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    fprintf(stderr, "usage: mc_same_bytes DIRECTORY\n");
    return 2;
  }
  g_dir = argv[1];
  const std::string key = std::string(MC_TEST_SOURCE_DIR) + "/keys/dev_only_private.key";
  start_trace("crc.trace");
  write_file("crc.tbx", MC_CONTROLE_CRC16, nullptr);
  read_file("crc.tbx", MC_CONTROLE_CRC16);
  stop_trace("crc.trace");
  start_trace("signe.trace");
  write_file("signe.tbx", MC_CONTROLE_SIGNATURE, key.c_str());
  read_file("signe.tbx", MC_CONTROLE_SIGNATURE);
  stop_trace("signe.trace");
  write_file("libre.tbx", 0, nullptr);
  return g_failures == 0 ? 0 : 1;
}
