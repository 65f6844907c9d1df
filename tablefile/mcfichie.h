// mcfichie.h -- internal side of the binary table files: the slot table and its bookkeeping, the
// file header, the CRC16 procedures, the packed-decimal double and the signature points.
#ifndef MC_TABLEFILE_MCFICHIE_H
#define MC_TABLEFILE_MCFICHIE_H

#include <cstddef>
#include <cstdint>
#include <cstdio>

#include "mc.h"

namespace mc {

// One open binary table file (the psFichier of the messages).
struct FichierBinaire {
  char* pcRepertoire;         // copy of the directory name
  char* pcNomFichier;         // copy of the file name
  uint16_t usTypeControle;    // 1 CRC16, 2 signature, other none
  FILE* pFichier;             // the open stream
  uint32_t ulCompteurOctets;  // file length when reading; bytes since the table header when writing
  uint16_t usLecture;         // 1: opened for reading
  uint16_t usEcriture;        // 1: created for writing
  // Reads stop here: the length measured at opening for a file opened for reading (0 until it
  // is measured), kSansBorne for a file created for writing, which ends where its writes end.
  uint64_t ullFinLecture;
  // errno of the first write or positioning of the writers that failed; 0: none. Once set, every
  // later write on the file fails and the release seals nothing.
  int iErreurEcriture;
};

inline constexpr uint64_t kSansBorne = UINT64_MAX;

// Bytes that may still be read from position lPosition of the file (kSansBorne: no bound).
inline uint64_t octets_lisibles(const FichierBinaire* ps, long lPosition) {
  if (ps->ullFinLecture == kSansBorne) {
    return kSansBorne;
  }
  return lPosition >= 0 && static_cast<uint64_t>(lPosition) < ps->ullFinLecture
             ? ps->ullFinLecture - static_cast<uint64_t>(lPosition)
             : 0;
}

inline constexpr uint16_t kNbFichiers = MC_NB_FICHIERS_BINAIRES;
inline constexpr uint32_t kTailleSignature = 128;  // bytes kept after the table area
inline constexpr char kCRC16_FICTIF[] = "0000";     // provisional control value of every file

// Process-wide state of the table files.
struct EtatFichiers {
  FichierBinaire* fichiers[kNbFichiers];  // entry n - 1 for number n; null: empty
  bool initialise;                        // the table was cleared once
  int32_t lPositionTailleTable;           // position of the pending data size; 0: none
};
extern EtatFichiers g_etatFichiers;

// The mark of an entry taken but not yet filled.
FichierBinaire* marque_reservation();

// Slot bookkeeping.
// The record of a number in use. 0, 0xF807 (0, above 100, empty or only reserved).
uint16_t usRechercherFichier(uint16_t usNumFichierBinaire, FichierBinaire** ppsFichier);
// Clears the table on first use.
uint16_t usInitialiserTableauFichiers();
// Reserves the first empty entry and stores its number. 0, 0xF80A.
uint16_t usRechercherNumeroFichier(uint16_t* pusNumFichierBinaire);
// Stores a record (or null: empty) into the entry of a number. 0, 0xF807.
uint16_t usRenseignerFichierTableau(uint16_t usNumFichierBinaire, FichierBinaire* psFichier);
// Frees the record of a number (names, stream, record) without trace lines and empties the entry.
// 0, 0xF807.
uint16_t usLibererFichier(uint16_t usNumFichierBinaire);
// The length of a file opened for reading as measured when it was opened, which no read goes
// beyond; 0 for a number not in use or a file created for writing. No trace lines.
uint64_t longueur_ouverture(uint16_t usNumFichierBinaire);
// Records the failure (errno, or EIO without one) of a write or a writer's positioning.
void noter_erreur_ecriture(FichierBinaire* ps);

// Extent of the table area: the file length for control type 1, 128 bytes less for any other.
// 0, 0xF807.
uint16_t usTailleDonnneeFichierBinaire(uint16_t usNumFichierBinaire, uint32_t* pulTaille);

// CRC16 of the bytes from position 4 to the end, read no further than position ullFin; the
// stream's position is restored. 0, 1 (position 4 not reached), 0xF610 (move back failed).
uint16_t usCalculerCRC16(FILE* pFichier, uint16_t* pusCRC, uint64_t ullFin = kSansBorne);
// The CRC text of the first four bytes as a number. 0, 0xF610.
uint16_t usLireCRC(FILE* pFichier, uint16_t* pusCRC);
// One hexadecimal character: 0..15, or 0xFFFF.
uint16_t usConvertirHexa(char cCaractere);
// Prints the CRC with "%04X" at position 0. 0, 0xF610.
uint16_t usEcrireCRC(FILE* pFichier, uint16_t usCRC);

// File header.
uint16_t usLireEnteteFichierBinaire(uint16_t usNumFichierBinaire, EnteteFichierBinaire* psEntete);
// The comment up to its CR, at most ulTaille - 1 characters kept in pcBuffer. 0, 0xF640.
uint16_t usLireCommentaire(uint16_t usNumFichierBinaire, char* pcBuffer, size_t ulTaille);
uint16_t usEcrireEnteteFichierBinaire(uint16_t usNumFichierBinaire, const EnteteFichierBinaire* psEntete);

// The length coding of a variable string into pucBuffer (5 bytes at least); its byte count.
size_t stCoderLongueur(uint32_t ulLongueur, unsigned char* pucBuffer);

// Packed decimal double: false when the value has more than 14 integer digits (or is not finite).
bool coder_double(double dValeur, uint8_t pucOctets[8]);
double decoder_double(const uint8_t pucOctets[8]);

// Signature points for control type 2, defined by the signature unit (mcsign.cpp): the check of
// MC_usVerifierSignatureFichier and the signing of MC_usEcrireSignatureFichier.
uint16_t verifier_signature_fichier(uint16_t usNumFichierBinaire);
uint16_t ecrire_signature_fichier(uint16_t usNumFichierBinaire, const char* pcFichierCle);

namespace testing {
// Closes and empties every slot, forgets the pending table size and the first-use flag.
void reset_fichiers();
}  // namespace testing

}  // namespace mc

#endif  // MC_TABLEFILE_MCFICHIE_H
