// signature_test.cpp -- message signatures, key files, the public key and signed table files
// (control type 2), checked against Nettle.
#include <nettle/bignum.h>

#include <functional>

#include "tests/tablefile/tftest.h"

namespace mc::test {
namespace {

Bytes message_of(size_t length) {
  Bytes m(length);
  for (size_t i = 0; i < length; ++i) m[i] = static_cast<uint8_t>(i * 7 + 3);
  return m;
}

class Signature : public TableFileTest {
 protected:
  static void SetUpTestSuite() { other_ = nettle_generate(1024).release(); }  // a second pair
  static void TearDownTestSuite() { delete other_; }
  static inline RsaKey* other_ = nullptr;
  static Bytes sign(const Bytes& message, const R_RSA_PRIVATE_KEY& key, uint16_t expected = 0) {
    Bytes signature(128, 0xEE);
    EXPECT_CODE(expected, MC_usCalculerSignatureMessage(message.data(), static_cast<uint32_t>(message.size()), key,
                                                        signature.data()));
    return signature;
  }
  static uint16_t verify(const Bytes& message, const R_RSA_PUBLIC_KEY& key, const Bytes& signature) {
    return MC_usVerifierSignatureMessage(message.data(), static_cast<uint32_t>(message.size()), key, signature.data());
  }
  std::string key_file(const Bytes& bytes) {
    write_file(path("k.key"), bytes);
    return path("k.key");
  }
  // The sample signed file: a table of three records; the release's code.
  uint16_t write(uint16_t type, const std::string& key) {
    uint16_t num = 0;
    EXPECT_CODE(0, creer("signe.tbx", type, &num, entete_exemple("signe.tbx", "table signee")));
    const EnteteTable table = entete_table("TEST", 3);
    EXPECT_CODE(0, MC_usEcrireEnteteTable(num, &table));
    for (uint16_t v : {0x0102, 0xBEEF, 0x7F80}) {
      EXPECT_CODE(0, MC_usEcrireUnsignedShort(num, v));
      EXPECT_CODE(0, MC_usEcrireChaineVariable(num, "valeur"));
    }
    return MC_usLibererFichierBinaire(num, key.c_str());
  }
  uint16_t open_signed(const Bytes& file) {
    write_file(path("signe.tbx"), file);
    uint16_t num = 0;
    const uint16_t code = ouvrir("signe.tbx", MC_CONTROLE_SIGNATURE, &num);
    if (num != 0) { EXPECT_CODE(0, MC_usLibererFichierBinaire(num, nullptr)); }
    return code;
  }
};

TEST_F(Signature, SignaturesEqualNettlesAndVerifyBothWays) {
  ASSERT_NE(nullptr, other_);
  for (const R_RSA_PRIVATE_KEY& key : {dev_private_record(), private_record(*other_)}) {
    const Key reference = nettle_private_key(key);
    ASSERT_NE(nullptr, reference);
    for (size_t length : {0u, 1u, 55u, 56u, 64u, 1000u, 70000u}) {
      SCOPED_TRACE(length);
      const Bytes message = message_of(length);
      const Bytes ours = sign(message, key);
      const Bytes theirs = nettle_sign(*reference, message);
      EXPECT_EQ(to_hex(theirs), to_hex(ours));  // PKCS #1 v1.5 is deterministic
      EXPECT_CODE(0, verify(message, public_record(key), theirs));
    }
  }
}

TEST_F(Signature, RefusesOtherBytesOtherKeysAndDamagedSignatures) {
  const R_RSA_PRIVATE_KEY key = private_record(*other_);
  const R_RSA_PUBLIC_KEY pub = public_record(key);
  const Bytes message = message_of(300);
  const Bytes signature = sign(message, key);
  ASSERT_CODE(0, verify(message, pub, signature));
  for (size_t i : {0u, 150u, 299u}) {
    Bytes other = message;
    other[i] ^= 0x01;
    EXPECT_CODE(RE_SIGNATURE, verify(other, pub, signature)) << i;
  }
  Bytes longer = message;
  longer.push_back(0);
  EXPECT_CODE(RE_SIGNATURE, verify(longer, pub, signature));
  EXPECT_CODE(RE_SIGNATURE, verify(Bytes(message.begin(), message.end() - 1), pub, signature));
  for (size_t i = 0; i < 128; i += 9) {
    Bytes damaged = signature;
    damaged[i] ^= 0x40;
    EXPECT_CODE(RE_SIGNATURE, verify(message, pub, damaged)) << i;
  }
  EXPECT_CODE(RE_SIGNATURE, verify(message, pub, Bytes(128, 0x00)));
  EXPECT_CODE(RE_SIGNATURE, verify(message, pub, Bytes(128, 0xFF)));  // above the modulus
  EXPECT_CODE(RE_SIGNATURE, verify(message, public_record(dev_private_record()), signature));
  Bytes wide = signature;
  wide.resize(200, 0);
  for (uint32_t length : {0u, 1u, 127u, 129u, 200u}) {
    EXPECT_CODE(RE_LEN, verifier_signature(message.data(), 300, pub, wide.data(), length)) << length;
  }
  EXPECT_CODE(0, verifier_signature(message.data(), 300, pub, wide.data(), 128));
  EXPECT_CODE(RE_LEN, MC_usVerifierSignatureMessage(message.data(), 300, pub, nullptr));
  // Missing message bytes.
  EXPECT_CODE(0, MC_usVerifierSignatureMessage(nullptr, 0, public_record(key), sign(Bytes{}, key).data()));
  EXPECT_CODE(RE_DATA, MC_usVerifierSignatureMessage(nullptr, 5, public_record(key), wide.data()));
  EXPECT_CODE(0, MC_usCalculerSignatureMessage(nullptr, 0, key, wide.data()));
  EXPECT_CODE(1, MC_usCalculerSignatureMessage(nullptr, 5, key, wide.data()));
  EXPECT_CODE(1, MC_usCalculerSignatureMessage(wide.data(), 5, key, nullptr));
}

TEST_F(Signature, RefusesPublicKeysThatAreNotRsaKeys) {
  const R_RSA_PRIVATE_KEY key = dev_private_record();
  const Bytes message = message_of(40);
  const Bytes signature = sign(message, key);
  const std::function<void(R_RSA_PUBLIC_KEY&)> cases[] = {
      [](R_RSA_PUBLIC_KEY& k) { k.modulus[127] &= 0xFE; },  // even
      [](R_RSA_PUBLIC_KEY& k) { memset(k.modulus, 0, 128); },
      [](R_RSA_PUBLIC_KEY& k) { memset(k.exponent, 0, 128); },
      [](R_RSA_PUBLIC_KEY& k) { k.bits = 0; },
      [](R_RSA_PUBLIC_KEY& k) { k.bits = 2048; },
      [](R_RSA_PUBLIC_KEY& k) { k.bits = 512; },
      [](R_RSA_PUBLIC_KEY& k) { memmove(k.modulus + 1, k.modulus, 127), k.modulus[0] = 0; }};  // shorter than its bits
  for (size_t i = 0; i < std::size(cases); ++i) {
    R_RSA_PUBLIC_KEY pub = public_record(key);
    cases[i](pub);
    EXPECT_CODE(RE_PUBLIC_KEY, verify(message, pub, signature)) << i;
  }
  R_RSA_PUBLIC_KEY sized = public_record(key);
  sized.bits = 1017;  // any count of the same byte length is the same key
  EXPECT_CODE(0, verify(message, sized, signature));
  // Arbitrary odd moduli of 1024 bits accept nothing.
  uint32_t state = 12345;
  const auto next = [&state] { return static_cast<uint8_t>((state = state * 1103515245u + 12345u) >> 16); };
  for (int round = 0; round < 20; ++round) {
    R_RSA_PUBLIC_KEY pub{};
    pub.bits = 1024;
    for (size_t i = 0; i < 128; ++i) {
      pub.modulus[i] = next();
      pub.exponent[i] = (round % 2 == 0 && i < 125) ? 0 : next();
    }
    pub.modulus[0] |= 0x80;
    pub.modulus[127] |= 0x01;
    pub.exponent[0] &= 0x7F;  // below the modulus: libcrypto refuses a larger one (0xF801, see the report)
    EXPECT_CODE(RE_SIGNATURE, verify(message, pub, signature)) << round;
  }
}

TEST_F(Signature, SigningWithBrokenKeysFailsWithBareOneAndWritesNothing) {
  const std::function<void(R_RSA_PRIVATE_KEY&)> cases[] = {
      [](R_RSA_PRIVATE_KEY& k) { memset(&k, 0, sizeof k); },
      [](R_RSA_PRIVATE_KEY& k) { k.bits = 512; },
      [](R_RSA_PRIVATE_KEY& k) { k.bits = 2048; },
      [](R_RSA_PRIVATE_KEY& k) { k.prime[0][63] ^= 0x02; },
      [](R_RSA_PRIVATE_KEY& k) { k.prime[1][63] &= 0xFE; },
      [](R_RSA_PRIVATE_KEY& k) { k.primeExponent[0][40] ^= 0x10; },
      [](R_RSA_PRIVATE_KEY& k) { k.primeExponent[1][40] ^= 0x10; },
      [](R_RSA_PRIVATE_KEY& k) { memset(k.primeExponent[1], 0xFF, 64); },
      [](R_RSA_PRIVATE_KEY& k) { memset(k.primeExponent[0], 0, 64); },
      [](R_RSA_PRIVATE_KEY& k) { k.coefficient[10] ^= 0x01; },
      [](R_RSA_PRIVATE_KEY& k) { memset(k.coefficient, 0, 64); },
      [](R_RSA_PRIVATE_KEY& k) { k.modulus[100] ^= 0x04; },
      [](R_RSA_PRIVATE_KEY& k) { k.publicExponent[127] = 0x03; },
      [](R_RSA_PRIVATE_KEY& k) { std::swap(k.prime[0], k.prime[1]), std::swap(k.primeExponent[0], k.primeExponent[1]); },
      [](R_RSA_PRIVATE_KEY& k) { memset(k.prime[0], 0, 63), k.prime[0][63] = 1; },  // p = 1
      [](R_RSA_PRIVATE_KEY& k) { memset(k.prime[1], 0, 63), k.prime[1][63] = 1; },  // q = 1
  };
  const Bytes message = message_of(64);
  for (size_t i = 0; i < std::size(cases); ++i) {
    R_RSA_PRIVATE_KEY key = dev_private_record();
    cases[i](key);
    EXPECT_EQ(Bytes(128, 0xEE), sign(message, key, 1)) << i;
  }
}

// Fields above their bound that still meet the congruences (d mod p - 1 plus p - 1, q^-1 plus p)
// are refused as well.
TEST_F(Signature, UnreducedCrtFieldsAreRefused) {
  int crafted = 0;
  for (int round = 0; crafted == 0 && round < 60; ++round) {
    const int field = round % 3;
    const Key pair = nettle_generate(1024);  // until one leaves room above a bound
    R_RSA_PRIVATE_KEY key = private_record(*pair);
    uint8_t* x = field == 2 ? key.coefficient : key.primeExponent[field];
    mpz_t a, m;
    mpz_inits(a, m, nullptr);
    nettle_mpz_set_str_256_u(a, 64, x);
    nettle_mpz_set_str_256_u(m, 64, key.prime[field == 1 ? 1 : 0]);
    mpz_add(a, a, m);
    if (field < 2) mpz_sub_ui(a, a, 1);
    if (mpz_sizeinbase(a, 2) <= 512) {
      nettle_mpz_get_str_256(64, x, a);
      ++crafted;
      sign(message_of(20), key, 1);
    }
    mpz_clears(a, m, nullptr);
  }
  EXPECT_LT(0, crafted) << "no field of the second pair leaves room above its bound";
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
  ASSERT_CODE(0, sign_message());  // fills libcrypto's process-wide caches
  ASSERT_CODE(0, check());
  const Bytes expected = signature;
  // libcrypto gets over some failures: then the signature is right.
  each_allocation_failure(sign_message, 0, [&](uint32_t, uint32_t code) {
    EXPECT_EQ(code == 0 ? expected : Bytes(128, 0xEE), signature);
    EXPECT_CODE(code == 0 ? 0 : 1, code);
  });
  each_allocation_failure(check, 0, [](uint32_t, uint32_t code) { EXPECT_CODE(code == 0 ? 0 : MC_ERR_MEMOIRE, code); });
}

TEST_F(Signature, KeyFilesAreReadFieldByFieldInRecordOrder) {
  const R_RSA_PRIVATE_KEY dev = dev_private_record();
  R_RSA_PRIVATE_KEY read;
  memset(&read, 0x5A, sizeof read);
  ASSERT_CODE(0, MC_usLireClePrivee(dev_private_key_path().c_str(), &read));
  EXPECT_EQ(0, memcmp(&dev, &read, sizeof read));
  R_RSA_PRIVATE_KEY pattern{};
  auto* fields = reinterpret_cast<uint8_t*>(pattern.modulus);
  for (size_t i = 0; i < 704; ++i) fields[i] = static_cast<uint8_t>(0x80 + i % 113);
  for (const auto& [before, bits] : {std::pair<std::string, unsigned>{"", 1024}, {" \t\n", 1024}, {"", 512}}) {
    pattern.bits = bits;
    memset(&read, 0, sizeof read);
    ASSERT_CODE(0, MC_usLireClePrivee(key_file(concat({bytes_of(before), key_file_bytes(pattern)})).c_str(), &read));
    EXPECT_EQ(0, memcmp(&pattern, &read, sizeof read)) << bits;
  }
  // Kept: a blank after the bit count shifts every field by one byte; such a key signs nothing.
  ASSERT_CODE(0, MC_usLireClePrivee(key_file(key_file_bytes(dev, " ")).c_str(), &read));
  Bytes shifted = concat({bytes_of(" "), Bytes(dev.modulus, dev.modulus + 703)});
  EXPECT_EQ(1024u, read.bits);
  EXPECT_EQ(shifted, Bytes(read.modulus, read.modulus + 704));
  sign(message_of(10), read, 1);
  // A short file leaves the missing fields zero; an empty one gives a key of zeros.
  memset(&read, 0x77, sizeof read);
  const Bytes whole = key_file_bytes(dev);
  ASSERT_CODE(0, MC_usLireClePrivee(key_file(Bytes(whole.begin(), whole.begin() + 142)).c_str(), &read));
  EXPECT_EQ(concat({Bytes(dev.modulus, dev.modulus + 138), Bytes(566, 0)}), Bytes(read.modulus, read.modulus + 704));
  ASSERT_CODE(0, MC_usLireClePrivee(key_file(Bytes{}).c_str(), &read));
  EXPECT_EQ(0u, read.bits);
  EXPECT_CODE(MC_ERR_FICHIER, MC_usLireClePrivee(path("absent.key").c_str(), &read));
  EXPECT_CODE(MC_ERR_FICHIER, MC_usLireClePrivee(nullptr, &read));
  EXPECT_CODE(MC_ERR_ARGUMENT, MC_usLireClePrivee(dev_private_key_path().c_str(), nullptr));
}

TEST_F(Signature, PublicKeyTakesEvenPositionsOfTheArrays) {
  R_RSA_PUBLIC_KEY* key = MC_LireClePublique();
  ASSERT_NE(nullptr, key);
  EXPECT_EQ(1024u, key->bits);
  for (size_t i = 0; i < 128; ++i) {
    ASSERT_EQ(MODULUS[2 * i], key->modulus[i]) << i;
    ASSERT_EQ(EXPONENT[2 * i], key->exponent[i]) << i;
  }
  EXPECT_EQ(260u, memoire_allouee());
#if MC_TEST_DEV_KEY
  const R_RSA_PRIVATE_KEY dev = dev_private_record();
  EXPECT_EQ(0, memcmp(key->modulus, dev.modulus, 128));
  EXPECT_EQ(0, memcmp(key->exponent, dev.publicExponent, 128));
#endif
  MC_Liberer(key);
  mc::testing::faire_echouer_allocation(0);
  EXPECT_EQ(nullptr, MC_LireClePublique());
}

#if MC_TEST_DEV_KEY

TEST_F(Signature, SignedFileCarriesNettlesSignatureOfBytesFromPosition4AndOpens) {
  ASSERT_CODE(0, write(0, ""));
  const Bytes plain = read_file(path("signe.tbx"));
  ASSERT_CODE(0, write(2, dev_private_key_path()));
  const Bytes file = read_file(path("signe.tbx"));
  const Key dev = nettle_private_key(dev_private_record());
  EXPECT_EQ(to_hex(concat({plain, nettle_sign(*dev, Bytes(plain.begin() + 4, plain.end()))})), to_hex(file));
  // It opens, reads back and is released unchanged.
  uint16_t num = 0;
  ASSERT_CODE(0, ouvrir("signe.tbx", MC_CONTROLE_SIGNATURE, &num));
  EnteteTable table;
  ASSERT_CODE(0, MC_usRechercherTable(num, "TEST", &table));
  uint16_t value = 0;
  ASSERT_CODE(0, MC_usLireUnsignedShort(num, &value));
  EXPECT_EQ(0x0102, value);
  EXPECT_CODE(0, MC_usLibererFichierBinaire(num, dev_private_key_path().c_str()));
  EXPECT_EQ(file, read_file(path("signe.tbx")));
  // Opened without control, the check gives the RSAREF code, which an opening turns into 0xF630.
  Bytes bad = file;
  bad[100] ^= 0x20;
  num = ouvrir_octets("signe.tbx", bad, 0);
  const uint32_t released = mc::testing::nombre_liberations();
  EXPECT_CODE(RE_SIGNATURE, MC_usVerifierSignatureFichier(num));
  EXPECT_EQ(released + 3, mc::testing::nombre_liberations()) << "key, content and signature released";
  mc::testing::faire_echouer_allocation(0);
  EXPECT_CODE(MC_ERR_FICHIER, MC_usVerifierSignatureFichier(num)) << "no public key";
  EXPECT_CODE(0, MC_usLibererFichierBinaire(num, nullptr));
  // The first four bytes are not signed; any other changed byte is refused.
  for (const char* control : {"FFFF", "    "}) EXPECT_CODE(0, open_signed(concat({bytes_of(control), Bytes(file.begin() + 4, file.end())})));
  const size_t cr = 60 + strlen("table signee");
  for (size_t at = 4; at < file.size(); ++at) {
    bad = file;
    bad[at] ^= at % 2 == 0 ? 0x01 : 0x80;
    // The header is read first: a changed name is another file, a changed CR lets the comment run on.
    EXPECT_CODE(at >= 5 && at < 17 ? MC_ERR_NOM_FICHIER : at == cr ? MC_ERR_FIN_FICHIER : MC_ERR_CONTROLE,
                open_signed(bad)) << at;
  }
  for (size_t length : {file.size() + 1, file.size() - 1, file.size() - 127, file.size() - 128, file.size() - 129,
                        cr + 3 + 132, cr + 4, cr + 3}) {
    bad = file;
    bad.resize(length);
    EXPECT_CODE(MC_ERR_CONTROLE, open_signed(bad)) << length;
  }
  for (size_t length : {0u, 4u, 40u, 74u}) EXPECT_NE(0, open_signed(Bytes(file.begin(), file.begin() + static_cast<long>(length))));
}

TEST_F(Signature, FileSignedWithAnotherKeyIsRefused) {
  ASSERT_CODE(0, write(2, key_file(key_file_bytes(private_record(*other_)))));
  const Bytes file = read_file(path("signe.tbx"));
  EXPECT_TRUE(nettle_verify(*other_, Bytes(file.begin() + 4, file.end() - 128), Bytes(file.end() - 128, file.end())));
  EXPECT_CODE(MC_ERR_CONTROLE, open_signed(file));
}

TEST_F(Signature, MemoryShortageAtReleaseAndOpening) {
  ASSERT_TRUE(crypto_allocations_counted());
  const std::string key = dev_private_key_path();
  const auto release = [&](uint16_t type) -> uint32_t {
    uint16_t num = 0;
    const uint16_t code = creer("signe.tbx", type, &num, entete_exemple("signe.tbx", "table signee"));
    return code != 0 ? code : MC_usLibererFichierBinaire(num, key.c_str());
  };
  const auto open = [&](uint16_t type) -> uint32_t {
    uint16_t num = 0;
    const uint16_t code = ouvrir("signe.tbx", type, &num);
    return num == 0 ? code : code | MC_usLibererFichierBinaire(num, nullptr);
  };
  const auto allocations = [](const std::function<uint32_t()>& operation) {
    const uint32_t before = mc::testing::nombre_allocations();
    EXPECT_CODE(0, operation());
    return mc::testing::nombre_allocations() - before;
  };
  ASSERT_CODE(0, release(2));  // fills libcrypto's caches
  // Creating takes what an unprotected file takes; then the signing reads the file into a buffer
  // (0xF610 without it) and libcrypto signs it (kept: any failure there is the bare 1).
  const uint32_t creation = allocations([&] { return release(0); });
  each_allocation_failure([&] { return release(2); }, 0, [&](uint32_t k, uint32_t code) {
    EXPECT_CODE(k < creation ? MC_ERR_MEMOIRE : k == creation ? MC_ERR_FICHIER : code == 0 ? 0 : MC_CR_UN, code);
  });
  // Opening takes what an unprotected file takes; any failure of the check is then 0xF630.
  const uint32_t opening = allocations([&] { return open(0); });
  each_allocation_failure([&] { return open(2); }, 0, [&](uint32_t k, uint32_t code) {
    EXPECT_CODE(k < opening ? MC_ERR_MEMOIRE : code == 0 ? 0 : MC_ERR_CONTROLE, code);
  });
}

#endif  // MC_TEST_DEV_KEY

TEST_F(Signature, UnusableKeyLeavesTheFileUnsignedAndRefused) {
  ASSERT_CODE(0, write(0, ""));
  const Bytes plain = read_file(path("signe.tbx"));
  // Kept: a blank after the bit count, or a directory read as a key of zeros: the bare 1.
  const std::pair<std::string, uint16_t> keys[] = {{key_file(key_file_bytes(dev_private_record(), " ")), 1},
                                                   {dir_, 1}, {path("absent.key"), MC_ERR_FICHIER},
                                                   {"", MC_ERR_FICHIER}};
  for (const auto& [key, code] : keys) {
    SCOPED_TRACE(key);
    EXPECT_CODE(code, write(2, key));
    EXPECT_EQ(plain, read_file(path("signe.tbx"))) << "closed without a signature";
    EXPECT_CODE(MC_ERR_CONTROLE, open_signed(plain));
    uint32_t length = 0;
    EXPECT_CODE(MC_ERR_FICHIER, MC_usLongueurFichierBinaire(1, &length)) << "slot released";
  }
}

}  // namespace
}  // namespace mc::test
