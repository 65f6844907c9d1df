// mcsign.cpp -- signatures of binary table files and messages: PKCS #1 v1.5 over MD5 with a
// 1024-bit RSA key, made and checked by Nettle behind RSAREF's records and codes.
#include "tablefile/mcsign.h"

#include <nettle/bignum.h>
#include <nettle/md5.h>
#include <nettle/rsa.h>
#include <sys/random.h>

#include <cctype>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <limits>

#include "runtime/mctrace.h"
#include "tablefile/mcfichie.h"

static_assert(sizeof(R_RSA_PUBLIC_KEY) == 260, "RSAREF's public key record is 260 bytes");
static_assert(sizeof(R_RSA_PRIVATE_KEY) == 708, "RSAREF's private key record is 708 bytes");
static_assert(offsetof(R_RSA_PRIVATE_KEY, coefficient) == 644);

namespace mc {
namespace {

constexpr uint32_t kOctetsPremier = MAX_RSA_PRIME_LEN;
constexpr uint32_t kDebutSigne = 4;  // the control value "0000" is not signed
constexpr uint32_t kPositionMax = static_cast<uint32_t>(std::numeric_limits<int32_t>::max());

// GMP does not clear the limbs it frees; key material is wiped first.
void effacer(mpz_t x) {
  const size_t n = mpz_size(x);
  if (n != 0) {
    volatile mp_limb_t* limbs = mpz_limbs_modify(x, static_cast<mp_size_t>(n));
    for (size_t i = 0; i < n; ++i) {
      limbs[i] = 0;
    }
    mpz_limbs_finish(x, 0);
  }
}

struct ClePublique {
  rsa_public_key k;
  ClePublique() { rsa_public_key_init(&k); }
  ~ClePublique() { rsa_public_key_clear(&k); }
  ClePublique(const ClePublique&) = delete;
  ClePublique& operator=(const ClePublique&) = delete;
};

struct ClePrivee {
  rsa_private_key k;
  ClePrivee() { rsa_private_key_init(&k); }
  ~ClePrivee() {
    effacer(k.d);
    effacer(k.p);
    effacer(k.q);
    effacer(k.a);
    effacer(k.b);
    effacer(k.c);
    rsa_private_key_clear(&k);
  }
  ClePrivee(const ClePrivee&) = delete;
  ClePrivee& operator=(const ClePrivee&) = delete;
};

struct Entier {
  mpz_t v;
  Entier() { mpz_init(v); }
  ~Entier() {
    effacer(v);
    mpz_clear(v);
  }
  Entier(const Entier&) = delete;
  Entier& operator=(const Entier&) = delete;
};

size_t octets_modulus(unsigned int bits) { return (static_cast<size_t>(bits) + 7) / 8; }

// The blinding factor of the signing only guards against timing attacks; the signature itself
// is deterministic whatever these bytes are.
void aleatoire(void* /*ctx*/, size_t longueur, uint8_t* destination) {
  while (longueur > 0) {
    const ssize_t lus = getrandom(destination, longueur, 0);
    if (lus > 0) {
      destination += lus;
      longueur -= static_cast<size_t>(lus);
    } else if (lus < 0 && errno == EINTR) {
      continue;
    } else {
      uint64_t etat = static_cast<uint64_t>(time(nullptr)) ^ reinterpret_cast<uintptr_t>(destination);
      for (; longueur > 0; --longueur) {
        etat = etat * 6364136223846793005u + 1442695040888963407u;
        *destination++ = static_cast<uint8_t>(etat >> 56);
      }
    }
  }
}

void condenser(const uint8_t* pucMessage, uint32_t ulLongueur, uint8_t (&condensat)[MD5_DIGEST_SIZE]) {
  md5_ctx contexte;
  md5_init(&contexte);
  if (ulLongueur != 0) {
    md5_update(&contexte, ulLongueur, pucMessage);
  }
  md5_digest(&contexte, MD5_DIGEST_SIZE, condensat);
}

// Modulus and exponent as Nettle's key; false when they do not make a usable key of `bits`.
bool importer_cle_publique(unsigned int bits, const uint8_t* modulus, const uint8_t* exposant,
                           ClePublique& cle) {
  if (bits == 0 || bits > MAX_RSA_MODULUS_BITS) {
    return false;
  }
  nettle_mpz_set_str_256_u(cle.k.n, MAX_RSA_MODULUS_LEN, modulus);
  nettle_mpz_set_str_256_u(cle.k.e, MAX_RSA_MODULUS_LEN, exposant);
  if (mpz_sgn(cle.k.e) == 0 || rsa_public_key_prepare(&cle.k) == 0) {
    return false;
  }
  return cle.k.size == octets_modulus(bits);
}

bool entre_zero_et(const mpz_t x, const mpz_t borne) {
  return mpz_sgn(x) > 0 && mpz_cmp(x, borne) < 0;
}

// The CRT fields must really belong to the modulus: Nettle's arithmetic assumes it and would
// otherwise stop on an assertion.
bool importer_cle_privee(const R_RSA_PRIVATE_KEY& sCle, ClePublique& publique, ClePrivee& privee) {
  if (!importer_cle_publique(sCle.bits, sCle.modulus, sCle.publicExponent, publique)) {
    return false;
  }
  rsa_private_key& k = privee.k;
  nettle_mpz_set_str_256_u(k.d, MAX_RSA_MODULUS_LEN, sCle.exponent);
  nettle_mpz_set_str_256_u(k.p, kOctetsPremier, sCle.prime[0]);
  nettle_mpz_set_str_256_u(k.q, kOctetsPremier, sCle.prime[1]);
  nettle_mpz_set_str_256_u(k.a, kOctetsPremier, sCle.primeExponent[0]);
  nettle_mpz_set_str_256_u(k.b, kOctetsPremier, sCle.primeExponent[1]);
  nettle_mpz_set_str_256_u(k.c, kOctetsPremier, sCle.coefficient);
  if (mpz_cmp_ui(k.p, 1) <= 0 || mpz_cmp_ui(k.q, 1) <= 0 || mpz_even_p(k.p) || mpz_even_p(k.q)) {
    return false;
  }
  if (!entre_zero_et(k.a, k.p) || !entre_zero_et(k.b, k.q) || !entre_zero_et(k.c, k.p)) {
    return false;
  }
  Entier produit;
  mpz_mul(produit.v, k.p, k.q);
  if (mpz_cmp(produit.v, publique.k.n) != 0) {
    return false;
  }
  return rsa_private_key_prepare(&k) != 0 && k.size == publique.k.size;
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
  ClePublique cle;
  if (!importer_cle_publique(sCle.bits, sCle.modulus, sCle.exponent, cle)) {
    return RE_PUBLIC_KEY;
  }
  if (ulLongueurSignature != cle.k.size) {
    return RE_LEN;
  }
  uint8_t condensat[MD5_DIGEST_SIZE];
  condenser(pucMessage, ulLongueur, condensat);
  Entier signature;
  nettle_mpz_set_str_256_u(signature.v, ulLongueurSignature, pucSignature);
  return rsa_md5_verify_digest(&cle.k, condensat, signature.v) != 0 ? MC_CR_OK : RE_SIGNATURE;
}

uint16_t calculer_signature(const uint8_t* pucMessage, uint32_t ulLongueur,
                            const R_RSA_PRIVATE_KEY& sCle, uint8_t* pucSignature) {
  if (pucSignature == nullptr || (pucMessage == nullptr && ulLongueur != 0)) {
    return RE_DATA;
  }
  if (octets_modulus(sCle.bits) != kLongueurSignature) {
    return RE_MODULUS_LEN;
  }
  ClePublique publique;
  ClePrivee privee;
  if (!importer_cle_privee(sCle, publique, privee)) {
    return RE_PRIVATE_KEY;
  }
  uint8_t condensat[MD5_DIGEST_SIZE];
  condenser(pucMessage, ulLongueur, condensat);
  Entier signature;
  // The _tr form blinds the computation and checks the result with the public half, so a key
  // whose fields do not agree can never produce a wrong signature.
  if (rsa_md5_sign_digest_tr(&publique.k, &privee.k, nullptr, aleatoire, condensat,
                             signature.v) == 0) {
    return RE_PRIVATE_KEY;
  }
  nettle_mpz_get_str_256(kLongueurSignature, pucSignature, signature.v);
  return MC_CR_OK;
}

uint16_t verifier_signature_fichier(uint16_t usNumFichierBinaire) {
  return MC_usVerifierSignatureFichier(usNumFichierBinaire);
}

uint16_t ecrire_signature_fichier(uint16_t usNumFichierBinaire, const char* pcFichierCle) {
  return MC_usEcrireSignatureFichier(usNumFichierBinaire, pcFichierCle);
}

}  // namespace mc

extern "C" MC_API uint16_t MC_usEcrireSignatureFichier(uint16_t usNumFichierBinaire,
                                                       const char* pcFichierClePrivee) {
  MC_TRACE(mc::kModule, mc::kTrcTables, MC_TRACE_ENTREE, "MC_usEcrireSignatureFichier : NumFichier = %d",
           static_cast<int>(usNumFichierBinaire));
  R_RSA_PRIVATE_KEY sCle;
  uint16_t usCode = MC_usLireClePrivee(pcFichierClePrivee, &sCle);
  if (usCode != MC_CR_OK) {
    MC_TRACE(mc::kModule, mc::kTrcTables, MC_TRACE_ERREUR, "Probleme lors de la lecture de la cle privee");
  }
  uint32_t ulLongueur = 0;
  if (usCode == MC_CR_OK) {
    usCode = MC_usLongueurFichierBinaire(usNumFichierBinaire, &ulLongueur);
    if (usCode == MC_CR_OK && (ulLongueur < mc::kDebutSigne || ulLongueur > mc::kPositionMax)) {
      usCode = MC_ERR_FICHIER;
    }
  }
  unsigned char* pucContenu = nullptr;
  if (usCode == MC_CR_OK) {
    usCode = MC_usLireFichierBinaire(usNumFichierBinaire, static_cast<int32_t>(mc::kDebutSigne),
                                     ulLongueur - mc::kDebutSigne, &pucContenu);
    // The read reports the move back only: no buffer means it could not be allocated.
    if (usCode == MC_CR_OK && pucContenu == nullptr) {
      usCode = MC_ERR_FICHIER;
    }
  }
  uint8_t aucSignature[mc::kLongueurSignature];
  if (usCode == MC_CR_OK) {
    // Kept: a failed signing is reported as the bare value 1.
    usCode = MC_usCalculerSignatureMessage(pucContenu, ulLongueur - mc::kDebutSigne, sCle, aucSignature);
  }
  if (usCode == MC_CR_OK) {
    if (MC_usPositionnerOffset(usNumFichierBinaire, static_cast<int32_t>(ulLongueur), SEEK_SET) != MC_CR_OK ||
        MC_usEcrireChampFixe(usNumFichierBinaire, aucSignature, mc::kLongueurSignature) != MC_CR_OK) {
      usCode = MC_ERR_FICHIER;
    }
  }
  MC_Liberer(pucContenu);
  explicit_bzero(&sCle, sizeof sCle);
  MC_TRACE(mc::kModule, mc::kTrcTables, MC_TRACE_SORTIE, "MC_usEcrireSignatureFichier : Code retour = 0x%04x",
           static_cast<unsigned>(usCode));
  return usCode;
}

extern "C" MC_API uint16_t MC_usVerifierSignatureFichier(uint16_t usNumFichierBinaire) {
  MC_TRACE(mc::kModule, mc::kTrcTables, MC_TRACE_ENTREE, "MC_usVerifierSignatureFichier : NumFichier = %d",
           static_cast<int>(usNumFichierBinaire));
  R_RSA_PUBLIC_KEY* psCle = MC_LireClePublique();
  uint16_t usCode = psCle != nullptr ? MC_CR_OK : MC_ERR_FICHIER;
  uint32_t ulLongueur = 0;
  if (usCode == MC_CR_OK) {
    usCode = MC_usLongueurFichierBinaire(usNumFichierBinaire, &ulLongueur);
    // A file too short to hold a signature has nothing to check.
    if (usCode == MC_CR_OK &&
        (ulLongueur < mc::kDebutSigne + mc::kLongueurSignature || ulLongueur > mc::kPositionMax)) {
      usCode = MC_ERR_FICHIER;
    }
  }
  const uint32_t ulSigne = ulLongueur - mc::kDebutSigne - mc::kLongueurSignature;
  unsigned char* pucContenu = nullptr;
  unsigned char* pucSignature = nullptr;
  if (usCode == MC_CR_OK) {
    usCode = MC_usLireFichierBinaire(usNumFichierBinaire, static_cast<int32_t>(mc::kDebutSigne), ulSigne,
                                     &pucContenu);
  }
  if (usCode == MC_CR_OK) {
    usCode = MC_usLireFichierBinaire(usNumFichierBinaire,
                                     static_cast<int32_t>(ulLongueur - mc::kLongueurSignature),
                                     mc::kLongueurSignature, &pucSignature);
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
  MC_TRACE(mc::kModule, mc::kTrcTables, MC_TRACE_SORTIE, "MC_usVerifierSignatureFichier : Code retour = 0x%04x",
           static_cast<unsigned>(usCode));
  return usCode;
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
    usCode = MC_ERR_ARGUMENT;
  } else if (pcFichierClePrivee == nullptr ||
             (pFichier = fopen(pcFichierClePrivee, "rb")) == nullptr) {
    usCode = MC_ERR_FICHIER;
  }
  if (usCode == MC_CR_OK) {
    // Fields cut short by the end of the file stay zero.
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
