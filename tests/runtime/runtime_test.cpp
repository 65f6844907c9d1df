// runtime_test.cpp -- the trace facility against the golden traces of
// tests/golden/runtime/traces.golden, its registrations and openings; accounted memory, file
// lengths and full file names.
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <functional>
#include <map>
#include <string>

#include "runtime/mcmemoir.h"
#include "runtime/mctrace.h"
#include "support/mctest.h"

namespace mc::test {
namespace {

class RuntimeTest : public RuntimeState {
 protected:
  std::string path_ = temp_path("trace");
};

// Ten nested functions, each writing a detail after its entry, an error at the deepest point,
// then the ten exits.
void imbriquees(uint16_t trace) {
  for (int i = 0; i < 10; ++i) {
    MC_TraceEcrire(1, trace, MC_TRACE_ENTREE, "f%d", i);
    MC_TraceEcrire(1, trace, MC_TRACE_DETAIL, "d%d", i);
  }
  MC_TraceEcrire(1, trace, MC_TRACE_ERREUR, "profond");
  for (int i = 9; i >= 0; --i) MC_TraceEcrire(1, trace, MC_TRACE_SORTIE, "f%d", i);
}

MC_PRINTF(1, 2) void detail_8(const char* format, ...) {
  va_list args;
  va_start(args, format);
  MC_TraceEcrire2(1, 8, MC_TRACE_DETAIL, format, args);
  va_end(args);
}

// Each block of traces.golden: the registrations ("== name | module trace level ...") made
// with the trace opened in mode "w", the calls below, then level 0; pointers read "<p>".
TEST_F(RuntimeTest, GoldenTraces) {
  const unsigned char octets[] = {0x1F, 0xA0, 0x5A};
  std::string pointeur;
  const std::map<std::string, std::function<void()>> appels = {
      {"exemple", [] {
         MC_TraceEcrire(1, 5, MC_TRACE_ENTREE, "MC_ulLireChaineNorba");
         MC_TraceEcrire(1, 5, MC_TRACE_ENTREE, "MC_ulLireChaineIni");
         MC_TraceEcrire(1, 5, MC_TRACE_DETAIL, "MC_ulLireChaineIni / Longueur =0x%04x", 5u);
         MC_TraceEcrire(1, 5, MC_TRACE_SORTIE, "MC_ulLireChaineIni");
         MC_TraceEcrire(1, 5, MC_TRACE_DETAIL, "MC_ulLireChaineNorba / Longueur =0x%04x", 5u);
         MC_TraceEcrire(1, 5, MC_TRACE_SORTIE, "MC_ulLireChaineNorba");
       }},
      {"niveau1", [] { imbriquees(3); EXPECT_EQ(0, mc::testing::profondeur_trace()); }},
      {"niveau2", [] { imbriquees(3); }},
      {"niveau3", [&] {
         for (int i = 0; i < 9; ++i) MC_TraceEcrire(1, 3, MC_TRACE_ENTREE, "f%d", i);
         MC_TraceEcrire(1, 3, MC_TRACE_DETAIL, "visible");
         MC_TraceEcrireBinaire(1, 3, "b", octets + 2, 1);
       }},
      {"genres", [] {
         MC_TraceEcrire(1, 4, MC_TRACE_SORTIE, "sortie a vide");
         MC_TraceEcrire(1, 4, MC_TRACE_ENTREE, "f");
         MC_TraceEcrire(1, 4, MC_TRACE_APPEL, "appel %s", "x");
         MC_TraceEcrire(1, 4, 6, "jamais");
         MC_TraceEcrire(1, 4, 0xFFFF, "jamais");
         MC_TraceEcrire(1, 4, MC_TRACE_HORODATAGE, "libre %d", 42);
         MC_TraceEcrire(1, 4, MC_TRACE_SORTIE, "f");
       }},
      {"non_enregistre", [&] {
         for (uint16_t genre = 1; genre <= 5; ++genre) {
           MC_TraceEcrire(1, 5, genre, "non");
           MC_TraceEcrire(2, 4, genre, "non");
         }
         MC_TraceEcrireBinaire(1, 5, "b", octets, 2);
         MC_TraceEcrire(7, 7, MC_TRACE_HORODATAGE, "date %d", 42);
         EXPECT_EQ(0, mc::testing::profondeur_trace());
       }},
      {"liste_arguments", [] { detail_8("valeur = 0x%04x, %s", 0xBEEFu, "ok"); }},
      {"binaire", [&] {
         MC_TraceEcrire(1, 7, MC_TRACE_ENTREE, "f");
         MC_TraceEcrireBinaire(1, 7, "cle", octets, 2);
         MC_TraceEcrireBinaire(1, 7, "vide", octets, 0);
         MC_TraceEcrireBinaire(1, 7, nullptr, octets, 1);
         MC_TraceEcrireBinaire(1, 7, "nul", nullptr, 1);
         MC_TraceEcrireBinaire(1, 6, "niveau1", octets, 2);
         MC_TraceEcrire(1, 7, MC_TRACE_SORTIE, "f");
       }},
      {"memoire", [&] {
         void* bloc = MC_Allouer(100);
         char texte[32];
         std::snprintf(texte, sizeof texte, "%p", bloc);
         pointeur = texte;
         MC_Liberer(bloc);
         MC_Liberer(nullptr);
         mc::testing::faire_echouer_allocation(0);
         EXPECT_EQ(nullptr, MC_Allouer(50));
       }},
  };
  for (const auto& [entete, attendu] : read_blocks("runtime/traces.golden")) {
    const std::string nom = entete.substr(0, entete.find(" | "));
    SCOPED_TRACE(nom);
    uint32_t m, t, n;
    int lus = 0;
    for (const char* p = entete.c_str() + nom.size(); std::sscanf(p, " | %u %u %u%n", &m, &t, &n, &lus) == 3; p += lus) {
      ASSERT_CODE(0, MC_usActiverTrace(path_.c_str(), "w", uint16_t(m), uint16_t(t), uint8_t(n)));
    }
    appels.at(nom)();
    ASSERT_CODE(0, MC_usActiverTrace(path_.c_str(), "w", 1, 1, 0));
    std::string texte = mask_dates(read_text(path_));
    for (const auto& [avant, apres] : {std::pair{pointeur, "<p>"}, std::pair{std::string("(nil)"), "<nul>"}}) {
      for (size_t i; !avant.empty() && (i = texte.find(avant)) != std::string::npos;) texte.replace(i, avant.size(), apres);
    }
    EXPECT_EQ(attendu, texte);
  }
}

// Registration: the table of 100 pairs, the library module's trace numbers 1 to 8, a refused
// pair overwritten by the next one, a known pair re-registered on a full table.
TEST_F(RuntimeTest, Registrations) {
  ASSERT_CODE(0, MC_usActiverTrace(path_.c_str(), "w", 1, 1, 1));
  for (uint16_t t : {0, 9, 0xFFFF}) EXPECT_CODE(MC_ERR_TRACE_NUMERO, MC_usAjouterTrace(1, t, 2));
  EXPECT_CODE(MC_ERR_TRACE_NUMERO, MC_usActiverTrace(path_.c_str(), "w", 1, 9, 2));
  EXPECT_TRUE(MC_bTraceActive());
  uint16_t indice = 0x1234;
  EXPECT_FALSE(MC_bRechercherTrace(1, 9, &indice));
  EXPECT_FALSE(MC_bRechercherTrace(1, 2, &indice));
  EXPECT_EQ(0x1234, indice);
  for (uint16_t t : {8, 0}) EXPECT_CODE(0, MC_usAjouterTrace(t == 8 ? 1 : 2, t, 1));
  ASSERT_TRUE(MC_bRechercherTrace(2, 0, &indice));
  EXPECT_EQ(2, indice);
  for (uint16_t t = 1; t <= 97; ++t) ASSERT_CODE(0, MC_usAjouterTrace(2, t, 1)) << t;
  EXPECT_CODE(MC_ERR_TRACE_PLEINE, MC_usAjouterTrace(3, 1, 2));
  EXPECT_CODE(MC_ERR_TRACE_PLEINE, MC_usActiverTrace(path_.c_str(), "w", 3, 1, 2));
  EXPECT_FALSE(MC_bRechercherTrace(3, 1, &indice));
  EXPECT_FALSE(MC_bRechercherTrace(2, 98, &indice));
  EXPECT_CODE(0, MC_usAjouterTrace(2, 97, 2));
  ASSERT_TRUE(MC_bRechercherTrace(2, 97, &indice));
  EXPECT_EQ(99, indice);
  // Kept: level 0 closes the file and forgets every pair; with no file open it does nothing.
  EXPECT_CODE(0, MC_usActiverTrace(path_.c_str(), "w", 1, 1, 0));
  EXPECT_FALSE(MC_bTraceActive());
  EXPECT_FALSE(MC_bRechercherTrace(1, 1, &indice));
  EXPECT_CODE(0, MC_usActiverTrace(path_.c_str(), "w", 1, 1, 0));
  EXPECT_FALSE(MC_bTraceActive());
}

// Modes "w" and "wb" truncate, "a" and "ab" append; a second activation keeps the first file;
// an opening refused leaves tracing off and creates nothing.
TEST_F(RuntimeTest, Openings) {
  const std::string autre = temp_path("autre");
  for (const char* mode : {"w", "wb", "a", "ab"}) {
    SCOPED_TRACE(mode);
    write_text(path_, "avant\n");
    ASSERT_CODE(0, MC_usActiverTrace(path_.c_str(), mode, 1, 1, 1));
    ASSERT_CODE(0, MC_usActiverTrace(autre.c_str(), "w", 1, 2, 1));
    MC_TraceEcrire(1, 2, MC_TRACE_DETAIL, "ligne");
    ASSERT_CODE(0, MC_usActiverTrace(path_.c_str(), mode, 1, 1, 0));
    EXPECT_EQ(std::string(mode[0] == 'a' ? "avant\n" : "") +
                  "### DEBUT TRACE ###\nligne\n### FIN TRACE ###\n\n", read_text(path_));
    EXPECT_FALSE(file_exists(autre));
  }
  std::remove(path_.c_str());
  const std::string absent = temp_path("absent") + "/trace.txt";
  const struct {
    const char *fichier, *mode;
    uint16_t code;
  } refus[] = {{path_.c_str(), "r", MC_ERR_ARGUMENT},    {path_.c_str(), "w+", MC_ERR_ARGUMENT},
               {path_.c_str(), "", MC_ERR_ARGUMENT},     {path_.c_str(), "W", MC_ERR_ARGUMENT},
               {path_.c_str(), nullptr, MC_ERR_ARGUMENT}, {"", "w", MC_ERR_ARGUMENT},
               {nullptr, "w", MC_ERR_ARGUMENT},          {absent.c_str(), "w", MC_ERR_TRACE_OUVERTURE}};
  for (const auto& r : refus) {
    SCOPED_TRACE(r.mode == nullptr ? "(null)" : r.mode);
    EXPECT_CODE(r.code, MC_usActiverTrace(r.fichier, r.mode, 1, 1, 2));
    EXPECT_FALSE(MC_bTraceActive());
    uint16_t indice = 0;
    EXPECT_FALSE(MC_bRechercherTrace(1, 1, &indice));
    EXPECT_FALSE(file_exists(path_));
  }
  FILE* flux = stdout;
  EXPECT_CODE(0, MC_usOuvrirTrace(nullptr, nullptr, &flux));
  EXPECT_EQ(stdout, flux);
  EXPECT_CODE(MC_ERR_ARGUMENT, MC_usOuvrirTrace(path_.c_str(), "w", nullptr));
  // Tracing off: nothing written, no depth counted.
  MC_TraceEcrire(1, 1, MC_TRACE_ENTREE, "f");
  MC_TraceEcrire(1, 1, MC_TRACE_HORODATAGE, "date");
  MC_TraceEcrireBinaire(1, 1, "b", reinterpret_cast<const unsigned char*>("x"), 1);
  EXPECT_EQ(0, mc::testing::profondeur_trace());
  EXPECT_FALSE(file_exists(path_));
  // The depth is a byte that wraps.
  ASSERT_CODE(0, MC_usActiverTrace(path_.c_str(), "w", 1, 3, 2));
  for (int i = 0; i < 256; ++i) MC_TraceEcrire(1, 3, MC_TRACE_ENTREE, "f");
  EXPECT_EQ(0, mc::testing::profondeur_trace());
}

// Kept: the count is a total of requests (refused ones too), never lowered by a release; the
// exported counters stay 0.
TEST_F(RuntimeTest, AccountedMemory) {
  MC_Liberer(MC_Allouer(100));
  mc::testing::faire_echouer_allocation(1);
  void* bloc = MC_Allouer(8);
  EXPECT_NE(nullptr, bloc);
  EXPECT_EQ(nullptr, MC_Allouer(50));
  MC_Liberer(bloc);
  EXPECT_EQ(158u, mc::memoire_allouee());
  EXPECT_EQ(158u, mc::memoire_max());
  EXPECT_EQ(0u, ulMemAllouee);
  EXPECT_EQ(0u, ulMaxAlloue);
}

// The length leaves the position as it was; 4 GiB or more, or a pipe, fails.
TEST_F(RuntimeTest, FileLengths) {
  const std::string path = temp_path("bin");
  const struct {
    off_t taille, position;
    uint16_t code;
  } cas[] = {{0, 0, 0}, {10, 3, 0}, {10, 10, 0}, {70000, 65537, 0}, {0xFFFFFFFE, 5, 0},
             {0xFFFFFFFF, 5, MC_ERR_FICHIER}, {0x100000005, 5, MC_ERR_FICHIER}};
  for (const auto& c : cas) {
    SCOPED_TRACE(c.taille);
    write_file(path, {});
    ASSERT_EQ(0, truncate(path.c_str(), c.taille));
    FILE* f = std::fopen(path.c_str(), "rb");
    ASSERT_EQ(0, fseeko(f, c.position, SEEK_SET));
    uint32_t longueur = 7;
    EXPECT_CODE(c.code, MC_usLongueurFichier(f, &longueur));
    EXPECT_EQ(c.code ? 0xFFFFFFFFu : uint32_t(c.taille), longueur);
    if (c.code == 0) { EXPECT_EQ(c.position, ftello(f)); }
    std::fclose(f);
  }
  std::remove(path.c_str());
  FILE* tube = popen("true", "r");
  uint32_t longueur = 7;
  EXPECT_CODE(MC_ERR_FICHIER, MC_usLongueurFichier(tube, &longueur));
  pclose(tube);
}

// "directory/name" as given; 1023 characters is the longest full name.
TEST_F(RuntimeTest, FullFileNames) {
  const std::string r1021(1021, 'r');
  const struct {
    std::string repertoire, nom, attendu;
    uint16_t code;
  } cas[] = {{"/usr/local/norba/etc", "norba.ini", "/usr/local/norba/etc/norba.ini", 0},
             {"rep/", "f.adm", "rep//f.adm", 0},
             {"", "x", "/x", 0},
             {"d", "", "d/", 0},
             {r1021, "n", r1021 + "/n", 0},
             {r1021, "nn", "", MC_ERR_MEMOIRE},
             {std::string(4000, 'r'), "n", "", MC_ERR_MEMOIRE}};
  for (const auto& c : cas) {
    SCOPED_TRACE(c.attendu.size());
    char* complet = nullptr;
    EXPECT_CODE(c.code, MC_usCreerNomCompletFichier(c.repertoire.c_str(), c.nom.c_str(), &complet));
    EXPECT_EQ(c.attendu, complet == nullptr ? "" : complet);
    MC_Liberer(complet);
  }
  char* complet = nullptr;
  EXPECT_CODE(MC_ERR_ARGUMENT, MC_usCreerNomCompletFichier(nullptr, "n", &complet));
  EXPECT_CODE(MC_ERR_ARGUMENT, MC_usCreerNomCompletFichier("d", "n", nullptr));
  each_allocation_failure([&] {
    const uint32_t code = MC_usCreerNomCompletFichier("d", "n", &complet);
    MC_Liberer(code == 0 ? complet : nullptr);
    return code;
  });
}

}  // namespace
}  // namespace mc::test
