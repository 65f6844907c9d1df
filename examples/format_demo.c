/* format_demo.c -- a client of libmc that builds two zones against the development dictionary
 * (dictionary/dev/dictionnaire.dico), one conforming and one with a refused value, checks them
 * with MC_usControlerFormatZoneMemoire and names the failing group or field in words. */
#include <stdio.h>
#include <string.h>

#include "mc.h"

/* Names of the groups and fields of the development dictionary. */
static const char *nom_groupe(uint16_t usCode) {
  switch (usCode) {
    case 0x0100: return "client";
    case 0x0200: return "adresse";
    case 0x0300: return "contrat";
    default: return "inconnu";
  }
}

static const char *nom_champ(uint16_t usCode, uint16_t usNumero) {
  static const char *const kClient[] = {"numero de client", "nom", "prenom", "date de naissance",
                                        "sexe"};
  static const char *const kAdresse[] = {"voie", "code postal", "commune", "pays"};
  static const char *const kContrat[] = {"numero de contrat", "date d'effet", "periodicite",
                                         "commentaire libre", "etat"};
  if (usNumero == 0) {
    return "?";
  }
  if (usCode == 0x0100 && usNumero <= 5) {
    return kClient[usNumero - 1];
  }
  if (usCode == 0x0200 && usNumero <= 4) {
    return kAdresse[usNumero - 1];
  }
  if (usCode == 0x0300 && usNumero <= 5) {
    return kContrat[usNumero - 1];
  }
  return "?";
}

/* Code of the g-th group of the zone (from 1), 0 when there is none. */
static uint16_t code_du_groupe(uint16_t usZone, uint16_t usOrdinal) {
  uint16_t usCode = 0;
  if (MC_usPositionnerDebut(usZone) != MC_CR_OK ||
      MC_usAvancerGroupeSuivant(usZone, usOrdinal, 0, &usCode) != MC_CR_OK) {
    usCode = 0;
  }
  MC_usPositionnerDebut(usZone);
  return usCode;
}

/* Writes the meaning of a result of the format control into pcTexte. A field's rank counts
 * the dictionary fields of the groups met in zone order, so the zone is walked again to find
 * the group and the field that the rank names. */
static void decrire_resultat(uint16_t usZone, uint16_t usCode, char *pcTexte, size_t stTaille) {
  if (usCode == MC_CR_OK) {
    snprintf(pcTexte, stTaille, "conforming zone");
  } else if (usCode >= MC_ERR_GROUPE_INCONNU && usCode < MC_ERR_NOMBRE_CHAMPS) {
    const uint16_t usOrdinal = (uint16_t)(usCode - MC_ERR_GROUPE_INCONNU);
    snprintf(pcTexte, stTaille, "group %u of the zone (code 0x%04X) is not in the dictionary",
             (unsigned)usOrdinal, (unsigned)code_du_groupe(usZone, usOrdinal));
  } else if (usCode >= MC_ERR_NOMBRE_CHAMPS && usCode < MC_ERR_NOMBRE_CHAMPS + 0x800) {
    const uint16_t usOrdinal = (uint16_t)(usCode - MC_ERR_NOMBRE_CHAMPS);
    const uint16_t usGroupe = code_du_groupe(usZone, usOrdinal);
    snprintf(pcTexte, stTaille, "group %u of the zone (%s) has another number of fields",
             (unsigned)usOrdinal, nom_groupe(usGroupe));
  } else if (usCode > MC_ERR_FORMAT_CHAMP && usCode < MC_ERR_GROUPE_INCONNU) {
    const uint32_t ulRang = (uint32_t)(usCode - MC_ERR_FORMAT_CHAMP);
    uint32_t ulAvant = 0;
    uint16_t usOrdinal = 0;
    uint16_t usGroupe = 0;
    snprintf(pcTexte, stTaille, "field of rank %u", (unsigned)ulRang);
    MC_usPositionnerDebut(usZone);
    while (MC_usAvancerGroupeSuivant(usZone, 1, 0, &usGroupe) == MC_CR_OK) {
      MC_InformationChamp *psInfos = NULL;
      uint16_t usNbChamps = 0;
      ++usOrdinal;
      if (MC_usDonnerInformationChamp(usGroupe, &psInfos, &usNbChamps) != MC_CR_OK) {
        break;
      }
      MC_Liberer(psInfos);
      if (ulRang <= ulAvant + usNbChamps) {
        const uint16_t usNumero = (uint16_t)(ulRang - ulAvant);
        snprintf(pcTexte, stTaille, "field %u (%s) of group %u (%s) fails its check",
                 (unsigned)usNumero, nom_champ(usGroupe, usNumero), (unsigned)usOrdinal,
                 nom_groupe(usGroupe));
        break;
      }
      ulAvant += usNbChamps;
    }
    MC_usPositionnerDebut(usZone);
  } else {
    snprintf(pcTexte, stTaille, "zone or dictionary error");
  }
}

/* A structured zone built from groups given as a code followed by its field values, a null
 * value ending the group and a code of 0 ending the list. */
static uint16_t construire(const uint16_t *pusCodes, const char *const *ppcValeurs,
                           uint16_t *pusZone) {
  uint16_t usCr = MC_usCreerZoneMemoire(1024, 1, pusZone);
  size_t v = 0;
  size_t g;
  for (g = 0; usCr == MC_CR_OK && pusCodes[g] != 0; ++g) {
    usCr = MC_usAjouterGroupe(*pusZone, pusCodes[g]);
    for (; usCr == MC_CR_OK && ppcValeurs[v] != NULL; ++v) {
      usCr = MC_usAjouterChamp(*pusZone, (const unsigned char *)ppcValeurs[v],
                               (uint32_t)strlen(ppcValeurs[v]));
    }
    ++v;
  }
  return usCr;
}

static void liberer(uint16_t usZone) {
  uint32_t ulTaille = 0;
  unsigned char *pucBuffer = NULL;
  MC_pucLireBuffer(usZone, &ulTaille, &pucBuffer);
  MC_Liberer(pucBuffer);
  MC_usLibererZoneMemoire(usZone);
}

static int controler(const char *pcNom, const uint16_t *pusCodes,
                     const char *const *ppcValeurs) {
  uint16_t usZone = 0;
  uint16_t usCode;
  char szTexte[160];
  if (construire(pusCodes, ppcValeurs, &usZone) != MC_CR_OK) {
    printf("%s: the zone could not be built\n", pcNom);
    return 1;
  }
  usCode = MC_usControlerFormatZoneMemoire(usZone);
  decrire_resultat(usZone, usCode, szTexte, sizeof szTexte);
  printf("%s: 0x%04X: %s\n", pcNom, (unsigned)usCode, szTexte);
  liberer(usZone);
  return 0;
}

int main(void) {
  static const uint16_t kCodes[] = {0x0100, 0x0200, 0x0300, 0};
  static const char *const kConforme[] = {
      "4711", "DUPONT", "JEAN", "19800229", "M", NULL,
      "12 RUE DES LILAS", "75011", "PARIS", "FR", NULL,
      "00001234", "20240101", "12", "", "EN COURS", NULL};
  /* The same zone with a periodicity of 06 months, which the dictionary does not allow. */
  static const char *const kFautif[] = {
      "4711", "DUPONT", "JEAN", "19800229", "M", NULL,
      "12 RUE DES LILAS", "75011", "PARIS", "FR", NULL,
      "00001234", "20240101", "06", "", "EN COURS", NULL};
  char *pcVersionMC = NULL;
  char *pcVersionFichier = NULL;
  int iErreurs = 0;
  const uint16_t usCr = MC_usInitLIB(&pcVersionMC, &pcVersionFichier);
  if (usCr != MC_CR_OK) {
    printf("MC_usInitLIB: 0x%04X\n", (unsigned)usCr);
    return 1;
  }
  iErreurs += controler("conforming zone", kCodes, kConforme);
  iErreurs += controler("faulty zone", kCodes, kFautif);
  MC_Liberer(pcVersionMC);
  MC_Liberer(pcVersionFichier);
  MC_usTermLIB();
  return iErreurs;
}
