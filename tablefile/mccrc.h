// mccrc.h -- the CRC16 procedures of the table files on an open stream, and the sealing of a
// written file with its CRC.
#ifndef MC_TABLEFILE_MCCRC_H
#define MC_TABLEFILE_MCCRC_H

#include <cstdint>
#include <cstdio>

#include "tablefile/mcslot.h"

namespace mc {

// CRC16 of the bytes from position 4 to the end, read no further than position ullFin; the
// stream's position is restored. 0, 1 (position 4 not reached), 0xF610 (move back failed).
uint16_t usCalculerCRC16(FILE* pFichier, uint16_t* pusCRC, uint64_t ullFin = kSansBorne);
// The CRC text of the first four bytes as a number. 0, 0xF610.
uint16_t usLireCRC(FILE* pFichier, uint16_t* pusCRC);
// One hexadecimal character: 0..15, or 0xFFFF.
uint16_t usConvertirHexa(char cCaractere);
// Prints the CRC with "%04X" at position 0. 0, 0xF610.
uint16_t usEcrireCRC(FILE* pFichier, uint16_t usCRC);

// CRC of a written file over its whole length, written into its first four bytes; a failure
// counts as a failed write of the file. 0, 1, 0xF610.
uint16_t sceller_crc(FichierBinaire& s);

}  // namespace mc

#endif  // MC_TABLEFILE_MCCRC_H
