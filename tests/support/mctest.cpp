// mctest.cpp -- shared test helpers.
#include "support/mctest.h"

#include "runtime/mcmemoir.h"

#include <atomic>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iomanip>
#include <iterator>
#include <sstream>
#include <sys/stat.h>
#include <unistd.h>

namespace mc::test {

Bytes hex(std::string_view text) {
  Bytes out;
  int high = -1;
  for (char c : text) {
    if (std::isspace(static_cast<unsigned char>(c))) {
      continue;
    }
    int v = 0;
    if (c >= '0' && c <= '9') {
      v = c - '0';
    } else if (c >= 'a' && c <= 'f') {
      v = c - 'a' + 10;
    } else if (c >= 'A' && c <= 'F') {
      v = c - 'A' + 10;
    } else {
      ADD_FAILURE() << "bad hex digit '" << c << "' in " << text;
      return out;
    }
    if (high < 0) {
      high = v;
    } else {
      out.push_back(static_cast<uint8_t>(high * 16 + v));
      high = -1;
    }
  }
  if (high >= 0) {
    ADD_FAILURE() << "odd number of hex digits in " << text;
  }
  return out;
}

Bytes bytes_of(std::string_view text) { return Bytes(text.begin(), text.end()); }

std::string to_hex(const Bytes& bytes) {
  std::ostringstream os;
  for (size_t i = 0; i < bytes.size(); ++i) {
    os << (i ? " " : "") << std::uppercase << std::hex << std::setw(2) << std::setfill('0')
       << static_cast<int>(bytes[i]);
  }
  return os.str();
}

void PrintTo(Code c, std::ostream* os) {
  *os << "0x" << std::uppercase << std::hex << std::setw(4) << std::setfill('0') << c.value;
}

std::string temp_path(std::string_view suffix) {
  static std::atomic<int> counter{0};
  std::string name = "test";
  if (const auto* info = ::testing::UnitTest::GetInstance()->current_test_info()) {
    name = std::string(info->test_suite_name()) + "." + info->name();
  }
  for (char& c : name) {
    if (!std::isalnum(static_cast<unsigned char>(c)) && c != '.' && c != '_' && c != '-') {
      c = '_';
    }
  }
  return std::string(MC_TEST_TMP_DIR) + "/" + name + "." + std::to_string(getpid()) + "." +
         std::to_string(counter++) + "." + std::string(suffix);
}

Bytes read_file(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return Bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

std::string read_text(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

void write_file(const std::string& path, const Bytes& bytes) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

void write_text(const std::string& path, std::string_view text) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(text.data(), static_cast<std::streamsize>(text.size()));
}

bool file_exists(const std::string& path) {
  struct stat st {};
  return stat(path.c_str(), &st) == 0;
}

std::string golden_path(std::string_view name) {
  return std::string(MC_TEST_GOLDEN_DIR) + "/" + std::string(name);
}

std::string config_dir() { return MC_TEST_CONFIG_DIR; }

namespace {

bool one_of(std::string_view text, size_t at, std::string_view choices) {
  // choices: three-letter names separated by blanks
  for (size_t i = 0; i + 3 <= choices.size(); i += 4) {
    if (text.compare(at, 3, choices.substr(i, 3)) == 0) {
      return true;
    }
  }
  return false;
}

bool digits(std::string_view text, size_t at, size_t count) {
  for (size_t i = at; i < at + count; ++i) {
    if (!std::isdigit(static_cast<unsigned char>(text[i]))) {
      return false;
    }
  }
  return true;
}

// "Sat Nov 21 05:43:00 2026": the 24 characters of a ctime text.
bool is_ctime(std::string_view text, size_t at) {
  constexpr size_t kLength = 24;
  if (at + kLength > text.size()) {
    return false;
  }
  return one_of(text, at, "Mon Tue Wed Thu Fri Sat Sun") && text[at + 3] == ' ' &&
         one_of(text, at + 4, "Jan Feb Mar Apr May Jun Jul Aug Sep Oct Nov Dec") &&
         text[at + 7] == ' ' && (text[at + 8] == ' ' || digits(text, at + 8, 1)) &&
         digits(text, at + 9, 1) && text[at + 10] == ' ' && digits(text, at + 11, 2) &&
         text[at + 13] == ':' && digits(text, at + 14, 2) && text[at + 16] == ':' &&
         digits(text, at + 17, 2) && text[at + 19] == ' ' && digits(text, at + 20, 4);
}

}  // namespace

std::string mask_dates(std::string text) {
  std::string out;
  out.reserve(text.size());
  for (size_t i = 0; i < text.size();) {
    if (is_ctime(text, i)) {
      out += "<date>";
      i += 24;
    } else {
      out.push_back(text[i++]);
    }
  }
  return out;
}

std::vector<std::string> split_lines(const std::string& text) {
  std::vector<std::string> lines;
  std::string current;
  for (char c : text) {
    if (c == '\n') {
      lines.push_back(current);
      current.clear();
    } else {
      current.push_back(c);
    }
  }
  if (!current.empty()) {
    lines.push_back(current);
  }
  return lines;
}

void each_allocation_failure(const std::function<uint32_t()>& operation, uint32_t success,
                             const std::function<void(uint32_t k, uint32_t code)>& expect) {
  const uint32_t before = mc::testing::nombre_allocations();
  ASSERT_CODE(success, operation()) << "without any failure";
  const uint32_t count = mc::testing::nombre_allocations() - before;
  for (uint32_t k = 0; k < count; ++k) {
    SCOPED_TRACE(::testing::Message() << "allocation " << k << " of " << count << " fails");
    mc::testing::faire_echouer_allocation(k);
    const uint32_t code = operation();
    mc::testing::annuler_echec_allocation();
    if (expect) {
      expect(k, code);
    } else {
      EXPECT_CODE(MC_ERR_MEMOIRE, code);
    }
    EXPECT_CODE(success, operation()) << "run again after the failure";
  }
}

void RuntimeState::SetUp() {
  mc::testing::reset_trace();
  mc::testing::reset_memoire();
}

void RuntimeState::TearDown() {
  mc::testing::reset_trace();
  if (balanced_) {
    EXPECT_EQ(mc::testing::nombre_allocations(), mc::testing::nombre_liberations());
  }
  mc::testing::reset_memoire();
}

TraceCapture::TraceCapture(std::initializer_list<Pair> pairs, const char* mode)
    : path_(temp_path("trace")) {
  mc::testing::reset_trace();
  std::remove(path_.c_str());
  for (const Pair& p : pairs) {
    const uint16_t cr = MC_usActiverTrace(path_.c_str(), mode, p.module, p.trace, p.level);
    EXPECT_CODE(0, cr) << "activating trace (" << p.module << ", " << p.trace << ")";
  }
  open_ = MC_bTraceActive() != 0;
}

TraceCapture TraceCapture::all(uint8_t level) {
  return TraceCapture({{1, 1, level}, {1, 2, level}, {1, 3, level}, {1, 4, level},
                       {1, 5, level}, {1, 6, level}, {1, 7, level}, {1, 8, level}});
}

TraceCapture::TraceCapture(TraceCapture&& other) noexcept
    : path_(std::move(other.path_)), open_(std::exchange(other.open_, false)) {}

TraceCapture::~TraceCapture() { stop(); }

void TraceCapture::stop() {
  if (open_ && MC_bTraceActive()) {
    MC_usActiverTrace(path_.c_str(), "w", 1, 1, 0);
  }
  open_ = false;
}

std::string TraceCapture::text() const { return read_text(path_); }

std::vector<std::string> TraceCapture::lines() const { return split_lines(mask_dates(text())); }


namespace {
std::string trim(std::string_view text) {
  const size_t b = text.find_first_not_of(" \t\r");
  if (b == std::string_view::npos) {
    return {};
  }
  return std::string(text.substr(b, text.find_last_not_of(" \t\r") - b + 1));
}
}  // namespace

std::vector<Case> read_cases(std::string_view golden_name) {
  std::vector<Case> cases;
  const std::vector<std::string> lines = split_lines(read_text(golden_path(golden_name)));
  for (size_t n = 0; n < lines.size(); ++n) {
    const std::string line = trim(lines[n]);
    if (line.empty() || line[0] == '#') {
      continue;
    }
    Case c{std::string(golden_name) + ":" + std::to_string(n + 1), {}};
    size_t start = 0;
    for (size_t i = 0; i <= line.size(); ++i) {
      if (i == line.size() || (line[i] == '|' && (i == 0 || line[i - 1] != '\\'))) {
        c.fields.push_back(trim(std::string_view(line).substr(start, i - start)));
        start = i + 1;
      }
    }
    cases.push_back(std::move(c));
  }
  EXPECT_FALSE(cases.empty()) << golden_name;
  return cases;
}

std::vector<std::pair<std::string, std::string>> read_blocks(std::string_view golden_name) {
  std::vector<std::pair<std::string, std::string>> blocks;
  for (const std::string& line : split_lines(read_text(golden_path(golden_name)))) {
    if (line.rfind("== ", 0) == 0) {
      blocks.emplace_back(line.substr(3), std::string());
    } else if (!blocks.empty()) {
      blocks.back().second += line + "\n";
    }
  }
  EXPECT_FALSE(blocks.empty()) << golden_name;
  return blocks;
}

int64_t number(const std::string& field) {
  char* end = nullptr;
  const long long value = std::strtoll(field.c_str(), &end, 0);
  EXPECT_TRUE(!field.empty() && *end == '\0') << "not a number: " << field;
  return value;
}

std::string unescape(std::string_view field) {
  std::string out;
  for (size_t i = 0; i < field.size(); ++i) {
    if (field[i] != '\\' || i + 1 == field.size()) {
      out += field[i];
      continue;
    }
    const char c = field[++i];
    switch (c) {
      case 'n': out += '\n'; break;
      case 't': out += '\t'; break;
      case 'r': out += '\r'; break;
      case '0': out += '\0'; break;
      case 'x':
        out += static_cast<char>(std::stoi(std::string(field.substr(i + 1, 2)), nullptr, 16));
        i += 2;
        break;
      default: out += c; break;  // \\ \| and any other character stand for themselves
    }
  }
  return out;
}

}  // namespace mc::test
