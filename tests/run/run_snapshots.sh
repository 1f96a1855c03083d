#!/bin/bash
# Whole jobs with 2-D snapshots: the merge at the end of a run and the merge
# task give the same file, a shot split by depth gives the snapshots of one
# process where their samples meet, and a snapshot that cannot be written leaves the gathers whole.
source "$(dirname "$0")/common.bash"
[ -x "$MAKEJOB" ] || { echo "FAIL: job generator $MAKEJOB not built"; exit 1; }

SNAP=vp+Snap3DAPU
# The shot lies below the middle of the grid: a shot split by depth needs
# both halves for its sections. Three frames a shot.
job() { # dir [generator options]
  make_job "$@" --shots 2 --size 160,160,120 --record 0.05 --shot-depth 90 --receiver-depth 20 --receivers 9
  printf '\n[Snapshot]\nEvery=1\nt0=0.0105\ndt=0.015\n' >>"$1/runtask.ini"
}

# Merged at the end of the run: one file, the per-shot files gone.
A="$WORK/merged"
job "$A" --merge 1
on_workers "$A/runtask.ini" 2
run_kelvo "$A"
[ "$RC" = 0 ] || fail "merged run: exit status $RC"
expect_in "$A/out.txt" "Merging Snapshots..."
[ -s "$A/$SNAP.zpl" ] || fail "merged run: no merged snapshot file"
ls "$A/$SNAP"-*.zpl >/dev/null 2>&1 && fail "merged run: per-shot snapshot files left"
# Two sections of 3 frames of 17 x 13 points of 4 components.
[ "$(stat -c %s "$A/$SNAP.zpl")" = $((2 * (296 + 3 * 17 * 13 * 4 * 4))) ] || fail "merged run: size of $SNAP.zpl"

# Kept per shot, then joined by a merge task: the same file. A second merge
# task finds nothing and leaves it alone.
B="$WORK/task"
job "$B" --merge 0
on_workers "$B/runtask.ini" 2
run_kelvo "$B"
[ "$RC" = 0 ] || fail "per-shot run: exit status $RC"
for s in 1 2; do
  [ -s "$B/$SNAP-$s.zpl" ] || fail "per-shot run: snapshot file of shot $s missing"
done
cp "$B/vp+Gath3DAPUz-1.sgy" "$WORK/gather-z-1.sgy"
sed -i 's/^taskType=modeling/taskType=merge/' "$B/runtask.ini"
add_keys "$B/runtask.ini" modeling 'First Point=1\nLast Point=2'
run_kelvo "$B"
[ "$RC" = 0 ] || fail "merge task: exit status $RC"
cmp -s "$A/$SNAP.zpl" "$B/$SNAP.zpl" || fail "merge task: snapshots differ from the merge at the end of the run"
ls "$B/$SNAP"-*.zpl >/dev/null 2>&1 && fail "merge task: per-shot snapshot files left"
run_kelvo "$B"
[ "$RC" = 0 ] || fail "second merge task: exit status $RC"
expect_in "$B/out.txt" "Warning! No per-shot files '$SNAP-%d.zpl' for shots 1..2 to merge; '$SNAP.zpl' is left as it was."
cmp -s "$A/$SNAP.zpl" "$B/$SNAP.zpl" || fail "second merge task: merged snapshots changed"

# The snapshot file of shot 1 cannot be written (a directory holds its name):
# the run warns and ends normally, with the gathers of shot 1 as they are.
F="$WORK/unwritable"
job "$F" --merge 0
on_workers "$F/runtask.ini" 2
mkdir -p "$F/$SNAP-1.zpl/keep"
run_kelvo "$F"
[ "$RC" = 0 ] || fail "unwritable snapshot: exit status $RC"
expect_in "$F/out.txt" "Warning! Unable to write the 2D snapshot (t=0.0105) to '$SNAP-1.zpl'"
expect_in "$F/Kelvo-0.log" "no further snapshots of shot #1 are written; its gathers are saved as usual."
[ "$(grep -c 'Unable to write the 2D snapshot' "$F/out.txt")" = 1 ] || fail "unwritable snapshot: warned more than once"
cmp -s "$F/vp+Gath3DAPUz-1.sgy" "$WORK/gather-z-1.sgy" || fail "unwritable snapshot: gather of shot 1 differs"
[ -s "$F/$SNAP-2.zpl" ] || fail "unwritable snapshot: snapshots of shot 2 missing"

if have_mpi; then
  # Shots split by depth over a group of two workers: the same snapshots.
  G="$WORK/group"
  job "$G" --merge 1
  on_workers "$G/runtask.ini" 1 2
  run_mpi "$G" 3
  [ "$RC" = 0 ] || fail "group run: exit status $RC"
  expect_in "$G/Kelvo-2.log" "I'm a Group Slave #1 (of 1)."
  # A group samples its sections every 15 m, a lone process every 10 m: the
  # frames agree wherever the samples meet.
  /usr/bin/python3 "$(dirname "$0")/zpl_common_points.py" "$A/$SNAP.zpl" "$G/$SNAP.zpl" >"$WORK/common.txt" 2>&1 ||
    fail "group run: snapshots differ from those of one process: $(cat "$WORK/common.txt")"
fi
finish
