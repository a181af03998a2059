# Shared set-up of the build scripts. Sourced, not run.
set -euo pipefail
ROOT="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
JOBS="${JOBS:-$(nproc)}"
# Build directories differ only in their path: let them share cache entries.
export CCACHE_NOHASHDIR="${CCACHE_NOHASHDIR:-true}"

# Installs the Debian packages the build needs, once.
vls_install_packages() {
  local want=(cmake make g++ gcc g++-multilib gcc-multilib googletest libgtest-dev libbenchmark-dev
              clang libclang-rt-dev ccache python3 locales gcovr)
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

# vls_configure DIR [cmake options...]: configures (once) a build directory.
vls_configure() {
  local dir="$1"; shift
  local launcher=()
  if command -v ccache >/dev/null 2>&1; then
    launcher=(-DCMAKE_C_COMPILER_LAUNCHER=ccache -DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
  fi
  cmake -S "$ROOT" -B "$dir" -DCMAKE_BUILD_TYPE=RelWithDebInfo "${launcher[@]}" "$@" >/dev/null
}
