// nettle_ref.cpp -- Nettle as the independent reference of the signature tests, and libcrypto's
// allocations counted and failed like the library's own.
#include <nettle/bignum.h>
#include <nettle/knuth-lfib.h>
#include <nettle/md5.h>
#include <openssl/crypto.h>

#include <cstdlib>

#include "tests/tablefile/tftest.h"

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

// The test owns the process: libcrypto's allocator goes through the counting hook from the start.
void* allocate(size_t size, const char*, int) { return mc::testing::compter_allocation() ? std::malloc(size) : nullptr; }
void* reallocate(void* block, size_t size, const char* file, int line) {
  if (block == nullptr) return allocate(size, file, line);
  if (size == 0) {
    std::free(block);
    return nullptr;
  }
  return mc::testing::compter_allocation() ? std::realloc(block, size) : nullptr;
}
void release(void* block, const char*, int) { std::free(block); }
const bool g_crypto_counted = CRYPTO_set_mem_functions(allocate, reallocate, release) == 1;

}  // namespace

bool crypto_allocations_counted() { return g_crypto_counted; }

RsaKey::RsaKey() {
  rsa_public_key_init(&pub);
  rsa_private_key_init(&priv);
}
RsaKey::~RsaKey() {
  rsa_private_key_clear(&priv);
  rsa_public_key_clear(&pub);
}

std::string dev_private_key_path() { return std::string(MC_TEST_SOURCE_DIR) + "/keys/dev_only_private.key"; }

R_RSA_PRIVATE_KEY dev_private_record() {
  const Bytes file = read_file(dev_private_key_path());
  R_RSA_PRIVATE_KEY record{};
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
  return rsa_public_key_prepare(&k->pub) != 0 && rsa_private_key_prepare(&k->priv) != 0 ? std::move(k) : nullptr;
}

Key nettle_generate(unsigned bits) {
  static uint32_t seed = 1;
  knuth_lfib_ctx random;
  knuth_lfib_init(&random, seed++);
  Key k = std::make_unique<RsaKey>();
  mpz_set_ui(k->pub.e, 65537);
  return rsa_generate_keypair(&k->pub, &k->priv, &random, reinterpret_cast<nettle_random_func*>(knuth_lfib_random),
                              nullptr, nullptr, bits, 0) != 0 ? std::move(k) : nullptr;
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
