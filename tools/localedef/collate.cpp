// LC_COLLATE: from the source's order (order_start ... order_end,
// collating symbols and elements, reorder-after, UNDEFINED) to the
// library's row tables.
//
// The source defines one global order of symbols, characters and
// elements. An entry's weight at a level is a sequence of entries; each
// stands for its place in the order. For every level (one pass of the
// library) the places that the codeset's characters use are ranked densely
// from 2 upward. A sequence of one place is a plain weight; a longer one
// becomes an expansion, written as characters of the codeset whose weight
// in that pass is each place in turn. Where a pass needs more values than a
// weight word holds (14 bits), neighbouring places are folded into one
// value and the tie on the character's code keeps their order wherever
// code order agrees with it (see docs/locale-deviations.md, "Collation").
#include <algorithm>
#include <cstdio>
#include <map>
#include <set>
#include <unordered_map>

#include "lcowriter.h"
#include "ldef.h"

namespace ldef {

namespace {

constexpr int kMaxValues = 0x3FFF - 1;  // plain weights 2 .. 0x3FFF
constexpr size_t kMaxExpChars = 15;
const char *const kSelf = "\x01self";
const char *const kUndefined = "\x01undefined";

std::string key_of(const CharRef &r) {
  if (r.ucs != kNoUcs && r.bytes.empty()) {
    char buf[16];
    snprintf(buf, sizeof buf, "U%X", r.ucs);
    return buf;
  }
  return r.name;
}

std::string key_of_name(const std::string &name) {
  CharRef r;
  r.name = name;
  r.ucs = ucs_of_name(name);
  return key_of(r);
}

// An entry of the order.
struct Item {
  std::string key;
  uint32_t ucs = kNoUcs;
  bool self_all = true;                        // no weights given: itself at every level
  std::vector<std::vector<std::string>> levels;  // keys; kSelf is the entry itself
  int section = -1;
  long prev = -1, next = -1;
  bool linked = false;
  long pos = 0;
};

struct Order {
  std::vector<Item> items;
  std::unordered_map<std::string, long> index;
  long head = -1, tail = -1;

  long find(const std::string &key) const {
    auto it = index.find(key);
    return it == index.end() ? -1 : it->second;
  }
  long get(const std::string &key) {
    long i = find(key);
    if (i >= 0) return i;
    items.emplace_back();
    items.back().key = key;
    index.emplace(key, static_cast<long>(items.size() - 1));
    return static_cast<long>(items.size() - 1);
  }
  void unlink(long i) {
    Item &it = items[static_cast<size_t>(i)];
    if (!it.linked) return;
    if (it.prev >= 0) items[static_cast<size_t>(it.prev)].next = it.next;
    else head = it.next;
    if (it.next >= 0) items[static_cast<size_t>(it.next)].prev = it.prev;
    else tail = it.prev;
    it.prev = it.next = -1;
    it.linked = false;
  }
  // Inserts i behind `after` (-1: at the head).
  void insert_after(long i, long after) {
    Item &it = items[static_cast<size_t>(i)];
    it.prev = after;
    it.next = after >= 0 ? items[static_cast<size_t>(after)].next : head;
    if (it.next >= 0) items[static_cast<size_t>(it.next)].prev = i;
    else tail = i;
    if (after >= 0) items[static_cast<size_t>(after)].next = i;
    else head = i;
    it.linked = true;
  }
};

// Everything the statements say.
struct Source {
  Order order;
  std::map<std::string, std::vector<CharRef>> elements;  // name -> characters
  std::vector<std::string> element_order;                // declaration order
  std::vector<std::vector<int>> section_dirs;            // per order_start: 1 forward, 2 backward, per level
  int levels = 0;
};

std::vector<std::string> weight_keys(const Token &t) {
  std::vector<std::string> out;
  if (t.kind == TokKind::Ident && t.text == "IGNORE") return out;
  if (t.kind == TokKind::Ellipsis) return {kSelf};
  if (t.kind == TokKind::Symbol || t.kind == TokKind::Char) return {key_of(t.chars[0])};
  if (t.kind == TokKind::String) {
    for (const auto &c : t.chars) out.push_back(key_of(c));
    return out;
  }
  if ((t.kind == TokKind::Ident || t.kind == TokKind::Number) && t.text.size() == 1) {
    CharRef r;
    r.ucs = static_cast<unsigned char>(t.text[0]);
    return {key_of(r)};
  }
  return {kSelf};
}

void read_statements(const Charmap &cm, const std::vector<Statement> &sts, Source &s) {
  std::set<std::string> defined;
  std::vector<std::pair<bool, bool>> conds;  // (active, a branch was taken)
  auto active = [&] {
    for (const auto &c : conds)
      if (!c.first) return false;
    return true;
  };
  int section = -1;
  long cursor = -1;        // the entry behind which the next one goes
  bool reorder = false;
  const Statement *pending_range = nullptr;  // a ".." line waiting for its end
  long range_from = -1;

  auto place = [&](long i) {
    Order &o = s.order;
    if (o.items[static_cast<size_t>(i)].linked) o.unlink(i);
    o.insert_after(i, reorder ? cursor : o.tail);
    cursor = i;
    o.items[static_cast<size_t>(i)].section = section;
  };
  auto set_weights = [&](Item &it, const Statement &st) {
    it.levels.clear();
    it.self_all = true;
    std::vector<Token> lvl;
    bool any = false;
    for (size_t k = 0; k <= st.args.size(); ++k) {
      if (k == st.args.size() || st.args[k].kind == TokKind::Semi) {
        std::vector<std::string> keys;
        for (const auto &t : lvl) {
          auto w = weight_keys(t);
          keys.insert(keys.end(), w.begin(), w.end());
        }
        if (!lvl.empty() || k < st.args.size()) any = true;
        it.levels.push_back(keys);
        lvl.clear();
        continue;
      }
      lvl.push_back(st.args[k]);
    }
    if (any) it.self_all = false;
    else it.levels.clear();
  };

  for (const auto &st : sts) {
    const std::string &k = st.keyword;
    if (k == "ifdef" || k == "ifndef") {
      bool v = !st.args.empty() && defined.count(st.args[0].text);
      if (k == "ifndef") v = !v;
      conds.emplace_back(v, v);
      continue;
    }
    if (k == "else") {
      if (conds.empty()) throw Error(st.file, st.line, "else without ifdef");
      conds.back().first = !conds.back().second;
      conds.back().second = true;
      continue;
    }
    if (k == "elifdef" || k == "elifndef") {
      if (conds.empty()) throw Error(st.file, st.line, k + " without ifdef");
      bool v = !st.args.empty() && defined.count(st.args[0].text);
      if (k == "elifndef") v = !v;
      conds.back().first = !conds.back().second && v;
      conds.back().second = conds.back().second || v;
      continue;
    }
    if (k == "endif") {
      if (conds.empty()) throw Error(st.file, st.line, "endif without ifdef");
      conds.pop_back();
      continue;
    }
    if (!active()) continue;
    if (k == "define") {
      if (!st.args.empty()) defined.insert(st.args[0].text);
      continue;
    }
    if (k == "script" || k == "copy" || k == "include") continue;
    if (k == "collating-symbol") {
      // Declarations give no place; the order does.
      continue;
    }
    if (k == "collating-element") {
      if (st.args.size() < 3 || st.args[0].kind != TokKind::Symbol || st.args[1].text != "from" ||
          st.args[2].kind != TokKind::String)
        throw Error(st.file, st.line, "collating-element expects <name> from \"string\"");
      std::string name = st.args[0].text;
      if (!s.elements.count(name)) s.element_order.push_back(name);
      s.elements[name] = st.args[2].chars;
      continue;
    }
    if (k == "order_start") {
      std::vector<int> dirs;
      size_t i = 0;
      if (i < st.args.size() && st.args[i].kind == TokKind::Symbol) {
        ++i;
        if (i < st.args.size() && st.args[i].kind == TokKind::Semi) ++i;
      }
      int dir = 1;
      bool seen = false;
      for (; i <= st.args.size(); ++i) {
        if (i == st.args.size() || st.args[i].kind == TokKind::Semi) {
          if (seen) dirs.push_back(dir);
          dir = 1;
          seen = false;
          continue;
        }
        if (st.args[i].text == "backward") dir = 2;
        if (st.args[i].kind == TokKind::Ident) seen = true;
      }
      if (dirs.empty()) dirs.push_back(1);
      s.section_dirs.push_back(dirs);
      section = static_cast<int>(s.section_dirs.size() - 1);
      s.levels = std::max(s.levels, static_cast<int>(dirs.size()));
      reorder = false;
      continue;
    }
    if (k == "order_end") {
      continue;
    }
    if (k == "reorder-after") {
      if (st.args.empty() || st.args[0].kind != TokKind::Symbol)
        throw Error(st.file, st.line, "reorder-after expects <name>");
      long a = s.order.find(key_of(st.args[0].chars[0]));
      if (a < 0 || !s.order.items[static_cast<size_t>(a)].linked) {
        warn(st.file, st.line, "reorder-after <" + st.args[0].text + ">: not in the order; entries go to the end");
        reorder = false;
      } else {
        reorder = true;
        cursor = a;
        section = s.order.items[static_cast<size_t>(a)].section;
      }
      continue;
    }
    if (k == "reorder-end" || k == "reorder-sections-end") {
      reorder = false;
      continue;
    }
    if (k == "reorder-sections-after") {
      warn(st.file, st.line, "reorder-sections-after is not supported; ignored");
      continue;
    }
    // An entry of the order.
    if (k == ".." || k == "..." || k == "....") {
      pending_range = &st;
      range_from = reorder ? cursor : s.order.tail;
      continue;
    }
    std::string key;
    if (k == "UNDEFINED") {
      key = kUndefined;
    } else if (k.size() > 2 && k.front() == '<' && k.back() == '>') {
      key = key_of_name(k.substr(1, k.size() - 2));
    } else {
      warn(st.file, st.line, "LC_COLLATE: \"" + k + "\" is not understood; the line is ignored");
      continue;
    }
    long i = s.order.get(key);
    s.order.items[static_cast<size_t>(i)].ucs = ucs_of_name(k.size() > 2 ? k.substr(1, k.size() - 2) : "");
    if (pending_range) {
      // The codeset's characters strictly between the two ends, in code order.
      uint32_t lo = range_from >= 0 ? s.order.items[static_cast<size_t>(range_from)].ucs : kNoUcs;
      uint32_t hi = s.order.items[static_cast<size_t>(i)].ucs;
      if (lo == kNoUcs || hi == kNoUcs || hi < lo)
        throw Error(pending_range->file, pending_range->line, "a range needs characters <Uxxxx> at both ends");
      std::vector<uint32_t> in;
      for (const auto &e : cm.chars)
        if (e.ucs != kNoUcs && e.ucs > lo && e.ucs < hi) in.push_back(e.ucs);
      std::sort(in.begin(), in.end());
      in.erase(std::unique(in.begin(), in.end()), in.end());
      for (uint32_t u : in) {
        CharRef r;
        r.ucs = u;
        long j = s.order.get(key_of(r));
        if (s.order.items[static_cast<size_t>(j)].linked) continue;
        s.order.items[static_cast<size_t>(j)].ucs = u;
        set_weights(s.order.items[static_cast<size_t>(j)], *pending_range);
        place(j);
      }
      pending_range = nullptr;
    }
    set_weights(s.order.items[static_cast<size_t>(i)], st);
    place(i);
  }
}

struct Entry {              // a character or collating element of the codeset
  std::string bytes;        // the character's bytes (element: unused)
  std::vector<uint32_t> wide;  // element: its characters' wide codes
  bool element = false;
  long item = -1;           // in the order, or -1
};

uint32_t wide_of(const std::string &bytes) {
  uint32_t v = 0;
  for (unsigned char c : bytes) v = (v << 8) | c;
  return v;
}

}  // namespace

std::string collate_section(const Charmap &cm, const std::vector<Statement> &sts, bool compress, CollateReport *rep) {
  Source s;
  read_statements(cm, sts, s);
  if (s.levels == 0) s.levels = 1;
  Order &o = s.order;
  long pos = 1;
  for (long i = o.head; i >= 0; i = o.items[static_cast<size_t>(i)].next) o.items[static_cast<size_t>(i)].pos = pos++;
  CollateReport local;
  CollateReport &r = rep ? *rep : local;
  r = CollateReport();
  r.passes = s.levels;

  // The codeset's characters, then its elements.
  std::vector<Entry> ents;
  long undef = o.find(kUndefined);
  if (undef >= 0 && !o.items[static_cast<size_t>(undef)].linked) undef = -1;
  for (const auto &e : cm.chars) {
    Entry en;
    en.bytes = e.bytes;
    CharRef ref;
    ref.ucs = e.ucs;
    ref.name = e.name;
    long i = o.find(key_of(ref));
    if (i < 0 && e.ucs != kNoUcs) i = o.find(e.name);
    if (i >= 0 && !o.items[static_cast<size_t>(i)].linked) i = -1;
    if (i < 0) {
      ++r.undefined;
      i = undef;
    }
    en.item = i;
    ents.push_back(en);
  }
  size_t nchars = ents.size();
  for (const auto &name : s.element_order) {
    long i = o.find(name);
    if (i < 0 || !o.items[static_cast<size_t>(i)].linked) continue;
    Entry en;
    en.element = true;
    en.item = i;
    bool ok = true;
    for (const auto &c : s.elements[name]) {
      const CharmapEntry *ce = cm.find(c);
      if (!ce) {
        ok = false;
        break;
      }
      en.wide.push_back(wide_of(ce->bytes));
    }
    if (!ok || en.wide.size() < 2 || en.wide.size() > kMaxExpChars) continue;
    ents.push_back(en);
  }
  // Longer elements first: the library takes the first that matches.
  std::stable_sort(ents.begin() + static_cast<long>(nchars), ents.end(),
                   [](const Entry &a, const Entry &b) { return a.wide.size() > b.wide.size(); });

  // The weight sequences, as places in the order. Characters that the
  // source leaves undefined, without an UNDEFINED entry, weigh least
  // (place -1), as in glibc: in UTF-8 only in the last level, where glibc's
  // strcoll gives each of their bytes that weight (here the shortest of
  // them have one such weight, and each byte more adds one), in other
  // codesets in every level.
  size_t undef_len = 4;
  for (const auto &en : ents)
    if (en.item < 0) undef_len = std::min(undef_len, en.bytes.size());
  bool utf8 = cm.code_set_name == "UTF-8";
  auto seq_of = [&](const Entry &en, int level) {
    std::vector<long> out;
    if (en.item < 0) {
      if (utf8 && level + 1 < s.levels) return out;
      return std::vector<long>(en.bytes.size() - undef_len + 1, -1);
    }
    const Item &it = o.items[static_cast<size_t>(en.item)];
    if (it.self_all || level >= static_cast<int>(it.levels.size())) return std::vector<long>{it.pos};
    for (const auto &k : it.levels[static_cast<size_t>(level)]) {
      if (k == kSelf) {
        out.push_back(it.pos);
        continue;
      }
      long j = o.find(k);
      if (j < 0 || !o.items[static_cast<size_t>(j)].linked) {
        ++r.unknown_weights;
        continue;
      }
      out.push_back(o.items[static_cast<size_t>(j)].pos);
    }
    return out;
  };

  std::vector<std::vector<uint16_t>> words(ents.size(), std::vector<uint16_t>(static_cast<size_t>(s.levels), 1));
  std::map<std::vector<uint32_t>, int> exp_index;
  std::vector<std::vector<uint32_t>> exps;
  std::vector<uint32_t> pass_flags;
  uint32_t max_weight = 2;

  for (int lv = 0; lv < s.levels; ++lv) {
    std::vector<std::vector<long>> seqs(ents.size());
    for (size_t e = 0; e < ents.size(); ++e) seqs[e] = seq_of(ents[e], lv);
    // Places that some character has as its whole weight.
    std::map<long, long> held;
    for (size_t e = 0; e < nchars; ++e)
      if (seqs[e].size() == 1) ++held[seqs[e][0]];
    // An entry with a weight of several places expands into characters
    // that hold each place, when all of them have one; otherwise (and for
    // collating elements, which the library cannot expand once) its
    // sequence is one composite weight, ranked among the others by
    // comparing the sequences place by place.
    std::vector<char> expands(ents.size(), 0);
    std::map<std::vector<long>, long> rank;  // weight (a place or a sequence) -> rank
    for (size_t e = 0; e < ents.size(); ++e) {
      const auto &sq = seqs[e];
      if (sq.empty()) continue;
      if (sq.size() == 1) {
        rank.emplace(sq, 0);
        continue;
      }
      bool all = !ents[e].element;
      for (long p : sq) all = all && held.count(p);
      if (all) {
        expands[e] = 1;
        for (long p : sq) rank.emplace(std::vector<long>{p}, 0);
      } else {
        rank.emplace(sq, 0);
        ++(ents[e].element ? r.element_composite : r.composite);
      }
    }
    // Direction: that of the section holding most weighted characters.
    std::map<int, long> votes;
    for (size_t e = 0; e < nchars; ++e) {
      if (seqs[e].empty() || ents[e].item < 0) continue;
      int sec = o.items[static_cast<size_t>(ents[e].item)].section;
      int d = 1;
      if (sec >= 0 && lv < static_cast<int>(s.section_dirs[static_cast<size_t>(sec)].size()))
        d = s.section_dirs[static_cast<size_t>(sec)][static_cast<size_t>(lv)];
      ++votes[d];
    }
    int dir = votes[2] > votes[1] ? 2 : 1;
    pass_flags.push_back(static_cast<uint32_t>(dir));

    long n = 0;
    for (auto &kv : rank) kv.second = n++;
    // Holders of each rank: characters whose weight is that one alone.
    std::vector<long> holders(static_cast<size_t>(n), 0), holder(static_cast<size_t>(n), -1);
    for (size_t e = 0; e < ents.size(); ++e) {
      if (seqs[e].empty() || expands[e]) continue;
      long rk = rank[seqs[e]];
      ++holders[static_cast<size_t>(rk)];
      if (ents[e].element) holders[static_cast<size_t>(rk)] += 2;  // never "alone"
      if (holder[static_cast<size_t>(rk)] < 0 && !ents[e].element) holder[static_cast<size_t>(rk)] = static_cast<long>(e);
    }
    auto solo = [&](long rk) { return holders[static_cast<size_t>(rk)] == 1; };
    auto code = [&](long rk) { return wide_of(ents[static_cast<size_t>(holder[static_cast<size_t>(rk)])].bytes); };

    // Values: one per rank, or folded groups.
    std::vector<uint16_t> value(static_cast<size_t>(n));
    std::vector<char> tie(static_cast<size_t>(n), 0);
    if (n <= kMaxValues) {
      for (long k = 0; k < n; ++k) value[static_cast<size_t>(k)] = static_cast<uint16_t>(k + 2);
    } else {
      // Groups of neighbours whose code order is their order: no loss.
      std::vector<long> start;  // first rank of each group
      for (long k = 0; k < n; ++k) {
        // Codes 0 and 1 stay out of ties: a key writes a tied code less 2,
        // so theirs would wrap and sort last in keys but first in comparisons.
        bool join = k > 0 && solo(k) && solo(k - 1) && code(k) > code(k - 1) && code(k - 1) >= 2;
        if (!join) start.push_back(k);
      }
      r.folded_lossless += n - static_cast<long>(start.size());
      long g = static_cast<long>(start.size());
      std::vector<char> merged(static_cast<size_t>(g), 0);  // group k joins group k-1
      if (g > kMaxValues) {
        // Still too many: join neighbouring groups, spread evenly.
        long need = g - kMaxValues, done = 0;
        for (long k = 1; k < g && done < need; ++k) {
          if ((k * need) / g > done || g - k <= need - done) {
            merged[static_cast<size_t>(k)] = 1;
            ++done;
          }
        }
      }
      long v = 1;
      for (long k = 0, gi = 0; gi < g; ++gi) {
        long end = gi + 1 < g ? start[static_cast<size_t>(gi + 1)] : n;
        if (!merged[static_cast<size_t>(gi)]) ++v;
        for (; k < end; ++k) value[static_cast<size_t>(k)] = static_cast<uint16_t>(v);
      }
      // Tie on the code for a value whose ranks are each one character's.
      for (long k = 0; k < n;) {
        long e = k;
        bool all = true;
        while (e < n && value[static_cast<size_t>(e)] == value[static_cast<size_t>(k)]) {
          all = all && solo(e);
          ++e;
        }
        bool lossy = false;
        for (long q = k + 1; q < e; ++q)
          if (!(solo(q) && solo(q - 1) && code(q) > code(q - 1))) lossy = true;
        if (lossy) r.folded_lossy += e - k;
        for (long q = k; q < e; ++q) tie[static_cast<size_t>(q)] = e - k > 1 && all;
        k = e;
      }
    }
    auto word_of_rank = [&](long rk) {
      uint16_t w = value[static_cast<size_t>(rk)];
      max_weight = std::max<uint32_t>(max_weight, w);
      return static_cast<uint16_t>(tie[static_cast<size_t>(rk)] ? (w | 0x8000) : w);
    };
    for (size_t e = 0; e < ents.size(); ++e) {
      const auto &sq = seqs[e];
      uint16_t &w = words[e][static_cast<size_t>(lv)];
      if (sq.empty()) {
        w = 1;
      } else if (!expands[e]) {
        w = word_of_rank(rank[sq]);
      } else {
        // The characters that hold the places, in turn.
        std::vector<uint32_t> chars;
        for (long p : sq) {
          if (chars.size() == kMaxExpChars) {
            ++r.exp_cut;
            break;
          }
          long rk = rank[std::vector<long>{p}];
          word_of_rank(rk);
          chars.push_back(wide_of(ents[static_cast<size_t>(holder[static_cast<size_t>(rk)])].bytes));
        }
        auto it = exp_index.find(chars);
        if (it == exp_index.end()) {
          if (exps.size() >= 0x3FFF) throw Error(cm.path, 0, "more than 16383 expansions");
          it = exp_index.emplace(chars, static_cast<int>(exps.size())).first;
          exps.push_back(chars);
        }
        w = static_cast<uint16_t>(0x4000 | it->second);
      }
    }
    r.values.push_back(n);
  }

  // Rows: one per distinct set of words, the most frequent one as row 0.
  std::map<std::vector<uint16_t>, long> count;
  for (size_t e = 0; e < nchars; ++e) ++count[words[e]];
  std::vector<uint16_t> zero_row = words.empty() ? std::vector<uint16_t>(static_cast<size_t>(s.levels), 1) : words[0];
  long best = -1;
  for (const auto &kv : count)
    if (kv.second > best) best = kv.second, zero_row = kv.first;
  std::map<std::vector<uint16_t>, long> row_of;
  std::vector<const std::vector<uint16_t> *> rows;
  row_of[zero_row] = 0;
  rows.push_back(&row_of.find(zero_row)->first);
  std::vector<long> ent_row(ents.size());
  for (size_t e = 0; e < ents.size(); ++e) {
    auto it = row_of.find(words[e]);
    if (it == row_of.end()) {
      if (rows.size() > 0xFFFF) throw Error(cm.path, 0, "more than 65536 collation rows");
      it = row_of.emplace(words[e], static_cast<long>(rows.size())).first;
      rows.push_back(&it->first);
    }
    ent_row[e] = it->second;
  }
  r.rows = static_cast<long>(rows.size());
  r.expansions = static_cast<long>(exps.size());
  r.elements = static_cast<long>(ents.size() - nchars);

  std::vector<lcow::Row> tree_rows(nchars);
  for (size_t e = 0; e < nchars; ++e) {
    tree_rows[e].bytes = ents[e].bytes;
    tree_rows[e].value = static_cast<uint16_t>(ent_row[e]);
    tree_rows[e].has_value = ent_row[e] != 0;
  }
  std::string out = "as_specified\n";
  size_t bad = 0;
  if (!lcow::tree_text(tree_rows, compress, out, &bad)) {
    if (bad < cm.chars.size()) throw Error(cm.path, 0, "<" + cm.chars[bad].name + "> cannot be a character");
    throw Error("out of memory building a tree");
  }
  char buf[64];
  out += "0\n";
  snprintf(buf, sizeof buf, "%ld %d %ld %ld %u\n", static_cast<long>(rows.size() - 1), s.levels,
           static_cast<long>(ents.size() - nchars), static_cast<long>(exps.size()), max_weight);
  out += buf;
  for (uint32_t f : pass_flags) {
    snprintf(buf, sizeof buf, "%04x", f);
    out += buf;
  }
  out += "\n";
  for (size_t e = nchars; e < ents.size(); ++e) {
    snprintf(buf, sizeof buf, "%zx%04lx", ents[e].wide.size(), ent_row[e]);
    out += buf;
    for (uint32_t c : ents[e].wide) {
      snprintf(buf, sizeof buf, "%08x", c);
      out += buf;
    }
    out += "\n";
  }
  for (const auto &x : exps) {
    snprintf(buf, sizeof buf, "%zx", x.size());
    out += buf;
    for (uint32_t c : x) {
      snprintf(buf, sizeof buf, "%08x", c);
      out += buf;
    }
    out += "\n";
  }
  for (const auto *row : rows) {
    for (uint16_t w : *row) {
      snprintf(buf, sizeof buf, "%04x", w);
      out += buf;
    }
    out += "\n";
  }
  return out;
}

}  // namespace ldef
