#!/bin/bash
# Runs every benchmark of `make bench` once and prints the figures.
#   run.sh PDUD_BENCH PTY_BENCH PDUD ZLT8AC_DUMP
set -euo pipefail
bench=$1 pty=$2 pdud=$3 dump=$4

echo "== machine"
echo "$(nproc) CPUs: $(grep -m1 'model name' /proc/cpuinfo | cut -d: -f2- | sed 's/^ //')"
echo "kernel $(uname -r); /tmp on $(df -T /tmp | awk 'NR==2 {print $2}')"

echo "== status dumps, nvram in memory"
nice "$bench" --benchmark_counters_tabular=true

echo "== instructions per message, steady ZLT8AC dump"
if command -v valgrind >/dev/null; then
  out=$(mktemp)
  msgs=$(valgrind --tool=callgrind --instr-atstart=no --callgrind-out-file="$out" \
           "$bench" --instructions ZLT8AC 20 2>/dev/null | awk '/^messages/ {print $2}')
  ir=$(awk '/^(summary|totals):/ {print $2; exit}' "$out")
  rm -f "$out"
  echo "$ir instructions over $msgs messages: $((ir / msgs)) per message"
else
  echo "valgrind not installed (Debian: valgrind)"
fi

echo "== the daemon behind a pseudo-terminal"
nice "$pty" "$pdud" "$dump"

echo "== stripped mipsel pdud"
mips=build/mipsel/pdud
if [ -f "$mips" ] && command -v mipsel-linux-gnu-strip >/dev/null; then
  tmp=$(mktemp); mipsel-linux-gnu-strip -o "$tmp" "$mips"; echo "$(stat -c %s "$tmp") bytes"; rm -f "$tmp"
else
  echo "no mipsel build (make mipsel first)"
fi
