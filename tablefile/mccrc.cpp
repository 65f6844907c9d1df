// mccrc.cpp -- the CRC16 procedures of the table files: computing, reading and writing the
// control value, and sealing a written file.
#include "tablefile/mccrc.h"

#include <sys/stat.h>

#include <cstdint>

#include "runtime/mctrace.h"
#include "tablefile/mccrc16.h"
#include "tablefile/mcflux.h"

namespace mc {

namespace {

// Block read by the CRC computation; one static block keeps the stack small and the reads large.
constexpr size_t kTailleBlocCRC = 64 * 1024;
alignas(64) uint8_t s_blocCRC[kTailleBlocCRC];

}  // namespace

uint16_t usCalculerCRC16(FILE* pFichier, uint16_t* pusCRC, uint64_t ullFin) {
  MC_TRACE(kModule, kTrcTables, MC_TRACE_ENTREE, "usCalculerCRC16 : Calcul du CRC du fichier");
  uint16_t usCr = MC_CR_OK;
  if (pFichier == nullptr || pusCRC == nullptr) {
    usCr = MC_ERR_FICHIER;
  } else {
    const long lPosition = ftell(pFichier);
    if (fseek(pFichier, 4L, SEEK_SET) != 0) {
      // Kept: a bare 1, not a code of the 0xF6xx series.
      usCr = MC_CR_UN;
    } else {
      uint32_t ulRegistre = 0;
      // Deviation: the reading stops at ullFin, so a file that never ends cannot hold it.
      uint64_t ullRestants = ullFin > 4 ? ullFin - 4 : 0;
      size_t demandes = 0;
      size_t lus = 0;
      do {
        demandes = ullRestants < sizeof s_blocCRC ? static_cast<size_t>(ullRestants) : sizeof s_blocCRC;
        lus = demandes != 0 ? fread(s_blocCRC, 1, demandes, pFichier) : 0;
        ulRegistre = crc16::ajouter(ulRegistre, s_blocCRC, lus);
        ullRestants -= lus;
      } while (lus == sizeof s_blocCRC);
      *pusCRC = crc16::valeur(ulRegistre);
      if (lPosition < 0 || fseek(pFichier, lPosition, SEEK_SET) != 0) {
        usCr = MC_ERR_FICHIER;
      }
    }
  }
  MC_TRACE(kModule, kTrcTables, MC_TRACE_SORTIE, "usCalculerCRC16 : Code retour = 0x%04x", usCr);
  return usCr;
}

uint16_t usConvertirHexa(char cCaractere) {
  if (cCaractere >= '0' && cCaractere <= '9') {
    return static_cast<uint16_t>(cCaractere - '0');
  }
  if (cCaractere >= 'A' && cCaractere <= 'F') {
    return static_cast<uint16_t>(cCaractere - 'A' + 10);
  }
  if (cCaractere >= 'a' && cCaractere <= 'f') {
    return static_cast<uint16_t>(cCaractere - 'a' + 10);
  }
  return 0xFFFF;
}

uint16_t usLireCRC(FILE* pFichier, uint16_t* pusCRC) {
  MC_TRACE(kModule, kTrcTables, MC_TRACE_ENTREE, "usLireCRC");
  uint16_t usCr = MC_ERR_FICHIER;
  if (pFichier != nullptr && pusCRC != nullptr) {
    const long lPosition = ftell(pFichier);
    if (lPosition >= 0 && fseek(pFichier, 0L, SEEK_SET) == 0) {
      char acTexte[4];
      if (fread(acTexte, 1, sizeof acTexte, pFichier) == sizeof acTexte) {
        // Kept: a character that is no hexadecimal digit adds 0xFFFF shifted like a digit, so a
        // damaged text only fails the comparison.
        uint16_t usValeur = 0;
        for (int i = 0; i < 4; ++i) {
          usValeur = static_cast<uint16_t>(usValeur + (usConvertirHexa(acTexte[i]) << (4 * (3 - i))));
        }
        *pusCRC = usValeur;
        usCr = MC_CR_OK;
      }
      if (fseek(pFichier, lPosition, SEEK_SET) != 0) {
        usCr = MC_ERR_FICHIER;
      }
    }
  }
  MC_TRACE(kModule, kTrcTables, MC_TRACE_SORTIE, "usLireCRC");
  return usCr;
}

uint16_t usEcrireCRC(FILE* pFichier, uint16_t usCRC) {
  MC_TRACE(kModule, kTrcTables, MC_TRACE_ENTREE, "usEcrireCRC");
  uint16_t usCr = MC_ERR_FICHIER;
  if (pFichier != nullptr && fseek(pFichier, 0L, SEEK_SET) == 0 &&
      fprintf(pFichier, "%04X", static_cast<unsigned>(usCRC)) == 4) {
    usCr = MC_CR_OK;
  }
  MC_TRACE(kModule, kTrcTables, MC_TRACE_SORTIE, "usEcrireCRC");
  return usCr;
}

uint16_t sceller_crc(FichierBinaire& s) {
  struct stat st {};
  if (fstat(fileno(s.pFichier), &st) != 0) {
    noter_erreur_ecriture(s);
    return MC_ERR_FICHIER;
  }
  uint16_t usCRC = 0;
  uint16_t usCr = usCalculerCRC16(s.pFichier, &usCRC, static_cast<uint64_t>(st.st_size));
  if (usCr == MC_CR_OK) {
    usCr = usEcrireCRC(s.pFichier, usCRC);
    if (usCr != MC_CR_OK) {
      noter_erreur_ecriture(s);
    }
  }
  return usCr;
}

}  // namespace mc
