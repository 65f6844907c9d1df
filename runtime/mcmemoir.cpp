// mcmemoir.cpp -- accounted allocation and the two file helpers.
#include "runtime/mcmemoir.h"

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

constexpr size_t kTailleNomComplet = 1024;  // room for "directory/name" and its zero

}  // namespace

uint32_t memoire_allouee() { return ulMemAllouee; }
uint32_t memoire_max() { return ulMaxAlloue; }

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

void* allouer_non_compte(size_t taille) {
  return testing::compter_allocation() ? malloc(taille) : nullptr;
}

}  // namespace mc

extern "C" MC_API void* MC_Allouer(uint32_t ulTaille) {
  void* pvBloc = mc::testing::compter_allocation() ? malloc(ulTaille) : nullptr;
  MC_TRACE(mc::kModule, mc::kTrcInit, MC_TRACE_ENTREE, "Allocation de %u (%u) a l'adresse %p",
           static_cast<unsigned>(ulTaille), static_cast<unsigned>(ulTaille), pvBloc);
  if (pvBloc == nullptr) {
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

extern "C" MC_API uint16_t MC_usLongueurFichier(FILE* psFichier, uint32_t* pulLongueur) {
  MC_TRACE(mc::kModule, mc::kTrcInit, MC_TRACE_ENTREE, "MC_usLongueurFichier");
  uint16_t usCr = MC_ERR_FICHIER;
  if (psFichier != nullptr && pulLongueur != nullptr) {
    const long lPosition = ftell(psFichier);
    if (lPosition != -1L && fseek(psFichier, 0L, SEEK_END) == 0) {
      const auto ulFin = static_cast<uint32_t>(ftell(psFichier));
      *pulLongueur = ulFin;
      if (ulFin != 0xFFFFFFFFu) {
        usCr = static_cast<uint16_t>(fseek(psFichier, lPosition, SEEK_SET));
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
  char szNom[mc::kTailleNomComplet];
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
