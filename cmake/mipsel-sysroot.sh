#!/usr/bin/env bash
# Unpacks the target's OpenSSL and cpp-httplib (headers and libraries, with the
# libraries cpp-httplib links) into build/mipsel-sysroot for the cross-build.
# The mipsel packages are unpacked, not installed, so they never clash with the
# host's. Does nothing when the sysroot is complete.
set -euo pipefail
cd "$(dirname "$0")/.."

sysroot=build/mipsel-sysroot
debs=build/mipsel-debs
[ -f "$sysroot/.complete" ] && [ -f "$sysroot/usr/include/httplib.h" ] && exit 0

download() {
  rm -rf "$debs"
  mkdir -p "$debs"
  (cd "$debs" && apt-get download libssl-dev:mipsel libssl3:mipsel libcpp-httplib-dev:mipsel \
    libcpp-httplib0.11:mipsel zlib1g:mipsel libbrotli1:mipsel)
}

if ! download; then
  # The package lists may not know the mipsel architecture yet.
  if ! dpkg --print-foreign-architectures | grep -qx mipsel; then
    dpkg --add-architecture mipsel
  fi
  apt-get update
  download
fi

rm -rf "$sysroot"
mkdir -p "$sysroot"
for deb in "$debs"/*.deb; do
  dpkg -x "$deb" "$sysroot"
done
test -f "$sysroot/usr/include/openssl/ssl.h"
test -e "$sysroot/usr/lib/mipsel-linux-gnu/libcrypto.so"
test -e "$sysroot/usr/lib/mipsel-linux-gnu/libcpp-httplib.so"
touch "$sysroot/.complete"
