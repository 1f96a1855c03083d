#!/usr/bin/env bash
# GPU against host: jobs of every method (acoustic homogeneous and layered,
# PML and taper frame; elastic, viscoelastic, VTI and tilted) run on the CUDA
# device and on CPU threads give the same gathers (relative RMS difference
# below 1e-5, same peaks, same echo level); then the device benchmark. Arguments: the kelvo program, the build directory.
# Without a device, or in a build without device code, it says why and exits
# 77 (skipped).
HERE=$(dirname "$(readlink -f "$0")")
source "$HERE/../run/common.bash"
BUILD=$(readlink -f "$2")

if [ ! -x "$BUILD/bench_cuda" ]; then
  echo "SKIP: this build has no device benchmark (bench_cuda missing)"
  exit 77
fi
"$BUILD/bench_cuda" --probe >"$WORK/probe.txt" 2>&1
case $? in
0) ;;
77)
  echo "SKIP: no usable CUDA device here: $(cat "$WORK/probe.txt")"
  exit 77
  ;;
*) fail "device probe crashed: $(cat "$WORK/probe.txt")" ;;
esac
PY=$(command -v python3 || echo /usr/bin/python3)

check_job() { # name generator options...; EDIT: a sed script for the job file
  local name=$1
  shift
  local cpu="$WORK/$name-cpu" gpu="$WORK/$name-gpu"
  make_job "$cpu" "$@"
  [ -n "${EDIT:-}" ] && sed -i "$EDIT" "$cpu/runtask.ini"
  cp -r "$cpu" "$gpu"
  printf '[GPU]\nUse CUDA=1\nDevice=0\n' >>"$gpu/runtask.ini"
  run_kelvo "$cpu"
  [ "$RC" = 0 ] || fail "$name: host run ended with $RC"
  run_kelvo "$gpu"
  [ "$RC" = 0 ] || fail "$name: device run ended with $RC"
  expect_in "$gpu/out.txt" "CUDA: Test calculation on GPU - OK"
  compare_gathers "$name" "$cpu" "$gpu"
}

compare_gathers() { # name host-dir device-dir
  local f out n=0
  for f in "$2"/*Gath3D*.sgy; do
    case $(basename "$f") in *-[0-9]*.sgy) continue ;; esac
    n=$((n + 1))
    out=$("$PY" "$HERE/gather_rms.py" "$f" "$3/$(basename "$f")" 1e-5) || fail "$1: $(basename "$f") differs"
    echo "$1 $(basename "$f"): $out"
  done
  [ "$n" -gt 0 ] || fail "$1: no merged gather written"
}

check_job homogeneous --vp 2000 --shots 2
check_job layered --shots 2
check_job elastic --method elastic --shots 1
check_job visco --visco 3 --shots 1
check_job vti --method vti --shots 1
check_job tti --method tti --shots 1
EDIT='s/^PML=1$/PML=0/' check_job taper --shots 1

echo "--- device benchmark"
"$BUILD/bench_cuda" "${KELVO_BENCH_N:-512}" 20 || fail "benchmark failed"

[ "$FAILS" = 0 ] && echo "device checks passed"
exit $((FAILS > 0))
