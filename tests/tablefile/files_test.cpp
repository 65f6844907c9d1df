// files_test.cpp -- table files as a whole: positions, large files, headers as written, the CRC16,
// special files and full disks; slots, opening, creation, headers read, search and traced scenarios
// as step sequences of steps.cases.
#include <malloc.h>

#include <cstdio>
#include <sstream>

#include "tests/tablefile/limites.h"
#include "tests/tablefile/tftest.h"

namespace mc::test {
namespace {

using FileTest = TableFileTest;

uint32_t position(uint16_t num) {
  uint32_t p = 0;
  EXPECT_CODE(0, MC_usLirePositionFichier(num, &p));
  return p;
}

TEST_F(FileTest, KeptFailedOpeningAfterTheSlotWasFilledLeavesTheFileOpen) {
  Bytes cut = concat({entete_octets("cut.tbx", "c"), table_octets("A", hex("01 02"))});
  cut.resize(40);
  Bytes damaged = concat({entete_octets("crc.tbx", "c"), table_octets("A", hex("01 02"))});
  sceller_crc(damaged);
  damaged.back() ^= 0x01;
  const std::pair<Bytes, uint16_t> cases[] = {
      {exemple_95(), MC_ERR_NOM_FICHIER}, {cut, MC_ERR_FIN_FICHIER}, {damaged, MC_ERR_CONTROLE}};
  for (const auto& [bytes, code] : cases) {
    SCOPED_TRACE(code);
    const uint16_t num = ouvrir_octets(code == MC_ERR_CONTROLE ? "crc.tbx" : "cut.tbx", bytes, 1, code);
    ASSERT_NE(0, num);
    EXPECT_CODE(0, MC_usLibererFichierBinaire(num, nullptr));
  }
}

TEST_F(FileTest, EveryAllocationFailureOfAWrittenAndReadFileGivesF801) {
  TraceCapture trace({{1, 7, 2}});
  const EnteteFichierBinaire e = entete_exemple("c.tbx");
  const std::string text(300, 'q');
  each_allocation_failure([&]() -> uint32_t {
    uint16_t num = 0;
    EnteteTable t = entete_table("T", 1);
    uint16_t code = creer("c.tbx", MC_CONTROLE_CRC16, &num, e);
    if (code == 0) code = MC_usEcrireEnteteTable(num, &t);
    if (code == 0) code = MC_usEcrireChaineVariable(num, text.c_str());
    const uint16_t release = num != 0 ? MC_usLibererFichierBinaire(num, nullptr) : 0;
    if (code == 0) code = release;
    if (code == 0) code = ouvrir("c.tbx", MC_CONTROLE_CRC16, &num);
    if (code == 0) code = MC_usRechercherTable(num, "T", &t);
    char* read = nullptr;
    if (code == 0) code = MC_usLireChaineVariable(num, &read);
    if (code == 0 && text != read) code = 1;
    MC_Liberer(read);
    if (num != 0) MC_usLibererFichierBinaire(num, nullptr);
    return code;
  });
  const auto lines = trace.lines();
  EXPECT_TRUE(has_line(lines, "ERREUR : MC_usCreerFichierBinaire : Probleme d'allocation memoire : "
                              "psFichier->pcRepertoire ou psFichier->pcNomFichier"));
  EXPECT_TRUE(has_line(lines, "ERREUR : MC_usCreerFichierBinaire : ERREUR : probleme d'allocation memoire : "
                              "psFichier->pcRepertoire ou psFichier->pcNomFichier"));
}

TEST_F(FileTest, PositionsLengthsAndKeptMoveBackOfReadingAPiece) {
  Bytes content = exemple_95();
  memcpy(content.data(), "0000", 4);  // not checked with control type 0
  const uint16_t num = ouvrir_octets("tablebin.tbx", content, 0);
  uint32_t value = 0;
  EXPECT_CODE(0, MC_usLongueurFichierBinaire(num, &value));
  EXPECT_EQ(95u, value);
  EXPECT_EQ(95u, longueur_ouverture(num));
  EXPECT_EQ(68u, position(num));  // behind the header after opening
  EXPECT_CODE(0, MC_usPositionnerOffset(num, -2, SEEK_END));
  EXPECT_EQ(93u, position(num));
  EXPECT_CODE(0, MC_usPositionnerOffset(num, 1, SEEK_CUR));
  EXPECT_EQ(94u, position(num));
  EXPECT_CODE(MC_ERR_FICHIER, MC_usPositionnerOffset(num, -1, SEEK_SET));
  EXPECT_CODE(MC_ERR_FICHIER, MC_usPositionnerOffset(num, 0, 12345));
  EXPECT_CODE(MC_ERR_FICHIER, MC_usLirePositionFichier(num, nullptr));
  ASSERT_CODE(0, MC_usPositionnerOffset(num, 10, SEEK_SET));
  unsigned char* buffer = nullptr;
  EXPECT_CODE(0, MC_usLireFichierBinaire(num, 0, 4, &buffer));
  EXPECT_EQ(bytes_of("0000"), Bytes(buffer, buffer + 4));
  MC_Liberer(buffer);
  EXPECT_CODE(0, MC_usLireFichierBinaire(num, 68, 4, &buffer));
  EXPECT_EQ(bytes_of("TEST"), Bytes(buffer, buffer + 4));
  MC_Liberer(buffer);
  EXPECT_EQ(10u, position(num));
  // A read past the end, a refused allocation and a position that cannot be reached all come
  // back as success once the stream has moved back; what could not be read is zero.
  EXPECT_CODE(0, MC_usLireFichierBinaire(num, 90, 10, &buffer));
  EXPECT_EQ(hex("00 00 00 01 02 00 00 00 00 00"), Bytes(buffer, buffer + 10));
  MC_Liberer(buffer);
  mc::testing::faire_echouer_allocation(0);
  EXPECT_CODE(0, MC_usLireFichierBinaire(num, 0, 10, &buffer));
  EXPECT_EQ(nullptr, buffer);
  EXPECT_CODE(0, MC_usLireFichierBinaire(num, -5, 1, &buffer));
  EXPECT_EQ(nullptr, buffer);
  EXPECT_EQ(10u, position(num));
  EXPECT_CODE(MC_ERR_ARGUMENT, MC_usLireFichierBinaire(num, 0, 1, nullptr));
  // Released after reading: nothing is written, no CRC is computed.
  TraceCapture trace({{1, 7, 2}});
  EXPECT_CODE(0, MC_usLibererFichierBinaire(num, nullptr));
  EXPECT_EQ(content, read_file(path("tablebin.tbx")));
  EXPECT_FALSE(has_line(trace.lines(), "{ usCalculerCRC16 : Calcul du CRC du fichier"));
  EXPECT_EQ(0u, longueur_ouverture(num));
}

// Sparse files: past 2 GiB they open; from 4 GiB on, a length or position that the 32-bit
// results cannot hold is refused, not cut.
TEST_F(FileTest, FilesPast2GiBOpenAndPositionsPast4GiBAreRefused) {
  for (const uint64_t size : {(uint64_t{1} << 31) + 100, (uint64_t{1} << 32) + 100}) {
    SCOPED_TRACE(size);
    const uint16_t code = size >> 32 != 0 ? MC_ERR_FICHIER : 0;
    write_file(path("g.tbx"), entete_octets("g.tbx", "c"));
    ASSERT_EQ(0, truncate(path("g.tbx").c_str(), static_cast<off_t>(size)));
    uint16_t num = 0;
    EXPECT_CODE(code, ouvrir("g.tbx", 0, &num));
    if (num != 0) MC_usLibererFichierBinaire(num, nullptr);
    FILE* f = fopen(path("g.tbx").c_str(), "rb");
    uint32_t length = 0;
    EXPECT_CODE(code, MC_usLongueurFichier(f, &length));
    EXPECT_EQ(code == 0 ? size : 0xFFFFFFFFu, length);
    fclose(f);
  }
  uint16_t num = 0;
  ASSERT_CODE(0, creer("h.tbx", 0, &num, entete_exemple("h.tbx")));
  ASSERT_EQ(0, truncate(path("h.tbx").c_str(), static_cast<off_t>((uint64_t{1} << 32) + 100)));
  ASSERT_CODE(0, MC_usPositionnerOffset(num, 0, SEEK_END));
  uint32_t pos = 7;
  EXPECT_CODE(MC_ERR_FICHIER, MC_usLirePositionFichier(num, &pos));
  EXPECT_EQ(7u, pos);
  EXPECT_CODE(0, MC_usLibererFichierBinaire(num, nullptr));
  std::remove(path("g.tbx").c_str());
  std::remove(path("h.tbx").c_str());
}

TEST_F(FileTest, HeaderFieldsGoOutAsTheyStandAndTheNameIsPaddedOrCut) {
  EnteteFichierBinaire e = entete_exemple("h.tbx", "x");
  memset(e.szVersion + 2, 0, 3);  // shorter: written with its NULs
  uint16_t num = 0;
  ASSERT_CODE(0, creer("h.tbx", 0, &num, e));
  EXPECT_CODE(0, MC_usLibererFichierBinaire(num, nullptr));
  EXPECT_EQ(to_hex(bytes_of(std::string("0000 h.tbx        01\0\0 00001 20260115 0100 00002 0000000003 x\r\n\x1a", 64))),
            to_hex(read_file(path("h.tbx"))));
  // Thirteen characters (no NUL left): twelve are written and the file never opens under its name.
  for (const char* name : {"abcdefghijkl", "abcdefghijklm"}) {
    SCOPED_TRACE(name);
    e = entete_exemple("x");
    memcpy(e.szNomFichier, name, strlen(name));
    ASSERT_CODE(0, creer(name, 1, &num, e));
    EXPECT_CODE(0, MC_usLibererFichierBinaire(num, nullptr));
    const Bytes file = read_file(path(name));
    EXPECT_EQ(bytes_of("abcdefghijkl 0100"), Bytes(file.begin() + 5, file.begin() + 22));
    EXPECT_CODE(strlen(name) == 12 ? 0 : MC_ERR_NOM_FICHIER, ouvrir(name, 1, &num));
    EXPECT_CODE(0, MC_usLibererFichierBinaire(num, nullptr));
  }
}

TEST_F(FileTest, TableHeadersAsWrittenAndTwoTablesWithoutSizeBetweenThem) {
  uint16_t num = 0;
  ASSERT_CODE(0, creer("t.tbx", 1, &num, entete_exemple("t.tbx", "c")));
  EnteteTable t;
  memset(&t, 0, sizeof t);
  memcpy(t.szNomTable, "AB", 2);  // NUL-padded: the NULs go out too; the rest goes out as zeros
  t.ulTailleDonnees = 99;
  t.ulNombreEnregistrements = 0x01020304;
  t.ulReserve = 7;
  t.ucNombreDescripteurs1 = 3;
  t.ucNombreDescripteurs2 = 4;
  t.ucReserve = 5;
  const EnteteTable b = entete_table("B", 1);
  EXPECT_CODE(MC_ERR_ARGUMENT, MC_usEcrireEnteteTable(num, nullptr));
  EXPECT_CODE(0, MC_usEcrireEnteteTable(num, &t));
  EXPECT_CODE(0, MC_usEcrireUnsignedShort(num, 1));
  EXPECT_CODE(0, MC_usEcrireEnteteTable(num, &b));
  EXPECT_CODE(0, MC_usEcrireUnsignedLong(num, 2));
  EXPECT_CODE(0, MC_usEcrireTaille(num));
  EXPECT_CODE(0, MC_usLibererFichierBinaire(num, nullptr));
  Bytes expected = concat({entete_octets("t.tbx", "c"), bytes_of(std::string("AB\0\0\0\0\0\0\0\0", 10)),
                           hex("00 00 00 00 01 02 03 04 00 00 00 00 00 00 00 00 01"),
                           table_octets("B", hex("00 00 00 02"))});
  sceller_crc(expected);
  EXPECT_EQ(to_hex(expected), to_hex(read_file(path("t.tbx"))));
}

TEST_F(FileTest, CrcOfKnownContents) {
  for (const Case& c : read_cases("tablefile/crc.cases")) {
    SCOPED_TRACE(c.where);
    Bytes content = bytes_of(unescape(c[0]));
    if (c[0].rfind("rnd:", 0) == 0) {
      content.resize(std::stoul(c[0].substr(4)));
      uint32_t x = 1;
      for (uint8_t& b : content) b = static_cast<uint8_t>((x = x * 1103515245u + 12345u) >> 16);
    }
    write_file(path("crc.bin"), content);
    FILE* f = fopen(path("crc.bin").c_str(), "rb");
    fseek(f, 7, SEEK_SET);
    uint16_t crc = 0xBEEF;
    EXPECT_CODE(0, usCalculerCRC16(f, &crc));
    EXPECT_EQ(number(c[1]), crc);
    EXPECT_EQ(crc_reference(content, 4), crc);
    EXPECT_EQ(7, ftell(f));  // the position is kept
    fclose(f);
  }
  // Kept: the bare value 1 when position 4 cannot be reached.
  int fds[2];
  ASSERT_EQ(0, pipe(fds));
  ASSERT_EQ(4, write(fds[1], "0000", 4));
  close(fds[1]);
  FILE* f = fdopen(fds[0], "rb");
  uint16_t crc = 0;
  EXPECT_CODE(1, usCalculerCRC16(f, &crc));
  fclose(f);
}

TEST_F(FileTest, CrcTextReadWrittenAndChecked) {
  const std::string digits = "0123456789ABCDEFabcdef";
  for (size_t i = 0; i < digits.size(); ++i) EXPECT_EQ(i < 16 ? i : i - 6, usConvertirHexa(digits[i]));
  for (char c : {'G', 'g', ' ', '\0', '/', ':', '@', '`', static_cast<char>(0xC9)}) EXPECT_EQ(0xFFFF, usConvertirHexa(c));
  // The stored text: its value read (a damaged digit adds 0xFFFF shifted to its place, in 16 bits)
  // and the opening of the example file that carries it.
  for (const Case& c : read_cases("tablefile/crctext.cases")) {
    SCOPED_TRACE(c.where);
    const std::string text = unescape(c[0]);
    write_text(path("crc.txt"), text + " rest");
    FILE* f = fopen(path("crc.txt").c_str(), "rb");
    fseek(f, 6, SEEK_SET);
    uint16_t read = 0;
    EXPECT_CODE(0, usLireCRC(f, &read));
    EXPECT_EQ(number(c[1]), read);
    EXPECT_EQ(6, ftell(f));
    fclose(f);
    Bytes file = exemple_95();
    memcpy(file.data(), text.data(), 4);
    const uint16_t num = ouvrir_octets("tablebin.tbx", file, MC_CONTROLE_CRC16, static_cast<uint16_t>(number(c[2])));
    EXPECT_CODE(0, MC_usLibererFichierBinaire(num, nullptr));
  }
  write_text(path("crc.txt"), "6CA");
  FILE* f = fopen(path("crc.txt").c_str(), "rb");
  uint16_t read = 0x1234;
  EXPECT_CODE(MC_ERR_FICHIER, usLireCRC(f, &read));
  EXPECT_EQ(0x1234, read);
  fclose(f);
  write_text(path("w.bin"), "0000 abc");
  f = fopen(path("w.bin").c_str(), "rb+");
  EXPECT_CODE(0, usEcrireCRC(f, 0x00AB));
  fclose(f);
  EXPECT_EQ("00AB abc", read_text(path("w.bin")));
  f = fopen(path("w.bin").c_str(), "rb");
  EXPECT_CODE(MC_ERR_FICHIER, usEcrireCRC(f, 0x1234));
  fclose(f);
}

// One step "OP args" on the current file number n_: its code (hex) and outputs as one text.
class Steps : public TableFileTest {
 protected:
  const char* key(const std::string& k) {
    keys_ = k == "dev" ? dev_private_key_path() : k == "dir" ? dir_ : path(k);
    return k.empty() ? nullptr : keys_.c_str();
  }
  std::string step(const std::string& op, std::vector<std::string> a, const std::string& rest) {
    a.resize(std::max<size_t>(a.size(), 4));
    const auto u = [&](size_t i) { return a[i].empty() ? 0u : static_cast<uint32_t>(number(a[i])); };
    std::ostringstream os;
    uint16_t cr = 0;
    uint32_t v = 0;
    EnteteTable t{};
    const auto flag = [&](const char* f) { return a[2] == f || a[3] == f; };
    if (op == "open" || op == "create") {  // [dir/]name|null type [flags]
      const size_t slash = a[0].rfind('/');
      const std::string dir = slash == std::string::npos ? dir_ : (slash == 0 ? "" : a[0][0] == '/' ? "" : dir_ + "/") + a[0].substr(0, slash);
      const std::string name = a[0].substr(slash + 1);
      if (op == "open" && !flag("keep")) n_ = 0;
      memset(&hdr_, 0x55, sizeof hdr_);
      if (op == "create") hdr_ = entete_exemple(name.c_str(), flag("nocomment") ? "" : "essai");
      const char* d = flag("nodir") ? nullptr : dir.c_str();
      const char* nm = name == "null" ? nullptr : name.c_str();
      uint16_t* pn = flag("nonum") ? nullptr : &n_;
      EnteteFichierBinaire* pe = flag("nohead") ? nullptr : &hdr_;
      cr = op == "open" ? MC_usInitialiserFichierBinaire(d, nm, static_cast<uint16_t>(u(1)), pn, pe)
                        : MC_usCreerFichierBinaire(d, nm, static_cast<uint16_t>(u(1)), pe, pn);
    } else if (op == "num") {
      os << " n" << n_;
    } else if (op == "use") {
      n_ = static_cast<uint16_t>(u(0));
    } else if (op == "put") {  // name [H:name:comment | T:name:size:records:list1:list2 | bytes]...
      Bytes f = a[1].empty() ? exemple_95() : Bytes{};
      for (size_t i = 1; i < a.size() && !a[i].empty(); ++i) {
        std::vector<std::string> p;
        std::istringstream parts(a[i]);
        for (std::string x; std::getline(parts, x, ':');) p.push_back(x);
        p.resize(6, "0");
        Bytes b = p[0] == "H"   ? entete_octets(p[1], text_of(a[i].substr(std::min(a[i].size(), 3 + p[1].size()))))
                  : p[0] == "T" ? table_octets(p[1], {}, static_cast<uint32_t>(number(p[3])),
                                               static_cast<uint8_t>(number(p[4])), static_cast<uint8_t>(number(p[5])))
                                : data_of(a[i]);
        for (int k = 0; p[0] == "T" && k < 4; ++k) b[10 + k] = static_cast<uint8_t>(number(p[2]) >> (24 - 8 * k));
        f = concat({f, b});
      }
      write_file(path(a[0]), f);
    } else if (op == "seal") {  // the CRC text of the file
      Bytes f = read_file(path(a[0]));
      sceller_crc(f);
      write_file(path(a[0]), f);
    } else if (op == "file") {
      const Bytes f = read_file(path(a[0]));
      os << " " << (f == exemple_95() ? "ex95" : to_hex(f));
    } else if (op == "hdr") {
      for (const char* f : {hdr_.szNomFichier, hdr_.szVersion, hdr_.szTexte5, hdr_.szTexte8, hdr_.szVersionRequise,
                            hdr_.szTexte5b, hdr_.szTexte10, hdr_.szCommentaire}) os << " " << f << "/";
    } else if (op == "rel") {
      cr = MC_usLibererFichierBinaire(n_, key(a[0]));
    } else if (op == "sign") {
      cr = MC_usEcrireSignatureFichier(n_, key(a[0]));
    } else if (op == "th") {  // name records, or null
      t = entete_table(a[0].c_str(), u(1));
      cr = MC_usEcrireEnteteTable(n_, a[0] == "null" ? nullptr : &t);
    } else if (op == "rth") {
      memset(&t, 0x55, sizeof t);
      cr = MC_usLireEnteteTable(n_, &t);
      os << " " << to_hex(Bytes(reinterpret_cast<uint8_t*>(&t), reinterpret_cast<uint8_t*>(&t) + sizeof t));
    } else if (op == "w" || op == "r") {  // type value, as in values.cases
      const std::string value = rest.substr(std::min(rest.size(), op.size() + a[0].size() + 2));
      cr = op == "w" ? write_value(n_, a[0], value) : read_value(n_, a[0], value);
    } else if (op == "size") {
      cr = MC_usEcrireTaille(n_);
    } else if (op == "find") {
      const std::string name = unescape(a[0]);
      cr = MC_usRechercherTable(n_, a[0] == "null" ? nullptr : name.c_str(), a[1] == "nohead" ? nullptr : &t);
      if (cr == 0) os << " " << t.szNomTable;
    } else if (op == "tsize" || op == "pos" || op == "len") {
      cr = op == "tsize" ? usTailleDonnneeFichierBinaire(n_, &v)
           : op == "pos" ? MC_usLirePositionFichier(n_, &v) : MC_usLongueurFichierBinaire(n_, &v);
      os << " " << v;
    } else if (op == "seek") {  // offset set|cur|end
      cr = MC_usPositionnerOffset(n_, static_cast<int32_t>(number(a[0])),
                                  a[1] == "end" ? SEEK_END : a[1] == "cur" ? SEEK_CUR : SEEK_SET);
    } else if (op == "heap") {  // heap bytes in use beyond those at the case's first heap step
      const auto used = static_cast<long>(mallinfo2().uordblks);
      heap_ = heap_ < 0 ? used : heap_;
      os << " " << used - heap_;
    } else if (op == "tpos") {
      os << " " << g_etatFichiers.lPositionTailleTable;
    } else if (op == "coder") {
      unsigned char buffer[5];
      os << " " << stCoderLongueur(u(0), buffer);
    } else if (op == "has") {  // how many trace lines read so, blanks before them aside
      const auto lines = trace_->lines();
      os << " " << std::count_if(lines.begin(), lines.end(), [&](const std::string& l) {
        return l.find_first_not_of(' ') != std::string::npos && l.substr(l.find_first_not_of(' ')) == rest.substr(4);
      });
    } else if (op == "bad") {  // every refused call on number n_
      uint8_t uc = 0;
      unsigned char* buffer = nullptr;
      for (uint16_t c : {MC_usLibererFichierBinaire(n_, nullptr), MC_usLireUnsignedChar(n_, &uc),
                         MC_usEcrireUnsignedChar(n_, 1), MC_usEcrireTaille(n_), MC_usRechercherTable(n_, "A", &t),
                         usTailleDonnneeFichierBinaire(n_, &v), MC_usLongueurFichierBinaire(n_, &v),
                         MC_usLirePositionFichier(n_, &v), MC_usPositionnerOffset(n_, 0, SEEK_SET),
                         MC_usLireFichierBinaire(n_, 0, 4, &buffer),
                         MC_usEcrireSignatureFichier(n_, dev_private_key_path().c_str()),
                         MC_usVerifierSignatureFichier(n_)}) os << " " << std::hex << std::uppercase << c;
      EXPECT_EQ(nullptr, buffer);
    } else {
      ADD_FAILURE() << "unknown step " << op;
    }
    std::ostringstream out;
    out << std::hex << std::uppercase << cr << os.str();
    return out.str();
  }
  uint16_t n_ = 0;
  long heap_ = -1;
  EnteteFichierBinaire hdr_{};
  std::string keys_;
  std::unique_ptr<TraceCapture> trace_;
};

// steps.cases: each case's steps with their codes and outputs, and its whole trace file (dates
// and the test directory masked) against its block of scenarios.golden.
TEST_F(Steps, CodesOutputsAndTracesOfStepSequences) {
  const auto blocks = read_blocks("tablefile/scenarios.golden");
  for (const Case& c : read_cases("tablefile/steps.cases")) {
    SCOPED_TRACE(c.where + " " + c[0]);
    reset();
    n_ = 0;
    heap_ = -1;
    trace_.reset(c[1] == "-" ? nullptr : new TraceCapture({{1, 7, 2}, {1, 3, 2}}));
    std::istringstream steps(c[2]);
    for (std::string s; std::getline(steps, s, ';');) {
      const size_t arrow = s.find("->");
      ASSERT_NE(arrow, std::string::npos) << s;
      std::istringstream in(s.substr(0, arrow)), want(s.substr(arrow + 2));
      std::string op, w, expected, rest;
      in >> op;
      const int times = op[0] == '*' ? std::stoi(op.substr(1)) : 1;  // "*N op": N times the same
      if (times != 1 || op[0] == '*') in >> op;
      std::vector<std::string> a;
      for (std::string x; in >> x;) a.push_back(x), rest += (rest.empty() ? "" : " ") + x;
      while (want >> w) expected += (expected.empty() ? "" : " ") + w;
      for (int i = 0; i < times; ++i) ASSERT_EQ(expected, step(op, a, op + " " + rest)) << s;
    }
    if (c[1] != "-" && c[1] != "=") {
      trace_->stop();
      std::string got;
      for (std::string line : trace_->lines()) {
        for (size_t at = line.find(dir_); at != std::string::npos; at = line.find(dir_)) line.replace(at, dir_.size(), "<dir>");
        got += line + "\n";
      }
      const auto block = std::find_if(blocks.begin(), blocks.end(), [&](const auto& b) { return b.first == c[1]; });
      ASSERT_NE(block, blocks.end());
      EXPECT_EQ(block->second, mask_dates(got));
    }
    trace_.reset();
  }
}

TEST_F(FileTest, SpecialFilesAreRefusedAtOpeningAndCreation) {
  ASSERT_EQ(0, mkfifo(path("fifo.tbx").c_str(), 0644));
  // Held open both ways, so that even a blocking open would come back.
  const int fifo = open(path("fifo.tbx").c_str(), O_RDWR | O_NONBLOCK);
  ASSERT_LE(0, fifo);
  ASSERT_EQ(0, mkdir(path("sous.tbx").c_str(), 0755));
  const std::string cases[][3] = {{"/dev", "zero", "Invalid argument"}, {"/dev", "full", "Invalid argument"},
                                  {dir_, "fifo.tbx", "Invalid argument"}, {dir_, "sous.tbx", "Is a directory"}};
  TraceCapture trace({{1, 7, 2}});
  for (const auto& [dir, name, error] : cases) {
    SCOPED_TRACE(name);
    uint16_t num = 0;
    EnteteFichierBinaire e;
    EXPECT_CODE(MC_ERR_FICHIER, MC_usInitialiserFichierBinaire(dir.c_str(), name.c_str(), 1, &num, &e));
    EXPECT_EQ(0, num);
    e = entete_exemple(name.c_str());
    EXPECT_CODE(MC_ERR_FICHIER, MC_usCreerFichierBinaire(dir.c_str(), name.c_str(), 1, &e, &num));
    EXPECT_EQ(0, num);
    const std::string opened = "Probleme d'ouverture du fichier " + dir + "/" + name + ", " + error;
    EXPECT_TRUE(has_line(trace.lines(), "ERREUR : MC_usCreerFichierBinaire : " + opened));
    EXPECT_TRUE(has_line(trace.lines(), "ERREUR : MC_usCreerFichierBinaire : ERREUR : " + opened));
  }
  close(fifo);
}

TEST_F(FileTest, ReadsStopAtTheLengthMeasuredAtOpening) {
  const uint16_t num = ouvrir_octets("tablebin.tbx", exemple_95(), 0);
  FILE* f = fopen(path("tablebin.tbx").c_str(), "ab");
  fputs("\x05" "ABCDEFGH", f);
  fclose(f);
  uint32_t ul = 0;
  char* text = nullptr;
  char fixed[2];
  ASSERT_CODE(0, MC_usPositionnerOffset(num, 93, SEEK_SET));
  EXPECT_CODE(MC_ERR_FIN_FICHIER, MC_usLireUnsignedLong(num, &ul));
  EXPECT_CODE(MC_ERR_FIN_FICHIER, MC_usLireChaineVariable(num, &text));
  EXPECT_EQ(nullptr, text);
  EXPECT_CODE(MC_ERR_FIN_FICHIER, MC_usLireChampFixe(num, fixed, 2));
  EXPECT_CODE(0, MC_usLibererFichierBinaire(num, nullptr));
}

TEST_F(FileTest, FullDiskFailsEveryLaterWriteAndSealsNothing) {
  const DisquePlein disque(path("mnt"));
  if (!disque.monte()) GTEST_SKIP() << "mounting a tmpfs needs root";
  const EnteteFichierBinaire e = entete_exemple("p.tbx");
  const EnteteTable t = entete_table("T", 1);
  for (uint16_t type : {MC_CONTROLE_CRC16, MC_CONTROLE_SIGNATURE, 0u}) {
    SCOPED_TRACE(type);
    std::remove((disque.dir() + "/p.tbx").c_str());
    ASSERT_TRUE(disque.remplir(4096));
    TraceCapture trace({{1, 7, 2}});
    uint16_t num = 0;
    ASSERT_CODE(0, MC_usCreerFichierBinaire(disque.dir().c_str(), "p.tbx", type, &e, &num));
    ASSERT_CODE(0, MC_usEcrireEnteteTable(num, &t));
    uint32_t failed = 0;  // from the first write that fails on, every write fails
    for (uint32_t i = 0; i < 2048; ++i) {
      const uint16_t code = MC_usEcrireUnsignedLong(num, i);
      if (failed != 0 || code != 0) {
        EXPECT_CODE(MC_ERR_FICHIER, code) << i;
        ++failed;
      }
    }
    EXPECT_LT(0u, failed);
    EXPECT_CODE(MC_ERR_FICHIER, MC_usLibererFichierBinaire(num, "absent.key"));
    EXPECT_EQ(0, g_etatFichiers.lPositionTailleTable);  // not left for the next file
    const auto lines = trace.lines();
    EXPECT_TRUE(has_line(lines, "ERREUR : Probleme lors de la fermeture du fichier: No space left on device"));
    EXPECT_FALSE(has_line(lines, "{ usCalculerCRC16 : Calcul du CRC du fichier"));
    EXPECT_FALSE(has_line(lines, "{ MC_usEcrireSignatureFichier : NumFichier = 1"));
    EnteteFichierBinaire r;
    EXPECT_CODE(type == 0 ? 0 : MC_ERR_CONTROLE, MC_usInitialiserFichierBinaire(disque.dir().c_str(), "p.tbx", type, &num, &r));
    EXPECT_CODE(0, MC_usLibererFichierBinaire(num, nullptr));
  }
}

}  // namespace
}  // namespace mc::test
