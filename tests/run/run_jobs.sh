#!/bin/bash
# Whole jobs through the run driver: per-shot results left in place without
# merging, a merge task over them, and the same job dealt out over MPI
# workers, whose merged gathers must equal those of the merge task.
# Arguments: path of the kelvo program, build directory.
source "$(dirname "$0")/common.bash"
if [ ! -x "$MAKEJOB" ]; then
  echo "FAIL: job generator $MAKEJOB not built"
  exit 1
fi

COMPONENTS="x y z c"
# The shot lies below the middle of the grid, the receivers above it: a shot
# split by depth needs both halves.
job() { # dir, extra options
  make_job "$@" --shots 3 --size 160,160,120 --record 0.06 --shot-depth 90 --receiver-depth 20
}
# Lets the job run on workers of the given thread count, in groups of the given size.
on_workers() { # file threads [group size]
  printf '[optimization]\nthreads per process = %d\n' "$2" >>"$1"
  if [ $# -gt 2 ]; then
    add_keys "$1" MPI "Group Size=$3"
    printf '[GPU]\nSkip Device Count Detection = 1\n' >>"$1"
  fi
}
# Runs a job under mpirun; the console goes to out.txt, the exit status to RC.
run_mpi() { # dir processes
  (cd "$1" && timeout 300 mpirun -np "$2" "$KELVO" >out.txt 2>&1)
  RC=$?
}
# Checks that an MPI job failed with the given final result.
expect_failed() { # dir result
  [ "$RC" -ne 0 ] && [ "$RC" -ne 124 ] || fail "$1: exit status $RC"
  expect_joined "$1/out.txt" "The program has finised with result $2."
  grep -q "Simulation finished successfully" "$1/out.txt" && fail "$1 reported success"
}

# 1. Single process without merging: every shot leaves its four gathers.
A="$WORK/single"
job "$A" --merge 0
run_kelvo "$A"
[ "$RC" = 0 ] || fail "single run: exit status $RC"
expect_in "$A/out.txt" "Simulation finished successfully."
expect_joined "$A/out.txt" "The program has finised with result 0."
for s in 1 2 3; do
  for c in $COMPONENTS; do
    [ -s "$A/vp+Gath3DAPU$c-$s.sgy" ] || fail "single run: gather $c of shot $s missing"
  done
done
ls "$A"/vp+Gath3DAPU?.sgy >/dev/null 2>&1 && fail "single run: merged although Merge=0"

# 2. Merge task over them: merged files made, per-shot files kept.
sed -i 's/^taskType=modeling/taskType=merge/' "$A/runtask.ini"
add_keys "$A/runtask.ini" modeling 'First Point=1\nLast Point=3'
(cd "$A" && timeout 120 "$KELVO" >merge.txt 2>&1) || fail "merge task: exit status $?"
expect_in "$A/merge.txt" "Merging component 'C'..."
grep -q "MODELING STARTED" "$A/merge.txt" && fail "merge task computed shots"
for c in $COMPONENTS; do
  [ -s "$A/vp+Gath3DAPU$c.sgy" ] || fail "merge task: merged gather $c missing"
  [ -s "$A/vp+Gath3DAPU$c-2.sgy" ] || fail "merge task: per-shot gather $c removed"
done

# 3. Shots from the command line: "x 3 9" runs shot 3 only (the last is cut to the survey's).
R="$WORK/range"
job "$R" --merge 0
run_kelvo "$R" x 3 9
[ "$RC" = 0 ] || fail "range run: exit status $RC"
[ -s "$R/vp+Gath3DAPUz-3.sgy" ] || fail "range run: shot 3 not computed"
ls "$R"/vp+Gath3DAPUz-[12].sgy >/dev/null 2>&1 && fail "range run: shots outside 3..9 computed"

if have_mpi; then
  # 4. The same job dealt out to MPI workers, merged at the end, per-shot files removed.
  B="$WORK/cluster"
  job "$B" --merge 1
  on_workers "$B/runtask.ini" $((NCPU / 2))
  run_mpi "$B" 4
  [ "$RC" = 0 ] || fail "cluster run: exit status $RC"
  expect_in "$B/out.txt" "{0}: Running as a Master Node! Assign jobs from 1 to 3"
  expect_in "$B/out.txt" "--Node: rank 3, $(hostname), Passive"
  expect_in "$B/out.txt" "{0}: Simulation finished successfully."
  cat "$B"/Kelvo-1.log "$B"/Kelvo-2.log >"$B/workers.txt"
  for s in 1 2 3; do
    expect_in "$B/workers.txt" "Received to calculate shot #$s!"
  done
  [ "$(grep -c 'Received to calculate' "$B/workers.txt")" = 3 ] || fail "cluster run: a shot was computed twice"
  for c in $COMPONENTS; do
    cmp -s "$A/vp+Gath3DAPU$c.sgy" "$B/vp+Gath3DAPU$c.sgy" || fail "cluster run: gather $c differs from the single run"
    ls "$B"/vp+Gath3DAPU$c-*.sgy >/dev/null 2>&1 && fail "cluster run: per-shot gathers $c left after merging"
  done

  # 5. Shots split by depth over a group of two workers give the same gathers.
  G="$WORK/group"
  job "$G" --merge 1
  on_workers "$G/runtask.ini" 1 2
  run_mpi "$G" 3
  [ "$RC" = 0 ] || fail "group run: exit status $RC"
  expect_in "$G/out.txt" "{0}: Running as a Supervisor Node! Assign jobs from 1 to 3"
  expect_in "$G/Kelvo-2.log" "I'm a Group Slave #1 (of 1). My boss's node is #1."
  for c in $COMPONENTS; do
    cmp -s "$A/vp+Gath3DAPU$c.sgy" "$G/vp+Gath3DAPU$c.sgy" || fail "group run: gather $c differs from the single run"
  done

  # 6. A shot that fails on a worker stops the run: the master reports it,
  # every process exits. The density is read only when a worker builds the
  # model, after the master's probe.
  F="$WORK/failing"
  job "$F"
  add_keys "$F/runtask.ini" modeling 'FileModelD=missing.sgy'
  on_workers "$F/runtask.ini" $((NCPU / 2))
  run_mpi "$F" 4
  expect_failed "$F" -2
  expect_in "$F/out.txt" "Simulation failed!"

  # 7. A failure inside a depth group is fatal: rank 0 orders the stop and aborts the job.
  X="$WORK/abort"
  job "$X"
  add_keys "$X/runtask.ini" modeling 'FileModelD=missing.sgy'
  on_workers "$X/runtask.ini" 1 2
  run_mpi "$X" 3
  expect_failed "$X" -1000
  expect_in "$X/out.txt" "Simulation failed!"

  # 8. A probe that fails stops the workers before any shot is dealt out.
  P="$WORK/probe"
  job "$P"
  sed -i 's/^Model Name=vp.sgy/Model Name=missing.sgy/' "$P/runtask.ini"
  on_workers "$P/runtask.ini" $((NCPU / 2))
  run_mpi "$P" 4
  expect_failed "$P" -1
  grep -q "Received to calculate" "$P"/Kelvo-*.log && fail "probe run: a shot was dealt out"
fi
finish
