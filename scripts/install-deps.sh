#!/usr/bin/env bash
# Installs the Debian packages that building, testing and the demo need and
# that this machine lacks (apt, as root or through sudo). Without either it
# prints the one command to run and stops.
#   scripts/install-deps.sh           build, tests, demo
#   scripts/install-deps.sh --cross   the same, plus the mipsel cross build
set -euo pipefail

packages=(
  build-essential cmake ninja-build ccache
  libssl-dev libgtest-dev libgmock-dev googletest libbenchmark-dev libcpp-httplib-dev
  clang libclang-rt-14-dev  # the fuzzers (libFuzzer)
  snmp snmptrapd            # the trap tests start net-snmp's snmptrapd
  chromium                  # the web GUI tests drive headless Chromium
  prometheus                # the metrics tests scrape with Prometheus
  valgrind
  openssl                   # the wss tests make their certificate with openssl req
  netcat-openbsd            # make demo: type MCU commands with nc
)
cross=no
case "${1:-}" in
  --cross) cross=yes; packages+=(g++-mipsel-linux-gnu qemu-user) ;;
  "") ;;
  *) echo "usage: $0 [--cross]" >&2; exit 2 ;;
esac

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done
need_arch=no
if [ "$cross" = yes ] && ! dpkg --print-foreign-architectures | grep -qx mipsel; then need_arch=yes; fi
# The cross build's OpenSSL comes from the mipsel archive (cmake/mipsel-sysroot.sh).
need_update=$need_arch
[ "${#missing[@]}" -gt 0 ] && need_update=yes
if [ "$cross" = yes ] && ! { [ -f build/mipsel-sysroot/.complete ] && [ -f build/mipsel-sysroot/usr/include/httplib.h ]; }; then
  need_update=yes
fi
[ "$need_update" = no ] && exit 0

if [ "$(id -u)" -eq 0 ]; then
  sudo=
elif command -v sudo >/dev/null && sudo -n true 2>/dev/null; then
  sudo="sudo -n"
elif command -v sudo >/dev/null && [ -t 0 ]; then
  sudo=sudo
else
  line="apt-get update && apt-get install -y ${missing[*]}"
  [ "$need_arch" = yes ] && line="dpkg --add-architecture mipsel && $line"
  echo "install-deps: missing Debian packages: ${missing[*]:-none}" >&2
  echo "install-deps: this needs root; run as root, then try again:" >&2
  echo "  $line" >&2
  exit 1
fi

export DEBIAN_FRONTEND=noninteractive
[ "$need_arch" = yes ] && $sudo dpkg --add-architecture mipsel
$sudo apt-get update
if [ "${#missing[@]}" -gt 0 ]; then
  echo "install-deps: installing ${missing[*]}"
  $sudo apt-get install -y "${missing[@]}"
fi
