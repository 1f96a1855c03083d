#!/bin/bash
# Whole-process checks of the entry and the run driver: bad job files end
# cleanly with the system's messages, and under mpirun the host census keeps
# the wanted number of processes per host Active and releases the rest.
# Arguments: path of the kelvo program, build directory.
set -u
KELVO=$(readlink -f "$1")
WORK=$(mktemp -d /tmp/kelvo_entry_XXXXXX)
trap 'rm -rf "$WORK"' EXIT
export OMPI_ALLOW_RUN_AS_ROOT=1 OMPI_ALLOW_RUN_AS_ROOT_CONFIRM=1 OMPI_MCA_rmaps_base_oversubscribe=1
FAILS=0

fail() {
  echo "FAIL: $*"
  FAILS=$((FAILS + 1))
}

expect_in() { # file text
  grep -qF -- "$2" "$1" || fail "'$2' not in $(basename "$1")"
}

# Runs kelvo alone in a fresh directory with the given job file ('' for none).
run_alone() { # name task-text
  local dir="$WORK/$1"
  mkdir -p "$dir"
  [ -n "$2" ] && printf '%b' "$2" >"$dir/runtask.ini"
  (cd "$dir" && timeout 60 "$KELVO" >out.txt 2>&1)
  echo $? >"$dir/rc"
}

check_failed_run() { # name message...
  local dir="$WORK/$1" rc
  rc=$(cat "$dir/rc")
  [ "$rc" != 0 ] || fail "$1: exit status 0"
  [ "$rc" -lt 124 ] || [ "$rc" = 255 ] || fail "$1: exit status $rc (crash or hang?)"
  shift
  for m in "$@"; do
    expect_in "$dir/out.txt" "$m"
    expect_in "$dir/Kelvo-0.log" "$m"
  done
  expect_in "$dir/out.txt" "The program has finised with result -1."
}

HEAD='[TASK]\ntaskType = modeling\n[modeling]\nRun Computation = 3D Acoustic\n'
SURVEY='[Survey]\nt0 = 0\nt1 = 1\ndt = 0.004\n[Source]\nFrequency = 20\n'

run_alone empty ''
check_failed_run empty "The job specification file 'runtask.ini' is not read!" "The computation is stopped."
[ -f "$WORK/empty/Kelvo.log" ] && fail "a lone process logs to Kelvo.log"

run_alone tasktype '[TASK]\ntaskType = modelling\n'
check_failed_run tasktype "taskType 'modelling' is wrong, expected either 'modeling' or 'merge'"

run_alone method '[TASK]\ntaskType = modeling\n[modeling]\nRun Computation = 2D Acoustic\n'
check_failed_run method "Error! Unknown modeling method (2D Acoustic) specified in 'runtask.ini'."

run_alone surftype "${HEAD}SurfType = 5\n${SURVEY}"
check_failed_run surftype "Error! Incorrect surface type specified (5)."

run_alone times "${HEAD}[Survey]\nt0 = 0\ndt = 0.004\n"
check_failed_run times "Parameter '[Survey]\\t1' isn't found in the 'runtask.ini' file."

run_alone paranoid "${HEAD}Paranoid = 1\nBogus Key = 3\n${SURVEY}"
check_failed_run paranoid "Error! Redundant variable: [modeling], Bogus Key = 3"

# Census under mpirun: 4 processes on this host, wanted = cpus / threads.
NCPU=$(nproc)
if [ "$NCPU" -ge 2 ] && command -v mpirun >/dev/null; then
  THREADS=$((NCPU / 2))
  WANTED=$((NCPU / THREADS))
  dir="$WORK/census"
  mkdir -p "$dir"
  printf '[TASK]\ntaskType = broken\n[optimization]\nthreads per process = %d\n' "$THREADS" >"$dir/runtask.ini"
  (cd "$dir" && timeout 120 mpirun --oversubscribe -np 4 "$KELVO" >out.txt 2>&1)
  rc=$?
  [ $rc -ne 124 ] || fail "census: mpirun did not end"
  [ $rc -ne 0 ] || fail "census: a failed job gave exit status 0"
  out="$dir/out.txt"
  expect_in "$out" "...Assuming $THREADS threads per process, $NCPU threads per node, $WANTED processes per node"
  for r in 1 2 3; do
    if [ $r -le "$WANTED" ]; then
      expect_in "$out" "--Node: rank $r, $(hostname), Active"
      expect_in "$out" "Active process #$r has new rank #$r!"
      [ -f "$dir/Kelvo-$r.log" ] || fail "census: no log of Active rank $r"
      expect_in "$dir/Kelvo-$r.log" "taskType 'broken' is wrong"
      grep -q "^{$r}" "$out" && fail "census: rank $r wrote to the console"
    else
      expect_in "$out" "--Node: rank $r, $(hostname), Passive"
      [ -f "$dir/Kelvo-$r.log" ] && fail "census: Passive rank $r wrote a log"
    fi
  done
  expect_in "$out" "{0}: Incorrect 'runtask.ini' file (taskType 'broken' is wrong"
  expect_in "$out" "The program has finised with result -1."
  grep -q "^{0}" "$dir/Kelvo-0.log" && fail "census: the log carries the console prefix"
  [ "$(grep -c 'The program has finised' "$out")" = 1 ] || fail "census: final line not printed once"

  # The census is skipped on request: all four stay Active.
  dir="$WORK/skip"
  mkdir -p "$dir"
  printf '[TASK]\ntaskType = broken\n[GPU]\nSkip Device Count Detection = 1\n[optimization]\nthreads per process = %d\n' \
    "$THREADS" >"$dir/runtask.ini"
  (cd "$dir" && timeout 120 mpirun --oversubscribe -np 4 "$KELVO" >out.txt 2>&1)
  grep -q "Assuming" "$dir/out.txt" && fail "skip: census took place"
  for r in 1 2 3; do
    [ -f "$dir/Kelvo-$r.log" ] || fail "skip: no log of rank $r"
  done
fi

if [ $FAILS -ne 0 ]; then
  echo "$FAILS check(s) failed"
  exit 1
fi
echo "all entry checks passed"
