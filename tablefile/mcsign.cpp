// mcsign.cpp -- signatures of binary table files and messages: PKCS #1 v1.5 over MD5 with a
// 1024-bit RSA key, made and checked by OpenSSL's libcrypto behind RSAREF's records and codes.
#include "tablefile/mcsign.h"

#include <openssl/bn.h>
#include <openssl/core_names.h>
#include <openssl/crypto.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/params.h>
#include <openssl/rsa.h>

#include <bit>
#include <cctype>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <limits>
#include <memory>

#include "runtime/mctrace.h"
#include "tablefile/mcecritu.h"
#include "tablefile/mcflux.h"
#include "tablefile/mcslot.h"

static_assert(sizeof(R_RSA_PUBLIC_KEY) == 260, "RSAREF's public key record is 260 bytes");
static_assert(sizeof(R_RSA_PRIVATE_KEY) == 708, "RSAREF's private key record is 708 bytes");
static_assert(offsetof(R_RSA_PRIVATE_KEY, coefficient) == 644);

namespace mc {
namespace {

constexpr uint32_t kOctetsPremier = MAX_RSA_PRIME_LEN;
constexpr uint32_t kDebutSigne = 4;  // the control value "0000" is not signed
constexpr uint32_t kPositionMax = static_cast<uint32_t>(std::numeric_limits<int32_t>::max());
constexpr size_t kOctetsModulusMin = 12;  // smaller moduli are refused as keys
constexpr size_t kOctetsMD5 = 16;
// DER of the DigestInfo that precedes an MD5 digest in PKCS #1 v1.5 (RFC 8017, 9.2).
constexpr uint8_t kPrefixeMD5[] = {0x30, 0x20, 0x30, 0x0c, 0x06, 0x08, 0x2a, 0x86, 0x48,
                                   0x86, 0xf7, 0x0d, 0x02, 0x05, 0x05, 0x00, 0x04, 0x10};
// 00 01, at least eight FF, 00, DigestInfo, digest.
constexpr size_t kOctetsBlocMin = 3 + 8 + sizeof kPrefixeMD5 + kOctetsMD5;

struct LibererCle {
  void operator()(EVP_PKEY* k) const { EVP_PKEY_free(k); }
};
struct LibererContexte {
  void operator()(EVP_PKEY_CTX* c) const { EVP_PKEY_CTX_free(c); }
};
struct LibererBN {
  void operator()(BN_CTX* c) const { BN_CTX_free(c); }
};
using Cle = std::unique_ptr<EVP_PKEY, LibererCle>;
using Contexte = std::unique_ptr<EVP_PKEY_CTX, LibererContexte>;
using ContexteBN = std::unique_ptr<BN_CTX, LibererBN>;

// Errors that libcrypto queues during one of our calls are ours: the host's queue is left as it
// was found.
class MarqueErreurs {
 public:
  MarqueErreurs() { ERR_set_mark(); }
  ~MarqueErreurs() { ERR_pop_to_mark(); }
  MarqueErreurs(const MarqueErreurs&) = delete;
  MarqueErreurs& operator=(const MarqueErreurs&) = delete;
};

// A check ends valid, refused, or not carried out because libcrypto failed (memory).
enum class Issue { valide, refusee, echec };

size_t octets_modulus(unsigned int bits) { return (static_cast<size_t>(bits) + 7) / 8; }

size_t octets_significatifs(const uint8_t* pucOctets, size_t taille) {
  size_t i = 0;
  while (i < taille && pucOctets[i] == 0) {
    ++i;
  }
  return taille - i;
}

// The size in bytes of the key made of these fields, or 0 when they do not make a usable key of
// `bits`: an odd modulus of at least 12 bytes, exactly as long as the bit count says, and an
// exponent other than 0.
size_t taille_cle_publique(unsigned int bits, const uint8_t* modulus, const uint8_t* exposant) {
  if (bits == 0 || bits > MAX_RSA_MODULUS_BITS || (modulus[MAX_RSA_MODULUS_LEN - 1] & 1) == 0 ||
      octets_significatifs(exposant, MAX_RSA_MODULUS_LEN) == 0) {
    return 0;
  }
  const size_t taille = octets_significatifs(modulus, MAX_RSA_MODULUS_LEN);
  return taille >= kOctetsModulusMin && taille == octets_modulus(bits) ? taille : 0;
}

struct Champ {
  const char* nom;
  const uint8_t* octets;  // big-endian
  size_t taille;
};

// An RSA key from big-endian fields (OSSL_PARAM takes integers in the host's byte order).
template <size_t N>
Cle construire_cle(const Champ (&champs)[N], int selection) {
  uint8_t natif[N][MAX_RSA_MODULUS_LEN];
  OSSL_PARAM params[N + 1];
  for (size_t i = 0; i < N; ++i) {
    for (size_t j = 0; j < champs[i].taille; ++j) {
      natif[i][j] = std::endian::native == std::endian::little ? champs[i].octets[champs[i].taille - 1 - j]
                                                               : champs[i].octets[j];
    }
    params[i] = OSSL_PARAM_construct_BN(champs[i].nom, natif[i], champs[i].taille);
  }
  params[N] = OSSL_PARAM_construct_end();
  EVP_PKEY* psCle = nullptr;
  Contexte contexte(EVP_PKEY_CTX_new_from_name(nullptr, "RSA", nullptr));
  if (contexte == nullptr || EVP_PKEY_fromdata_init(contexte.get()) != 1 ||
      EVP_PKEY_fromdata(contexte.get(), &psCle, selection, params) != 1) {
    EVP_PKEY_free(psCle);
    psCle = nullptr;
  }
  OPENSSL_cleanse(natif, sizeof natif);
  return Cle(psCle);
}

Cle cle_publique(const uint8_t* modulus, const uint8_t* exposant) {
  const Champ champs[] = {{OSSL_PKEY_PARAM_RSA_N, modulus, MAX_RSA_MODULUS_LEN},
                          {OSSL_PKEY_PARAM_RSA_E, exposant, MAX_RSA_MODULUS_LEN}};
  return construire_cle(champs, EVP_PKEY_PUBLIC_KEY);
}

Cle cle_privee(const R_RSA_PRIVATE_KEY& s) {
  const Champ champs[] = {{OSSL_PKEY_PARAM_RSA_N, s.modulus, MAX_RSA_MODULUS_LEN},
                          {OSSL_PKEY_PARAM_RSA_E, s.publicExponent, MAX_RSA_MODULUS_LEN},
                          {OSSL_PKEY_PARAM_RSA_D, s.exponent, MAX_RSA_MODULUS_LEN},
                          {OSSL_PKEY_PARAM_RSA_FACTOR1, s.prime[0], kOctetsPremier},
                          {OSSL_PKEY_PARAM_RSA_FACTOR2, s.prime[1], kOctetsPremier},
                          {OSSL_PKEY_PARAM_RSA_EXPONENT1, s.primeExponent[0], kOctetsPremier},
                          {OSSL_PKEY_PARAM_RSA_EXPONENT2, s.primeExponent[1], kOctetsPremier},
                          {OSSL_PKEY_PARAM_RSA_COEFFICIENT1, s.coefficient, kOctetsPremier}};
  return construire_cle(champs, EVP_PKEY_KEYPAIR);
}

// The signature is made from the two primes alone (Chinese remainders), as RSAREF makes it, so
// they and their three companions must agree with the modulus and the public exponent:
// p q = n, dp e = 1 mod (p - 1), dq e = 1 mod (q - 1), qinv q = 1 mod p.
Issue controler_cle_privee(const R_RSA_PRIVATE_KEY& s) {
  ContexteBN contexte(BN_CTX_secure_new());
  if (contexte == nullptr) {
    return Issue::echec;
  }
  BN_CTX* ctx = contexte.get();
  BN_CTX_start(ctx);
  BIGNUM* n = BN_CTX_get(ctx);
  BIGNUM* e = BN_CTX_get(ctx);
  BIGNUM* p = BN_CTX_get(ctx);
  BIGNUM* q = BN_CTX_get(ctx);
  BIGNUM* dp = BN_CTX_get(ctx);
  BIGNUM* dq = BN_CTX_get(ctx);
  BIGNUM* qinv = BN_CTX_get(ctx);
  BIGNUM* p1 = BN_CTX_get(ctx);
  BIGNUM* q1 = BN_CTX_get(ctx);
  BIGNUM* t = BN_CTX_get(ctx);
  const auto lire = [](BIGNUM* x, const uint8_t* octets, size_t taille) {
    return BN_bin2bn(octets, static_cast<int>(taille), x) != nullptr;
  };
  const auto entre_zero_et = [](const BIGNUM* x, const BIGNUM* borne) {
    return BN_is_zero(x) == 0 && BN_cmp(x, borne) < 0;
  };
  Issue issue = Issue::echec;
  if (t != nullptr && lire(n, s.modulus, MAX_RSA_MODULUS_LEN) &&
      lire(e, s.publicExponent, MAX_RSA_MODULUS_LEN) && lire(p, s.prime[0], kOctetsPremier) &&
      lire(q, s.prime[1], kOctetsPremier) && lire(dp, s.primeExponent[0], kOctetsPremier) &&
      lire(dq, s.primeExponent[1], kOctetsPremier) && lire(qinv, s.coefficient, kOctetsPremier)) {
    issue = Issue::refusee;
    if (BN_is_odd(p) != 0 && BN_is_odd(q) != 0 && BN_is_one(p) == 0 && BN_is_one(q) == 0 &&
        entre_zero_et(dp, p) && entre_zero_et(dq, q) && entre_zero_et(qinv, p)) {
      issue = Issue::echec;
      if (BN_mul(t, p, q, ctx) == 1 && BN_copy(p1, p) != nullptr && BN_sub_word(p1, 1) == 1 &&
          BN_copy(q1, q) != nullptr && BN_sub_word(q1, 1) == 1) {
        issue = BN_cmp(t, n) == 0 ? Issue::valide : Issue::refusee;
      }
      const BIGNUM* const produits[][3] = {{dp, e, p1}, {dq, e, q1}, {qinv, q, p}};
      for (const auto& x : produits) {
        if (issue == Issue::valide) {
          issue = BN_mod_mul(t, x[0], x[1], x[2], ctx) != 1 ? Issue::echec
                  : BN_is_one(t) != 0                        ? Issue::valide
                                                             : Issue::refusee;
        }
      }
    }
  }
  BN_CTX_end(ctx);
  return issue;
}

bool condenser(const uint8_t* pucMessage, uint32_t ulLongueur, uint8_t (&condensat)[kOctetsMD5]) {
  static const uint8_t vide = 0;
  unsigned int taille = 0;
  return EVP_Digest(ulLongueur != 0 ? pucMessage : &vide, ulLongueur, condensat, &taille, EVP_md5(),
                    nullptr) == 1 &&
         taille == kOctetsMD5;
}

// Checks `signature` (as long as the modulus, below it) by encoding the digest and comparing
// the whole block with the signature raised to the public exponent (RFC 8017, 8.2.2): no
// parsing of the block, and a failure of libcrypto is never taken for a refusal.
Issue controler(EVP_PKEY* psCle, const uint8_t (&condensat)[kOctetsMD5], const uint8_t* pucSignature,
                size_t taille) {
  if (taille < kOctetsBlocMin) {
    return Issue::refusee;
  }
  uint8_t attendu[MAX_RSA_MODULUS_LEN];
  attendu[0] = 0x00;
  attendu[1] = 0x01;
  const size_t bourrage = taille - 3 - sizeof kPrefixeMD5 - kOctetsMD5;
  memset(attendu + 2, 0xFF, bourrage);
  attendu[2 + bourrage] = 0x00;
  memcpy(attendu + 3 + bourrage, kPrefixeMD5, sizeof kPrefixeMD5);
  memcpy(attendu + 3 + bourrage + sizeof kPrefixeMD5, condensat, kOctetsMD5);

  uint8_t bloc[MAX_RSA_MODULUS_LEN];
  size_t taille_bloc = sizeof bloc;
  Contexte contexte(EVP_PKEY_CTX_new_from_pkey(nullptr, psCle, nullptr));
  if (contexte == nullptr || EVP_PKEY_verify_recover_init(contexte.get()) != 1 ||
      EVP_PKEY_CTX_set_rsa_padding(contexte.get(), RSA_NO_PADDING) != 1 ||
      EVP_PKEY_verify_recover(contexte.get(), bloc, &taille_bloc, pucSignature, taille) != 1) {
    return Issue::echec;
  }
  return taille_bloc == taille && CRYPTO_memcmp(bloc, attendu, taille) == 0 ? Issue::valide : Issue::refusee;
}

}  // namespace

uint16_t verifier_signature(const uint8_t* pucMessage, uint32_t ulLongueur,
                            const R_RSA_PUBLIC_KEY& sCle, const uint8_t* pucSignature,
                            uint32_t ulLongueurSignature) {
  if (pucSignature == nullptr) {
    ulLongueurSignature = 0;
  }
  if (ulLongueurSignature > MAX_RSA_MODULUS_LEN) {
    return RE_LEN;
  }
  if (pucMessage == nullptr && ulLongueur != 0) {
    return RE_DATA;
  }
  const size_t taille = taille_cle_publique(sCle.bits, sCle.modulus, sCle.exponent);
  if (taille == 0) {
    return RE_PUBLIC_KEY;
  }
  if (ulLongueurSignature != taille) {
    return RE_LEN;
  }
  // A signature is a number below the modulus.
  if (memcmp(pucSignature, sCle.modulus + MAX_RSA_MODULUS_LEN - taille, taille) >= 0) {
    return RE_SIGNATURE;
  }
  MarqueErreurs marque;
  uint8_t condensat[kOctetsMD5];
  Cle cle;
  if (!condenser(pucMessage, ulLongueur, condensat) || (cle = cle_publique(sCle.modulus, sCle.exponent)) == nullptr) {
    return MC_ERR_MEMOIRE;
  }
  switch (controler(cle.get(), condensat, pucSignature, taille)) {
    case Issue::valide:
      return MC_CR_OK;
    case Issue::refusee:
      return RE_SIGNATURE;
    case Issue::echec:
      break;
  }
  // Deviation: a check that libcrypto could not carry out for want of memory gives 0xF801.
  return MC_ERR_MEMOIRE;
}

uint16_t calculer_signature(const uint8_t* pucMessage, uint32_t ulLongueur,
                            const R_RSA_PRIVATE_KEY& sCle, uint8_t* pucSignature) {
  if (pucSignature == nullptr || (pucMessage == nullptr && ulLongueur != 0)) {
    return RE_DATA;
  }
  if (octets_modulus(sCle.bits) != kLongueurSignature) {
    return RE_MODULUS_LEN;
  }
  if (taille_cle_publique(sCle.bits, sCle.modulus, sCle.publicExponent) != kLongueurSignature) {
    return RE_PRIVATE_KEY;
  }
  MarqueErreurs marque;
  // Deviation: fields that do not make one RSA key sign nothing (a signature made with them
  // would be refused everywhere and could give away a prime).
  switch (controler_cle_privee(sCle)) {
    case Issue::valide:
      break;
    case Issue::refusee:
      return RE_PRIVATE_KEY;
    case Issue::echec:
      return MC_ERR_MEMOIRE;
  }
  uint8_t condensat[kOctetsMD5];
  if (!condenser(pucMessage, ulLongueur, condensat)) {
    return MC_ERR_MEMOIRE;
  }
  const Cle cle = cle_privee(sCle);
  if (cle == nullptr) {
    return MC_ERR_MEMOIRE;
  }
  uint8_t aucSignature[kLongueurSignature];
  size_t taille = sizeof aucSignature;
  Contexte contexte(EVP_PKEY_CTX_new_from_pkey(nullptr, cle.get(), nullptr));
  if (contexte == nullptr || EVP_PKEY_sign_init(contexte.get()) != 1 ||
      EVP_PKEY_CTX_set_rsa_padding(contexte.get(), RSA_PKCS1_PADDING) != 1 ||
      EVP_PKEY_CTX_set_signature_md(contexte.get(), EVP_md5()) != 1 ||
      EVP_PKEY_sign(contexte.get(), aucSignature, &taille, condensat, sizeof condensat) != 1 ||
      taille != kLongueurSignature) {
    return MC_ERR_MEMOIRE;
  }
  // The result is checked with the public half before it leaves: a prime that is not one makes
  // a signature that nothing accepts.
  switch (controler(cle.get(), condensat, aucSignature, taille)) {
    case Issue::valide:
      memcpy(pucSignature, aucSignature, kLongueurSignature);
      return MC_CR_OK;
    case Issue::refusee:
      return RE_PRIVATE_KEY;
    case Issue::echec:
      break;
  }
  return MC_ERR_MEMOIRE;
}

namespace {

// The length of the file to sign or check: the exported operations look the number up within
// the length helper's lines, as that helper does; the release and the opening hand their record.
// 0, 0xF610.
uint16_t longueur_par_numero(uint16_t usNum, FichierBinaire** pps, uint32_t* pulLongueur) {
  return entre_traces("MC_usLongueurFichierBinaire", [&] {
    return usRechercherFichier(usNum, pps) == MC_CR_OK ? longueur(**pps, pulLongueur) : MC_ERR_FICHIER;
  });
}
uint16_t longueur_enregistrement(FichierBinaire& s, FichierBinaire** pps, uint32_t* pulLongueur) {
  *pps = &s;
  return longueur_tracee(s, pulLongueur);
}

// Signs the file from position 4 to its end with the private key of pcFichierCle and writes the
// signature at the end; prendre_longueur finds the record and its length.
template <typename Longueur>
uint16_t signer(uint16_t usNumFichierBinaire, const char* pcFichierClePrivee, Longueur&& prendre_longueur) {
  MC_TRACE(kModule, kTrcTables, MC_TRACE_ENTREE, "MC_usEcrireSignatureFichier : NumFichier = %d",
           static_cast<int>(usNumFichierBinaire));
  R_RSA_PRIVATE_KEY sCle;
  uint16_t usCode = MC_usLireClePrivee(pcFichierClePrivee, &sCle);
  if (usCode != MC_CR_OK) {
    MC_TRACE(kModule, kTrcTables, MC_TRACE_ERREUR, "Probleme lors de la lecture de la cle privee");
  }
  FichierBinaire* ps = nullptr;
  uint32_t ulLongueur = 0;
  if (usCode == MC_CR_OK) {
    usCode = prendre_longueur(&ps, &ulLongueur);
    // Deviation: a length outside the range a position can hold signs nothing: 0xF610.
    if (usCode == MC_CR_OK && (ulLongueur < kDebutSigne || ulLongueur > kPositionMax)) {
      usCode = MC_ERR_FICHIER;
    }
  }
  unsigned char* pucContenu = nullptr;
  if (usCode == MC_CR_OK) {
    usCode = lire_zone_tracee(*ps, static_cast<int32_t>(kDebutSigne), ulLongueur - kDebutSigne, &pucContenu);
    // The read reports the move back only: no buffer means it could not be allocated.
    if (usCode == MC_CR_OK && pucContenu == nullptr) {
      usCode = MC_ERR_FICHIER;
    }
  }
  uint8_t aucSignature[kLongueurSignature];
  if (usCode == MC_CR_OK) {
    // Kept: a failed signing is reported as the bare value 1.
    usCode = MC_usCalculerSignatureMessage(pucContenu, ulLongueur - kDebutSigne, sCle, aucSignature);
  }
  if (usCode == MC_CR_OK) {
    if (positionner_offset_tracee(*ps, static_cast<int32_t>(ulLongueur), SEEK_SET) != MC_CR_OK ||
        ecrire_champ_fixe_tracee(*ps, aucSignature, kLongueurSignature) != MC_CR_OK) {
      usCode = MC_ERR_FICHIER;
    }
  }
  MC_Liberer(pucContenu);
  explicit_bzero(&sCle, sizeof sCle);
  MC_TRACE(kModule, kTrcTables, MC_TRACE_SORTIE, "MC_usEcrireSignatureFichier : Code retour = 0x%04x",
           static_cast<unsigned>(usCode));
  return usCode;
}

// Checks the signature of the last 128 bytes over the bytes from position 4 with the library's
// public key; prendre_longueur finds the record and its length.
template <typename Longueur>
uint16_t verifier(uint16_t usNumFichierBinaire, Longueur&& prendre_longueur) {
  MC_TRACE(kModule, kTrcTables, MC_TRACE_ENTREE, "MC_usVerifierSignatureFichier : NumFichier = %d",
           static_cast<int>(usNumFichierBinaire));
  R_RSA_PUBLIC_KEY* psCle = MC_LireClePublique();
  uint16_t usCode = psCle != nullptr ? MC_CR_OK : MC_ERR_FICHIER;
  FichierBinaire* ps = nullptr;
  uint32_t ulLongueur = 0;
  if (usCode == MC_CR_OK) {
    usCode = prendre_longueur(&ps, &ulLongueur);
    // Deviation: a file too short to hold a signature has nothing to check: 0xF610.
    if (usCode == MC_CR_OK && (ulLongueur < kDebutSigne + kLongueurSignature || ulLongueur > kPositionMax)) {
      usCode = MC_ERR_FICHIER;
    }
  }
  const uint32_t ulSigne = ulLongueur - kDebutSigne - kLongueurSignature;
  unsigned char* pucContenu = nullptr;
  unsigned char* pucSignature = nullptr;
  if (usCode == MC_CR_OK) {
    usCode = lire_zone_tracee(*ps, static_cast<int32_t>(kDebutSigne), ulSigne, &pucContenu);
  }
  if (usCode == MC_CR_OK) {
    usCode = lire_zone_tracee(*ps, static_cast<int32_t>(ulLongueur - kLongueurSignature), kLongueurSignature,
                              &pucSignature);
  }
  // The reads report the move back only: no buffer means it could not be allocated.
  if (usCode == MC_CR_OK && (pucContenu == nullptr || pucSignature == nullptr)) {
    usCode = MC_ERR_FICHIER;
  }
  if (usCode == MC_CR_OK) {
    usCode = MC_usVerifierSignatureMessage(pucContenu, ulSigne, *psCle, pucSignature);
  }
  MC_Liberer(psCle);
  MC_Liberer(pucContenu);
  MC_Liberer(pucSignature);
  MC_TRACE(kModule, kTrcTables, MC_TRACE_SORTIE, "MC_usVerifierSignatureFichier : Code retour = 0x%04x",
           static_cast<unsigned>(usCode));
  return usCode;
}

}  // namespace

uint16_t signer_fichier(FichierBinaire& s, uint16_t usNumFichierBinaire, const char* pcFichierClePrivee) {
  return signer(usNumFichierBinaire, pcFichierClePrivee, [&](FichierBinaire** pps, uint32_t* pul) {
    return longueur_enregistrement(s, pps, pul);
  });
}

uint16_t verifier_fichier(FichierBinaire& s, uint16_t usNumFichierBinaire) {
  return verifier(usNumFichierBinaire, [&](FichierBinaire** pps, uint32_t* pul) {
    return longueur_enregistrement(s, pps, pul);
  });
}

}  // namespace mc

extern "C" MC_API uint16_t MC_usEcrireSignatureFichier(uint16_t usNumFichierBinaire,
                                                       const char* pcFichierClePrivee) {
  return mc::signer(usNumFichierBinaire, pcFichierClePrivee, [&](mc::FichierBinaire** pps, uint32_t* pul) {
    return mc::longueur_par_numero(usNumFichierBinaire, pps, pul);
  });
}

extern "C" MC_API uint16_t MC_usVerifierSignatureFichier(uint16_t usNumFichierBinaire) {
  return mc::verifier(usNumFichierBinaire, [&](mc::FichierBinaire** pps, uint32_t* pul) {
    return mc::longueur_par_numero(usNumFichierBinaire, pps, pul);
  });
}

extern "C" MC_API uint16_t MC_usCalculerSignatureMessage(const unsigned char* pucMessage,
                                                         uint32_t ulLongueur,
                                                         R_RSA_PRIVATE_KEY sClePrivee,
                                                         unsigned char* pucSignature) {
  MC_TRACE(mc::kModule, mc::kTrcTables, MC_TRACE_ENTREE, "MC_usCalculerSignatureMessage");
  const uint16_t usCode =
      mc::calculer_signature(pucMessage, ulLongueur, sClePrivee, pucSignature) == MC_CR_OK
          ? MC_CR_OK
          : MC_CR_UN;
  explicit_bzero(&sClePrivee, sizeof sClePrivee);
  MC_TRACE(mc::kModule, mc::kTrcTables, MC_TRACE_SORTIE, "MC_usCalculerSignatureMessage");
  return usCode;
}

extern "C" MC_API uint16_t MC_usVerifierSignatureMessage(const unsigned char* pucMessage,
                                                         uint32_t ulLongueur,
                                                         R_RSA_PUBLIC_KEY sClePublique,
                                                         const unsigned char* pucSignature) {
  MC_TRACE(mc::kModule, mc::kTrcTables, MC_TRACE_ENTREE, "MC_usVerifierSignatureMessage");
  const uint16_t usCode = mc::verifier_signature(pucMessage, ulLongueur, sClePublique,
                                                 pucSignature, mc::kLongueurSignature);
  MC_TRACE(mc::kModule, mc::kTrcTables, MC_TRACE_SORTIE, "MC_usVerifierSignatureMessage");
  return usCode;
}

extern "C" MC_API uint16_t MC_usLireClePrivee(const char* pcFichierClePrivee,
                                              R_RSA_PRIVATE_KEY* psClePrivee) {
  MC_TRACE(mc::kModule, mc::kTrcTables, MC_TRACE_ENTREE, "MC_usLireClePrivee");
  uint16_t usCode = MC_CR_OK;
  FILE* pFichier = nullptr;
  if (psClePrivee == nullptr) {
    // Deviation: no record to fill gives 0xF802 instead of a write through a null pointer.
    usCode = MC_ERR_ARGUMENT;
  } else if (pcFichierClePrivee == nullptr ||
             (pFichier = fopen(pcFichierClePrivee, "rb")) == nullptr) {
    usCode = MC_ERR_FICHIER;
  }
  if (usCode == MC_CR_OK) {
    // Deviation: fields cut short by the end of the file are zero, not what the record held.
    memset(psClePrivee, 0, sizeof *psClePrivee);
    int c = getc(pFichier);
    while (c != EOF && isspace(c) != 0) {
      c = getc(pFichier);
    }
    unsigned int bits = 0;
    while (c != EOF && isdigit(c) != 0) {
      const unsigned int chiffre = static_cast<unsigned int>(c - '0');
      bits = bits > (0xFFFFFFFFu - chiffre) / 10 ? 0xFFFFFFFFu : bits * 10 + chiffre;
      c = getc(pFichier);
    }
    // Kept: the byte that ends the digits belongs to the modulus, so a blank after the bit count
    // shifts every field by one byte.
    if (c != EOF) {
      ungetc(c, pFichier);
    }
    psClePrivee->bits = bits;
    unsigned char* const champs[] = {
        psClePrivee->modulus,          psClePrivee->publicExponent,   psClePrivee->exponent,
        psClePrivee->prime[0],         psClePrivee->prime[1],         psClePrivee->primeExponent[0],
        psClePrivee->primeExponent[1], psClePrivee->coefficient};
    const size_t tailles[] = {MAX_RSA_MODULUS_LEN, MAX_RSA_MODULUS_LEN, MAX_RSA_MODULUS_LEN,
                              MAX_RSA_PRIME_LEN,   MAX_RSA_PRIME_LEN,   MAX_RSA_PRIME_LEN,
                              MAX_RSA_PRIME_LEN,   MAX_RSA_PRIME_LEN};
    for (size_t i = 0; i < sizeof tailles / sizeof tailles[0]; ++i) {
      (void)fread(champs[i], 1, tailles[i], pFichier);
    }
    if (fclose(pFichier) != 0) {
      usCode = MC_ERR_FICHIER;
    }
  }
  MC_TRACE(mc::kModule, mc::kTrcTables, MC_TRACE_SORTIE, "MC_usLireClePrivee");
  return usCode;
}

extern "C" MC_API R_RSA_PUBLIC_KEY* MC_LireClePublique(void) {
  MC_TRACE(mc::kModule, mc::kTrcTables, MC_TRACE_ENTREE, "MC_LireClePublique");
  auto* psCle = static_cast<R_RSA_PUBLIC_KEY*>(MC_Allouer(sizeof(R_RSA_PUBLIC_KEY)));
  if (psCle != nullptr) {
    psCle->bits = mc::kBitsCle;
    for (size_t i = 0; i < MAX_RSA_MODULUS_LEN; ++i) {
      psCle->modulus[i] = mc::MODULUS[2 * i];
      psCle->exponent[i] = mc::EXPONENT[2 * i];
    }
  }
  MC_TRACE(mc::kModule, mc::kTrcTables, MC_TRACE_SORTIE, "MC_LireClePublique");
  return psCle;
}
