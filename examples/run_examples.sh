#!/usr/bin/env bash
# Writes the example jobs of examples/README.md with kelvo_make_job, runs
# each and draws its pictures with tools/kelvo_plot into <job>/pictures/.
#
# Usage: examples/run_examples.sh [--small] [--draw-only] [--out DIR] [NAME...]
#   NAME         acoustic elastic-free visco vti tti vertical mpi-depth (default all)
#   --small      a small model and a short record of each (minutes become seconds)
#   --draw-only  draw the jobs already run again, without running them
#   --out        directory of the job directories (default ./examples-out)
# Environment: BUILD_DIR (default <repository>/build), built when kelvo or
# kelvo_make_job is missing there; MPIRUN (default mpirun).
# Exit status: 0 all jobs ran and were drawn, 1 a job or a picture failed,
# 77 all jobs ran but matplotlib is missing, so nothing was drawn.
set -uo pipefail

REPO="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
BUILD_DIR="${BUILD_DIR:-$REPO/build}"
MPIRUN="${MPIRUN:-mpirun}"
PLOT="$REPO/tools/kelvo_plot"
OUT="./examples-out"
SMALL=0
DRAW_ONLY=0
NAMES=()
while [ $# -gt 0 ]; do
  case "$1" in
  --small) SMALL=1 ;;
  --draw-only) DRAW_ONLY=1 ;;
  --out) OUT="$2"; shift ;;
  -h | --help) sed -n '2,14p' "$0" | cut -c3-; exit 0 ;;
  -*) echo "run_examples.sh: unknown option $1" >&2; exit 2 ;;
  *) NAMES+=("$1") ;;
  esac
  shift
done
ALL=(acoustic elastic-free visco vti tti vertical mpi-depth)
[ ${#NAMES[@]} -gt 0 ] || NAMES=("${ALL[@]}")

# The faulted model with a salt body: four layers, a normal fault dipping at
# 60 degrees with a throw of 60 m, and an ellipsoid of salt beside it.
FAULTED="--size 800,400,400 --layers 1600:100,2000:200,2500:300,3000 --fault 500,60,50
         --salt 250,200,260,110,70 --receivers 41 --record 0.5 --snapshot 0.1,0.1"
FAULTED_SMALL="--size 240,160,160 --layers 1600:50,2200:100,2800 --fault 150,60,30 --salt 70,80,110,40,25
               --receivers 13 --record 0.12 --snapshot 0.04,0.04 --shots 1"
# A deep shot in a homogeneous anisotropic rock above a faster one: the
# snapshots show the shape of the wavefront.
ANISO="--size 600,400,400 --layers 2500:330,3200 --shot-depth 200 --shots 1 --receivers 31 --record 0.3
       --snapshot 0.05,0.05"
ANISO_SMALL="--size 160,160,160 --layers 2500:120,3200 --shot-depth 80 --receivers 9 --record 0.05
             --snapshot 0.02,0.02"

# Generator options of an example; the small version overrides the size.
options() { # name
  local small=""
  case "$1" in
  acoustic)
    [ "$SMALL" = 1 ] && small="$FAULTED_SMALL --snap3d 0.08:C"
    echo "$FAULTED --shots 3 --time-field 1 --snap3d 0.25:C $small" ;;
  elastic-free)
    [ "$SMALL" = 1 ] && small="$FAULTED_SMALL"
    echo "$FAULTED --method elastic --surface free --suppress-sv 0 --frequency 10 --shots 1 --shot-depth 10
          --receiver-depth 10 $small" ;;
  visco)
    [ "$SMALL" = 1 ] && small="$FAULTED_SMALL --q 30,60,100"
    echo "$FAULTED --visco 3 --q 30,60,100,150 --frequency 10 --shots 1 $small" ;;
  vti)
    [ "$SMALL" = 1 ] && small="$ANISO_SMALL"
    echo "$ANISO --method vti --thomsen 0.25,0.1,0.15 $small" ;;
  tti)
    [ "$SMALL" = 1 ] && small="$ANISO_SMALL"
    echo "$ANISO --method tti --thomsen 0.25,0.1,0.15 --axis 40,0 $small" ;;
  vertical)
    [ "$SMALL" = 1 ] && small="$FAULTED_SMALL --receivers 29"
    echo "$FAULTED --method vertical --receivers 99 --receiver-depth 0 $small" ;;
  mpi-depth)
    [ "$SMALL" = 1 ] && small="$FAULTED_SMALL"
    echo "$FAULTED --shots 1 --group-size 2 --threads 1 $small" ;;
  *) return 1 ;;
  esac
}

if [ ! -x "$BUILD_DIR/kelvo" ] || [ ! -x "$BUILD_DIR/kelvo_make_job" ]; then
  echo "== Building kelvo in $BUILD_DIR"
  cmake -S "$REPO" -B "$BUILD_DIR" -DCMAKE_BUILD_TYPE=Release >/dev/null &&
    cmake --build "$BUILD_DIR" --target kelvo kelvo_make_job -j "$(nproc 2>/dev/null || echo 2)" >/dev/null ||
    { echo "run_examples.sh: the build in $BUILD_DIR failed" >&2; exit 1; }
fi
DRAW=1
if ! /usr/bin/python3 -c "import matplotlib, numpy, segyio" 2>/dev/null; then
  DRAW=0
  echo "No pictures: /usr/bin/python3 lacks matplotlib, numpy or segyio (apt-get install python3-matplotlib python3-numpy python3-segyio)."
fi
export OMPI_ALLOW_RUN_AS_ROOT=1 OMPI_ALLOW_RUN_AS_ROOT_CONFIRM=1 OMPI_MCA_rmaps_base_oversubscribe=1

FAILED=()
plot() { # kind file [options]: a picture into pictures/, its path printed
  local kind=$1 file=$2 name
  shift 2
  [ -f "$file" ] || { echo "  no file to draw ($kind)" >&2; return 1; }
  name="$(basename "${file%.*}")"
  "$PLOT" "$kind" "$file" -o "$(dirname "$file")/pictures/$name.png" "$@" | sed 's/^/  /'
  return "${PIPESTATUS[0]}"
}

# The pictures of one finished job: model, gathers and snapshots of the
# middle shot, cubes. The vertical velocity, and the pressure where the
# method is acoustic; snapshots of the pressure (mean stress) where the
# shape of the P wavefront matters, of the vertical velocity for S and
# surface waves.
draw() { # job directory
  local dir=$1 ok=0 f c shot comps=z gain=2
  mkdir -p "$dir/pictures"
  plot model "$dir/vp.sgy" || ok=1
  shot=$((($(awk '!/^#/ { print $1, $2, $3 }' "$dir/survey.txt" | sort -u | wc -l) + 1) / 2))
  grep -qE '^Run Computation=(3D Acoustic|Vertical Incidence)' "$dir/runtask.ini" && comps="c z"
  # Gathers of 3-D shots get a gain of t^2 against the spreading of the wavefront.
  grep -q '^Run Computation=Vertical Incidence' "$dir/runtask.ini" && gain=0
  for c in $comps; do
    plot gather "$(ls "$dir"/vp+Gath3D*"$c".sgy 2>/dev/null | head -n 1)" --shot "$shot" --gain "$gain" || ok=1
  done
  c=Z
  grep -qE '^Run Computation=3D (Acoustic|Elastic Anisotropic)' "$dir/runtask.ini" && c=C
  for f in "$dir"/vp+Snap3D*.zpl; do
    [ -e "$f" ] || continue
    plot snapshot "$f" --sheet --component "$c" --section "$shot" || ok=1
  done
  for f in "$dir"/vp+Time3D*.sgy; do
    [ -e "$f" ] && { plot cube "$f" --shot "$shot" || ok=1; }
  done
  for f in "$dir"/vp+3DSnap3D*-"$shot".sgy; do
    [ -e "$f" ] && { plot cube "$f" || ok=1; }
  done
  return $ok
}

mkdir -p "$OUT" || exit 1
for name in "${NAMES[@]}"; do
  opts="$(options "$name")" || { echo "run_examples.sh: no example '$name' (${ALL[*]})" >&2; exit 2; }
  dir="$OUT/$name"
  echo "== $name"
  if [ "$DRAW_ONLY" = 1 ]; then
    [ "$DRAW" = 1 ] && { draw "$dir" || FAILED+=("$name (pictures)"); }
    continue
  fi
  rm -rf "$dir"
  # shellcheck disable=SC2086 # the options are words
  if ! "$BUILD_DIR/kelvo_make_job" --dir "$dir" $opts >"$OUT/$name.make.txt" 2>&1; then
    cat "$OUT/$name.make.txt"
    FAILED+=("$name")
    continue
  fi
  start=$(date +%s.%N)
  if grep -q '^Group Size=' "$dir/runtask.ini"; then
    (cd "$dir" && timeout 1200 "$MPIRUN" -np 3 "$BUILD_DIR/kelvo") >"$dir/console.txt" 2>&1
  else
    (cd "$dir" && timeout 1200 "$BUILD_DIR/kelvo") >"$dir/console.txt" 2>&1
  fi
  status=$?
  awk -v a="$start" -v b="$(date +%s.%N)" -v s="$status" 'BEGIN { printf "  kelvo: status %d in %.1f s\n", s, b - a }'
  if [ "$status" -ne 0 ]; then
    grep -v '^\.\.' "$dir/console.txt" | tail -n 5
    FAILED+=("$name")
    continue
  fi
  [ "$DRAW" = 1 ] && { draw "$dir" || FAILED+=("$name (pictures)"); }
done

if [ ${#FAILED[@]} -gt 0 ]; then
  echo "Failed: ${FAILED[*]}"
  exit 1
fi
[ "$DRAW" = 1 ] || exit 77
echo "All ${#NAMES[@]} example(s) ran; pictures are in $OUT/<example>/pictures/."
