// dict.cpp -- mctool dict: compile a dictionary source into tablebin.tbx and back, check a
// dictionary file for what the library never checks, and show it.
#include <stdlib.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <iostream>
#include <map>

#include "dictionary/dev/mcdicosrc.h"
#include "dictionary/mctab.h"
#include "tools/mctool/mctool.h"

namespace mctool {

DictFile::~DictFile() {
  if (g_cTabVal != nullptr) {  // the loader's value strings, which the library keeps
    for (uint32_t i = 0; i < g_ulNbTabVal; ++i) {
      MC_Liberer(g_cTabVal[i]);
    }
  }
  mc::usSupprTabGroupe();
  mc::usSupprTabChamp();
  mc::usSupprTabValeur();
}

int load_dictionary(const std::string& path, DictFile& dict) {
  if (const int opened = open_table_file(path, dict.file); opened != kOk) {
    return opened;
  }
  if (dict.file.open_code != MC_CR_OK) {
    warn(path, dict.file.open_code == MC_ERR_NOM_FICHIER ? "the library refuses the file under this name"
                                                         : "the library refuses the file's protection",
         dict.file.open_code);
  }
  std::vector<TableInfo> tables;
  uint16_t code = 0;
  if (!list_tables(dict.file, tables, code)) {
    return fail(kInvalid, path, "table " + std::to_string(tables.size() + 1) + " cannot be read", code);
  }
  const uint16_t n = dict.file.number;
  for (const TableInfo& t : tables) {
    const std::string name = t.header.szNomTable;
    dict.order.push_back(name);
    const uint32_t rows = t.header.ulNombreEnregistrements;
    MC_usPositionnerOffset(n, static_cast<int32_t>(t.data), SEEK_SET);
    if (name == "TGROUPE" && g_stTabGrp == nullptr) {
      code = mc::usInitTabGroupe(n, t.header.ulTailleDonnees, rows);
    } else if (name == "TCHAMP" && g_stTabChp == nullptr) {
      code = mc::usInitTabChamp(n, t.header.ulTailleDonnees, rows);
    } else if (name == "TVALEUR" && g_cTabVal == nullptr) {
      code = mc::usInitTabValeur(n, t.header.ulTailleDonnees, rows);
    } else {
      continue;
    }
    if (code != MC_CR_OK) {
      return fail(kInvalid, path, "table " + name + " cannot be loaded", code);
    }
    uint32_t end = 0;
    MC_usLirePositionFichier(n, &end);
    if (end != t.data + t.header.ulTailleDonnees) {
      dict.uneven.push_back(name);
    }
  }
  for (const char* name : {"TGROUPE", "TCHAMP", "TVALEUR"}) {
    if (std::find(dict.order.begin(), dict.order.end(), name) == dict.order.end()) {
      return fail(kInvalid, path, std::string("no table ") + name, MC_ERR_FIN);
    }
  }
  return kOk;
}

const MC_GroupeDictionnaire* find_group(uint16_t code) {
  for (uint32_t i = 0; i < g_ulNbTabGrp; ++i) {
    if (g_stTabGrp[i].usCodeGroupe == code) {
      return &g_stTabGrp[i];
    }
  }
  return nullptr;
}

std::vector<const MC_ChampDictionnaire*> fields_of(const MC_GroupeDictionnaire& group) {
  std::vector<const MC_ChampDictionnaire*> out;
  for (uint32_t i = group.usPremierChamp; i < uint32_t{group.usPremierChamp} + group.usNbChamps && i < g_ulNbTabChp; ++i) {
    out.push_back(&g_stTabChp[i]);
  }
  return out;
}

std::vector<std::string> values_of(const MC_ChampDictionnaire& field) {
  std::vector<std::string> out;
  for (uint32_t i = field.usPremiereValeur; i < uint32_t{field.usPremiereValeur} + field.usNbValeurs && i < g_ulNbTabVal; ++i) {
    out.emplace_back(g_cTabVal[i]);
  }
  return out;
}

namespace {

const char* type_name(int8_t type) {
  switch (type) {
    case 'D': return "date";
    case 'A': return "alphanumeric";
    case 'L': return "alphabetic";
    case 'N': return "numeric";
    default: return "unchecked";
  }
}

std::string type_letter(int8_t type) {
  return type >= 0x21 && type < 0x7F ? std::string(1, static_cast<char>(type)) : "\\x" + hex(reinterpret_cast<const uint8_t*>(&type), 1);
}

}  // namespace

std::string field_text(const MC_ChampDictionnaire& f) {
  std::string text = type_letter(f.cType) + " (" + type_name(f.cType) + "), length " +
                     std::to_string(f.usLongueurMin) + ".." +
                     (f.usLongueurMax == 0 ? std::string("any") : std::to_string(f.usLongueurMax)) +
                     (f.lObligatoire == 1 ? ", mandatory" : ", optional");
  const std::vector<std::string> values = values_of(f);
  if (!values.empty()) {
    text += ", values:";
    for (const std::string& v : values) {
      text += " \"" + printable(reinterpret_cast<const uint8_t*>(v.data()), v.size()) + "\"";
    }
  }
  return text;
}

ordered_json field_json(const MC_ChampDictionnaire& f) {
  return {{"type", type_letter(f.cType)}, {"min", f.usLongueurMin}, {"max", f.usLongueurMax},
          {"mandatory", f.lObligatoire == 1}, {"info", f.lInformation}, {"values", values_of(f)}};
}

namespace {

constexpr const char* kFixedHeader[] = {"00001", "20260101", "00001", "0000000001"};

// A word of the source as compile reads it back: quoted when it holds a blank, a '#' or nothing.
bool source_word(const std::string& value, std::string& out) {
  const bool quoted = value.empty() || value.find_first_of(" \t\r#") != std::string::npos ||
                      value == ":" || value[0] == '"';
  if (value.find('\n') != std::string::npos || (quoted && value.find('"') != std::string::npos)) {
    return false;
  }
  out = quoted ? "\"" + value + "\"" : value;
  return true;
}

// The "entete" lines of a source (the file header's version numbers and comment), taken out and
// left as empty lines so that line numbers stay.
bool take_header(std::string& text, mc::dev::Options& options, std::string& error) {
  size_t start = 0;
  for (size_t line = 1; start < text.size(); ++line) {
    size_t end = text.find('\n', start);
    end = end == std::string::npos ? text.size() : end;
    std::string_view l(text.data() + start, end - start);
    const size_t first = l.find_first_not_of(" \t");
    if (first != std::string_view::npos && l.substr(first, 7) == "entete " ) {
      std::vector<std::string> words;
      for (size_t i = first + 7; i < l.size();) {
        if (l[i] == ' ' || l[i] == '\t' || l[i] == '\r') {
          ++i;
        } else if (l[i] == '"') {
          const size_t q = l.find('"', i + 1);
          if (q == std::string_view::npos) {
            error = "line " + std::to_string(line) + ": unterminated quoted value";
            return false;
          }
          words.emplace_back(l.substr(i + 1, q - i - 1));
          i = q + 1;
        } else {
          size_t e = l.find_first_of(" \t\r", i);
          e = e == std::string_view::npos ? l.size() : e;
          words.emplace_back(l.substr(i, e - i));
          i = e;
        }
      }
      for (size_t w = 0; w < words.size(); w += 2) {
        std::string* target = words[w] == "version"       ? &options.version
                              : words[w] == "requise"     ? &options.version_requise
                              : words[w] == "commentaire" ? &options.commentaire
                                                          : nullptr;
        if (target == nullptr || w + 1 == words.size()) {
          error = "line " + std::to_string(line) + ": entete takes version, requise, commentaire and a value each";
          return false;
        }
        *target = words[w + 1];
      }
      text.replace(start, end - start, "");
      end = start;
    }
    start = end + 1;
  }
  return true;
}

bool four_digits(const std::string& v) {
  return v.size() == 4 && v.find_first_not_of("0123456789") == std::string::npos;
}

int compile(const std::string& src, const std::string& dir, std::string version, std::string required,
            std::string comment, const std::string& key, const std::string& pem) {
  Bytes raw;
  if (!read_bytes(src, raw)) {
    return fail(kUsage, src, "cannot be read");
  }
  std::string text(raw.begin(), raw.end());
  mc::dev::Options options;
  std::string error;
  mc::dev::Dictionnaire dico;
  if (!take_header(text, options, error) || !mc::dev::lire_source(text, dico, error)) {
    return fail(kInvalid, src, error);
  }
  options.version = version.empty() ? options.version : version;
  options.version_requise = required.empty() ? options.version_requise : required;
  options.commentaire = comment.empty() ? options.commentaire : comment;
  if (!four_digits(options.version) || !four_digits(options.version_requise)) {
    return fail(kUsage, src, "version numbers have four digits");
  }
  if (options.commentaire.empty() || options.commentaire.size() > MC_LG_COMMENTAIRE ||
      options.commentaire.find('\r') != std::string::npos) {
    return fail(kUsage, src, "the comment needs 1 to 200 characters and no CR");
  }
  std::string target = dir;
  std::string temp;
  if (!key.empty()) {  // written with a CRC beside, then sealed with the signature
    temp = dir + "/.mctoolXXXXXX";
    if (mkdtemp(temp.data()) == nullptr) {
      return fail(kUsage, dir, "cannot make a temporary directory", MC_ERR_FICHIER);
    }
    target = temp;
  }
  const uint16_t code = mc::dev::ecrire_table(target, dico, options);
  int status = code == MC_CR_OK ? kOk : fail(kUsage, target + "/" + options.nom_fichier, "cannot be written", code);
  if (!temp.empty()) {
    const std::string written = temp + "/" + options.nom_fichier;
    if (status == kOk) {
      status = seal(written, dir + "/" + options.nom_fichier, key, pem);
    }
    std::remove(written.c_str());
    rmdir(temp.c_str());
  }
  return status;
}

int decompile(const std::string& path, const std::string& out) {
  DictFile dict;
  if (const int loaded = load_dictionary(path, dict); loaded != kOk) {
    return loaded;
  }
  const EnteteFichierBinaire& h = dict.file.header;
  std::string s = "# " + base_of(path) + ", written back by mctool dict decompile\n";
  const std::string comment = h.szCommentaire;
  if (comment.find_first_of("\"\n") != std::string::npos) {
    return fail(kInvalid, path, "the comment cannot be written in a source");
  }
  s += std::string("entete version ") + h.szVersion + " requise " + h.szVersionRequise +
       " commentaire \"" + comment + "\"\n";
  const char* fixed[] = {h.szTexte5, h.szTexte8, h.szTexte5b, h.szTexte10};
  bool same = dict.order == std::vector<std::string>{"TGROUPE", "TCHAMP", "TVALEUR"} &&
              dict.file.control == MC_CONTROLE_CRC16 && std::string(h.szNomFichier) == "tablebin.tbx" &&
              dict.uneven.empty();
  for (int i = 0; i < 4; ++i) {
    same = same && std::strcmp(fixed[i], kFixedHeader[i]) == 0;
  }
  uint32_t next_field = 0;
  uint32_t next_value = 0;
  for (uint32_t g = 0; g < g_ulNbTabGrp; ++g) {
    const MC_GroupeDictionnaire& grp = g_stTabGrp[g];
    if (grp.usPremierChamp != next_field || next_field + grp.usNbChamps > g_ulNbTabChp) {
      return fail(kInvalid, path, "the fields of group " + std::to_string(g + 1) +
                                      " do not follow the previous group's: not a file compile writes (see dict check)");
    }
    char line[64];
    std::snprintf(line, sizeof line, "\ngroupe 0x%04X\n", grp.usCodeGroupe);
    s += line;
    for (const MC_ChampDictionnaire* f : fields_of(grp)) {
      ++next_field;
      if (f->usPremiereValeur != next_value || next_value + f->usNbValeurs > g_ulNbTabVal ||
          (f->lObligatoire != 0 && f->lObligatoire != 1) || f->cType <= 0x20 || f->cType == '#' ||
          f->cType == '"' || f->cType >= 0x7F) {
        return fail(kInvalid, path, "field " + std::to_string(next_field) +
                                        " cannot be written in a source: not a file compile writes (see dict check)");
      }
      next_value += f->usNbValeurs;
      s += "  champ " + std::string(1, static_cast<char>(f->cType)) + " " + std::to_string(f->usLongueurMin) +
           " " + std::to_string(f->usLongueurMax) + (f->lObligatoire == 1 ? " obligatoire" : " facultatif");
      if (f->lInformation != 0) {
        s += " info=" + std::to_string(f->lInformation);
      }
      const std::vector<std::string> values = values_of(*f);
      if (!values.empty()) {
        s += " :";
      }
      for (const std::string& v : values) {
        std::string word;
        if (!source_word(v, word)) {
          return fail(kInvalid, path, "a value of field " + std::to_string(next_field) + " cannot be written in a source");
        }
        s += " " + word;
      }
      s += "\n";
    }
  }
  if (next_field != g_ulNbTabChp || next_value != g_ulNbTabVal) {
    return fail(kInvalid, path, "fields or values that no group uses: not a file compile writes (see dict check)");
  }
  if (!same) {
    warn(path, "its header, protection or table order differ from what compile writes: compiling the source "
               "gives another file");
  }
  if (out.empty() || out == "-") {
    std::fwrite(s.data(), 1, s.size(), stdout);
  } else if (!write_bytes(out, Bytes(s.begin(), s.end()))) {
    return fail(kUsage, out, "cannot be written");
  }
  return kOk;
}

int check(const std::string& path) {
  DictFile dict;
  if (const int loaded = load_dictionary(path, dict); loaded != kOk) {
    return loaded;
  }
  int status = kOk;
  const auto fault = [&](const std::string& what, std::optional<uint32_t> code = std::nullopt) {
    status = fail(kInvalid, path, what, code);
  };
  std::vector<std::string> first(dict.order.begin(), dict.order.begin() + std::min<size_t>(3, dict.order.size()));
  std::sort(first.begin(), first.end());
  if (first != std::vector<std::string>{"TCHAMP", "TGROUPE", "TVALEUR"}) {
    std::string names;
    for (const std::string& n : dict.order) names += " " + n;
    fault("the start-up reads the first three tables, which must be TGROUPE, TCHAMP and TVALEUR in any order; "
          "the file holds:" + names, MC_ERR_FIN_FICHIER);
  }
  for (const std::string& n : dict.uneven) {
    fault("the records of " + n + " do not fill its data exactly, and the start-up reads the tables back to back");
  }
  const EnteteFichierBinaire& h = dict.file.header;
  if (std::strcmp(h.szVersion, "0100") != 0 || std::strcmp(h.szVersionRequise, "0100") != 0) {
    fault(std::string("the library of version 0100 refuses versions ") + h.szVersion + " and " + h.szVersionRequise,
          MC_ERR_VERSION);
  }
  std::map<uint16_t, uint32_t> seen;
  for (uint32_t g = 0; g < g_ulNbTabGrp; ++g) {
    const MC_GroupeDictionnaire& grp = g_stTabGrp[g];
    char name[48];
    std::snprintf(name, sizeof name, "group %u (code 0x%04X)", g + 1, grp.usCodeGroupe);
    if (auto [it, fresh] = seen.emplace(grp.usCodeGroupe, g + 1); !fresh) {
      fault(std::string(name) + " repeats the code of group " + std::to_string(it->second) +
            ": the library only ever finds the first");
    }
    if (uint32_t{grp.usPremierChamp} + grp.usNbChamps > g_ulNbTabChp) {
      fault(std::string(name) + ": fields " + std::to_string(grp.usPremierChamp) + " to " +
            std::to_string(grp.usPremierChamp + grp.usNbChamps - 1) + " lie outside TCHAMP (" +
            std::to_string(g_ulNbTabChp) + " rows)");
    }
  }
  for (uint32_t c = 0; c < g_ulNbTabChp; ++c) {
    const MC_ChampDictionnaire& f = g_stTabChp[c];
    const std::string name = "TCHAMP row " + std::to_string(c);
    if (uint32_t{f.usPremiereValeur} + f.usNbValeurs > g_ulNbTabVal) {
      fault(name + ": values " + std::to_string(f.usPremiereValeur) + " to " +
            std::to_string(f.usPremiereValeur + f.usNbValeurs - 1) + " lie outside TVALEUR (" +
            std::to_string(g_ulNbTabVal) + " rows)");
    }
    if (f.cType != 'D' && f.cType != 'A' && f.cType != 'L' && f.cType != 'N') {
      fault(name + ": type " + type_letter(f.cType) + " is none of D A L N, so its values are never checked");
    }
    if (f.usLongueurMax != 0 && f.usLongueurMin > f.usLongueurMax) {
      fault(name + ": minimum length " + std::to_string(f.usLongueurMin) + " above its maximum " +
            std::to_string(f.usLongueurMax));
    }
  }
  if (status == kOk) {
    std::printf("%s: %u groups, %u fields, %u values: no fault found\n", path.c_str(), g_ulNbTabGrp,
                g_ulNbTabChp, g_ulNbTabVal);
  }
  return status;
}

int show(const std::string& path, const std::string& only, bool json) {
  DictFile dict;
  if (const int loaded = load_dictionary(path, dict); loaded != kOk) {
    return loaded;
  }
  uint32_t wanted = 0;
  if (!only.empty() && (!parse_number(only, wanted) || wanted > 0xFFFF)) {
    return fail(kUsage, "", "bad group code: " + only);
  }
  ordered_json out = ordered_json::array();
  bool found = only.empty();
  for (uint32_t g = 0; g < g_ulNbTabGrp; ++g) {
    const MC_GroupeDictionnaire& grp = g_stTabGrp[g];
    if (!only.empty() && grp.usCodeGroupe != wanted) {
      continue;
    }
    found = true;
    ordered_json fields = ordered_json::array();
    if (!json) {
      std::printf("group 0x%04X (%u): %u fields\n", grp.usCodeGroupe, grp.usCodeGroupe, grp.usNbChamps);
    }
    int number = 0;
    for (const MC_ChampDictionnaire* f : fields_of(grp)) {
      ++number;
      fields.push_back(field_json(*f));
      if (!json) {
        std::printf("  field %d: %s\n", number, field_text(*f).c_str());
      }
    }
    out.push_back({{"code", grp.usCodeGroupe}, {"fields", fields}});
  }
  if (!found) {
    return fail(kInvalid, path, "no group " + only, MC_ERR_FIN);
  }
  if (json) {
    print_json(out);
  }
  return kOk;
}

}  // namespace

void add_dict(CLI::App& app) {
  CLI::App* dict = app.add_subcommand("dict", "Dictionary files (tablebin.tbx): compile, decompile, check, show");
  dict->require_subcommand(1);
  static std::string path, out, version, required, comment, key, pem, group;
  static bool json = false;

  CLI::App* c = dict->add_subcommand("compile", "Write DIR/tablebin.tbx from a dictionary source with the library's writer");
  c->add_option("SRC", path, "dictionary source (.dico)")->required();
  c->add_option("-o,--output", out, "output directory")->required();
  c->add_option("--version", version, "the file's version number, 4 digits (default 0100)");
  c->add_option("--required", required, "the library version required, 4 digits (default 0100)");
  c->add_option("--comment", comment, "the header's comment");
  c->add_option("--sign", key, "sign with this private key file instead of a CRC16");
  c->add_option("--public-key", pem, "check the signed file with this PEM public key, not the built-in one");
  c->callback([] { g_status = compile(path, out, version, required, comment, key, pem); });

  CLI::App* d = dict->add_subcommand("decompile", "Write a dictionary file back as its source");
  d->add_option("FILE", path, "dictionary table file")->required();
  d->add_option("-o,--output", out, "source file to write (default: standard output)");
  d->callback([] { g_status = decompile(path, out); });

  CLI::App* k = dict->add_subcommand("check", "Report what the library never checks in a dictionary file");
  k->add_option("FILE", path, "dictionary table file")->required();
  k->callback([] { g_status = check(path); });

  CLI::App* s = dict->add_subcommand("show", "Groups, fields and allowed values");
  s->add_option("FILE", path, "dictionary table file")->required();
  s->add_option("--group", group, "only this group code (decimal or 0x hexadecimal)");
  s->add_flag("--json", json, "JSON output");
  s->callback([] { g_status = show(path, group, json); });
}

}  // namespace mctool
