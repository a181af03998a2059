// The settings store: the order process, ~/.kelvanix, etc/kelvanix.rc,
// default; the file syntax and its quirks; the length limits; the locale
// slots; the gathered lists. The store is process-wide and loads once, so
// every scenario runs in a fresh child with an environment of its own.
#include "vlstest.h"

namespace {

using Env = std::vector<std::pair<const char *, const char *>>;

std::string Str(const char *s) { return s ? s : "(null)"; }

// Runs `body` in a child with an empty environment but for HOME and
// KELVANIXDIR (below a temporary directory) and `env`; `sys` and `user`,
// when not null, are etc/kelvanix.rc and ~/.kelvanix. Expects the child to
// exit with `code` without failures; gives what it wrote to stderr.
std::string Fresh(const Env &env, const char *sys, const char *user, const std::function<void()> &body,
                  int code = 0) {
  vlstest::TempDir dir;
  if (sys) dir.write("kx/etc/kelvanix.rc", sys);
  if (user) dir.write("home/.kelvanix", user);
  EXPECT_EQ(vlstest::in_test_child(dir.path(), [&] {
    if (!freopen("stderr.txt", "w", stderr)) _exit(9);
    clearenv();
    setenv("HOME", (dir.path() + "/home").c_str(), 1);
    setenv("KELVANIXDIR", (dir.path() + "/kx").c_str(), 1);
    for (auto [k, v] : env) v ? setenv(k, v, 1) : unsetenv(k);
    body();
  }), code) << "the child failed (see above) or exited otherwise";
  return vlstest::read_file(dir.file("stderr.txt"));
}

// One lookup after a load: the value and gerrno, then ggetnenv twice (the
// same answer both times) and its gerrno.
struct Lookup { const char *note; Env env; const char *sys, *user, *key; int32_t index; const char *want; int32_t err; const char *next; int32_t next_err; };

const std::string kLong(300, 'v'), kLongLine = "DBPATH " + kLong + "\n";
const Lookup kLookups[] = {
    {"default", {}, nullptr, nullptr, "DBDELIMITER", -1, "|", 0, nullptr, GENV_ENOMORE},
    {"no default", {}, nullptr, nullptr, "KELVANIXSERVER", -1, nullptr, 0, nullptr, GENV_ENOMORE},
    {"by row number", {}, nullptr, nullptr, "DBDELIMITER", GENV_DBDELIMITER, "|", 0, nullptr, GENV_ENOMORE},
    {"row number wins over the name", {}, nullptr, nullptr, "TERM", GENV_DBDELIMITER, "|", 0, nullptr, GENV_ENOMORE},
    {"row beyond the store", {}, nullptr, nullptr, "DBPATH", 500, nullptr, GENV_EUNKNOWN, nullptr, GENV_ENOMORE},
    {"negative row", {}, nullptr, nullptr, "DBPATH", -2, nullptr, GENV_EUNKNOWN, nullptr, GENV_ENOMORE},
    {"process row beyond the table", {{"DBPATH", "/p"}}, nullptr, nullptr, "DBPATH", 116, nullptr, GENV_EUNKNOWN, nullptr, GENV_ENOMORE},
    {"unknown key in the process", {{"NOT_A_KEY", "x"}}, nullptr, nullptr, "NOT_A_KEY", -1, nullptr, GENV_EUNKNOWN, nullptr, GENV_EUNKNOWN},
    {"unknown key", {}, "NOT_A_KEY x\n", nullptr, "NOT_A_KEY", -1, nullptr, GENV_EUNKNOWN, nullptr, GENV_EUNKNOWN},
    {"null name", {}, nullptr, nullptr, nullptr, -1, nullptr, GENV_ENULL, nullptr, GENV_ENULL},
    {"user over system", {}, "DBPATH /sys\n", "DBPATH /user\n", "DBPATH", -1, "/user", 0, "/sys", 0},
    {"system over default", {}, "DBPATH /sys\n", nullptr, "DBPATH", -1, "/sys", 0, ".", 0},
    {"process over files", {{"DBPATH", "/proc"}}, "DBPATH /sys\n", "DBPATH /user\n", "DBPATH", -1, "/proc", 0, "/sys", 0},
    {"process empty counts as set", {{"DBPATH", ""}}, nullptr, "DBPATH /user\n", "DBPATH", -1, "", 0, ".", 0},
    {"ENVIGNORE skips both files", {{"ENVIGNORE", "::TERM:DBPATH"}}, "DBPATH /sys\n", "DBPATH /u\n", "DBPATH", -1, ".", 0, nullptr, GENV_ENOMORE},
    {"ENVIGNORE leaves the rest", {{"ENVIGNORE", "DBPATH"}}, "DBPATH /sys\nDBTEMP /t\n", nullptr, "DBTEMP", -1, "/t", 0, "/tmp", 0},
    {"ENVIGNORE not for the process", {{"ENVIGNORE", "DBPATH"}, {"DBPATH", "/p"}}, "DBPATH /s\n", nullptr, "DBPATH", -1, "/p", 0, nullptr, GENV_ENOMORE},
    {"name alone stores empty", {}, "DBPATH\n", nullptr, "DBPATH", -1, "", 0, ".", 0},
    {"LANG alone stores nothing", {}, "LANG\n", nullptr, "LANG", -1, nullptr, 0, nullptr, GENV_ENOMORE},
    {"line after a blank line is lost", {}, "TERM vt100\n\nDBPATH /x\n", nullptr, "DBPATH", -1, ".", 0, nullptr, GENV_ENOMORE},
    {"last line without newline", {}, "DBTEMP /t\nDBPATH /x", nullptr, "DBPATH", -1, ".", 0, nullptr, GENV_ENOMORE},
    {"comment line", {}, "# DBPATH /x\n#\nDBTEMP /t\n", nullptr, "DBPATH", -1, ".", 0, nullptr, GENV_ENOMORE},
    {"blanks skipped before, kept after; no comment", {}, "DBPATH \t /a # b \r\n", nullptr, "DBPATH", -1, "/a # b \r", 0, ".", 0},
    {"latest line wins", {}, "DBPATH /1\nDBPATH /2\n", nullptr, "DBPATH", -1, "/2", 0, "/1", 0},
    {"long line", {}, kLongLine.c_str(), nullptr, "DBPATH", -1, kLong.c_str(), 0, ".", 0},
    {"limit reached, not passed", {{"KELVANIXSERVER", "123456789012345678"}}, nullptr, nullptr, "KELVANIXSERVER", -1, "123456789012345678", 0, nullptr, GENV_ENOMORE},
    {"DBNLS 2 from a file, LANG too", {}, "DBNLS 2\nLANG de_DE.819\n", nullptr, "LC_CTYPE", -1, "de_DE.819", 0, nullptr, 0},
    {"DBNLS: empty LANG is unset", {{"DBNLS", "1"}, {"LANG", ""}}, "LANG it_IT.819\n", nullptr, "LC_COLLATE", -1, "it_IT.819", 0, nullptr, 0},
    {"DBNLS: a file's category wins", {{"DBNLS", "1"}, {"LANG", "x"}}, "LC_COLLATE y\n", nullptr, "LC_COLLATE", -1, "y", 0, nullptr, 0},
    {"DBNLS: process empty is published", {{"DBNLS", "1"}, {"LANG", "fr"}, {"LC_TIME", ""}}, nullptr, nullptr, "LC_TIME", -1, "fr", 0, nullptr, 0},
    {"DBNLS 3 derives nothing", {{"DBNLS", "3"}, {"LANG", "fr"}}, nullptr, nullptr, "LC_TIME", -1, nullptr, 0, nullptr, GENV_ENOMORE},
    {"DBNLS: pushed under a process value", {{"DBNLS", "1"}, {"LANG", "fr"}, {"LC_TIME", "de"}}, nullptr, nullptr, "LC_TIME", -1, "de", 0, nullptr, 0},
    {"DBNLS 2: the categories follow LANG", {{"DBNLS", "2"}, {"LANG", "fr_FR.819"}}, nullptr, nullptr, "LC_NUMERIC", -1, "fr_FR.819", 0, nullptr, 0},
    {"DBNLS 2 without LANG: en_US.819", {{"DBNLS", "2"}}, nullptr, nullptr, "LC_MONETARY", -1, "en_US.819", 0, nullptr, 0},
};

TEST(EnvLookup, Table) {
  for (const Lookup &c : kLookups) {
    SCOPED_TRACE(c.note);
    Fresh(c.env, c.sys, c.user, [&] {
      gerrno = 0;
      const std::string got = Str(idx_ggetenv(c.key, c.index));
      EXPECT_EQ(std::tuple(got, gerrno), std::tuple(Str(c.want), c.err));
      for (int i = 0; i < 2; ++i) {
        const std::string next = Str(ggetnenv(c.key));
        EXPECT_EQ(std::tuple(next, gerrno), std::tuple(Str(c.next), c.next_err));
      }
    });
  }
}

// Every row reads its default with nothing set, by name and by number, and
// the process value when set; the store holds the table's rows in order.
TEST(EnvLookup, EveryRowOfTheTable) {
  Fresh({}, nullptr, nullptr, [] {
    ASSERT_EQ(greadenv(), 0);
    unsetenv("KELVANIXDIR");
    ASSERT_EQ(Num_EVars, GENV_NUM_DVALS);
    for (int32_t i = 0; i < GENV_NUM_DVALS; ++i) {
      const genv_row &r = Kvx_DVals[i];
      SCOPED_TRACE(r.name);
      EXPECT_EQ(std::tuple(Str(Kvx_EVars[i].name), Kvx_EVars[i].index), std::tuple(Str(r.name), i));
      const char *def = "x";
      const int rc = gdefenv(r.name, &def);
      EXPECT_EQ(std::tuple(rc, Str(def), Str(ggetenv(r.name)), Str(idx_ggetenv(r.name, i)), Str(getsesenv(r.name))),
                std::tuple(0, Str(r.value), Str(r.value), Str(r.value), Str(r.value)));
      const std::string v = "v" + std::to_string(i % 10);
      setenv(r.name, v.c_str(), 1);
      EXPECT_EQ(Str(ggetenv(r.name)) + Str(idx_ggetenv(r.name, i)), v + v);
    }
    EXPECT_EQ(gdefenv("NOT_A_KEY", nullptr), -1);
  });
}

// ldcffile's result: 0, or -4 when the last line named an unknown key; the
// flags of the locale settings it stored; the lines it counted.
struct FileCase { const char *text; int rc; int32_t flags, lines; };
const FileCase kFiles[] = {
    {"DBPATH /a\n", 0, 0, 1}, {"NOT_A_KEY x\nDBPATH /a\n", 0, 0, 2}, {"DBPATH /a\nNOT_A_KEY x\n", GENV_ETOOLONG, 0, 2},
    {"IGNORED x\n", 0, 0, 1},
    {"# c\nLANG fr\nLC_TIME t\nLC_CTYPE c\n", 0, GENV_F_LANG | GENV_F_LC_TIME | GENV_F_LC_CTYPE, 4},
    {"LC_COLLATE a\nLC_MONETARY b\nLC_NUMERIC c\nDBNLS 1\n", 0, GENV_F_LC_COLLATE | GENV_F_LC_MONETARY | GENV_F_LC_NUMERIC | GENV_F_DBNLS, 4},
    {"DBNLS 2\n", 0, GENV_F_DBNLS, 1}, {"DBNLS 3\n", 0, 0, 1}, {"LANG\nLC_TIME\n", 0, 0, 2},
    {"\nDBPATH /a\n", GENV_ETOOLONG, 0, 1},  // one line, its name empty
    {"DBPATH /a", 0, 0, 1},
};

TEST(EnvFile, Table) {
  for (const FileCase &c : kFiles) {
    SCOPED_TRACE(c.text);
    vlstest::TempDir dir;
    const std::string path = dir.write("f.rc", c.text);
    Fresh({}, nullptr, nullptr, [&] {
      ASSERT_EQ(greadenv(), 0);
      void *ignore = _ginitnamelist();
      ASSERT_EQ(_gaddnamelist(ignore, "IGNORED"), 0);
      int32_t flags = 0, lines = 0;
      EXPECT_EQ(ldcffile(path.c_str(), ignore, &lines, &flags), c.rc);
      EXPECT_EQ(std::tuple(flags, lines), std::tuple(c.flags, c.lines));
      _gfreenamelist(ignore);
    });
  }
  Fresh({}, nullptr, nullptr, [] { EXPECT_EQ(ldcffile("/nonexistent/f.rc", nullptr, nullptr, nullptr), 0); });
}

// A line buffer that cannot grow ends the file as its end would: what the
// lines before it pushed stands, nothing after it is read.
void *no_realloc(void *, size_t) { return nullptr; }
TEST(EnvFile, LineBufferThatCannotGrow) {
  const std::string text = "DBPATH /a\nDBTEMP " + kLong + "\nTERM x\n";
  Fresh({}, text.c_str(), nullptr, [] {
    int32_t e = 0;
    ASSERT_EQ(vl_setextfunc(&e, VL_EXT_REALLOC, reinterpret_cast<void *>(&no_realloc)), 0);
    EXPECT_EQ(Str(ggetenv("DBPATH")) + " " + Str(ggetenv("DBTEMP")) + " " + Str(ggetenv("TERM")), "/a /tmp dumb");
  });
}

// A value too long for its limit ends the client with exit status 1.
const std::string k19(19, 's'), kLongServer = "KELVANIXSERVER " + k19 + "\n";
const char *const kMsg18 = "Environment variable KELVANIXSERVER is too long (maximum is 18 characters).\n";
TEST(EnvLimit, TooLongIsFatal) {
  genv_elem session{const_cast<char *>("DBPATH"), nullptr, nullptr, 0, 1};
  const struct { const char *note; Env env; const char *sys; std::function<void()> action; const char *message; } cases[] = {
      {"process value", {{"KELVANIXSERVER", k19.c_str()}}, nullptr, [] { ggetenv("KELVANIXSERVER"); }, kMsg18},
      {"process value by row", {{"X", k19.c_str()}}, nullptr, [] { idx_ggetenv("X", GENV_KELVANIXSERVER); },
       "Environment variable X is too long (maximum is 18 characters).\n"},
      {"system file", {}, kLongServer.c_str(), [] { greadenv(); }, kMsg18},
      {"push", {}, nullptr, [] { greadenv(), ginsenv("KELVANIXSERVER", k19.c_str()); }, kMsg18},
      {"published then read", {}, nullptr, [] { gputenv("KELVANIXSERVER", k19.c_str()), ggetenv("KELVANIXSERVER"); }, kMsg18},
      {"a limit of 1", {}, nullptr, [&session] {
         Kvx_SVars = &session, Num_SVars = 1;
         EXPECT_EQ(ginsenv("DBPATH", "a"), 0);
         ginsenv("DBPATH", "ab");
       }, "Environment variable DBPATH is too long (maximum is 1 character).\n"},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.note);
    EXPECT_EQ(Fresh(c.env, c.sys, nullptr, c.action, 1), c.message);
  }
}

// gputenv: one byte looser than the store, and soft.
TEST(EnvLimit, Putenv) {
  Fresh({}, nullptr, nullptr, [] {
    const std::string k20(20, 't');
    const struct { const char *name, *value; int rc; const char *process; } cases[] = {{"KELVANIXSERVER", k19.c_str(), 0, k19.c_str()}, {"KELVANIXSERVER", k20.c_str(), GENV_ETOOLONG, k19.c_str()},
                 {"NOT_A_KEY", k20.c_str(), 0, k20.c_str()},     {"DBPATH", nullptr, 0, ""},
                 {"KELVANIXDIR", "", 0, ""},                     {nullptr, "x", GENV_ENULL, nullptr}};
    for (const auto &c : cases) {
      SCOPED_TRACE(Str(c.name) + "=" + Str(c.value));
      gerrno = 0;
      const int rc = gfeputenv(c.name, c.value);
      EXPECT_EQ(std::tuple(rc, gerrno), std::tuple(c.rc, c.rc));
      if (c.name) { EXPECT_EQ(Str(getenv(c.name)), Str(c.process)); }
    }
  });
}

// Pushing: statuses of ginsenv and ginsenv_fast; a session list takes
// pushes and ggetnenv before the store, never ggetenv.
TEST(EnvPush, StatusesAndSessionList) {
  Fresh({}, nullptr, nullptr, [] {
    genv_elem session{const_cast<char *>("DBPATH"), nullptr, nullptr, 0, 0};
    EXPECT_EQ(greadenv(), 0);
    EXPECT_EQ(std::tuple(ginsenv(nullptr, "x"), ginsenv("NOT_A_KEY", "x"), ginsenv_fast(nullptr, "x", &session),
                         ginsenv_fast("DBPATH", "x", nullptr)),
              std::tuple(GENV_ENULL, GENV_EUNKNOWN, GENV_ENULL, GENV_ENULL));
    Kvx_SVars = &session, Num_SVars = 1;
    for (const char *v : {"/s1", "/s2"}) EXPECT_EQ(ginsenv("DBPATH", v), 0);
    EXPECT_EQ(ginsenv("TERM", "vt"), 0);
    EXPECT_EQ(Str(ggetenv("DBPATH")) + " " + Str(ggetnenv("DBPATH")) + " " + Str(ggetenv("TERM")) + " " + Str(ggetnenv("TERM")),
              ". /s1 vt dumb");
    EXPECT_EQ(search_evar_enum(GENV_DBPATH, "TERM", Kvx_EVars, Num_EVars), &Kvx_EVars[GENV_DBPATH]);
    EXPECT_EQ(search_evar_enum(0, "DBPATH", &session, 1), &session);  // its index is 0 as well
    EXPECT_EQ(search_evar(nullptr, Kvx_EVars, Num_EVars), nullptr);
  });
}

// A user-defined table: read through the files and its default, never
// from the process; it takes part in the gathered lists.
TEST(EnvUserTable, Rows) {
  static const genv_row table[] = {{"MY_KEY", "mine", 0}, {"SKALL", "on", 3}, {"MY_NULL", nullptr, 0}, {}};
  Fresh({{"MY_NULL", "p"}}, nullptr, "MY_KEY file\n", [] {
    EXPECT_EQ(gsetudenv(table), table);
    EXPECT_EQ(Str(ggetenv("MY_KEY")) + " " + Str(ggetnenv("MY_KEY")) + " " + Str(ggetenv("SKALL")), "file mine on");
    gerrno = 0;
    const std::string null = Str(ggetenv("MY_NULL"));
    EXPECT_EQ(std::tuple(null, gerrno), std::tuple("(null)", GENV_EUNKNOWN));
    ASSERT_EQ(Num_EVars, GENV_NUM_DVALS + 3);
    const genv_elem &e = Kvx_EVars[GENV_NUM_DVALS + 1];
    EXPECT_EQ(std::tuple(e.name, e.index, e.maxlen), std::tuple(table[1].name, -1, 0));
    genv_list list{};
    ASSERT_EQ(_oscpevlist(&list, "/db"), 0);
    EXPECT_EQ(std::string(list.names[list.count - 1]) + "=" + list.values[list.count - 1], "SKALL=on");
    _osfreevlist(&list);
  });
}

// The locale slots.
TEST(EnvLang, Slots) {
  Fresh({{"DBNLS", "2"}, {"LC_CTYPE", "ct"}, {"LC_COLLATE", "co"}}, nullptr, nullptr, [] {
    const std::string s64(64, 'c'), s65(65, 'c');
    EXPECT_EQ(OS_IsDbEnvSet(), 0);
    const struct { const char *name, *value; int rc; const char *slot; } cases[] = {{"LC_CTYPE", "fr", 0, "fr"},           {"LC_COLLATE", "de", 0, "de"},
                 {"DBNLS", "1", 0, "1"},                {"OTHER", "x", 0, "1"},
                 {"LC_CTYPE", s64.c_str(), 0, s64.c_str()}, {"LC_COLLATE", s65.c_str(), GENV_ETOOLONG, "de"},
                 {"DBNLS", "12345", GENV_ETOOLONG, "1"}, {"DBNLS", "1234", 0, "1234"}};
    for (const auto &c : cases) {
      SCOPED_TRACE(std::string(c.name) + "=" + c.value);
      const int rc = OS_setlang(c.name, c.value);
      EXPECT_EQ(std::tuple(rc, Str(OS_getlangvar(c.name))), std::tuple(c.rc, Str(c.slot)));
    }
    EXPECT_EQ(OS_IsDbEnvSet(), 1);
    for (int reapply : {1, 0}) {
      OS_setlang("LC_CTYPE", "old"), OS_setlang("LC_COLLATE", "old");
      EXPECT_EQ(OS_resetlang(reapply), 0);
      EXPECT_EQ(Str(OS_getlangvar("LC_CTYPE")) + Str(OS_getlangvar("LC_COLLATE")) + Str(OS_getlangvar("X")), "ctco2");
    }
    unsetenv("DBNLS");
    EXPECT_EQ(OS_resetlang(0), 0);
    EXPECT_STREQ(OS_getlangvar("DBNLS"), "");
  });
}

// The gathered lists hold the keys that have values, in list order.
std::vector<std::string> Entries(const genv_list &l) {
  std::vector<std::string> v;
  for (int32_t i = 0; i < l.count; ++i) v.push_back(std::string(l.names[i]) + "=" + l.values[i]);
  return v;
}
TEST(EnvList, Gathered) {
  Fresh({{"DBDATE", "Y4MD-"}, {"DB_LOCALE", "en_US.819"}, {"SKSHOW", "1"}, {"PATH", "/bin"}}, nullptr,
        "DBTIME %H\n", [] {
    genv_list c{}, s{};
    ASSERT_EQ(_oscpevlist(&c, "/db"), 0);
    EXPECT_EQ(Entries(c), (std::vector<std::string>{"DBPATH=/db", "DBDATE=Y4MD-", "SINGLELEVEL=no", "LKNOTIFY=yes",
                                                   "LOCKDOWN=no", "NODEFDAC=no", "DB_LOCALE=en_US.819"}));
    ASSERT_EQ(_oscsevlist(&s), 0);
    EXPECT_EQ(Entries(s), (std::vector<std::string>{"DBTIME=%H", "DBTEMP=/tmp", "DBPATH=.", "PATH=/bin"}));
    _osfreevlist(&c), _osfreevlist(&s), _osfreevlist(&s);
    EXPECT_EQ(std::tuple(c.names, c.values, s.names, s.values), std::tuple(nullptr, nullptr, nullptr, nullptr));
    const char *names[2] = {};
    char *values[2] = {};
    int32_t counter = 5;
    EXPECT_EQ(setevlist(names, values, Kvx_LVarList, 0, &counter), 0);
    EXPECT_EQ(setevlist(names, values, Kvx_LVarList, 2, &counter), 0);  // DB_LOCALE set, DBNLS not
    EXPECT_EQ(std::tuple(counter, Str(names[0]), Str(values[0]), names[1]), std::tuple(6, "DB_LOCALE", "en_US.819", nullptr));
    _vl_ext_free(values[0]);
    EXPECT_EQ(_oscpevlist(nullptr, "x"), -1);
  });
  Fresh({{"DBNLS", "x"}}, nullptr, nullptr, [] {
    EXPECT_EQ(_os_clr_env(), 0);
    EXPECT_EQ(Str(getenv("DBNLS")) + Str(getenv("DBMONEY")) + Str(getenv("DBDATE")) + Str(getenv("DBPATH")), "0$.MDY4/.");
  });
}

// The locale keys of the client's list follow the start-up mode: the seven
// under DBNLS in mode 1, DB_LOCALE alone without it, none in other modes.
TEST(EnvList, LocaleKeysByMode) {
  const struct { int16_t mode; int32_t nls; std::vector<std::string> tail; } cases[] = {
      {1, 1, {"NODEFDAC=no", "DB_LOCALE=de_DE.819", "DBNLS=1", "LC_CTYPE=fr_FR.819", "LC_COLLATE=fr_FR.819",
              "LC_NUMERIC=fr_FR.819", "LC_MONETARY=fr_FR.819", "LC_TIME=fr_FR.819"}},
      {1, 0, {"NODEFDAC=no", "DB_LOCALE=de_DE.819"}},
      {4, 1, {"NODEFDAC=no"}},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.mode * 10 + c.nls);
    Fresh({{"DBNLS", "1"}, {"LANG", "fr_FR.819"}, {"DB_LOCALE", "de_DE.819"}}, nullptr, nullptr, [&c] {
      vls_env.mode = c.mode, vls_env.nls_mode = c.nls;
      genv_list l{};
      ASSERT_EQ(_oscpevlist(&l, "/db"), 0);
      const std::vector<std::string> all = Entries(l);
      EXPECT_EQ(std::vector<std::string>(all.end() - c.tail.size(), all.end()), c.tail);
      EXPECT_EQ(l.count, 4 + int32_t(c.tail.size()));  // DBPATH and SINGLELEVEL to LOCKDOWN before the tail
      _osfreevlist(&l);
    });
  }
}

// A gathering that fails half-way frees what it built, and only that.
int mallocs_left;
void *failing_malloc(size_t n) { return mallocs_left-- > 0 ? malloc(n) : nullptr; }
TEST(EnvList, FailureFreesWhatWasBuilt) {
  Fresh({{"DBTIME", "t"}, {"DBLANG", "l"}, {"DBDATE", "d"}}, nullptr, nullptr, [] {
    ASSERT_EQ(greadenv(), 0);
    int32_t e = 0;
    ASSERT_EQ(vl_setextfunc(&e, VL_EXT_MALLOC, reinterpret_cast<void *>(&failing_malloc)), 0);
    for (int left : {0, 1}) {
      genv_list c{}, s{};
      mallocs_left = left;
      EXPECT_EQ(_oscpevlist(&c, "/db"), -1);
      mallocs_left = left;
      EXPECT_EQ(_oscsevlist(&s), -1);
      EXPECT_EQ(std::tuple(c.names, c.values, s.names, s.values), std::tuple(nullptr, nullptr, nullptr, nullptr));
    }
  });
}

// The base services: a set of names, 8-bit texts, the class table.
TEST(EnvBase, NamesTextsClasses) {
  void *list = _ginitnamelist();
  for (int i = 0; i < 40; ++i) ASSERT_EQ(_gaddnamelist(list, ("n" + std::to_string(i % 20 * 2)).c_str()), 0);
  EXPECT_EQ(std::tuple(_gsrchnamelist(list, "n38"), _gsrchnamelist(list, "n39"), _gsrchnamelist(list, nullptr),
                       _gaddnamelist(list, nullptr)),
            std::tuple(1, 0, 0, GENV_ENULL));
  _gfreenamelist(list);
  EXPECT_EQ(std::tuple(is8bitstr("abc\x7f"), is8bitstr("ab\x80"), is8bitstr(nullptr)), std::tuple(0, 1, 0));
  EXPECT_EQ(rldnlsctype(), 0);
  for (int c = 0; c < 256; ++c) {
    SCOPED_TRACE(c);
    EXPECT_EQ(std::tuple(!!(_ixctype[c] & IX_SPACE), !!(_ixctype[c] & IX_DIGIT), !!(_ixctype[c] & IX_PUNCT)),
              std::tuple(c < 128 && isspace(c), c < 128 && isdigit(c), c < 128 && ispunct(c)));
  }
}

}  // namespace
