// signature_file_test.cpp -- signed table files (control type 2): signing at release, checking
// at opening, cross-checked with Nettle and with the openssl command.
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>

#include "signature_support.h"
#include "tests/tablefile/tftest.h"

namespace mc::test {
namespace {

constexpr const char* kNom = "signe.tbx";

class SignedFile : public TableFileTest {
 protected:
  void SetUp() override {
    TableFileTest::SetUp();
    path_ = path(kNom);
  }

  // Writes the sample file with a control type; returns the release's code.
  uint16_t write(uint16_t type, const std::string& key) {
    uint16_t num = 0;
    EXPECT_CODE(0, creer(kNom, type, &num, entete_exemple(kNom, "table signee")));
    const EnteteTable table = entete_table("TEST", 3);
    EXPECT_CODE(0, MC_usEcrireEnteteTable(num, &table));
    for (uint16_t v : {0x0102, 0xBEEF, 0x7F80}) {
      EXPECT_CODE(0, MC_usEcrireUnsignedShort(num, v));
      EXPECT_CODE(0, MC_usEcrireChaineVariable(num, "valeur"));
    }
    return MC_usLibererFichierBinaire(num, key.c_str());
  }

  // Opens the file with control type 2 and releases it at once; the opening's code.
  uint16_t open_signed() {
    uint16_t num = 0;
    const uint16_t code = ouvrir(kNom, MC_CONTROLE_SIGNATURE, &num);
    if (num != 0) {
      EXPECT_CODE(0, MC_usLibererFichierBinaire(num, nullptr));
    }
    return code;
  }

  // The same file with no protection: the signed file is these bytes and 128 more.
  Bytes unsigned_bytes() {
    EXPECT_CODE(0, write(0, ""));
    return read_file(path_);
  }

  std::string path_;
};

#if MC_TEST_DEV_KEY

TEST_F(SignedFile, ReleaseAppendsNettlesSignatureOfBytesFromPosition4) {
  const Bytes plain = unsigned_bytes();
  ASSERT_CODE(0, write(2, dev_private_key_path()));
  const Bytes file = read_file(path_);
  ASSERT_EQ(plain.size() + 128, file.size());
  EXPECT_EQ(plain, Bytes(file.begin(), file.end() - 128));
  EXPECT_EQ(bytes_of("0000 signe.tbx"), Bytes(file.begin(), file.begin() + 14));

  const Bytes range(file.begin() + 4, file.end() - 128);
  const Bytes signature(file.end() - 128, file.end());
  Key dev = nettle_private_key(dev_private_record());
  ASSERT_NE(nullptr, dev);
  EXPECT_EQ(to_hex(nettle_sign(*dev, range)), to_hex(signature));
  Key pem = nettle_public_pem(dev_public_pem_path());
  ASSERT_NE(nullptr, pem);
  EXPECT_TRUE(nettle_verify(*pem, range, signature));
}

TEST_F(SignedFile, OpensAndReadsBackThenReleasesUnchanged) {
  ASSERT_CODE(0, write(2, dev_private_key_path()));
  const Bytes before = read_file(path_);
  EnteteFichierBinaire entete;
  uint16_t num = 0;
  ASSERT_CODE(0, ouvrir(kNom, MC_CONTROLE_SIGNATURE, &num, &entete));
  EXPECT_STREQ("table signee", entete.szCommentaire);
  EnteteTable table;
  ASSERT_CODE(0, MC_usRechercherTable(num, "TEST", &table));
  const uint32_t records = table.ulNombreEnregistrements;  // a packed member: no reference to it
  EXPECT_EQ(3u, records);
  uint16_t value = 0;
  ASSERT_CODE(0, MC_usLireUnsignedShort(num, &value));
  EXPECT_EQ(0x0102, value);
  EXPECT_CODE(0, MC_usLibererFichierBinaire(num, dev_private_key_path().c_str()));
  EXPECT_EQ(before, read_file(path_));
}

TEST_F(SignedFile, NettleSignedFileOpens) {
  Bytes file = unsigned_bytes();
  Key dev = nettle_private_key(dev_private_record());
  const Bytes signature = nettle_sign(*dev, Bytes(file.begin() + 4, file.end()));
  ASSERT_EQ(128u, signature.size());
  file.insert(file.end(), signature.begin(), signature.end());
  write_file(path_, file);
  EXPECT_CODE(0, open_signed());
}

TEST_F(SignedFile, AnyChangedByteFromPosition4IsRefused) {
  ASSERT_CODE(0, write(2, dev_private_key_path()));
  const Bytes good = read_file(path_);
  ASSERT_CODE(0, open_signed());
  for (size_t at = 4; at < good.size(); ++at) {
    for (uint8_t mask : {0x01, 0x80}) {
      SCOPED_TRACE("byte " + std::to_string(at) + " xor " + std::to_string(mask));
      Bytes bad = good;
      bad[at] ^= mask;
      write_file(path_, bad);
      // The header is read before the signature is checked: a changed name is another file,
      // a changed CR lets the comment run on.
      const size_t cr = 60 + std::strlen("table signee");
      const uint16_t expected = (at >= 5 && at < 17) ? MC_ERR_NOM_FICHIER
                                : at == cr           ? MC_ERR_FIN_FICHIER
                                                     : MC_ERR_CONTROLE;
      EXPECT_CODE(expected, open_signed());
    }
  }
}

TEST_F(SignedFile, FirstFourBytesAreNotSigned) {
  ASSERT_CODE(0, write(2, dev_private_key_path()));
  const Bytes good = read_file(path_);
  for (const char* control : {"FFFF", "1234", "    ", "\x00\x00\x00\x00"}) {
    SCOPED_TRACE(control);
    Bytes changed = good;
    std::memcpy(changed.data(), control, 4);
    write_file(path_, changed);
    EXPECT_CODE(0, open_signed());
  }
}

TEST_F(SignedFile, CutOrLengthenedFilesAreRefused) {
  ASSERT_CODE(0, write(2, dev_private_key_path()));
  const Bytes good = read_file(path_);
  const size_t header = 63 + std::strlen("table signee");
  for (size_t length : {good.size() - 1, good.size() - 127, good.size() - 128, good.size() - 129,
                        header + 132, header + 1, header}) {
    SCOPED_TRACE("cut to " + std::to_string(length));
    write_file(path_, Bytes(good.begin(), good.begin() + static_cast<long>(length)));
    EXPECT_CODE(MC_ERR_CONTROLE, open_signed());
  }
  for (size_t length : {size_t{0}, size_t{4}, size_t{40}, header - 1}) {
    SCOPED_TRACE("header cut to " + std::to_string(length));
    write_file(path_, Bytes(good.begin(), good.begin() + static_cast<long>(length)));
    EXPECT_NE(0, open_signed());
  }
  Bytes longer = good;
  longer.push_back(0);
  write_file(path_, longer);
  EXPECT_CODE(MC_ERR_CONTROLE, open_signed());
}

TEST_F(SignedFile, FileSignedWithAnotherKeyIsRefused) {
  Key other = nettle_generate(1024);
  const std::string key = temp_path(".key");
  write_file(key, key_file_bytes(private_record(*other)));
  ASSERT_CODE(0, write(2, key));
  const Bytes file = read_file(path_);
  EXPECT_TRUE(nettle_verify(*other, Bytes(file.begin() + 4, file.end() - 128),
                             Bytes(file.end() - 128, file.end())));
  EXPECT_CODE(MC_ERR_CONTROLE, open_signed());
}

TEST_F(SignedFile, CheckReportsRsarefCodeThatOpeningTurnsInto0xF630) {
  ASSERT_CODE(0, write(2, dev_private_key_path()));
  Bytes file = read_file(path_);
  file[100] ^= 0x20;
  write_file(path_, file);
  uint16_t num = 0;
  ASSERT_CODE(0, ouvrir(kNom, 0, &num));
  EXPECT_CODE(RE_SIGNATURE, MC_usVerifierSignatureFichier(num));
  mc::testing::faire_echouer_allocation(0);
  EXPECT_CODE(MC_ERR_FICHIER, MC_usVerifierSignatureFichier(num)) << "no public key";
  EXPECT_CODE(0, MC_usLibererFichierBinaire(num, nullptr));
  EXPECT_CODE(MC_ERR_FICHIER, MC_usVerifierSignatureFichier(num)) << "slot released";
}

TEST_F(SignedFile, CheckTracesEntryAndExit) {
  ASSERT_CODE(0, write(2, dev_private_key_path()));
  uint16_t num = 0;
  ASSERT_CODE(0, ouvrir(kNom, 0, &num));
  TraceCapture trace({{1, 7, 2}});
  EXPECT_CODE(0, MC_usVerifierSignatureFichier(num));
  trace.stop();
  const auto lines = trace.lines();
  ASSERT_GE(lines.size(), 4u);
  EXPECT_EQ("{ MC_usVerifierSignatureFichier : NumFichier = 1", lines[1]);
  EXPECT_EQ("  MC_usVerifierSignatureFichier : Code retour = 0x0000", lines[lines.size() - 4]);
  EXPECT_EQ("}", lines[lines.size() - 3]);
  EXPECT_CODE(0, MC_usLibererFichierBinaire(num, nullptr));
}

TEST_F(SignedFile, MemoryShortageAtReleaseAndOpening) {
  ASSERT_TRUE(crypto_allocations_counted());
  const std::string key = dev_private_key_path();
  const auto release = [&](uint16_t type) -> uint32_t {
    uint16_t num = 0;
    const uint16_t code = creer(kNom, type, &num, entete_exemple(kNom, "table signee"));
    return code != 0 ? code : MC_usLibererFichierBinaire(num, key.c_str());
  };
  const auto open = [&](uint16_t type) -> uint32_t {
    uint16_t num = 0;
    const uint16_t code = ouvrir(kNom, type, &num);
    return num == 0 ? code : code | MC_usLibererFichierBinaire(num, nullptr);
  };
  const auto allocations = [](const std::function<uint32_t()>& operation) {
    const uint32_t before = mc::testing::nombre_allocations();
    EXPECT_CODE(0, operation());
    return mc::testing::nombre_allocations() - before;
  };
  ASSERT_CODE(0, release(2));  // fills libcrypto's caches
  // Creating takes what an unprotected file takes; then the signing reads the file into a
  // buffer (0xF610 without it) and libcrypto signs it (kept: any failure there is the bare 1).
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

TEST_F(SignedFile, PassesTheOpensslCommand) {
  if (std::string(MC_TEST_OPENSSL).empty()) {
    GTEST_SKIP() << "no openssl command";
  }
  ASSERT_CODE(0, write(2, dev_private_key_path()));
  const Bytes file = read_file(path_);
  const std::string range = temp_path("range.bin");
  const std::string signature = temp_path("sig.bin");
  const std::string command = std::string(MC_TEST_OPENSSL) + " dgst -md5 -verify '" +
                              dev_public_pem_path() + "' -signature '" + signature + "' '" + range +
                              "' >/dev/null 2>&1";
  write_file(signature, Bytes(file.end() - 128, file.end()));
  write_file(range, Bytes(file.begin() + 4, file.end() - 128));
  EXPECT_EQ(0, std::system(command.c_str()));
  Bytes tampered(file.begin() + 4, file.end() - 128);
  tampered[tampered.size() / 2] ^= 0x01;
  write_file(range, tampered);
  EXPECT_NE(0, std::system(command.c_str()));
}

#endif  // MC_TEST_DEV_KEY

TEST_F(SignedFile, KeptBlankAfterBitCountLeavesFileUnsignedAndRefused) {
  const Bytes plain = unsigned_bytes();
  const std::string key = temp_path(".key");
  write_file(key, key_file_bytes(dev_private_record(), " "));
  EXPECT_CODE(1, write(2, key));
  EXPECT_EQ(plain, read_file(path_)) << "closed without a signature";
  EXPECT_CODE(MC_ERR_CONTROLE, open_signed());
}

TEST_F(SignedFile, MissingKeyFileGives0xF610AndClosesUnsignedFile) {
  const Bytes plain = unsigned_bytes();
  TraceCapture trace({{1, 7, 2}});
  EXPECT_CODE(MC_ERR_FICHIER, write(2, temp_path("absent.key")));
  trace.stop();
  EXPECT_EQ(plain, read_file(path_));
  const std::string text = trace.text();
  const auto entry = text.find("{ MC_usEcrireSignatureFichier : NumFichier = 1\n");
  const auto error = text.find("  ERREUR : Probleme lors de la lecture de la cle privee\n");
  const auto exit = text.find("  MC_usEcrireSignatureFichier : Code retour = 0xf610\n");
  EXPECT_NE(std::string::npos, entry);
  EXPECT_NE(std::string::npos, error);
  EXPECT_NE(std::string::npos, exit);
  EXPECT_LT(entry, error);
  EXPECT_LT(error, exit);
  EXPECT_NE(std::string::npos, text.find("MC_usLibererFichierBinaire : Code retour = 0xf610"));
  uint32_t length = 0;
  EXPECT_CODE(MC_ERR_FICHIER, MC_usLongueurFichierBinaire(1, &length)) << "slot released";
  EXPECT_CODE(MC_ERR_FICHIER, write(2, ""));
  // A directory opens but reads nothing: a key of zeros, which signs nothing.
  EXPECT_CODE(1, write(2, dir_));
}

TEST_F(SignedFile, SigningNeedsAnOpenWrittenSlot) {
  EXPECT_CODE(MC_ERR_FICHIER, MC_usEcrireSignatureFichier(0, dev_private_key_path().c_str()));
  EXPECT_CODE(MC_ERR_FICHIER, MC_usEcrireSignatureFichier(101, dev_private_key_path().c_str()));
  EXPECT_CODE(MC_ERR_FICHIER, MC_usEcrireSignatureFichier(7, dev_private_key_path().c_str()));
  EXPECT_CODE(MC_ERR_FICHIER, MC_usVerifierSignatureFichier(0));
}

TEST_F(SignedFile, SigningAFileOpenedForReadingCannotWriteTheSignature) {
  ASSERT_CODE(0, write(0, ""));
  const Bytes before = read_file(path_);
  uint16_t num = 0;
  ASSERT_CODE(0, ouvrir(kNom, 0, &num));
  EXPECT_CODE(MC_ERR_FICHIER, MC_usEcrireSignatureFichier(num, dev_private_key_path().c_str()));
  EXPECT_CODE(0, MC_usLibererFichierBinaire(num, nullptr));
  EXPECT_EQ(before, read_file(path_));
}

}  // namespace
}  // namespace mc::test
