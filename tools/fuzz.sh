#!/bin/bash
# Builds the fuzz targets of the file readers with clang (build-fuzz beside
# this script's repository, or $FUZZ_BUILD) and runs each for SECONDS
# (default 30) on a copy of its seed corpus. Prints the executions of each
# target and any crash or undefined behaviour; exits non-zero on any.
# Usage: tools/fuzz.sh [SECONDS] [target...]   (targets: the names of the
# fuzz/fuzz_NAME.cpp that have a seed corpus fuzz/corpus/NAME; default all)
set -u
SECS=${1:-30}
shift || true
ROOT=$(cd "$(dirname "$0")/.." && pwd)
BUILD=${FUZZ_BUILD:-$ROOT/build-fuzz}
ALL=$(for d in "$ROOT"/fuzz/corpus/*/; do
  n=$(basename "$d")
  [ -f "$ROOT/fuzz/fuzz_$n.cpp" ] && echo "$n"
done)
TARGETS=${*:-$ALL}
JOBS=${FUZZ_JOBS:-2}

nice -n 19 cmake -S "$ROOT" -B "$BUILD" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_CXX_COMPILER=clang++ \
  -DCMAKE_C_COMPILER=clang -DCMAKE_CUDA_COMPILER=CMAKE_CUDA_COMPILER-NOTFOUND -DKELVO_FUZZ=ON -DKELVO_TESTS=OFF \
  >"$BUILD.configure.log" 2>&1 || { cat "$BUILD.configure.log"; exit 1; }
for t in $TARGETS; do
  nice -n 19 cmake --build "$BUILD" -j"$JOBS" --target "fuzz_$t" || exit 1
done

OUT=$(mktemp -d /tmp/kelvo_fuzz_run_XXXXXX)
BAD=0
for t in $TARGETS; do
  mkdir -p "$OUT/$t/corpus" "$OUT/$t/crashes"
  cp "$ROOT/fuzz/corpus/$t"/* "$OUT/$t/corpus/" 2>/dev/null
  # The targets work in a scratch directory of their own: crash files go by
  # absolute prefix.
  nice -n 19 "$BUILD/fuzz/fuzz_$t" -max_total_time="$SECS" -max_len=65536 -rss_limit_mb=2048 \
    -artifact_prefix="$OUT/$t/crashes/" -print_final_stats=1 "$OUT/$t/corpus" >"$OUT/$t/log.txt" 2>&1
  rc=$?
  runs=$(grep -o 'stat::number_of_executed_units: *[0-9]*' "$OUT/$t/log.txt" | grep -o '[0-9]*$')
  # Undefined behaviour is reported without stopping the run: a finding too.
  if [ $rc -ne 0 ] || [ -n "$(ls -A "$OUT/$t/crashes")" ] || grep -q 'runtime error:' "$OUT/$t/log.txt"; then
    BAD=1
    echo "fuzz_$t: CRASH after ${runs:-?} executions (log $OUT/$t/log.txt)"
    grep -m1 -A12 'ERROR:\|runtime error' "$OUT/$t/log.txt"
    ls "$OUT/$t/crashes"
  else
    echo "fuzz_$t: ${runs:-?} executions in ${SECS} s, no crash"
  fi
done
echo "logs and corpora: $OUT"
exit $BAD
