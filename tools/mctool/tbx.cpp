// tbx.cpp -- mctool tbx: show, check, dump and seal binary table files through the library.
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <iostream>

#include "tablefile/mccrc.h"
#include "tools/mctool/mctool.h"

namespace mctool {

TableFile::~TableFile() {
  if (number != 0) {
    MC_usLibererFichierBinaire(number, nullptr);
  }
}

int open_table_file(const std::string& path, TableFile& file) {
  file.path = path;
  Bytes raw;
  if (!read_bytes(path, raw)) {
    return fail(kUsage, path, "cannot be read", MC_ERR_FICHIER);
  }
  file.length = static_cast<uint32_t>(raw.size());
  file.control_text.assign(raw.begin(), raw.begin() + static_cast<std::ptrdiff_t>(std::min<size_t>(4, raw.size())));
  file.control = file.control_text == "0000" ? MC_CONTROLE_SIGNATURE : MC_CONTROLE_CRC16;
  const uint16_t code = MC_usInitialiserFichierBinaire(dir_of(path).c_str(), base_of(path).c_str(),
                                                       file.control, &file.number, &file.header);
  file.open_code = code;
  if (code == MC_CR_OK || code == MC_ERR_CONTROLE || code == MC_ERR_NOM_FICHIER) {
    return kOk;
  }
  return fail(kInvalid, path, "not a readable table file", code);
}

bool list_tables(TableFile& file, std::vector<TableInfo>& tables, uint16_t& code) {
  Bytes raw;
  read_bytes(file.path, raw);
  size_t pos = 60;
  while (pos < raw.size() && raw[pos] != '\r') {
    ++pos;
  }
  pos += 3;  // CR, LF, end-of-file mark
  code = MC_CR_OK;
  const bool trailer = file.control_text == "0000" && file.length >= 128;
  while (pos < file.length && !(trailer && pos == file.length - 128u)) {
    TableInfo table;
    table.offset = static_cast<uint32_t>(pos);
    code = MC_usPositionnerOffset(file.number, static_cast<int32_t>(pos), SEEK_SET);
    if (code == MC_CR_OK) {
      code = MC_usLireEnteteTable(file.number, &table.header);
    }
    if (code == MC_CR_OK) {
      code = MC_usLirePositionFichier(file.number, &table.data);
    }
    if (code == MC_CR_OK && uint64_t{table.data} + table.header.ulTailleDonnees > file.length) {
      code = MC_ERR_FIN_FICHIER;
    }
    if (code != MC_CR_OK) {
      return false;
    }
    tables.push_back(table);
    pos = size_t{table.data} + table.header.ulTailleDonnees;
  }
  return true;
}

bool crc_of(const std::string& path, uint16_t& stored, uint16_t& computed, bool& stored_valid) {
  FILE* f = std::fopen(path.c_str(), "rb");
  if (f == nullptr) {
    return false;
  }
  stored_valid = mc::usLireCRC(f, &stored) == MC_CR_OK;
  const bool ok = mc::usCalculerCRC16(f, &computed) == MC_CR_OK;
  std::fclose(f);
  return ok;
}

int verify_with_pem(const Bytes& file, const std::string& pem_path) {
  FILE* f = std::fopen(pem_path.c_str(), "r");
  EVP_PKEY* key = f != nullptr ? PEM_read_PUBKEY(f, nullptr, nullptr, nullptr) : nullptr;
  if (f != nullptr) {
    std::fclose(f);
  }
  if (key == nullptr) {
    return -1;
  }
  int ok = 0;
  if (file.size() >= 132) {
    EVP_MD_CTX* ctx = EVP_MD_CTX_new();
    ok = ctx != nullptr && EVP_DigestVerifyInit(ctx, nullptr, EVP_md5(), nullptr, key) == 1 &&
         EVP_DigestVerify(ctx, file.data() + file.size() - 128, 128, file.data() + 4,
                          file.size() - 132) == 1;
    EVP_MD_CTX_free(ctx);
  }
  EVP_PKEY_free(key);
  return ok;
}

namespace {

std::string field(const char* text) { return text; }

ordered_json header_json(const EnteteFichierBinaire& h) {
  return {{"name", field(h.szNomFichier)}, {"version", field(h.szVersion)},
          {"text5", field(h.szTexte5)},     {"text8", field(h.szTexte8)},
          {"required", field(h.szVersionRequise)}, {"text5b", field(h.szTexte5b)},
          {"text10", field(h.szTexte10)},   {"comment", field(h.szCommentaire)}};
}

char hex4[8];
const char* as_hex4(uint16_t v) {
  std::snprintf(hex4, sizeof hex4, "%04X", v);
  return hex4;
}

int info(const std::string& path, const std::string& pem, bool json) {
  TableFile file;
  if (const int opened = open_table_file(path, file); opened != kOk) {
    return g_status = opened;
  }
  int status = kOk;
  if (file.open_code == MC_ERR_NOM_FICHIER) {
    warn(path, "the header names the file \"" + std::string(file.header.szNomFichier) +
                   "\": the library refuses it under this name", MC_ERR_NOM_FICHIER);
  }
  std::vector<TableInfo> tables;
  uint16_t code = 0;
  if (!list_tables(file, tables, code)) {
    status = fail(kInvalid, path, "table " + std::to_string(tables.size() + 1) + " cannot be read", code);
  }
  ordered_json out = {{"file", path}, {"length", file.length}, {"header", header_json(file.header)}};
  ordered_json protection = {{"control_text", file.control_text}};
  std::string summary;
  if (file.control == MC_CONTROLE_CRC16) {
    uint16_t stored = 0, computed = 0;
    bool valid = false;
    crc_of(path, stored, computed, valid);
    const bool match = valid && stored == computed;
    protection["crc"] = {{"computed", as_hex4(computed)}, {"matches", match}};
    summary = std::string("CRC16, computed ") + as_hex4(computed) + (match ? ": the CRC matches" : ": the CRC does not match");
    if (!match) {
      status = fail(kInvalid, path, "the stored CRC16 " + file.control_text + " is not the computed one", MC_ERR_CONTROLE);
    }
  } else {
    const bool signed_file = tables.empty() || size_t{tables.back().data} + tables.back().header.ulTailleDonnees != file.length;
    protection["signature"] = signed_file;
    if (!signed_file) {
      summary = "no protection";
    } else {
      Bytes raw;
      read_bytes(path, raw);
      const bool builtin = MC_usVerifierSignatureFichier(file.number) == MC_CR_OK;
      protection["builtin_key"] = builtin;
      summary = std::string("signature (last 128 bytes) ") + (builtin ? "verifies" : "does not verify") +
                " with the built-in key";
      bool good = builtin;
      if (!pem.empty()) {
        const int with_pem = verify_with_pem(raw, pem);
        protection["public_key"] = with_pem == 1;
        good = with_pem == 1;
        summary += std::string(", ") + (with_pem == 1 ? "verifies" : "does not verify") + " with " + pem;
      }
      if (!good) {
        status = fail(kInvalid, path, "the signature does not verify", MC_ERR_CONTROLE);
      }
    }
  }
  out["protection"] = protection;
  ordered_json list = ordered_json::array();
  for (const TableInfo& t : tables) {
    list.push_back({{"name", field(t.header.szNomTable)}, {"offset", t.offset}, {"data_offset", t.data},
                    {"data_size", uint32_t{t.header.ulTailleDonnees}},
                    {"records", uint32_t{t.header.ulNombreEnregistrements}},
                    {"descriptors", {t.header.ucNombreDescripteurs1, t.header.ucNombreDescripteurs2}}});
  }
  out["tables"] = list;
  if (json) {
    print_json(out);
  } else {
    const auto& h = file.header;
    std::printf("file      %s (%u bytes)\nname      %s\nversion   %s\nrequired  %s\n"
                "fields    %s %s %s %s\ncomment   %s\ncontrol   %s: %s\ntables    %zu\n",
                path.c_str(), file.length, h.szNomFichier, h.szVersion, h.szVersionRequise, h.szTexte5,
                h.szTexte8, h.szTexte5b, h.szTexte10, h.szCommentaire, file.control_text.c_str(),
                summary.c_str(), tables.size());
    for (const TableInfo& t : tables) {
      std::printf("  %-10s offset %u, data %u bytes at %u, %u records, descriptors %u+%u\n",
                  t.header.szNomTable, t.offset, uint32_t{t.header.ulTailleDonnees}, t.data,
                  uint32_t{t.header.ulNombreEnregistrements}, t.header.ucNombreDescripteurs1,
                  t.header.ucNombreDescripteurs2);
    }
  }
  return g_status = status;
}

int verify(const std::string& path, int control, const std::string& pem) {
  Bytes raw;
  if (!read_bytes(path, raw)) {
    return g_status = fail(kUsage, path, "cannot be read", MC_ERR_FICHIER);
  }
  if (control == 0) {
    control = raw.size() >= 4 && std::memcmp(raw.data(), "0000", 4) == 0 ? 2 : 1;
  }
  const bool own_key = control == 2 && !pem.empty();
  EnteteFichierBinaire header{};
  uint16_t number = 0;
  uint16_t code = MC_usInitialiserFichierBinaire(dir_of(path).c_str(), base_of(path).c_str(),
                                                 static_cast<uint16_t>(own_key ? 0 : control), &number, &header);
  if (number != 0) {
    MC_usLibererFichierBinaire(number, nullptr);
  }
  if (code == MC_CR_OK && own_key) {
    const int ok = verify_with_pem(raw, pem);
    if (ok < 0) {
      return g_status = fail(kUsage, pem, "not a PEM public key");
    }
    code = ok == 1 ? MC_CR_OK : MC_ERR_CONTROLE;
  }
  if (code != MC_CR_OK) {
    return g_status = fail(kInvalid, path, "refused with control type " + std::to_string(control), code);
  }
  std::printf("%s: valid, control type %d (%s)\n", path.c_str(), control,
              control == 1 ? "CRC16" : "signature");
  return g_status = kOk;
}

struct Column {
  std::string kind;
  uint32_t count = 0;
};

bool parse_columns(const std::string& columns_text, std::vector<Column>& out) {
  static const char* const kinds[] = {"u8", "i8", "u16", "i16", "u32", "i32", "date", "double", "string", "fixed", "unicode"};
  size_t start = 0;
  while (start <= columns_text.size()) {
    const size_t comma = std::min(columns_text.find(',', start), columns_text.size());
    std::string item = columns_text.substr(start, comma - start);
    Column c;
    const size_t colon = item.find(':');
    c.kind = item.substr(0, colon);
    bool ok = false;
    for (const char* k : kinds) {
      ok = ok || c.kind == k;
    }
    const bool sized = c.kind == "fixed" || c.kind == "unicode";
    if (!ok || sized != (colon != std::string::npos) ||
        (sized && (!parse_number(item.substr(colon + 1), c.count) || c.count > (1u << 20)))) {
      return false;
    }
    out.push_back(c);
    start = comma + 1;
  }
  return !out.empty();
}

std::vector<Column> dictionary_columns(const std::string& table) {
  std::vector<Column> out;
  if (table == "TGROUPE") {
    parse_columns("u16,u16,u16", out);
  } else if (table == "TCHAMP") {
    parse_columns("i32,u16,u16,i8,i32,u16,u16", out);
  } else if (table == "TVALEUR") {
    parse_columns("string", out);
  }
  return out;
}

// One value by the library's reader of its kind.
uint16_t read_value(uint16_t n, const Column& c, ordered_json& value) {
  uint16_t code = 0;
  if (c.kind == "u8") { uint8_t v = 0; code = MC_usLireUnsignedChar(n, &v); value = v; }
  else if (c.kind == "i8") { int8_t v = 0; code = MC_usLireSignedChar(n, &v); value = v; }
  else if (c.kind == "u16") { uint16_t v = 0; code = MC_usLireUnsignedShort(n, &v); value = v; }
  else if (c.kind == "i16") { int16_t v = 0; code = MC_usLireSignedShort(n, &v); value = v; }
  else if (c.kind == "u32") { uint32_t v = 0; code = MC_usLireUnsignedLong(n, &v); value = v; }
  else if (c.kind == "i32") { int32_t v = 0; code = MC_usLireSignedLong(n, &v); value = v; }
  else if (c.kind == "double") { double v = 0; code = MC_usLireDouble(n, &v); value = v; }
  else if (c.kind == "date") {
    uint16_t a = 0; uint8_t b = 0, d = 0;
    code = MC_usLireDate(n, &a, &b, &d);
    value = std::to_string(a) + "/" + std::to_string(b) + "/" + std::to_string(d);
  } else if (c.kind == "string") {
    char* text = nullptr;
    code = MC_usLireChaineVariable(n, &text);
    value = text != nullptr ? std::string(text) : std::string();
    MC_Liberer(text);
  } else if (c.kind == "fixed") {
    Bytes b(c.count);
    code = MC_usLireChampFixe(n, b.data(), c.count);
    value = std::string(b.begin(), b.end());
  } else {
    std::vector<uint16_t> u(c.count);
    code = MC_usLireChampUnicodeFixe(n, u.data(), c.count);
    std::string text;
    for (uint16_t unit : u) {
      char cell[8];
      std::snprintf(cell, sizeof cell, unit >= 0x20 && unit < 0x7F ? "%c" : "\\u%04X", unit);
      text += cell;
    }
    value = text;
  }
  return code;
}

std::string cell_text(const ordered_json& v, bool csv) {
  if (!v.is_string()) {
    return v.dump();
  }
  const std::string s = v.get<std::string>();
  std::string text = printable(reinterpret_cast<const uint8_t*>(s.data()), s.size());
  if (csv && text.find_first_of(",\"") != std::string::npos) {
    std::string quoted = "\"";
    for (char ch : text) {
      quoted += ch == '"' ? "\"\"" : std::string(1, ch);
    }
    return quoted + "\"";
  }
  return text;
}

int dump(const std::string& path, const std::string& only, const std::string& columns_text, bool json, bool csv) {
  std::vector<Column> given;
  if (!columns_text.empty() && !parse_columns(columns_text, given)) {
    return g_status = fail(kUsage, "", "bad --columns: " + columns_text);
  }
  TableFile file;
  if (const int opened = open_table_file(path, file); opened != kOk) {
    return g_status = opened;
  }
  if (file.open_code == MC_ERR_NOM_FICHIER) {
    warn(path, "the library refuses the file under this name", MC_ERR_NOM_FICHIER);
  }
  std::vector<TableInfo> tables;
  uint16_t code = 0;
  int status = kOk;
  if (!list_tables(file, tables, code)) {
    status = fail(kInvalid, path, "table " + std::to_string(tables.size() + 1) + " cannot be read", code);
  }
  ordered_json out = ordered_json::array();
  bool found = only.empty();
  for (const TableInfo& t : tables) {
    const std::string name = t.header.szNomTable;
    if (!only.empty() && name != only) {
      continue;
    }
    found = true;
    std::vector<Column> columns = given.empty() ? dictionary_columns(name) : given;
    ordered_json rows = ordered_json::array();
    const uint32_t records = t.header.ulNombreEnregistrements;
    if (!json && !csv) {
      std::printf("%s: %u records\n", name.c_str(), records);
    }
    if (columns.empty()) {
      unsigned char* data = nullptr;
      MC_usLireFichierBinaire(file.number, static_cast<int32_t>(t.data), t.header.ulTailleDonnees, &data);
      const std::string text = data != nullptr ? hex(data, t.header.ulTailleDonnees, "") : "";
      MC_Liberer(data);
      rows.push_back({text});
      if (!json) {
        std::printf(csv ? "%s,%s\n" : "  data %s%s\n", csv ? name.c_str() : "", text.c_str());
      }
    } else {
      MC_usPositionnerOffset(file.number, static_cast<int32_t>(t.data), SEEK_SET);
      bool readable = true;
      for (uint32_t r = 0; r < records && readable; ++r) {
        ordered_json row = ordered_json::array();
        std::string line = csv ? name : "  ";
        for (const Column& c : columns) {
          ordered_json v;
          code = read_value(file.number, c, v);
          if (code != MC_CR_OK) {
            status = fail(kInvalid, path, name + " record " + std::to_string(r) + " cannot be read", code);
            readable = false;
            break;
          }
          line += (csv ? "," : line.size() > 2 ? "\t" : "") + cell_text(v, csv);
          row.push_back(v);
        }
        if (readable) {
          rows.push_back(row);
          if (!json) {
            std::printf("%s\n", line.c_str());
          }
        }
      }
      uint32_t end = 0;
      MC_usLirePositionFichier(file.number, &end);
      if (readable && end != t.data + t.header.ulTailleDonnees) {
        warn(path, name + ": the records take " + std::to_string(end - t.data) +
                       " bytes, the table header says " + std::to_string(uint32_t{t.header.ulTailleDonnees}));
      }
    }
    out.push_back({{"table", name}, {"records", records}, {"rows", rows}});
  }
  if (!found) {
    return g_status = fail(kInvalid, path, "no table " + only, MC_ERR_FIN);
  }
  if (json) {
    print_json(out);
  }
  return g_status = status;
}

}  // namespace

int seal(const std::string& in, const std::string& out, const std::string& key, const std::string& pem) {
  TableFile file;
  if (const int opened = open_table_file(in, file); opened != kOk) {
    return opened;
  }
  std::vector<TableInfo> tables;
  uint16_t code = 0;
  if (!list_tables(file, tables, code)) {
    return fail(kInvalid, in, "table " + std::to_string(tables.size() + 1) + " cannot be read", code);
  }
  Bytes raw;
  read_bytes(in, raw);
  std::string target_dir = dir_of(out);
  std::string temp_dir;
  if (out == in) {  // in place: written beside it under its own name, then moved over it
    std::string pattern = target_dir + "/.mctoolXXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) {
      return fail(kUsage, target_dir, "cannot make a temporary directory", MC_ERR_FICHIER);
    }
    temp_dir = target_dir = pattern;
  }
  EnteteFichierBinaire header = file.header;
  std::memset(header.szNomFichier, 0, sizeof header.szNomFichier);
  std::strncpy(header.szNomFichier, base_of(out).c_str(), 12);
  const uint16_t control = key.empty() ? MC_CONTROLE_CRC16 : MC_CONTROLE_SIGNATURE;
  uint16_t number = 0;
  code = MC_usCreerFichierBinaire(target_dir.c_str(), base_of(out).c_str(), control, &header, &number);
  for (size_t i = 0; i < tables.size() && code == MC_CR_OK; ++i) {
    EnteteTable t = tables[i].header;
    std::memset(t.szNomTable, ' ', 10);
    std::memcpy(t.szNomTable, tables[i].header.szNomTable, strnlen(tables[i].header.szNomTable, 10));
    code = MC_usEcrireEnteteTable(number, &t);
    if (code == MC_CR_OK && t.ulTailleDonnees != 0) {
      code = MC_usEcrireChampFixe(number, raw.data() + tables[i].data, t.ulTailleDonnees);
    }
    if (code == MC_CR_OK) {
      code = MC_usEcrireTaille(number);
    }
  }
  if (number != 0) {
    const uint16_t release = MC_usLibererFichierBinaire(number, key.empty() ? nullptr : key.c_str());
    code = code != MC_CR_OK ? code : release;
  }
  const std::string written = target_dir + "/" + base_of(out);
  if (code == MC_CR_OK && !temp_dir.empty() && std::rename(written.c_str(), out.c_str()) != 0) {
    code = MC_ERR_FICHIER;
  }
  if (!temp_dir.empty()) {
    std::remove(written.c_str());
    rmdir(temp_dir.c_str());
  }
  if (code != MC_CR_OK) {
    return fail(kUsage, out, key.empty() ? "cannot be written" : "cannot be written and signed with " + key, code);
  }
  // The result must open with its new protection.
  EnteteFichierBinaire check{};
  uint16_t n = 0;
  const bool own_key = !key.empty() && !pem.empty();
  code = MC_usInitialiserFichierBinaire(dir_of(out).c_str(), base_of(out).c_str(),
                                        static_cast<uint16_t>(own_key ? 0 : control), &n, &check);
  if (n != 0) {
    MC_usLibererFichierBinaire(n, nullptr);
  }
  if (code == MC_CR_OK && own_key) {
    Bytes result;
    read_bytes(out, result);
    code = verify_with_pem(result, pem) == 1 ? MC_CR_OK : MC_ERR_CONTROLE;
  }
  if (code != MC_CR_OK) {
    return fail(kInvalid, out, "written, but it does not open with its protection", code);
  }
  return kOk;
}

void add_tbx(CLI::App& app) {
  CLI::App* tbx = app.add_subcommand("tbx", "Binary table files (.tbx): show, check, dump, seal");
  tbx->require_subcommand(1);
  static std::string path, pem, table, columns, key, out;
  static int control = 0;
  static bool json = false, csv = false, crc = false;

  CLI::App* i = tbx->add_subcommand("info", "Header fields, protection and tables of a file, under any name");
  i->add_option("FILE", path, "table file")->required();
  i->add_option("--public-key", pem, "also check a trailing signature with this PEM public key");
  i->add_flag("--json", json, "JSON output");
  i->callback([] { info(path, pem, json); });

  CLI::App* v = tbx->add_subcommand("verify", "Exit 0 when the file opens with its protection, 1 otherwise");
  v->add_option("FILE", path, "table file")->required();
  v->add_option("--control", control, "control type: 1 CRC16, 2 signature (default: from the control text)")
      ->check(CLI::IsMember({1, 2}));
  v->add_option("--public-key", pem, "check the signature with this PEM public key, not the built-in one");
  v->callback([] { verify(path, control, pem); });

  CLI::App* d = tbx->add_subcommand("dump", "Records decoded by the library's typed readers");
  d->add_option("FILE", path, "table file")->required();
  d->add_option("--table", table, "only this table");
  d->add_option("--columns", columns,
                "column types, comma-separated: u8,i8,u16,i16,u32,i32,date,double,fixed:N,unicode:N,string "
                "(TGROUPE, TCHAMP and TVALEUR need none; other tables without columns are shown in hex)");
  auto* j = d->add_flag("--json", json, "JSON output");
  d->add_flag("--csv", csv, "CSV output, the table name first on each line")->excludes(j);
  d->callback([] { dump(path, table, columns, json, csv); });

  CLI::App* s = tbx->add_subcommand("seal", "Rewrite a file's tables with a fresh CRC16 or signature");
  s->add_option("FILE", path, "table file")->required();
  auto* c = s->add_flag("--crc", crc, "protect with a CRC16 (control type 1)");
  auto* k = s->add_option("--sign", key, "sign with this private key file (control type 2)");
  c->excludes(k);
  s->add_option("-o,--output", out, "write here (default: the file itself)");
  s->add_option("--public-key", pem, "check the signed result with this PEM public key, not the built-in one");
  s->callback([] {
    if (!crc && key.empty()) {
      g_status = fail(kUsage, "", "tbx seal needs --crc or --sign KEY");
      return;
    }
    g_status = seal(path, out.empty() ? path : out, key, pem);
  });
}

}  // namespace mctool
