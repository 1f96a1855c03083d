#!/bin/bash
# Whole-program checks of the survey: a job whose survey file is missing,
# empty, or does not hold the requested shots stops with its message and a
# non-zero exit status.
# Usage: survey_job.sh <path of kelvo> <build dir>
KELVO="$1"
if [ ! -x "$KELVO" ]; then
  echo "kelvo program not found: $KELVO"
  exit 1
fi
WORK=$(mktemp -d /tmp/kelvo_survey_job_XXXXXX)
trap 'rm -rf "$WORK"' EXIT
FAILS=0

# write_task <dir> <geometry> [extra [modeling] lines]
write_task() {
  cat >"$1/runtask.ini" <<EOF
[TASK]
taskType=modeling
[modeling]
Run Computation=3D Acoustic
Merge=0
$3
[optimization]
threads per process=1
[Survey]
Geometry=$2
t0=0
t1=0.1
dt=0.002
[Mesh]
dx=10
dt=0.001
[Source]
Frequency=20
EOF
}

# expect_stop <name> <text expected in the log> [kelvo arguments]
expect_stop() {
  local name="$1" text="$2"
  shift 2
  (cd "$WORK/$name" && timeout 60 "$KELVO" "$@" >stdout.txt 2>&1)
  local rc=$?
  # 0 is a run that went on; 124 a hang; 129..159 a crash by signal.
  if [ $rc -eq 0 ] || [ $rc -eq 124 ] || { [ $rc -gt 128 ] && [ $rc -lt 160 ]; }; then
    echo "FAIL $name: exit status $rc"
    cat "$WORK/$name/stdout.txt"
    FAILS=$((FAILS + 1))
    return
  fi
  if ! grep -qF -- "$text" "$WORK/$name/Kelvo-0.log"; then
    echo "FAIL $name: log lacks '$text'"
    cat "$WORK/$name/stdout.txt"
    FAILS=$((FAILS + 1))
    return
  fi
  echo "ok   $name (exit $rc)"
}

mkdir -p "$WORK/missing" "$WORK/noname" "$WORK/empty" "$WORK/range" "$WORK/range_id"

write_task "$WORK/missing" nosuch.txt
expect_stop missing "Error! Unable to read the survey acquisition geometry file nosuch.txt."

write_task "$WORK/noname" ""
expect_stop noname "Error! Survey acquisition geometry file has not been provided."

write_task "$WORK/empty" survey.txt
printf '; only a comment\n1 2 3 4 5\n' >"$WORK/empty/survey.txt"
expect_stop empty "Error! No source points in the survey acquisition geometry file survey.txt."

write_task "$WORK/range" survey.txt "First Point=3
Last Point=4"
printf '0 0 0 10 0 0\n100 0 0 10 0 0\n' >"$WORK/range/survey.txt"
expect_stop range "Error! Incorrect range of shot points specified (3..4). Maximal shot point number is 2."

write_task "$WORK/range_id" survey.txt "UseShotId=1
First Point=50
Last Point=60"
printf '0 0 0 10 0 0 0 0 10\n100 0 0 10 0 0 0 0 20\n' >"$WORK/range_id/survey.txt"
expect_stop range_id "Maximal shot point number is 20."

# A small job numbered by shot ids: the ids name the shots, and a number
# between two ids is skipped with its warning.
MAKE_JOB="$2/kelvo_make_job"
if [ -x "$MAKE_JOB" ]; then
  J="$WORK/by_id"
  "$MAKE_JOB" --dir "$J" --size 200,200,200 --shots 2 --receivers 3 --record 0.03 --threads 1 \
    --merge 0 >/dev/null
  sed -i 's/^\[modeling\]$/[modeling]\nUseShotId=1/' "$J/runtask.ini"
  printf '%s\n' "70 100 20 20 100 20 1 1 10" "70 100 20 60 100 20 1 2 10" \
    "130 100 20 20 100 20 1 1 12" "130 100 20 60 100 20 1 2 12" "130 100 20 100 100 20 1 3 12" \
    >"$J/survey.txt"
  (cd "$J" && timeout 120 "$KELVO" >stdout.txt 2>&1)
  rc=$?
  ok=1
  for text in "Shot #10 of 12" "(70, 100, 20), 2 receivers." "Shot #12 of 12" \
    "(130, 100, 20), 3 receivers." \
    "Warning! Incorrect shot point #11 specified. No such shot point in file 'survey.txt'." \
    "List of registeres shot points: 10, 12"; do
    if ! grep -qF -- "$text" "$J/Kelvo-0.log"; then
      echo "FAIL by_id: log lacks '$text'"
      ok=0
    fi
  done
  if [ $rc -ne 0 ] || [ $ok -ne 1 ]; then
    echo "FAIL by_id: exit status $rc"
    tail -20 "$J/stdout.txt"
    FAILS=$((FAILS + 1))
  else
    echo "ok   by_id"
  fi
else
  echo "skip by_id: $MAKE_JOB not built"
fi

if [ $FAILS -ne 0 ]; then
  echo "$FAILS case(s) failed"
  exit 1
fi
echo "all survey job checks passed"
