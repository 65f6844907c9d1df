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

/* ==== end zone ==== */



/* ==== tablefile ==== */

/* ==== end tablefile ==== */



/* ==== signature ==== */

/* ==== end signature ==== */



/* ==== dictionary ==== */

/* ==== end dictionary ==== */



/* ==== config ==== */

/* INI files. A file name without any "/" is taken in the configuration directory
 * ("/usr/local/norba/etc"); a name with a "/" is used as it is. The reader never fails: a
 * missing file, section or key leaves the default. Section and key names are compared without
 * case and without trimming; names of one character never match. */

/* Copies the value of key in section into buffer (at most size characters and a zero, so the
 * buffer needs size+1 bytes), or the default when absent (a default longer than size keeps
 * size-1 characters). Length of the text in the buffer. */
MC_API int32_t GetIniString(const char *section, const char *key, const char *defaultValue,
                            char *buffer, int32_t size, const char *fileName);
/* The value of key in section as a decimal integer (atoi rules), or defaultValue when absent. */
MC_API int32_t GetIniInt(const char *section, const char *key, int32_t defaultValue,
                         const char *fileName);
/* Sets key in section to value, rewriting the file. 1 written, 0 not written. */
MC_API int32_t WriteIniString(const char *section, const char *key, const char *value,
                              const char *fileName);

/* The value of pcCle in pcSection of pcFichier into pcTampon (ulTaille characters at most and a
 * zero), the empty text when absent. Length of the text; 0 and the buffer untouched when the
 * section, the key or the buffer is missing or the size is 0. */
MC_API uint32_t MC_ulLireChaineIni(const char *pcSection, const char *pcCle, char *pcTampon,
                                   uint32_t ulTaille, const char *pcFichier);
/* The value as a decimal integer, -1 when absent. */
MC_API int32_t MC_lLireLongIni(const char *pcSection, const char *pcCle, const char *pcFichier);
/* Writes pcCle=pcValeur into pcSection of pcFichier. 1 written, 0 not written. */
MC_API int32_t MC_bEcrireChaineIni(const char *pcSection, const char *pcCle, const char *pcValeur,
                                   const char *pcFichier);
/* The same three on the suite's configuration file "norba.ini". */
MC_API uint32_t MC_ulLireChaineNorba(const char *pcSection, const char *pcCle, char *pcTampon,
                                     uint32_t ulTaille);
MC_API int32_t MC_lLireLongNorba(const char *pcSection, const char *pcCle);
MC_API int32_t MC_bEcrireChaineNorba(const char *pcSection, const char *pcCle,
                                     const char *pcValeur);

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
