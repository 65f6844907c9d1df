// tools_test.cpp -- mctool: every subcommand's output against its golden file (case table
// cases.txt), --json read back, and dictionaries compiled, decompiled and compiled again.
#include <fstream>
#include <nlohmann/json.hpp>
#include <random>
#include <sstream>

#include "dictionary/dev/mcdicosrc.h"
#include "support/mctest.h"

namespace mc::test {
namespace {

struct Case {
  std::string name;
  std::string command;
};

std::string here() { return std::string(MC_TEST_SOURCE_DIR) + "/tests/tools"; }

// Runs a shell command in dir with mctool on the PATH; stdout, stderr and the exit status.
std::string run(const std::string& dir, const std::string& command, std::string* out = nullptr) {
  const std::string env = "cd '" + dir + "' && PATH='" + MC_TEST_MCTOOL_DIR + "':\"$PATH\" DICO='" +
                          MC_TEST_SOURCE_DIR + "/dictionary/dev/dictionnaire.dico' KEYS='" + MC_TEST_SOURCE_DIR +
                          "/keys' ZONES='" + here() + "/zones.txt' LSAN_OPTIONS=print_suppressions=0 ";
  write_text(dir + "/.cmd", command + "\n");
  const int status = std::system((env + "sh .cmd >.out 2>.err").c_str());
  const std::string stdout_text = read_text(dir + "/.out");
  if (out != nullptr) {
    *out = stdout_text;
  }
  return stdout_text + "--- stderr\n" + read_text(dir + "/.err") + "--- exit " +
         std::to_string(WIFEXITED(status) ? WEXITSTATUS(status) : -1) + "\n";
}

class Mctool : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    dir_ = temp_path("mctool");
    ASSERT_EQ(0, std::system(("rm -rf '" + dir_ + "' && mkdir -p '" + dir_ + "'").c_str()));
    std::ifstream table(here() + "/cases.txt");
    for (std::string line; std::getline(table, line);) {
      if (line.rfind("> ", 0) == 0) {
        const std::string result = run(dir_, line.substr(2));
        ASSERT_NE(std::string::npos, result.find("--- exit 0\n")) << line << "\n" << result;
      } else if (const size_t bar = line.find(" | "); line[0] != '#' && bar != std::string::npos) {
        cases_.push_back({line.substr(0, line.find(' ')), line.substr(bar + 3)});
      }
    }
  }
  static inline std::string dir_;
  static inline std::vector<Case> cases_;
};

TEST_F(Mctool, EverySubcommandMatchesItsGoldenOutput) {
  ASSERT_GT(cases_.size(), 40u);
  for (const Case& c : cases_) {
    SCOPED_TRACE(c.name + ": " + c.command);
    std::string out;
    const std::string result = run(dir_, c.command, &out);
    const std::string golden = golden_path("tools/" + c.name + ".txt");
    if (std::getenv("MC_UPDATE_GOLDEN") != nullptr) {
      write_text(golden, result);
    }
    EXPECT_EQ(read_text(golden), result);
    if (c.command.find("--json") != std::string::npos) {
      const auto json = nlohmann::json::parse(out, nullptr, false);
      ASSERT_FALSE(json.is_discarded()) << out;
      if (c.name == "tbx_info_json") {
        EXPECT_EQ(3u, json.at("tables").size());
        EXPECT_EQ("tablebin.tbx", json.at("header").at("name"));
        EXPECT_EQ(true, json.at("protection").at("crc").at("matches"));
      }
    }
  }
}

// Random dictionaries as the library's writer makes them: decompiled, then compiled again, they
// give the same bytes.
TEST_F(Mctool, CompileOfDecompileGivesTheSameFile) {
  std::mt19937 random(14);
  const auto pick = [&](uint32_t n) { return static_cast<uint32_t>(random() % n); };
  const std::vector<std::string> words = {"", "A", "EN COURS", "#1", ":", "x\"y", "12", "\xe9t\xe9"};
  for (int round = 0; round < 6; ++round) {
    SCOPED_TRACE(round);
    dev::Dictionnaire dico;
    for (uint32_t g = pick(6); g > 0; --g) {
      dev::Groupe group;
      group.code = static_cast<uint16_t>(random());
      for (uint32_t f = pick(5); f > 0; --f) {
        dev::Champ field;
        field.type = "DALNX?"[pick(6)];
        field.obligatoire = static_cast<int32_t>(pick(2));
        field.longueur_min = static_cast<uint16_t>(pick(300));
        field.longueur_max = static_cast<uint16_t>(pick(3) == 0 ? 0 : pick(70000));
        field.information = pick(2) == 0 ? 0 : static_cast<int32_t>(random());
        for (uint32_t v = pick(4); v > 0; --v) {
          field.valeurs.push_back(words[pick(static_cast<uint32_t>(words.size()))]);
        }
        group.champs.push_back(field);
      }
      dico.groupes.push_back(group);
    }
    dev::Options options;
    options.commentaire = "tour " + std::to_string(round);
    const std::string dir = dir_ + "/rt" + std::to_string(round);
    ASSERT_EQ(0, std::system(("mkdir -p '" + dir + "/again'").c_str()));
    ASSERT_CODE(0, dev::ecrire_table(dir, dico, options));
    const std::string result = run(dir, "mctool dict decompile tablebin.tbx -o s.dico && mctool dict compile s.dico -o again");
    EXPECT_EQ("--- stderr\n--- exit 0\n", result) << read_text(dir + "/s.dico");
    EXPECT_EQ(read_file(dir + "/tablebin.tbx"), read_file(dir + "/again/tablebin.tbx"));
  }
}

}  // namespace
}  // namespace mc::test
