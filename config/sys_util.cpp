// sys_util.cpp -- the INI low layer: reading a value from a file loaded whole, rewriting a file
// through the temporary file of the configuration directory.
#include "config/sys_util.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "config/mcrepconf.h"
#include "runtime/mcmemoir.h"

namespace mc {

namespace {

constexpr char kFichierTemporaire[] = "WriteIniTmp.txt";

// The INI layer takes its memory straight from the heap, not through MC_Allouer: its blocks are
// neither accounted nor traced, so reading a value writes no allocation lines into the trace.
struct Libre {
  void operator()(char* p) const { std::free(p); }
};
using Texte = std::unique_ptr<char, Libre>;

// A path that the system can take: anything longer fails to open anyway (ENAMETOOLONG), so a
// name that does not fit here gives the same result as the open that would have failed.
using Chemin = char[PATH_MAX];

// The full name of a file: the name itself when it holds a "/", else "directory/name" in the
// configuration directory. False when the result is too long for the system.
bool nom_complet(const char* fileName, Chemin& out) {
  int n = 0;
  if (std::strchr(fileName, '/') != nullptr) {
    n = std::snprintf(out, sizeof out, "%s", fileName);
  } else {
    n = std::snprintf(out, sizeof out, "%s%c%s", repertoire_configuration(), '/', fileName);
  }
  return n >= 0 && static_cast<size_t>(n) < sizeof out;
}

// Kept: the test is made on a signed character, so bytes 0x80 to 0xFF count as blanks too.
bool est_blanc(char c) { return static_cast<signed char>(c) <= 32; }

int majuscule(char c) { return std::toupper(static_cast<unsigned char>(c)); }

// The `length` characters at `text` against the whole of `name`, without case: what comparing
// two upper-cased copies gives, without copying either.
bool meme_nom(const char* text, size_t length, const char* name) {
  for (size_t i = 0; i < length; ++i) {
    if (name[i] == '\0' || majuscule(text[i]) != majuscule(name[i])) {
      return false;
    }
  }
  return name[length] == '\0';
}

struct Valeur {
  size_t debut;
  size_t longueur;
};

// Scans `text` (size bytes, text[size] == 0) for `key` in `section`; the first match wins.
bool chercher_valeur(const char* text, size_t size, const char* section, const char* key,
                     Valeur* valeur) {
  bool dans_section = false;
  size_t pos = 0;
  while (pos < size) {
    const char c = text[pos];
    if (est_blanc(c)) {
      ++pos;
    } else if (c == ';' || c == '#') {
      pos += kpl_GetLine(text + pos);
    } else if (c == '[') {
      // Any "[" closes the current section, whatever its name.
      dans_section = false;
      const size_t longueur = kpl_GetToken(text + pos + 1, ']');
      // Kept: a one-character section name never matches.
      if (longueur >= 2 && meme_nom(text + pos + 1, longueur, section)) {
        dans_section = true;
      }
      // Just after the "]"; two characters after the "[" when the line has none.
      pos += longueur + 2;
    } else if (!dans_section) {
      pos += kpl_GetLine(text + pos);
    } else {
      const size_t longueur = kpl_GetToken(text + pos, '=');
      if (longueur < 2) {
        // Kept: a one-character key never matches; no "=" on the line counts as index 0.
        pos += longueur + 2;
      } else if (meme_nom(text + pos, longueur, key)) {
        valeur->debut = pos + longueur + 1;
        valeur->longueur = kpl_GetLine(text + valeur->debut);
        return true;
      } else {
        // Kept: the value of a key that does not match is scanned again as new input.
        pos += longueur + 1;
      }
    }
  }
  return false;
}

// atoi over a value cut at its line end: leading blanks, a sign, digits up to the first other
// character, 0 when there is none. Out-of-range values stop at the int32_t limits, as strtol
// does where long has 32 bits.
int32_t en_entier(const char* text, size_t length) {
  size_t i = 0;
  while (i < length && std::isspace(static_cast<unsigned char>(text[i])) != 0) {
    ++i;
  }
  bool negatif = false;
  if (i < length && (text[i] == '+' || text[i] == '-')) {
    negatif = text[i] == '-';
    ++i;
  }
  int64_t valeur = 0;
  constexpr int64_t kLimite = int64_t{INT32_MAX} + 1;
  for (; i < length && text[i] >= '0' && text[i] <= '9'; ++i) {
    valeur = valeur * 10 + (text[i] - '0');
    if (valeur > kLimite) {
      valeur = kLimite;
    }
  }
  if (negatif) {
    return static_cast<int32_t>(-valeur);
  }
  return static_cast<int32_t>(valeur > INT32_MAX ? INT32_MAX : valeur);
}

// Reads the whole of `fd` into a fresh block of size+1 bytes, the last one zero. False when the
// read fails; `*size` is cut down if the file shrank meanwhile.
bool lire_tout(int fd, char* text, size_t* size) {
  size_t lu = 0;
  while (lu < *size) {
    const ssize_t n = ::read(fd, text + lu, *size - lu);
    if (n < 0) {
      if (errno == EINTR) {
        continue;
      }
      return false;
    }
    if (n == 0) {
      break;
    }
    lu += static_cast<size_t>(n);
  }
  *size = lu;
  text[lu] = '\0';
  return true;
}

bool est_entete(const Ligne& ligne, const char* section, size_t longueur_section) {
  return ligne.size() == longueur_section + 2 && ligne.data()[0] == '[' &&
         std::memcmp(ligne.data() + 1, section, longueur_section) == 0 &&
         ligne.data()[longueur_section + 1] == ']';
}

bool ecrire_ligne(FILE* sortie, const Ligne& ligne) {
  return std::fwrite(ligne.data(), 1, ligne.size(), sortie) == ligne.size() &&
         std::fputc('\n', sortie) != EOF;
}

// Copies the remaining lines; -1 when a line could not be grown, else 0.
int32_t copier_reste(FILE* entree, FILE* sortie, Ligne& ligne) {
  int32_t lu = 0;
  while ((lu = read_line(entree, ligne)) == 1) {
    ecrire_ligne(sortie, ligne);
  }
  return lu;
}

// Holds the configuration directory locked (flock) for the life of the object. Every writer goes
// through the directory's one temporary file, so all of them queue here, whatever their target;
// a lock on the target itself would not hold across the rename that replaces it. Without the
// directory (or where it cannot be locked) the writer goes on unlocked, as it always did.
class Verrou {
 public:
  explicit Verrou(const char* repertoire)
      : fd_(::open(repertoire, O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
    while (fd_ >= 0 && ::flock(fd_, LOCK_EX) != 0 && errno == EINTR) {
    }
  }
  ~Verrou() {
    if (fd_ >= 0) {
      ::close(fd_);
    }
  }
  Verrou(const Verrou&) = delete;
  Verrou& operator=(const Verrou&) = delete;

 private:
  int fd_;
};

enum class Ouverture { kOuverte, kAbsente, kRefusee };

// Opens the target for reading. Only a target that does not exist is absent; one that exists but
// cannot be opened, or is neither a regular file nor a directory (a FIFO would block, a device
// would be replaced by a plain file), is refused.
Ouverture ouvrir_cible(const char* cible, FILE** entree, bool* reguliere) {
  const int fd = ::open(cible, O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  if (fd < 0) {
    return errno == ENOENT ? Ouverture::kAbsente : Ouverture::kRefusee;
  }
  struct stat etat {};
  // Deviation: a FIFO, a device or a socket in the target's place is refused.
  if (::fstat(fd, &etat) != 0 || !(S_ISREG(etat.st_mode) || S_ISDIR(etat.st_mode))) {
    ::close(fd);
    return Ouverture::kRefusee;
  }
  *reguliere = S_ISREG(etat.st_mode);
  *entree = ::fdopen(fd, "r");
  if (*entree == nullptr) {
    ::close(fd);
    return Ouverture::kRefusee;
  }
  return Ouverture::kOuverte;
}

// Closes a stream written to; false when any write to it or the close itself failed.
bool fermer_ecrit(FILE* sortie) {
  const bool ecrit = std::ferror(sortie) == 0;
  return std::fclose(sortie) == 0 && ecrit;
}

bool ecrire_tout(int fd, const char* data, size_t size) {
  while (size > 0) {
    const ssize_t n = ::write(fd, data, size);
    if (n < 0 && errno == EINTR) {
      continue;
    }
    if (n <= 0) {
      return false;
    }
    data += n;
    size -= static_cast<size_t>(n);
  }
  return true;
}

// Copies `source` whole into `destination`, a file this call creates; false on any failure.
bool copier_fichier(const char* source, const char* destination) {
  const int entree = ::open(source, O_RDONLY | O_CLOEXEC);
  if (entree < 0) {
    return false;
  }
  int sortie = ::open(destination, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
  if (sortie < 0 && errno == EEXIST && ::unlink(destination) == 0) {
    sortie = ::open(destination, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
  }
  if (sortie < 0) {
    ::close(entree);
    return false;
  }
  char tampon[8192];
  bool ok = true;
  for (;;) {
    const ssize_t n = ::read(entree, tampon, sizeof tampon);
    if (n < 0 && errno == EINTR) {
      continue;
    }
    if (n <= 0) {
      ok = n == 0;
      break;
    }
    if (!ecrire_tout(sortie, tampon, static_cast<size_t>(n))) {
      ok = false;
      break;
    }
  }
  ::close(entree);
  ok = ::close(sortie) == 0 && ok;
  if (!ok) {
    ::unlink(destination);
  }
  return ok;
}

// Replaces `cible` by a copy of `temporaire` made in the target's own directory, so that the
// last step is a rename within one file system. False, with the target as it was, on failure.
bool remplacer_par_copie(const char* temporaire, const char* cible) {
  Chemin copie;
  const int n = std::snprintf(copie, sizeof copie, "%s.%s.%ld", cible, kFichierTemporaire,
                              static_cast<long>(::getpid()));
  if (n < 0 || static_cast<size_t>(n) >= sizeof copie || !copier_fichier(temporaire, copie)) {
    return false;
  }
  if (std::rename(copie, cible) != 0) {
    ::unlink(copie);
    return false;
  }
  return true;
}

}  // namespace

char* kpl_uprstr(char* text) {
  for (char* p = text; *p != '\0'; ++p) {
    *p = static_cast<char>(majuscule(*p));
  }
  return text;
}

size_t kpl_GetLine(const char* text) {
  size_t i = 0;
  while (text[i] != '\0' && text[i] != '\n' && text[i] != '\r') {
    ++i;
  }
  return i;
}

size_t kpl_GetToken(const char* text, char delimiter) {
  for (size_t i = 0;; ++i) {
    if (text[i] == delimiter) {
      return i;
    }
    if (text[i] == '\0' || text[i] == '\n' || text[i] == '\r') {
      return 0;
    }
  }
}

Ligne::~Ligne() {
  if (data_ != inline_) {
    std::free(data_);
  }
}

bool Ligne::push(char c) {
  if (size_ + 1 >= capacity_) {
    if (capacity_ > SIZE_MAX / 2) {
      return false;
    }
    const size_t capacite = capacity_ * 2;
    auto* bloc = static_cast<char*>(allouer_non_compte(capacite));
    if (bloc == nullptr) {
      return false;
    }
    std::memcpy(bloc, data_, size_);
    if (data_ != inline_) {
      std::free(data_);
    }
    data_ = bloc;
    capacity_ = capacite;
  }
  data_[size_++] = c;
  return true;
}

int32_t read_line(FILE* stream, Ligne& line) {
  line.clear();
  for (;;) {
    const int c = std::getc(stream);
    // Kept: a byte 0xFF, held in a signed character, is taken for the end of the file.
    if (c == EOF || c == 0xFF) {
      return 0;
    }
    if (c == '\n') {
      line.terminate();
      return std::feof(stream) != 0 ? 0 : 1;
    }
    if (!line.push(static_cast<char>(c))) {
      return -1;
    }
  }
}

void* getIniInfo(const char* section, const char* key, void* result, char kind, int32_t maximum,
                 const char* fileName) {
  if (result == nullptr) {
    return nullptr;
  }
  // Nothing can be found without a section, a key or a file: the result area stays as it is.
  if (section == nullptr || key == nullptr || fileName == nullptr) {
    return result;
  }
  Chemin nom;
  if (!nom_complet(fileName, nom)) {
    return result;
  }
  // Deviation: a FIFO is opened without waiting for a writer (it then reads as empty).
  const int fd = ::open(nom, O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  if (fd < 0) {
    return result;
  }
  struct stat etat {};
  if (::fstat(fd, &etat) != 0) {
    ::close(fd);
    return nullptr;
  }
  // A file too large for one block is treated as a refused allocation.
  if (etat.st_size < 0 || static_cast<uint64_t>(etat.st_size) >= SIZE_MAX) {
    ::close(fd);
    return result;
  }
  size_t taille = static_cast<size_t>(etat.st_size);
  // The extra byte is zero so that a last line without a line end stops at the end of the text.
  Texte texte(static_cast<char*>(allouer_non_compte(taille + 1)));
  if (!texte) {
    ::close(fd);
    return result;
  }
  if (!lire_tout(fd, texte.get(), &taille)) {
    texte.reset();
    ::close(fd);
    return result;
  }
  ::close(fd);

  Valeur valeur{};
  if (!chercher_valeur(texte.get(), taille, section, key, &valeur)) {
    return result;
  }
  const char* debut = texte.get() + valeur.debut;
  if (majuscule(kind) == 'I') {
    const int32_t entier = en_entier(debut, valeur.longueur);
    std::memcpy(result, &entier, sizeof entier);
  } else {
    const size_t maximum_copie = maximum > 0 ? static_cast<size_t>(maximum) : 0;
    const size_t n = valeur.longueur < maximum_copie ? valeur.longueur : maximum_copie;
    auto* sortie = static_cast<char*>(result);
    std::memcpy(sortie, debut, n);
    sortie[n] = '\0';
  }
  return result;
}

int32_t sys_WriteIniString(const char* section, const char* key, const char* value,
                           const char* fileName) {
  if (section == nullptr || key == nullptr || value == nullptr || fileName == nullptr) {
    return 0;
  }
  Chemin cible;
  Chemin temporaire;
  const int n = std::snprintf(temporaire, sizeof temporaire, "%s%c%s", repertoire_configuration(),
                              '/', kFichierTemporaire);
  if (n < 0 || static_cast<size_t>(n) >= sizeof temporaire || !nom_complet(fileName, cible)) {
    return 0;
  }
  // Deviation: writers queue on a lock of the configuration directory from reading to replacing.
  const Verrou verrou(repertoire_configuration());

  bool reguliere = false;
  FILE* entree = nullptr;
  switch (ouvrir_cible(cible, &entree, &reguliere)) {
    case Ouverture::kAbsente: {
      FILE* nouveau = std::fopen(cible, "w");
      if (nouveau == nullptr) {
        return 0;
      }
      std::fprintf(nouveau, "[%s]\n", section);
      std::fprintf(nouveau, "%s=%s\n", key, value);
      // Deviation: a new file that could not be written whole is removed and gives 0.
      if (!fermer_ecrit(nouveau)) {
        ::unlink(cible);
        return 0;
      }
      return 1;
    }
    case Ouverture::kRefusee:
      // Deviation: a target that exists but cannot be read is left alone, never recreated.
      return 0;
    case Ouverture::kOuverte:
      break;
  }
  // Kept: the temporary file is always in the configuration directory, whatever the target's.
  FILE* sortie = std::fopen(temporaire, "w");
  if (sortie == nullptr) {
    std::fclose(entree);
    return 0;
  }

  const size_t longueur_section = std::strlen(section);
  const size_t longueur_cle = std::strlen(key);
  Ligne ligne;
  int32_t lu = 0;
  bool entete = false;
  // Kept: the header is compared whole and with case, so a line "[s]\r" of a CR LF file never
  // equals it and the section is appended again.
  while ((lu = read_line(entree, ligne)) == 1) {
    ecrire_ligne(sortie, ligne);
    if (est_entete(ligne, section, longueur_section)) {
      entete = true;
      break;
    }
  }
  if (entete) {
    bool ecrit = false;
    while (lu >= 0 && (lu = read_line(entree, ligne)) == 1) {
      // Kept: a case-sensitive prefix over the key's length, so "port" replaces "ports=1".
      if (ligne.size() >= longueur_cle && std::memcmp(ligne.data(), key, longueur_cle) == 0) {
        std::fprintf(sortie, "%s=%s\n", key, value);
        ecrit = true;
        break;
      }
      // Kept: the section's block ends at its first empty line, not at the next header.
      if (ligne.size() == 0) {
        std::fprintf(sortie, "%s=%s\n", key, value);
        ecrire_ligne(sortie, ligne);
        ecrit = true;
        break;
      }
      ecrire_ligne(sortie, ligne);
    }
    if (lu >= 0) {
      if (ecrit) {
        lu = copier_reste(entree, sortie, ligne);
      } else {
        std::fprintf(sortie, "%s=%s\n", key, value);
      }
    }
  } else if (lu >= 0) {
    std::fprintf(sortie, "\n[%s]\n", section);
    std::fprintf(sortie, "%s=%s\n", key, value);
  }
  // Only a regular file can fail half-way; a directory in the target's place reads as empty.
  const bool lu_entier = !reguliere || std::ferror(entree) == 0;
  std::fclose(entree);
  // Deviation: a failed read or write (a full disk) leaves the target as it was and gives 0.
  const bool ecrit_entier = fermer_ecrit(sortie);
  if (lu < 0 || !lu_entier || !ecrit_entier) {
    // A line too long for the heap too: the target stays as it was.
    std::remove(temporaire);
    return 0;
  }
  // Deviation: the target is never deleted first; the rename replaces it in one step.
  if (std::rename(temporaire, cible) == 0) {
    return 1;
  }
  if (errno == EXDEV) {
    // Deviation: across file systems, the content is copied beside the target and renamed there.
    const bool remplace = remplacer_par_copie(temporaire, cible);
    std::remove(temporaire);
    return remplace ? 1 : 0;
  }
  // Kept: any other failure of the rename is not checked; the target and the temporary file
  // both stay as they are and the file counts as written.
  return 1;
}

}  // namespace mc

extern "C" MC_API int32_t GetIniString(const char* section, const char* key,
                                       const char* defaultValue, char* buffer, int32_t size,
                                       const char* fileName) {
  if (buffer == nullptr) {
    return 0;
  }
  const char* defaut = defaultValue != nullptr ? defaultValue : "";
  const size_t taille = size > 0 ? static_cast<size_t>(size) : 0;
  const size_t longueur = std::strlen(defaut);
  if (longueur > taille) {
    // Kept: a default longer than the size keeps size-1 characters.
    std::memcpy(buffer, defaut, taille);
    buffer[taille > 0 ? taille - 1 : 0] = '\0';
  } else {
    // A default of exactly size characters takes size+1 bytes with its zero.
    std::memcpy(buffer, defaut, longueur + 1);
  }
  mc::getIniInfo(section, key, buffer, 's', size, fileName);
  return static_cast<int32_t>(std::strlen(buffer));
}

extern "C" MC_API int32_t GetIniInt(const char* section, const char* key, int32_t defaultValue,
                                    const char* fileName) {
  int32_t valeur = defaultValue;
  mc::getIniInfo(section, key, &valeur, 'i', 4, fileName);
  return valeur;
}

extern "C" MC_API int32_t WriteIniString(const char* section, const char* key, const char* value,
                                         const char* fileName) {
  return mc::sys_WriteIniString(section, key, value, fileName);
}
