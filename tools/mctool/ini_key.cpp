// ini_key.cpp -- mctool ini (the library's INI reader and writer) and mctool key (the key pair
// that signs table files: the library's private key file, a PEM public key, the library's arrays).
#include <openssl/core_names.h>
#include <openssl/evp.h>
#include <openssl/param_build.h>
#include <openssl/pem.h>
#include <openssl/rand.h>
#include <openssl/rsa.h>

#include <cstdio>
#include <cstring>

#include "tools/mctool/mctool.h"

namespace mctool {
namespace {

int ini_get(const std::string& file, const std::string& section, const std::string& key) {
  static const char kAbsent[] = "\x01 absent \x01";
  std::vector<char> buffer(4097);
  GetIniString(section.c_str(), key.c_str(), kAbsent, buffer.data(), 4096, file.c_str());
  if (std::strcmp(buffer.data(), kAbsent) == 0) {
    return fail(kInvalid, file, "no key \"" + key + "\" in section \"" + section + "\"");
  }
  std::printf("%s\n", buffer.data());
  return kOk;
}

int ini_set(const std::string& file, const std::string& section, const std::string& key, const std::string& value) {
  if (MC_bEcrireChaineIni(section.c_str(), key.c_str(), value.c_str(), file.c_str()) != 1) {
    return fail(kUsage, file, "cannot be written (the writer's temporary file lies in the configuration directory)");
  }
  return kOk;
}

struct PkeyFree {
  void operator()(EVP_PKEY* k) const { EVP_PKEY_free(k); }
};
using Pkey = std::unique_ptr<EVP_PKEY, PkeyFree>;

Bytes bn_param(const EVP_PKEY* key, const char* name, size_t size) {
  BIGNUM* bn = nullptr;
  Bytes out(size);
  if (EVP_PKEY_get_bn_param(key, name, &bn) != 1 || BN_bn2binpad(bn, out.data(), static_cast<int>(size)) < 0) {
    out.clear();
  }
  BN_free(bn);
  return out;
}

// The public key from its modulus and exponent (big-endian bytes).
Pkey public_key(const Bytes& n, const Bytes& e) {
  OSSL_PARAM_BLD* bld = OSSL_PARAM_BLD_new();
  BIGNUM* bn_n = BN_bin2bn(n.data(), static_cast<int>(n.size()), nullptr);
  BIGNUM* bn_e = BN_bin2bn(e.data(), static_cast<int>(e.size()), nullptr);
  OSSL_PARAM* params = nullptr;
  EVP_PKEY* key = nullptr;
  EVP_PKEY_CTX* ctx = EVP_PKEY_CTX_new_from_name(nullptr, "RSA", nullptr);
  if (bld != nullptr && bn_n != nullptr && bn_e != nullptr && ctx != nullptr &&
      OSSL_PARAM_BLD_push_BN(bld, OSSL_PKEY_PARAM_RSA_N, bn_n) == 1 &&
      OSSL_PARAM_BLD_push_BN(bld, OSSL_PKEY_PARAM_RSA_E, bn_e) == 1 &&
      (params = OSSL_PARAM_BLD_to_param(bld)) != nullptr && EVP_PKEY_fromdata_init(ctx) == 1) {
    EVP_PKEY_fromdata(ctx, &key, EVP_PKEY_PUBLIC_KEY, params);
  }
  EVP_PKEY_CTX_free(ctx);
  OSSL_PARAM_free(params);
  BN_free(bn_e);
  BN_free(bn_n);
  OSSL_PARAM_BLD_free(bld);
  return Pkey(key);
}

bool write_pem(const std::string& path, EVP_PKEY* key) {
  FILE* f = std::fopen(path.c_str(), "w");
  if (f == nullptr) {
    return false;
  }
  const bool ok = PEM_write_PUBKEY(f, key) == 1;
  return std::fclose(f) == 0 && ok;
}

// The C++ source of the library's MODULUS and EXPONENT arrays: the key's bytes at the even
// positions, random filler at the odd ones.
bool write_source(const std::string& path, const Bytes& n, const Bytes& e, bool dev) {
  std::string out = "// " + base_of(path) + " -- public half of the key pair that signs table files, made by mctool key.\n";
  if (dev) {
    out += "// DEVELOPMENT AND TESTS ONLY: the private half is keys/dev_only_private.key, published in the\n"
           "// repository. A deployment builds with -DMC_PUBLIC_KEY_SOURCE=<its own source> (keys/README.md).\n";
  }
  out += "// The modulus and the exponent are the bytes at the even positions; the odd ones are filler.\n"
         "#include \"tablefile/mcsign.h\"\n\nnamespace mc {\n";
  for (const auto& [name, value] : {std::pair{"MODULUS", &n}, std::pair{"EXPONENT", &e}}) {
    Bytes filler(value->size());
    if (RAND_bytes(filler.data(), static_cast<int>(filler.size())) != 1) {
      return false;
    }
    out += std::string("\nextern const uint8_t ") + name + "[2 * MAX_RSA_MODULUS_LEN] = {";
    for (size_t i = 0; i < 2 * value->size(); ++i) {
      char cell[8];
      std::snprintf(cell, sizeof cell, "0x%02x,", i % 2 == 0 ? (*value)[i / 2] : filler[i / 2]);
      out += (i % 12 == 0 ? "\n    " : " ") + std::string(cell);
    }
    out += "\n};\n";
  }
  out += "\n}  // namespace mc\n";
  return write_bytes(path, Bytes(out.begin(), out.end()));
}

int public_outputs(const Bytes& n, const Bytes& e, const std::string& pem, const std::string& source, bool dev) {
  if (!pem.empty()) {
    Pkey key = public_key(n, e);
    if (!key || !write_pem(pem, key.get())) {
      return fail(kUsage, pem, "cannot be written");
    }
  }
  if (!source.empty() && !write_source(source, n, e, dev)) {
    return fail(kUsage, source, "cannot be written");
  }
  return kOk;
}

int key_gen(const std::string& out, const std::string& pem, const std::string& source, bool dev) {
  EVP_PKEY_CTX* ctx = EVP_PKEY_CTX_new_from_name(nullptr, "RSA", nullptr);
  EVP_PKEY* raw = nullptr;
  const bool made = ctx != nullptr && EVP_PKEY_keygen_init(ctx) == 1 &&
                    EVP_PKEY_CTX_set_rsa_keygen_bits(ctx, MAX_RSA_MODULUS_BITS) == 1 && EVP_PKEY_generate(ctx, &raw) == 1;
  EVP_PKEY_CTX_free(ctx);
  Pkey key(raw);
  if (!made) {
    return fail(kUsage, out, "key generation failed");
  }
  // The library's key file: the decimal bit count, then the raw fields in the key record's order.
  const std::string bits = std::to_string(MAX_RSA_MODULUS_BITS);
  Bytes file(bits.begin(), bits.end());
  const std::pair<const char*, size_t> fields[] = {
      {OSSL_PKEY_PARAM_RSA_N, MAX_RSA_MODULUS_LEN},       {OSSL_PKEY_PARAM_RSA_E, MAX_RSA_MODULUS_LEN},
      {OSSL_PKEY_PARAM_RSA_D, MAX_RSA_MODULUS_LEN},       {OSSL_PKEY_PARAM_RSA_FACTOR1, MAX_RSA_PRIME_LEN},
      {OSSL_PKEY_PARAM_RSA_FACTOR2, MAX_RSA_PRIME_LEN},   {OSSL_PKEY_PARAM_RSA_EXPONENT1, MAX_RSA_PRIME_LEN},
      {OSSL_PKEY_PARAM_RSA_EXPONENT2, MAX_RSA_PRIME_LEN}, {OSSL_PKEY_PARAM_RSA_COEFFICIENT1, MAX_RSA_PRIME_LEN}};
  Bytes n, e;
  for (const auto& [name, size] : fields) {
    const Bytes value = bn_param(key.get(), name, size);
    if (value.empty()) {
      return fail(kUsage, out, "key generation failed");
    }
    file.insert(file.end(), value.begin(), value.end());
    if (name == fields[0].first) {
      n = value;
    } else if (name == fields[1].first) {
      e = value;
    }
  }
  if (!write_bytes(out, file, 0600)) {
    return fail(kUsage, out, "cannot be written", MC_ERR_FICHIER);
  }
  return public_outputs(n, e, pem, source, dev);
}

int key_public(const std::string& in, const std::string& pem, const std::string& source) {
  if (pem.empty() && source.empty()) {
    return fail(kUsage, "", "key public needs -o PEM or --source CPP");
  }
  R_RSA_PRIVATE_KEY record{};
  const uint16_t code = MC_usLireClePrivee(in.c_str(), &record);
  if (code != MC_CR_OK) {
    return fail(kUsage, in, "cannot be read", code);
  }
  if (record.bits != MAX_RSA_MODULUS_BITS || record.modulus[0] < 0x80) {
    return fail(kInvalid, in, "not a key file of a " + std::to_string(MAX_RSA_MODULUS_BITS) + "-bit key");
  }
  return public_outputs(Bytes(record.modulus, record.modulus + MAX_RSA_MODULUS_LEN),
                        Bytes(record.publicExponent, record.publicExponent + MAX_RSA_MODULUS_LEN), pem, source, false);
}

}  // namespace

void add_ini(CLI::App& app) {
  CLI::App* ini = app.add_subcommand("ini", "INI files through the library's reader and writer, quirks included");
  ini->require_subcommand(1);
  ini->footer("A FILE without '/' lies in the configuration directory, as for the library; write ./FILE for one here.");
  static std::string file, section, key, value;
  CLI::App* g = ini->add_subcommand("get", "Print a key's value; exit 1 when absent");
  g->add_option("FILE", file)->required();
  g->add_option("SECTION", section)->required();
  g->add_option("KEY", key)->required();
  g->callback([] { g_status = ini_get(file, section, key); });
  CLI::App* s = ini->add_subcommand("set", "Write a key's value (the file is rewritten)");
  s->add_option("FILE", file)->required();
  s->add_option("SECTION", section)->required();
  s->add_option("KEY", key)->required();
  s->add_option("VALUE", value)->required();
  s->callback([] { g_status = ini_set(file, section, key, value); });
}

void add_key(CLI::App& app) {
  CLI::App* key = app.add_subcommand("key", "The 1024-bit RSA key pair that signs table files");
  key->require_subcommand(1);
  static std::string in, out, pem, source;
  static bool dev = false;
  CLI::App* g = key->add_subcommand("gen", "A new key pair: the private key file (mode 0600) and public forms");
  g->add_option("PRIVATE_OUT", out, "private key file, in the library's format")->required();
  g->add_option("--public", pem, "also write the public key in PEM");
  g->add_option("--source", source, "also write the library's MODULUS and EXPONENT arrays (-DMC_PUBLIC_KEY_SOURCE)");
  g->add_flag("--dev", dev, "mark the source as the development pair")->group("");
  g->callback([] { g_status = key_gen(out, pem, source, dev); });
  CLI::App* p = key->add_subcommand("public", "The public half of a private key file");
  p->add_option("PRIVATE", in, "private key file")->required();
  p->add_option("-o,--output", pem, "PEM public key to write");
  p->add_option("--source", source, "the library's MODULUS and EXPONENT arrays to write");
  p->callback([] { g_status = key_public(in, pem, source); });
}

}  // namespace mctool
