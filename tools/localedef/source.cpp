// The locale source reader: logical lines (comment and escape characters,
// continuation), tokens, categories, "copy" and the search path.
#include <cctype>
#include <cstring>
#include <sys/stat.h>

#include "ldef.h"

namespace ldef {

namespace {

const char *const kCategoryNames[CAT_COUNT] = {"LC_CTYPE",    "LC_COLLATE", "LC_NUMERIC",
                                               "LC_MONETARY", "LC_TIME",    "LC_MESSAGES"};

bool file_exists(const std::string &p) {
  struct stat st;
  return stat(p.c_str(), &st) == 0 && S_ISREG(st.st_mode);
}

// Decodes one UTF-8 character; gives its length, or 0 for a bad sequence.
int utf8_decode(const std::string &s, size_t i, uint32_t &cp) {
  unsigned char c = static_cast<unsigned char>(s[i]);
  int n;
  if (c < 0x80) {
    cp = c;
    return 1;
  } else if (c >= 0xC2 && c <= 0xDF) {
    n = 2;
    cp = c & 0x1F;
  } else if (c >= 0xE0 && c <= 0xEF) {
    n = 3;
    cp = c & 0x0F;
  } else if (c >= 0xF0 && c <= 0xF4) {
    n = 4;
    cp = c & 0x07;
  } else {
    return 0;
  }
  if (i + n > s.size()) return 0;
  for (int k = 1; k < n; ++k) {
    unsigned char d = static_cast<unsigned char>(s[i + k]);
    if ((d & 0xC0) != 0x80) return 0;
    cp = (cp << 6) | (d & 0x3F);
  }
  return n;
}

struct LogicalLine {
  std::string text;
  int line;
};

// Splits a source into logical lines. Comment and escape characters may be
// redefined by the directives at the top of the file, which is why the
// lines are produced one at a time.
class LineSource {
 public:
  LineSource(const std::string &text) : t_(text) {}
  char comment = '#';
  char escape = '\\';
  bool next(LogicalLine &out) {
    out.text.clear();
    if (pos_ >= t_.size()) return false;
    out.line = line_ + 1;
    bool first = true;
    bool in_string = false;  // a string runs on over a continuation
    while (pos_ < t_.size()) {
      size_t e = t_.find('\n', pos_);
      if (e == std::string::npos) e = t_.size();
      std::string phys = t_.substr(pos_, e - pos_);
      if (!phys.empty() && phys.back() == '\r') phys.pop_back();
      pos_ = e + 1;
      ++line_;
      // A line whose first visible character is the comment character is
      // a comment in full; inside a continued statement it is left out
      // and the statement goes on. Inside a string it is text.
      if (!in_string) {
        size_t k = 0;
        while (k < phys.size() && isspace(static_cast<unsigned char>(phys[k]))) ++k;
        if (k < phys.size() && phys[k] == comment) {
          if (first) out.line = line_ + 1;
          continue;
        }
      }
      first = false;
      // A continuation is an escape character that is not itself escaped,
      // with only blanks behind it.
      bool cont = false;
      size_t cut = phys.size();
      for (size_t i = 0; i < phys.size(); ++i) {
        char c = phys[i];
        if (c == escape) {
          size_t j = i + 1;
          while (j < phys.size() && (phys[j] == ' ' || phys[j] == '\t')) ++j;
          if (j == phys.size()) {
            cont = true;
            cut = i;
            break;
          }
          ++i;  // the escaped character
        } else if (c == '"') {
          in_string = !in_string;
        } else if (c == comment && !in_string) {
          // The rest of the line is a comment; an escape character at its
          // end still continues the statement, as glibc reads it (uk_UA:
          // "<U043D><U0434>"; %nd  /).
          cut = i;
          size_t j = phys.size();
          while (j > i + 1 && (phys[j - 1] == ' ' || phys[j - 1] == '\t')) --j;
          if (j > i + 1 && phys[j - 1] == escape) cont = true;
          break;
        }
      }
      out.text += phys.substr(0, cut);
      if (!cont) break;
    }
    return true;
  }
  int line() const { return line_; }

 private:
  const std::string &t_;
  size_t pos_ = 0;
  int line_ = 0;
};

std::string first_word(const std::string &s) {
  size_t a = 0;
  while (a < s.size() && isspace(static_cast<unsigned char>(s[a]))) ++a;
  size_t b = a;
  while (b < s.size() && !isspace(static_cast<unsigned char>(s[b]))) ++b;
  return s.substr(a, b - a);
}

std::string second_word(const std::string &s) {
  size_t a = 0;
  while (a < s.size() && isspace(static_cast<unsigned char>(s[a]))) ++a;
  while (a < s.size() && !isspace(static_cast<unsigned char>(s[a]))) ++a;
  return first_word(s.substr(a));
}

bool is_ident_char(unsigned char c) { return isalnum(c) || c == '_' || c == '-'; }

// Tokens of one logical line.
class Lexer {
 public:
  Lexer(const std::string &file, int line, const std::string &s, char comment, char escape)
      : file_(file), line_(line), s_(s), comment_(comment), esc_(escape) {}

  std::vector<Token> all() {
    std::vector<Token> out;
    Token t;
    while (next(t)) out.push_back(std::move(t));
    return out;
  }

 private:
  bool next(Token &t) {
    t = Token();
    while (i_ < s_.size() && isspace(static_cast<unsigned char>(s_[i_]))) ++i_;
    if (i_ >= s_.size()) return false;
    char c = s_[i_];
    if (c == comment_) {
      i_ = s_.size();
      return false;
    }
    if (c == '"') return string(t);
    if (c == '<') {
      size_t save = i_;
      std::string name;
      if (symbol(name)) {
        t.kind = TokKind::Symbol;
        t.text = name;
        CharRef r;
        r.name = name;
        r.ucs = ucs_of_name(name);
        t.chars.push_back(r);
        return true;
      }
      i_ = save + 1;
      t.kind = TokKind::Other;
      t.text = "<";
      return true;
    }
    if (c == '.') {
      size_t d = i_;
      while (d < s_.size() && s_[d] == '.') ++d;
      size_t n = d - i_;
      if (n >= 2) {
        t.kind = TokKind::Ellipsis;
        t.text = s_.substr(i_, n);
        i_ = d;
        // ..(n).. : a range with a step.
        if (n == 2 && i_ < s_.size() && s_[i_] == '(') {
          size_t k = i_ + 1;
          int step = 0;
          while (k < s_.size() && isdigit(static_cast<unsigned char>(s_[k]))) step = step * 10 + (s_[k++] - '0');
          if (k + 2 < s_.size() + 0 && s_[k] == ')' && s_.compare(k + 1, 2, "..") == 0 && step > 0) {
            t.step = step;
            t.text = "..";
            i_ = k + 3;
          }
        }
        return true;
      }
      ++i_;
      t.kind = TokKind::Other;
      t.text = ".";
      return true;
    }
    if (c == ';' || c == ',' || c == '(' || c == ')') {
      t.kind = c == ';' ? TokKind::Semi : c == ',' ? TokKind::Comma : c == '(' ? TokKind::LParen : TokKind::RParen;
      t.text = std::string(1, c);
      ++i_;
      return true;
    }
    if (is_ident_char(static_cast<unsigned char>(c))) {
      size_t b = i_;
      while (i_ < s_.size() && is_ident_char(static_cast<unsigned char>(s_[i_]))) ++i_;
      t.text = s_.substr(b, i_ - b);
      bool num = true;
      for (size_t k = 0; k < t.text.size(); ++k)
        if (!(isdigit(static_cast<unsigned char>(t.text[k])) || (k == 0 && t.text[k] == '-' && t.text.size() > 1)))
          num = false;
      t.kind = num ? TokKind::Number : TokKind::Ident;
      return true;
    }
    if (c == esc_ && i_ + 1 < s_.size()) {
      t.kind = TokKind::Other;
      t.text = s_.substr(i_, 2);
      i_ += 2;
      return true;
    }
    uint32_t cp;
    int n = utf8_decode(s_, i_, cp);
    if (n > 0 && cp >= 0x80) {
      t.kind = TokKind::Char;
      t.text = s_.substr(i_, n);
      CharRef r;
      r.ucs = cp;
      t.chars.push_back(r);
      i_ += n;
      return true;
    }
    t.kind = TokKind::Other;
    t.text = std::string(1, c);
    ++i_;
    return true;
  }

  // <name>, with escaped characters inside; false if no ">" closes it.
  bool symbol(std::string &name) {
    size_t k = i_ + 1;
    name.clear();
    while (k < s_.size() && s_[k] != '>') {
      if (s_[k] == esc_ && k + 1 < s_.size()) ++k;
      // A name may hold "<" (hr_HR's <D-Z<>), but no quote.
      if (s_[k] == '"') return false;
      name += s_[k++];
    }
    if (k >= s_.size() || name.empty()) return false;
    i_ = k + 1;
    return true;
  }

  bool string(Token &t) {
    t.kind = TokKind::String;
    ++i_;
    while (true) {
      if (i_ >= s_.size()) throw Error(file_, line_, "string not closed on its line");
      char c = s_[i_];
      if (c == '"') {
        ++i_;
        return true;
      }
      CharRef r;
      if (c == '<') {
        std::string name;
        if (symbol(name)) {
          r.name = name;
          r.ucs = ucs_of_name(name);
          t.chars.push_back(r);
          continue;
        }
        r.ucs = '<';
        ++i_;
        t.chars.push_back(r);
        continue;
      }
      if (c == esc_) {
        if (i_ + 1 >= s_.size()) throw Error(file_, line_, "string ends in an escape character");
        char k = s_[i_ + 1];
        int base = k == 'x' ? 16 : k == 'd' ? 10 : k == 'o' ? 8 : 0;
        if (base) {
          // A byte in the charmap's encoding; adjacent ones form one character.
          size_t j = i_;
          std::string bytes;
          while (j + 1 < s_.size() && s_[j] == esc_ &&
                 (s_[j + 1] == 'x' || s_[j + 1] == 'd' || s_[j + 1] == 'o')) {
            int b = s_[j + 1] == 'x' ? 16 : s_[j + 1] == 'd' ? 10 : 8;
            size_t m = j + 2;
            unsigned v = 0;
            int digits = 0;
            while (m < s_.size() && digits < (b == 16 ? 2 : 3)) {
              int ch = static_cast<unsigned char>(s_[m]);
              int dv = isdigit(ch) ? ch - '0' : isxdigit(ch) ? tolower(ch) - 'a' + 10 : 99;
              if (dv >= b) break;
              v = v * b + dv;
              ++digits;
              ++m;
            }
            if (!digits || v > 255) break;
            bytes += static_cast<char>(v);
            j = m;
          }
          if (!bytes.empty()) {
            r.bytes = bytes;
            t.chars.push_back(r);
            i_ = j;
            continue;
          }
        }
        r.ucs = static_cast<unsigned char>(k);
        uint32_t cp;
        int n = utf8_decode(s_, i_ + 1, cp);
        if (n > 1) r.ucs = cp;
        i_ += 1 + (n > 0 ? n : 1);
        t.chars.push_back(r);
        continue;
      }
      uint32_t cp;
      int n = utf8_decode(s_, i_, cp);
      if (n == 0) throw Error(file_, line_, "string holds bytes that are not UTF-8");
      r.ucs = cp;
      t.chars.push_back(r);
      i_ += n;
    }
  }

  std::string file_;
  int line_;
  const std::string &s_;
  char comment_, esc_;
  size_t i_ = 0;
};

int category_of(const std::string &w) {
  for (int c = 0; c < CAT_COUNT; ++c)
    if (w == kCategoryNames[c]) return c;
  return -1;
}

bool is_category_word(const std::string &w) { return w.size() > 3 && w.compare(0, 3, "LC_") == 0; }

}  // namespace

std::string SourceSet::resolve(const std::string &name, const std::string &from_dir) const {
  if (texts_.count(name)) return name;
  if (name.find('/') != std::string::npos) {
    if (file_exists(name)) return name;
    throw Error("locale source not found: " + name);
  }
  if (!from_dir.empty() && file_exists(from_dir + "/" + name)) return from_dir + "/" + name;
  for (const auto &d : dirs_)
    if (file_exists(d + "/" + name)) return d + "/" + name;
  std::string where;
  for (const auto &d : dirs_) where += " " + d;
  throw Error("locale source \"" + name + "\" not found in:" + where);
}

const SourceSet::Parsed &SourceSet::parse(const std::string &path) {
  auto it = files_.find(path);
  if (it != files_.end()) return *it->second;
  auto p = std::make_unique<Parsed>();
  p->path = path;
  auto held = texts_.find(path);
  std::string text = held != texts_.end() ? held->second : read_file(path);
  LineSource ls(text);
  LogicalLine ll;
  int cat = -1;          // the open category, or -1
  std::string open_name;  // its name, also for categories that are skipped
  int open_line = 0;
  bool in_translit = false;
  while (ls.next(ll)) {
    std::string w = first_word(ll.text);
    if (w.empty()) continue;
    if (open_name.empty()) {
      if (w == "comment_char" || w == "escape_char") {
        std::string v = second_word(ll.text);
        if (v.size() != 1) throw Error(path, ll.line, w + " needs one character");
        (w == "comment_char" ? ls.comment : ls.escape) = v[0];
        continue;
      }
      if (is_category_word(w)) {
        open_name = w;
        open_line = ll.line;
        cat = category_of(w);
        if (cat >= 0) {
          if (p->present[cat]) throw Error(path, ll.line, w + " is defined twice");
          p->present[cat] = true;
        }
        in_translit = false;
        continue;
      }
      throw Error(path, ll.line, "unexpected text outside a category: " + w);
    }
    if (w == "END") {
      std::string what = second_word(ll.text);
      if (what == open_name) {
        open_name.clear();
        cat = -1;
        continue;
      }
      if (cat >= 0) throw Error(path, ll.line, "END " + what + " inside " + open_name);
      continue;
    }
    if (cat < 0) continue;  // read over
    if (cat == CAT_CTYPE) {
      if (in_translit) {
        if (w == "translit_end") {
          in_translit = false;
          continue;
        }
        // Transliterations are kept for the strings of the other
        // categories; a line that does not read is left out.
        Statement st;
        st.file = path;
        st.line = ll.line;
        st.translit = true;
        try {
          st.args = Lexer(path, ll.line, ll.text, ls.comment, ls.escape).all();
        } catch (const Error &) {
          continue;
        }
        if (st.args.empty()) continue;
        if (st.args[0].kind == TokKind::Ident) {
          st.keyword = st.args[0].text;
          st.args.erase(st.args.begin());
        }
        p->cats[cat].push_back(std::move(st));
        continue;
      }
      if (w == "translit_start") {
        in_translit = true;
        continue;
      }
    }
    Lexer lx(path, ll.line, ll.text, ls.comment, ls.escape);
    std::vector<Token> toks = lx.all();
    if (toks.empty()) continue;
    Statement st;
    st.file = path;
    st.line = ll.line;
    st.keyword = toks[0].kind == TokKind::Symbol ? "<" + toks[0].text + ">" : toks[0].text;
    st.args.assign(toks.begin() + 1, toks.end());
    p->cats[cat].push_back(std::move(st));
  }
  if (!open_name.empty()) throw Error(path, open_line, open_name + " is not closed by END " + open_name);
  auto &ref = *p;
  files_.emplace(path, std::move(p));
  return ref;
}

void SourceSet::expand(const std::string &path, Category cat, std::vector<Statement> &out,
                       std::vector<std::string> &stack) {
  for (const auto &s : stack)
    if (s == path) throw Error(path, 0, std::string("copy loop in ") + kCategoryNames[cat]);
  stack.push_back(path);
  const Parsed &p = parse(path);
  if (!p.present[cat]) throw Error(path, 0, std::string("the file has no ") + kCategoryNames[cat]);
  std::string dir = path.substr(0, path.find_last_of('/') == std::string::npos ? 0 : path.find_last_of('/'));
  for (const auto &st : p.cats[cat]) {
    if (st.keyword == "copy" && !st.translit) {
      if (st.args.size() != 1 || st.args[0].kind != TokKind::String)
        throw Error(st.file, st.line, "copy needs one string");
      std::string name;
      for (const auto &c : st.args[0].chars) {
        if (c.ucs == kNoUcs || c.ucs > 0x7F) throw Error(st.file, st.line, "copy names a file in plain ASCII");
        name += static_cast<char>(c.ucs);
      }
      std::string target;
      try {
        target = resolve(name, dir);
      } catch (const Error &e) {
        throw Error(st.file, st.line, e.what());
      }
      expand(target, cat, out, stack);
      continue;
    }
    out.push_back(st);
  }
  stack.pop_back();
}

std::vector<Statement> SourceSet::category(const std::string &locale, Category cat) {
  std::string path = resolve(locale, "");
  std::vector<Statement> out;
  std::vector<std::string> stack;
  expand(path, cat, out, stack);
  return out;
}

bool SourceSet::has_category(const std::string &locale, Category cat) {
  return parse(resolve(locale, "")).present[cat];
}

}  // namespace ldef
