// mcfuzz.h -- what the fuzz targets share: a scratch directory per process that is also the
// configuration directory, whole-file writes and reads, a reader of the input's bytes, and a
// check that aborts so that the fuzzer records the input.
#ifndef MC_FUZZ_SUPPORT_MCFUZZ_H
#define MC_FUZZ_SUPPORT_MCFUZZ_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace mc::fuzz {

// A directory of its own for this process, removed with its content at exit. The library's
// configuration directory (norba.ini, WriteIniTmp.txt) is its sub-directory "etc".
const std::string& scratch();
std::string in_scratch(std::string_view name);

// Writes (replaces) a whole file; aborts when the scratch directory cannot be written.
void write_file(const std::string& path, std::string_view bytes);
// The whole file, or false when it cannot be read.
bool read_file(const std::string& path, std::string& bytes);
// Writes norba.ini with section commun holding the keys given (an empty value: no key).
void write_config(std::string_view travail, std::string_view tables);

// Aborts when the condition does not hold: the fuzzer keeps the input as a crash.
void check(bool condition);

// Takes the input apart from the front; past its end every read gives zeros or empty texts.
class Input {
 public:
  Input(const uint8_t* data, size_t size) : data_(data), size_(size) {}
  uint8_t byte();
  uint16_t u16();
  uint32_t u32();
  // Up to the next zero byte (consumed), or to the end.
  std::string_view text();
  // At most n bytes.
  std::string_view bytes(size_t n);
  std::string_view rest() { return bytes(size_ - pos_); }
  bool empty() const { return pos_ >= size_; }

 private:
  const uint8_t* data_;
  size_t size_;
  size_t pos_ = 0;
};

// Forgets every zone, file slot, dictionary table, trace registration and the load counter, so
// that each input starts from the state of a freshly loaded library.
void reset_library();

}  // namespace mc::fuzz

#endif  // MC_FUZZ_SUPPORT_MCFUZZ_H
