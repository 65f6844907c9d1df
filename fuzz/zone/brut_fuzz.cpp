// brut_fuzz.cpp -- a sequence of zone operations read from the input: raw and structured zones
// created or wrapped around a buffer (with any data length), resized, read and written raw,
// walked, added to and freed. Raw zones are checked against a model of their bytes and data
// length; every code is the one the operation's rules give.
#include <cstdint>
#include <cstring>
#include <vector>

#include "fuzz/support/mcfuzz.h"
#include "mc.h"

namespace {

using mc::fuzz::check;

constexpr int kInconnu = -1;  // a byte the zone holds but nobody wrote

struct Modele {
  bool vivante = false;
  uint16_t numero = 0;
  bool structuree = false;
  std::vector<int> octets;  // the buffer, kInconnu where not written
  uint32_t donnees = 0;
};

// A block from the library's allocator holding the bytes given, so that a resize may give it back.
unsigned char* bloc(std::string_view octets, uint32_t taille) {
  auto* p = static_cast<unsigned char*>(MC_Allouer(taille));
  check(p != nullptr);
  std::memset(p, 0, taille);
  if (!octets.empty()) {
    std::memcpy(p, octets.data(), octets.size() < taille ? octets.size() : taille);
  }
  return p;
}

void liberer(Modele& z) {
  uint32_t taille = 0;
  unsigned char* buffer = nullptr;
  check(MC_pucLireBuffer(z.numero, &taille, &buffer) == MC_CR_OK && taille == z.donnees);
  MC_Liberer(buffer);  // the zone's creator gives its buffer back
  check(MC_usLibererZoneMemoire(z.numero) == MC_CR_OK);
  check(MC_usLibererZoneMemoire(z.numero) == MC_ERR_NUMERO);
  z = Modele{};
}

void creer(Modele& z, mc::fuzz::Input& in) {
  const uint8_t genre = in.byte();
  const uint32_t taille = in.u16() % 4096;
  z.structuree = (genre & 1u) != 0;
  if ((genre & 6u) == 0) {
    check(MC_usCreerZoneMemoire(taille, z.structuree ? 1 : 0, &z.numero) == MC_CR_OK);
    z.octets.assign(taille == 0 ? 1 : taille, 0);
    z.donnees = 0;
  } else {
    // A data length above the size is the caller's mistake: the library takes it unchecked.
    const uint32_t donnees = (genre & 2u) != 0 ? taille : in.u16() % (taille + 1);
    const std::string_view contenu = in.bytes(taille);
    if (taille == 0) {
      check(MC_usInitialiserZoneMemoire(nullptr, 0, &z.numero, 0) == MC_ERR_ARGUMENT);
      return;
    }
    unsigned char* p = bloc(contenu, taille);
    const uint16_t cr =
        (genre & 2u) != 0
            ? MC_usInitialiserZoneMemoire(p, taille, &z.numero, z.structuree ? 1 : 0)
            : MC_usInitialiserZoneMemoireNonPlein(p, taille, donnees, &z.numero, z.structuree ? 1 : 0);
    check(cr == MC_CR_OK);
    z.octets.assign(taille, 0);
    for (size_t i = 0; i < contenu.size() && i < taille; ++i) {
      z.octets[i] = static_cast<uint8_t>(contenu[i]);
    }
    z.donnees = donnees;
  }
  z.vivante = true;
}

void redimensionner(Modele& z, mc::fuzz::Input& in) {
  const auto delta = static_cast<int16_t>(in.u16());
  const auto ancienne = static_cast<uint32_t>(z.octets.size());
  const uint32_t taille = delta < 0 && static_cast<uint32_t>(-delta) > ancienne
                              ? 0
                              : static_cast<uint32_t>(static_cast<int64_t>(ancienne) + delta % 2048);
  const uint16_t cr = MC_usRedimensionner(z.numero, taille);
  if (taille < ancienne) {
    check(cr == MC_ERR_MEMOIRE);
    return;
  }
  check(cr == MC_CR_OK);
  // The data bytes move; what lies past them in the new buffer is not set.
  std::vector<int> octets(taille, kInconnu);
  for (uint32_t i = 0; i < z.donnees; ++i) {
    octets[i] = z.octets[i];
  }
  z.octets.swap(octets);
  unsigned char* buffer = nullptr;
  uint32_t donnees = 0;
  check(MC_pucLireBuffer(z.numero, &donnees, &buffer) == MC_CR_OK && donnees == z.donnees);
}

// A position inside the buffer or anywhere, and a length.
void etendue(const Modele& z, mc::fuzz::Input& in, uint32_t& position, uint32_t& longueur) {
  const uint8_t forme = in.byte();
  position = (forme & 1u) != 0 ? in.u32() : in.u16() % (static_cast<uint32_t>(z.octets.size()) + 1);
  longueur = (forme & 2u) != 0 ? in.u32() : in.u16() % 600;
}

void ecrire(Modele& z, mc::fuzz::Input& in) {
  uint32_t position = 0;
  uint32_t longueur = 0;
  etendue(z, in, position, longueur);
  const bool dedans = static_cast<uint64_t>(position) + longueur <= z.octets.size();
  const std::string_view source = in.bytes(dedans ? longueur : 0);
  std::vector<unsigned char> copie(source.begin(), source.end());
  copie.resize(dedans ? longueur : 1);
  const uint16_t cr = MC_usEcrireZoneMemoire(z.numero, position, copie.data(), longueur);
  if (z.structuree) {
    check(cr == MC_ERR_TYPE);
  } else if (!dedans) {
    check(cr == MC_ERR_DEPASSEMENT);
  } else {
    check(cr == MC_CR_OK);
    for (uint32_t i = 0; i < longueur; ++i) {
      z.octets[position + i] = copie[i];
    }
    if (position + longueur > z.donnees) {
      z.donnees = position + longueur;
    }
  }
}

void lire(const Modele& z, mc::fuzz::Input& in) {
  uint32_t position = 0;
  uint32_t longueur = 0;
  etendue(z, in, position, longueur);
  const bool dedans = static_cast<uint64_t>(position) + longueur <= z.octets.size();
  std::vector<unsigned char> destination(dedans ? longueur : 1);
  unsigned char* p = destination.data();
  const uint16_t cr = MC_usLireZoneMemoire(z.numero, position, &p, longueur);
  if (z.structuree) {
    check(cr == MC_ERR_TYPE);
  } else if (!dedans) {
    check(cr == MC_ERR_DEPASSEMENT);
  } else {
    check(cr == MC_CR_OK);
    for (uint32_t i = 0; i < longueur; ++i) {
      check(z.octets[position + i] == kInconnu || z.octets[position + i] == destination[i]);
    }
  }
}

// The cursor's operations: a walk bounded by the data, and additions at the cursor.
void parcourir(Modele& z, mc::fuzz::Input& in) {
  uint32_t fin = 0;
  const uint16_t crSyntaxe = MC_usControlerSyntaxeZoneMemoire(z.numero);
  const uint16_t crDebut = MC_usPositionnerDebut(z.numero);
  if (!z.structuree) {
    check(crSyntaxe == MC_ERR_TYPE && crDebut == MC_ERR_TYPE);
    return;
  }
  for (uint32_t n = 0; n <= z.donnees && MC_usAvancerGroupeSuivant(z.numero, 1, 1, nullptr) == MC_CR_OK; ++n) {
    check(n < z.donnees);
    MC_usFinGroupe(z.numero, &fin);
  }
  MC_usFinZone(z.numero, &fin);
  MC_usFinDonnees(z.numero, &fin);
  const std::string_view champ = in.bytes(in.byte());
  const std::vector<unsigned char> octets(champ.begin(), champ.end());
  MC_usAjouterGroupe(z.numero, in.u16());
  MC_usAjouterChamp(z.numero, octets.empty() ? nullptr : octets.data(),
                    static_cast<uint32_t>(octets.size()));
  unsigned char* buffer = nullptr;
  uint32_t donnees = 0;
  check(MC_pucLireBuffer(z.numero, &donnees, &buffer) == MC_CR_OK && donnees >= z.donnees &&
        donnees <= z.octets.size());
  z.donnees = donnees;  // the additions that fitted
}

// The length coding: coded, measured and decoded back.
void longueur(mc::fuzz::Input& in) {
  const uint32_t valeur = in.u32() >> (in.byte() % 32);
  unsigned char octets[5] = {};
  unsigned char* p = octets;
  const uint32_t n = MC_stCoderLongueur(valeur, 0, &p);
  check(n >= 1 && n <= 5 && n == MC_stCalculerTailleLongueur(valeur));
  check(MC_stCalculerTailleChamp(valeur) == n + valeur);
  uint32_t lu = 0;
  uint32_t nbOctets = 0;
  check(MC_stDecoderLongueur(octets, n, 0, &lu, &nbOctets) == MC_CR_OK && lu == valeur && nbOctets == n);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  mc::fuzz::Input in(data, size);
  Modele zones[4];
  if ((in.byte() & 1u) != 0) {
    MC_usActiverTrace("/dev/null", "w", 1, 3, 2);
    MC_usActiverTrace("/dev/null", "w", 1, 1, 2);
  }
  for (int pas = 0; pas < 64 && !in.empty(); ++pas) {
    const uint8_t op = in.byte();
    Modele& z = zones[(op >> 4) % 4];
    if ((op & 15u) == 0) {
      longueur(in);
    } else if (!z.vivante) {
      uint32_t fin = 0;
      check(MC_usFinZone(z.numero < 100 ? 100 : z.numero, &fin) == MC_ERR_NUMERO);
      creer(z, in);
    } else {
      switch (op & 15u) {
        case 1: case 2: case 3: ecrire(z, in); break;
        case 4: case 5: case 6: lire(z, in); break;
        case 7: case 8: redimensionner(z, in); break;
        case 9: case 10: case 11: parcourir(z, in); break;
        default: liberer(z); break;
      }
    }
  }
  for (Modele& z : zones) {
    if (z.vivante) {
      liberer(z);
    }
  }
  mc::fuzz::reset_library();
  return 0;
}
