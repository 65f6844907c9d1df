// tftest.h -- the one fixture of the table file tests: a fresh directory per test and every state
// of the subsystem reset; crafted file bytes, the CRC16 bit by bit, a tmpfs that fills up, and
// Nettle as the signatures' independent reference (nettle_ref.cpp).
#ifndef MC_TESTS_TABLEFILE_TFTEST_H
#define MC_TESTS_TABLEFILE_TFTEST_H

#include <nettle/rsa.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "runtime/mcmemoir.h"
#include "support/mctest.h"
#include "tablefile/mccrc.h"
#include "tablefile/mcecritu.h"
#include "tablefile/mcsign.h"
#include "tablefile/mcslot.h"

namespace mc::test {

// The CRC16 of the format bit by bit, over bytes `from` to the end; the stored value (bytes of the
// register swapped). The one reference beside the known values of crc.cases.
inline uint16_t crc_reference(const Bytes& data, size_t from = 0) {
  uint32_t r = 0;
  for (size_t i = from; i < data.size(); ++i) {
    r |= static_cast<uint32_t>(data[i]) << 16;
    for (int k = 0; k < 8; ++k) r = (r & 1u) != 0 ? (r >> 1) ^ 0x8408 : r >> 1;
  }
  return static_cast<uint16_t>(((r >> 8) & 0xFF) | ((r & 0xFF) << 8));
}

inline bool has_line(const std::vector<std::string>& lines, const std::string& wanted) {
  return std::any_of(lines.begin(), lines.end(), [&](const std::string& l) {
    const size_t start = l.find_first_not_of(' ');
    return start != std::string::npos && l.compare(start, std::string::npos, wanted) == 0;
  });
}

// The header of the format's example: versions 0100, fields 00001 20260115 0100 00002 0000000003.
inline EnteteFichierBinaire entete_exemple(const char* name = "tablebin.tbx", const char* comment = "essai") {
  EnteteFichierBinaire e;
  memset(&e, 0, sizeof e);
  const auto set = [](char* field, size_t size, const char* text) { memcpy(field, text, strnlen(text, size - 1)); };
  set(e.szNomFichier, sizeof e.szNomFichier, name);
  set(e.szVersion, sizeof e.szVersion, "0100");
  set(e.szTexte5, sizeof e.szTexte5, "00001");
  set(e.szTexte8, sizeof e.szTexte8, "20260115");
  set(e.szVersionRequise, sizeof e.szVersionRequise, "0100");
  set(e.szTexte5b, sizeof e.szTexte5b, "00002");
  set(e.szTexte10, sizeof e.szTexte10, "0000000003");
  set(e.szCommentaire, sizeof e.szCommentaire, comment);
  return e;
}

// A table header to write: the name padded with spaces to 10 characters.
inline EnteteTable entete_table(const char* name, uint32_t records = 0) {
  EnteteTable t;
  memset(&t, 0, sizeof t);
  memset(t.szNomTable, ' ', 10);
  memcpy(t.szNomTable, name, strnlen(name, 10));
  t.ulNombreEnregistrements = records;
  return t;
}

// The 95 bytes of the format's example file.
inline Bytes exemple_95() {
  return hex(
      "36 43 41 38 20 74 61 62 6C 65 62 69 6E 2E 74 62 78 20 30 31 30 30 20 30 30 30 30 31 20 32 30 32 "
      "36 30 31 31 35 20 30 31 30 30 20 30 30 30 30 32 20 30 30 30 30 30 30 30 30 30 33 20 65 73 73 61 "
      "69 0D 0A 1A 54 45 53 54 20 20 20 20 20 20 00 00 00 02 00 00 00 01 00 00 00 00 00 00 00 01 02");
}

// Header bytes (63 + comment) of a file named `name`, control text "0000".
inline Bytes entete_octets(std::string name, const std::string& comment) {
  name.resize(12, ' ');
  return bytes_of("0000 " + name + " 0100 00001 20260115 0100 00002 0000000003 " + comment + "\r\n\x1a");
}

// A table as bytes: header with list1 + list2 descriptor entries of 5 bytes, then the data.
inline Bytes table_octets(std::string name, const Bytes& data, uint32_t records = 1, uint8_t list1 = 0,
                          uint8_t list2 = 0) {
  name.resize(10, ' ');
  Bytes out = bytes_of(name);
  for (uint32_t v : {static_cast<uint32_t>(data.size()), records, 0u}) {
    for (int s = 24; s >= 0; s -= 8) out.push_back(static_cast<uint8_t>(v >> s));
  }
  out.insert(out.end(), {list1, list2, 0});
  for (int i = 0; i < 5 * (list1 + list2); ++i) out.push_back(static_cast<uint8_t>(0xD0 + i % 16));
  out.insert(out.end(), data.begin(), data.end());
  return out;
}

inline Bytes concat(std::initializer_list<Bytes> parts) {
  Bytes out;
  for (const Bytes& p : parts) out.insert(out.end(), p.begin(), p.end());
  return out;
}

// Writes the CRC text of a complete file content into its first four bytes.
inline void sceller_crc(Bytes& file) {
  char text[5];
  snprintf(text, sizeof text, "%04X", crc_reference(file, 4));
  memcpy(file.data(), text, 4);
}

// "41 7A*3" -> 41 7A 7A 7A.
inline Bytes data_of(const std::string& field) {
  Bytes out;
  char token[16];
  for (const char* p = field.c_str(); sscanf(p, "%15s", token) == 1; p = strstr(p, token) + strlen(token)) {
    const char* star = strchr(token, '*');
    out.insert(out.end(), star != nullptr ? std::stoul(star + 1) : 1, static_cast<uint8_t>(strtoul(token, nullptr, 16)));
  }
  return out;
}
// A text field: rep:N (letters a..z), rep:cN (N times c) or escaped bytes.
inline std::string text_of(const std::string& v) {
  if (v.rfind("rep:", 0) != 0) return unescape(v);
  std::string t;
  if (isdigit(static_cast<unsigned char>(v[4])) == 0) return std::string(std::stoul(v.substr(5)), v[4]);
  for (size_t i = 0, n = std::stoul(v.substr(4)); i < n; ++i) t += static_cast<char>('a' + i % 26);
  return t;
}
inline double double_of(const std::string& v) {
  return v.rfind("next:", 0) == 0 ? std::nextafter(strtod(v.c_str() + 5, nullptr), 0.0) : strtod(v.c_str(), nullptr);
}
inline std::vector<uint16_t> units_of(const std::string& v) {
  const Bytes b = hex(v);
  std::vector<uint16_t> u(b.size() / 2);
  for (size_t i = 0; i < u.size(); ++i) u[i] = static_cast<uint16_t>(b[2 * i] << 8 | b[2 * i + 1]);
  return u;
}

inline uint32_t g_block = 0;        // bytes allocated by the last string read
inline bool g_compare_failed = true;  // a failed read is compared too (a cut file: only the good ones)

inline uint16_t write_value(uint16_t n, const std::string& type, const std::string& v) {
  const auto i = [&] { return number(v); };
  if (type == "uc") return MC_usEcrireUnsignedChar(n, static_cast<uint8_t>(i()));
  if (type == "sc") return MC_usEcrireSignedChar(n, static_cast<int8_t>(i()));
  if (type == "us") return MC_usEcrireUnsignedShort(n, static_cast<uint16_t>(i()));
  if (type == "ss") return MC_usEcrireSignedShort(n, static_cast<int16_t>(i()));
  if (type == "ul") return MC_usEcrireUnsignedLong(n, static_cast<uint32_t>(i()));
  if (type == "sl") return MC_usEcrireSignedLong(n, static_cast<int32_t>(i()));
  if (type == "dbl") return MC_usEcrireDouble(n, double_of(v));
  if (type == "date") {
    unsigned y = 0, m = 0, d = 0;
    sscanf(v.c_str(), "%u %u %u", &y, &m, &d);
    return MC_usEcrireDate(n, static_cast<uint16_t>(y), static_cast<uint8_t>(m), static_cast<uint8_t>(d));
  }
  if (type == "fix") {
    const std::string t = unescape(v);
    return v.rfind("null:", 0) == 0 ? MC_usEcrireChampFixe(n, nullptr, static_cast<uint32_t>(std::stoul(v.substr(5))))
                                    : MC_usEcrireChampFixe(n, t.data(), static_cast<uint32_t>(t.size()));
  }
  if (type == "uni") {
    const auto u = units_of(v);
    return MC_usEcrireChampUnicodeFixe(n, u.data(), static_cast<uint32_t>(u.size()));
  }
  return MC_usEcrireChaineVariable(n, v == "null" ? nullptr : text_of(v).c_str());
}

// Reads one value of `type` and compares it with `v` ("-": the target must stay as it was).
inline uint16_t read_value(uint16_t n, const std::string& type, const std::string& v) {
  const bool same = v == "-";
  const auto check = [&](auto read, auto sentinel, auto expected) {
    auto r = sentinel;
    const uint16_t code = read(n, &r);
    if (code == 0 || g_compare_failed) { EXPECT_EQ(same ? sentinel : expected, r); }
    return code;
  };
  const auto i = [&] { return same ? 0 : number(v); };
  if (type == "uc") return check(MC_usLireUnsignedChar, uint8_t{0x5A}, static_cast<uint8_t>(i()));
  if (type == "sc") return check(MC_usLireSignedChar, int8_t{0x5A}, static_cast<int8_t>(i()));
  if (type == "us") return check(MC_usLireUnsignedShort, uint16_t{0x5A5A}, static_cast<uint16_t>(i()));
  if (type == "ss") return check(MC_usLireSignedShort, int16_t{0x5A5A}, static_cast<int16_t>(i()));
  if (type == "ul") return check(MC_usLireUnsignedLong, uint32_t{0x5A5A5A5A}, static_cast<uint32_t>(i()));
  if (type == "sl") return check(MC_usLireSignedLong, int32_t{0x5A5A5A5A}, static_cast<int32_t>(i()));
  if (type == "dbl") return check(MC_usLireDouble, 4.5, same ? 0.0 : double_of(v));
  if (type == "date") {
    uint16_t y = 0x5A5A;
    uint8_t m = 0x5A, d = 0x5A;
    const uint16_t code = MC_usLireDate(n, &y, &m, &d);
    char text[32];
    snprintf(text, sizeof text, "%u %u %u", y, m, d);
    if (code == 0 || g_compare_failed) { EXPECT_EQ(same ? "23130 90 90" : v, text); }
    return code;
  }
  if (type == "fix" || type == "fix4") {
    const std::string t = same ? std::string(4, 'Z') : unescape(v.rfind("null:", 0) == 0 ? "" : v);
    std::string r(t.size(), 'Z');
    const uint16_t code = MC_usLireChampFixe(n, r.data(), static_cast<uint32_t>(r.size()));
    if (code == 0 || g_compare_failed) { EXPECT_EQ(to_hex(bytes_of(t)), to_hex(bytes_of(r))); }
    return code;
  }
  if (type == "uni" || type == "uni3") {
    const auto u = same ? std::vector<uint16_t>(3, 0x5A5A) : units_of(v);
    std::vector<uint16_t> r(u.size(), 0x5A5A);
    const uint16_t code = MC_usLireChampUnicodeFixe(n, r.data(), static_cast<uint32_t>(r.size()));
    if (code == 0 || g_compare_failed) { EXPECT_EQ(u, r); }
    return code;
  }
  char* r = reinterpret_cast<char*>(1);
  const uint32_t before = memoire_allouee();
  const uint16_t code = MC_usLireChaineVariable(n, &r);
  g_block = memoire_allouee() - before;
  if (v == "null") {
    EXPECT_EQ(nullptr, r);
  } else if (code == 0 || g_compare_failed) {
    EXPECT_EQ(text_of(v), r != nullptr ? std::string(r) : "(null)");
  }
  if (r != reinterpret_cast<char*>(1)) MC_Liberer(r);
  return code;
}

// Nettle (nettle_ref.cpp): keys from RSAREF records, MD5 PKCS #1 v1.5.
struct RsaKey {
  rsa_public_key pub;
  rsa_private_key priv;
  RsaKey();
  ~RsaKey();
  RsaKey(const RsaKey&) = delete;
  RsaKey& operator=(const RsaKey&) = delete;
};
using Key = std::unique_ptr<RsaKey>;
bool crypto_allocations_counted();  // libcrypto allocates through compter_allocation()
std::string dev_private_key_path();
R_RSA_PRIVATE_KEY dev_private_record();  // keys/ parsed here: "1024" then the eight fields
Key nettle_private_key(const R_RSA_PRIVATE_KEY& record);
Key nettle_generate(unsigned bits);
R_RSA_PRIVATE_KEY private_record(const RsaKey& key);
R_RSA_PUBLIC_KEY public_record(const R_RSA_PRIVATE_KEY& record);
Bytes key_file_bytes(const R_RSA_PRIVATE_KEY& record, const std::string& after_digits = "");
Bytes nettle_sign(const RsaKey& key, const Bytes& message);
bool nettle_verify(const RsaKey& key, const Bytes& message, const Bytes& signature);

class TableFileTest : public ::testing::Test {
 protected:
  void SetUp() override {
    reset();
    dir_ = temp_path("dir");
    ASSERT_EQ(0, mkdir(dir_.c_str(), 0755));
  }
  void TearDown() override { reset(); }
  static void reset() {
    mc::testing::reset_fichiers();
    mc::testing::reset_trace();
    mc::testing::reset_memoire();
  }
  std::string path(const std::string& name) const { return dir_ + "/" + name; }
  uint16_t ouvrir(const std::string& name, uint16_t type, uint16_t* num, EnteteFichierBinaire* e = nullptr) {
    EnteteFichierBinaire local;
    *num = 0;
    return MC_usInitialiserFichierBinaire(dir_.c_str(), name.c_str(), type, num, e != nullptr ? e : &local);
  }
  uint16_t creer(const std::string& name, uint16_t type, uint16_t* num, const EnteteFichierBinaire& e) {
    return MC_usCreerFichierBinaire(dir_.c_str(), name.c_str(), type, &e, num);
  }
  // Writes `bytes` to dir_/name and opens it; the number (0 when the opening failed).
  uint16_t ouvrir_octets(const std::string& name, const Bytes& bytes, uint16_t type, uint16_t expected = 0) {
    write_file(path(name), bytes);
    uint16_t num = 0;
    EXPECT_CODE(expected, ouvrir(name, type, &num));
    return num;
  }
  std::string dir_;
};

}  // namespace mc::test

#endif  // MC_TESTS_TABLEFILE_TFTEST_H
