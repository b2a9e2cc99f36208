#!/bin/sh
# Runs every fuzz target of BUILD_DIR (build/fuzz): a fixed number of runs
# each (about two minutes in all), or SECONDS seconds each when given.
# A timed run keeps its new inputs in BUILD_DIR/corpus/<target> for the next
# one; a fixed-count run starts from the seeds alone, so that it takes as long
# every time. Crashes go to BUILD_DIR/findings/.
set -e
build=${1:-build/fuzz}
# The targets' scratch roots (left behind by the fuzzer's exit) go in one
# directory removed at the end; in memory where possible, as settings-file
# writes end in fsync.
export TMPDIR="$(mktemp -d "$( [ -w /dev/shm ] && echo /dev/shm || echo /tmp )/pdud-fuzz.XXXXXX")"
trap 'rm -rf "$TMPDIR"' EXIT
for entry in interpreter:10000 serial_framing:6000 websocket:100000 tcp_input:200000 fd_handover:8000; do
  target=${entry%%:*} limit=-max_total_time=$2 corpus=$build/corpus/${entry%%:*}
  [ -n "$2" ] || { limit=-runs=${entry#*:} corpus=$build/corpus-fixed/$target; rm -rf "$corpus"; }
  mkdir -p "$corpus" "$build/findings"
  echo "fuzz_$target $limit"
  "$build/tests/fuzz/fuzz_$target" $limit -max_len=8192 -print_final_stats=1 \
    -artifact_prefix="$build/findings/$target-" "$corpus" "tests/fuzz/data/$target" \
    2>"$build/fuzz_$target.log" || { tail -40 "$build/fuzz_$target.log"; exit 1; }
  grep -E '^(#[0-9]+[[:space:]]+DONE|stat::number_of_executed_units)' "$build/fuzz_$target.log" || true
done
