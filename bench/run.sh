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
  ir=$(awk '/^totals:/ {print $2; exit}' "$out")
  rm -f "$out"
  echo "$ir instructions over $msgs messages: $((ir / msgs)) per message"
else
  echo "valgrind not installed (Debian: valgrind)"
fi

fstype=$(df -T /tmp | awk 'NR==2 {print $2}')
echo "== the daemon behind a pseudo-terminal, scratch root on $fstype (/tmp), rows changing every other pass"
nice "$pty" "$pdud" "$dump" 10000
echo "== the same, rows never changing (only the confirmations write)"
nice "$pty" "$pdud" "$dump" 10000 steady
if [ -d /dev/shm ]; then
  echo "== rows changing every other pass, scratch root on tmpfs (/dev/shm: fsync costs nothing)"
  TMPDIR=/dev/shm nice "$pty" "$pdud" "$dump" 10000
fi

echo "== stripped mipsel pdud"
mips=$(dirname "$0")/../build/mipsel/pdud
if [ -f "$mips" ] && command -v mipsel-linux-gnu-strip >/dev/null; then
  tmp=$(mktemp); mipsel-linux-gnu-strip -o "$tmp" "$mips"; echo "$(stat -c %s "$tmp") bytes"; rm -f "$tmp"
else
  echo "no mipsel build (cmake --preset mipsel && cmake --build --preset mipsel --target pdud first)"
fi
