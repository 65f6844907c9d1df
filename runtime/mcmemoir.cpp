// mcmemoir.cpp -- accounted allocation and the two file helpers.
#include "runtime/mcmemoir.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "runtime/mctrace.h"

// Kept: the exported pair is never updated; a client reading it always sees 0.
extern "C" {
MC_API uint32_t ulMemAllouee = 0;
MC_API uint32_t ulMaxAlloue = 0;
}

namespace mc {
namespace {

uint32_t ulMemAllouee = 0;
uint32_t ulMaxAlloue = 0;

int64_t s_avantEchec = -1;  // allocations left before a forced failure; -1: none pending
uint32_t s_nbAllocations = 0;
uint32_t s_nbLiberations = 0;
uint32_t s_nbRefus = 0;

}  // namespace

uint32_t memoire_allouee() { return ulMemAllouee; }
uint32_t memoire_max() { return ulMaxAlloue; }
uint32_t allocations_refusees() { return s_nbRefus; }

void compter_sans_allouer(uint32_t ulTaille) {
  ulMemAllouee += ulTaille;
  if (ulMemAllouee > ulMaxAlloue) {
    ulMaxAlloue = ulMemAllouee;
  }
}

namespace testing {
void reset_memoire() {
  ulMemAllouee = 0;
  ulMaxAlloue = 0;
  s_avantEchec = -1;
  s_nbAllocations = 0;
  s_nbLiberations = 0;
}
void faire_echouer_allocation(uint32_t reussites) { s_avantEchec = reussites; }
void annuler_echec_allocation() { s_avantEchec = -1; }
bool compter_allocation() {
  ++s_nbAllocations;
  if (s_avantEchec == 0) {
    s_avantEchec = -1;
    return false;
  }
  if (s_avantEchec > 0) {
    --s_avantEchec;
  }
  return true;
}
uint32_t nombre_allocations() { return s_nbAllocations; }
uint32_t nombre_liberations() { return s_nbLiberations; }
}  // namespace testing

FILE* ouvrir_fichier_regulier(const char* pcChemin, const char* pcMode) {
  if (pcChemin == nullptr || pcMode == nullptr) {
    errno = EINVAL;
    return nullptr;
  }
  const bool bPlus = strchr(pcMode, '+') != nullptr;
  int iDrapeaux = 0;
  switch (pcMode[0]) {
    case 'r':
      iDrapeaux = bPlus ? O_RDWR : O_RDONLY;
      break;
    case 'w':
      iDrapeaux = (bPlus ? O_RDWR : O_WRONLY) | O_CREAT | O_TRUNC;
      break;
    case 'a':
      iDrapeaux = (bPlus ? O_RDWR : O_WRONLY) | O_CREAT | O_APPEND;
      break;
    default:
      errno = EINVAL;
      return nullptr;
  }
  // O_NONBLOCK: a FIFO without a peer neither blocks the opening nor, being refused below, any
  // read or write. O_TRUNC has no effect on anything but a regular file.
  const int fd = open(pcChemin, iDrapeaux | O_NONBLOCK, 0666);
  if (fd < 0) {
    return nullptr;
  }
  struct stat st {};
  int iErreur = 0;
  if (fstat(fd, &st) != 0) {
    iErreur = errno;
  } else if (!S_ISREG(st.st_mode)) {
    iErreur = S_ISDIR(st.st_mode) ? EISDIR : EINVAL;
  } else {
    const int iEtat = fcntl(fd, F_GETFL);
    if (iEtat < 0 || fcntl(fd, F_SETFL, iEtat & ~O_NONBLOCK) != 0) {
      iErreur = errno;
    }
  }
  FILE* pFichier = iErreur == 0 ? fdopen(fd, pcMode) : nullptr;
  if (pFichier == nullptr) {
    if (iErreur == 0) {
      iErreur = errno;
    }
    close(fd);
    errno = iErreur;
  }
  return pFichier;
}

void* allouer_non_compte(size_t taille) {
  void* pvBloc = testing::compter_allocation() ? malloc(taille) : nullptr;
  if (pvBloc == nullptr) {
    ++s_nbRefus;
  }
  return pvBloc;
}

}  // namespace mc

extern "C" MC_API void* MC_Allouer(uint32_t ulTaille) {
  void* pvBloc = mc::testing::compter_allocation() ? malloc(ulTaille) : nullptr;
  MC_TRACE(mc::kModule, mc::kTrcInit, MC_TRACE_ENTREE, "Allocation de %u (%u) a l'adresse %p",
           static_cast<unsigned>(ulTaille), static_cast<unsigned>(ulTaille), pvBloc);
  if (pvBloc == nullptr) {
    ++mc::s_nbRefus;
    MC_TRACE(mc::kModule, mc::kTrcInit, MC_TRACE_ERREUR, "MC_Allouer memoire insuffisante");
  }
  // Kept: a refused request is counted too; the count is a total of requests.
  mc::compter_sans_allouer(ulTaille);
  MC_TRACE(mc::kModule, mc::kTrcInit, MC_TRACE_SORTIE, "Taille Memoire cumulee = %lu",
           static_cast<unsigned long>(mc::ulMemAllouee));
  return pvBloc;
}

extern "C" MC_API void MC_Liberer(void* pvBloc) {
  if (pvBloc == nullptr) {
    return;
  }
  ++mc::s_nbLiberations;
  // Kept: blocks carry no size, so nothing is subtracted and the count only grows.
  const uint32_t ulTailleBloc = 0;
  mc::ulMemAllouee -= ulTailleBloc;
  MC_TRACE(mc::kModule, mc::kTrcInit, MC_TRACE_ENTREE, "Liberation de %u octets a l'adresse %p",
           static_cast<unsigned>(ulTailleBloc), pvBloc);
  MC_TRACE(mc::kModule, mc::kTrcInit, MC_TRACE_SORTIE, "Taille Memoire cumulee = \t%lu",
           static_cast<unsigned long>(mc::ulMemAllouee));
  free(pvBloc);
}

namespace mc {
// Deviation: a length or position of 4 GiB or more is the failure value, not cut to 32 bits.
uint32_t position_32(off_t position) {
  static_assert(sizeof(off_t) == 8, "built with large-file support");
  return position < 0 || position >= off_t{0xFFFFFFFF} ? 0xFFFFFFFFu : static_cast<uint32_t>(position);
}
}  // namespace mc

extern "C" MC_API uint16_t MC_usLongueurFichier(FILE* psFichier, uint32_t* pulLongueur) {
  MC_TRACE(mc::kModule, mc::kTrcInit, MC_TRACE_ENTREE, "MC_usLongueurFichier");
  uint16_t usCr = MC_ERR_FICHIER;
  if (psFichier != nullptr && pulLongueur != nullptr) {
    const off_t lPosition = ftello(psFichier);
    if (lPosition != -1 && fseeko(psFichier, 0, SEEK_END) == 0) {
      const uint32_t ulFin = mc::position_32(ftello(psFichier));
      *pulLongueur = ulFin;
      if (ulFin != 0xFFFFFFFFu) {
        usCr = static_cast<uint16_t>(fseeko(psFichier, lPosition, SEEK_SET));
      }
    }
  }
  MC_TRACE(mc::kModule, mc::kTrcInit, MC_TRACE_SORTIE, "MC_usLongueurFichier");
  return usCr;
}

extern "C" MC_API uint16_t MC_usCreerNomCompletFichier(const char* pcRepertoire, const char* pcNom,
                                                       char** ppcNomComplet) {
  MC_TRACE(mc::kModule, mc::kTrcInit, MC_TRACE_ENTREE, "MC_usCreerNomCompletFichier");
  uint16_t usCr = MC_CR_OK;
  char szNom[mc::kTailleNomComplet];  // "directory/name" and its zero
  if (pcRepertoire == nullptr || pcNom == nullptr || ppcNomComplet == nullptr) {
    usCr = MC_ERR_ARGUMENT;
  } else {
    // The directory is taken as it is: one ending with '/' gives a doubled separator.
    const int iLongueur = snprintf(szNom, sizeof szNom, "%s%c%s", pcRepertoire, '/', pcNom);
    if (iLongueur < 0 || static_cast<size_t>(iLongueur) >= sizeof szNom) {
      usCr = MC_ERR_MEMOIRE;
    } else {
      const auto usTaille = static_cast<uint16_t>(iLongueur + 1);
      auto* pcNomComplet = static_cast<char*>(MC_Allouer(usTaille));
      if (pcNomComplet == nullptr) {
        usCr = MC_ERR_MEMOIRE;
      } else {
        memcpy(pcNomComplet, szNom, usTaille);
        *ppcNomComplet = pcNomComplet;
      }
    }
  }
  MC_TRACE(mc::kModule, mc::kTrcInit, MC_TRACE_SORTIE, "MC_usCreerNomCompletFichier");
  return usCr;
}
