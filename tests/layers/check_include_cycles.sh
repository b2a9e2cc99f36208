#!/bin/sh
# Fails, tsort naming the loop, when a source directory includes a directory
# that includes it back, directly or through others. Usage: check_include_cycles.sh SRC_DIR
set -eu
cd "${1:?usage: $0 SRC_DIR}"
find . -name '*.h' -o -name '*.cpp' | while read -r file; do
  from=$(dirname "${file#./}")
  # Each directory also stands for itself, so that one with no other edge still appears.
  echo "$from $from"
  sed -n 's/^[[:space:]]*#[[:space:]]*include[[:space:]]*"\([^"]*\)".*/\1/p' "$file" | while read -r inc; do
    to=$(dirname "$inc")
    [ "$to" = "$from" ] || [ ! -d "$to" ] || echo "$from $to"
  done
done | tsort >/dev/null
echo "no directory include cycle in $1"
