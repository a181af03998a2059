#!/bin/sh
# Checks the compiled collation of every shipped locale against glibc:
# compiles each with vls-localedef and with glibc's localedef into a
# scratch directory and runs vls-collcheck on the pair.
#
#   tools/localedef/collcheck.sh BUILD_DIR [STRINGS] [SCRATCH_DIR]
set -eu
build=${1:?usage: collcheck.sh BUILD_DIR [STRINGS] [SCRATCH_DIR]}
n=${2:-500}
tmp=${3:-$(mktemp -d)}
root=$(cd "$(dirname "$0")/../.." && pwd)
ldef=$build/tools/localedef/vls-localedef
check=$build/tools/localedef/vls-collcheck
locales=$(sed -n 's/^  "\([A-Za-z_]*\):\([A-Za-z0-9_-]*\):\([0-9a-f]*\)"$/\1:\2/p' "$root/tools/localedef/CMakeLists.txt")
mkdir -p "$tmp/vls" "$tmp/glibc"
for item in $locales; do
  src=${item%%:*}
  cm=${item#*:}
  name=$src.$cm
  if [ ! -f "$tmp/glibc/$name/LC_COLLATE" ]; then
    # glibc's localedef exits with 1 after warnings; the files count.
    I18NPATH=/usr/share/i18n localedef -c -i "/usr/share/i18n/locales/$src" -f "$cm" "$tmp/glibc/$name" \
      >/dev/null 2>&1 || true
  fi
  "$ldef" -q -i "$src" -f "$cm" "$tmp/vls/$name.lco"
  "$check" "$tmp/vls/$name.lco" "$tmp/glibc/$name" "$n"
done
