# What the tools share: where the project is, what the machine needs. Sourced, not run.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

say() { printf '%s\n' "$*" >&2; }

# need PACKAGE...: installs the Debian packages that are missing, as root or through sudo.
need() {
  local missing=() package as_root=()
  for package in "$@"; do
    dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'ok installed' || missing+=("$package")
  done
  [ ${#missing[@]} -gt 0 ] || return 0
  if [ "$(id -u)" != 0 ]; then
    command -v sudo >/dev/null || { say "These packages are missing, install them as root: ${missing[*]}"; exit 1; }
    as_root=(sudo)
  fi
  say "installing ${missing[*]}"
  "${as_root[@]}" apt-get update -q >/dev/null
  DEBIAN_FRONTEND=noninteractive "${as_root[@]}" apt-get install -qy --no-install-recommends "${missing[@]}" >/dev/null
}

need_build() {
  need build-essential cmake ninja-build ccache pkg-config qtbase5-dev libqt5svg5 libqwt-qt5-dev \
    libsqlite3-dev libxxhash-dev fonts-dejavu-core
  # Updates of instruments: secure shell, packages, checksums.
  need libssh-dev libarchive-dev libssl-dev
}
need_tests() {
  need libgtest-dev libgmock-dev python3 python3-pywt clang libclang-rt-14-dev clang-format
  # The device of the update tests.
  need openssh-client openssh-server
  # Other stacks that discovery is tried with, in network namespaces.
  need iproute2 gupnp-tools minissdpd libminiupnpc17 libupnp13 python3-gi gir1.2-gssdp-1.6
}

# build PRESET [TARGET...]: configures and builds, showing the log only when it fails.
build() {
  local preset=$1 log
  shift
  log=$(mktemp)
  say "building $preset"
  if ! { cmake --preset "$preset" && cmake --build --preset "$preset" ${@:+--target "$@"}; } >"$log" 2>&1; then
    grep -E 'error|Error|FAILED' -A 5 "$log" >&2 || tail -50 "$log" >&2
    rm -f "$log"
    exit 1
  fi
  rm -f "$log"
}
