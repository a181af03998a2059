// From two codesets to the conversion object: source characters paired with
// target characters by Unicode value, the shift states of a stateful side,
// the lengths, the expansion and the informational counts.
#include <algorithm>
#include <map>

#include "cvodef.h"
#include "ldef.h"

namespace cvodef {

namespace {

using State = std::map<std::string, cvow::Entry>;

// A sequence that the source reads over, in a state whose one-byte
// characters may begin it (ISO-2022-KR's designator ESC $ ) C, where ESC
// alone is a character). Each proper prefix of the sequence leads on; a
// prefix followed by any other byte converts as the one-byte characters it
// consists of, unless that byte could begin the sequence again (those
// combinations are left out). So the bytes convert as glibc reads them,
// within the four bytes of a key.
void add_read_over(State &st, const std::string &seq) {
  const State one = st;
  auto single = [&](unsigned char b) -> const cvow::Entry * {
    auto it = one.find(std::string(1, static_cast<char>(b)));
    return it == one.end() || !it->second.flags ? nullptr : &it->second;
  };
  for (size_t i = 1; i < seq.size(); ++i) {
    std::string prefix = seq.substr(0, i);
    for (int b = 0; b < 256; ++b) {
      if (b == static_cast<unsigned char>(seq[i]) || b == static_cast<unsigned char>(seq[0])) continue;
      cvow::Entry e{prefix + static_cast<char>(b), 0, ""};
      bool ok = true;
      for (unsigned char c : e.source) {
        const cvow::Entry *p = single(c);
        if (!p || (e.flags && ((e.flags ^ p->flags) & cvow::kShifted))) {
          ok = false;
          break;
        }
        e.flags |= p->flags;
        e.target += p->target;
      }
      if (ok) st[e.source] = e;
    }
    st.erase(prefix);
  }
  st[seq] = cvow::Entry{seq, cvow::kMapped, ""};
}

// A key that is a prefix of another cannot be in one tree.
void check_prefixes(const State &st, const std::string &what) {
  const std::string *prev = nullptr;
  for (const auto &kv : st) {
    if (prev && kv.first.compare(0, prev->size(), *prev) == 0)
      throw ldef::Error("in " + what + ", a character is the beginning of another one");
    prev = &kv.first;
  }
}

}  // namespace

cvow::Object build_pair(const Codeset &from, const Codeset &to, bool compress, PairReport &rep) {
  State st[2];
  Char scratch;
  for (const auto &c : from.chars) {
    const Char *t = c.ucs == kNone ? nullptr : to.find(c.ucs, scratch);
    // Unicode's tag characters (U+E0000-U+E007F) that the target lacks are
    // read over, as glibc's converters drop them (not where the target is
    // fixed-width Unicode, whose converter writes a whole unit for any entry).
    const Char dropped{"", c.ucs, 0};
    if (!t && !to.unicode && c.ucs >= 0xE0000 && c.ucs <= 0xE007F) t = &dropped;
    if (!t) {
      ++rep.unmapped;
      continue;
    }
    uint8_t flags = cvow::kMapped | (t->state ? cvow::kShifted : 0) | (c.ucs == 0 ? cvow::kTerminator : 0);
    if (st[c.state].emplace(c.bytes, cvow::Entry{c.bytes, flags, t->bytes}).second) ++rep.mapped;
  }
  if (from.stateful) {
    // In each state its own sequence toggles the state and the other one
    // is read over, as the sequences stand for the state they select.
    for (int s = 0; s < 2; ++s) {
      const std::string &own = from.seq[s], &other = from.seq[1 - s];
      st[s][own] = cvow::Entry{own, cvow::kMapped | cvow::kToggle, ""};
      st[s][other] = cvow::Entry{other, cvow::kMapped, ""};
      if (!from.seq[2].empty()) add_read_over(st[s], from.seq[2]);
    }
  }

  cvow::Object o;
  o.compress = compress;
  o.source_stateful = from.stateful;
  o.target_stateful = to.stateful;
  if (to.stateful) {
    for (int k = 0; k < 3; ++k) o.shift[k] = to.seq[k];
  } else if (from.stateful) {
    o.shift[2] = from.seq[2];
  }
  o.source_min_len = from.min_len;
  o.source_max_len = from.max_len;
  o.target_min_len = to.min_len;
  o.target_max_len = to.max_len;
  double expansion = 0;
  const int enter = static_cast<int>(o.shift[0].size()), leave = static_cast<int>(o.shift[1].size());
  for (int s = 0; s < (from.stateful ? 2 : 1); ++s) {
    check_prefixes(st[s], from.label + (s ? " (shifted)" : ""));
    for (const auto &kv : st[s]) {
      const cvow::Entry &e = kv.second;
      int n = static_cast<int>(e.source.size()), t = static_cast<int>(e.target.size());
      o.source_min_len = std::min(o.source_min_len, n);
      o.source_max_len = std::max(o.source_max_len, n);
      o.target_max_len = std::max(o.target_max_len, t);
      // The worst a character costs: for a stateful target, a character of
      // the shifted state may need both sequences around it (it ends the
      // text), any other the sequence that leaves the shifted state.
      if (to.stateful) t += (e.flags & cvow::kShifted) ? enter + leave : leave;
      expansion = std::max(expansion, static_cast<double>(t) / n);
      (s ? o.shifted : o.entries).push_back(e);
    }
  }
  o.expansion = expansion > 0 ? expansion : 1.0;
  // partial_map 0 asks the reader for its byte table, which is what a
  // single-byte pair wants; otherwise 1 tells that some source character
  // has no mapping. spare_len: characters mapped and left without one.
  bool single = !from.stateful && !to.stateful && o.source_max_len == 1 && o.target_max_len == 1;
  o.partial_map = single ? 0 : rep.unmapped > 0;
  o.spare_len[0] = static_cast<int>(rep.mapped);
  o.spare_len[1] = static_cast<int>(rep.unmapped);
  o.info = {"SOURCE=" + from.label + " (" + from.name + ")", "TARGET=" + to.label + " (" + to.name + ")",
            "GENERATOR=vls-cvodef " VLS_VERSION};
  for (auto &l : o.info) l = l.substr(0, 120);
  return o;
}

}  // namespace cvodef
