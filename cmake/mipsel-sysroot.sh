#!/usr/bin/env bash
# Unpacks the target's OpenSSL (headers and libraries) into build/mipsel-sysroot
# for the cross-build. The mipsel packages are unpacked, not installed, so they
# never clash with the host's OpenSSL. Does nothing when the sysroot is complete.
set -euo pipefail
cd "$(dirname "$0")/.."

sysroot=build/mipsel-sysroot
debs=build/mipsel-debs
[ -f "$sysroot/.complete" ] && exit 0

download() {
  rm -rf "$debs"
  mkdir -p "$debs"
  (cd "$debs" && apt-get download libssl-dev:mipsel libssl3:mipsel)
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
touch "$sysroot/.complete"
