// mcflux.cpp -- stream helpers of the table files: bounded reads, checked writes, positions, lengths.
#include "tablefile/mcflux.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstdint>
#include <cstring>

#include "runtime/mcmemoir.h"
#include "runtime/mctrace.h"

namespace mc {

size_t lire_borne(const FichierBinaire& s, void* pv, size_t n) {
  // Deviation: nothing is read beyond the length measured at opening.
  // A read cut by the bound looks one byte further, and puts it back, so that the stream shows
  // its end of file as a read cut by the end itself does when the file has not grown since it
  // was opened.
  bool bCoupe = false;
  if (s.ullFinLecture != kSansBorne) {
    const uint64_t ullLisibles = octets_lisibles(s, ftell(s.pFichier));
    if (ullLisibles < n) {
      n = static_cast<size_t>(ullLisibles);
      bCoupe = true;
    }
  }
  const size_t lus = n != 0 ? fread(pv, 1, n, s.pFichier) : 0;
  if (bCoupe && lus == n) {
    const int c = getc(s.pFichier);
    if (c != EOF) {
      ungetc(c, s.pFichier);
    }
  }
  return lus;
}

uint16_t lire_octets(const FichierBinaire& s, uint8_t* puc, size_t n, bool bErreurFlux) {
  const long lPosition = ftell(s.pFichier);
  if (lPosition < 0) {
    return MC_ERR_FIN_FICHIER;
  }
  // Deviation: nothing is read beyond the length measured at opening.
  const uint64_t ullLisibles = octets_lisibles(s, lPosition);
  const size_t lisibles = ullLisibles < n ? static_cast<size_t>(ullLisibles) : n;
  if ((lisibles != 0 ? fread(puc, 1, lisibles, s.pFichier) : 0) != n ||
      (bErreurFlux && ferror(s.pFichier) != 0)) {
    return MC_ERR_FIN_FICHIER;
  }
  return MC_CR_OK;
}

uint16_t lire_champ(const char* pcNom, FichierBinaire& s, void* pvBuffer, size_t taille, uint32_t ulNombre,
                    uint32_t ulPlace, uint32_t* pulLus) {
  *pulLus = 0;
  if (ulNombre == 0) {
    return MC_CR_OK;
  }
  if (pvBuffer == nullptr) {
    return MC_ERR_ARGUMENT;
  }
  const uint32_t ulDemandes = ulPlace < ulNombre ? ulPlace : ulNombre;
  size_t lus = 0;
  if (s.ullFinLecture == kSansBorne) {
    lus = fread(pvBuffer, taille, ulDemandes, s.pFichier);
  } else {
    // Byte by byte up to the bound, as fread takes the bytes of a unit cut by the end.
    lus = lire_borne(s, pvBuffer, static_cast<size_t>(uint64_t{taille} * ulDemandes)) / taille;
  }
  *pulLus = static_cast<uint32_t>(lus);
  if (lus != ulNombre) {
    MC_TRACE(kModule, kTrcTables, MC_TRACE_ERREUR, "%s : Fin de fichier lu %d a liree %d usCr %d", pcNom,
             static_cast<int>(lus), static_cast<int>(ulNombre), static_cast<int>(MC_ERR_FIN_FICHIER));
    return MC_ERR_FIN_FICHIER;
  }
  return MC_CR_OK;
}

uint64_t octets_restants(FichierBinaire& s) {
  const long lPosition = ftell(s.pFichier);
  uint64_t ullRestants = octets_lisibles(s, lPosition);
  if (ullRestants == kSansBorne) {
    struct stat st {};
    if (fflush(s.pFichier) != 0) {
      noter_erreur_ecriture(s);
    }
    ullRestants = lPosition >= 0 && fstat(fileno(s.pFichier), &st) == 0 && st.st_size > lPosition
                      ? static_cast<uint64_t>(st.st_size - lPosition)
                      : 0;
  }
  return ullRestants;
}

void noter_erreur_ecriture(FichierBinaire& s) {
  if (s.iErreurEcriture == 0) {
    s.iErreurEcriture = errno != 0 ? errno : EIO;
  }
}

uint16_t ecrire(FichierBinaire& s, const void* pv, size_t taille, size_t n) {
  // Deviation: once a write failed (a full disk drops a whole buffer), every later write on the
  // file fails too, so no write reports success for bytes that never reach the file.
  if (s.iErreurEcriture != 0) {
    return MC_ERR_FICHIER;
  }
  if (fwrite(pv, taille, n, s.pFichier) != n) {
    noter_erreur_ecriture(s);
    return MC_ERR_FICHIER;
  }
  return MC_CR_OK;
}

bool positionner(FichierBinaire& s, long lPosition, int iOrigine) {
  if (fseek(s.pFichier, lPosition, iOrigine) == 0) {
    return true;
  }
  noter_erreur_ecriture(s);
  return false;
}

uint16_t verifier_ecritures(FichierBinaire& s) {
  if (s.iErreurEcriture == 0 && fflush(s.pFichier) != 0) {
    noter_erreur_ecriture(s);
  }
  return s.iErreurEcriture == 0 ? MC_CR_OK : MC_ERR_FICHIER;
}

uint16_t longueur(FichierBinaire& s, uint32_t* pulLongueur) {
  return MC_usLongueurFichier(s.pFichier, pulLongueur);
}

uint16_t longueur_tracee(FichierBinaire& s, uint32_t* pulLongueur) {
  return entre_traces("MC_usLongueurFichierBinaire", [&] { return longueur(s, pulLongueur); });
}

uint16_t positionner_offset(FichierBinaire& s, int32_t lPosition, int32_t iOrigine) {
  return fseek(s.pFichier, lPosition, iOrigine) == 0 ? MC_CR_OK : MC_ERR_FICHIER;
}

uint16_t positionner_offset_tracee(FichierBinaire& s, int32_t lPosition, int32_t iOrigine) {
  return entre_traces("MC_usPositionnerOffset", [&] { return positionner_offset(s, lPosition, iOrigine); });
}

uint16_t lire_zone(FichierBinaire& s, int32_t lPosition, uint32_t ulLongueur, unsigned char** ppucBuffer) {
  *ppucBuffer = nullptr;
  const long lDebut = ftell(s.pFichier);
  if (lDebut < 0) {
    return MC_ERR_FICHIER;
  }
  if (fseek(s.pFichier, lPosition, SEEK_SET) == 0) {
    auto* pucBuffer = static_cast<unsigned char*>(MC_Allouer(ulLongueur));
    if (pucBuffer != nullptr) {
      // Deviation: what a short read leaves unwritten reads as zeros, not as stale heap.
      memset(pucBuffer, 0, ulLongueur);
      *ppucBuffer = pucBuffer;
      uint32_t ulLus = 0;
      (void)entre_traces("MC_usLireChampFixe", [&] {
        return lire_champ("MC_usLireChampFixe", s, pucBuffer, 1, ulLongueur, ulLongueur, &ulLus);
      });
    }
  }
  // Kept: the move back decides the result, so a failed position, allocation or read reads as
  // success when the move back works; the caller checks the buffer.
  return fseek(s.pFichier, lDebut, SEEK_SET) == 0 ? MC_CR_OK : MC_ERR_FICHIER;
}

uint16_t lire_zone_tracee(FichierBinaire& s, int32_t lPosition, uint32_t ulLongueur,
                          unsigned char** ppucBuffer) {
  return entre_traces("MC_usLireFichierBinaire",
                      [&] { return lire_zone(s, lPosition, ulLongueur, ppucBuffer); });
}

}  // namespace mc
