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

/* RSAREF's sizes, digest identifier and key records, as the signature functions take them. A
 * table file of control type 2 ends with a 128-byte PKCS #1 v1.5 signature over an MD5 digest
 * of the bytes from position 4 on. */
#define MAX_RSA_MODULUS_BITS 1024
#define MAX_RSA_MODULUS_LEN  128
#define MAX_RSA_PRIME_LEN    64
#define DA_MD5 5

/* RSAREF's error codes, returned by MC_usVerifierSignatureMessage and MC_usVerifierSignatureFichier. */
#define RE_CONTENT_ENCODING    0x0400u
#define RE_DATA                0x0401u /* missing message bytes */
#define RE_DIGEST_ALGORITHM    0x0402u
#define RE_ENCODING            0x0403u
#define RE_KEY                 0x0404u
#define RE_KEY_ENCODING        0x0405u
#define RE_LEN                 0x0406u /* signature length not the modulus length */
#define RE_MODULUS_LEN         0x0407u
#define RE_NEED_RANDOM         0x0408u
#define RE_PRIVATE_KEY         0x0409u /* private key fields that do not make an RSA key */
#define RE_PUBLIC_KEY          0x040au /* modulus or exponent that do not make an RSA key */
#define RE_SIGNATURE           0x040bu /* signature does not match the message */
#define RE_SIGNATURE_ENCODING  0x040cu
#define RE_ENCRYPTION_ALGORITHM 0x040du

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
 * appends the 128-byte signature. 0, 0xF610, 1 (signing failed), a code of the slot lookup. */
MC_API uint16_t MC_usEcrireSignatureFichier(uint16_t usNumFichierBinaire,
                                            const char *pcFichierClePrivee);
/* Checks the last 128 bytes of an open file against the bytes from position 4 before them, with
 * the library's public key. 0, 0xF610, or an RSAREF code (RE_SIGNATURE, ...). */
MC_API uint16_t MC_usVerifierSignatureFichier(uint16_t usNumFichierBinaire);
/* The 128-byte signature (MD5, PKCS #1 v1.5) of a message into pucSignature. 0, or 1 on any
 * failure. */
MC_API uint16_t MC_usCalculerSignatureMessage(const unsigned char *pucMessage, uint32_t ulLongueur,
                                              R_RSA_PRIVATE_KEY sClePrivee,
                                              unsigned char *pucSignature);
/* 0 when the 128-byte signature is the message's under the public key; an RSAREF code otherwise. */
MC_API uint16_t MC_usVerifierSignatureMessage(const unsigned char *pucMessage, uint32_t ulLongueur,
                                              R_RSA_PUBLIC_KEY sClePublique,
                                              const unsigned char *pucSignature);
/* Reads a private key file: the decimal bit count directly followed by the raw big-endian fields
 * in the record's order. 0, 0xF610 (cannot be opened or closed), 0xF802 (no record). */
MC_API uint16_t MC_usLireClePrivee(const char *pcFichierClePrivee, R_RSA_PRIVATE_KEY *psClePrivee);
/* A new record of the library's 1024-bit public key (MC_Liberer it), or null when memory is
 * short. */
MC_API R_RSA_PUBLIC_KEY *MC_LireClePublique(void);

/* ==== end signature ==== */



/* ==== dictionary ==== */

/* ==== end dictionary ==== */



/* ==== config ==== */

/* ==== end config ==== */



/* ==== checks ==== */

/* ==== end checks ==== */

#ifdef __cplusplus
}
#endif

#endif /* MC_H */
