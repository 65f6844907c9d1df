// mcoutils_date.cpp -- date checks and conversions between digit strings and numbers, and a
// number written under a digit limit.
#include <cstdio>
#include <cstring>

#include "checks/mcoutils.h"
#include "runtime/mctrace.h"

namespace {

constexpr uint16_t kAnneeMax = 9999;
constexpr uint8_t kHeureMax = 23;
constexpr uint8_t kMinuteMax = 59;

bool est_bissextile(uint16_t usAnnee) {
  return usAnnee % 400 == 0 || (usAnnee % 4 == 0 && usAnnee % 100 != 0);
}

uint8_t jours_du_mois(uint16_t usAnnee, uint8_t ucMois) {
  switch (ucMois) {
    case 4:
    case 6:
    case 9:
    case 11:
      return 30;
    case 2:
      return est_bissextile(usAnnee) ? 29 : 28;
    default:
      return 31;
  }
}

// Year, month and day rules shared by the string and the numeric checks.
bool date_calendaire(uint16_t usAnnee, uint8_t ucMois, uint8_t ucJour) {
  return usAnnee <= kAnneeMax && ucMois >= 1 && ucMois <= 12 && ucJour >= 1 &&
         ucJour <= jours_du_mois(usAnnee, ucMois);
}

bool est_chiffre(char c) { return c >= '0' && c <= '9'; }

// True when the first n characters are digits; stops at the first that is not (the terminating
// zero of a shorter string included).
bool que_des_chiffres(const char* pcDate, size_t n) {
  for (size_t i = 0; i < n; ++i) {
    if (!est_chiffre(pcDate[i])) {
      return false;
    }
  }
  return true;
}

unsigned valeur(const char* pc, size_t n) {
  unsigned v = 0;
  for (size_t i = 0; i < n; ++i) {
    v = v * 10 + static_cast<unsigned>(pc[i] - '0');
  }
  return v;
}

struct DateChaine {
  uint16_t usAnnee;
  uint8_t ucMois;
  uint8_t ucJour;
  uint8_t ucHeure;
  uint8_t ucMinute;
};

// Fields of a digit string whose year takes ucChiffresAnnee digits; hour and minute only when
// bHoraire is set.
DateChaine lire_date(const char* pcDate, size_t ulChiffresAnnee, bool bHoraire) {
  const char* pc = pcDate + ulChiffresAnnee;
  DateChaine d{static_cast<uint16_t>(valeur(pcDate, ulChiffresAnnee)),
               static_cast<uint8_t>(valeur(pc, 2)), static_cast<uint8_t>(valeur(pc + 2, 2)), 0,
               0};
  if (bHoraire) {
    d.ucHeure = static_cast<uint8_t>(valeur(pc + 4, 2));
    d.ucMinute = static_cast<uint8_t>(valeur(pc + 6, 2));
  }
  return d;
}

}  // namespace

namespace mc {

int32_t bOUTILSEstDate6(const char* pcDate) {
  MC_TRACE(mc::kModule, mc::kTrcOutils, MC_TRACE_ENTREE, "bOUTILSEstDate6");
  int32_t bResultat = 0;
  if (que_des_chiffres(pcDate, 6)) {
    const DateChaine d = lire_date(pcDate, 2, false);
    bResultat = bOUTILSEstDateValide(d.usAnnee, d.ucMois, d.ucJour, 0, 0);
  }
  MC_TRACE(mc::kModule, mc::kTrcOutils, MC_TRACE_DETAIL, "bResultat = 0x%04x",
           static_cast<unsigned>(bResultat));
  MC_TRACE(mc::kModule, mc::kTrcOutils, MC_TRACE_SORTIE, "bOUTILSEstDate6");
  return bResultat;
}

int32_t bOUTILSEstDate8(const char* pcDate) {
  MC_TRACE(mc::kModule, mc::kTrcOutils, MC_TRACE_ENTREE, "bOUTILSEstDate8");
  int32_t bResultat = 0;
  if (que_des_chiffres(pcDate, 8)) {
    const DateChaine d = lire_date(pcDate, 4, false);
    MC_TRACE(mc::kModule, mc::kTrcOutils, MC_TRACE_DETAIL, "date = %02u/%02u/%04u",
             static_cast<unsigned>(d.ucJour), static_cast<unsigned>(d.ucMois),
             static_cast<unsigned>(d.usAnnee));
    bResultat = bOUTILSEstDateValide(d.usAnnee, d.ucMois, d.ucJour, 0, 0);
  }
  MC_TRACE(mc::kModule, mc::kTrcOutils, MC_TRACE_DETAIL, "bResultat = 0x%04x",
           static_cast<unsigned>(bResultat));
  // Kept: the exit line carries the name of the 6-digit check.
  MC_TRACE(mc::kModule, mc::kTrcOutils, MC_TRACE_SORTIE, "bOUTILSEstDate6");
  return bResultat;
}

int32_t bOUTILSEstDate12(const char* pcDate) {
  MC_TRACE(mc::kModule, mc::kTrcOutils, MC_TRACE_ENTREE, "bOUTILSEstDate12");
  int32_t bResultat = 0;
  if (que_des_chiffres(pcDate, 12)) {
    const DateChaine d = lire_date(pcDate, 4, true);
    MC_TRACE(mc::kModule, mc::kTrcOutils, MC_TRACE_DETAIL, "date = %u/%u/%u",
             static_cast<unsigned>(d.ucJour), static_cast<unsigned>(d.ucMois),
             static_cast<unsigned>(d.usAnnee));
    MC_TRACE(mc::kModule, mc::kTrcOutils, MC_TRACE_DETAIL, "heure = %u:%u",
             static_cast<unsigned>(d.ucHeure), static_cast<unsigned>(d.ucMinute));
    bResultat = bOUTILSEstDateValide(d.usAnnee, d.ucMois, d.ucJour, d.ucHeure, d.ucMinute);
  }
  MC_TRACE(mc::kModule, mc::kTrcOutils, MC_TRACE_DETAIL, "bResultat = 0x%04x",
           static_cast<unsigned>(bResultat));
  MC_TRACE(mc::kModule, mc::kTrcOutils, MC_TRACE_SORTIE, "bOUTILSEstDate12");
  return bResultat;
}

int32_t bOUTILSEstDateValide(uint16_t usAnnee, uint8_t ucMois, uint8_t ucJour, uint8_t ucHeure,
                             uint8_t ucMinute) {
  MC_TRACE(mc::kModule, mc::kTrcOutils, MC_TRACE_ENTREE, "bOUTILSEstDateValide");
  MC_TRACE(mc::kModule, mc::kTrcOutils, MC_TRACE_DETAIL, "date = %02u/%02u/%04u, %02u:%02u",
           static_cast<unsigned>(ucJour), static_cast<unsigned>(ucMois),
           static_cast<unsigned>(usAnnee), static_cast<unsigned>(ucHeure),
           static_cast<unsigned>(ucMinute));
  int32_t bResultat = 0;
  if (date_calendaire(usAnnee, ucMois, ucJour)) {
    bResultat = (ucHeure <= kHeureMax && ucMinute <= kMinuteMax) ? 1 : 0;
  }
  MC_TRACE(mc::kModule, mc::kTrcOutils, MC_TRACE_DETAIL,
           bResultat != 0 ? "Date valide" : "Date invalide");
  MC_TRACE(mc::kModule, mc::kTrcOutils, MC_TRACE_DETAIL, "bResultat = 0x%04x",
           static_cast<unsigned>(bResultat));
  MC_TRACE(mc::kModule, mc::kTrcOutils, MC_TRACE_SORTIE, "bOUTILSEstDateValide");
  return bResultat;
}

}  // namespace mc

bool mc::date_valide(const char* pcDate, uint16_t usLongueur) {
  if (usLongueur != 6 && usLongueur != 8 && usLongueur != 12) {
    return true;
  }
  if (!que_des_chiffres(pcDate, usLongueur)) {
    return false;
  }
  const auto chiffres = [pcDate](size_t i) {
    return static_cast<unsigned>((pcDate[i] - '0') * 10 + (pcDate[i + 1] - '0'));
  };
  const size_t ulAnnee = usLongueur == 6 ? 2 : 4;
  const unsigned uAnnee = usLongueur == 6 ? chiffres(0) : chiffres(0) * 100 + chiffres(2);
  const bool bHoraire = usLongueur == 12;
  return date_calendaire(static_cast<uint16_t>(uAnnee), static_cast<uint8_t>(chiffres(ulAnnee)),
                         static_cast<uint8_t>(chiffres(ulAnnee + 2))) &&
         (!bHoraire || (chiffres(8) <= kHeureMax && chiffres(10) <= kMinuteMax));
}

int32_t mc::date_selon_longueur(const char* pcDate, uint16_t usLongueur) {
  switch (usLongueur) {
    case 6:
      return bOUTILSEstDate6(pcDate);
    case 8:
      return bOUTILSEstDate8(pcDate);
    case 12:
      return bOUTILSEstDate12(pcDate);
    default:
      // Kept: a string of any other length, the empty string included, is not rejected here.
      return 1;
  }
}

extern "C" MC_API int32_t MC_bEstDateChaineValide(const char* pcDate) {
  MC_TRACE(mc::kModule, mc::kTrcOutils, MC_TRACE_ENTREE, "MC_bEstDateChaineValide");
  const auto sLongueurDate = static_cast<uint16_t>(strlen(pcDate));
  MC_TRACE(mc::kModule, mc::kTrcOutils, MC_TRACE_DETAIL, "sLongueurDate= %u",
           static_cast<unsigned>(sLongueurDate));
  for (uint16_t i = 0; i < sLongueurDate; ++i) {
    MC_TRACE(mc::kModule, mc::kTrcOutils, MC_TRACE_DETAIL, "pcDate[i]= %u",
             static_cast<unsigned>(static_cast<unsigned char>(pcDate[i])));
  }
  const int32_t bResultat = mc::date_selon_longueur(pcDate, sLongueurDate);
  MC_TRACE(mc::kModule, mc::kTrcOutils, MC_TRACE_SORTIE, "MC_bEstDateChaineValide");
  return bResultat;
}

extern "C" MC_API int32_t MC_bEstDateNumeriqueValide(uint16_t usAnnee, uint8_t ucMois,
                                                     uint8_t ucJour) {
  MC_TRACE(mc::kModule, mc::kTrcOutils, MC_TRACE_ENTREE, "MC_bEstDateNumeriqueValide");
  MC_TRACE(mc::kModule, mc::kTrcOutils, MC_TRACE_DETAIL, "date = %02u/%02u/%04u",
           static_cast<unsigned>(ucJour), static_cast<unsigned>(ucMois),
           static_cast<unsigned>(usAnnee));
  const int32_t bResultat = date_calendaire(usAnnee, ucMois, ucJour) ? 1 : 0;
  MC_TRACE(mc::kModule, mc::kTrcOutils, MC_TRACE_DETAIL,
           bResultat != 0 ? "Date valide" : "Date invalide");
  MC_TRACE(mc::kModule, mc::kTrcOutils, MC_TRACE_DETAIL, "bResultat = 0x%04x",
           static_cast<unsigned>(bResultat));
  MC_TRACE(mc::kModule, mc::kTrcOutils, MC_TRACE_SORTIE, "MC_bEstDateNumeriqueValide");
  return bResultat;
}

extern "C" MC_API int32_t MC_bDateChaineANumerique(const char* pcDate, uint16_t* pusAnnee,
                                                   uint8_t* pucMois, uint8_t* pucJour) {
  MC_TRACE(mc::kModule, mc::kTrcOutils, MC_TRACE_ENTREE, "MC_bDateChaineANumerique");
  *pusAnnee = 0;
  int32_t bResultat = MC_bEstDateChaineValide(pcDate);
  if (bResultat != 0) {
    switch (strlen(pcDate)) {
      case 6:
        *pusAnnee = static_cast<uint16_t>(valeur(pcDate, 2));
        *pucMois = static_cast<uint8_t>(valeur(pcDate + 2, 2));
        *pucJour = static_cast<uint8_t>(valeur(pcDate + 4, 2));
        break;
      case 8:
      case 12:
        // Kept: the year address is taken as four 16-bit cells, each fed one digit; month, day,
        // hour and minute are never returned.
        for (size_t i = 0; i < 4; ++i) {
          pusAnnee[i] = static_cast<uint16_t>(pusAnnee[i] * 10 + (pcDate[i] - '0'));
        }
        break;
      default:
        bResultat = 0;
        break;
    }
  }
  MC_TRACE(mc::kModule, mc::kTrcOutils, MC_TRACE_DETAIL,
           bResultat != 0 ? "Date valide" : "Date invalide");
  MC_TRACE(mc::kModule, mc::kTrcOutils, MC_TRACE_DETAIL, "bResultat = 0x%04x",
           static_cast<unsigned>(bResultat));
  MC_TRACE(mc::kModule, mc::kTrcOutils, MC_TRACE_SORTIE, "MC_bDateChaineANumerique");
  return bResultat;
}

extern "C" MC_API int32_t MC_bDateNumeriqueAChaine(uint16_t usAnnee, uint8_t ucMois,
                                                   uint8_t ucJour, uint8_t ucLongueur,
                                                   char* pcDate) {
  MC_TRACE(mc::kModule, mc::kTrcOutils, MC_TRACE_ENTREE, "MC_bDateNumeriqueAChaine");
  // Kept: the check only traces; an invalid date is written all the same.
  MC_bEstDateNumeriqueValide(usAnnee, ucMois, ucJour);
  // The pieces are printed at fixed positions, each overwriting the end of the one before. A
  // month or day above 99 would run past the documented size, so the pieces go through a scratch
  // buffer and only that size (terminating zero included) reaches the caller.
  char szTravail[24] = {};
  size_t ulTaille = 0;
  switch (ucLongueur) {
    case 8:
    case 12:
      snprintf(szTravail, sizeof szTravail, "%04i", static_cast<int>(usAnnee));
      snprintf(szTravail + 4, sizeof szTravail - 4, "%02i", static_cast<int>(ucMois));
      snprintf(szTravail + 6, sizeof szTravail - 6, "%02i", static_cast<int>(ucJour));
      ulTaille = 9;
      if (ucLongueur == 12) {
        snprintf(szTravail + 8, sizeof szTravail - 8, "%04i", 0);
        ulTaille = 13;
      }
      break;
    case 6:
      // Kept: the year is not cut to two digits; the month overwrites what follows its first two.
      snprintf(szTravail, sizeof szTravail, "%02i", static_cast<int>(usAnnee));
      snprintf(szTravail + 2, sizeof szTravail - 2, "%02i", static_cast<int>(ucMois));
      snprintf(szTravail + 4, sizeof szTravail - 4, "%02i", static_cast<int>(ucJour));
      ulTaille = 7;
      break;
    default:
      break;
  }
  int32_t bResultat = 0;
  if (ulTaille != 0) {
    memcpy(pcDate, szTravail, ulTaille - 1);
    pcDate[ulTaille - 1] = '\0';
    bResultat = 1;
  }
  MC_TRACE(mc::kModule, mc::kTrcOutils, MC_TRACE_DETAIL,
           bResultat != 0 ? "Date valide" : "Date invalide");
  MC_TRACE(mc::kModule, mc::kTrcOutils, MC_TRACE_DETAIL, "bResultat = 0x%04x",
           static_cast<unsigned>(bResultat));
  MC_TRACE(mc::kModule, mc::kTrcOutils, MC_TRACE_SORTIE, "MC_bDateNumeriqueAChaine");
  return bResultat;
}

extern "C" MC_API int32_t MC_bLongAChaine(int32_t lValeur, char* pcChaine,
                                          uint32_t ulNbChiffres) {
  // Kept: this function traces under the name MC_usLongAChaine.
  MC_TRACE(mc::kModule, mc::kTrcOutils, MC_TRACE_ENTREE, "MC_usLongAChaine");
  // Kept: the limit wraps in 32 bits and is compared signed. From 32 digits on the wrapped
  // power is 0 for good, so the loop can stop there.
  uint32_t ulLimite = 1;
  for (uint32_t i = 0; i < ulNbChiffres && ulLimite != 0; ++i) {
    ulLimite *= 10;
  }
  int32_t bResultat = 0;
  if (lValeur < static_cast<int32_t>(ulLimite)) {
    sprintf(pcChaine, "%ld", static_cast<long>(lValeur));
    bResultat = 1;
  }
  MC_TRACE(mc::kModule, mc::kTrcOutils, MC_TRACE_DETAIL, "usResultat = 0x%04x",
           static_cast<unsigned>(bResultat));
  MC_TRACE(mc::kModule, mc::kTrcOutils, MC_TRACE_SORTIE, "MC_usLongAChaine");
  return bResultat;
}
