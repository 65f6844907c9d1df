// mcsign.h -- signatures: the public key arrays, the signature primitives and the signing and
// checking of a file whose record the opening and the release hold.
#ifndef MC_TABLEFILE_MCSIGN_H
#define MC_TABLEFILE_MCSIGN_H

#include <cstdint>

#include "mc.h"
#include "tablefile/mcslot.h"

namespace mc {

// The library's public key: the modulus is made of the bytes at the even positions of MODULUS,
// the exponent of those of EXPONENT; the odd positions are filler. Written by mctool key gen --source.
extern const uint8_t MODULUS[2 * MAX_RSA_MODULUS_LEN];
extern const uint8_t EXPONENT[2 * MAX_RSA_MODULUS_LEN];

inline constexpr uint32_t kLongueurSignature = MAX_RSA_MODULUS_LEN;  // 128 bytes, raw
inline constexpr uint32_t kBitsCle = MAX_RSA_MODULUS_BITS;           // 1024

// Checks a signature of any length: 0, or RE_LEN (length is not the modulus's), RE_PUBLIC_KEY,
// RE_DATA (no message bytes), RE_SIGNATURE (does not match), 0xF801 (libcrypto out of memory).
uint16_t verifier_signature(const uint8_t* pucMessage, uint32_t ulLongueur,
                            const R_RSA_PUBLIC_KEY& sCle, const uint8_t* pucSignature,
                            uint32_t ulLongueurSignature);

// Makes the 128-byte signature: 0, or RE_PRIVATE_KEY (fields that are not a consistent RSA key),
// RE_MODULUS_LEN (not a 1024-bit key), RE_DATA (no message bytes or no output), 0xF801
// (libcrypto out of memory). Nothing is written on failure.
uint16_t calculer_signature(const uint8_t* pucMessage, uint32_t ulLongueur,
                            const R_RSA_PRIVATE_KEY& sCle, uint8_t* pucSignature);

// MC_usEcrireSignatureFichier and MC_usVerifierSignatureFichier on a record found, their lines
// naming the number.
uint16_t signer_fichier(FichierBinaire& s, uint16_t usNumFichierBinaire, const char* pcFichierClePrivee);
uint16_t verifier_fichier(FichierBinaire& s, uint16_t usNumFichierBinaire);

}  // namespace mc

#endif  // MC_TABLEFILE_MCSIGN_H
