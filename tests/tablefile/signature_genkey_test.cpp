// signature_genkey_test.cpp -- the key pair tool: its three outputs describe one key pair that
// the library and Nettle agree on.
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "signature_support.h"
#include "support/mctest.h"

namespace mc::test {
namespace {

// The 0x.. cells of one array of a generated source.
Bytes array_cells(const std::string& source, const std::string& name) {
  Bytes out;
  const size_t start = source.find(name + "[");
  if (start == std::string::npos) {
    return out;
  }
  const size_t end = source.find("};", start);
  for (size_t at = source.find("0x", start); at != std::string::npos && at < end;
       at = source.find("0x", at + 2)) {
    out.push_back(static_cast<uint8_t>(std::strtoul(source.substr(at + 2, 2).c_str(), nullptr, 16)));
  }
  return out;
}

TEST(KeyTool, WritesOneKeyPairInThreeForms) {
  const std::string key = temp_path(".key");
  const std::string source = temp_path(".cpp");
  const std::string pem = temp_path(".pem");
  const std::string command =
      std::string(MC_TEST_GENKEY) + " '" + key + "' '" + source + "' '" + pem + "'";
  ASSERT_EQ(0, std::system(command.c_str()));

  const Bytes file = read_file(key);
  ASSERT_EQ(708u, file.size());
  EXPECT_EQ(bytes_of("1024"), Bytes(file.begin(), file.begin() + 4));
  EXPECT_GE(file[4], 0x80) << "a 1024-bit modulus starts at 0x80 or above, right behind the digits";

  R_RSA_PRIVATE_KEY record;
  ASSERT_CODE(0, MC_usLireClePrivee(key.c_str(), &record));
  const Bytes message = bytes_of("une table signee");
  Bytes signature(128);
  ASSERT_CODE(0, MC_usCalculerSignatureMessage(message.data(), static_cast<uint32_t>(message.size()),
                                               record, signature.data()));
  Key reference = nettle_public_pem(pem);
  ASSERT_NE(nullptr, reference);
  EXPECT_TRUE(nettle_verify(*reference, message, signature));

  const std::string text = read_text(source);
  EXPECT_EQ(std::string::npos, text.find("DEVELOPMENT")) << "only --dev marks a source so";
  const Bytes modulus = array_cells(text, "MODULUS");
  const Bytes exponent = array_cells(text, "EXPONENT");
  ASSERT_EQ(256u, modulus.size());
  ASSERT_EQ(256u, exponent.size());
  R_RSA_PUBLIC_KEY pub{};
  pub.bits = 1024;
  for (size_t i = 0; i < 128; ++i) {
    pub.modulus[i] = modulus[2 * i];
    pub.exponent[i] = exponent[2 * i];
  }
  EXPECT_EQ(0, std::memcmp(pub.modulus, record.modulus, 128));
  EXPECT_EQ(0, std::memcmp(pub.exponent, record.publicExponent, 128));
  EXPECT_CODE(0, MC_usVerifierSignatureMessage(message.data(), static_cast<uint32_t>(message.size()),
                                               pub, signature.data()));
}

TEST(KeyTool, TwoRunsMakeTwoKeys) {
  const std::string a = temp_path("a.key");
  const std::string b = temp_path("b.key");
  const std::string src = temp_path(".cpp");
  ASSERT_EQ(0, std::system((std::string(MC_TEST_GENKEY) + " '" + a + "' '" + src + "'").c_str()));
  ASSERT_EQ(0, std::system((std::string(MC_TEST_GENKEY) + " '" + b + "' '" + src + "'").c_str()));
  EXPECT_NE(read_file(a), read_file(b));
}

TEST(KeyTool, UsageErrors) {
  EXPECT_NE(0, std::system((std::string(MC_TEST_GENKEY) + " 2>/dev/null").c_str()));
  EXPECT_NE(0, std::system((std::string(MC_TEST_GENKEY) + " /nonexistent/dir/x.key " +
                            temp_path(".cpp") + " 2>/dev/null").c_str()));
}

}  // namespace
}  // namespace mc::test
