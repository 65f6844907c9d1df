/* client.c -- an example client of libmc, in C99.
 *
 * It starts the library on its configuration (norba.ini and the dictionary tablebin.tbx), prints
 * the two version texts and the dictionary, switches tracing on for the memory zones, builds a
 * structured zone with the editing calls and walks it back, writes and reads a raw zone, checks a
 * conforming and a faulty zone against the dictionary, frees everything, switches tracing off,
 * stops the library and prints the trace file.
 */
#include <stdio.h>
#include <string.h>

#include "mc.h"

#define TRACE_FILE "exemple.trace"

static int ok(const char *pcQuoi, uint16_t usCr) {
  if (usCr != MC_CR_OK) {
    fprintf(stderr, "%s: 0x%04X\n", pcQuoi, (unsigned)usCr);
    return 0;
  }
  return 1;
}

static int afficher_dictionnaire(void) {
  uint16_t *pusGroupes = NULL;
  uint16_t usNbGroupes = 0;
  uint16_t g;
  if (!ok("MC_usDonnerListeGroupes", MC_usDonnerListeGroupes(&pusGroupes, &usNbGroupes))) {
    return 0;
  }
  printf("Dictionnaire: %u groupes\n", (unsigned)usNbGroupes);
  for (g = 0; g < usNbGroupes; ++g) {
    MC_InformationChamp *psInfos = NULL;
    uint16_t usNbChamps = 0;
    uint16_t c;
    if (!ok("MC_usDonnerInformationChamp",
            MC_usDonnerInformationChamp(pusGroupes[g], &psInfos, &usNbChamps))) {
      MC_Liberer(pusGroupes);
      return 0;
    }
    printf("  groupe 0x%04X, %u champs\n", (unsigned)pusGroupes[g], (unsigned)usNbChamps);
    for (c = 0; c < usNbChamps; ++c) {
      const MC_InformationChamp *psInfo = &psInfos[c];
      uint16_t v;
      printf("    champ %u: type %c, longueur %u a %u, %s", (unsigned)(c + 1), (char)psInfo->cType,
             (unsigned)psInfo->usLongueurMin, (unsigned)psInfo->usLongueurMax,
             psInfo->lObligatoire == 1 ? "obligatoire" : "facultatif");
      for (v = 0; v < psInfo->usNbValeurs; ++v) {
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
  return 1;
}

/* The two groups of the zone format's worked example: group 1 with "AB" and "C", group 515 with
 * one field of 130 bytes. */
static int construire_exemple(uint16_t usZone) {
  unsigned char aucLong[130];
  memset(aucLong, 'x', sizeof aucLong);
  return ok("MC_usAjouterGroupe", MC_usAjouterGroupe(usZone, 1)) &&
         ok("MC_usAjouterChamp", MC_usAjouterChamp(usZone, (const unsigned char *)"AB", 2)) &&
         ok("MC_usAjouterChamp", MC_usAjouterChamp(usZone, (const unsigned char *)"C", 1)) &&
         ok("MC_usAjouterGroupe", MC_usAjouterGroupe(usZone, 515)) &&
         ok("MC_usAjouterChamp", MC_usAjouterChamp(usZone, aucLong, sizeof aucLong));
}

static void afficher_donnees(const unsigned char *pucDonnees, uint32_t ulLongueur) {
  uint32_t i;
  printf("\"");
  for (i = 0; i < ulLongueur && i < 16; ++i) {
    printf("%c", pucDonnees[i] >= 32 && pucDonnees[i] < 127 ? pucDonnees[i] : '.');
  }
  printf(ulLongueur > 16 ? "...\"" : "\"");
}

/* Walks the zone from the start, group by group and field by field. */
static int parcourir(uint16_t usZone) {
  uint16_t usIdentifiant = 0;
  uint16_t usCr;
  if (!ok("MC_usPositionnerDebut", MC_usPositionnerDebut(usZone))) {
    return 0;
  }
  while ((usCr = MC_usAvancerGroupeSuivant(usZone, 1, 0, &usIdentifiant)) == MC_CR_OK) {
    uint16_t usNumero = 0;
    unsigned char *pucDonnees = NULL;
    uint32_t ulLongueur = 0;
    printf("  groupe %u\n", (unsigned)usIdentifiant);
    while ((usCr = MC_usAvancerChampSuivant(usZone, 1, &usNumero, &pucDonnees, &ulLongueur)) ==
           MC_CR_OK) {
      printf("    champ %u, %lu octets: ", (unsigned)usNumero, (unsigned long)ulLongueur);
      afficher_donnees(pucDonnees, ulLongueur);
      printf("\n");
    }
    if (usCr != MC_ERR_FIN) {
      return ok("MC_usAvancerChampSuivant", usCr);
    }
  }
  return usCr == MC_ERR_FIN || ok("MC_usAvancerGroupeSuivant", usCr);
}

/* Frees a zone created by MC_usCreerZoneMemoire: the descriptor, then its buffer. */
static void liberer_zone(uint16_t usZone) {
  uint32_t ulTaille = 0;
  unsigned char *pucBuffer = NULL;
  if (MC_pucLireBuffer(usZone, &ulTaille, &pucBuffer) == MC_CR_OK) {
    MC_usLibererZoneMemoire(usZone);
    MC_Liberer(pucBuffer);
  }
}

/* Adds a group and its fields, given as texts. */
static int ajouter_groupe(uint16_t usZone, uint16_t usGroupe, const char *const *ppcChamps,
                          int nbChamps) {
  int i;
  if (!ok("MC_usAjouterGroupe", MC_usAjouterGroupe(usZone, usGroupe))) {
    return 0;
  }
  for (i = 0; i < nbChamps; ++i) {
    if (!ok("MC_usAjouterChamp", MC_usAjouterChamp(usZone, (const unsigned char *)ppcChamps[i],
                                                   (uint32_t)strlen(ppcChamps[i])))) {
      return 0;
    }
  }
  return 1;
}

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
    snprintf(pcTexte, stTaille, "conforme");
  } else if (usCode >= MC_ERR_GROUPE_INCONNU && usCode < MC_ERR_NOMBRE_CHAMPS) {
    const uint16_t usOrdinal = (uint16_t)(usCode - MC_ERR_GROUPE_INCONNU);
    snprintf(pcTexte, stTaille, "le groupe %u de la zone (code 0x%04X) est inconnu du dictionnaire",
             (unsigned)usOrdinal, (unsigned)code_du_groupe(usZone, usOrdinal));
  } else if (usCode >= MC_ERR_NOMBRE_CHAMPS && usCode < MC_ERR_NOMBRE_CHAMPS + 0x800) {
    const uint16_t usOrdinal = (uint16_t)(usCode - MC_ERR_NOMBRE_CHAMPS);
    const uint16_t usGroupe = code_du_groupe(usZone, usOrdinal);
    snprintf(pcTexte, stTaille, "le groupe %u de la zone (%s) n'a pas le nombre de champs du dictionnaire",
             (unsigned)usOrdinal, nom_groupe(usGroupe));
  } else if (usCode > MC_ERR_FORMAT_CHAMP && usCode < MC_ERR_GROUPE_INCONNU) {
    const uint32_t ulRang = (uint32_t)(usCode - MC_ERR_FORMAT_CHAMP);
    uint32_t ulAvant = 0;
    uint16_t usOrdinal = 0;
    uint16_t usGroupe = 0;
    snprintf(pcTexte, stTaille, "le champ de rang %u", (unsigned)ulRang);
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
        snprintf(pcTexte, stTaille, "le champ %u (%s) du groupe %u (%s) est refuse",
                 (unsigned)usNumero, nom_champ(usGroupe, usNumero), (unsigned)usOrdinal,
                 nom_groupe(usGroupe));
        break;
      }
      ulAvant += usNbChamps;
    }
    MC_usPositionnerDebut(usZone);
  } else {
    snprintf(pcTexte, stTaille, "zone mal formee ou erreur du dictionnaire");
  }
}

/* A client (group 0x0100), an address (0x0200) and a contract (0x0300) of the development
 * dictionary; the faulty copy has a contract periodicity that the dictionary does not allow. */
static int controler_formats(void) {
  static const char *const client[] = {"4711", "DUPONT", "JEAN", "19800229", "M"};
  static const char *const adresse[] = {"12 RUE DES LILAS", "75011", "PARIS", "FR"};
  static const char *const contrat[] = {"00001234", "20240101", "12", "", "EN COURS"};
  static const char *const contrat_faux[] = {"00001234", "20240101", "06", "", "EN COURS"};
  uint16_t usBonne = 0;
  uint16_t usFausse = 0;
  char szTexte[160];
  uint16_t usCr;
  int iOk = ok("MC_usCreerZoneMemoire", MC_usCreerZoneMemoire(512, 1, &usBonne)) &&
            ok("MC_usCreerZoneMemoire", MC_usCreerZoneMemoire(512, 1, &usFausse)) &&
            ajouter_groupe(usBonne, 0x0100, client, 5) &&
            ajouter_groupe(usBonne, 0x0200, adresse, 4) &&
            ajouter_groupe(usBonne, 0x0300, contrat, 5) &&
            ajouter_groupe(usFausse, 0x0100, client, 5) &&
            ajouter_groupe(usFausse, 0x0200, adresse, 4) &&
            ajouter_groupe(usFausse, 0x0300, contrat_faux, 5);
  if (iOk) {
    usCr = MC_usControlerFormatZoneMemoire(usBonne);
    decrire_resultat(usBonne, usCr, szTexte, sizeof szTexte);
    printf("Controle de format de la zone conforme: 0x%04X, %s\n", (unsigned)usCr, szTexte);
    usCr = MC_usControlerFormatZoneMemoire(usFausse);
    decrire_resultat(usFausse, usCr, szTexte, sizeof szTexte);
    printf("Controle de format de la zone fautive: 0x%04X, %s\n", (unsigned)usCr, szTexte);
  }
  liberer_zone(usBonne);
  liberer_zone(usFausse);
  return iOk;
}

static int zones(void) {
  uint16_t usStructuree = 0;
  uint16_t usBrute = 0;
  unsigned char aucLu[8] = {0};
  unsigned char *pucLu = aucLu;
  uint32_t ulTaille = 0;
  unsigned char *pucBuffer = NULL;
  int iOk = ok("MC_usCreerZoneMemoire", MC_usCreerZoneMemoire(256, 1, &usStructuree)) &&
            ok("MC_usCreerZoneMemoire", MC_usCreerZoneMemoire(16, 0, &usBrute));
  if (iOk) {
    printf("Zone structuree %u, zone brute %u\n", (unsigned)usStructuree, (unsigned)usBrute);
    iOk = construire_exemple(usStructuree) &&
          ok("MC_usControlerSyntaxeZoneMemoire", MC_usControlerSyntaxeZoneMemoire(usStructuree)) &&
          ok("MC_pucLireBuffer", MC_pucLireBuffer(usStructuree, &ulTaille, &pucBuffer));
  }
  if (iOk) {
    printf("Zone structuree: %lu octets de donnees, syntaxe correcte\n", (unsigned long)ulTaille);
    iOk = parcourir(usStructuree);
  }
  if (iOk) {
    iOk = ok("MC_usEcrireZoneMemoire",
             MC_usEcrireZoneMemoire(usBrute, 4, (const unsigned char *)"norba", 5)) &&
          ok("MC_usLireZoneMemoire", MC_usLireZoneMemoire(usBrute, 4, &pucLu, 5)) &&
          ok("MC_pucLireBuffer", MC_pucLireBuffer(usBrute, &ulTaille, &pucBuffer));
  }
  if (iOk) {
    printf("Zone brute: %lu octets de donnees, lu \"%s\" a la position 4\n",
           (unsigned long)ulTaille, (const char *)aucLu);
  }
  liberer_zone(usStructuree);
  liberer_zone(usBrute);
  return iOk;
}

static void afficher_trace(void) {
  char acLigne[512];
  FILE *psTrace = fopen(TRACE_FILE, "r");
  if (psTrace == NULL) {
    return;
  }
  printf("Fichier de trace %s:\n", TRACE_FILE);
  while (fgets(acLigne, sizeof acLigne, psTrace) != NULL) {
    fputs(acLigne, stdout);
  }
  fclose(psTrace);
}

int main(void) {
  char *pcVersionMC = NULL;
  char *pcVersionTables = NULL;
  int iOk;
  if (!ok("MC_usInitLIB", MC_usInitLIB(&pcVersionMC, &pcVersionTables))) {
    return 1;
  }
  printf("Version de la bibliotheque %s, version du fichier de tables %s\n", pcVersionMC,
         pcVersionTables);
  MC_Liberer(pcVersionMC);
  MC_Liberer(pcVersionTables);

  iOk = afficher_dictionnaire();
  iOk = iOk && ok("MC_usActiverTrace", MC_usActiverTrace(TRACE_FILE, "w", 1, 3, 2));
  iOk = iOk && zones();
  iOk = ok("MC_usActiverTrace", MC_usActiverTrace(TRACE_FILE, "w", 1, 3, 0)) && iOk;
  iOk = iOk && controler_formats();
  iOk = ok("MC_usTermLIB", MC_usTermLIB()) && iOk;
  afficher_trace();
  return iOk ? 0 : 1;
}
