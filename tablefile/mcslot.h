// mcslot.h -- lowest layer of the table files: the slot record, the slot table and its lookup.
//
// Naming: the names the library has always had (usRechercherFichier, usLibererFichier, ...) stay as
// they are; the other helpers are French snake_case (annuler_ouverture, lire_borne). Exported names
// are extern "C"; every other internal lives in namespace mc, the file-local ones in an anonymous
// namespace, the test hooks in mc::testing.
#ifndef MC_TABLEFILE_MCSLOT_H
#define MC_TABLEFILE_MCSLOT_H

#include <cstdint>
#include <cstdio>

#include "mc.h"
#include "runtime/mctrace.h"

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
inline constexpr uint16_t kNbFichiers = MC_NB_FICHIERS_BINAIRES;
inline constexpr uint32_t kTailleSignature = 128;  // bytes kept after the table area

// A slot goes empty -> reserved (number handed out, no record yet) -> filled -> empty.
enum class EtatEmplacement : uint8_t { vide, reserve, rempli };

struct Emplacement {
  EtatEmplacement etat;
  FichierBinaire* psFichier;  // set when filled
};

// Process-wide state of the table files.
struct EtatFichiers {
  Emplacement fichiers[kNbFichiers];  // entry n - 1 for number n
  bool initialise;                    // the table was cleared once
  int32_t lPositionTailleTable;       // position of the pending data size; 0: none
};
extern EtatFichiers g_etatFichiers;

inline bool en_ecriture(const FichierBinaire& s) { return s.usEcriture == 1 && s.usLecture == 0; }

// The record of a number in use. 0, 0xF807 (0, above 100, empty or only reserved).
uint16_t usRechercherFichier(uint16_t usNumFichierBinaire, FichierBinaire** ppsFichier);
// Clears the table on first use.
uint16_t usInitialiserTableauFichiers();
// Reserves the first empty entry and stores its number. 0, 0xF80A.
uint16_t usRechercherNumeroFichier(uint16_t* pusNumFichierBinaire);
// Fills the entry of a number with a record (null: empties it). 0, 0xF807.
uint16_t usRenseignerFichierTableau(uint16_t usNumFichierBinaire, FichierBinaire* psFichier);
// Frees the record of a number (names, stream, record) without trace lines and empties the entry.
// 0, 0xF807.
uint16_t usLibererFichier(uint16_t usNumFichierBinaire);

// A new record with copies of both names, or null when memory is short.
FichierBinaire* nouvel_enregistrement(const char* pcRepertoire, const char* pcNomFichier,
                                      uint16_t usTypeControle);
// Clean-up of a failed opening or creation: the entry of the number held is emptied unless it is
// 0 or the hundredth, the new record is freed and the number set to 0.
void annuler_ouverture(uint16_t* pusNum, FichierBinaire* psFichier);

// The length of a file opened for reading as measured when it was opened, which no read goes
// beyond; 0 for a number not in use or a file created for writing. No trace lines.
uint64_t longueur_ouverture(uint16_t usNumFichierBinaire);

// Extent of the table area: the file length for control type 1, 128 bytes less for any other.
uint32_t taille_donnees(const FichierBinaire& s);
// The same for a number, with its own lines for a refused one. 0, 0xF807.
uint16_t usTailleDonnneeFichierBinaire(uint16_t usNumFichierBinaire, uint32_t* pulTaille);

// The entry and exit lines named pcNom around an operation on a record already found.
template <typename F>
uint16_t entre_traces(const char* pcNom, F&& corps) {
  MC_TRACE(kModule, kTrcTables, MC_TRACE_ENTREE, "%s", pcNom);
  const uint16_t usCr = corps();
  MC_TRACE(kModule, kTrcTables, MC_TRACE_SORTIE, "%s", pcNom);
  return usCr;
}

// An exported operation: its entry line named pcNom, the number looked up once, the operation on
// the record found, its exit line. A refused number gives its lookup code.
template <typename F>
uint16_t sur_numero(const char* pcNom, uint16_t usNum, F&& corps) {
  return entre_traces(pcNom, [&] {
    FichierBinaire* ps = nullptr;
    const uint16_t usCr = usRechercherFichier(usNum, &ps);
    return usCr == MC_CR_OK ? corps(*ps) : usCr;
  });
}

namespace testing {
// Closes and empties every slot, forgets the pending table size and the first-use flag.
void reset_fichiers();
}  // namespace testing

}  // namespace mc

#endif  // MC_TABLEFILE_MCSLOT_H
