// The table of every setting the client layer knows, with its default and
// its length limit. Callers address rows by number (idx_ggetenv), so the
// order is part of the interface: rows are never reordered and new keys are
// never inserted among them.
#include <string_view>

#include <vls/vlsenv.h>

extern "C" {

VLS_API extern constexpr genv_row Kvx_DVals[] = {
    {"ASFDEBUG", nullptr, 0},  // 0
    {"ASF_C", nullptr, 0},  // 1
    {"ASF_G", nullptr, 0},  // 2
    {"ASF_L", nullptr, 0},  // 3
    {"ASF_S", nullptr, 0},  // 4
    {"CR_LOCKBLOB", nullptr, 0},  // 5
    {"LOCKSSFU", nullptr, 0},  // 6
    {"DBAPICODE", nullptr, 0},  // 7
    {"DBANSIWARN", nullptr, 0},  // 8
    {"DBBLOBBUF", nullptr, 0},  // 9
    {"DBDATE", nullptr, 0},  // 10
    {"DBDEFAULTMODE", nullptr, 0},  // 11
    {"DBDELIMITER", "|", 0},  // 12
    {"DBEDIT", nullptr, 0},  // 13
    {"DBESCWT", nullptr, 0},  // 14
    {"DBLANG", nullptr, 0},  // 15
    {"DBMENU", nullptr, 0},  // 16
    {"DBMONEY", nullptr, 0},  // 17
    {"DBPATH", ".", 0},  // 18
    {"DBPRINT", "lpr", 0},  // 19
    {"DBSCREENDUMP", nullptr, 0},  // 20
    {"DBSCREENDUMPMB", nullptr, 0},  // 21
    {"DBSCREENOUT", nullptr, 0},  // 22
    {"DBTEMP", "/tmp", 0},  // 23
    {"DBTIME", nullptr, 0},  // 24
    {"DBMAXPROC", nullptr, 0},  // 25
    {"DBVCLOSE", nullptr, 0},  // 26
    {"ENVIGNORE", nullptr, 0},  // 27
    {"FET_BUF_SIZE", nullptr, 0},  // 28
    {"KVX_AUTOFREE", nullptr, 0},  // 29
    {"KVX_DATESTR_NOTNULL", nullptr, 0},  // 30
    {"KVX_DEFERRED_PREPARE", nullptr, 0},  // 31
    {"KVX_INPOLL_INTERVAL", nullptr, 0},  // 32
    {"KVX_IPCSHM_SPINS", nullptr, 0},  // 33
    {"KVX_POLLPRI_INTERVAL", nullptr, 0},  // 34
    {"KELVANIXASFDBG", nullptr, 0},  // 35
    {"KELVANIXCONRETRY", nullptr, 0},  // 36
    {"KELVANIXCONTIME", nullptr, 0},  // 37
    {"KELVANIXDIR", "/usr/kelvanix", 256},  // 38
    {"KELVANIXNSF", nullptr, 0},  // 39
    {"KELVANIXOPCACHE", nullptr, 0},  // 40
    {"KELVANIXQATERM", nullptr, 0},  // 41
    {"KELVANIXSERVER", nullptr, 18},  // 42
    {"KELVANIXSHMBASE", nullptr, 0},  // 43
    {"KELVANIXSQLHOSTS", nullptr, 0},  // 44
    {"KELVANIXTERM", "termcap", 0},  // 45
    {"LD_LIBRARY_PATH", nullptr, 0},  // 46
    {"ONCONFIG", nullptr, 0},  // 47
    {"OPTMSG", nullptr, 0},  // 48
    {"OPTOFC", nullptr, 0},  // 49
    {"PATH", nullptr, 0},  // 50
    {"QPLANTEST", nullptr, 0},  // 51
    {"SQDEBUG", nullptr, 0},  // 52
    {"SQEXPLAIN", nullptr, 0},  // 53
    {"SQLIDEBUG", nullptr, 0},  // 54
    {"TBCONFIG", "onconfig", 0},  // 55
    {"TEMP", nullptr, 0},  // 56
    {"TERM", "dumb", 0},  // 57
    {"TERMCAP", "/etc/termcap", 0},  // 58
    {"TMP", nullptr, 0},  // 59
    {"TZ", nullptr, 0},  // 60
    {"DBNLS", nullptr, 0},  // 61
    {"COLLCHAR", nullptr, 0},  // 62
    {"LANG", nullptr, 0},  // 63
    {"LC_COLLATE", nullptr, 0},  // 64
    {"LC_CTYPE", nullptr, 0},  // 65
    {"LC_MONETARY", nullptr, 0},  // 66
    {"LC_NUMERIC", nullptr, 0},  // 67
    {"LC_TIME", nullptr, 0},  // 68
    {"DELIMIDENT", nullptr, 0},  // 69
    {"VLS8BITFSYS", nullptr, 0},  // 70
    {"CC8BITLEVEL", nullptr, 0},  // 71
    {"VL_DATE", nullptr, 0},  // 72
    {"VL_DATETIME", nullptr, 0},  // 73
    {"VL_MATCHES", nullptr, 0},  // 74
    {"DB_LOCALE", nullptr, 0},  // 75
    {"CLIENT_LOCALE", nullptr, 0},  // 76
    {"SERVER_LOCALE", nullptr, 0},  // 77
    {"DBACCNOIGN", nullptr, 0},  // 78
    {"DBALSBC", nullptr, 0},  // 79
    {"DBASCIIBC", nullptr, 0},  // 80
    {"DBCODESET", nullptr, 0},  // 81
    {"DBCONNECT", nullptr, 0},  // 82
    {"DBCSOVERRIDE", nullptr, 0},  // 83
    {"DBCSCONV", nullptr, 0},  // 84
    {"DBCENTURY", nullptr, 0},  // 85
    {"DBSPACETEMP", nullptr, 0},  // 86
    {"DBUPSPACE", nullptr, 0},  // 87
    {"DEBUG", nullptr, 0},  // 88
    {"DEBUG_2PCFILE", nullptr, 0},  // 89
    {"DUMPCORE", nullptr, 0},  // 90
    {"DUMPDIR", nullptr, 0},  // 91
    {"DUMPMEM", nullptr, 0},  // 92
    {"DUMPSHMEM", nullptr, 0},  // 93
    {"GCORE", nullptr, 0},  // 94
    {"KELVANIXSTACKSIZE", nullptr, 0},  // 95
    {"LIGHT_SCANS", nullptr, 0},  // 96
    {"NOSHMSG", nullptr, 0},  // 97
    {"NOSORTINDEX", nullptr, 0},  // 98
    {"OPTCOMPIND", nullptr, 0},  // 99
    {"PDQPRIORITY", nullptr, 0},  // 100
    {"PSORT_DBTEMP", nullptr, 0},  // 101
    {"PSORT_NPROCS", nullptr, 0},  // 102
    {"SHELL", nullptr, 0},  // 103
    {"SQLHOSTS", nullptr, 0},  // 104
    {"SQLPID", nullptr, 0},  // 105
    {"SQLSTATS", nullptr, 0},  // 106
    {"SQL_FROM_DBIMPORT", nullptr, 0},  // 107
    {"W1", nullptr, 0},  // 108
    {"W2", nullptr, 0},  // 109
    {"SLABEL", nullptr, 0},  // 110
    {"SINGLELEVEL", "no", 0},  // 111
    {"LKNOTIFY", "yes", 0},  // 112
    {"LOCKDOWN", "no", 0},  // 113
    {"NODEFDAC", "no", 0},  // 114
    {"PLCONFIG", nullptr, 0},  // 115
    {nullptr, nullptr, 0},
};

}  // extern "C"

// The row numbers the header names, and the length (a missing row would
// leave row 115 empty).
namespace {
constexpr bool row_is(int row, std::string_view name) { return Kvx_DVals[row].name == name; }
static_assert(row_is(GENV_DBDELIMITER, "DBDELIMITER") && row_is(GENV_DBPATH, "DBPATH") &&
              row_is(GENV_KELVANIXDIR, "KELVANIXDIR") && row_is(GENV_KELVANIXSERVER, "KELVANIXSERVER") &&
              row_is(GENV_DBNLS, "DBNLS") && row_is(GENV_LANG, "LANG") && row_is(GENV_LC_COLLATE, "LC_COLLATE") &&
              row_is(GENV_LC_CTYPE, "LC_CTYPE") && row_is(GENV_LC_MONETARY, "LC_MONETARY") &&
              row_is(GENV_LC_NUMERIC, "LC_NUMERIC") && row_is(GENV_LC_TIME, "LC_TIME") &&
              row_is(GENV_VLS8BITFSYS, "VLS8BITFSYS") && row_is(GENV_DB_LOCALE, "DB_LOCALE") &&
              row_is(GENV_CLIENT_LOCALE, "CLIENT_LOCALE") && row_is(GENV_SERVER_LOCALE, "SERVER_LOCALE") &&
              row_is(GENV_NUM_DVALS - 1, "PLCONFIG") && Kvx_DVals[GENV_NUM_DVALS].name == nullptr);
}  // namespace
