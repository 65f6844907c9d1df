// version_fuzz.cpp -- component version files: any version text written by
// MC_usEcrireVersionComposant, or any bytes put in the file directly, read back exactly by
// MC_usLireVersionComposant, with a working directory that is present, absent from the
// configuration, missing on disk, or of any name.
//
// Input: a byte choosing the working directory (bits 0-1: the scratch one, no key, a missing
// directory, the name that follows; bit 2: that directory is created), the component number,
// a byte choosing the writer (bit 0: the bytes go into the file directly), the directory name
// up to a zero byte when bits 0-1 are 3, then the version text or the file's bytes.
#include <cctype>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <string>
#include <string_view>
#include <system_error>

#include "fuzz/support/mcfuzz.h"
#include "mc.h"

namespace {

using mc::fuzz::check;

// A directory name that stays inside the scratch directory: only letters, digits and '_'.
std::string nom_sur(std::string_view nom) {
  std::string sur = "w_";
  for (const char c : nom) {
    const auto u = static_cast<unsigned char>(c);
    sur += (u < 128 && std::isalnum(u) != 0) ? c : '_';
  }
  return sur;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  mc::fuzz::Input in(data, size);
  const uint8_t choix = in.byte();
  const uint8_t ucComposant = in.byte();
  const bool bDirect = (in.byte() & 1u) != 0;
  std::string repertoire;
  switch (choix & 3u) {
    case 0: repertoire = mc::fuzz::in_scratch("travail"); break;
    case 1: break;
    case 2: repertoire = mc::fuzz::in_scratch("absent"); break;
    default: repertoire = mc::fuzz::in_scratch(nom_sur(in.text().substr(0, 300))); break;
  }
  std::error_code ignore;
  if (!repertoire.empty() && ((choix & 3u) == 0 || (choix & 4u) != 0)) {
    std::filesystem::create_directory(repertoire, ignore);
  }
  mc::fuzz::write_config(repertoire, "");
  const std::string_view octets = in.rest();
  const std::string texte(octets.substr(0, octets.find('\0')));

  char* pcRepertoire = nullptr;
  const uint16_t usCrRepertoire = MC_usDonnerRepertoireTravail(&pcRepertoire);
  check(pcRepertoire != nullptr);
  check(usCrRepertoire == (repertoire.empty() ? MC_ERR_REP_TRAVAIL : MC_CR_OK));
  if (repertoire.size() < 255) {
    check(repertoire == pcRepertoire);
  }
  MC_Liberer(pcRepertoire);

  std::string attendu;
  bool bEcrit = false;
  if (bDirect) {
    const std::string nom =
        std::to_string(static_cast<int>(static_cast<int8_t>(ucComposant))) + ".adm";
    if (!repertoire.empty() && std::filesystem::is_directory(repertoire, ignore) &&
        repertoire.size() + nom.size() < 255 && octets.size() <= 0xFFFF) {
      mc::fuzz::write_file(repertoire + "/" + nom, octets);
      attendu = octets;
      bEcrit = true;
    }
  } else {
    const uint16_t usCr = MC_usEcrireVersionComposant(ucComposant, texte.c_str(),
                                                      static_cast<uint32_t>(texte.size()));
    if (repertoire.empty()) {
      check(usCr == MC_ERR_REP_TRAVAIL);
    }
    bEcrit = usCr == MC_CR_OK;
    attendu = texte;
  }

  char* pcContenu = nullptr;
  uint32_t ulLongueur = 0xFFFFFFFF;
  const uint16_t usCr = MC_usLireVersionComposant(ucComposant, &pcContenu, &ulLongueur);
  if (bEcrit) {
    check(usCr == MC_CR_OK && ulLongueur == attendu.size() &&
          (ulLongueur == 0 || std::memcmp(pcContenu, attendu.data(), ulLongueur) == 0));
  } else if (usCr != MC_CR_OK) {
    check(pcContenu == nullptr && ulLongueur == 0xFFFFFFFF);
  }
  MC_Liberer(pcContenu);
  if ((choix & 3u) == 3u) {
    std::filesystem::remove_all(repertoire, ignore);
  }
  return 0;
}
