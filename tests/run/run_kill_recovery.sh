#!/bin/bash
# A run stopped in the middle of a shot and started again with Recovery=1
# computes only the shots left unfinished, and its merged gathers are the same
# bytes as those of a run that was never stopped; alone and dealt out over two
# MPI workers. SIGKILL ends a run at once; SIGTERM and SIGINT end it at the
# next time step with the finished shots kept and a last line that says so,
# whether every rank gets the signal or only the launcher.
source "$(dirname "$0")/common.bash"
[ -x "$MAKEJOB" ] || { echo "FAIL: job generator $MAKEJOB not built"; exit 1; }

COMPONENTS="x y z c"
# SHOTS shots of a second or two each on one thread.
SHOTS=4
job() {
  make_job "$1" --shots "$SHOTS" --size 200,200,160 --record 0.25 --shot-depth 90 --receiver-depth 20 --merge 1
  printf '[optimization]\nthreads per process = 1\n' >>"$1/runtask.ini"
}

# Waits until one of the logs of the job shows shot 3 under way: its start
# line, then two progress lines behind it. False after 240 s or once the run
# has ended.
wait_shot3() { # pid dir
  local pid=$1 i f
  for ((i = 0; i < 2400; i++)); do
    for f in "$2"/Kelvo-*.log; do
      [ -f "$f" ] && awk '/Shot #3 of 4|Received to calculate shot #3!/ { on = 1; next }
                         on && /^\.\. [0-9]+%/ { n++ } END { exit !(n >= 2) }' "$f" && return 0
    done
    kill -0 "$pid" 2>/dev/null || return 1
    sleep 0.1
  done
  return 1
}

# The process and everything it started, deepest first.
tree() { # pid
  local c
  for c in $(ps -o pid= --ppid "$1"); do tree "$c"; done
  echo "$1"
}

# Starts the job (alone, or under mpirun with NP processes), sends SIG once
# shot 3 is under way and waits for the end. The signal goes to every process
# but the timeout wrapper (which reports how its child ended), or with TO
# "ranks" to the kelvo processes only, with "launcher" to mpirun only.
run_and_stop() { # dir signal [processes [to]]
  local dir=$1 sig=$2 pid targets
  if [ $# -gt 2 ]; then
    (cd "$dir" && exec timeout 300 mpirun -np "$3" "$KELVO" >out.txt 2>&1) &
  else
    (cd "$dir" && exec timeout 300 "$KELVO" >out.txt 2>&1) &
  fi
  pid=$!
  if wait_shot3 "$pid" "$dir"; then
    targets=$(tree "$pid" | grep -vx "$pid")
    case "${4:-all}" in
    ranks) targets=$(ps -o pid= --ppid "$(ps -o pid= --ppid "$pid" | tr -d ' ')") ;;
    launcher) targets=$(ps -o pid= --ppid "$pid") ;;
    esac
    kill -"$sig" $targets 2>/dev/null
  else
    fail "$dir: shot 3 never seen under way"
  fi
  wait "$pid" 2>/dev/null
  RC=$?
}

# A run stopped by SIG at a step boundary: the exit status of that signal,
# the stop of shot 3 in the log of the process that computed it, and the
# last message of rank 0 saying what became of the run.
expect_signal_stop() { # dir name signal status
  local dir=$1 name=$2 sig=$3
  [ "$RC" = "$4" ] || fail "$name: exit status $RC, not $4"
  grep -q "^Error! Stopped by SIG$sig before time step [0-9]* of [0-9]* of shot 3:" "$dir"/Kelvo-*.log ||
    fail "$name: no process reports shot 3 stopped at a time step"
  [ "$(grep '^Error!' "$dir/Kelvo-0.log" | tail -1)" = "Error! The run was stopped by SIG$sig: the finished shots are \
kept and nothing is merged. Run the job again with Recovery=1 to compute the shots left." ] ||
    fail "$name: last message of rank 0 is not the stop"
  expect_joined "$dir/out.txt" "The run was stopped by SIG$sig"
  ls "$dir"/*.part.* >/dev/null 2>&1 && fail "$name: partial files left"
}

# Restarts the job with Recovery=1 and checks that it finished, computing the
# shots without four whole per-shot gathers and skipping the others, and that
# its merged gathers are those of the reference run in $REF. Shot 3 must have
# been cut short unless LATE_STOP is set.
LATE_STOP=
recover() { # dir name [processes]
  local dir=$1 name=$2 s done=() todo=()
  for ((s = 1; s <= SHOTS; s++)); do
    if [ -s "$dir/vp+Gath3DAPUx-$s.sgy" ] && [ -s "$dir/vp+Gath3DAPUc-$s.sgy" ]; then done+=("$s"); else todo+=("$s"); fi
  done
  [ "${#done[@]}" -ge 1 ] || fail "$name: no shot finished before the stop"
  [ -n "$LATE_STOP" ] || [[ " ${todo[*]} " == *" 3 "* ]] || fail "$name: shot 3 finished before the stop"
  ls "$dir"/vp+Gath3DAPU?.sgy >/dev/null 2>&1 && fail "$name: merged although stopped"
  sed -i 's/^Recovery=.*/Recovery=1/' "$dir/runtask.ini"
  rm -f "$dir"/Kelvo-*.log
  if [ $# -gt 2 ]; then run_mpi "$dir" "$3"; else run_kelvo "$dir"; fi
  [ "$RC" = 0 ] || fail "$name: recovery run: exit status $RC"
  cat "$dir"/Kelvo-*.log >"$dir/logs.txt"
  for s in "${done[@]}"; do
    expect_in "$dir/logs.txt" "Shot Point #$s is already calculated - skipped."
  done
  # Under mpirun the master prints the heading once for itself as well.
  local n
  n=$(grep -c 'MODELING STARTED' "$dir/logs.txt")
  [ $# -gt 2 ] && n=$((n - 1))
  [ "$n" = "${#todo[@]}" ] || fail "$name: recovery run computed $n shots, not the ${#todo[@]} unfinished (${todo[*]})"
  for c in $COMPONENTS; do
    cmp -s "$REF/vp+Gath3DAPU$c.sgy" "$dir/vp+Gath3DAPU$c.sgy" || fail "$name: merged gather $c differs"
  done
  ls "$dir"/vp+Gath3DAPU?-*.sgy >/dev/null 2>&1 && fail "$name: per-shot gathers left after merging"
}

REF="$WORK/reference"
job "$REF"
run_kelvo "$REF"
[ "$RC" = 0 ] || fail "reference run: exit status $RC"

K="$WORK/kill"
job "$K"
run_and_stop "$K" KILL
[ "$RC" = 137 ] || fail "killed run: exit status $RC"
recover "$K" "killed run"

# SIGTERM and SIGINT stop a lone process at the next time step.
while read -r sig status; do
  T="$WORK/single-$sig"
  job "$T"
  run_and_stop "$T" "$sig"
  expect_signal_stop "$T" "single process, SIG$sig" "$sig" "$status"
  recover "$T" "single process, SIG$sig"
done <<'EOF2'
TERM 143
INT 130
EOF2

if have_mpi; then
  M="$WORK/mpi-kill"
  job "$M"
  run_and_stop "$M" KILL 3
  [ "$RC" -ne 0 ] || fail "killed MPI run: exit status 0"
  recover "$M" "killed MPI run" 3

  # Every rank catches the signal: the workers stop their shots at a step, the
  # master hands out no more and all leave together.
  M="$WORK/mpi-ranks"
  job "$M"
  run_and_stop "$M" TERM 3 ranks
  expect_signal_stop "$M" "MPI run, SIGTERM to the ranks" TERM 143
  recover "$M" "MPI run, SIGTERM to the ranks" 3

  # Only the launcher gets it; what it passes on stops the run all the same,
  # and whatever it cuts short never looks finished. mpirun passes a signal
  # on a second later, when shot 3 may be done: twice the shots leave the
  # run enough to stop.
  SHOTS=8 LATE_STOP=1 REF="$WORK/reference-8"
  job "$REF"
  run_mpi "$REF" 3
  [ "$RC" = 0 ] || fail "reference run of $SHOTS shots: exit status $RC"
  M="$WORK/mpi-launcher"
  job "$M"
  run_and_stop "$M" INT 3 launcher
  [ "$RC" -ne 0 ] && [ "$RC" -ne 124 ] || fail "MPI run, SIGINT to the launcher: exit status $RC"
  recover "$M" "MPI run, SIGINT to the launcher" 3
fi
finish
