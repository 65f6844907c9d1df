// signature_support.cpp -- Nettle helpers of the signature tests.
#include "signature_support.h"

#include <nettle/asn1.h>
#include <nettle/base64.h>
#include <nettle/bignum.h>
#include <nettle/knuth-lfib.h>
#include <nettle/md5.h>

#include <cctype>
#include <cstring>

namespace mc::test {
namespace {

void set(mpz_t x, const unsigned char* bytes, size_t length) { nettle_mpz_set_str_256_u(x, length, bytes); }
void get(const mpz_t x, unsigned char* out, size_t length) { nettle_mpz_get_str_256(length, out, x); }

md5_ctx digest_of(const Bytes& message) {
  md5_ctx ctx;
  md5_init(&ctx);
  md5_update(&ctx, message.size(), message.data());
  return ctx;
}

}  // namespace

RsaKey::RsaKey() {
  rsa_public_key_init(&pub);
  rsa_private_key_init(&priv);
}
RsaKey::~RsaKey() {
  rsa_private_key_clear(&priv);
  rsa_public_key_clear(&pub);
}

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

Key nettle_private_key(const R_RSA_PRIVATE_KEY& r) {
  Key k = std::make_unique<RsaKey>();
  set(k->pub.n, r.modulus, 128);
  set(k->pub.e, r.publicExponent, 128);
  set(k->priv.d, r.exponent, 128);
  set(k->priv.p, r.prime[0], 64);
  set(k->priv.q, r.prime[1], 64);
  set(k->priv.a, r.primeExponent[0], 64);
  set(k->priv.b, r.primeExponent[1], 64);
  set(k->priv.c, r.coefficient, 64);
  if (rsa_public_key_prepare(&k->pub) == 0 || rsa_private_key_prepare(&k->priv) == 0) {
    return nullptr;
  }
  return k;
}

Key nettle_public_key(const R_RSA_PUBLIC_KEY& r) {
  Key k = std::make_unique<RsaKey>();
  set(k->pub.n, r.modulus, 128);
  set(k->pub.e, r.exponent, 128);
  return rsa_public_key_prepare(&k->pub) != 0 ? std::move(k) : nullptr;
}

Key nettle_public_pem(const std::string& path) {
  const std::string text = read_text(path);
  const std::string begin = "-----BEGIN PUBLIC KEY-----";
  const size_t from = text.find(begin);
  const size_t to = text.find("-----END PUBLIC KEY-----");
  if (from == std::string::npos || to == std::string::npos || to < from) {
    return nullptr;
  }
  std::string base64;
  for (size_t i = from + begin.size(); i < to; ++i) {
    if (std::isspace(static_cast<unsigned char>(text[i])) == 0) {
      base64 += text[i];
    }
  }
  Bytes der(BASE64_DECODE_LENGTH(base64.size()));
  size_t length = der.size();
  base64_decode_ctx ctx;
  base64_decode_init(&ctx);
  if (base64_decode_update(&ctx, &length, der.data(), base64.size(), base64.data()) == 0 ||
      base64_decode_final(&ctx) == 0) {
    return nullptr;
  }
  // SubjectPublicKeyInfo: SEQUENCE { SEQUENCE { rsaEncryption, NULL }, BIT STRING { n, e } }
  asn1_der_iterator i;
  Key k = std::make_unique<RsaKey>();
  const bool ok = asn1_der_iterator_first(&i, length, der.data()) == ASN1_ITERATOR_CONSTRUCTED &&
                  i.type == ASN1_SEQUENCE && asn1_der_decode_constructed_last(&i) == ASN1_ITERATOR_CONSTRUCTED &&
                  i.type == ASN1_SEQUENCE && asn1_der_iterator_next(&i) == ASN1_ITERATOR_PRIMITIVE &&
                  i.type == ASN1_BITSTRING && asn1_der_decode_bitstring_last(&i) == ASN1_ITERATOR_CONSTRUCTED &&
                  rsa_public_key_from_der_iterator(&k->pub, 0, &i) != 0;
  return ok ? std::move(k) : nullptr;
}

Key nettle_generate(unsigned bits) {
  static uint32_t seed = 1;
  knuth_lfib_ctx random;
  knuth_lfib_init(&random, seed++);
  Key k = std::make_unique<RsaKey>();
  mpz_set_ui(k->pub.e, 65537);
  if (rsa_generate_keypair(&k->pub, &k->priv, &random, reinterpret_cast<nettle_random_func*>(knuth_lfib_random),
                           nullptr, nullptr, bits, 0) == 0) {
    return nullptr;
  }
  return k;
}

R_RSA_PRIVATE_KEY private_record(const RsaKey& k) {
  R_RSA_PRIVATE_KEY r{};
  r.bits = static_cast<unsigned>(mpz_sizeinbase(k.pub.n, 2));
  get(k.pub.n, r.modulus, 128);
  get(k.pub.e, r.publicExponent, 128);
  get(k.priv.d, r.exponent, 128);
  get(k.priv.p, r.prime[0], 64);
  get(k.priv.q, r.prime[1], 64);
  get(k.priv.a, r.primeExponent[0], 64);
  get(k.priv.b, r.primeExponent[1], 64);
  get(k.priv.c, r.coefficient, 64);
  return r;
}

R_RSA_PUBLIC_KEY public_record(const R_RSA_PRIVATE_KEY& r) {
  R_RSA_PUBLIC_KEY p{};
  p.bits = r.bits;
  std::memcpy(p.modulus, r.modulus, 128);
  std::memcpy(p.exponent, r.publicExponent, 128);
  return p;
}

bool same_public_key(const RsaKey& a, const RsaKey& b) {
  return mpz_cmp(a.pub.n, b.pub.n) == 0 && mpz_cmp(a.pub.e, b.pub.e) == 0;
}

Bytes key_file_bytes(const R_RSA_PRIVATE_KEY& r, const std::string& after_digits) {
  Bytes out = bytes_of(std::to_string(r.bits) + after_digits);
  const auto* fields = reinterpret_cast<const uint8_t*>(r.modulus);
  out.insert(out.end(), fields, fields + 704);
  return out;
}

Bytes nettle_sign(const RsaKey& k, const Bytes& message) {
  md5_ctx ctx = digest_of(message);
  mpz_t s;
  mpz_init(s);
  Bytes signature;
  if (rsa_md5_sign(&k.priv, &ctx, s) != 0) {
    signature.resize(k.pub.size);
    get(s, signature.data(), signature.size());
  }
  mpz_clear(s);
  return signature;
}

bool nettle_verify(const RsaKey& k, const Bytes& message, const Bytes& signature) {
  md5_ctx ctx = digest_of(message);
  mpz_t s;
  mpz_init(s);
  set(s, signature.data(), signature.size());
  const bool ok = rsa_md5_verify(&k.pub, &ctx, s) != 0;
  mpz_clear(s);
  return ok;
}

}  // namespace mc::test
