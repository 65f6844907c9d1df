// mcflux.h -- stream helpers of the table files on a slot record: reads bounded by the length
// measured at opening, writes checked against the record's sticky error, positions and lengths.
#ifndef MC_TABLEFILE_MCFLUX_H
#define MC_TABLEFILE_MCFLUX_H

#include <cstddef>
#include <cstdint>

#include "tablefile/mcslot.h"

namespace mc {

// Bytes that may still be read from position lPosition of the file (kSansBorne: no bound).
inline uint64_t octets_lisibles(const FichierBinaire& s, long lPosition) {
  if (s.ullFinLecture == kSansBorne) {
    return kSansBorne;
  }
  return lPosition >= 0 && static_cast<uint64_t>(lPosition) < s.ullFinLecture
             ? s.ullFinLecture - static_cast<uint64_t>(lPosition)
             : 0;
}

// Reads at most n bytes, none beyond the read bound; the number read.
size_t lire_borne(const FichierBinaire& s, void* pv, size_t n);
// The n bytes of one value in one call, after the position check; a value cut by the read bound
// fails like one cut by the end of the file (bErreurFlux: a stream error fails too). 0, 0xF640.
uint16_t lire_octets(const FichierBinaire& s, uint8_t* puc, size_t n, bool bErreurFlux = false);
// A fixed field of ulNombre units of `taille` bytes, of which at most ulPlace units go to the
// buffer; a shortfall traces its error line under the name pcNom, reported against ulNombre.
// Stores the number of units read. 0, 0xF640, 0xF802 (no buffer).
uint16_t lire_champ(const char* pcNom, FichierBinaire& s, void* pvBuffer, size_t taille, uint32_t ulNombre,
                    uint32_t ulPlace, uint32_t* pulLus);
// Bytes left between the stream's position and the end of its file: the read bound of a file
// opened for reading, the length on disk of a file created for writing.
uint64_t octets_restants(FichierBinaire& s);

// Records the failure (errno, or EIO without one) of a write or a writer's positioning.
void noter_erreur_ecriture(FichierBinaire& s);
// n units of `taille` bytes in one call. 0, 0xF610.
uint16_t ecrire(FichierBinaire& s, const void* pv, size_t taille, size_t n);
inline uint16_t ecrire(FichierBinaire& s, const uint8_t* puc, size_t n) { return ecrire(s, puc, 1, n); }
// A positioning of the writers; its failure counts as a failed write. true: done.
bool positionner(FichierBinaire& s, long lPosition, int iOrigine);
// Before a written file is sealed: every write reached the file and its buffer goes out now.
// 0, 0xF610.
uint16_t verifier_ecritures(FichierBinaire& s);

// The bodies of the exported helpers on a record found; the *_tracee forms add the helper's
// entry and exit lines for a caller that holds the record already.
// The file's length. 0, 0xF610.
uint16_t longueur(FichierBinaire& s, uint32_t* pulLongueur);
uint16_t longueur_tracee(FichierBinaire& s, uint32_t* pulLongueur);
// Moves the stream. 0, 0xF610.
uint16_t positionner_offset(FichierBinaire& s, int32_t lPosition, int32_t iOrigine);
uint16_t positionner_offset_tracee(FichierBinaire& s, int32_t lPosition, int32_t iOrigine);
// ulLongueur bytes from lPosition into a new buffer, the position restored; the result is that
// of the move back. 0, 0xF610.
uint16_t lire_zone(FichierBinaire& s, int32_t lPosition, uint32_t ulLongueur, unsigned char** ppucBuffer);
uint16_t lire_zone_tracee(FichierBinaire& s, int32_t lPosition, uint32_t ulLongueur,
                          unsigned char** ppucBuffer);

}  // namespace mc

#endif  // MC_TABLEFILE_MCFLUX_H
