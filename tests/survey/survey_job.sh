#!/bin/bash
# Whole-program checks of the survey: a job whose survey file is missing,
# empty, or does not hold the requested shots stops with its message and a
# non-zero exit status; a job numbered by shot ids runs its shots by id.
# Arguments: path of the kelvo program, build directory.
source "$(dirname "$0")/../run/common.bash"

# Writes a job over the given survey file (extra [modeling] lines follow),
# runs it and checks that it stops with the message.
expect_stop() { # name geometry message [extra [modeling] lines]
  local dir="$WORK/$1"
  mkdir -p "$dir"
  printf '[TASK]\ntaskType=modeling\n[modeling]\nRun Computation=3D Acoustic\nMerge=0\n%b\n[optimization]\nthreads per process=1\n[Survey]\nGeometry=%s\nt0=0\nt1=0.1\ndt=0.002\n[Mesh]\ndx=10\ndt=0.001\n[Source]\nFrequency=20\n' \
    "${4:-}" "$2" >"$dir/runtask.ini"
  [ -f "$WORK/$1.txt" ] && mv "$WORK/$1.txt" "$dir/survey.txt"
  run_kelvo "$dir"
  expect_stopped "$dir" "$3"
}

expect_stop missing nosuch.txt "Error! Unable to read the survey acquisition geometry file nosuch.txt."
expect_stop noname "" "Error! Survey acquisition geometry file has not been provided."
printf '; only a comment\n1 2 3 4 5\n' >"$WORK/empty.txt"
expect_stop empty survey.txt "Error! No source points in the survey acquisition geometry file survey.txt."
printf '0 0 0 10 0 0\n100 0 0 10 0 0\n' >"$WORK/range.txt"
expect_stop range survey.txt "Error! Incorrect range of shot points specified (3..4). Maximal shot point number is 2." \
  'First Point=3\nLast Point=4'
printf '0 0 0 10 0 0 0 0 10\n100 0 0 10 0 0 0 0 20\n' >"$WORK/range_id.txt"
expect_stop range_id survey.txt "Maximal shot point number is 20." 'UseShotId=1\nFirst Point=50\nLast Point=60'

# A small job numbered by shot ids: the ids name the shots, and a number
# between two ids is skipped with its warning.
if [ -x "$MAKEJOB" ]; then
  J="$WORK/by_id"
  make_job "$J" --size 200,200,200 --shots 2 --receivers 3 --record 0.03 --threads 1 --merge 0
  add_keys "$J/runtask.ini" modeling UseShotId=1
  printf '%s\n' "70 100 20 20 100 20 1 1 10" "70 100 20 60 100 20 1 2 10" \
    "130 100 20 20 100 20 1 1 12" "130 100 20 60 100 20 1 2 12" "130 100 20 100 100 20 1 3 12" \
    >"$J/survey.txt"
  run_kelvo "$J"
  [ "$RC" = 0 ] || fail "by_id: exit status $RC"
  for text in "Shot #10 of 12" "(70, 100, 20), 2 receivers." "Shot #12 of 12" "(130, 100, 20), 3 receivers." \
    "Warning! Incorrect shot point #11 specified. No such shot point in file 'survey.txt'." \
    "List of registeres shot points: 10, 12"; do
    expect_in "$J/Kelvo-0.log" "$text"
  done
fi
finish
