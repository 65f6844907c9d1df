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

/* Result codes. */
#define MC_CR_OK                 0x0000u /* success */
#define MC_CR_UN                 0x0001u /* bare failure value of a few operations */
#define MC_ERR_FICHIER           0xF610u /* file cannot be opened, positioned, read, written, closed */
#define MC_ERR_VERSION           0xF620u /* library and dictionary table file versions differ */
#define MC_ERR_CONTROLE          0xF630u /* CRC16 or signature of a file does not match */
#define MC_ERR_FIN_FICHIER       0xF640u /* read past the end of a table file; foreign table */
#define MC_ERR_NOM_FICHIER       0xF660u /* file name in a table file header differs */
#define MC_ERR_REP_TABLES        0xF680u /* table directory absent from the configuration */
#define MC_ERR_REP_TRAVAIL       0xF6F1u /* working directory absent from the configuration */
#define MC_ERR_FICHIER_VERSION   0xF6F2u /* component version file cannot be named or created */
#define MC_ERR_POINTEUR          0xF800u /* pointer to the binary file number missing */
#define MC_ERR_MEMOIRE           0xF801u /* allocation failed, no free number, resize too small */
#define MC_ERR_ARGUMENT          0xF802u /* bad argument */
#define MC_ERR_DEPASSEMENT       0xF804u /* access or edit beyond a zone's allocated size */
#define MC_ERR_FIN               0xF805u /* end reached, identifier absent, not found */
#define MC_ERR_OCCURRENCE        0xF806u /* group present with fewer occurrences than asked */
#define MC_ERR_NUMERO            0xF807u /* zone or binary file number invalid or unused */
#define MC_ERR_SLOTS             0xF80Au /* all 100 file slots taken */
#define MC_ERR_SYNTAXE           0xF810u /* malformed zone data */
#define MC_ERR_TYPE              0xF811u /* zone of the wrong kind; file not in the right mode */
#define MC_ERR_TRACE_NUMERO      0xD000u /* module 1 registered with a trace number outside 1..8 */
#define MC_ERR_TRACE_OUVERTURE   0xD201u /* trace file cannot be opened */
#define MC_ERR_TRACE_PLEINE      0xD202u /* trace registration table full */
#define MC_ERR_CONFIG            0xFFFBu /* configuration buffer not allocated */
#define MC_ERR_CHAMP_POSITION    0xFFFEu /* position or piece outside the current field */
#define MC_ERR_SYSTEME           0xFFFFu /* seek back failed; closing the trace file failed */
#define MC_ERR_GROUPE_INCONNU    0xA000u /* + g: the g-th group is unknown to the dictionary */
#define MC_ERR_NOMBRE_CHAMPS     0xA800u /* + g: the g-th group has another number of fields */
#define MC_ERR_FORMAT_CHAMP      0x9000u /* + r: the field of rank r fails its check */

/* ==== runtime ==== */

/* Trace kinds, third argument of MC_TraceEcrire. */
#define MC_TRACE_HORODATAGE 0u /* dated free line, written whenever the file is open */
#define MC_TRACE_APPEL      1u /* a call recorded in one go */
#define MC_TRACE_ENTREE     2u /* function entry: opens a brace, one level deeper */
#define MC_TRACE_SORTIE     3u /* function exit: closes the brace */
#define MC_TRACE_DETAIL     4u /* a detail line */
#define MC_TRACE_ERREUR     5u /* an error line, "ERREUR : " and the message */

/* Opens the trace file (modes "w", "wb", "a", "ab") if none is open and registers the pair
 * (module, trace) at level 1 or 2; level 0 closes the file and forgets every pair.
 * 0, 0xF802, 0xD201, 0xD202, 0xD000, 0xFFFF. */
MC_API uint16_t MC_usActiverTrace(const char *pcFichier, const char *pcMode, uint16_t usModule,
                                  uint16_t usTrace, uint8_t ucNiveau);
/* True while the trace file is open. */
MC_API int32_t MC_bTraceActive(void);
/* Writes one trace line of the given kind if the pair is registered and visible. */
MC_API void MC_TraceEcrire(uint16_t usModule, uint16_t usTrace, uint16_t usType,
                           const char *pcFormat, ...) MC_PRINTF(4, 5);
/* MC_TraceEcrire with an already started argument list. */
MC_API void MC_TraceEcrire2(uint16_t usModule, uint16_t usTrace, uint16_t usType,
                            const char *pcFormat, va_list vaArguments) MC_PRINTF(4, 0);
/* One line "name[i] = 0xhh" a byte, for a pair registered at level 2. */
MC_API void MC_TraceEcrireBinaire(uint16_t usModule, uint16_t usTrace, const char *pcNom,
                                  const unsigned char *pucDonnees, uint16_t usLongueur);
/* Opens the trace stream into *ppFichier unless it is already open. 0, 0xF802, 0xD201. */
MC_API uint16_t MC_usOuvrirTrace(const char *pcFichier, const char *pcMode, FILE **ppFichier);
/* Writes the end marker and closes the trace file; the close function's result. */
MC_API uint16_t MC_usFermerTrace(void);
/* Empties the registration table. */
MC_API void MC_InitialiserTraces(void);
/* True and the index of the pair when it is registered. */
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
/* Gives back a block from MC_Allouer; null is ignored. */
MC_API void MC_Liberer(void *pvBloc);
/* Length of an open stream, its position left unchanged. 0, 0xF610, 0xFFFF. */
MC_API uint16_t MC_usLongueurFichier(FILE *psFichier, uint32_t *pulLongueur);
/* A new string "directory/name" (MC_Liberer it). 0, 0xF801. */
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

/* Writes the coded length at offset in *ppucBuffer (no bound checked); the bytes written, 1 to 5. */
MC_API uint32_t MC_stCoderLongueur(uint32_t ulLongueur, uint32_t ulOffset,
                                   unsigned char **ppucBuffer);
/* Writes a group header (identifier high byte first, coded length); the bytes written, 3 to 7. */
MC_API uint32_t MC_stCoderEnteteGroupe(uint16_t usIdentifiant, uint32_t ulLongueur,
                                       uint32_t ulOffset, unsigned char **ppucBuffer);
/* Reads the length coded at offset, and its size in bytes, within ulTailleBuffer bytes.
 * 0, 0xF810. */
MC_API uint32_t MC_stDecoderLongueur(const unsigned char *pucBuffer, uint32_t ulTailleBuffer,
                                     uint32_t ulOffset, uint32_t *pulLongueur,
                                     uint32_t *pulNbOctets);
/* Reads the group header at offset: identifier, body length, whole header size. 0, 0xF810. */
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

/* True and the lowest free zone number stored; false when all 100 are taken. */
MC_API int32_t MC_bRechercherZoneLibre(uint16_t *pusZone);
/* A new zone of ulTaille bytes (at least 1), cleared, structured when the flag is non-zero.
 * 0, 0xF801, 0xF802 (null number pointer). */
MC_API uint16_t MC_usCreerZoneMemoire(uint32_t ulTaille, uint32_t ulStructuree, uint16_t *pusZone);
/* A zone over the caller's buffer, full of data (not copied). 0, 0xF801, 0xF802. */
MC_API uint16_t MC_usInitialiserZoneMemoire(unsigned char *pucBuffer, uint32_t ulTaille,
                                            uint16_t *pusZone, uint32_t ulStructuree);
/* A zone over the caller's buffer holding ulTailleDonnees bytes of data; a data length above
 * ulTaille is refused. 0, 0xF801, 0xF802. */
MC_API uint16_t MC_usInitialiserZoneMemoireNonPlein(unsigned char *pucBuffer, uint32_t ulTaille,
                                                    uint32_t ulTailleDonnees, uint16_t *pusZone,
                                                    uint32_t ulStructuree);
/* Frees the descriptor and the number; never the buffer (take it with MC_pucLireBuffer).
 * 0, 0xF807. */
MC_API uint16_t MC_usLibererZoneMemoire(uint16_t usZone);
/* Moves the data into a new buffer of ulTaille bytes, not below the allocated size, and frees
 * the old buffer. 0, 0xF801, 0xF807. */
MC_API uint16_t MC_usRedimensionner(uint16_t usZone, uint32_t ulTaille);
/* Stores the data length and the buffer address of a zone of either kind. 0, 0xF802, 0xF807. */
MC_API uint16_t MC_pucLireBuffer(uint16_t usZone, uint32_t *pulTaille, unsigned char **ppucBuffer);
/* Raw zones: copies ulLongueur bytes from ulPosition to *ppucDestination, within the allocated
 * size. 0, 0xF802, 0xF804, 0xF807, 0xF811. */
MC_API uint16_t MC_usLireZoneMemoire(uint16_t usZone, uint32_t ulPosition,
                                     unsigned char **ppucDestination, uint32_t ulLongueur);
/* Raw zones: copies ulLongueur bytes in at ulPosition, within the allocated size; the data
 * length grows to cover them. 0, 0xF802, 0xF804, 0xF807, 0xF811. */
MC_API uint16_t MC_usEcrireZoneMemoire(uint16_t usZone, uint32_t ulPosition,
                                       const unsigned char *pucSource, uint32_t ulLongueur);

/* Cursor and search, structured zones only: every function gives 0xF807 for a number above 99
 * or unused and 0xF811 for a raw zone. Data addresses point into the zone's buffer. */

/* Puts the cursor at the start, before the first group; counters back to 0. 0. */
MC_API uint16_t MC_usPositionnerDebut(uint16_t usZone);
/* Puts the cursor on the last field of the last group. 0 whatever ends the walk. */
MC_API uint16_t MC_usPositionnerFin(uint16_t usZone, uint32_t ulParcoursChamps);
/* True when no group follows the current one. 0, 0xF802. */
MC_API uint16_t MC_usFinZone(uint16_t usZone, uint32_t *pulFin);
/* True when the current field ends at the end of the data. 0, 0xF802. */
MC_API uint16_t MC_usFinDonnees(uint16_t usZone, uint32_t *pulFin);
/* True when no field follows the current one in its group. 0, 0xF802. */
MC_API uint16_t MC_usFinGroupe(uint16_t usZone, uint32_t *pulFin);
/* Advances usNombre groups (0 acts as 1), counting the fields passed when the flag is set;
 * stores the identifier. 0, 0xF805, 0xF810. */
MC_API uint16_t MC_usAvancerGroupeSuivant(uint16_t usZone, uint16_t usNombre,
                                          uint32_t ulParcoursChamps, uint16_t *pusIdentifiant);
/* Advances usNombre fields (0 acts as 1) in the current group; stores the field number, the
 * data address and the length. 0, 0xF805, 0xF810. */
MC_API uint16_t MC_usAvancerChampSuivant(uint16_t usZone, uint16_t usNombre, uint16_t *pusNumero,
                                         unsigned char **ppucDonnees, uint32_t *pulLongueur);
/* From the start, the usOccurrence-th group of that identifier. 0, 0xF802, 0xF805 (absent),
 * 0xF806 (fewer occurrences), 0xF810. */
MC_API uint16_t MC_usRechercherGroupe(uint16_t usZone, uint16_t usIdentifiant,
                                      uint16_t usOccurrence, uint32_t ulParcoursChamps);
/* The same search from after the current group, without trace. 0, 0xF805, 0xF806, 0xF810. */
MC_API uint16_t MC_usRechercherGroupeSuivant(uint16_t usZone, uint16_t usIdentifiant,
                                             uint16_t usOccurrence, uint32_t ulParcoursChamps);
/* Field usNumero of the usOccurrenceGroupe-th group of that identifier: its data address and
 * length. 0, 0xF802, 0xF805, 0xF806, 0xF810. */
MC_API uint16_t MC_usRechercherChamp(uint16_t usZone, uint16_t usIdentifiant,
                                     uint16_t usOccurrenceGroupe, uint16_t usNumero,
                                     uint32_t ulParcoursChamps, unsigned char **ppucDonnees,
                                     uint32_t *pulLongueur);
/* Moves onto the next group; stores its identifier and which occurrence of it it is (0 from
 * the start, cursor unmoved). 0, 0xF805, 0xF810. */
MC_API uint16_t MC_usLireGroupeSuivant(uint16_t usZone, uint32_t ulParcoursChamps,
                                       uint16_t *pusIdentifiant, uint16_t *pusOccurrence);
/* Groups passed or added since the start. 0, 0xF802. */
MC_API uint16_t MC_usLireCompteurGroupe(uint16_t usZone, uint16_t *pusCompteur);
/* Fields passed or added since the start. 0, 0xF802. */
MC_API uint16_t MC_usLireCompteurChamp(uint16_t usZone, uint16_t *pusCompteur);

/* Editing at the cursor, structured zones only (0xF807, 0xF811 as above). The buffer never
 * grows by itself: an edit that does not fit gives 0xF804 and changes nothing. */

/* Inserts an empty group after the current one; the cursor on it. 0, 0xF804, 0xF810. */
MC_API uint16_t MC_usAjouterGroupe(uint16_t usZone, uint16_t usIdentifiant);
/* Inserts a field after the current field of the current group; the cursor on it.
 * 0, 0xF802, 0xF804, 0xF805 (no group, or identifier 0), 0xF810. */
MC_API uint16_t MC_usAjouterChamp(uint16_t usZone, const unsigned char *pucDonnees,
                                  uint32_t ulLongueur);
/* Writes ulLongueur bytes into the current field from ulPosition, lengthening it when the flag
 * allows. 0, 0xF802, 0xF804, 0xF805 (no current field), 0xF810, 0xFFFE. */
MC_API uint16_t MC_usModifierChamp(uint16_t usZone, const unsigned char *pucDonnees,
                                   uint32_t ulPosition, uint32_t ulLongueur,
                                   uint32_t ulAgrandissement);
/* Stores the address of ulLongueur bytes of the current field from ulPosition (no copy).
 * 0, 0xF802, 0xF805 (no current field), 0xF810, 0xFFFE. */
MC_API uint16_t MC_usExtraireChamp(uint16_t usZone, unsigned char **ppucDonnees,
                                   uint32_t ulPosition, uint32_t ulLongueur);

/* ==== end zone ==== */



/* ==== tablefile ==== */

/* ==== end tablefile ==== */



/* ==== signature ==== */

/* ==== end signature ==== */



/* ==== dictionary ==== */

/* ==== end dictionary ==== */



/* ==== config ==== */

/* ==== end config ==== */



/* ==== checks ==== */

/* Dates are digit strings YYMMDD (year 0 to 99 as it stands), YYYYMMDD or YYYYMMDDhhmm, or three
 * numbers; Gregorian calendar, years 0 to 9999. Booleans: 1 true, 0 false. */

/* True for a valid date of 6, 8 or 12 digits, and for a string of any other length. */
MC_API int32_t MC_bEstDateChaineValide(const char *pcDate);
/* True when year <= 9999, month 1..12 and day within the month. */
MC_API int32_t MC_bEstDateNumeriqueValide(uint16_t usAnnee, uint8_t ucMois, uint8_t ucJour);
/* Date string to numbers. Length 6 fills year, month, day. Lengths 8 and 12 write four 16-bit
 * cells at pusAnnee (the first gets the first digit) and leave month and day alone. */
MC_API int32_t MC_bDateChaineANumerique(const char *pcDate, uint16_t *pusAnnee, uint8_t *pucMois,
                                        uint8_t *pucJour);
/* Writes the date, valid or not, as YYMMDD (7 bytes), YYYYMMDD (9) or YYYYMMDD0000 (13); false
 * for another length. For length 6 a year above 99 keeps its first two printed digits. */
MC_API int32_t MC_bDateNumeriqueAChaine(uint16_t usAnnee, uint8_t ucMois, uint8_t ucJour,
                                        uint8_t ucLongueur, char *pcDate);
/* Writes the value in decimal when below 10 to the power ulNbChiffres in wrapping 32-bit
 * arithmetic (negative values always pass: up to 12 bytes); false, nothing written, otherwise. */
MC_API int32_t MC_bLongAChaine(int32_t lValeur, char *pcChaine, uint32_t ulNbChiffres);

/* Field type codes: 'D' date, 'A' alphanumeric, 'L' alphabetic, 'N' numeric; others pass. */

/* True when every character is a digit (the empty string included). */
MC_API int32_t MC_bEstNumerique(const char *pcChaine);
/* True when every character is a digit, an upper-case letter or a blank. */
MC_API int32_t MC_bEstAlphaNumerique(const char *pcChaine);
/* True when every character is an upper-case letter or a blank. */
MC_API int32_t MC_bEstAlphabetique(const char *pcChaine);
/* True when both strings are given and equal ignoring case. */
MC_API int32_t MC_bCompareChaine(const char *pcChaine1, const char *pcChaine2);
/* True when a copy of the ulLongueur bytes, made in *ppcReduite (MC_Liberer it), passes its type
 * check ('D' as digits only); it is then cut to the length stored in *pulLongueurReduite. */
MC_API int32_t MC_bReduireChaineCtrl(const char *pcValeur, char **ppcReduite, uint32_t ulLongueur,
                                     int8_t cType, uint32_t *pulLongueurReduite);
/* The same check in place on a string of ulLongueur characters; 'N' also loses its leading zeros
 * (one digit is kept). On success the string is cut and its new length stored. */
MC_API int32_t MC_bReduireChaine(char *pcChaine, uint32_t ulLongueur, int8_t cType,
                                 uint32_t *pulLongueurReduite);
/* The text and its terminating zero as digits, upper case and blanks in *ppcResultat (MC_Liberer
 * it); other characters become blanks (bConserver 0) or are dropped. Length in *pulLongueur. */
MC_API int32_t MC_bConvertirEtenduEnAlpha(const char *pcTexte, char **ppcResultat,
                                          uint32_t *pulLongueur, int32_t bConserver);

/* ==== end checks ==== */

#ifdef __cplusplus
}
#endif

#endif /* MC_H */
