// config_test.cpp -- the INI reader and writer over the case table tests/golden/config/ini.cases,
// the traced INI services and the version files against tests/golden/config/traces.golden, the
// working directory and the version files' edge cases.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <functional>
#include <map>
#include <vector>

#include "config.h"
#include "config/mcini.h"

namespace mc::test {
namespace {

void run_case(const Case& c, const std::string& path) {
  SCOPED_TRACE(c.where);
  const std::string& op = c[0];
  const auto n = [&](size_t i) { return number(c[i]); };
  if (op == "lire" || op == "entier") {  // file | section | key | value ((defaut): the default)
    const std::string texte = champ(c[1]);
    write_text(path, texte);
    if (op == "entier") {
      EXPECT_EQ(n(3), GetIniInt("ss", c[2].c_str(), -1, path.c_str()));
      return;
    }
    std::vector<char> lu(texte.size() + 64, 'Z');
    const int32_t l = GetIniString(champ(c[2]).c_str(), champ(c[3]).c_str(), "(defaut)", lu.data(),
                                   int32_t(lu.size() - 1), path.c_str());
    EXPECT_EQ(c[4] == "(defaut)" ? c[4] : champ(c[4]), std::string(lu.data()));
    EXPECT_EQ(size_t(l), strlen(lu.data()));
  } else if (op == "taille") {  // key | default | size | text | bytes written (the rest untouched)
    write_text(path, "[ss]\nlong=abcdef\ncourt=ab\n");
    std::vector<char> lu(32, 'Z');
    const int32_t l = GetIniString("ss", c[1].c_str(), c[2].c_str(), lu.data(), int32_t(n(3)), path.c_str());
    EXPECT_EQ(c[4], std::string(lu.data()));
    EXPECT_EQ(int32_t(c[4].size()), l);
    EXPECT_EQ(std::string(lu.size() - size_t(n(5)), 'Z'), std::string(lu.begin() + n(5), lu.end()));
  } else if (op == "ecrire") {  // before ((absent): no file) | section | key | value | after
    if (c[1] != "(absent)") write_text(path, champ(c[1]));
    EXPECT_EQ(1, WriteIniString(champ(c[2]).c_str(), champ(c[3]).c_str(), champ(c[4]).c_str(), path.c_str()));
    EXPECT_EQ(champ(c[5]), read_text(path));
    EXPECT_FALSE(file_exists(ConfigTest::temporaire()));
  } else if (op == "lignes") {  // text | the lines read_line returns with 1
    const std::string texte = champ(c[1]);
    write_text(path, texte);
    FILE* f = std::fopen(path.c_str(), "rb");
    Ligne ligne;
    std::vector<std::string> lues;
    while (read_line(f, ligne) == 1) {
      lues.emplace_back(ligne.data(), ligne.size());
      EXPECT_EQ('\0', ligne.data()[ligne.size()]);
    }
    std::fclose(f);
    std::vector<std::string> attendues;
    for (size_t i = 2; i < c.fields.size(); ++i) attendues.push_back(champ(c[i]));
    EXPECT_EQ(attendues, lues);
  } else if (op == "fin_ligne") {
    EXPECT_EQ(size_t(n(2)), kpl_GetLine(champ(c[1]).c_str()));
  } else if (op == "jeton") {
    EXPECT_EQ(size_t(n(2)), kpl_GetToken(champ(c[1]).c_str(), '='));
  } else if (op == "majuscules") {
    std::string s = champ(c[1]);
    EXPECT_EQ(champ(c[2]), std::string(kpl_uprstr(s.data())));
  } else if (op == "composant") {  // number | file name | bytes allocated
    const uint32_t avant = mc::memoire_allouee();
    char* nom = nullptr;
    ASSERT_CODE(0, mc::usConstruireNomComplet(uint8_t(n(1)), &nom));
    EXPECT_EQ(c[2], nom);
    EXPECT_EQ(uint32_t(n(3)), mc::memoire_allouee() - avant);
    MC_Liberer(nom);
  } else {
    ADD_FAILURE() << "unknown case " << op;
  }
}



TEST_F(ConfigTest, CaseTable) {
  const std::string path = temp_path("ini");
  for (const Case& c : read_cases("config/ini.cases")) {
    run_case(c, path);
    std::remove(path.c_str());
  }
}

// Missing arguments and files that cannot be read leave the default, and the writer says 0.
TEST_F(ConfigTest, NothingToReadOrWrite) {
  const std::string path = temp_path("ini"), bare = "lecture-" + std::to_string(getpid()) + ".ini";
  write_text(path, "[ss]\ncle=v\n");
  write_text(config_dir() + "/" + bare, "[ss]\ncle=ici\n");
  const std::string longue(5000, 'n'), racine = "/" + longue;
  char b[16];
  for (const char* f : {"/nonexistent-dir/x.ini", "absent-from-config-dir.ini", MC_TEST_TMP_DIR,
                        longue.c_str(), racine.c_str(), static_cast<const char*>(nullptr)}) {
    EXPECT_EQ(3, GetIniString("ss", "cle", "def", b, 15, f));
    EXPECT_STREQ("def", b);
    EXPECT_EQ(7, GetIniInt("ss", "cle", 7, f));
  }
  for (const char* f : {"/nonexistent-dir/x.ini", longue.c_str(), racine.c_str()}) {
    EXPECT_EQ(0, WriteIniString("ss", "cle", "v", f));
  }
  EXPECT_EQ(3, GetIniString("ss", "cle", "", b, 15, bare.c_str()));
  EXPECT_EQ(1, WriteIniString("ss", "cle", "la", bare.c_str()));
  EXPECT_EQ("[ss]\ncle=la\n", read_text(config_dir() + "/" + bare));
  std::remove((config_dir() + "/" + bare).c_str());
  EXPECT_EQ(0, GetIniString("ss", "cle", "def", nullptr, 15, path.c_str()));
  EXPECT_EQ(3, GetIniString(nullptr, "cle", "def", b, 15, path.c_str()));
  EXPECT_EQ(3, GetIniString("ss", nullptr, "def", b, 15, path.c_str()));
  EXPECT_EQ(1, GetIniString("ss", "cle", nullptr, b, 15, path.c_str()));
  EXPECT_EQ(0, GetIniString("ss", "autre", nullptr, b, 15, path.c_str()));
  EXPECT_EQ(-1, GetIniInt("ss", nullptr, -1, path.c_str()));
  EXPECT_EQ(nullptr, getIniInfo("ss", "cle", nullptr, 's', 4, path.c_str()));
  int32_t entier = 99;
  EXPECT_EQ(&entier, getIniInfo("ss", "cle", &entier, 'I', 4, path.c_str()));  // kind without case
  EXPECT_EQ(0, entier);
  for (const char* s : {"ss", static_cast<const char*>(nullptr)}) {
    EXPECT_EQ(0, WriteIniString(s, s ? nullptr : "k", "v", path.c_str()));
    EXPECT_EQ(0, WriteIniString("ss", "k", s ? nullptr : "v", s ? path.c_str() : nullptr));
  }
  EXPECT_EQ("[ss]\ncle=v\n", read_text(path));
  // The traced readers leave the buffer alone without a section, a key or a size.
  write_text(config_dir() + "/norba.ini", "[ss]\ncle=v\n");
  for (const auto& [s, k, t] : {std::tuple{(const char*)nullptr, "cle", 8u}, {"ss", nullptr, 8u}, {"ss", "cle", 0u}}) {
    char tampon[9] = "intacte";
    EXPECT_EQ(0u, MC_ulLireChaineIni(s, k, tampon, t, path.c_str()));
    EXPECT_EQ(0u, MC_ulLireChaineNorba(s, k, tampon, t));
    EXPECT_STREQ("intacte", tampon);
  }
  EXPECT_EQ(0u, MC_ulLireChaineIni("ss", "cle", nullptr, 8, path.c_str()));
  EXPECT_EQ(0u, MC_ulLireChaineNorba("ss", "cle", nullptr, 8));
  EXPECT_EQ(1u, MC_ulLireChaineNorba("ss", "cle", b, 1));
  EXPECT_EQ(1u, MC_ulLireChaineIni("ss", "cle", b, 0xFFFFFFFFu, path.c_str()));
  EXPECT_EQ(-1, MC_lLireLongIni(nullptr, "cle", path.c_str()));
  EXPECT_CODE(MC_ERR_ARGUMENT, MC_usEcrireVersionComposant(92, nullptr, 0));
  EXPECT_CODE(MC_ERR_ARGUMENT, MC_usDonnerRepertoireTravail(nullptr));
}

// Each allocation refused in turn: readers give the default, the writer 0 with the target as it
// was (lines longer than the inline room take heap blocks), the version files a code.
TEST_F(ConfigTest, RefusedMemory) {
  const std::string path = temp_path("ini");
  const std::string avant = std::string(300, 'x') + "\n[ss]\n" + std::string(600, 'y') + "\ncle=1234\n";
  char b[16];
  const char* f = path.c_str();
  const struct {
    std::function<uint32_t()> lire;
    uint32_t trouve, defaut;
  } lectures[] = {{[&] { return uint32_t(GetIniString("ss", "cle", "dd", b, 15, f)); }, 4, 2},
                  {[&] { return uint32_t(GetIniInt("ss", "cle", 7, f)); }, 1234, 7},
                  {[&] { return MC_ulLireChaineIni("ss", "cle", b, 15, f); }, 4, 0},
                  {[&] { return uint32_t(MC_lLireLongIni("ss", "cle", f)); }, 1234, uint32_t(-1)},
                  {[&] {
                     write_text(path, avant);
                     return uint32_t(MC_bEcrireChaineIni("ss", "cle", "v", f));
                   }, 1, 0}};
  for (const auto& l : lectures) {
    write_text(path, avant);
    each_allocation_failure(l.lire, l.trouve, [&](uint32_t, uint32_t r) {
      EXPECT_EQ(l.defaut, r);
      EXPECT_EQ(avant, read_text(path));
      EXPECT_FALSE(file_exists(temporaire()));
    });
  }
  norba(travail_);
  each_allocation_failure(
      [] {
        uint32_t code = MC_usEcrireVersionComposant(92, "0100", 4);
        char* lu = nullptr;
        uint32_t l = 0;
        if (code == 0) code = MC_usLireVersionComposant(92, &lu, &l);
        if (code == 0 && std::string(lu, l) != "0100") code = 1;
        MC_Liberer(lu);
        return code;
      },
      0, [](uint32_t, uint32_t code) {
        // 0xFFFB for the directory buffer, 0xF6F2 for the writer's full path, 0xF6F1 when the
        // INI reader's text fails (the key reads as absent), 0 for the reader's first buffer.
        EXPECT_TRUE(code == MC_ERR_MEMOIRE || code == MC_ERR_CONFIG || code == MC_ERR_FICHIER_VERSION ||
                    code == MC_ERR_REP_TRAVAIL || code == 0) << std::hex << code;
      });
}

// Open file descriptors of the process.
size_t descripteurs() {
  size_t n = 0;
  for ([[maybe_unused]] const auto& e : std::filesystem::directory_iterator("/proc/self/fd")) ++n;
  return n;
}

// The calls of each block of traces.golden ("== name | trace number", module 1, level 2); the
// working directory reads <travail>.
std::map<std::string, std::function<void()>> appels(const std::string& travail) {
  static char b[300];
  const auto lire = [](uint8_t composant) {
    char* lu = nullptr;
    uint32_t l = 7;
    const uint16_t code = MC_usLireVersionComposant(composant, &lu, &l);
    MC_Liberer(lu);
    return code;
  };
  return {
      {"exemple_norba", [] {
         write_text(config_dir() + "/norba.ini", "[commun]\nrepertoiretravail=/data\nrepertoiretable=/t\n");
         EXPECT_EQ(5u, MC_ulLireChaineNorba("commun", "repertoiretravail", b, 256));
       }},
      {"lire_ini", [&travail] {
         write_text(travail + "/x.ini", "[commun]\nrepertoiretravail=/tmp/x\n");
         EXPECT_EQ(6u, MC_ulLireChaineIni("COMMUN", "RepertoireTravail", b, 256, (travail + "/x.ini").c_str()));
         EXPECT_STREQ("/tmp/x", b);
         EXPECT_EQ(0u, MC_ulLireChaineIni("commun", "absente", b, 256, (travail + "/x.ini").c_str()));
         EXPECT_EQ(0u, MC_ulLireChaineNorba(nullptr, "cle", b, 7));
       }},
      {"longs", [&travail] {
         const std::string f = travail + "/x.ini";
         write_text(f, "[commun]\nnb=12abc\nlettres=abc\n");
         write_text(config_dir() + "/norba.ini", "[commun]\nnb=40000\n");
         for (const char* k : {"nb", "lettres", "absente", static_cast<const char*>(nullptr)})
           MC_lLireLongIni("commun", k, f.c_str());
         EXPECT_EQ(40000, MC_lLireLongNorba("commun", "nb"));
         MC_lLireLongNorba(nullptr, "nb");
       }},
      {"ecrire_norba", [] {
         EXPECT_EQ(1, MC_bEcrireChaineNorba("commun", "repertoiretravail", "/w"));
         EXPECT_EQ(1, MC_bEcrireChaineNorba("commun", "repertoiretable", "/t"));
         EXPECT_EQ("[commun]\nrepertoiretravail=/w\nrepertoiretable=/t\n", read_text(config_dir() + "/norba.ini"));
         EXPECT_EQ(0, MC_bEcrireChaineIni("commun", "cle", "v", "/nonexistent-dir/x.ini"));
         EXPECT_EQ(0, MC_bEcrireChaineIni(nullptr, "cle", "v", "/nonexistent-dir/x.ini"));
       }},
      {"ecrire_lire_version", [&travail, lire] {
         ConfigTest::norba(travail);
         EXPECT_CODE(0, MC_usEcrireVersionComposant(92, "0100", 4));
         EXPECT_CODE(0, lire(92));
         EXPECT_CODE(MC_ERR_FICHIER, lire(42));
       }},
      {"sans_repertoire_travail", [lire] {
         write_text(config_dir() + "/norba.ini", "[commun]\nrepertoiretable=/t\n");
         char* r = nullptr;
         EXPECT_CODE(MC_ERR_REP_TRAVAIL, MC_usDonnerRepertoireTravail(&r));
         EXPECT_STREQ("", r);  // handed out all the same
         MC_Liberer(r);
         EXPECT_CODE(MC_ERR_REP_TRAVAIL, MC_usEcrireVersionComposant(92, "0100", 4));
         EXPECT_CODE(MC_ERR_REP_TRAVAIL, lire(92));
       }},
      {"repertoire_absent", [&travail] {
         ConfigTest::norba(travail + "/absent");
         EXPECT_CODE(MC_ERR_FICHIER_VERSION, MC_usEcrireVersionComposant(92, "0100", 4));
       }},
      // The seventh block is the one the file's bytes are read into: 256, the INI reader's text,
      // 256, directory copy, short name, full path, then the bytes.
      {"lecture_refusee_apres_ouverture", [&travail, lire] {
         ConfigTest::norba(travail);
         write_text(travail + "/93.adm", "0100");
         const size_t avant = descripteurs();
         mc::testing::faire_echouer_allocation(6);
         EXPECT_CODE(MC_ERR_MEMOIRE, lire(93));
         EXPECT_EQ(avant, descripteurs());
       }},
      {"usConstruireNomComplet", [] {
         char* nom = nullptr;
         EXPECT_CODE(0, mc::usConstruireNomComplet(7, &nom));
         MC_Liberer(nom);
       }},
  };
}

void golden(const std::string& travail, bool (*choisi)(const std::string&)) {
  const auto a = appels(travail);
  for (const auto& [entete, attendu] : read_blocks("config/traces.golden")) {
    const std::string nom = entete.substr(0, entete.find(" | "));
    if (!choisi(nom)) continue;
    SCOPED_TRACE(nom);
    TraceCapture trace({{1, uint16_t(number(entete.substr(nom.size() + 3))), 2}});
    a.at(nom)();
    trace.stop();
    std::string texte = trace.text();
    for (size_t i; (i = texte.find(travail)) != std::string::npos;) texte.replace(i, travail.size(), "<travail>");
    EXPECT_EQ(attendu, texte);
    ConfigTest::nettoyer();
  }
}

TEST_F(ConfigTest, GoldenTraces) {
  golden(travail_, [](const std::string& nom) { return nom != "usConstruireNomComplet"; });
}

TEST_F(ConfigTest, ComponentNameTracesUnderTheNameUsLireBufferFichierKept) {
  golden(travail_, [](const std::string& nom) { return nom == "usConstruireNomComplet"; });
}

// The working directory: handed out, cut to its buffer; the version files byte for byte.
TEST_F(ConfigTest, WorkingDirectoryAndVersionFiles) {
  char* r = nullptr;
  norba(std::string(300, 'x'));
  ASSERT_CODE(0, MC_usDonnerRepertoireTravail(&r));
  EXPECT_EQ(std::string(255, 'x'), r);
  MC_Liberer(r);
  norba(travail_);
  mc::testing::faire_echouer_allocation(0);
  EXPECT_CODE(MC_ERR_CONFIG, MC_usDonnerRepertoireTravail(&r));
  EXPECT_EQ(nullptr, r);
  ASSERT_CODE(0, MC_usDonnerRepertoireTravail(&r));
  EXPECT_EQ(travail_, r);
  MC_Liberer(r);
  // Kept: the length argument is not used; the whole text replaces the old one.
  ASSERT_CODE(0, MC_usEcrireVersionComposant(92, "0100", 1));
  EXPECT_EQ("0100", read_text(adm("92.adm")));
  ASSERT_CODE(0, MC_usEcrireVersionComposant(92, "020", 1));
  EXPECT_EQ("020", read_text(adm("92.adm")));
  for (const auto& [composant, octets] : {std::pair{200, "\\x00\\xFF\\r\\n"}, {5, ""}, {17, "2.4.1"}}) {
    if (composant == 200) write_text(adm("-56.adm"), unescape(octets));
    else ASSERT_CODE(0, MC_usEcrireVersionComposant(uint8_t(composant), octets, 0));
    char* lu = nullptr;
    uint32_t l = 7;
    const uint32_t allocations = mc::testing::nombre_allocations(), liberations = mc::testing::nombre_liberations();
    ASSERT_CODE(0, MC_usLireVersionComposant(uint8_t(composant), &lu, &l));
    EXPECT_EQ(unescape(octets), std::string(lu, l));
    MC_Liberer(lu);
    // Kept: the first 256-byte buffer and the short name are never given back; the INI reader's
    // text is counted but given back with free().
    EXPECT_EQ(mc::testing::nombre_allocations() - allocations, mc::testing::nombre_liberations() - liberations + 3);
  }
  char* lu = nullptr;
  uint32_t l = 7;
  EXPECT_CODE(MC_ERR_FICHIER, MC_usLireVersionComposant(42, &lu, &l));
  EXPECT_EQ(nullptr, lu);
  EXPECT_EQ(7u, l);
}

// A FIFO, /dev/zero and /dev/full in a version file's place are refused without blocking.
TEST_F(ConfigTest, SpecialVersionFilesAreRefused) {
  norba(travail_);
  ASSERT_EQ(0, mkfifo(adm("93.adm").c_str(), 0644));
  const int fifo = open(adm("93.adm").c_str(), O_RDWR | O_NONBLOCK);  // a peer for both ways
  ASSERT_EQ(0, symlink("/dev/zero", adm("94.adm").c_str()));
  ASSERT_EQ(0, symlink("/dev/full", adm("95.adm").c_str()));
  for (uint8_t composant : {93, 94, 95}) {
    char* lu = nullptr;
    uint32_t l = 7;
    EXPECT_CODE(MC_ERR_FICHIER, MC_usLireVersionComposant(composant, &lu, &l));
    EXPECT_EQ(nullptr, lu);
    EXPECT_EQ(7u, l);
    EXPECT_CODE(MC_ERR_FICHIER_VERSION, MC_usEcrireVersionComposant(composant, "0100", 4));
  }
  close(fifo);
}

}  // namespace
}  // namespace mc::test
