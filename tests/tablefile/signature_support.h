// signature_support.h -- OpenSSL's libcrypto as the independent reference for the signature
// tests: keys built from RSAREF records, MD5 PKCS #1 v1.5 signing and checking.
#ifndef MC_TESTS_TABLEFILE_SIGNATURE_SUPPORT_H
#define MC_TESTS_TABLEFILE_SIGNATURE_SUPPORT_H

#include <openssl/evp.h>

#include <memory>
#include <string>

#include "mc.h"
#include "support/mctest.h"

namespace mc::test {

struct PkeyFree {
  void operator()(EVP_PKEY* k) const { EVP_PKEY_free(k); }
};
using Pkey = std::unique_ptr<EVP_PKEY, PkeyFree>;

// The development pair of keys/.
std::string dev_private_key_path();
std::string dev_public_pem_path();

// The development key file parsed here, independently of MC_usLireClePrivee: "1024" then the
// eight fields.
R_RSA_PRIVATE_KEY dev_private_record();

// A key pair in OpenSSL from a record, and back.
Pkey openssl_private_key(const R_RSA_PRIVATE_KEY& record);
Pkey openssl_public_key(const R_RSA_PUBLIC_KEY& record);
Pkey openssl_public_pem(const std::string& path);
Pkey openssl_generate(unsigned bits);
R_RSA_PRIVATE_KEY private_record(EVP_PKEY* key);
R_RSA_PUBLIC_KEY public_record(const R_RSA_PRIVATE_KEY& record);

// The key file bytes of a record: decimal bit count, then the fields.
Bytes key_file_bytes(const R_RSA_PRIVATE_KEY& record, const std::string& after_digits = "");

// MD5 with PKCS #1 v1.5 padding.
Bytes openssl_sign(EVP_PKEY* key, const Bytes& message);
bool openssl_verify(EVP_PKEY* key, const Bytes& message, const Bytes& signature);

}  // namespace mc::test

#endif  // MC_TESTS_TABLEFILE_SIGNATURE_SUPPORT_H
