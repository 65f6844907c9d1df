/* c99_header.c -- a C99 client of mc.h: record layouts and a few calls through libmc.so. */
#include "mc.h"

#include <stddef.h>
#include <stdio.h>
#include <string.h>

#define MC_CHECK(name, cond) typedef char name[(cond) ? 1 : -1]

MC_CHECK(code_is_16_bits, sizeof MC_usActiverTrace(0, 0, 0, 0, 0) == 2);
MC_CHECK(boolean_is_32_bits, sizeof MC_bTraceActive() == 4);
MC_CHECK(counter_is_32_bits, sizeof ulMemAllouee == 4);

/* Public records: the places clients compile against, on 32-bit and 64-bit targets alike. */
#define PTR sizeof(void *)
MC_CHECK(zone_taille_buffer, offsetof(ZoneMemoire, TailleBuffer) == PTR);
MC_CHECK(zone_offset_champ, offsetof(ZoneMemoire, OffsetChamp) == PTR + 12);
MC_CHECK(zone_identifiant, offsetof(ZoneMemoire, IdentifiantGroupe) == PTR + 36);
MC_CHECK(zone_compteur_champ, offsetof(ZoneMemoire, CompteurChamp) == PTR + 42);
MC_CHECK(zone_size, sizeof(ZoneMemoire) == (PTR == 8 ? 56 : 48));
MC_CHECK(entete_fichier_size, sizeof(EnteteFichierBinaire) == 256);
MC_CHECK(entete_fichier_version, offsetof(EnteteFichierBinaire, szVersion) == 13);
MC_CHECK(entete_fichier_requise, offsetof(EnteteFichierBinaire, szVersionRequise) == 33);
MC_CHECK(entete_fichier_commentaire, offsetof(EnteteFichierBinaire, szCommentaire) == 55);
MC_CHECK(entete_table_size, sizeof(EnteteTable) == 26);
MC_CHECK(entete_table_taille, offsetof(EnteteTable, ulTailleDonnees) == 11);
MC_CHECK(entete_table_descripteurs, offsetof(EnteteTable, ucNombreDescripteurs1) == 23);
MC_CHECK(information_champ_size, sizeof(MC_InformationChamp) == 17);
MC_CHECK(information_champ_type, offsetof(MC_InformationChamp, cType) == 8);
MC_CHECK(information_champ_valeurs, offsetof(MC_InformationChamp, usNbValeurs) == 15);
MC_CHECK(cle_publique_size, sizeof(R_RSA_PUBLIC_KEY) == 260);
MC_CHECK(cle_privee_size, sizeof(R_RSA_PRIVATE_KEY) == 708);

static int failures = 0;

static void expect(int cond, const char *what) {
  if (!cond) {
    fprintf(stderr, "FAILED: %s\n", what);
    ++failures;
  }
}

int main(void) {
  const char *path = MC_TEST_TMP_DIR "/c99_client.trace";
  char *full = NULL;
  void *block;

  expect(MC_usActiverTrace(path, "w", 1, 5, 2) == MC_CR_OK, "activate trace");
  expect(MC_bTraceActive() == 1, "trace active");
  block = MC_Allouer(16);
  expect(block != NULL, "allocate");
  MC_Liberer(block);
  expect(ulMemAllouee == 0 && ulMaxAlloue == 0, "exported counters stay 0");
  expect(MC_usCreerNomCompletFichier("/a", "b.ini", &full) == MC_CR_OK, "full name");
  expect(full != NULL && strcmp(full, "/a/b.ini") == 0, "full name text");
  MC_Liberer(full);
  expect(MC_usActiverTrace(path, "w", 1, 5, 0) == MC_CR_OK, "deactivate trace");
  expect(MC_bTraceActive() == 0, "trace inactive");
  if (failures == 0) {
    printf("c99 client: all checks passed\n");
  }
  return failures == 0 ? 0 : 1;
}
