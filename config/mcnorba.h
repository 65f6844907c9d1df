// mcnorba.h -- internal side of the working directory and the component version files.
#ifndef MC_CONFIG_MCNORBA_H
#define MC_CONFIG_MCNORBA_H

#include <cstdint>
#include <cstdio>

#include "mc.h"

namespace mc {

// Opens pcChemin in pcMode into *ppFichier. 0; 0xF610.
uint16_t usOuvrirFichier(const char* pcChemin, const char* pcMode, FILE** ppFichier);
// Closes the stream. 0; 0xF610.
uint16_t usFermerFichier(FILE* pFichier);
// Reads up to *pulLongueur bytes; the count read, cut to 16 bits, goes back into *pulLongueur.
// 0; 0xF610 when the stream's error indicator is set.
uint16_t usLireBufferFichier(FILE* pFichier, void* pvBuffer, uint32_t* pulLongueur);
// A new text "<component as signed 8-bit>.adm" (MC_Liberer it). 0; 0xF801.
uint16_t usConstruireNomComplet(uint8_t ucComposant, char** ppcNom);

// Size of the directory buffers read from norba.ini.
inline constexpr uint32_t kTailleRepertoire = 256;
// The size handed to the INI reader for a kTailleRepertoire buffer: the reader writes one byte
// beyond the size it is given, so it gets one less than the buffer holds.
inline constexpr uint32_t kTailleLectureRepertoire = kTailleRepertoire - 1;
}  // namespace mc

#endif  // MC_CONFIG_MCNORBA_H
