# Shared set-up of the build scripts. Sourced, not run.
set -euo pipefail
ROOT="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
JOBS="${JOBS:-$(nproc)}"
# Build directories differ only in their path: let them share cache entries.
export CCACHE_NOHASHDIR="${CCACHE_NOHASHDIR:-true}"

# Installs the Debian packages the build needs, once.
vls_install_packages() {
  local want=(cmake make g++ gcc g++-multilib gcc-multilib googletest libgtest-dev libbenchmark-dev abigail-tools pkgconf
              clang libclang-rt-dev ccache python3 locales gcovr libicu-dev zlib1g-dev lib32z1-dev
              qemu-user)  # qemu: the -m32 build's programs on a kernel that runs no 32-bit ones
  local missing=()
  for p in "${want[@]}"; do
    dpkg -s "$p" >/dev/null 2>&1 || missing+=("$p")
  done
  if ((${#missing[@]})); then
    if [[ $(id -u) -ne 0 ]]; then
      echo "missing packages: ${missing[*]} (run as root to install them)" >&2
      exit 1
    fi
    echo "installing: ${missing[*]}"
    export DEBIAN_FRONTEND=noninteractive
    apt-get update -qq
    apt-get install -y -qq "${missing[@]}" >/dev/null
  fi
}

# Makes 32-bit x86 programs run where the kernel has no 32-bit support:
# registers qemu's user mode for i386 ELF files with binfmt_misc (as root).
# Without it the -m32 build still runs its programs through the emulator
# that CMake finds, but tests that start other programs of the build would
# not.
vls_enable_m32() {
  local d; d=$(mktemp -d)
  printf 'int main(void){return 0;}\n' >"$d/m.c"
  if gcc -m32 "$d/m.c" -o "$d/m" >/dev/null 2>&1 && ! "$d/m" >/dev/null 2>&1 && [[ $(id -u) -eq 0 ]]; then
    local bm=/proc/sys/fs/binfmt_misc
    [[ -e $bm/register ]] || mount -t binfmt_misc binfmt_misc "$bm" 2>/dev/null || true
    if [[ -w $bm/register && ! -e $bm/qemu-i386 ]]; then
      printf '%s' ':qemu-i386:M::\x7fELF\x01\x01\x01\x00\x00\x00\x00\x00\x00\x00\x00\x00\x02\x00\x03\x00:\xff\xff\xff\xff\xff\xfe\xfe\x00\xff\xff\xff\xff\xff\xff\xff\xff\xfe\xff\xff\xff:/usr/bin/qemu-i386:F' \
        >"$bm/register" 2>/dev/null || true
    fi
    if "$d/m" >/dev/null 2>&1; then echo "32-bit programs run under qemu-i386 (binfmt_misc)"; fi
  fi
  rm -rf "$d"
}

# vls_configure DIR [cmake options...]: configures (once) a build directory.
vls_configure() {
  local dir="$1"; shift
  local launcher=()
  if command -v ccache >/dev/null 2>&1; then
    launcher=(-DCMAKE_C_COMPILER_LAUNCHER=ccache -DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
  fi
  cmake -S "$ROOT" -B "$dir" -DCMAKE_BUILD_TYPE=RelWithDebInfo "${launcher[@]}" "$@" >/dev/null
}
