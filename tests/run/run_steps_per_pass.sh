#!/bin/bash
# Several time steps a pass over the planes give the bytes of the plain
# steps (two sweeps a step): gathers, arrival-time cubes and snapshots of an acoustic job (whose
# rows, snapshots and time field end passes early) and the gathers of an
# elastic job with a free top, on planes wide enough for passes to be taken,
# from a short source so that passes begin early.
source "$(dirname "$0")/common.bash"
[ -x "$MAKEJOB" ] || { echo "FAIL: job generator $MAKEJOB not built"; exit 1; }

# Runs the job in $1 with steps per pass = $2 (0: plain steps) in a copy
# named after it.
run_pass() { # dir steps
  local d="$1-$2"
  cp -r "$1" "$d"
  printf '[optimization]\nthreads per process = 2\nsteps per pass = %d\nplain steps = %d\n' "$2" $(($2 == 0)) \
    >>"$d/runtask.ini"
  run_kelvo "$d"
  [ "$RC" = 0 ] || fail "$d: exit status $RC"
}

# The files of the runs with plain steps and with N steps a pass, byte for
# byte; at least MIN of them.
compare() { # dir N MIN
  local f n=0
  for f in "$1-0"/*.sgy "$1-0"/*.zpl; do
    [ -e "$f" ] || continue
    n=$((n + 1))
    cmp -s "$f" "$1-$2/$(basename "$f")" || fail "$(basename "$1"): $(basename "$f") differs with $2 steps a pass"
  done
  [ "$n" -ge "$3" ] || fail "$(basename "$1"): only $n result files"
}

A="$WORK/acoustic"
make_job "$A" --shots 1 --size 1300,1300,300 --shot-depth 150 --record 0.3,0.004 --time-field 3 \
  --snapshot 0.05,0.1 --snap3d 0.15:Z --frequency 40
for n in 0 3; do run_pass "$A" $n; done
compare "$A" 3 8

E="$WORK/elastic"
make_job "$E" --method elastic --shots 1 --size 1300,1300,250 --shot-depth 100 --record 0.2,0.003 --surface free --frequency 40
for n in 0 2; do run_pass "$E" $n; done
compare "$E" 2 5
finish
