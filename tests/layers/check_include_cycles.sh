#!/bin/sh
# Fails when a source directory includes a directory that includes it back,
# directly or through others. Usage: check_include_cycles.sh SRC_DIR
set -eu
src=${1:?usage: $0 SRC_DIR}
edges=$(mktemp)
trap 'rm -f "$edges"' EXIT
cd "$src"
find . -name '*.h' -o -name '*.cpp' | sed 's#^\./##' | sort | while read -r file; do
  from=$(dirname "$file")
  sed -n 's/^[[:space:]]*#[[:space:]]*include[[:space:]]*"\([^"]*\)".*/\1/p' "$file" | while read -r inc; do
    to=$(dirname "$inc")
    # Each directory also stands for itself, so that a pair of
    # directories with no other edge still appears in the sort.
    echo "$from $from"
    [ "$to" = "$from" ] || [ ! -d "$to" ] || echo "$from $to"
  done
done | sort -u >"$edges"
if ! tsort "$edges" >/dev/null 2>"$edges.err"; then
  echo "directory include cycle in $src:" >&2
  cat "$edges.err" >&2
  rm -f "$edges.err"
  exit 1
fi
rm -f "$edges.err"
echo "no directory include cycle in $src"
