// zone.cpp -- mctool zone: a zone's bytes as a tree of groups and fields, its syntax control,
// and its format control against a dictionary, with a refusal named in words.
#include <cstdio>
#include <iostream>
#include <iterator>

#include "tools/mctool/mctool.h"

namespace mctool {
namespace {

struct Field {
  uint32_t offset = 0;
  uint32_t form = 0;  // bytes of the coded length
  uint32_t length = 0;
};
struct Group {
  uint32_t offset = 0;
  uint16_t id = 0;
  uint32_t header = 0;  // identifier and coded length
  uint32_t length = 0;
  std::vector<Field> fields;
};

// Walks the bytes with the library's decoders; false with the offset of the first byte that
// breaks the encoding and the reason.
bool walk(const Bytes& z, std::vector<Group>& groups, uint32_t& at, std::string& why) {
  const auto size = static_cast<uint32_t>(z.size());
  uint32_t pos = 0;
  do {
    Group g;
    g.offset = at = pos;
    if (MC_usDecoderEnteteGroupe(z.data(), size, pos, &g.id, &g.length, &g.header) != MC_CR_OK) {
      why = pos + 2 >= size ? "a group header needs 3 bytes" : "the group length is coded on more bytes than the zone holds, or on more than 4";
      return false;
    }
    if (g.length == 0) {
      why = "a group of length 0";
      return false;
    }
    const uint64_t end = uint64_t{pos} + g.header + g.length;
    if (end > size) {
      why = "the group runs past the end of the zone (" + std::to_string(end) + " > " + std::to_string(size) + ")";
      return false;
    }
    for (uint32_t f = pos + g.header; f < end;) {
      Field field;
      field.offset = at = f;
      if (MC_stDecoderLongueur(z.data(), static_cast<uint32_t>(end), f, &field.length, &field.form) != MC_CR_OK) {
        why = "the field length is coded on more bytes than its group holds, or on more than 4";
        return false;
      }
      if (uint64_t{f} + field.form + field.length > end) {
        why = "the field runs past the end of its group";
        return false;
      }
      g.fields.push_back(field);
      f += field.form + field.length;
    }
    groups.push_back(g);
    pos = static_cast<uint32_t>(end);
  } while (pos < size);
  return true;
}

bool read_zone(const std::string& path, bool is_hex, Bytes& out, std::string& name) {
  name = path.empty() || path == "-" ? "<stdin>" : path;
  Bytes raw;
  if (name == "<stdin>") {
    raw.assign(std::istreambuf_iterator<char>(std::cin), std::istreambuf_iterator<char>());
  } else if (!read_bytes(path, raw)) {
    fail(kUsage, name, "cannot be read");
    return false;
  }
  if (!is_hex) {
    out = std::move(raw);
  } else if (!parse_hex(std::string_view(reinterpret_cast<const char*>(raw.data()), raw.size()), out)) {
    fail(kUsage, name, "not hex text (pairs of hex digits, blanks between them allowed)");
    return false;
  }
  return true;
}

// The library's own control of the bytes, in a zone over a copy of them.
uint16_t control(Bytes z, bool format) {
  uint16_t zone = 0;
  uint16_t code = z.empty() ? MC_usCreerZoneMemoire(1, 1, &zone)
                            : MC_usInitialiserZoneMemoire(z.data(), static_cast<uint32_t>(z.size()), &zone, 1);
  if (code != MC_CR_OK) {
    return code;
  }
  code = format ? MC_usControlerFormatZoneMemoire(zone) : MC_usControlerSyntaxeZoneMemoire(zone);
  unsigned char* own = nullptr;
  uint32_t size = 0;
  if (z.empty()) {
    MC_pucLireBuffer(zone, &size, &own);
  }
  MC_usLibererZoneMemoire(zone);
  MC_Liberer(own);
  return code;
}

std::string hex_id(uint16_t id) {
  char text[24];
  std::snprintf(text, sizeof text, "0x%04X (%u)", id, id);
  return text;
}

int decode(const std::string& path, bool is_hex, const std::string& dict_path, bool json) {
  Bytes z;
  std::string name;
  if (!read_zone(path, is_hex, z, name)) {
    return kUsage;
  }
  DictFile dict;
  if (!dict_path.empty()) {
    if (const int loaded = load_dictionary(dict_path, dict); loaded != kOk) {
      return loaded;
    }
  }
  std::vector<Group> groups;
  uint32_t at = 0;
  std::string why;
  const bool whole = !z.empty() && walk(z, groups, at, why);
  const uint16_t code = control(z, false);
  ordered_json out = {{"size", z.size()}};
  ordered_json jg = ordered_json::array();
  int ordinal = 0;
  for (const Group& g : groups) {
    ++ordinal;
    const MC_GroupeDictionnaire* known = dict_path.empty() ? nullptr : find_group(g.id);
    const std::string form = hex(z.data() + g.offset + 2, g.header - 2);
    ordered_json o = {{"group", ordinal}, {"offset", g.offset}, {"id", g.id}, {"length", g.length},
                      {"length_form", form}};
    if (!json) {
      std::printf("group %d at %u: id %s, length %u (coded %s)%s\n", ordinal, g.offset, hex_id(g.id).c_str(),
                  g.length, form.c_str(),
                  dict_path.empty() ? "" : known != nullptr ? "" : ", not in the dictionary");
    }
    if (!dict_path.empty()) {
      o["known"] = known != nullptr;
    }
    const std::vector<const MC_ChampDictionnaire*> expected = known ? fields_of(*known) : std::vector<const MC_ChampDictionnaire*>{};
    ordered_json jf = ordered_json::array();
    size_t number = 0;
    for (const Field& f : g.fields) {
      ++number;
      const uint8_t* data = z.data() + f.offset + f.form;
      const std::string text = printable(data, f.length);
      ordered_json fo = {{"field", number}, {"offset", f.offset}, {"length", f.length},
                         {"length_form", hex(z.data() + f.offset, f.form)}, {"text", text},
                         {"hex", hex(data, f.length, "")}};
      std::string described;
      if (number <= expected.size()) {
        fo["dictionary"] = field_json(*expected[number - 1]);
        described = "    " + field_text(*expected[number - 1]);
      } else if (known != nullptr) {
        described = "    beyond the dictionary's " + std::to_string(expected.size()) + " fields";
      }
      if (!json) {
        std::printf("  field %zu at %u: length %u (coded %s) \"%s\" [%s]%s\n", number, f.offset, f.length,
                    hex(z.data() + f.offset, f.form).c_str(), text.c_str(), hex(data, f.length).c_str(),
                    described.empty() ? "" : ("\n" + described).c_str());
      }
      jf.push_back(fo);
    }
    o["fields"] = jf;
    jg.push_back(o);
  }
  out["groups"] = jg;
  out["syntax"] = {{"code", code}, {"text", describe(code)}};
  if (!whole) {
    out["syntax"]["break_offset"] = at;
    out["syntax"]["reason"] = z.empty() ? "an empty zone" : why;
  }
  if (json) {
    print_json(out);
  } else {
    std::printf("syntax control: %s\n", describe(code).c_str());
  }
  if (code != MC_CR_OK) {
    return fail(kInvalid, name, "syntax control fails at offset " + std::to_string(at) + ": " +
                                    (z.empty() ? std::string("an empty zone") : why), code);
  }
  return kOk;
}

// Names the group or field that the format control's code points at.
std::string refusal(const Bytes& z, uint16_t code) {
  std::vector<Group> groups;
  uint32_t at = 0;
  std::string why;
  walk(z, groups, at, why);
  const auto group_name = [&](uint32_t g) {
    char text[48];
    if (g >= 1 && g <= groups.size()) {
      std::snprintf(text, sizeof text, "group %u (id 0x%04X, %u)", g, groups[g - 1].id, groups[g - 1].id);
    } else {
      std::snprintf(text, sizeof text, "group %u", g);
    }
    return std::string(text);
  };
  if (code > MC_ERR_NOMBRE_CHAMPS && code <= 0xAFFF) {
    const uint32_t g = code - MC_ERR_NOMBRE_CHAMPS;
    const MC_GroupeDictionnaire* d = g <= groups.size() ? find_group(groups[g - 1].id) : nullptr;
    return group_name(g) + " holds " + (g <= groups.size() ? std::to_string(groups[g - 1].fields.size()) : "?") +
           " fields, the dictionary says " + (d ? std::to_string(d->usNbChamps) : "?");
  }
  if (code > MC_ERR_GROUPE_INCONNU && code < MC_ERR_NOMBRE_CHAMPS) {
    return group_name(code - MC_ERR_GROUPE_INCONNU) + " is unknown to the dictionary";
  }
  if (code > MC_ERR_FORMAT_CHAMP && code <= 0x9FFF) {
    uint32_t rank = code - MC_ERR_FORMAT_CHAMP;
    uint32_t base = 0;
    for (size_t g = 0; g < groups.size(); ++g) {
      const MC_GroupeDictionnaire* d = find_group(groups[g].id);
      const uint32_t n = d ? d->usNbChamps : 0;
      if (d != nullptr && rank > base && rank <= base + n) {
        const uint32_t number = rank - base;
        std::string text = "field " + std::to_string(number) + " of " + group_name(static_cast<uint32_t>(g + 1)) +
                           ", rank " + std::to_string(rank) + ", is refused";
        const std::vector<const MC_ChampDictionnaire*> fields = fields_of(*d);
        if (number <= fields.size()) {
          text += ": " + field_text(*fields[number - 1]);
        }
        if (number <= groups[g].fields.size()) {
          const Field& f = groups[g].fields[number - 1];
          const uint8_t* data = z.data() + f.offset + f.form;
          text += "; value \"" + printable(data, f.length) + "\" [" + hex(data, f.length) + "]";
        }
        return text;
      }
      base += n;
    }
    return "the field of rank " + std::to_string(rank) + " is refused";
  }
  return why.empty() ? "refused" : "malformed at offset " + std::to_string(at) + ": " + why;
}

int check(const std::string& path, bool is_hex, const std::string& dict_path) {
  Bytes z;
  std::string name;
  if (!read_zone(path, is_hex, z, name)) {
    return kUsage;
  }
  DictFile dict;
  bool started = false;
  if (!dict_path.empty()) {
    if (const int loaded = load_dictionary(dict_path, dict); loaded != kOk) {
      return loaded;
    }
  } else {
    char* v1 = nullptr;
    char* v2 = nullptr;
    const uint16_t code = MC_usInitLIB(&v1, &v2);
    MC_Liberer(v1);
    MC_Liberer(v2);
    if (code != MC_CR_OK) {
      return fail(kUsage, "norba.ini", "the installed configuration's dictionary cannot be loaded (give --dict)", code);
    }
    started = true;
  }
  const uint16_t code = control(z, true);
  const std::string why = code == MC_CR_OK ? "" : refusal(z, code);
  if (started) {
    MC_usTermLIB();
  }
  if (code == MC_CR_OK) {
    std::printf("%s: conforms to the dictionary\n", name.c_str());
    return kOk;
  }
  return fail(kInvalid, name, why, code);
}

}  // namespace

void add_zone(CLI::App& app) {
  CLI::App* zone = app.add_subcommand("zone", "Memory zone bytes: decode as groups and fields, check against the dictionary");
  zone->require_subcommand(1);
  static std::string path, dict;
  static bool is_hex = false, json = false;

  CLI::App* d = zone->add_subcommand("decode", "Groups and fields with offsets, lengths and values; the syntax control");
  d->add_option("FILE", path, "zone bytes (default or -: standard input)");
  d->add_flag("--hex", is_hex, "the input is hex text");
  d->add_option("--dict", dict, "name each field's type, limits and allowed values from this dictionary file");
  d->add_flag("--json", json, "JSON output");
  d->callback([] { g_status = decode(path, is_hex, dict, json); });

  CLI::App* c = zone->add_subcommand("check", "The format control; a refusal is named in words");
  c->add_option("FILE", path, "zone bytes (default or -: standard input)");
  c->add_flag("--hex", is_hex, "the input is hex text");
  c->add_option("--dict", dict, "dictionary file (default: the one the installed norba.ini names)");
  c->callback([] { g_status = check(path, is_hex, dict); });
}

}  // namespace mctool
