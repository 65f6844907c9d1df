// signature_message_test.cpp -- message signatures, key files and the public key, checked
// against Nettle.
#include <cstddef>
#include <cstring>
#include <string>
#include <utility>

#include "runtime/mcmemoir.h"
#include "signature_support.h"
#include "support/mctest.h"
#include "tablefile/mcsign.h"

namespace mc::test {
namespace {

static_assert(sizeof(R_RSA_PUBLIC_KEY) == 260);
static_assert(offsetof(R_RSA_PUBLIC_KEY, modulus) == 4 && offsetof(R_RSA_PUBLIC_KEY, exponent) == 132);
static_assert(sizeof(R_RSA_PRIVATE_KEY) == 708);
static_assert(offsetof(R_RSA_PRIVATE_KEY, modulus) == 4);
static_assert(offsetof(R_RSA_PRIVATE_KEY, publicExponent) == 132);
static_assert(offsetof(R_RSA_PRIVATE_KEY, exponent) == 260);
static_assert(offsetof(R_RSA_PRIVATE_KEY, prime) == 388);
static_assert(offsetof(R_RSA_PRIVATE_KEY, primeExponent) == 516);
static_assert(offsetof(R_RSA_PRIVATE_KEY, coefficient) == 644);
static_assert(RE_LEN == 0x0406 && RE_PUBLIC_KEY == 0x040a && RE_SIGNATURE == 0x040b &&
              RE_DATA == 0x0401 && RE_PRIVATE_KEY == 0x0409 && DA_MD5 == 5);

Bytes message_of(size_t length) {
  Bytes m(length);
  for (size_t i = 0; i < length; ++i) {
    m[i] = static_cast<uint8_t>(i * 7 + 3);
  }
  return m;
}

class Signature : public ::testing::Test {
 protected:
  void SetUp() override {
    mc::testing::reset_trace();
    mc::testing::reset_memoire();
  }
  void TearDown() override { mc::testing::reset_trace(); }

  // A second pair, made by Nettle, so that nothing depends on one key only.
  static void SetUpTestSuite() {
    other_ = nettle_generate(1024).release();
    ASSERT_NE(nullptr, other_);
  }
  static void TearDownTestSuite() {
    delete other_;
    other_ = nullptr;
  }
  static RsaKey* other_;

  static Bytes sign(const Bytes& message, const R_RSA_PRIVATE_KEY& key, uint16_t expected = 0) {
    Bytes signature(128, 0xEE);
    EXPECT_CODE(expected, MC_usCalculerSignatureMessage(message.data(), static_cast<uint32_t>(message.size()),
                                                        key, signature.data()));
    return signature;
  }
  static uint16_t verify(const Bytes& message, const R_RSA_PUBLIC_KEY& key, const Bytes& signature) {
    return MC_usVerifierSignatureMessage(message.data(), static_cast<uint32_t>(message.size()), key,
                                         signature.data());
  }
};
RsaKey* Signature::other_ = nullptr;

TEST_F(Signature, SignaturesEqualNettlesAndVerifyBothWays) {
  struct Case {
    const char* name;
    R_RSA_PRIVATE_KEY key;
    Key reference;
  };
  Case cases[] = {{"development pair", dev_private_record(), nullptr},
                  {"Nettle pair", private_record(*other_), nullptr}};
  for (auto& c : cases) {
    c.reference = nettle_private_key(c.key);
    ASSERT_NE(nullptr, c.reference) << c.name;
    for (size_t length : {0u, 1u, 55u, 56u, 64u, 1000u, 70000u}) {
      SCOPED_TRACE(std::string(c.name) + ", message of " + std::to_string(length));
      const Bytes message = message_of(length);
      const Bytes ours = sign(message, c.key);
      const Bytes theirs = nettle_sign(*c.reference, message);
      ASSERT_EQ(128u, theirs.size());
      // PKCS #1 v1.5 is deterministic: the same key and message give the same bytes.
      EXPECT_EQ(to_hex(theirs), to_hex(ours));
      EXPECT_TRUE(nettle_verify(*c.reference, message, ours));
      EXPECT_CODE(0, verify(message, public_record(c.key), theirs));
    }
  }
}

TEST_F(Signature, RefusesOtherBytesOtherKeysAndDamagedSignatures) {
  const R_RSA_PRIVATE_KEY key = private_record(*other_);
  const R_RSA_PUBLIC_KEY pub = public_record(key);
  const Bytes message = message_of(300);
  const Bytes signature = sign(message, key);
  ASSERT_CODE(0, verify(message, pub, signature));

  for (size_t i : {0u, 1u, 150u, 299u}) {
    SCOPED_TRACE("message byte " + std::to_string(i));
    Bytes other = message;
    other[i] ^= 0x01;
    EXPECT_CODE(RE_SIGNATURE, verify(other, pub, signature));
  }
  Bytes longer = message;
  longer.push_back(0);
  EXPECT_CODE(RE_SIGNATURE, verify(longer, pub, signature));
  EXPECT_CODE(RE_SIGNATURE, verify(Bytes(message.begin(), message.end() - 1), pub, signature));

  for (size_t i = 0; i < 128; i += 9) {
    SCOPED_TRACE("signature byte " + std::to_string(i));
    Bytes damaged = signature;
    damaged[i] ^= 0x40;
    EXPECT_CODE(RE_SIGNATURE, verify(message, pub, damaged));
  }
  EXPECT_CODE(RE_SIGNATURE, verify(message, pub, Bytes(128, 0x00)));
  EXPECT_CODE(RE_SIGNATURE, verify(message, pub, Bytes(128, 0xFF)));  // above the modulus
  EXPECT_CODE(RE_SIGNATURE, verify(message, public_record(dev_private_record()), signature));
}

TEST_F(Signature, RefusesSignatureOfWrongLength) {
  const R_RSA_PRIVATE_KEY key = dev_private_record();
  const Bytes message = message_of(40);
  Bytes signature = sign(message, key);
  signature.resize(200, 0);
  for (uint32_t length : {0u, 1u, 127u, 129u, 200u}) {
    SCOPED_TRACE(length);
    EXPECT_CODE(RE_LEN, verifier_signature(message.data(), 40, public_record(key), signature.data(), length));
  }
  EXPECT_CODE(0, verifier_signature(message.data(), 40, public_record(key), signature.data(), 128));
  EXPECT_CODE(RE_LEN, MC_usVerifierSignatureMessage(message.data(), 40, public_record(key), nullptr));
}

TEST_F(Signature, RefusesPublicKeysThatAreNotRsaKeys) {
  const R_RSA_PRIVATE_KEY key = dev_private_record();
  const Bytes message = message_of(40);
  const Bytes signature = sign(message, key);
  struct Case {
    const char* name;
    void (*damage)(R_RSA_PUBLIC_KEY&);
  };
  const Case cases[] = {
      {"even modulus", [](R_RSA_PUBLIC_KEY& k) { k.modulus[127] &= 0xFE; }},
      {"zero modulus", [](R_RSA_PUBLIC_KEY& k) { std::memset(k.modulus, 0, 128); }},
      {"zero exponent", [](R_RSA_PUBLIC_KEY& k) { std::memset(k.exponent, 0, 128); }},
      {"bit count 0", [](R_RSA_PUBLIC_KEY& k) { k.bits = 0; }},
      {"bit count 2048", [](R_RSA_PUBLIC_KEY& k) { k.bits = 2048; }},
      {"bit count 512", [](R_RSA_PUBLIC_KEY& k) { k.bits = 512; }},
      {"modulus shorter than its bit count",
       [](R_RSA_PUBLIC_KEY& k) { std::memmove(k.modulus + 1, k.modulus, 127); k.modulus[0] = 0; }},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    R_RSA_PUBLIC_KEY pub = public_record(key);
    c.damage(pub);
    EXPECT_CODE(RE_PUBLIC_KEY, verify(message, pub, signature));
  }
  R_RSA_PUBLIC_KEY sized = public_record(key);
  sized.bits = 1017;  // any count of the same byte length is the same key
  EXPECT_CODE(0, verify(message, sized, signature));
}

TEST_F(Signature, ArbitraryPublicKeysAcceptNothing) {
  const Bytes message = message_of(32);
  const Bytes signature = sign(message, dev_private_record());
  uint32_t state = 12345;
  auto next = [&state] {
    state = state * 1103515245u + 12345u;
    return static_cast<uint8_t>(state >> 16);
  };
  for (int round = 0; round < 40; ++round) {
    SCOPED_TRACE(round);
    R_RSA_PUBLIC_KEY pub{};
    pub.bits = 1024;
    for (size_t i = 0; i < 128; ++i) {
      pub.modulus[i] = next();
      pub.exponent[i] = (round % 2 == 0 && i < 125) ? 0 : next();
    }
    pub.modulus[0] |= 0x80;
    pub.modulus[127] |= 0x01;
    EXPECT_CODE(RE_SIGNATURE, verify(message, pub, signature));
  }
}

TEST_F(Signature, MissingMessageBytes) {
  const R_RSA_PRIVATE_KEY key = dev_private_record();
  Bytes signature(128);
  EXPECT_CODE(0, MC_usCalculerSignatureMessage(nullptr, 0, key, signature.data()));
  EXPECT_CODE(0, MC_usVerifierSignatureMessage(nullptr, 0, public_record(key), signature.data()));
  EXPECT_CODE(0, verify(Bytes{}, public_record(key), signature));
  EXPECT_CODE(RE_DATA, MC_usVerifierSignatureMessage(nullptr, 5, public_record(key), signature.data()));
  EXPECT_CODE(1, MC_usCalculerSignatureMessage(nullptr, 5, key, signature.data()));
  EXPECT_CODE(1, MC_usCalculerSignatureMessage(signature.data(), 5, key, nullptr));
}

TEST_F(Signature, MemoryShortageGivesACodeAndTheNextCallWorks) {
  ASSERT_TRUE(crypto_allocations_counted());
  const R_RSA_PRIVATE_KEY key = dev_private_record();
  const Bytes message = message_of(300);
  Bytes signature;
  const auto sign_message = [&]() -> uint32_t {
    signature.assign(128, 0xEE);
    return MC_usCalculerSignatureMessage(message.data(), 300, key, signature.data());
  };
  const auto check = [&]() -> uint32_t {
    return MC_usVerifierSignatureMessage(message.data(), 300, public_record(key), signature.data());
  };
  // The first calls fill libcrypto's process-wide caches (providers, methods, random generator).
  const uint32_t before = mc::testing::nombre_allocations();
  ASSERT_CODE(0, sign_message());
  ASSERT_CODE(0, check());
  ASSERT_GT(mc::testing::nombre_allocations() - before, 20u);
  // libcrypto gets over some failures (a cache entry not made): then the signature is right.
  const Bytes expected = signature;
  each_allocation_failure(sign_message, 0, [&](uint32_t, uint32_t code) {
    EXPECT_EQ(code == 0 ? expected : Bytes(128, 0xEE), signature);
    EXPECT_CODE(code == 0 ? 0 : 1, code);
  });
  each_allocation_failure(check, 0, [](uint32_t, uint32_t code) {
    EXPECT_CODE(code == 0 ? 0 : MC_ERR_MEMOIRE, code) << "never refused for want of memory";
  });
}

TEST_F(Signature, SigningWithBrokenKeysFailsWithBareOne) {
  const R_RSA_PRIVATE_KEY good = dev_private_record();
  const Bytes message = message_of(64);
  struct Case {
    const char* name;
    void (*damage)(R_RSA_PRIVATE_KEY&);
  };
  const Case cases[] = {
      {"all zero", [](R_RSA_PRIVATE_KEY& k) { std::memset(&k, 0, sizeof k); }},
      {"bit count 512", [](R_RSA_PRIVATE_KEY& k) { k.bits = 512; }},
      {"bit count 2048", [](R_RSA_PRIVATE_KEY& k) { k.bits = 2048; }},
      {"first prime changed", [](R_RSA_PRIVATE_KEY& k) { k.prime[0][63] ^= 0x02; }},
      {"second prime even", [](R_RSA_PRIVATE_KEY& k) { k.prime[1][63] &= 0xFE; }},
      {"prime exponent changed", [](R_RSA_PRIVATE_KEY& k) { k.primeExponent[0][40] ^= 0x10; }},
      {"prime exponent above its prime", [](R_RSA_PRIVATE_KEY& k) { std::memset(k.primeExponent[1], 0xFF, 64); }},
      {"coefficient changed", [](R_RSA_PRIVATE_KEY& k) { k.coefficient[10] ^= 0x01; }},
      {"coefficient zero", [](R_RSA_PRIVATE_KEY& k) { std::memset(k.coefficient, 0, 64); }},
      {"modulus changed", [](R_RSA_PRIVATE_KEY& k) { k.modulus[100] ^= 0x04; }},
      {"public exponent changed", [](R_RSA_PRIVATE_KEY& k) { k.publicExponent[127] = 0x03; }},
      {"primes swapped, other fields kept",
       [](R_RSA_PRIVATE_KEY& k) {
         std::swap(k.prime[0], k.prime[1]);
         std::swap(k.primeExponent[0], k.primeExponent[1]);
       }},
      {"prime exponent zero", [](R_RSA_PRIVATE_KEY& k) { std::memset(k.primeExponent[0], 0, 64); }},
      {"fields shifted by one byte",
       [](R_RSA_PRIVATE_KEY& k) {
         std::memmove(k.modulus + 1, k.modulus, 703);
         k.modulus[0] = ' ';
       }},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    R_RSA_PRIVATE_KEY key = good;
    c.damage(key);
    Bytes signature(128, 0xEE);
    EXPECT_CODE(1, MC_usCalculerSignatureMessage(message.data(), 64, key, signature.data()));
    EXPECT_EQ(Bytes(128, 0xEE), signature) << "nothing written on failure";
  }
}

TEST_F(Signature, MessageFunctionsTraceEntryAndExit) {
  const R_RSA_PRIVATE_KEY key = dev_private_record();
  const Bytes message = message_of(8);
  Bytes signature(128);
  TraceCapture trace({{1, 7, 2}});
  MC_usCalculerSignatureMessage(message.data(), 8, key, signature.data());
  MC_usVerifierSignatureMessage(message.data(), 8, public_record(key), signature.data());
  trace.stop();
  const std::vector<std::string> expected = {
      "### DEBUT TRACE ###",
      "{ MC_usCalculerSignatureMessage",
      "  MC_usCalculerSignatureMessage",
      "}",
      "{ MC_usVerifierSignatureMessage",
      "  MC_usVerifierSignatureMessage",
      "}",
      "### FIN TRACE ###",
      ""};
  EXPECT_EQ(expected, trace.lines());
}

class KeyFile : public Signature {};

TEST_F(KeyFile, ReadsDevelopmentKeyFile) {
  R_RSA_PRIVATE_KEY read;
  std::memset(&read, 0x5A, sizeof read);
  ASSERT_CODE(0, MC_usLireClePrivee(dev_private_key_path().c_str(), &read));
  const R_RSA_PRIVATE_KEY expected = dev_private_record();
  EXPECT_EQ(1024u, read.bits);
  EXPECT_EQ(0, std::memcmp(&expected, &read, sizeof read));
  // The file's key is the one of the published PEM file.
  Key pem = nettle_public_pem(dev_public_pem_path());
  ASSERT_NE(nullptr, pem);
  const Bytes message = message_of(99);
  EXPECT_TRUE(nettle_verify(*pem, message, sign(message, read)));
}

TEST_F(KeyFile, ReadsFieldsInRecordOrder) {
  R_RSA_PRIVATE_KEY pattern{};
  pattern.bits = 1024;
  auto* fields = reinterpret_cast<uint8_t*>(pattern.modulus);
  for (size_t i = 0; i < 704; ++i) {
    fields[i] = static_cast<uint8_t>(0x80 + i % 113);
  }
  struct Case {
    const char* name;
    std::string before;
    unsigned bits;
  };
  const Case cases[] = {{"digits then fields", "", 1024},
                        {"white space before the digits", " \t\n", 1024},
                        {"other count", "", 512}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    R_RSA_PRIVATE_KEY expected = pattern;
    expected.bits = c.bits;
    Bytes file = bytes_of(c.before);
    const Bytes body = key_file_bytes(expected);
    file.insert(file.end(), body.begin(), body.end());
    const std::string path = temp_path(".key");
    write_file(path, file);
    R_RSA_PRIVATE_KEY read;
    std::memset(&read, 0, sizeof read);
    ASSERT_CODE(0, MC_usLireClePrivee(path.c_str(), &read));
    EXPECT_EQ(c.bits, read.bits);
    EXPECT_EQ(0, std::memcmp(&expected, &read, sizeof read));
  }
}

TEST_F(KeyFile, KeptBlankAfterBitCountShiftsEveryField) {
  const R_RSA_PRIVATE_KEY key = dev_private_record();
  const std::string path = temp_path(".key");
  write_file(path, key_file_bytes(key, " "));
  R_RSA_PRIVATE_KEY read;
  ASSERT_CODE(0, MC_usLireClePrivee(path.c_str(), &read));
  EXPECT_EQ(1024u, read.bits);
  EXPECT_EQ(' ', read.modulus[0]);
  EXPECT_EQ(0, std::memcmp(read.modulus + 1, key.modulus, 127));
  EXPECT_EQ(key.modulus[127], read.publicExponent[0]);
  EXPECT_EQ(key.prime[1][63], read.primeExponent[0][0]);
  EXPECT_EQ(0, std::memcmp(read.coefficient + 1, key.coefficient, 63));
  // Such a key signs nothing that its public half accepts.
  const Bytes message = message_of(10);
  Bytes signature(128);
  EXPECT_CODE(1, MC_usCalculerSignatureMessage(message.data(), 10, read, signature.data()));
}

TEST_F(KeyFile, ShortFileLeavesMissingFieldsZero) {
  const R_RSA_PRIVATE_KEY key = dev_private_record();
  Bytes file = key_file_bytes(key);
  file.resize(4 + 128 + 10);
  const std::string path = temp_path(".key");
  write_file(path, file);
  R_RSA_PRIVATE_KEY read;
  std::memset(&read, 0x77, sizeof read);
  ASSERT_CODE(0, MC_usLireClePrivee(path.c_str(), &read));
  EXPECT_EQ(0, std::memcmp(read.modulus, key.modulus, 128));
  EXPECT_EQ(0, std::memcmp(read.publicExponent, key.publicExponent, 10));
  EXPECT_EQ(Bytes(708 - 4 - 138, 0), Bytes(read.publicExponent + 10, read.publicExponent + 10 + 708 - 4 - 138));

  write_file(path, Bytes{});
  ASSERT_CODE(0, MC_usLireClePrivee(path.c_str(), &read));
  EXPECT_EQ(0u, read.bits);
  Bytes signature(128);
  EXPECT_CODE(1, MC_usCalculerSignatureMessage(file.data(), 10, read, signature.data()));
}

TEST_F(KeyFile, MissingFileOrRecord) {
  R_RSA_PRIVATE_KEY read{};
  EXPECT_CODE(MC_ERR_FICHIER, MC_usLireClePrivee(temp_path("absent.key").c_str(), &read));
  EXPECT_CODE(MC_ERR_FICHIER, MC_usLireClePrivee(nullptr, &read));
  EXPECT_CODE(MC_ERR_ARGUMENT, MC_usLireClePrivee(dev_private_key_path().c_str(), nullptr));
}

class PublicKey : public Signature {};

TEST_F(PublicKey, TakesEvenPositionsOfTheArrays) {
  R_RSA_PUBLIC_KEY* key = MC_LireClePublique();
  ASSERT_NE(nullptr, key);
  EXPECT_EQ(1024u, key->bits);
  for (size_t i = 0; i < 128; ++i) {
    ASSERT_EQ(MODULUS[2 * i], key->modulus[i]) << i;
    ASSERT_EQ(EXPONENT[2 * i], key->exponent[i]) << i;
  }
  EXPECT_EQ(260u, mc::memoire_allouee());
  MC_Liberer(key);
}

TEST_F(PublicKey, NullWhenMemoryIsShort) {
  mc::testing::faire_echouer_allocation(0);
  EXPECT_EQ(nullptr, MC_LireClePublique());
}

#if MC_TEST_DEV_KEY
TEST_F(PublicKey, DevelopmentBuildEmbedsThePublishedPublicKey) {
  R_RSA_PUBLIC_KEY* key = MC_LireClePublique();
  ASSERT_NE(nullptr, key);
  const R_RSA_PRIVATE_KEY dev = dev_private_record();
  EXPECT_EQ(0, std::memcmp(key->modulus, dev.modulus, 128));
  EXPECT_EQ(0, std::memcmp(key->exponent, dev.publicExponent, 128));
  // And Nettle reads the same key from the PEM file.
  Key pem = nettle_public_pem(dev_public_pem_path());
  ASSERT_NE(nullptr, pem);
  const Bytes message = message_of(500);
  const Bytes signature = nettle_sign(*nettle_private_key(dev), message);
  EXPECT_TRUE(nettle_verify(*pem, message, signature));
  EXPECT_CODE(0, MC_usVerifierSignatureMessage(message.data(), 500, *key, signature.data()));
  Key embedded = nettle_public_key(*key);
  ASSERT_NE(nullptr, embedded);
  EXPECT_TRUE(same_public_key(*embedded, *pem));
  MC_Liberer(key);
}
#endif

}  // namespace
}  // namespace mc::test
