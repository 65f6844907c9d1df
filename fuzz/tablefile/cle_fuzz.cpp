// cle_fuzz.cpp -- any bytes as a private key file: read, then used to sign a short message. A
// signature that comes out must pass the check with the key's public half; a refused key gives
// the bare 1.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "mc.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace {
std::string g_repertoire;
std::string g_chemin;
void nettoyer() {
  remove(g_chemin.c_str());
  rmdir(g_repertoire.c_str());
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (g_repertoire.empty()) {
    char modele[] = "/tmp/mc_fuzz_cle.XXXXXX";
    if (mkdtemp(modele) == nullptr) {
      return 0;
    }
    g_repertoire = modele;
    g_chemin = g_repertoire + "/f.key";
    atexit(nettoyer);
  }
  FILE* f = fopen(g_chemin.c_str(), "wb");
  if (f == nullptr) {
    return 0;
  }
  if (size != 0) {
    fwrite(data, 1, size, f);
  }
  fclose(f);

  R_RSA_PRIVATE_KEY sCle;
  memset(&sCle, 0xA5, sizeof sCle);
  if (MC_usLireClePrivee(g_chemin.c_str(), &sCle) != MC_CR_OK) {
    abort();  // a readable file always gives a record
  }
  static const unsigned char message[] = "0000 f.tbx table signee";
  unsigned char signature[MAX_RSA_MODULUS_LEN];
  memset(signature, 0xEE, sizeof signature);
  const uint16_t code = MC_usCalculerSignatureMessage(message, sizeof message, sCle, signature);
  if (code == MC_CR_OK) {
    R_RSA_PUBLIC_KEY sPublique;
    sPublique.bits = sCle.bits;
    memcpy(sPublique.modulus, sCle.modulus, sizeof sPublique.modulus);
    memcpy(sPublique.exponent, sCle.publicExponent, sizeof sPublique.exponent);
    if (MC_usVerifierSignatureMessage(message, sizeof message, sPublique, signature) != MC_CR_OK) {
      abort();  // a signature that its own key refuses
    }
  } else if (code != MC_CR_UN) {
    abort();
  }
  return 0;
}
