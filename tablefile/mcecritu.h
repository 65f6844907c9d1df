// mcecritu.h -- writing a binary table file: what the creation, the release and the signing use
// of it.
#ifndef MC_TABLEFILE_MCECRITU_H
#define MC_TABLEFILE_MCECRITU_H

#include <cstddef>
#include <cstdint>

#include "tablefile/mcslot.h"

namespace mc {

// The file header at position 0 with the provisional control value, with its entry and exit
// lines naming the number. 0, 0xF610, 0xF802 (no header record), 0xF811.
uint16_t usEcrireEnteteFichierBinaire(FichierBinaire& s, uint16_t usNumFichierBinaire,
                                      const EnteteFichierBinaire* psEntete);
// The pending data size, with the lines of MC_usEcrireTaille. 0, 0xF610, 0xF811.
uint16_t ecrire_taille_tracee(FichierBinaire& s, uint16_t usNumFichierBinaire);
// A fixed field of ulLongueur bytes, with the lines of MC_usEcrireChampFixe. 0, 0xF610, 0xF802, 0xF811.
uint16_t ecrire_champ_fixe_tracee(FichierBinaire& s, const void* pvBuffer, uint32_t ulLongueur);

// The length coding of a variable string into pucBuffer (5 bytes at least); its byte count.
size_t stCoderLongueur(uint32_t ulLongueur, unsigned char* pucBuffer);

}  // namespace mc

#endif  // MC_TABLEFILE_MCECRITU_H
