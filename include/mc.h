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
 * 0; 0xF801 when ppusGroupes is null or memory is short. */
MC_API uint16_t MC_usDonnerListeGroupes(uint16_t **ppusGroupes, uint16_t *pusNbGroupes);
/* A new array of the 17-byte records of the group's fields (MC_Liberer it) and their number.
 * 0; 0xF805 group absent (or its fields outside the field table); 0xF801 ppsInfos null. */
MC_API uint16_t MC_usDonnerInformationChamp(uint16_t usCodeGroupe, MC_InformationChamp **ppsInfos,
                                            uint16_t *pusNbChamps);
/* A new copy of value usNumValeur (from 1) of field usNumChamp (from 1) of the group
 * (MC_Liberer it); the numbers are not checked against the group's counts.
 * 0; 0xF805 group absent or value outside the tables; 0xF801 ppcValeur null. */
MC_API uint16_t MC_usDonnerChampValeur(uint16_t usCodeGroupe, uint8_t ucNumChamp,
                                       uint8_t ucNumValeur, char **ppcValeur);

/* ==== end dictionary ==== */



/* ==== config ==== */

/* INI files. A file name without any "/" is taken in the configuration directory
 * ("/usr/local/norba/etc"); a name with a "/" is used as it is. The reader never fails: a
 * missing file, section or key leaves the default. Section and key names are compared without
 * case and without trimming; names of one character never match. */

/* Copies the value of key in section into buffer (at most size characters and a zero, so the
 * buffer needs size+1 bytes), or the default when absent. Length of the text in the buffer. */
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

/* start-up, shut-down, versions */

/* Declared for the clients; the library never sets them and keeps its directories itself. */
MC_API extern char *pcRepertoireTravail;
MC_API extern char *pcRepertoireTables;

/* The first call of the process reads norba.ini, loads the dictionary from tablebin.tbx, writes
 * the version files 92.adm and 93.adm and hands out two new 5-byte texts: the library's version
 * and the table file's (MC_Liberer them). Later calls only count.
 * 0; 0xFFFB, 0xF680, 0xF620, 0xF640, the file and reader codes; 0xF6F1 no working directory;
 * a version file's code (the library is initialised nevertheless). */
MC_API uint16_t MC_usInitLIB(char **ppcVersionMC, char **ppcVersionFichier);
/* The work of MC_usInitLIB, which only traces and calls it. */
MC_API uint16_t MC_usIAInitialisation(char **ppcVersionMC, char **ppcVersionFichier);
/* Counts one client out; the last one frees the dictionary. Always 0. */
MC_API uint16_t MC_usTermLIB(void);

/* A new 256-byte buffer holding the working directory (MC_Liberer it), handed out even when the
 * configuration has none. 0; 0xF6F1 no working directory; 0xFFFB no memory; 0xF802 null. */
MC_API uint16_t MC_usDonnerRepertoireTravail(char **ppcRepertoire);
/* Writes the whole text pcVersion into "<component>.adm" in the working directory (ulLongueur
 * is not used). 0; 0xF6F1, 0xFFFB, 0xF6F2 file not created, 0xF610 close failed, 0xF802. */
MC_API uint16_t MC_usEcrireVersionComposant(uint8_t ucComposant, const char *pcVersion,
                                            uint32_t ulLongueur);
/* A new buffer with the bytes of "<component>.adm" (no terminating zero; MC_Liberer it) and
 * their number. 0; 0xF6F1, 0xFFFB, 0xF610 file absent or unreadable, 0xF801. */
MC_API uint16_t MC_usLireVersionComposant(uint8_t ucComposant, char **ppcContenu,
                                          uint32_t *pulLongueur);

/* ==== end config ==== */



/* ==== checks ==== */

/* ==== end checks ==== */

#ifdef __cplusplus
}
#endif

#endif /* MC_H */
