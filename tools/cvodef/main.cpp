// vls-cvodef: the conversion compiler's command line.
//
//   vls-cvodef -f FROM -t TO [--charmaps DIR]... [--desc DIR]... [--registry FILE]
//              [--from-name NAME] [--to-name NAME] [-r OUTPUT]... [-u] [-v|-q] OUTPUT...
//   vls-cvodef --batch FILE [options]
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>
#include <map>
#include <new>
#include <sstream>
#include <unistd.h>

#include <vls/vlsspec.h>

#include "cvodef.h"
#include "args.h"
#include "ldef.h"

namespace {

using cvodef::Codeset;
using ldef::Error;

void usage(std::ostream &o) {
  o << "usage: vls-cvodef -f FROM -t TO [options] OUTPUT...\n"
       "       vls-cvodef --batch FILE [options]\n"
       "  -f FROM, -t TO   the source and target codesets: UCS-2LE or UCS-4LE, a description\n"
       "                   (a .desc path, or NAME.desc in a --desc directory), or a charmap\n"
       "                   (a path, or a name found plain or .gz in the --charmaps\n"
       "                   directories and then in /usr/share/i18n/charmaps)\n"
       "  --charmaps DIR   a further directory for charmaps\n"
       "  --desc DIR       a directory for descriptions of stateful codesets\n"
       "  --from-name NAME, --to-name NAME\n"
       "                   the library's codeset names, where the table has none\n"
       "  --registry FILE  check the names, and outputs named xxxxyyyy.cvo (target and\n"
       "                   source numbers) or TARGET_SOURCE.cvo, against this registry\n"
       "  -r OUTPUT        also write the reverse conversion (TO to FROM) to OUTPUT\n"
       "  --batch FILE     compile the pairs of FILE, one a line: FROM TO OUTPUT... [-r OUTPUT...];\n"
       "                   each codeset is read once\n"
       "  -u               write the trees uncompressed\n"
       "  -v               report what is left without a mapping\n"
       "  -q               no warnings\n"
       "  OUTPUT           the .cvo file(s) to write (the same object under each name)\n";
}

std::string base_name(const std::string &p) {
  size_t s = p.find_last_of('/');
  return s == std::string::npos ? p : p.substr(s + 1);
}

// An output named like a shipped file must be the name the library opens:
// vl_cs_nums2cv_fname(target, source) or "target_source.cvo".
void check_output(const cvodef::Options &opt, const std::string &out, const Codeset &from, const Codeset &to) {
  if (opt.registry.empty()) return;
  std::string file = base_name(out);
  uint16_t nt = vl_cs_name2cs_num(nullptr, to.name.c_str(), opt.registry.c_str());
  uint16_t ns = vl_cs_name2cs_num(nullptr, from.name.c_str(), opt.registry.c_str());
  bool numeric = file.size() == 12 && file.compare(8, 4, ".cvo") == 0 &&
                 file.find_first_not_of("0123456789abcdef") == 8;
  if (numeric) {
    if (nt == VL_CS_NONE || ns == VL_CS_NONE)
      throw Error(out + ": the registry has no number for \"" + (nt == VL_CS_NONE ? to.name : from.name) + "\"");
    char want[16];
    if (vl_cs_nums2cv_fname(nullptr, nt, ns, want, nullptr) != 0 || file != want)
      throw Error(out + ": the library opens this pair as " + want);
  } else if (file.find('_') != std::string::npos && file != to.name + "_" + from.name + ".cvo") {
    throw Error(out + ": the library opens this pair as " + to.name + "_" + from.name + ".cvo");
  }
}

void write_file(const std::string &out, const std::string &text) {
  std::string tmp = out + ".tmp";
  FILE *f = fopen(tmp.c_str(), "wb");
  if (!f) throw Error(out, 0, std::string("cannot write: ") + strerror(errno));
  bool ok = fwrite(text.data(), 1, text.size(), f) == text.size();
  ok = (fclose(f) == 0) && ok;
  if (!ok || rename(tmp.c_str(), out.c_str()) != 0) {
    unlink(tmp.c_str());
    throw Error(out, 0, std::string("cannot write: ") + strerror(errno));
  }
}

void compile(const cvodef::Options &opt, const Codeset &from, const Codeset &to,
             const std::vector<std::string> &outputs) {
  if (outputs.empty()) return;
  for (const auto &o : outputs) check_output(opt, o, from, to);
  cvodef::PairReport rep;
  cvow::Object obj = cvodef::build_pair(from, to, !opt.uncompressed, rep);
  if (rep.mapped == 0) throw Error(from.label + " to " + to.label + ": no character has a mapping");
  std::string text;
  size_t bad = 0;
  if (!cvow::cvo_text(obj, text, &bad)) throw Error(from.label + " to " + to.label + ": the tree cannot be built");
  if (cvodef::g_verbose)
    std::cerr << "vls-cvodef: " << from.label << " to " << to.label << ": " << rep.mapped << " mapped, "
              << rep.unmapped << " without a mapping, expansion " << obj.expansion << "\n";
  for (const auto &o : outputs) write_file(o, text);
}

void run(const cvodef::Options &opt, const Codeset &from, const Codeset &to) {
  if (from.name == to.name) throw Error("both sides are the codeset \"" + from.name + "\"");
  compile(opt, from, to, opt.outputs);
  compile(opt, to, from, opt.reverse_outputs);
}

// One pair a line, every codeset read once for all of them.
void run_batch(const cvodef::Options &base, const std::string &path) {
  std::ifstream in(path);
  if (!in) throw Error(path, 0, "cannot open");
  std::map<std::string, Codeset> cache;
  auto get = [&](const std::string &label) -> const Codeset & {
    auto it = cache.find(label);
    if (it == cache.end()) it = cache.emplace(label, cvodef::load_codeset(base, label, "")).first;
    return it->second;
  };
  std::string line;
  for (int lineno = 1; std::getline(in, line); ++lineno) {
    size_t hash = line.find('#');
    if (hash != std::string::npos) line.resize(hash);
    std::istringstream is(line);
    cvodef::Options opt = base;
    std::string w;
    bool reverse = false;
    while (is >> w) {
      if (w == "-r") reverse = true;
      else if (opt.from.empty()) opt.from = w;
      else if (opt.to.empty()) opt.to = w;
      else (reverse ? opt.reverse_outputs : opt.outputs).push_back(w);
    }
    if (opt.from.empty()) continue;
    if (opt.to.empty() || (opt.outputs.empty() && opt.reverse_outputs.empty()))
      throw Error(path, lineno, "expected FROM TO OUTPUT... [-r OUTPUT...]");
    run(opt, get(opt.from), get(opt.to));
  }
}

}  // namespace

int main(int argc, char **argv) {
  return ldef::run_main("vls-cvodef", [&] {
    cvodef::Options opt;
    std::string batch;
    const ldef::SharedOptions shared{&cvodef::g_verbose, &cvodef::g_quiet, &opt.uncompressed, &opt.charmap_dirs, &opt.registry};
    ldef::Args args(argc, argv);
    while (args.next()) {
      const std::string &a = args.arg();
      if (a == "-h" || a == "--help") {
        usage(std::cout);
        return 0;
      } else if (ldef::shared_option(args, shared)) {
      } else if (args.is("--desc")) {
        opt.desc_dirs.push_back(args.value("--desc"));
      } else if (args.is("--batch")) {
        batch = args.value("--batch");
      } else if (args.is("--from-name")) {
        opt.from_name = args.value("--from-name");
      } else if (args.is("--to-name")) {
        opt.to_name = args.value("--to-name");
      } else if (args.is("-f")) {
        opt.from = args.value("-f");
      } else if (args.is("-t")) {
        opt.to = args.value("-t");
      } else if (args.is("-r")) {
        opt.reverse_outputs.push_back(args.value("-r"));
      } else if (a.size() > 1 && a[0] == '-') {
        throw Error("unknown option " + a);
      } else {
        opt.outputs.push_back(a);
      }
    }
    if (batch.empty() && (opt.from.empty() || opt.to.empty() || (opt.outputs.empty() && opt.reverse_outputs.empty()))) {
      usage(std::cerr);
      return 2;
    }
    if (!opt.registry.empty()) {
      FILE *f = fopen(opt.registry.c_str(), "r");
      if (!f) throw Error(opt.registry, 0, "cannot open the registry");
      fclose(f);
    }
    if (batch.empty()) {
      Codeset from = cvodef::load_codeset(opt, opt.from, opt.from_name);
      Codeset to = cvodef::load_codeset(opt, opt.to, opt.to_name);
      run(opt, from, to);
    } else {
      run_batch(opt, batch);
    }
    return 0;
  });
}
