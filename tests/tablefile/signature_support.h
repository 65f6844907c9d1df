// signature_support.h -- Nettle as the independent reference for the signature tests: keys built
// from RSAREF records, MD5 PKCS #1 v1.5 signing and checking.
#ifndef MC_TESTS_TABLEFILE_SIGNATURE_SUPPORT_H
#define MC_TESTS_TABLEFILE_SIGNATURE_SUPPORT_H

#include <nettle/rsa.h>

#include <memory>
#include <string>

#include "mc.h"
#include "support/mctest.h"

namespace mc::test {

// A Nettle key pair; only `pub` is set for a public key.
struct RsaKey {
  rsa_public_key pub;
  rsa_private_key priv;
  RsaKey();
  ~RsaKey();
  RsaKey(const RsaKey&) = delete;
  RsaKey& operator=(const RsaKey&) = delete;
};
using Key = std::unique_ptr<RsaKey>;

// True when libcrypto's allocations go through mc::testing::compter_allocation() in this
// program, so that each_allocation_failure reaches them (installed before main).
bool crypto_allocations_counted();

// The development pair of keys/.
std::string dev_private_key_path();
std::string dev_public_pem_path();

// The development key file parsed here, independently of MC_usLireClePrivee: "1024" then the
// eight fields.
R_RSA_PRIVATE_KEY dev_private_record();

// A key in Nettle from a record, a PEM public key file or a new pair (null when it is no key),
// and back.
Key nettle_private_key(const R_RSA_PRIVATE_KEY& record);
Key nettle_public_key(const R_RSA_PUBLIC_KEY& record);
Key nettle_public_pem(const std::string& path);
Key nettle_generate(unsigned bits);
R_RSA_PRIVATE_KEY private_record(const RsaKey& key);
R_RSA_PUBLIC_KEY public_record(const R_RSA_PRIVATE_KEY& record);
bool same_public_key(const RsaKey& a, const RsaKey& b);

// The key file bytes of a record: decimal bit count, then the fields.
Bytes key_file_bytes(const R_RSA_PRIVATE_KEY& record, const std::string& after_digits = "");

// MD5 with PKCS #1 v1.5 padding.
Bytes nettle_sign(const RsaKey& key, const Bytes& message);
bool nettle_verify(const RsaKey& key, const Bytes& message, const Bytes& signature);

}  // namespace mc::test

#endif  // MC_TESTS_TABLEFILE_SIGNATURE_SUPPORT_H
