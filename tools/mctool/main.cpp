// main.cpp -- mctool: see into table files, dictionaries and zones with libmc's own code.
#include <cstdio>
#include <iostream>

#include "tools/mctool/mctool.h"

namespace {

int code_command(const std::string& text, bool list) {
  using namespace mctool;
  if (list) {
    for (const CodeInfo& c : codes()) {
      std::printf("%s\n", describe(c.value).c_str());
    }
    return kOk;
  }
  uint32_t value = 0;
  bool found = false;
  for (const CodeInfo& c : codes()) {
    if (text == c.name) {
      value = c.value;
      found = true;
    }
  }
  if (!found && !parse_number(text, value) && !parse_number("0x" + text, value)) {
    return fail(kUsage, "", "not a code: " + text);
  }
  if (value > 0xFFFF) {
    return fail(kUsage, "", "a result code has 16 bits: " + text);
  }
  const std::string d = describe(value);
  std::printf("%s\n", d.c_str());
  return d.find("(not a libmc result code)") == std::string::npos ? kOk : kInvalid;
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app{
      "mctool -- table files, dictionaries, zones, INI files and keys of libmc, seen through the library's own code.\n"
      "Exit status: 0 success, 1 the file or zone is not valid, 2 usage or input/output error."};
  app.require_subcommand(1);
  app.set_version_flag("--version", "mctool 1.0.0");
  mctool::add_tbx(app);
  mctool::add_dict(app);
  mctool::add_zone(app);
  mctool::add_ini(app);
  mctool::add_key(app);
  std::string code;
  bool list = false;
  CLI::App* c = app.add_subcommand("code", "Name and meaning of a result code (0xA000+g, 0xA800+g, 0x9000+r decoded)");
  c->add_option("CODE", code, "a code in hex (0xF630 or F630), decimal, or a name (MC_ERR_CONTROLE)");
  c->add_flag("--list", list, "every code of the list");
  c->callback([&] {
    mctool::g_status = !list && code.empty() ? mctool::fail(mctool::kUsage, "", "code needs CODE or --list")
                                             : code_command(code, list);
  });
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& e) {
    const int printed = app.exit(e, std::cout, std::cerr);
    return printed == 0 ? mctool::kOk : mctool::kUsage;
  }
  return mctool::g_status;
}
