/* client_dev.c -- a C client of the development configuration: initialises the library, prints
 * the two version texts and the dictionary's groups with their fields and allowed values, and
 * terminates. Linked with mc_core_dev, which reads dev/etc/norba.ini of the build tree. */
#include <stdio.h>

#include "mc.h"

int main(void) {
  char *pcVersionMC = NULL;
  char *pcVersionFichier = NULL;
  uint16_t usCr = MC_usInitLIB(&pcVersionMC, &pcVersionFichier);
  if (usCr != MC_CR_OK) {
    fprintf(stderr, "MC_usInitLIB: 0x%04X\n", (unsigned)usCr);
    return 1;
  }
  printf("version MC %s, version du fichier de tables %s\n", pcVersionMC, pcVersionFichier);
  MC_Liberer(pcVersionMC);
  MC_Liberer(pcVersionFichier);

  uint16_t *pusGroupes = NULL;
  uint16_t usNbGroupes = 0;
  usCr = MC_usDonnerListeGroupes(&pusGroupes, &usNbGroupes);
  for (uint16_t g = 0; usCr == MC_CR_OK && g < usNbGroupes; ++g) {
    MC_InformationChamp *psInfos = NULL;
    uint16_t usNbChamps = 0;
    usCr = MC_usDonnerInformationChamp(pusGroupes[g], &psInfos, &usNbChamps);
    if (usCr != MC_CR_OK) {
      break;
    }
    printf("groupe 0x%04X: %u champs\n", (unsigned)pusGroupes[g], (unsigned)usNbChamps);
    for (uint16_t c = 0; c < usNbChamps; ++c) {
      const MC_InformationChamp *psInfo = &psInfos[c];
      printf("  champ %u: type %c, longueur %u a %u, %s", (unsigned)(c + 1), (char)psInfo->cType,
             (unsigned)psInfo->usLongueurMin, (unsigned)psInfo->usLongueurMax,
             psInfo->lObligatoire == 1 ? "obligatoire" : "facultatif");
      for (uint16_t v = 0; v < psInfo->usNbValeurs; ++v) {
        char *pcValeur = NULL;
        if (MC_usDonnerChampValeur(pusGroupes[g], (uint8_t)(c + 1), (uint8_t)(v + 1), &pcValeur) ==
            MC_CR_OK) {
          printf("%s\"%s\"", v == 0 ? ", valeurs " : " ", pcValeur);
          MC_Liberer(pcValeur);
        }
      }
      printf("\n");
    }
    MC_Liberer(psInfos);
  }
  MC_Liberer(pusGroupes);
  if (usCr != MC_CR_OK) {
    fprintf(stderr, "dictionnaire: 0x%04X\n", (unsigned)usCr);
  }
  const uint16_t usTerm = MC_usTermLIB();
  printf("MC_usTermLIB: 0x%04X\n", (unsigned)usTerm);
  return usCr == MC_CR_OK && usTerm == MC_CR_OK ? 0 : 1;
}
