// sys_util.h -- the INI low layer: the reader, the writer and their small scanners.
#ifndef MC_CONFIG_SYS_UTIL_H
#define MC_CONFIG_SYS_UTIL_H

#include <cstddef>
#include <cstdint>
#include <cstdio>

#include "mc.h"

namespace mc {

// Upper-cases a text in place, character by character (C locale); returns it.
char* kpl_uprstr(char* text);
// Number of characters before the first line feed, carriage return or terminating zero.
size_t kpl_GetLine(const char* text);
// Index of the first `delimiter`; 0 when a line feed, carriage return or the end comes first.
size_t kpl_GetToken(const char* text, char delimiter);

// A line of the writer: any length, kept inline while it is short, grown on the heap.
class Ligne {
 public:
  Ligne() = default;
  ~Ligne();
  Ligne(const Ligne&) = delete;
  Ligne& operator=(const Ligne&) = delete;

  // The line so far; terminated only once read_line has returned 1.
  const char* data() const { return data_; }
  size_t size() const { return size_; }

  void clear() { size_ = 0; }
  // False when the heap refuses to grow the line.
  bool push(char c);
  void terminate() { data_[size_] = '\0'; }

 private:
  static constexpr size_t kInline = 256;
  char inline_[kInline] = {};
  char* data_ = inline_;
  size_t capacity_ = kInline;  // room for capacity_-1 characters and the zero
  size_t size_ = 0;
};

// Reads one line of `stream` into `line`: 1 when a line feed ended it and the stream is not at
// its end, 0 at the end of the file or at a byte 0xFF (the line is then left unterminated), -1
// when the line could not be grown.
int32_t read_line(FILE* stream, Ligne& line);

// Looks `key` up in `section` of `fileName` and stores the value in `result`: kind 'i'/'I' an
// int32_t converted as atoi does, any other kind at most `maximum` characters and a zero. Returns
// `result` (untouched when the file, section or key is missing), or null when `result` is null
// or the file's size cannot be asked.
void* getIniInfo(const char* section, const char* key, void* result, char kind, int32_t maximum,
                 const char* fileName);

// Sets `key` of `section` to `value` in `fileName`, rewriting the file through the temporary
// file of the configuration directory, under a lock of that directory. 1 written; 0 not written,
// the file then as it was (it is created only when it does not exist).
int32_t sys_WriteIniString(const char* section, const char* key, const char* value,
                           const char* fileName);

}  // namespace mc

#endif  // MC_CONFIG_SYS_UTIL_H
