// mctool.h -- the parts shared by mctool's command groups: exit statuses, messages naming a file
// and a result code, the result code list, files, hex text and JSON output.
#ifndef MC_TOOLS_MCTOOL_MCTOOL_H
#define MC_TOOLS_MCTOOL_MCTOOL_H

#include <CLI/CLI.hpp>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "mc.h"

namespace mctool {

using Bytes = std::vector<uint8_t>;
using nlohmann::ordered_json;

enum Exit : int { kOk = 0, kInvalid = 1, kUsage = 2 };

// The exit status of the subcommand that ran; set by its callback.
extern int g_status;

// One entry of the result code list.
struct CodeInfo {
  const char* name;
  uint16_t value;
  const char* meaning;
};
const std::vector<CodeInfo>& codes();
// "0xF630 MC_ERR_CONTROLE (CRC16 or signature of a file does not match)"; the format control
// codes name their group or field.
std::string describe(uint32_t code);

// "mctool: FILE: what" on stderr, then the code's description when one is given. Returns status.
int fail(int status, const std::string& file, const std::string& what,
         std::optional<uint32_t> code = std::nullopt);
void warn(const std::string& file, const std::string& what, std::optional<uint32_t> code = std::nullopt);

bool read_bytes(const std::string& path, Bytes& out);
bool write_bytes(const std::string& path, const Bytes& bytes, unsigned mode = 0644);
// Hex digits with any blanks between them; false on any other character or an odd count.
bool parse_hex(std::string_view text, Bytes& out);
std::string hex(const uint8_t* data, size_t size, const char* separator = " ");
// The bytes as text: printable ASCII as it is, other bytes as \xHH.
std::string printable(const uint8_t* data, size_t size);
// A number in decimal or 0x hexadecimal.
bool parse_number(const std::string& text, uint32_t& value);
std::string dir_of(const std::string& path);
std::string base_of(const std::string& path);
void print_json(const ordered_json& value);

// A table file opened in a slot of the library, under any name.
struct TableFile {
  std::string path;
  uint16_t number = 0;
  uint16_t control = 0;       // control type it was opened with
  uint16_t open_code = 0;     // MC_usInitialiserFichierBinaire's answer (0, 0xF630 or 0xF660)
  EnteteFichierBinaire header{};
  uint32_t length = 0;
  std::string control_text;  // the first four bytes
  ~TableFile();
};
struct TableInfo {
  EnteteTable header{};
  uint32_t offset = 0;  // of the table header
  uint32_t data = 0;    // of the first record
};
// Opens the file with control type 1 when its control text is a CRC, 2 when it is "0000";
// a wrong name (0xF660) or protection (0xF630) is kept in open_code. Any other failure gives its
// message and kUsage (unreadable) or kInvalid; kOk otherwise.
int open_table_file(const std::string& path, TableFile& file);
// The tables from the first one to the end of the table area (the file length when the control
// text is a CRC, 128 bytes less otherwise). False on a header that runs past the end.
bool list_tables(TableFile& file, std::vector<TableInfo>& tables, uint16_t& code);
// The stored CRC text and the computed CRC16 of a file.
bool crc_of(const std::string& path, uint16_t& stored, uint16_t& computed, bool& stored_valid);
// Checks the trailing signature with an OpenSSL public key in PEM; 1 valid, 0 not, -1 key error.
int verify_with_pem(const Bytes& file, const std::string& pem_path);

// The dictionary of a table file loaded into the library's tables. False after a message.
struct DictFile {
  TableFile file;
  std::vector<std::string> order;    // table names in file order
  std::vector<std::string> uneven;   // tables whose records do not fill their data exactly
  ~DictFile();
};
// Loads the first TGROUPE, TCHAMP and TVALEUR of the file with the library's loaders; gives
// kOk, or the status after a message.
int load_dictionary(const std::string& path, DictFile& dict);
// The dictionary's entry of a group code (the first one), or null; its fields, clipped to the table.
const MC_GroupeDictionnaire* find_group(uint16_t code);
std::vector<const MC_ChampDictionnaire*> fields_of(const MC_GroupeDictionnaire& group);
std::vector<std::string> values_of(const MC_ChampDictionnaire& field);
// "N 1..10 mandatory" and its JSON form.
std::string field_text(const MC_ChampDictionnaire& field);
ordered_json field_json(const MC_ChampDictionnaire& field);

// Rewrites a table file's tables through the library's writer, sealed with a CRC (no key) or a
// signature, and checks the result. The header name becomes the output's base name.
int seal(const std::string& in, const std::string& out, const std::string& key,
         const std::string& public_pem);

void add_tbx(CLI::App& app);
void add_dict(CLI::App& app);
void add_zone(CLI::App& app);
void add_ini(CLI::App& app);
void add_key(CLI::App& app);

}  // namespace mctool

#endif  // MC_TOOLS_MCTOOL_MCTOOL_H
