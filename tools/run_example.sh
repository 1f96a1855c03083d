#!/usr/bin/env bash
# Builds kelvo, writes a small layered acoustic example job, runs it, lists
# the merged shot gathers and draws a gather and the snapshots of a shot
# (tools/kelvo_plot, when Python's matplotlib is installed).
#
# Usage: tools/run_example.sh [JOB_DIR] [kelvo_make_job options...]
#   JOB_DIR defaults to ./example-job (relative to the current directory).
#   Further options go to kelvo_make_job (see build/kelvo_make_job --help),
#   except --dir, which the script sets.
#   An existing JOB_DIR is replaced only when it holds an earlier example job.
# Environment: BUILD_DIR (default <repository>/build), JOBS (parallel build jobs).
set -euo pipefail

REPO="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
BUILD_DIR="${BUILD_DIR:-$REPO/build}"
JOB_DIR="./example-job"
if [ $# -gt 0 ] && [ "${1#-}" = "$1" ]; then
  JOB_DIR="$1"
  shift
fi
JOBS="${JOBS:-$(nproc 2>/dev/null || echo 2)}"

REPLACE_JOB=0
# Only an earlier example job is replaced; any other non-empty directory is left alone.
if [ -d "$JOB_DIR" ] && [ -n "$(ls -A "$JOB_DIR")" ]; then
  if [ -f "$JOB_DIR/runtask.ini" ] && [ -f "$JOB_DIR/survey.txt" ] && [ -f "$JOB_DIR/vp.sgy" ]; then
    REPLACE_JOB=1
  else
    echo "$JOB_DIR exists and is not an example job; choose another directory" >&2
    exit 1
  fi
fi

echo "== Configuring and building in $BUILD_DIR"
CMAKE_LOG="$(mktemp)"
if ! cmake -S "$REPO" -B "$BUILD_DIR" -DCMAKE_BUILD_TYPE=Release > "$CMAKE_LOG" 2>&1; then
  cat "$CMAKE_LOG"
  rm -f "$CMAKE_LOG"
  exit 1
fi
rm -f "$CMAKE_LOG"
cmake --build "$BUILD_DIR" --target kelvo kelvo_make_job -j "$JOBS"

echo "== Writing the example job to $JOB_DIR"
[ "$REPLACE_JOB" -eq 1 ] && rm -rf "$JOB_DIR"
# Snapshots every 0.1 s, and a gain of t^2 on the gather drawn, except in the
# vertical-incidence method, which has no snapshots and no spreading.
SNAPSHOTS=(--snapshot 0.1,0.1)
GAIN=2
case " $* " in *" vertical "*) SNAPSHOTS=() GAIN=0 ;; esac
"$BUILD_DIR/kelvo_make_job" --dir "$JOB_DIR" --shots 3 --receivers 31 "${SNAPSHOTS[@]}" "$@"

echo "== Running kelvo in $JOB_DIR"
START=$(date +%s.%N)
status=0
(cd "$JOB_DIR" && "$BUILD_DIR/kelvo") > "$JOB_DIR/console.txt" 2>&1 || status=$?
END=$(date +%s.%N)
grep -v '^\.\.' "$JOB_DIR/console.txt" | tail -n 8
if [ "$status" -ne 0 ]; then
  echo "kelvo failed with status $status; see $JOB_DIR/console.txt and $JOB_DIR/Kelvo-0.log" >&2
  exit "$status"
fi
awk -v a="$START" -v b="$END" 'BEGIN { printf "== kelvo took %.1f s\n", b - a }'

# Trace count of a SEG-Y file of this system: fixed-length traces of IBM
# floats behind the 3600-byte header; the samples per trace stand big-endian
# at bytes 3221-3222.
trace_count() {
  local f="$1" size ns
  size=$(stat -c %s "$f")
  ns=$(od -An -j3220 -N2 -tu1 "$f" | awk '{print $1 * 256 + $2}')
  if [ "$ns" -le 0 ]; then echo 0; return; fi
  echo $(((size - 3600) / (240 + 4 * ns)))
}

echo "== Merged shot gathers"
printf "%-32s %12s %8s\n" "file" "bytes" "traces"
found=0
for f in "$JOB_DIR"/*+Gath3D*.sgy; do
  [ -e "$f" ] || continue
  case "$(basename "$f")" in *-[0-9]*.sgy) continue ;; esac # per-shot files
  printf "%-32s %12s %8s\n" "$(basename "$f")" "$(stat -c %s "$f")" "$(trace_count "$f")"
  found=1
done
if [ "$found" -eq 0 ]; then
  echo "no merged gathers found in $JOB_DIR" >&2
  exit 1
fi

# Pictures: the pressure gather (or the vertical one) of the middle shot and
# the frames of its snapshot.
if ! /usr/bin/python3 -c "import matplotlib, numpy, segyio" 2>/dev/null; then
  echo "== No pictures: /usr/bin/python3 lacks matplotlib, numpy or segyio (.ci/setup installs python3-matplotlib python3-numpy python3-segyio)"
  exit 0
fi
echo "== Pictures"
PICTURES="$JOB_DIR/pictures"
mkdir -p "$PICTURES"
gather=""
for f in "$JOB_DIR"/*+Gath3D*c.sgy "$JOB_DIR"/*+Gath3D*z.sgy; do
  case "$(basename "$f")" in *-[0-9]*.sgy) continue ;; esac
  [ -e "$f" ] && { gather="$f"; break; }
done
shots=$(awk '!/^#/ { print $1, $2, $3 }' "$JOB_DIR/survey.txt" | sort -u | wc -l)
shot=$(((shots + 1) / 2))
if [ -n "$gather" ]; then
  "$REPO/tools/kelvo_plot" gather "$gather" --shot "$shot" --gain "$GAIN" -o "$PICTURES/gather.png" >/dev/null
  echo "Gather of shot $shot ($(basename "$gather")): $PICTURES/gather.png"
fi
for f in "$JOB_DIR"/*+Snap3D*.zpl; do
  [ -e "$f" ] || continue
  case "$f" in *APU.zpl) comp=C ;; *) comp=Z ;; esac
  "$REPO/tools/kelvo_plot" snapshot "$f" --section "$shot" --component "$comp" --sheet -o "$PICTURES/snapshot.png" \
    >/dev/null
  echo "Snapshots of shot $shot, component $comp ($(basename "$f")): $PICTURES/snapshot.png"
done
