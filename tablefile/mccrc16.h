// mccrc16.h -- the table files' CRC16 (reflected 0x8408, register from 0, no augmentation) with
// compile-time slicing tables.
#ifndef MC_TABLEFILE_MCCRC16_H
#define MC_TABLEFILE_MCCRC16_H

#include <array>
#include <cstddef>
#include <cstdint>

namespace mc::crc16 {

inline constexpr uint32_t kPolynome = 0x8408;

// One byte in the register the way the file format defines it: the byte enters at bit 16 and
// eight shifts bring it down to bits 8-15.
constexpr uint32_t octet_bit_a_bit(uint32_t r, uint8_t b) {
  r |= static_cast<uint32_t>(b) << 16;
  for (int i = 0; i < 8; ++i) {
    const uint32_t bit = r & 1u;
    r >>= 1;
    if (bit != 0) {
      r ^= kPolynome;
    }
  }
  return r;
}

// The stored value: the low 16 bits of the register with their two bytes swapped.
constexpr uint16_t valeur(uint32_t r) {
  return static_cast<uint16_t>(((r >> 8) & 0xFFu) | ((r & 0xFFu) << 8));
}

// tables[k][b]: the register contribution of byte b followed by k zero bytes.
using Tables = std::array<std::array<uint16_t, 256>, 16>;

constexpr Tables construire_tables() {
  Tables t{};
  for (uint32_t i = 0; i < 256; ++i) {
    uint32_t r = i;
    for (int j = 0; j < 8; ++j) {
      r = (r & 1u) != 0 ? (r >> 1) ^ kPolynome : r >> 1;
    }
    t[0][i] = static_cast<uint16_t>(r);
  }
  for (size_t k = 1; k < t.size(); ++k) {
    for (size_t i = 0; i < 256; ++i) {
      const uint16_t prec = t[k - 1][i];
      t[k][i] = static_cast<uint16_t>((prec >> 8) ^ t[0][prec & 0xFFu]);
    }
  }
  return t;
}

inline constexpr Tables kTables = construire_tables();

constexpr uint64_t lire_le64(const uint8_t* p) {
  // Shifts rather than memcpy so that the loop stays usable at compile time; compilers fold this
  // into one load.
  return static_cast<uint64_t>(p[0]) | (static_cast<uint64_t>(p[1]) << 8) |
         (static_cast<uint64_t>(p[2]) << 16) | (static_cast<uint64_t>(p[3]) << 24) |
         (static_cast<uint64_t>(p[4]) << 32) | (static_cast<uint64_t>(p[5]) << 40) |
         (static_cast<uint64_t>(p[6]) << 48) | (static_cast<uint64_t>(p[7]) << 56);
}

// Feeds n bytes to the register r (below 0x10000) and returns the new register, exactly as
// octet_bit_a_bit byte after byte. The register always equals the standard reflected CRC of the
// data less its last two bytes, XORed with those two bytes; so 16 bytes go through the usual
// slicing-by-16 step with the input shifted by two bytes, and the last two become the new
// pending pair.
constexpr uint32_t ajouter(uint32_t r, const uint8_t* p, size_t n) {
  const auto& t = kTables;
  while (n >= 16) {
    const uint64_t x0 = lire_le64(p);
    const uint64_t x1 = lire_le64(p + 8);
    const uint64_t w0 = r ^ (x0 << 16);
    const uint64_t w1 = (x1 << 16) | (x0 >> 48);
    r = static_cast<uint32_t>(t[15][w0 & 0xFF] ^ t[14][(w0 >> 8) & 0xFF] ^ t[13][(w0 >> 16) & 0xFF] ^
                              t[12][(w0 >> 24) & 0xFF] ^ t[11][(w0 >> 32) & 0xFF] ^
                              t[10][(w0 >> 40) & 0xFF] ^ t[9][(w0 >> 48) & 0xFF] ^ t[8][w0 >> 56]) ^
        static_cast<uint32_t>(t[7][w1 & 0xFF] ^ t[6][(w1 >> 8) & 0xFF] ^ t[5][(w1 >> 16) & 0xFF] ^
                              t[4][(w1 >> 24) & 0xFF] ^ t[3][(w1 >> 32) & 0xFF] ^
                              t[2][(w1 >> 40) & 0xFF] ^ t[1][(w1 >> 48) & 0xFF] ^ t[0][w1 >> 56]) ^
        static_cast<uint32_t>(x1 >> 48);
    p += 16;
    n -= 16;
  }
  for (; n != 0; --n, ++p) {
    r = ((r >> 8) | (static_cast<uint32_t>(*p) << 8)) ^ t[0][r & 0xFFu];
  }
  return r;
}

namespace detail {
template <size_t N>
constexpr std::array<uint8_t, N - 1> octets(const char (&texte)[N]) {
  std::array<uint8_t, N - 1> a{};
  for (size_t i = 0; i + 1 < N; ++i) {
    a[i] = static_cast<uint8_t>(texte[i]);
  }
  return a;
}
template <size_t N>
constexpr uint32_t bit_a_bit(const std::array<uint8_t, N>& a) {
  uint32_t r = 0;
  for (uint8_t b : a) {
    r = octet_bit_a_bit(r, b);
  }
  return r;
}
template <size_t N>
constexpr uint32_t par_tables(const std::array<uint8_t, N>& a) {
  return ajouter(0, a.data(), a.size());
}
inline constexpr auto kControle = octets("123456789");
inline constexpr auto kLong = octets(
    "The table files keep their CRC16 in the first four bytes; 0x8408, from 0, no augmentation!");
}  // namespace detail

static_assert(valeur(detail::bit_a_bit(detail::kControle)) == 0x7F50, "check value of 123456789");
static_assert(detail::par_tables(detail::kControle) == detail::bit_a_bit(detail::kControle));
static_assert(detail::par_tables(detail::kLong) == detail::bit_a_bit(detail::kLong));
static_assert(valeur(octet_bit_a_bit(0, ' ')) == 0x0020, "a single space");

}  // namespace mc::crc16

#endif  // MC_TABLEFILE_MCCRC16_H
