/* mc.h -- the public interface of libmc, the suite's common module.
 *
 * Conventions, for every function below:
 * - A result code is an unsigned 16-bit value; 0 (MC_CR_OK) is success, the other values are
 *   listed in this header. A boolean is a 32-bit integer, 1 for true or success, 0 for false.
 * - Zone numbers run from 0 to 99, binary file numbers from 1 to 100.
 * - Every buffer the library hands out was taken with MC_Allouer; the caller gives it back with
 *   MC_Liberer.
 * - Every function traces its entry, exit, details and errors into the trace file while tracing
 *   is on (MC_usActiverTrace).
 * - No function is thread-safe: all state is process-wide and unguarded.
 * - Null pointers: the comment of each function taking pointers ends with a "null:" clause
 *   covering every pointer argument ("*p" is the pointer that p points to). "p 0xF802" (or
 *   another code): a null p is refused with that code and the work is not done; a zone or file
 *   number is checked first, other checks that come first are named in parentheses. "p ok, ...":
 *   null is accepted and means what follows ("not stored": that output is skipped). "p must not
 *   be null": not checked; a null p is undefined behaviour, usually a crash. "unless ulLongueur
 *   is 0": a null p is accepted with an empty length and refused otherwise.
 *
 * Valid as C99 and as C++.
 */
#ifndef MC_H
#define MC_H

#include <stdarg.h>
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>

#if defined(MC_BUILDING_LIBRARY)
#define MC_API __attribute__((visibility("default")))
#else
#define MC_API
#endif

#if defined(__GNUC__) || defined(__clang__)
#define MC_PRINTF(fmt, first) __attribute__((format(printf, fmt, first)))
#else
#define MC_PRINTF(fmt, first)
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* Result codes: 0 is success. The format control adds the failing group's ordinal g to
 * MC_ERR_GROUPE_INCONNU and MC_ERR_NOMBRE_CHAMPS, and the failing field's rank r to
 * MC_ERR_FORMAT_CHAMP, in 16 bits. The RE_ codes come from the signature check. */
/* ---- result codes: generated from mc_codes.def by cmake/mc_codes.cmake; edit the list, not this block ---- */
#define MC_CR_OK                 0x0000u /* success */
#define MC_CR_UN                 0x0001u /* bare failure value: CRC position 4 not reached, signing failed, dictionary table not loaded */
#define RE_CONTENT_ENCODING      0x0400u /* signature check: content encoding */
#define RE_DATA                  0x0401u /* signature check: missing message bytes */
#define RE_DIGEST_ALGORITHM      0x0402u /* signature check: digest algorithm */
#define RE_ENCODING              0x0403u /* signature check: encoding */
#define RE_KEY                   0x0404u /* signature check: key */
#define RE_KEY_ENCODING          0x0405u /* signature check: key encoding */
#define RE_LEN                   0x0406u /* signature check: signature length is not the modulus length */
#define RE_MODULUS_LEN           0x0407u /* signature check: modulus length */
#define RE_NEED_RANDOM           0x0408u /* signature check: random source needed */
#define RE_PRIVATE_KEY           0x0409u /* private key fields do not make an RSA key */
#define RE_PUBLIC_KEY            0x040au /* modulus or exponent do not make an RSA key */
#define RE_SIGNATURE             0x040bu /* signature does not match the message */
#define RE_SIGNATURE_ENCODING    0x040cu /* signature check: signature encoding */
#define RE_ENCRYPTION_ALGORITHM  0x040du /* signature check: encryption algorithm */
#define MC_ERR_FICHIER           0xF610u /* file cannot be opened, positioned, read, written or closed */
#define MC_ERR_VERSION           0xF620u /* library and dictionary table file versions differ */
#define MC_ERR_CONTROLE          0xF630u /* CRC16 or signature of a file does not match */
#define MC_ERR_FIN_FICHIER       0xF640u /* read past the end of a table file, or a foreign table */
#define MC_ERR_NOM_FICHIER       0xF660u /* file name in a table file header differs from the name opened */
#define MC_ERR_REP_TABLES        0xF680u /* table directory absent from the configuration */
#define MC_ERR_REP_TRAVAIL       0xF6F1u /* working directory absent from the configuration */
#define MC_ERR_FICHIER_VERSION   0xF6F2u /* component version file cannot be named or created */
#define MC_ERR_POINTEUR          0xF800u /* pointer to the binary file number or header missing */
#define MC_ERR_MEMOIRE           0xF801u /* allocation failed, no free number, resize too small, null destination */
#define MC_ERR_ARGUMENT          0xF802u /* bad argument */
#define MC_ERR_DEPASSEMENT       0xF804u /* access or edit beyond a zone's allocated size */
#define MC_ERR_FIN               0xF805u /* end reached, identifier absent, table or group not found */
#define MC_ERR_OCCURRENCE        0xF806u /* group present with fewer occurrences than asked */
#define MC_ERR_NUMERO            0xF807u /* zone or binary file number invalid or unused */
#define MC_ERR_SLOTS             0xF80Au /* all 100 file slots taken */
#define MC_ERR_SYNTAXE           0xF810u /* malformed zone data */
#define MC_ERR_TYPE              0xF811u /* zone of the wrong kind, or file not in the right mode */
#define MC_ERR_TRACE_NUMERO      0xD000u /* module 1 registered with a trace number outside 1..8 */
#define MC_ERR_TRACE_OUVERTURE   0xD201u /* trace file cannot be opened */
#define MC_ERR_TRACE_PLEINE      0xD202u /* trace registration table full */
#define MC_ERR_CONFIG            0xFFFBu /* configuration buffer not allocated */
#define MC_ERR_CHAMP_POSITION    0xFFFEu /* position or piece outside the current field, or growth not allowed */
#define MC_ERR_SYSTEME           0xFFFFu /* seek back failed, or closing the trace file failed */
#define MC_ERR_GROUPE_INCONNU    0xA000u /* + g: the g-th group of the zone is unknown to the dictionary */
#define MC_ERR_NOMBRE_CHAMPS     0xA800u /* + g: the g-th group has another number of fields than the dictionary says */
#define MC_ERR_FORMAT_CHAMP      0x9000u /* + r: the field of rank r fails its type, length, presence or value check */
/* ---- end of result codes ---- */

/* ==== runtime ==== */

/* Trace kinds, third argument of MC_TraceEcrire. */
#define MC_TRACE_HORODATAGE 0u /* dated free line, written whenever the file is open */
#define MC_TRACE_APPEL      1u /* a call recorded in one go */
#define MC_TRACE_ENTREE     2u /* function entry: opens a brace, one level deeper */
#define MC_TRACE_SORTIE     3u /* function exit: closes the brace */
#define MC_TRACE_DETAIL     4u /* a detail line */
#define MC_TRACE_ERREUR     5u /* an error line, "ERREUR : " and the message */

/* The library's module number and its trace areas (trace numbers, usTrace): register the areas
 * wanted with MC_usActiverTrace (MC_MODULE_MC, area, level). Numbers 1 to 8 are accepted. */
#define MC_MODULE_MC               1u /* the library's own module number */
#define MC_TRC_SYNTAXE             1u /* syntax control of a zone */
#define MC_TRC_FORMAT              2u /* format control of a zone against the dictionary */
#define MC_TRC_ZONES               3u /* memory zones: table, cursor, search, editing, lengths */
#define MC_TRC_VERSIONS            4u /* working directory and component version files */
#define MC_TRC_INIT                5u /* start-up and shut-down, INI wrappers, memory accounting */
#define MC_TRC_CONTROLES           6u /* date and string checks */
#define MC_TRC_TABLES              7u /* dictionary tables, binary table files, signatures */
#define MC_TRC_LIBRE               8u /* accepted but written by no function of the library */

/* Opens the trace file (modes "w", "wb", "a", "ab") if none is open and registers the pair
 * (module, trace) at level 1 or 2; level 0 closes the file and forgets every pair.
 * 0, 0xF802, 0xD201, 0xD202, 0xD000, 0xFFFF.
 * null: pcFichier, pcMode 0xF802 when the file has to be opened, ok (not read) otherwise. */
MC_API uint16_t MC_usActiverTrace(const char *pcFichier, const char *pcMode, uint16_t usModule,
                                  uint16_t usTrace, uint8_t ucNiveau);
/* True while the trace file is open. */
MC_API int32_t MC_bTraceActive(void);
/* Writes one trace line of the given kind if the pair is registered and visible.
 * null: pcFormat ok, nothing written. */
MC_API void MC_TraceEcrire(uint16_t usModule, uint16_t usTrace, uint16_t usType,
                           const char *pcFormat, ...) MC_PRINTF(4, 5);
/* MC_TraceEcrire with an already started argument list. null: pcFormat ok, nothing written. */
MC_API void MC_TraceEcrire2(uint16_t usModule, uint16_t usTrace, uint16_t usType,
                            const char *pcFormat, va_list vaArguments) MC_PRINTF(4, 0);
/* One line "name[i] = 0xhh" a byte, for a pair registered at level 2.
 * null: pcNom ok, an empty name; pucDonnees ok, nothing written. */
MC_API void MC_TraceEcrireBinaire(uint16_t usModule, uint16_t usTrace, const char *pcNom,
                                  const unsigned char *pucDonnees, uint16_t usLongueur);
/* Opens the trace stream into *ppFichier unless it is already open. 0, 0xF802, 0xD201.
 * null: ppFichier 0xF802; pcFichier, pcMode 0xF802 unless *ppFichier is already set. */
MC_API uint16_t MC_usOuvrirTrace(const char *pcFichier, const char *pcMode, FILE **ppFichier);
/* Writes the end marker and closes the trace file; the close function's result. */
MC_API uint16_t MC_usFermerTrace(void);
/* Empties the registration table. */
MC_API void MC_InitialiserTraces(void);
/* True and the index of the pair when it is registered. null: pusIndice ok, not stored. */
MC_API int32_t MC_bRechercherTrace(uint16_t usModule, uint16_t usTrace, uint16_t *pusIndice);
/* Registers a pair or changes its level. 0, 0xD202, 0xD000. */
MC_API uint16_t MC_usAjouterTrace(uint16_t usModule, uint16_t usTrace, uint8_t ucNiveau);
/* Line helpers; only to be called while the trace file is open. */
MC_API void MC_TraceDebutFonction(void);
MC_API void MC_TraceFinFonction(void);
MC_API void MC_TraceDebutLigne(void);
MC_API void MC_TraceFinLigne(void);

/* Bytes requested from MC_Allouer. The exported pair is never updated and always reads 0; the
 * library keeps its own private counters. */
MC_API extern uint32_t ulMemAllouee;
MC_API extern uint32_t ulMaxAlloue;

/* taille bytes of uninitialised heap memory, or null when the heap refuses. */
MC_API void *MC_Allouer(uint32_t ulTaille);
/* Gives back a block from MC_Allouer. null: pvBloc ok, nothing done. */
MC_API void MC_Liberer(void *pvBloc);
/* Length of an open stream, its position left unchanged. 0, 0xF610, 0xFFFF.
 * null: psFichier, pulLongueur 0xF610. */
MC_API uint16_t MC_usLongueurFichier(FILE *psFichier, uint32_t *pulLongueur);
/* A new string "directory/name" (MC_Liberer it). 0, 0xF801, 0xF802.
 * null: pcRepertoire, pcNom, ppcNomComplet 0xF802. */
MC_API uint16_t MC_usCreerNomCompletFichier(const char *pcRepertoire, const char *pcNom,
                                            char **ppcNomComplet);

/* ==== end runtime ==== */



/* ==== zone ==== */

/* A zone descriptor. Structured zones hold groups (2-byte identifier, coded length, fields) of
 * fields (coded length, data); the cursor fields, from OffsetChamp to CompteurChamp, all 0 put
 * the cursor at the start. Raw zones are plain bytes. */
typedef struct ZoneMemoire {
  unsigned char *Buffer;        /* the zone's bytes */
  uint32_t TailleBuffer;        /* bytes available in Buffer */
  uint32_t TailleDonnees;       /* bytes of Buffer that hold data, from offset 0 */
  uint32_t Structuree;          /* non-zero: groups and fields with a cursor; zero: raw bytes */
  uint32_t OffsetChamp;         /* offset of the current field's length bytes */
  uint32_t OffsetGroupe;        /* offset of the current group's header */
  uint32_t TailleLongueurChamp; /* size of the current field's coded length */
  uint32_t LongueurChamp;       /* the current field's data length */
  uint32_t LongueurGroupe;      /* the current group's body length */
  uint32_t TailleEnteteGroupe;  /* size of the current group's header */
  uint16_t IdentifiantGroupe;   /* the current group's identifier */
  uint16_t NumeroChamp;         /* number of the current field in its group, from 1 */
  uint16_t CompteurGroupe;      /* groups passed or added since the cursor went to the start */
  uint16_t CompteurChamp;       /* fields passed or added since the cursor went to the start */
} ZoneMemoire;

/* Length coding and sizes. A length below 128 takes one byte; a longer one a byte 0x81..0x84
 * and that many big-endian bytes (255, 65535 and 16777215 take the next size up). */

/* Writes the coded length at offset in *ppucBuffer (no bound checked); the bytes written, 1 to 5.
 * null: ppucBuffer, *ppucBuffer ok, nothing written and 0 returned. */
MC_API uint32_t MC_stCoderLongueur(uint32_t ulLongueur, uint32_t ulOffset,
                                   unsigned char **ppucBuffer);
/* Writes a group header (identifier high byte first, coded length); the bytes written, 3 to 7.
 * null: ppucBuffer, *ppucBuffer ok, nothing written and 0 returned. */
MC_API uint32_t MC_stCoderEnteteGroupe(uint16_t usIdentifiant, uint32_t ulLongueur,
                                       uint32_t ulOffset, unsigned char **ppucBuffer);
/* Reads the length coded at offset, and its size in bytes, within ulTailleBuffer bytes.
 * 0, 0xF802, 0xF810. null: pucBuffer, pulLongueur, pulNbOctets 0xF802. */
MC_API uint32_t MC_stDecoderLongueur(const unsigned char *pucBuffer, uint32_t ulTailleBuffer,
                                     uint32_t ulOffset, uint32_t *pulLongueur,
                                     uint32_t *pulNbOctets);
/* Reads the group header at offset: identifier, body length, whole header size. 0, 0xF802,
 * 0xF810. null: pucBuffer, pusIdentifiant, pulLongueur, pulNbOctets 0xF802. */
MC_API uint16_t MC_usDecoderEnteteGroupe(const unsigned char *pucBuffer, uint32_t ulTailleBuffer,
                                         uint32_t ulOffset, uint16_t *pusIdentifiant,
                                         uint32_t *pulLongueur, uint32_t *pulNbOctets);
/* Coded size of a length: 1 to 5. */
MC_API uint32_t MC_stCalculerTailleLongueur(uint32_t ulLongueur);
/* Size of a group header for a body of that length: 3 to 7. */
MC_API uint32_t MC_stCalculerTailleEnteteGroupe(uint32_t ulLongueur);
/* Whole size of a field of that many data bytes. */
MC_API uint32_t MC_stCalculerTailleChamp(uint32_t ulLongueur);
/* Whole size of a group whose body is that many bytes. */
MC_API uint32_t MC_stCalculerTailleGroupe2(uint32_t ulLongueur);
/* Whole size of a group of ulNombre fields whose data lengths (uint32_t each) follow. */
MC_API uint32_t MC_stCalculerTailleGroupe1(uint32_t ulNombre, ...);
/* Checks that the whole data of a structured zone is well-formed groups and fields; leaves the
 * cursor where the walk ended. 0, 0xF807, 0xF810, 0xF811. */
MC_API uint16_t MC_usControlerSyntaxeZoneMemoire(uint16_t usZone);

/* Zone table: numbers 0 to 99. */

/* True and the lowest free zone number stored; false when all 100 are taken.
 * null: pusZone ok, not stored. */
MC_API int32_t MC_bRechercherZoneLibre(uint16_t *pusZone);
/* A new zone of ulTaille bytes (at least 1), cleared, structured when the flag is non-zero.
 * 0, 0xF801, 0xF802. null: pusZone 0xF802. */
MC_API uint16_t MC_usCreerZoneMemoire(uint32_t ulTaille, uint32_t ulStructuree, uint16_t *pusZone);
/* A zone over the caller's buffer, full of data (not copied). 0, 0xF801, 0xF802 (also a size
 * of 0). null: pucBuffer, pusZone 0xF802. */
MC_API uint16_t MC_usInitialiserZoneMemoire(unsigned char *pucBuffer, uint32_t ulTaille,
                                            uint16_t *pusZone, uint32_t ulStructuree);
/* A zone over the caller's buffer holding ulTailleDonnees bytes of data; a data length above
 * ulTaille is refused. 0, 0xF801, 0xF802. null: pucBuffer, pusZone 0xF802. */
MC_API uint16_t MC_usInitialiserZoneMemoireNonPlein(unsigned char *pucBuffer, uint32_t ulTaille,
                                                    uint32_t ulTailleDonnees, uint16_t *pusZone,
                                                    uint32_t ulStructuree);
/* Frees the descriptor and the number; never the buffer (take it with MC_pucLireBuffer).
 * 0, 0xF807. */
MC_API uint16_t MC_usLibererZoneMemoire(uint16_t usZone);
/* Moves the data into a new buffer of ulTaille bytes, not below the allocated size, and frees
 * the old buffer. 0, 0xF801, 0xF807. */
MC_API uint16_t MC_usRedimensionner(uint16_t usZone, uint32_t ulTaille);
/* Stores the data length and the buffer address of a zone of either kind. 0, 0xF802, 0xF807.
 * null: pulTaille, ppucBuffer 0xF802. */
MC_API uint16_t MC_pucLireBuffer(uint16_t usZone, uint32_t *pulTaille, unsigned char **ppucBuffer);
/* Raw zones: copies ulLongueur bytes from ulPosition to *ppucDestination, within the allocated
 * size. 0, 0xF802, 0xF804, 0xF807, 0xF811.
 * null: ppucDestination, *ppucDestination 0xF802 (after the bound check) unless ulLongueur is 0. */
MC_API uint16_t MC_usLireZoneMemoire(uint16_t usZone, uint32_t ulPosition,
                                     unsigned char **ppucDestination, uint32_t ulLongueur);
/* Raw zones: copies ulLongueur bytes in at ulPosition, within the allocated size; the data
 * length grows to cover them. 0, 0xF802, 0xF804, 0xF807, 0xF811.
 * null: pucSource 0xF802 (after the bound check) unless ulLongueur is 0. */
MC_API uint16_t MC_usEcrireZoneMemoire(uint16_t usZone, uint32_t ulPosition,
                                       const unsigned char *pucSource, uint32_t ulLongueur);

/* Cursor and search, structured zones only: every function gives 0xF807 for a number above 99
 * or unused and 0xF811 for a raw zone. Data addresses point into the zone's buffer. */

/* Puts the cursor at the start, before the first group; counters back to 0. 0. */
MC_API uint16_t MC_usPositionnerDebut(uint16_t usZone);
/* Puts the cursor on the last field of the last group. 0 whatever ends the walk. */
MC_API uint16_t MC_usPositionnerFin(uint16_t usZone, uint32_t ulParcoursChamps);
/* True when no group follows the current one. 0, 0xF802. null: pulFin 0xF802. */
MC_API uint16_t MC_usFinZone(uint16_t usZone, uint32_t *pulFin);
/* True when the current field ends at the end of the data. 0, 0xF802. null: pulFin 0xF802. */
MC_API uint16_t MC_usFinDonnees(uint16_t usZone, uint32_t *pulFin);
/* True when no field follows the current one in its group. 0, 0xF802. null: pulFin 0xF802. */
MC_API uint16_t MC_usFinGroupe(uint16_t usZone, uint32_t *pulFin);
/* Advances usNombre groups (0 acts as 1), counting the fields passed when the flag is set;
 * stores the identifier. 0, 0xF805, 0xF810. null: pusIdentifiant ok, not stored. */
MC_API uint16_t MC_usAvancerGroupeSuivant(uint16_t usZone, uint16_t usNombre,
                                          uint32_t ulParcoursChamps, uint16_t *pusIdentifiant);
/* Advances usNombre fields (0 acts as 1) in the current group; stores the field number, the
 * data address and the length. 0, 0xF805, 0xF810.
 * null: pusNumero, ppucDonnees, pulLongueur ok, each not stored. */
MC_API uint16_t MC_usAvancerChampSuivant(uint16_t usZone, uint16_t usNombre, uint16_t *pusNumero,
                                         unsigned char **ppucDonnees, uint32_t *pulLongueur);
/* From the start, the usOccurrence-th group of that identifier. 0, 0xF802 (occurrence 0),
 * 0xF805 (absent), 0xF806 (fewer occurrences), 0xF810. */
MC_API uint16_t MC_usRechercherGroupe(uint16_t usZone, uint16_t usIdentifiant,
                                      uint16_t usOccurrence, uint32_t ulParcoursChamps);
/* The same search from after the current group, without trace. 0, 0xF805, 0xF806, 0xF810. */
MC_API uint16_t MC_usRechercherGroupeSuivant(uint16_t usZone, uint16_t usIdentifiant,
                                             uint16_t usOccurrence, uint32_t ulParcoursChamps);
/* Field usNumero of the usOccurrenceGroupe-th group of that identifier: its data address and
 * length. 0, 0xF802 (occurrence or number 0), 0xF805, 0xF806, 0xF810.
 * null: ppucDonnees, pulLongueur ok, each not stored. */
MC_API uint16_t MC_usRechercherChamp(uint16_t usZone, uint16_t usIdentifiant,
                                     uint16_t usOccurrenceGroupe, uint16_t usNumero,
                                     uint32_t ulParcoursChamps, unsigned char **ppucDonnees,
                                     uint32_t *pulLongueur);
/* Moves onto the next group; stores its identifier and which occurrence of it it is (0 from
 * the start, cursor unmoved). 0, 0xF805, 0xF810.
 * null: pusIdentifiant, pusOccurrence ok, each not stored. */
MC_API uint16_t MC_usLireGroupeSuivant(uint16_t usZone, uint32_t ulParcoursChamps,
                                       uint16_t *pusIdentifiant, uint16_t *pusOccurrence);
/* Groups passed or added since the start. 0, 0xF802. null: pusCompteur 0xF802. */
MC_API uint16_t MC_usLireCompteurGroupe(uint16_t usZone, uint16_t *pusCompteur);
/* Fields passed or added since the start. 0, 0xF802. null: pusCompteur 0xF802. */
MC_API uint16_t MC_usLireCompteurChamp(uint16_t usZone, uint16_t *pusCompteur);

/* Editing at the cursor, structured zones only (0xF807, 0xF811 as above). The buffer never
 * grows by itself: an edit that does not fit gives 0xF804 and changes nothing. */

/* Inserts an empty group after the current one; the cursor on it. 0, 0xF804, 0xF810. */
MC_API uint16_t MC_usAjouterGroupe(uint16_t usZone, uint16_t usIdentifiant);
/* Inserts a field after the current field of the current group; the cursor on it.
 * 0, 0xF802, 0xF804, 0xF805 (no group, or identifier 0), 0xF810.
 * null: pucDonnees 0xF802 (after the 0xF805 check) unless ulLongueur is 0 (an empty field). */
MC_API uint16_t MC_usAjouterChamp(uint16_t usZone, const unsigned char *pucDonnees,
                                  uint32_t ulLongueur);
/* Writes ulLongueur bytes into the current field from ulPosition, lengthening it when the flag
 * allows. 0, 0xF802, 0xF804, 0xF805 (no current field), 0xF810, 0xFFFE.
 * null: pucDonnees 0xF802 (after the position check) unless ulLongueur is 0. */
MC_API uint16_t MC_usModifierChamp(uint16_t usZone, const unsigned char *pucDonnees,
                                   uint32_t ulPosition, uint32_t ulLongueur,
                                   uint32_t ulAgrandissement);
/* Stores the address of ulLongueur bytes of the current field from ulPosition (no copy).
 * 0, 0xF802, 0xF805 (no current field), 0xF810, 0xFFFE.
 * null: ppucDonnees 0xF802 (after the other checks). */
MC_API uint16_t MC_usExtraireChamp(uint16_t usZone, unsigned char **ppucDonnees,
                                   uint32_t ulPosition, uint32_t ulLongueur);

/* ==== end zone ==== */



/* ==== tablefile ==== */

/* Binary table files: a text header, then named tables of big-endian typed values, protected by a
 * CRC16 in the first four bytes (control type 1), by a 128-byte signature at the end (control
 * type 2) or not at all (any other type). Up to 100 files are open at once, known by their binary
 * file number 1..100. Every operation below that takes a number first looks its slot up and
 * returns 0xF807 for 0, a number above 100 or a slot not in use. */

#define MC_CONTROLE_CRC16     1u /* control type: CRC16 in the first four bytes */
#define MC_CONTROLE_SIGNATURE 2u /* control type: RSA signature in the last 128 bytes */
#define MC_NB_FICHIERS_BINAIRES 100u
#define MC_LG_COMMENTAIRE     200u /* comment characters an EnteteFichierBinaire holds */

/* The file header in memory: each text field followed by a NUL, at fixed places (offsets 0, 13,
 * 18, 24, 33, 38, 44, 55); 256 bytes in all. The writer takes the version numbers and the text
 * fields byte for byte as they stand, the file name up to 12 characters padded with spaces, and
 * the comment up to its NUL (MC_LG_COMMENTAIRE characters at most). The reader strips the
 * trailing spaces of the name and keeps the first MC_LG_COMMENTAIRE characters of a longer
 * comment. */
typedef struct EnteteFichierBinaire {
  char szNomFichier[13];     /* file name, 12 characters */
  char szVersion[5];         /* first version number, 4 digits (the file's version) */
  char szTexte5[6];          /* 5-character field */
  char szTexte8[9];          /* 8-character field */
  char szVersionRequise[5];  /* second version number, 4 digits (library version required) */
  char szTexte5b[6];         /* second 5-character field */
  char szTexte10[11];        /* 10-character field */
  char szCommentaire[MC_LG_COMMENTAIRE + 1]; /* comment, up to the CR on disk */
} EnteteFichierBinaire;

/* A table header in memory, packed: 26 bytes (name at 0, sizes at 11, 15, 19, counts at 23..25).
 * The 32-bit members are unaligned: copy them, do not take their address. The writer uses the
 * name (its first 10 bytes as they stand) and the record count only. */
#pragma pack(push, 1)
typedef struct EnteteTable {
  char szNomTable[11];               /* table name, 10 characters, trailing spaces stripped */
  uint32_t ulTailleDonnees;          /* bytes of table data after the header */
  uint32_t ulNombreEnregistrements;  /* record count */
  uint32_t ulReserve;                /* reserved word, written as 0 */
  uint8_t ucNombreDescripteurs1;     /* entries of the first descriptor list (5 bytes each) */
  uint8_t ucNombreDescripteurs2;     /* entries of the second descriptor list */
  uint8_t ucReserve;                 /* reserved byte */
} EnteteTable;
#pragma pack(pop)

/* Opens pcRepertoire/pcNomFichier for reading, reads its header into *psEntete, checks that the
 * header names the same file and, by control type, its CRC16 or signature. Set *pusNum to 0
 * before the call. A failure after the file was opened (0xF640, 0xF660, 0xF630) leaves it open
 * in its slot with its number returned: release it. 0, 0xF610, 0xF630, 0xF640, 0xF660, 0xF800,
 * 0xF801, 0xF802, 0xF80A.
 * null: pcRepertoire, pcNomFichier 0xF802; pusNumFichierBinaire, psEntete 0xF800. */
MC_API uint16_t MC_usInitialiserFichierBinaire(const char *pcRepertoire, const char *pcNomFichier,
                                               uint16_t usTypeControle, uint16_t *pusNumFichierBinaire,
                                               EnteteFichierBinaire *psEntete);
/* Creates (or empties) pcRepertoire/pcNomFichier for writing and writes its header. Note the
 * order: header before number. 0, 0xF610, 0xF800, 0xF801, 0xF802, 0xF80A.
 * null: pcRepertoire, pcNomFichier, psEntete 0xF802; pusNumFichierBinaire 0xF800. */
MC_API uint16_t MC_usCreerFichierBinaire(const char *pcRepertoire, const char *pcNomFichier,
                                         uint16_t usTypeControle, const EnteteFichierBinaire *psEntete,
                                         uint16_t *pusNumFichierBinaire);
/* Seals a written file (pending table size, then CRC16 or signature with the private key file
 * pcFichierCle), closes the file and frees its slot; a failure still closes and frees it.
 * 0, 0xF610, 0xF807, 1 (signing failed).
 * null: pcFichierCle ok (not read) unless a written file of control type 2 is sealed: 0xF610. */
MC_API uint16_t MC_usLibererFichierBinaire(uint16_t usNumFichierBinaire, const char *pcFichierCle);
/* Length of the file in bytes. 0, 0xF610 (also for a bad number), 0xFFFF.
 * null: pulLongueur 0xF610. */
MC_API uint16_t MC_usLongueurFichierBinaire(uint16_t usNumFichierBinaire, uint32_t *pulLongueur);
/* Moves the stream as fseek does (origin SEEK_SET, SEEK_CUR, SEEK_END). 0, 0xF610. */
MC_API uint16_t MC_usPositionnerOffset(uint16_t usNumFichierBinaire, int32_t lPosition,
                                       int32_t iOrigine);
/* Current position of the stream. 0, 0xF610. null: pulPosition 0xF610. */
MC_API uint16_t MC_usLirePositionFichier(uint16_t usNumFichierBinaire, uint32_t *pulPosition);
/* A new buffer (MC_Liberer it) of ulLongueur bytes read at lPosition; the stream's position is
 * restored. The result is that of the move back, so check the buffer: null when it could not be
 * allocated. 0, 0xF610, 0xF802. null: ppucBuffer 0xF802 (before the number). */
MC_API uint16_t MC_usLireFichierBinaire(uint16_t usNumFichierBinaire, int32_t lPosition,
                                        uint32_t ulLongueur, unsigned char **ppucBuffer);

/* Reading, from the current position. 0xF640: the file ends first (the target is then left as
 * it was for the integer readers) or the position cannot be taken. */
/* The next table header; the stream then stands at its first record. 0, 0xF640, 0xF802, 0xF807.
 * null: psEnteteTable 0xF802. */
MC_API uint16_t MC_usLireEnteteTable(uint16_t usNumFichierBinaire, EnteteTable *psEnteteTable);
/* Searches the table named pcNomTable from the current position (a table boundary) to the end
 * of the table area, then once from the first table back to the start. On success the stream
 * stands at the table's first record. 0, 0xF640, 0xF802, 0xF805, 0xF807.
 * null: pcNomTable, psEnteteTable 0xF802. */
MC_API uint16_t MC_usRechercherTable(uint16_t usNumFichierBinaire, const char *pcNomTable,
                                     EnteteTable *psEnteteTable);
/* Big-endian integers of the type's size. 0, 0xF640, 0xF802, 0xF807. null: the target 0xF802. */
MC_API uint16_t MC_usLireUnsignedChar(uint16_t usNumFichierBinaire, uint8_t *pucValeur);
MC_API uint16_t MC_usLireSignedChar(uint16_t usNumFichierBinaire, int8_t *pcValeur);
MC_API uint16_t MC_usLireUnsignedShort(uint16_t usNumFichierBinaire, uint16_t *pusValeur);
MC_API uint16_t MC_usLireSignedShort(uint16_t usNumFichierBinaire, int16_t *psValeur);
MC_API uint16_t MC_usLireUnsignedLong(uint16_t usNumFichierBinaire, uint32_t *pulValeur);
MC_API uint16_t MC_usLireSignedLong(uint16_t usNumFichierBinaire, int32_t *plValeur);
/* A packed-decimal double (about 14 significant digits). null: pdValeur 0xF802. */
MC_API uint16_t MC_usLireDouble(uint16_t usNumFichierBinaire, double *pdValeur);
/* A 16-bit component, then two 8-bit ones. null: pusValeur1 0xF802; pucValeur2, pucValeur3
 * 0xF802 once the components before them were read (the stream has moved). */
MC_API uint16_t MC_usLireDate(uint16_t usNumFichierBinaire, uint16_t *pusValeur1, uint8_t *pucValeur2,
                              uint8_t *pucValeur3);
/* ulLongueur raw bytes, nothing added or stripped. null: pvBuffer 0xF802 unless ulLongueur is 0. */
MC_API uint16_t MC_usLireChampFixe(uint16_t usNumFichierBinaire, void *pvBuffer, uint32_t ulLongueur);
/* A new NUL-terminated text (MC_Liberer it), handed over even when its characters could not all
 * be read. 0, 0xF640, 0xF801, 0xF802 (length coded on more than 4 bytes).
 * null: ppcTexte 0xF802. */
MC_API uint16_t MC_usLireChaineVariable(uint16_t usNumFichierBinaire, char **ppcTexte);
/* ulNombre 16-bit units as they lie on disk (in the writer's memory order).
 * null: pusBuffer 0xF802 unless ulNombre is 0. */
MC_API uint16_t MC_usLireChampUnicodeFixe(uint16_t usNumFichierBinaire, uint16_t *pusBuffer,
                                          uint32_t ulNombre);

/* Writing, at the end of a file made by MC_usCreerFichierBinaire; 0xF811 on any other file
 * (except MC_usEcrireDouble, which writes into any open file), 0xF610 when the write fails. */
/* A table header (name and record count used); its data size is written later.
 * null: psEnteteTable 0xF802 (after the mode check). */
MC_API uint16_t MC_usEcrireEnteteTable(uint16_t usNumFichierBinaire, const EnteteTable *psEnteteTable);
/* Patches the data size of the table being written. 0, 0xF610, 0xF807, 0xF811. */
MC_API uint16_t MC_usEcrireTaille(uint16_t usNumFichierBinaire);
MC_API uint16_t MC_usEcrireUnsignedChar(uint16_t usNumFichierBinaire, uint8_t ucValeur);
MC_API uint16_t MC_usEcrireSignedChar(uint16_t usNumFichierBinaire, int8_t cValeur);
MC_API uint16_t MC_usEcrireUnsignedShort(uint16_t usNumFichierBinaire, uint16_t usValeur);
MC_API uint16_t MC_usEcrireSignedShort(uint16_t usNumFichierBinaire, int16_t sValeur);
MC_API uint16_t MC_usEcrireUnsignedLong(uint16_t usNumFichierBinaire, uint32_t ulValeur);
MC_API uint16_t MC_usEcrireSignedLong(uint16_t usNumFichierBinaire, int32_t lValeur);
/* Packed decimal; a value with more than 14 integer digits (or not finite) gives 0xF610 and
 * writes nothing. */
MC_API uint16_t MC_usEcrireDouble(uint16_t usNumFichierBinaire, double dValeur);
MC_API uint16_t MC_usEcrireDate(uint16_t usNumFichierBinaire, uint16_t usValeur1, uint8_t ucValeur2,
                                uint8_t ucValeur3);
/* ulLongueur raw bytes. null: pvBuffer 0xF802 (after the mode check) unless ulLongueur is 0. */
MC_API uint16_t MC_usEcrireChampFixe(uint16_t usNumFichierBinaire, const void *pvBuffer,
                                     uint32_t ulLongueur);
/* The length coding and the characters. null: pcTexte ok, written as the single byte 0 (the
 * empty text). */
MC_API uint16_t MC_usEcrireChaineVariable(uint16_t usNumFichierBinaire, const char *pcTexte);
/* ulNombre 16-bit units as they lie in memory (not converted to big-endian).
 * null: pusBuffer 0xF802 (after the mode check) unless ulNombre is 0. */
MC_API uint16_t MC_usEcrireChampUnicodeFixe(uint16_t usNumFichierBinaire, const uint16_t *pusBuffer,
                                            uint32_t ulNombre);

/* ==== end tablefile ==== */



/* ==== signature ==== */

/* RSAREF's sizes, digest identifier and key records, as the signature functions take them. A
 * table file of control type 2 ends with a 128-byte PKCS #1 v1.5 signature over an MD5 digest
 * of the bytes from position 4 on. */
#define MAX_RSA_MODULUS_BITS 1024
#define MAX_RSA_MODULUS_LEN  128
#define MAX_RSA_PRIME_LEN    64
#define DA_MD5 5

/* RSAREF's error codes (RE_*), returned by MC_usVerifierSignatureMessage and
 * MC_usVerifierSignatureFichier, are listed with the result codes above. */

/* Big-endian numbers, right-aligned in their arrays. 260 bytes. */
typedef struct {
  unsigned int bits;                           /* length of the modulus in bits */
  unsigned char modulus[MAX_RSA_MODULUS_LEN];
  unsigned char exponent[MAX_RSA_MODULUS_LEN];
} R_RSA_PUBLIC_KEY;

/* 708 bytes. */
typedef struct {
  unsigned int bits;                                  /* length of the modulus in bits */
  unsigned char modulus[MAX_RSA_MODULUS_LEN];
  unsigned char publicExponent[MAX_RSA_MODULUS_LEN];
  unsigned char exponent[MAX_RSA_MODULUS_LEN];        /* private exponent */
  unsigned char prime[2][MAX_RSA_PRIME_LEN];          /* p, q */
  unsigned char primeExponent[2][MAX_RSA_PRIME_LEN];  /* d mod (p-1), d mod (q-1) */
  unsigned char coefficient[MAX_RSA_PRIME_LEN];       /* inverse of q mod p */
} R_RSA_PRIVATE_KEY;

/* Signs the bytes from position 4 to the end of a written file with the key of the key file and
 * appends the 128-byte signature. 0, 0xF610, 1 (signing failed), a code of the slot lookup.
 * null: pcFichierClePrivee 0xF610 (before the number). */
MC_API uint16_t MC_usEcrireSignatureFichier(uint16_t usNumFichierBinaire,
                                            const char *pcFichierClePrivee);
/* Checks the last 128 bytes of an open file against the bytes from position 4 before them, with
 * the library's public key. 0, 0xF610, or an RSAREF code (RE_SIGNATURE, ...). */
MC_API uint16_t MC_usVerifierSignatureFichier(uint16_t usNumFichierBinaire);
/* The 128-byte signature (MD5, PKCS #1 v1.5) of a message into pucSignature. 0, or 1 on any
 * failure. null: pucSignature 1; pucMessage 1 unless ulLongueur is 0 (the empty message). */
MC_API uint16_t MC_usCalculerSignatureMessage(const unsigned char *pucMessage, uint32_t ulLongueur,
                                              R_RSA_PRIVATE_KEY sClePrivee,
                                              unsigned char *pucSignature);
/* 0 when the 128-byte signature is the message's under the public key; an RSAREF code otherwise.
 * null: pucMessage RE_DATA unless ulLongueur is 0; pucSignature RE_LEN (after the message and key
 * checks). */
MC_API uint16_t MC_usVerifierSignatureMessage(const unsigned char *pucMessage, uint32_t ulLongueur,
                                              R_RSA_PUBLIC_KEY sClePublique,
                                              const unsigned char *pucSignature);
/* Reads a private key file: the decimal bit count directly followed by the raw big-endian fields
 * in the record's order. 0, 0xF610 (cannot be opened or closed), 0xF802 (no record).
 * null: psClePrivee 0xF802; pcFichierClePrivee 0xF610. */
MC_API uint16_t MC_usLireClePrivee(const char *pcFichierClePrivee, R_RSA_PRIVATE_KEY *psClePrivee);
/* A new record of the library's 1024-bit public key (MC_Liberer it), or null when memory is
 * short. */
MC_API R_RSA_PUBLIC_KEY *MC_LireClePublique(void);

/* ==== end signature ==== */



/* ==== dictionary ==== */

/* One group of the dictionary (a row of TGROUPE): its fields are the entries usPremierChamp to
 * usPremierChamp + usNbChamps - 1 of the field table, in zone order. */
typedef struct MC_GroupeDictionnaire {
  uint16_t usCodeGroupe;   /* code the group carries in a memory zone */
  uint16_t usPremierChamp; /* index (from 0) of its first field in the field table */
  uint16_t usNbChamps;     /* number of fields */
} MC_GroupeDictionnaire;

/* One field of the dictionary (a row of TCHAMP). A field is known by its rank in its group. */
typedef struct MC_ChampDictionnaire {
  int32_t lObligatoire;        /* 1: the field must carry a value; anything else: optional */
  uint16_t usLongueurMin;      /* minimum length */
  uint16_t usLongueurMax;      /* maximum length, 0 for none */
  int8_t cType;                /* 'D' date, 'A' alphanumeric, 'L' alphabetic, 'N' numeric */
  int32_t lInformation;        /* stored and handed out, never interpreted by the library */
  uint16_t usPremiereValeur;   /* index (from 0) of its first allowed value in the value table */
  uint16_t usNbValeurs;        /* number of allowed values; 0: any value */
} MC_ChampDictionnaire;

/* The field information record of MC_usDonnerInformationChamp: 17 bytes, no padding, values in
 * the processor's byte order (offsets 0, 4, 6, 8, 9, 13, 15). */
#if defined(__GNUC__) || defined(__clang__)
#define MC_PACKED __attribute__((packed))
#else
#define MC_PACKED
#endif
typedef struct MC_PACKED MC_InformationChamp {
  int32_t lObligatoire;
  uint16_t usLongueurMin;
  uint16_t usLongueurMax;
  int8_t cType;
  int32_t lInformation;
  uint16_t usPremiereValeur;
  uint16_t usNbValeurs;
} MC_InformationChamp;

/* The dictionary, loaded by the first MC_usInitLIB and freed by the last MC_usTermLIB: the group
 * table, the field table and the value table (NUL-terminated strings), with their counts. The
 * three g_ulInd* variables stay 0. */
MC_API extern uint32_t g_ulNbTabGrp;
MC_API extern MC_GroupeDictionnaire *g_stTabGrp;
MC_API extern uint32_t g_ulNbTabChp;
MC_API extern MC_ChampDictionnaire *g_stTabChp;
MC_API extern uint32_t g_ulNbTabVal;
MC_API extern char **g_cTabVal;
MC_API extern uint32_t g_ulIndTabGrp;
MC_API extern uint32_t g_ulIndTabChp;
MC_API extern uint32_t g_ulIndTabVal;

/* A new array of the group codes in table order (MC_Liberer it) and their number.
 * 0; 0xF801 memory short. null: ppusGroupes 0xF801 (kept); pusNbGroupes ok, not stored. */
MC_API uint16_t MC_usDonnerListeGroupes(uint16_t **ppusGroupes, uint16_t *pusNbGroupes);
/* A new array of the 17-byte records of the group's fields (MC_Liberer it) and their number.
 * 0; 0xF805 group absent (or its fields outside the field table); 0xF801.
 * null: ppsInfos 0xF801 (kept; after the group search); pusNbChamps ok, not stored. */
MC_API uint16_t MC_usDonnerInformationChamp(uint16_t usCodeGroupe, MC_InformationChamp **ppsInfos,
                                            uint16_t *pusNbChamps);
/* A new copy of value usNumValeur (from 1) of field usNumChamp (from 1) of the group
 * (MC_Liberer it); the numbers are not checked against the group's counts.
 * 0; 0xF805 group absent or value outside the tables; 0xF801.
 * null: ppcValeur 0xF801 (kept; after the group and value search). */
MC_API uint16_t MC_usDonnerChampValeur(uint16_t usCodeGroupe, uint8_t ucNumChamp,
                                       uint8_t ucNumValeur, char **ppcValeur);

/* format control */
/* Checks the zone against the dictionary after its syntax control: 0; the syntax, cursor or
 * dictionary codes; 0xA000 + g (g-th group unknown), 0xA800 + g (g-th group has another number of
 * fields), 0x9000 + r (the field of rank r, counted over the groups checked, fails its type,
 * length, presence or value check). Ranks and ordinals are added in 16 bits. */
MC_API uint16_t MC_usControlerFormatZoneMemoire(uint16_t usZone);

/* ==== end dictionary ==== */



/* ==== config ==== */

/* INI files. A file name without any "/" is taken in the configuration directory
 * ("/usr/local/norba/etc"); a name with a "/" is used as it is. The reader never fails: a
 * missing file, section or key leaves the default. Section and key names are compared without
 * case and without trimming; names of one character never match. */

/* Copies the value of key in section into buffer (at most size characters and a zero, so the
 * buffer needs size+1 bytes), or the default when absent (a default longer than size keeps
 * size-1 characters). Length of the text in the buffer.
 * null: buffer ok, 0 and nothing written; defaultValue ok, the empty text; section, key,
 * fileName ok, the default kept. */
MC_API int32_t GetIniString(const char *section, const char *key, const char *defaultValue,
                            char *buffer, int32_t size, const char *fileName);
/* The value of key in section as a decimal integer (atoi rules), or defaultValue when absent.
 * null: section, key, fileName ok, defaultValue. */
MC_API int32_t GetIniInt(const char *section, const char *key, int32_t defaultValue,
                         const char *fileName);
/* Sets key in section to value, rewriting the file. 1 written, 0 not written.
 * null: section, key, value, fileName ok, 0 (nothing written). */
MC_API int32_t WriteIniString(const char *section, const char *key, const char *value,
                              const char *fileName);

/* The value of pcCle in pcSection of pcFichier into pcTampon (ulTaille characters at most and a
 * zero), the empty text when absent. Length of the text; 0 and the buffer untouched when the
 * section, the key or the buffer is missing or the size is 0.
 * null: pcSection, pcCle, pcTampon ok, 0 and the buffer untouched; pcFichier ok, the empty text. */
MC_API uint32_t MC_ulLireChaineIni(const char *pcSection, const char *pcCle, char *pcTampon,
                                   uint32_t ulTaille, const char *pcFichier);
/* The value as a decimal integer, -1 when absent. null: pcSection, pcCle, pcFichier ok, -1. */
MC_API int32_t MC_lLireLongIni(const char *pcSection, const char *pcCle, const char *pcFichier);
/* Writes pcCle=pcValeur into pcSection of pcFichier. 1 written, 0 not written.
 * null: pcSection, pcCle, pcValeur, pcFichier ok, 0 (nothing written). */
MC_API int32_t MC_bEcrireChaineIni(const char *pcSection, const char *pcCle, const char *pcValeur,
                                   const char *pcFichier);
/* The same three on the suite's configuration file "norba.ini". null: as for those three. */
MC_API uint32_t MC_ulLireChaineNorba(const char *pcSection, const char *pcCle, char *pcTampon,
                                     uint32_t ulTaille);
MC_API int32_t MC_lLireLongNorba(const char *pcSection, const char *pcCle);
MC_API int32_t MC_bEcrireChaineNorba(const char *pcSection, const char *pcCle,
                                     const char *pcValeur);

/* start-up, shut-down, versions */

/* Declared for the clients; the library never sets them and keeps its directories itself. */
MC_API extern char *pcRepertoireTravail;
MC_API extern char *pcRepertoireTables;

/* The first call of the process reads norba.ini, loads the dictionary from tablebin.tbx, writes
 * the version files 92.adm and 93.adm and hands out two new 5-byte texts: the library's version
 * and the table file's (MC_Liberer them). Later calls only count.
 * 0; 0xFFFB, 0xF680, 0xF620, 0xF640, the file and reader codes; 0xF6F1 no working directory;
 * a version file's code (the library is initialised nevertheless).
 * null: ppcVersionMC, ppcVersionFichier ok, that text not handed out. */
MC_API uint16_t MC_usInitLIB(char **ppcVersionMC, char **ppcVersionFichier);
/* The work of MC_usInitLIB, which only traces and calls it. null: as for MC_usInitLIB. */
MC_API uint16_t MC_usIAInitialisation(char **ppcVersionMC, char **ppcVersionFichier);
/* Counts one client out; the last one frees the dictionary. Always 0. */
MC_API uint16_t MC_usTermLIB(void);

/* A new 256-byte buffer holding the working directory (MC_Liberer it), handed out even when the
 * configuration has none. 0; 0xF6F1 no working directory; 0xFFFB no memory; 0xF802.
 * null: ppcRepertoire 0xF802. */
MC_API uint16_t MC_usDonnerRepertoireTravail(char **ppcRepertoire);
/* Writes the whole text pcVersion into "<component>.adm" in the working directory (ulLongueur
 * is not used). 0; 0xF6F1, 0xFFFB, 0xF6F2 file not created, 0xF610 close failed, 0xF802.
 * null: pcVersion 0xF802. */
MC_API uint16_t MC_usEcrireVersionComposant(uint8_t ucComposant, const char *pcVersion,
                                            uint32_t ulLongueur);
/* A new buffer with the bytes of "<component>.adm" (no terminating zero; MC_Liberer it) and
 * their number. 0; 0xF6F1, 0xFFFB, 0xF610 file absent or unreadable, 0xF801.
 * null: ppcContenu, pulLongueur ok, each not stored (the buffer then given back). */
MC_API uint16_t MC_usLireVersionComposant(uint8_t ucComposant, char **ppcContenu,
                                          uint32_t *pulLongueur);

/* ==== end config ==== */



/* ==== checks ==== */

/* Dates are digit strings YYMMDD (year 0 to 99 as it stands), YYYYMMDD or YYYYMMDDhhmm, or three
 * numbers; Gregorian calendar, years 0 to 9999. Booleans: 1 true, 0 false. */

/* True for a valid date of 6, 8 or 12 digits, and for a string of any other length.
 * null: pcDate must not be null. */
MC_API int32_t MC_bEstDateChaineValide(const char *pcDate);
/* True when year <= 9999, month 1..12 and day within the month. */
MC_API int32_t MC_bEstDateNumeriqueValide(uint16_t usAnnee, uint8_t ucMois, uint8_t ucJour);
/* Date string to numbers. Length 6 fills year, month, day. Lengths 8 and 12 write four 16-bit
 * cells at pusAnnee (the first gets the first digit) and leave month and day alone.
 * null: pcDate, pusAnnee must not be null; pucMois, pucJour must not be null for length 6. */
MC_API int32_t MC_bDateChaineANumerique(const char *pcDate, uint16_t *pusAnnee, uint8_t *pucMois,
                                        uint8_t *pucJour);
/* Writes the date, valid or not, as YYMMDD (7 bytes), YYYYMMDD (9) or YYYYMMDD0000 (13); false
 * for another length. For length 6 a year above 99 keeps its first two printed digits.
 * null: pcDate must not be null (not touched for another length). */
MC_API int32_t MC_bDateNumeriqueAChaine(uint16_t usAnnee, uint8_t ucMois, uint8_t ucJour,
                                        uint8_t ucLongueur, char *pcDate);
/* Writes the value in decimal when below 10 to the power ulNbChiffres in wrapping 32-bit
 * arithmetic (negative values always pass: up to 12 bytes); false, nothing written, otherwise.
 * null: pcChaine must not be null. */
MC_API int32_t MC_bLongAChaine(int32_t lValeur, char *pcChaine, uint32_t ulNbChiffres);

/* Field type codes: 'D' date, 'A' alphanumeric, 'L' alphabetic, 'N' numeric; others pass. */

/* True when every character is a digit (the empty string included). null: pcChaine ok, false. */
MC_API int32_t MC_bEstNumerique(const char *pcChaine);
/* True when every character is a digit, an upper-case letter or a blank.
 * null: pcChaine ok, false. */
MC_API int32_t MC_bEstAlphaNumerique(const char *pcChaine);
/* True when every character is an upper-case letter or a blank. null: pcChaine ok, false. */
MC_API int32_t MC_bEstAlphabetique(const char *pcChaine);
/* True when both strings are given and equal ignoring case.
 * null: pcChaine1, pcChaine2 ok, false. */
MC_API int32_t MC_bCompareChaine(const char *pcChaine1, const char *pcChaine2);
/* True when a copy of the ulLongueur bytes, made in *ppcReduite (MC_Liberer it), passes its type
 * check ('D' as digits only); it is then cut to the length stored in *pulLongueurReduite.
 * null: pcValeur ok when ulLongueur is 0 (the empty value), otherwise false and *ppcReduite
 * null; ppcReduite, pulLongueurReduite must not be null. */
MC_API int32_t MC_bReduireChaineCtrl(const char *pcValeur, char **ppcReduite, uint32_t ulLongueur,
                                     int8_t cType, uint32_t *pulLongueurReduite);
/* The same check in place on a string of ulLongueur characters; 'N' also loses its leading zeros
 * (one digit is kept). On success the string is cut and its new length stored.
 * null: pcChaine ok, false; pulLongueurReduite must not be null. */
MC_API int32_t MC_bReduireChaine(char *pcChaine, uint32_t ulLongueur, int8_t cType,
                                 uint32_t *pulLongueurReduite);
/* The text and its terminating zero as digits, upper case and blanks in *ppcResultat (MC_Liberer
 * it); other characters become blanks (bConserver 0) or are dropped. Length in *pulLongueur.
 * null: pcTexte ok, false and *ppcResultat null (when given); ppcResultat, pulLongueur must not
 * be null. */
MC_API int32_t MC_bConvertirEtenduEnAlpha(const char *pcTexte, char **ppcResultat,
                                          uint32_t *pulLongueur, int32_t bConserver);

/* ==== end checks ==== */

#ifdef __cplusplus
}
#endif

#endif /* MC_H */
