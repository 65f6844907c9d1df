// mctest.h -- helpers shared by the test programs: bytes in hex, codes printed in hex, temporary
// files inside the build tree, golden files and trace capture.
#ifndef MC_TESTS_SUPPORT_MCTEST_H
#define MC_TESTS_SUPPORT_MCTEST_H

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <ostream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "mc.h"

namespace mc::testing {
void reset_trace();
}

namespace mc::test {

using Bytes = std::vector<uint8_t>;

// "7F 81 80" or "7f8180" -> bytes; blanks are ignored.
Bytes hex(std::string_view text);
// Bytes of a text, without its terminating zero.
Bytes bytes_of(std::string_view text);
std::string to_hex(const Bytes& bytes);

// A result code that prints as 0xF807 on failure.
struct Code {
  uint32_t value;
  friend bool operator==(Code a, Code b) { return a.value == b.value; }
  friend void PrintTo(Code c, std::ostream* os);
};

#define EXPECT_CODE(expected, actual) \
  EXPECT_EQ(::mc::test::Code{static_cast<uint32_t>(expected)}, ::mc::test::Code{static_cast<uint32_t>(actual)})
#define ASSERT_CODE(expected, actual) \
  ASSERT_EQ(::mc::test::Code{static_cast<uint32_t>(expected)}, ::mc::test::Code{static_cast<uint32_t>(actual)})

// A path unique to the running test, in the build tree's temporary folder.
std::string temp_path(std::string_view suffix);
Bytes read_file(const std::string& path);
std::string read_text(const std::string& path);
void write_file(const std::string& path, const Bytes& bytes);
void write_text(const std::string& path, std::string_view text);
bool file_exists(const std::string& path);
// A file of tests/golden, e.g. golden_path("runtime/exemple.trace").
std::string golden_path(std::string_view name);
// The build-tree configuration directory of the test build.
std::string config_dir();

// Replaces every ctime text ("Sat Nov 21 05:43:00 2026") by "<date>".
std::string mask_dates(std::string text);
std::vector<std::string> split_lines(const std::string& text);

// Case tables and golden blocks of tests/golden, text files that read and diff well.
// A case file holds one case per line, its fields separated by " | " (blanks around a field are
// dropped); blank lines and lines starting with '#' are skipped. `where` is "file:line", for
// failure messages (SCOPED_TRACE(c.where)).
struct Case {
  std::string where;
  std::vector<std::string> fields;
  const std::string& operator[](size_t i) const { return fields.at(i); }
};
std::vector<Case> read_cases(std::string_view golden_name);
// A block file holds named blocks: a line "== name" starts a block, the lines up to the next
// header are its text (each line ending in '\n'); lines before the first header are comments.
std::vector<std::pair<std::string, std::string>> read_blocks(std::string_view golden_name);
// "0xF807", "61447", "-1" -> the number (strtoll with base 0).
int64_t number(const std::string& field);
// A field with C escapes (\n \t \\ \xHH, \0 for a zero byte, \| for '|') -> its bytes.
std::string unescape(std::string_view field);

// Memory shortage, one allocation at a time. `operation` prepares, runs and undoes one operation
// and returns its code. It is run once to count its allocations n (and must give `success` then),
// then n times with the k-th allocation failing (k = 0 .. n-1), each time followed by one more run
// without failure that must give `success` again. `expect(k, code)` checks the failing runs; the
// default expects 0xF801. Leaks show under LeakSanitizer at the end of the program.
void each_allocation_failure(const std::function<uint32_t()>& operation, uint32_t success = 0,
                             const std::function<void(uint32_t k, uint32_t code)>& expect = {});

// The state of the runtime layer (trace registrations and file, memory counters and pending
// allocation failure) reset before and after each test; the fixtures of the layers above derive
// from it. With `balanced`, each test must also give back every block it took.
class RuntimeState : public ::testing::Test {
 protected:
  explicit RuntimeState(bool balanced = false) : balanced_(balanced) {}
  void SetUp() override;
  void TearDown() override;

 private:
  bool balanced_;
};

// Opens a trace file for the given (module, trace, level) registrations; closes it on destruction.
class TraceCapture {
 public:
  struct Pair {
    uint16_t module;
    uint16_t trace;
    uint8_t level;
  };
  TraceCapture(std::initializer_list<Pair> pairs, const char* mode = "w");
  // Every library trace number (module 1, traces 1 to 8) at the given level.
  static TraceCapture all(uint8_t level = 2);
  ~TraceCapture();
  TraceCapture(const TraceCapture&) = delete;
  TraceCapture& operator=(const TraceCapture&) = delete;
  TraceCapture(TraceCapture&& other) noexcept;
  TraceCapture& operator=(TraceCapture&&) = delete;

  const std::string& path() const { return path_; }
  // Closes the trace (level 0) if still open.
  void stop();
  std::string text() const;
  std::vector<std::string> lines() const;

 private:
  std::string path_;
  bool open_ = false;
};

}  // namespace mc::test

#endif  // MC_TESTS_SUPPORT_MCTEST_H
