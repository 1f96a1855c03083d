#!/bin/bash
# Whole jobs: per-shot results, a merge task over them, and the same job dealt
# out over MPI workers and over a depth group, giving the same merged gathers.
source "$(dirname "$0")/common.bash"
[ -x "$MAKEJOB" ] || { echo "FAIL: job generator $MAKEJOB not built"; exit 1; }

# The shot lies below the middle of the grid, the receivers above it: a shot
# split by depth needs both halves.
job() { make_job "$@" --shots 3 --size 160,160,120 --record 0.06 --shot-depth 90 --receiver-depth 20; }

# Single process without merging: every shot leaves its four gathers.
A="$WORK/single"
job "$A" --merge 0
run_kelvo "$A"
[ "$RC" = 0 ] || fail "single run: exit status $RC"
expect_joined "$A/out.txt" "The program has finised with result 0."
for s in 1 2 3; do
  for c in $COMPONENTS; do
    [ -s "$A/vp+Gath3DAPU$c-$s.sgy" ] || fail "single run: gather $c of shot $s missing"
  done
done
ls "$A"/vp+Gath3DAPU?.sgy >/dev/null 2>&1 && fail "single run: merged although Merge=0"

# A merge task over them: merged files made, per-shot files kept, nothing computed.
sed -i 's/^taskType=modeling/taskType=merge/' "$A/runtask.ini"
add_keys "$A/runtask.ini" modeling 'First Point=1\nLast Point=3'
(cd "$A" && timeout 120 "$KELVO" >merge.txt 2>&1) || fail "merge task: exit status $?"
grep -q "MODELING STARTED" "$A/merge.txt" && fail "merge task computed shots"
for c in $COMPONENTS; do
  [ -s "$A/vp+Gath3DAPU$c.sgy" ] || fail "merge task: merged gather $c missing"
  [ -s "$A/vp+Gath3DAPU$c-2.sgy" ] || fail "merge task: per-shot gather $c removed"
done

# Recovery with merging: shot 2's z gather cut short (as by a kill) is
# computed again, the merge removes the per-shot files, and a merge task run
# after it, finding none, leaves the merged gathers as they are.
cp "$A/vp+Gath3DAPUz.sgy" "$A/merged-z.sgy"
truncate -s $(($(stat -c %s "$A/vp+Gath3DAPUz-2.sgy") - 100)) "$A/vp+Gath3DAPUz-2.sgy"
sed -i 's/^taskType=merge/taskType=modeling/; s/^Merge=0/Merge=1/; s/^Recovery=.*/Recovery=1/' "$A/runtask.ini"
grep -q '^Recovery=1' "$A/runtask.ini" || add_keys "$A/runtask.ini" modeling 'Recovery=1'
run_kelvo "$A"
[ "$RC" = 0 ] || fail "recovery run: exit status $RC"
expect_in "$A/out.txt" "Shot Point #1 is already calculated - skipped."
expect_in "$A/out.txt" "Shot Point #3 is already calculated - skipped."
expect_in "$A/out.txt" "Warning! Shot Point #2: file 'vp+Gath3DAPUz-2.sgy' is incomplete"
[ "$(grep -c 'MODELING STARTED' "$A/out.txt")" = 1 ] || fail "recovery run: not exactly shot 2 computed"
ls "$A"/vp+Gath3DAPU?-*.sgy >/dev/null 2>&1 && fail "recovery run: per-shot gathers left after merging"
cmp -s "$A/vp+Gath3DAPUz.sgy" "$A/merged-z.sgy" || fail "recovery run: merged z gather differs from the merge task's"
sed -i 's/^taskType=modeling/taskType=merge/' "$A/runtask.ini"
(cd "$A" && timeout 120 "$KELVO" >merge2.txt 2>&1) || fail "second merge task: exit status $?"
cmp -s "$A/vp+Gath3DAPUz.sgy" "$A/merged-z.sgy" || fail "second merge task: merged z gather replaced"
expect_in "$A/merge2.txt" "Warning! No per-shot files 'vp+Gath3DAPUz-%d.sgy' for shots 1..3 to merge"

if have_mpi; then
  # Dealt out to two workers (rank 3 is Passive), merged at the end, per-shot files removed.
  B="$WORK/cluster"
  job "$B" --merge 1
  on_workers "$B/runtask.ini" $((NCPU / 2))
  run_mpi "$B" 4
  [ "$RC" = 0 ] || fail "cluster run: exit status $RC"
  expect_in "$B/out.txt" "{0}: Running as a Master Node! Assign jobs from 1 to 3"
  expect_in "$B/out.txt" "{0}: Simulation finished successfully."
  cat "$B"/Kelvo-1.log "$B"/Kelvo-2.log >"$B/workers.txt"
  for s in 1 2 3; do
    expect_in "$B/workers.txt" "Received to calculate shot #$s!"
  done
  [ "$(grep -c 'Received to calculate' "$B/workers.txt")" = 3 ] || fail "cluster run: a shot was computed twice"
  same_gathers "$A" "$B" "cluster run"
  ls "$B"/vp+Gath3DAPU?-*.sgy >/dev/null 2>&1 && fail "cluster run: per-shot gathers left after merging"

  # Shots split by depth over a group of two workers.
  G="$WORK/group"
  job "$G" --merge 1
  on_workers "$G/runtask.ini" 1 2
  run_mpi "$G" 3
  [ "$RC" = 0 ] || fail "group run: exit status $RC"
  expect_in "$G/out.txt" "{0}: Running as a Supervisor Node! Assign jobs from 1 to 3"
  expect_in "$G/Kelvo-2.log" "I'm a Group Slave #1 (of 1). My boss's node is #1."
  same_gathers "$A" "$G" "group run"

  # A shot failing on a worker (the density is read only when a worker builds
  # the model) stops the run and every process exits; inside a depth group
  # rank 0 orders the stop and aborts the job.
  for c in "failing 4 -2 $((NCPU / 2))" "abort 3 -1000 1 2"; do
    set -- $c # name processes result threads [group size]
    F="$WORK/$1"
    job "$F"
    add_keys "$F/runtask.ini" modeling 'FileModelD=missing.sgy'
    on_workers "$F/runtask.ini" "${@:4}"
    run_mpi "$F" "$2"
    [ "$RC" -ne 0 ] && [ "$RC" -ne 124 ] || fail "$1: exit status $RC"
    expect_joined "$F/out.txt" "The program has finised with result $3."
    expect_in "$F/out.txt" "Simulation failed!"
  done
fi
finish
