// signature_fuzz.cpp -- checks with crafted signatures and public keys. The input overlays a
// valid triple: its first 128 bytes replace the signature, the next 260 the public key record,
// and any rest is the message. With the true key exactly the true signature of the true message
// passes; every answer is one of the check's codes; the valid triple always passes.
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "mc.h"
#include "tablefile/mcsign.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace {

const unsigned char kMessage[] = "0000 f.tbx 0100 00001 20260115 0100 00002 0000000003 essai";

struct Reference {
  R_RSA_PUBLIC_KEY cle;
  unsigned char signature[MAX_RSA_MODULUS_LEN];
};

const Reference& reference() {
  static const Reference r = [] {
    Reference v{};
    R_RSA_PRIVATE_KEY sPrivee;
    if (MC_usLireClePrivee(MC_FUZZ_CLE_DEV, &sPrivee) != MC_CR_OK ||
        MC_usCalculerSignatureMessage(kMessage, sizeof kMessage, sPrivee, v.signature) != MC_CR_OK) {
      abort();
    }
    v.cle.bits = sPrivee.bits;
    memcpy(v.cle.modulus, sPrivee.modulus, sizeof v.cle.modulus);
    memcpy(v.cle.exponent, sPrivee.publicExponent, sizeof v.cle.exponent);
    return v;
  }();
  return r;
}

bool code_connu(uint16_t code) {
  return code == MC_CR_OK || code == RE_LEN || code == RE_PUBLIC_KEY || code == RE_SIGNATURE ||
         code == MC_ERR_MEMOIRE;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const Reference& ref = reference();
  if (MC_usVerifierSignatureMessage(kMessage, sizeof kMessage, ref.cle, ref.signature) != MC_CR_OK) {
    abort();
  }
  Reference essai = ref;
  if (size == 0) {
    return 0;  // the valid triple, checked above
  }
  const size_t nSignature = size < sizeof essai.signature ? size : sizeof essai.signature;
  memcpy(essai.signature, data, nSignature);
  const size_t nCle = size - nSignature < sizeof essai.cle ? size - nSignature : sizeof essai.cle;
  memcpy(&essai.cle, data + nSignature, nCle);
  const uint8_t* message = kMessage;
  size_t longueur = sizeof kMessage;
  if (size > sizeof essai.signature + sizeof essai.cle) {
    message = data + sizeof essai.signature + sizeof essai.cle;
    longueur = size - sizeof essai.signature - sizeof essai.cle;
  }
  const uint16_t code = MC_usVerifierSignatureMessage(message, static_cast<uint32_t>(longueur), essai.cle,
                                                      essai.signature);
  if (!code_connu(code)) {
    abort();
  }
  const bool vraie_cle = memcmp(&essai.cle, &ref.cle, sizeof ref.cle) == 0;
  const bool vrai_triple = vraie_cle && longueur == sizeof kMessage && memcmp(message, kMessage, longueur) == 0 &&
                           memcmp(essai.signature, ref.signature, sizeof ref.signature) == 0;
  if (vraie_cle && (code == MC_CR_OK) != vrai_triple && code != MC_ERR_MEMOIRE) {
    abort();  // a forged signature passed, or the true one was refused
  }
  // Shorter signatures through the length-aware check.
  const uint32_t court = size > 0 ? data[0] % (MAX_RSA_MODULUS_LEN + 1) : 0;
  if (!code_connu(mc::verifier_signature(message, static_cast<uint32_t>(longueur), essai.cle, essai.signature,
                                         court))) {
    abort();
  }
  return 0;
}
