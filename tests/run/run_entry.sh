#!/bin/bash
# Bad job files end cleanly with the system's messages, and under mpirun the
# host census keeps the wanted number of processes per host Active and
# releases the rest.
source "$(dirname "$0")/common.bash"

check_bad_job() { # name task-text ('' for no file) message...
  local dir="$WORK/$1"
  mkdir -p "$dir"
  [ -n "$2" ] && printf '%b' "$2" >"$dir/runtask.ini"
  run_kelvo "$dir"
  shift 2
  expect_stopped "$dir" "$@"
  expect_joined "$dir/out.txt" "The program has finised with result -1."
}

HEAD='[TASK]\ntaskType = modeling\n[modeling]\nRun Computation = 3D Acoustic\n'
SURVEY='[Survey]\nt0 = 0\nt1 = 1\ndt = 0.004\n[Source]\nFrequency = 20\n'
check_bad_job empty '' "file 'runtask.ini' is not read!" "The computation is stopped."
check_bad_job tasktype '[TASK]\ntaskType = modelling\n' \
  "taskType 'modelling' is wrong, expected either 'modeling' or 'merge'"
check_bad_job method '[TASK]\ntaskType = modeling\n[modeling]\nRun Computation = 2D Acoustic\n' \
  "Error! Unknown modeling method (2D Acoustic) specified in 'runtask.ini'."
check_bad_job surftype "${HEAD}SurfType = 5\n${SURVEY}" "Error! Incorrect surface type specified (5)."
check_bad_job times "${HEAD}[Survey]\nt0 = 0\ndt = 0.004\n" \
  "Parameter '[Survey]\\t1' isn't found in the 'runtask.ini' file."
check_bad_job paranoid "${HEAD}Paranoid = 1\nBogus Key = 3\n${SURVEY}" \
  "Error! Redundant variable: [modeling], Bogus Key = 3"

# Census: 4 processes on this host, wanted = cpus / threads per process.
if have_mpi; then
  THREADS=$((NCPU / 2))
  WANTED=$((NCPU / THREADS))
  dir="$WORK/census"
  mkdir -p "$dir"
  printf '[TASK]\ntaskType = broken\n[optimization]\nthreads per process = %d\n' "$THREADS" >"$dir/runtask.ini"
  run_mpi "$dir" 4
  [ $RC -ne 0 ] && [ $RC -ne 124 ] || fail "census: exit status $RC"
  out="$dir/out.txt"
  expect_in "$out" "...Assuming $THREADS threads per process, $NCPU threads per node, $WANTED processes per node"
  for r in 1 2 3; do
    if [ $r -le "$WANTED" ]; then
      expect_in "$out" "--Node: rank $r, $(hostname), Active"
      expect_in "$dir/Kelvo-$r.log" "taskType 'broken' is wrong"
      grep -q "^{$r}" "$out" && fail "census: rank $r wrote to the console"
    else
      expect_in "$out" "--Node: rank $r, $(hostname), Passive"
      [ -f "$dir/Kelvo-$r.log" ] && fail "census: Passive rank $r wrote a log"
    fi
  done
  expect_in "$out" "{0}: Incorrect 'runtask.ini' file (taskType 'broken' is wrong"
  grep -q "^{0}" "$dir/Kelvo-0.log" && fail "census: the log carries the console prefix"
  [ "$(joined "$out" | grep -c 'The program has finised')" = 1 ] || fail "census: final line not printed once"
fi
finish
