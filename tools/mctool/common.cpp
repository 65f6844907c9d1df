// common.cpp -- mctool's shared parts: the result code list, messages, files and hex text.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>
#include <iterator>

#include "tools/mctool/mctool.h"

namespace mctool {

int g_status = kOk;

const std::vector<CodeInfo>& codes() {
  static const std::vector<CodeInfo> list = {
#define MC_CODE(name, value, meaning) {#name, value, meaning},
#include "mc_codes.def"
#undef MC_CODE
  };
  return list;
}

std::string describe(uint32_t code) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%04X", static_cast<unsigned>(code));
  for (const CodeInfo& info : codes()) {
    if (info.value == code) {
      return std::string(text) + " " + info.name + " (" + info.meaning + ")";
    }
  }
  const auto family = [&](const char* name, uint32_t base, const std::string& meaning) {
    return std::string(text) + " " + name + " + " + std::to_string(code - base) + " (" + meaning + ")";
  };
  if (code > MC_ERR_NOMBRE_CHAMPS && code <= 0xAFFF) {
    const std::string g = std::to_string(code - MC_ERR_NOMBRE_CHAMPS);
    return family("MC_ERR_NOMBRE_CHAMPS", MC_ERR_NOMBRE_CHAMPS,
                  "group " + g + " of the zone has another number of fields than the dictionary says");
  }
  if (code > MC_ERR_GROUPE_INCONNU && code < MC_ERR_NOMBRE_CHAMPS) {
    const std::string g = std::to_string(code - MC_ERR_GROUPE_INCONNU);
    return family("MC_ERR_GROUPE_INCONNU", MC_ERR_GROUPE_INCONNU,
                  "group " + g + " of the zone is unknown to the dictionary");
  }
  if (code > MC_ERR_FORMAT_CHAMP && code <= 0x9FFF) {
    const std::string r = std::to_string(code - MC_ERR_FORMAT_CHAMP);
    return family("MC_ERR_FORMAT_CHAMP", MC_ERR_FORMAT_CHAMP,
                  "the field of rank " + r + " fails its type, length, presence or value check");
  }
  return std::string(text) + " (not a libmc result code)";
}

int fail(int status, const std::string& file, const std::string& what, std::optional<uint32_t> code) {
  std::string line = "mctool: " + (file.empty() ? "" : file + ": ") + what;
  if (code) {
    line += ": " + describe(*code);
  }
  std::cerr << line << "\n";
  return status;
}

void warn(const std::string& file, const std::string& what, std::optional<uint32_t> code) {
  fail(kOk, file, "warning: " + what, code);
}

bool read_bytes(const std::string& path, Bytes& out) {
  std::ifstream in(path, std::ios::binary);
  if (!in) {
    return false;
  }
  out.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  return !in.bad();
}

bool write_bytes(const std::string& path, const Bytes& bytes, unsigned mode) {
  const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, mode);
  if (fd < 0) {
    return false;
  }
  bool ok = ::fchmod(fd, mode) == 0;  // also when the file was there before
  size_t done = 0;
  while (ok && done < bytes.size()) {
    const ssize_t n = ::write(fd, bytes.data() + done, bytes.size() - done);
    if (n < 0 && errno == EINTR) {
      continue;
    }
    ok = n > 0;
    done += ok ? static_cast<size_t>(n) : 0;
  }
  return ::close(fd) == 0 && ok;
}

bool parse_hex(std::string_view text, Bytes& out) {
  out.clear();
  int high = -1;
  for (const char c : text) {
    int v = -1;
    if (c >= '0' && c <= '9') {
      v = c - '0';
    } else if (c >= 'a' && c <= 'f') {
      v = c - 'a' + 10;
    } else if (c >= 'A' && c <= 'F') {
      v = c - 'A' + 10;
    } else if (c == ' ' || c == '\n' || c == '\r' || c == '\t') {
      continue;
    } else {
      return false;
    }
    if (high < 0) {
      high = v;
    } else {
      out.push_back(static_cast<uint8_t>(high * 16 + v));
      high = -1;
    }
  }
  return high < 0;
}

std::string hex(const uint8_t* data, size_t size, const char* separator) {
  std::string out;
  char cell[4];
  for (size_t i = 0; i < size; ++i) {
    std::snprintf(cell, sizeof cell, "%02X", data[i]);
    out += (i == 0 ? "" : separator);
    out += cell;
  }
  return out;
}

std::string printable(const uint8_t* data, size_t size) {
  std::string out;
  char cell[8];
  for (size_t i = 0; i < size; ++i) {
    if (data[i] >= 0x20 && data[i] < 0x7F) {
      out += static_cast<char>(data[i]);
    } else {
      std::snprintf(cell, sizeof cell, "\\x%02X", data[i]);
      out += cell;
    }
  }
  return out;
}

bool parse_number(const std::string& text, uint32_t& value) {
  if (text.empty()) {
    return false;
  }
  char* end = nullptr;
  errno = 0;
  const unsigned long v = std::strtoul(text.c_str(), &end, 0);
  if (errno != 0 || *end != '\0' || text[0] == '-' || v > UINT32_MAX) {
    return false;
  }
  value = static_cast<uint32_t>(v);
  return true;
}

std::string dir_of(const std::string& path) {
  const size_t slash = path.rfind('/');
  return slash == std::string::npos ? "." : (slash == 0 ? "/" : path.substr(0, slash));
}

std::string base_of(const std::string& path) {
  const size_t slash = path.rfind('/');
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

void print_json(const ordered_json& value) {
  // Bytes that are not UTF-8 (Latin-1 values) come out as U+FFFD rather than stopping the output.
  std::cout << value.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) << "\n";
}

}  // namespace mctool
