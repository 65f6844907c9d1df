// signature_support.cpp -- OpenSSL helpers of the signature tests.
#include "signature_support.h"

#include <openssl/bn.h>
#include <openssl/core_names.h>
#include <openssl/param_build.h>
#include <openssl/pem.h>
#include <openssl/rsa.h>

#include <cstdio>
#include <cstring>
#include <vector>

namespace mc::test {
namespace {

struct BnFree {
  void operator()(BIGNUM* b) const { BN_clear_free(b); }
};
using Bn = std::unique_ptr<BIGNUM, BnFree>;

Bn bn(const unsigned char* bytes, size_t length) { return Bn(BN_bin2bn(bytes, static_cast<int>(length), nullptr)); }

void to_field(EVP_PKEY* key, const char* name, unsigned char* out, size_t length) {
  BIGNUM* value = nullptr;
  ASSERT_EQ(1, EVP_PKEY_get_bn_param(key, name, &value)) << name;
  Bn holder(value);
  ASSERT_EQ(static_cast<int>(length), BN_bn2binpad(value, out, static_cast<int>(length))) << name;
}

Pkey from_params(const std::vector<std::pair<const char*, Bn>>& fields, int selection) {
  OSSL_PARAM_BLD* build = OSSL_PARAM_BLD_new();
  for (const auto& [name, value] : fields) {
    OSSL_PARAM_BLD_push_BN(build, name, value.get());
  }
  OSSL_PARAM* params = OSSL_PARAM_BLD_to_param(build);
  EVP_PKEY_CTX* ctx = EVP_PKEY_CTX_new_from_name(nullptr, "RSA", nullptr);
  EVP_PKEY* key = nullptr;
  if (ctx == nullptr || params == nullptr || EVP_PKEY_fromdata_init(ctx) != 1 ||
      EVP_PKEY_fromdata(ctx, &key, selection, params) != 1) {
    key = nullptr;
  }
  EVP_PKEY_CTX_free(ctx);
  OSSL_PARAM_free(params);
  OSSL_PARAM_BLD_free(build);
  return Pkey(key);
}

}  // namespace

std::string dev_private_key_path() { return std::string(MC_TEST_SOURCE_DIR) + "/keys/dev_only_private.key"; }
std::string dev_public_pem_path() { return std::string(MC_TEST_SOURCE_DIR) + "/keys/dev_only_public.pem"; }

R_RSA_PRIVATE_KEY dev_private_record() {
  const Bytes file = read_file(dev_private_key_path());
  R_RSA_PRIVATE_KEY record{};
  EXPECT_EQ(708u, file.size());
  if (file.size() != 708 || std::memcmp(file.data(), "1024", 4) != 0) {
    ADD_FAILURE() << "development key file is not 1024 and 704 bytes";
    return record;
  }
  record.bits = 1024;
  std::memcpy(record.modulus, file.data() + 4, 704);  // the fields lie back to back
  return record;
}

Pkey openssl_private_key(const R_RSA_PRIVATE_KEY& r) {
  std::vector<std::pair<const char*, Bn>> fields;
  fields.emplace_back(OSSL_PKEY_PARAM_RSA_N, bn(r.modulus, 128));
  fields.emplace_back(OSSL_PKEY_PARAM_RSA_E, bn(r.publicExponent, 128));
  fields.emplace_back(OSSL_PKEY_PARAM_RSA_D, bn(r.exponent, 128));
  fields.emplace_back(OSSL_PKEY_PARAM_RSA_FACTOR1, bn(r.prime[0], 64));
  fields.emplace_back(OSSL_PKEY_PARAM_RSA_FACTOR2, bn(r.prime[1], 64));
  fields.emplace_back(OSSL_PKEY_PARAM_RSA_EXPONENT1, bn(r.primeExponent[0], 64));
  fields.emplace_back(OSSL_PKEY_PARAM_RSA_EXPONENT2, bn(r.primeExponent[1], 64));
  fields.emplace_back(OSSL_PKEY_PARAM_RSA_COEFFICIENT1, bn(r.coefficient, 64));
  return from_params(fields, EVP_PKEY_KEYPAIR);
}

Pkey openssl_public_key(const R_RSA_PUBLIC_KEY& r) {
  std::vector<std::pair<const char*, Bn>> fields;
  fields.emplace_back(OSSL_PKEY_PARAM_RSA_N, bn(r.modulus, 128));
  fields.emplace_back(OSSL_PKEY_PARAM_RSA_E, bn(r.exponent, 128));
  return from_params(fields, EVP_PKEY_PUBLIC_KEY);
}

Pkey openssl_public_pem(const std::string& path) {
  FILE* f = std::fopen(path.c_str(), "r");
  if (f == nullptr) {
    return nullptr;
  }
  EVP_PKEY* key = PEM_read_PUBKEY(f, nullptr, nullptr, nullptr);
  std::fclose(f);
  return Pkey(key);
}

Pkey openssl_generate(unsigned bits) { return Pkey(EVP_RSA_gen(bits)); }

R_RSA_PRIVATE_KEY private_record(EVP_PKEY* key) {
  R_RSA_PRIVATE_KEY r{};
  r.bits = static_cast<unsigned>(EVP_PKEY_get_bits(key));
  to_field(key, OSSL_PKEY_PARAM_RSA_N, r.modulus, 128);
  to_field(key, OSSL_PKEY_PARAM_RSA_E, r.publicExponent, 128);
  to_field(key, OSSL_PKEY_PARAM_RSA_D, r.exponent, 128);
  to_field(key, OSSL_PKEY_PARAM_RSA_FACTOR1, r.prime[0], 64);
  to_field(key, OSSL_PKEY_PARAM_RSA_FACTOR2, r.prime[1], 64);
  to_field(key, OSSL_PKEY_PARAM_RSA_EXPONENT1, r.primeExponent[0], 64);
  to_field(key, OSSL_PKEY_PARAM_RSA_EXPONENT2, r.primeExponent[1], 64);
  to_field(key, OSSL_PKEY_PARAM_RSA_COEFFICIENT1, r.coefficient, 64);
  return r;
}

R_RSA_PUBLIC_KEY public_record(const R_RSA_PRIVATE_KEY& r) {
  R_RSA_PUBLIC_KEY p{};
  p.bits = r.bits;
  std::memcpy(p.modulus, r.modulus, 128);
  std::memcpy(p.exponent, r.publicExponent, 128);
  return p;
}

Bytes key_file_bytes(const R_RSA_PRIVATE_KEY& r, const std::string& after_digits) {
  Bytes out = bytes_of(std::to_string(r.bits) + after_digits);
  const auto* fields = reinterpret_cast<const uint8_t*>(r.modulus);
  out.insert(out.end(), fields, fields + 704);
  return out;
}

Bytes openssl_sign(EVP_PKEY* key, const Bytes& message) {
  EVP_MD_CTX* ctx = EVP_MD_CTX_new();
  size_t length = 0;
  Bytes signature;
  if (EVP_DigestSignInit(ctx, nullptr, EVP_md5(), nullptr, key) == 1 &&
      EVP_DigestSign(ctx, nullptr, &length, message.data(), message.size()) == 1) {
    signature.resize(length);
    if (EVP_DigestSign(ctx, signature.data(), &length, message.data(), message.size()) != 1) {
      signature.clear();
    }
  }
  EVP_MD_CTX_free(ctx);
  return signature;
}

bool openssl_verify(EVP_PKEY* key, const Bytes& message, const Bytes& signature) {
  EVP_MD_CTX* ctx = EVP_MD_CTX_new();
  const bool ok = EVP_DigestVerifyInit(ctx, nullptr, EVP_md5(), nullptr, key) == 1 &&
                  EVP_DigestVerify(ctx, signature.data(), signature.size(), message.data(),
                                   message.size()) == 1;
  EVP_MD_CTX_free(ctx);
  return ok;
}

}  // namespace mc::test
