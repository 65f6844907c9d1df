// mcfuzz.cpp -- the fuzz targets' shared set-up (see mcfuzz.h).
#include "fuzz/support/mcfuzz.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>

#include "config/mcinit.h"
#include "config/mcrepconf.h"
#include "dictionary/mctab.h"
#include "runtime/mctrace.h"
#include "tablefile/mcslot.h"
#include "zone/mczone.h"

namespace mc {

// The fuzz targets bring their own configuration directory, inside the process's scratch one, so
// that they never touch the build tree's nor each other's.
const char* repertoire_configuration() {
  static const std::string etc = fuzz::in_scratch("etc");
  return etc.c_str();
}

namespace fuzz {

const std::string& scratch() {
  // Never destroyed: the exit handler still needs it.
  static const std::string* const dir = [] {
    const char* base = std::getenv("TMPDIR");
    std::string pattern = std::string(base != nullptr && base[0] != '\0' ? base : "/tmp") +
                          "/mc_fuzz.XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) {
      std::abort();
    }
    std::filesystem::create_directory(pattern + "/etc");
    std::atexit([] {
      std::error_code ignored;
      std::filesystem::remove_all(scratch(), ignored);
    });
    return new std::string(pattern);
  }();
  return *dir;
}

std::string in_scratch(std::string_view name) { return scratch() + "/" + std::string(name); }

void write_file(const std::string& path, std::string_view bytes) {
  FILE* f = std::fopen(path.c_str(), "wb");
  check(f != nullptr);
  const size_t written = std::fwrite(bytes.data(), 1, bytes.size(), f);
  check(std::fclose(f) == 0 && written == bytes.size());
}

bool read_file(const std::string& path, std::string& bytes) {
  std::ifstream in(path, std::ios::binary);
  if (!in) {
    return false;
  }
  bytes.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  return true;
}

void write_config(std::string_view travail, std::string_view tables) {
  std::string ini = "[commun]\n";
  if (!travail.empty()) {
    ini += "repertoiretravail=" + std::string(travail) + "\n";
  }
  if (!tables.empty()) {
    ini += "repertoiretable=" + std::string(tables) + "\n";
  }
  write_file(std::string(repertoire_configuration()) + "/norba.ini", ini);
}

void check(bool condition) {
  if (!condition) {
    std::abort();
  }
}

uint8_t Input::byte() { return pos_ < size_ ? data_[pos_++] : 0; }

uint16_t Input::u16() {
  const uint16_t high = byte();
  return static_cast<uint16_t>(high << 8 | byte());
}

uint32_t Input::u32() {
  const uint32_t high = u16();
  return high << 16 | u16();
}

std::string_view Input::text() {
  const size_t start = pos_;
  while (pos_ < size_ && data_[pos_] != 0) {
    ++pos_;
  }
  const std::string_view t(reinterpret_cast<const char*>(data_ + start), pos_ - start);
  if (pos_ < size_) {
    ++pos_;
  }
  return t;
}

std::string_view Input::bytes(size_t n) {
  const size_t start = pos_ < size_ ? pos_ : size_;
  const size_t taken = n < size_ - start ? n : size_ - start;
  pos_ = start + taken;
  return {reinterpret_cast<const char*>(data_ + start), taken};
}

void reset_library() {
  mc::testing::reset_zones();
  mc::testing::reset_fichiers();
  mc::testing::reset_dictionnaire();
  mc::testing::reset_chargement();
  mc::testing::reset_trace();
}

}  // namespace fuzz
}  // namespace mc
