#!/bin/bash
# Whole jobs through the run driver: per-shot results left in place without
# merging, a merge task over them, and the same job dealt out over MPI
# workers, whose merged gathers must equal those of the merge task.
# Arguments: path of the kelvo program, build directory.
set -u
KELVO=$(readlink -f "$1")
MAKEJOB="$2/kelvo_make_job"
if [ ! -x "$MAKEJOB" ]; then
  echo "FAIL: job generator $MAKEJOB not built"
  exit 1
fi
WORK=$(mktemp -d /tmp/kelvo_jobs_XXXXXX)
trap 'rm -rf "$WORK"' EXIT
export OMPI_ALLOW_RUN_AS_ROOT=1 OMPI_ALLOW_RUN_AS_ROOT_CONFIRM=1 OMPI_MCA_rmaps_base_oversubscribe=1
FAILS=0
fail() {
  echo "FAIL: $*"
  FAILS=$((FAILS + 1))
}
expect_in() { grep -qF -- "$2" "$1" || fail "'$2' not in $1"; }

# Under mpirun the start-up lines that other ranks print straight to stdout can
# land inside a line of rank 0; take them out before looking for a line.
expect_joined() { # file text
  perl -0pe 's/\.\.\.\d+ (?:nodes per process|GPUs per node)\n//g; s/Active process #\d+ has new rank #\d+!\n//g' "$1" |
    grep -qF -- "$2" || fail "'$2' not in $(basename "$1")"
}

COMPONENTS="x y z c"
make_job() { # dir, extra options
  local dir=$1
  shift
  # The shot lies below the middle of the grid, the receivers above it: a
  # shot split by depth needs both halves.
  "$MAKEJOB" --dir "$dir" --shots 3 --size 160,160,120 --record 0.06 --shot-depth 90 --receiver-depth 20 "$@" \
    >/dev/null 2>&1 || fail "job generator failed"
}
# Inserts lines right behind the [modeling] header of a job file.
add_modeling_keys() { # file, text
  sed -i "s/^\[modeling\]\$/[modeling]\n$2/" "$1"
}

# 1. Single process without merging: every shot leaves its four gathers.
A="$WORK/single"
make_job "$A" --merge 0
(cd "$A" && timeout 300 "$KELVO" >out.txt 2>&1) || fail "single run: exit status $?"
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
add_modeling_keys "$A/runtask.ini" 'First Point=1\nLast Point=3'
(cd "$A" && timeout 120 "$KELVO" >merge.txt 2>&1) || fail "merge task: exit status $?"
expect_in "$A/merge.txt" "Merging component 'C'..."
grep -q "MODELING STARTED" "$A/merge.txt" && fail "merge task computed shots"
for c in $COMPONENTS; do
  [ -s "$A/vp+Gath3DAPU$c.sgy" ] || fail "merge task: merged gather $c missing"
  [ -s "$A/vp+Gath3DAPU$c-2.sgy" ] || fail "merge task: per-shot gather $c removed"
done

# 3. Shots from the command line: "x 3 9" runs shot 3 only (the last is cut to the survey's).
R="$WORK/range"
make_job "$R" --merge 0
(cd "$R" && timeout 300 "$KELVO" x 3 9 >out.txt 2>&1) || fail "range run: exit status $?"
[ -s "$R/vp+Gath3DAPUz-3.sgy" ] || fail "range run: shot 3 not computed"
ls "$R"/vp+Gath3DAPUz-[12].sgy >/dev/null 2>&1 && fail "range run: shots outside 3..9 computed"

# 4. The same job dealt out to MPI workers, merged at the end, per-shot files removed.
NCPU=$(nproc)
if [ "$NCPU" -ge 2 ] && command -v mpirun >/dev/null; then
  B="$WORK/cluster"
  make_job "$B" --merge 1
  printf '[optimization]\nthreads per process = %d\n' $((NCPU / 2)) >>"$B/runtask.ini"
  (cd "$B" && timeout 300 mpirun --oversubscribe -np 4 "$KELVO" >out.txt 2>&1) || fail "cluster run: exit status $?"
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

  # Shots split by depth over a group of two workers give the same gathers.
  G="$WORK/group"
  make_job "$G" --merge 1
  sed -i 's/^\[MPI\]$/[MPI]\nGroup Size=2/' "$G/runtask.ini"
  printf '[optimization]\nthreads per process = 1\n[GPU]\nSkip Device Count Detection = 1\n' >>"$G/runtask.ini"
  (cd "$G" && timeout 300 mpirun --oversubscribe -np 3 "$KELVO" >out.txt 2>&1) || fail "group run: exit status $?"
  expect_in "$G/out.txt" "{0}: Running as a Supervisor Node! Assign jobs from 1 to 3"
  expect_in "$G/Kelvo-2.log" "I'm a Group Slave #1 (of 1). My boss's node is #1."
  for c in $COMPONENTS; do
    cmp -s "$A/vp+Gath3DAPU$c.sgy" "$G/vp+Gath3DAPU$c.sgy" || fail "group run: gather $c differs from the single run"
  done

  # A shot that fails on a worker stops the run: the master reports it, every process exits.
  F="$WORK/failing"
  make_job "$F"
  # The density is read only when a worker builds the model, after the master's probe.
  add_modeling_keys "$F/runtask.ini" 'FileModelD=missing.sgy'
  printf '[optimization]\nthreads per process = %d\n' $((NCPU / 2)) >>"$F/runtask.ini"
  (cd "$F" && timeout 120 mpirun --oversubscribe -np 4 "$KELVO" >out.txt 2>&1)
  rc=$?
  [ $rc -ne 0 ] && [ $rc -ne 124 ] || fail "failing run: exit status $rc"
  expect_in "$F/out.txt" "Simulation failed!"
  expect_joined "$F/out.txt" "The program has finised with result -2."
  grep -q "Simulation finished successfully" "$F/out.txt" && fail "failing run reported success"

  # A failure inside a depth group is fatal: rank 0 orders the stop and aborts the job.
  X="$WORK/abort"
  make_job "$X"
  add_modeling_keys "$X/runtask.ini" 'FileModelD=missing.sgy'
  sed -i 's/^\[MPI\]$/[MPI]\nGroup Size=2/' "$X/runtask.ini"
  printf '[optimization]\nthreads per process = 1\n[GPU]\nSkip Device Count Detection = 1\n' >>"$X/runtask.ini"
  (cd "$X" && timeout 120 mpirun --oversubscribe -np 3 "$KELVO" >out.txt 2>&1)
  rc=$?
  [ $rc -ne 0 ] && [ $rc -ne 124 ] || fail "aborted run: exit status $rc"
  expect_in "$X/out.txt" "Simulation failed!"
  expect_joined "$X/out.txt" "The program has finised with result -1000."

  # A probe that fails stops the workers before any shot is dealt out.
  P="$WORK/probe"
  make_job "$P"
  sed -i 's/^Model Name=vp.sgy/Model Name=missing.sgy/' "$P/runtask.ini"
  printf '[optimization]\nthreads per process = %d\n' $((NCPU / 2)) >>"$P/runtask.ini"
  (cd "$P" && timeout 120 mpirun --oversubscribe -np 4 "$KELVO" >out.txt 2>&1)
  rc=$?
  [ $rc -ne 0 ] && [ $rc -ne 124 ] || fail "probe run: exit status $rc"
  expect_joined "$P/out.txt" "The program has finised with result -1."
  grep -q "Received to calculate" "$P"/Kelvo-*.log && fail "probe run: a shot was dealt out"
fi

if [ $FAILS -ne 0 ]; then
  echo "$FAILS check(s) failed"
  exit 1
fi
echo "all job checks passed"
