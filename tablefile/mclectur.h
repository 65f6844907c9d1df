// mclectur.h -- reading a binary table file: what the opening uses of it.
#ifndef MC_TABLEFILE_MCLECTUR_H
#define MC_TABLEFILE_MCLECTUR_H

#include <cstdint>

#include "tablefile/mcslot.h"

namespace mc {

// The file header from position 5, with its entry and exit lines naming the number; the stream
// then stands at the first table. 0, 0xF610, 0xF640, 0xF802 (no header record).
uint16_t usLireEnteteFichierBinaire(FichierBinaire& s, uint16_t usNumFichierBinaire,
                                    EnteteFichierBinaire* psEntete);

}  // namespace mc

#endif  // MC_TABLEFILE_MCLECTUR_H
