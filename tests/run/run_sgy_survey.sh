#!/bin/bash
# A gather of the engine as the survey of a job dealt out over MPI workers and
# of a job split by depth over a group: every process reads the geometry from
# the SEG-Y file, and the merged gathers equal those of the single run whose
# text survey made the file. A smoothed model runs in a depth group too.
source "$(dirname "$0")/common.bash"
[ -x "$MAKEJOB" ] || { echo "FAIL: job generator $MAKEJOB not built"; exit 1; }

job() { make_job "$@" --shots 3 --size 160,160,120 --record 0.05 --shot-depth 90 --receiver-depth 20 --receivers 9; }
use_gather_survey() { # dir
  cp "$A/vp+Gath3DAPUz.sgy" "$1/shots.sgy"
  sed -i 's/^Geometry=.*/Geometry=shots.sgy/' "$1/runtask.ini"
}

A="$WORK/text"
job "$A" --merge 1
run_kelvo "$A"
[ "$RC" = 0 ] || fail "text-survey run: exit status $RC"

if have_mpi; then
  B="$WORK/cluster"
  job "$B" --merge 1
  use_gather_survey "$B"
  on_workers "$B/runtask.ini" 1
  run_mpi "$B" 3
  [ "$RC" = 0 ] || fail "cluster run: exit status $RC"
  expect_in "$B/out.txt" "{0}: Simulation finished successfully."
  same_gathers "$A" "$B" "cluster run"

  G="$WORK/group"
  job "$G" --merge 1
  use_gather_survey "$G"
  on_workers "$G/runtask.ini" 1 2
  run_mpi "$G" 3
  [ "$RC" = 0 ] || fail "group run: exit status $RC"
  same_gathers "$A" "$G" "group run"

  # Each process of the group smooths its own planes: the run completes and
  # the gathers differ from the unsmoothed ones.
  add_keys "$G/runtask.ini" modeling "Smooth Model=3"
  run_mpi "$G" 3
  [ "$RC" = 0 ] || fail "smoothed group run: exit status $RC"
  for c in $COMPONENTS; do
    [ -s "$G/vp+Gath3DAPU$c.sgy" ] || fail "smoothed group run: gather $c missing"
  done
  cmp -s "$A/vp+Gath3DAPUz.sgy" "$G/vp+Gath3DAPUz.sgy" && fail "smoothed group run: gather z as without smoothing"
fi
finish
