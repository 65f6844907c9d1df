// trace_fuzz.cpp -- the trace facility driven by the input: pairs registered at any level, the
// file opened and closed, lines of every kind whose arguments (texts, numbers) come from the
// input under fixed formats, nesting at any depth, and binary dumps of any length within their
// buffer. The file grows by exactly the lines the rules say: one "name[i] = 0xhh" line a byte for
// a dump at level 2, one indented line for a visible detail, nothing for a pair not registered.
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <map>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "fuzz/support/mcfuzz.h"
#include "mc.h"
#include "runtime/mctrace.h"

namespace {

using mc::fuzz::check;

struct Modele {
  bool ouvert = false;
  std::map<std::pair<uint16_t, uint16_t>, uint8_t> niveaux;
};

uintmax_t taille(const std::string& chemin) {
  std::error_code ignore;
  const uintmax_t n = std::filesystem::file_size(chemin, ignore);
  return ignore ? 0 : n;
}

void ecrire2(uint16_t m, uint16_t t, uint16_t k, const char* format, ...) MC_PRINTF(4, 5);
void ecrire2(uint16_t m, uint16_t t, uint16_t k, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  MC_TraceEcrire2(m, t, k, format, arguments);
  va_end(arguments);
}

void activer(Modele& modele, const std::string& chemin, uint16_t m, uint16_t t, uint8_t niveau,
             bool ajout) {
  const uint16_t cr = MC_usActiverTrace(chemin.c_str(), ajout ? "ab" : "w", m, t, niveau);
  if (niveau == 0) {
    check(cr == MC_CR_OK);
    modele = Modele{};
    return;
  }
  if (!modele.ouvert) {
    modele.ouvert = true;
    modele.niveaux.clear();
  }
  niveau = niveau > 2 ? 2 : niveau;
  const auto cle = std::make_pair(m, t);
  if (modele.niveaux.count(cle) != 0) {
    check(cr == MC_CR_OK);
    modele.niveaux[cle] = niveau;
  } else if (modele.niveaux.size() >= 100) {
    check(cr == MC_ERR_TRACE_PLEINE);
  } else if (m == 1 && (t < 1 || t > 8)) {
    check(cr == MC_ERR_TRACE_NUMERO);
  } else {
    check(cr == MC_CR_OK);
    modele.niveaux[cle] = niveau;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const std::string chemin = mc::fuzz::in_scratch("trace.txt");
  std::remove(chemin.c_str());
  mc::fuzz::Input in(data, size);
  Modele modele;
  for (int pas = 0; pas < 256 && !in.empty(); ++pas) {
    const uint8_t op = in.byte();
    const auto m = static_cast<uint16_t>(in.byte() % 3);
    const auto t = static_cast<uint16_t>(in.byte() % 10);
    const auto it = modele.niveaux.find({m, t});
    const uint8_t niveau = modele.ouvert && it != modele.niveaux.end() ? it->second : 0;
    const uint8_t profondeur = mc::testing::profondeur_trace();
    const uintmax_t avant = taille(chemin);
    switch (op % 8) {
      case 0:
        activer(modele, chemin, m, t, static_cast<uint8_t>(in.byte() % 4), (op & 8u) != 0);
        break;
      case 1: {
        // A detail line: visible at level 2, and at level 1 down to depth 7.
        const std::string texte(in.text());
        MC_TraceEcrire(m, t, MC_TRACE_DETAIL, "%s", texte.c_str());
        const bool visible = niveau == 2 || (niveau == 1 && profondeur <= 7);
        check(taille(chemin) ==
              avant + (visible ? 2u * profondeur + std::strlen(texte.c_str()) + 1 : 0));
        break;
      }
      case 2: {
        const std::string texte(in.text());
        MC_TraceEcrire(m, t, in.byte() % 8, "%s=%u/%c/%.*s", texte.c_str(), in.u32(),
                       static_cast<char>(in.byte()), static_cast<int>(in.byte()), texte.c_str());
        break;
      }
      case 3: {
        const std::string nom(in.text());
        const std::string_view octets = in.bytes(in.u16());
        const std::vector<unsigned char> copie(octets.begin(), octets.end());
        const auto longueur = static_cast<uint16_t>(copie.size());
        MC_TraceEcrireBinaire(m, t, nom.c_str(), copie.empty() ? nullptr : copie.data(), longueur);
        uintmax_t attendu = 0;
        if (niveau == 2) {
          for (uint32_t i = 0; i < longueur; ++i) {
            attendu += 2u * profondeur + std::strlen(nom.c_str()) + std::to_string(i).size() + 10;
          }
        }
        check(taille(chemin) == avant + attendu);
        break;
      }
      case 4: {
        const std::string texte(in.text());
        ecrire2(m, t, in.byte() % 8, "%s", texte.c_str());
        break;
      }
      case 5: {
        // Nesting: entries or exits, up to 300 at once (the depth is a byte that wraps).
        const uint16_t n = in.u16() % 301;
        const uint16_t k = (op & 8u) != 0 ? MC_TRACE_ENTREE : MC_TRACE_SORTIE;
        for (uint16_t i = 0; i < n; ++i) {
          MC_TraceEcrire(m, t, k, "%s", "f");
        }
        break;
      }
      case 6:
        if (modele.ouvert) {
          MC_TraceDebutFonction();
          MC_TraceDebutLigne();
          MC_TraceFinLigne();
          MC_TraceFinFonction();
        }
        break;
      default: {
        const std::string texte(in.text());
        MC_TraceEcrire(m, t, MC_TRACE_HORODATAGE, "%s", texte.c_str());
        check(modele.ouvert == (taille(chemin) > avant));
        break;
      }
    }
    if (!modele.ouvert) {
      check(MC_bTraceActive() == 0);
    }
  }
  mc::fuzz::reset_library();
  return 0;
}
