#!/bin/bash
# A job whose survey file is missing, empty, or does not hold the requested
# shots stops with its message and a non-zero exit status.
# Arguments: path of the kelvo program, build directory.
source "$(dirname "$0")/../run/common.bash"

expect_stop() { # name geometry-file survey-text message [extra [modeling] lines]
  local dir="$WORK/$1"
  mkdir -p "$dir"
  printf '[TASK]\ntaskType=modeling\n[modeling]\nRun Computation=3D Acoustic\nMerge=0\n%b\n[optimization]\nthreads per process=1\n[Survey]\nGeometry=%s\nt0=0\nt1=0.1\ndt=0.002\n[Mesh]\ndx=10\ndt=0.001\n[Source]\nFrequency=20\n' \
    "${5:-}" "$2" >"$dir/runtask.ini"
  [ -n "$3" ] && printf '%b' "$3" >"$dir/survey.txt"
  run_kelvo "$dir"
  expect_stopped "$dir" "$4"
}

expect_stop missing nosuch.txt '' "Error! Unable to read the survey acquisition geometry file nosuch.txt."
expect_stop empty survey.txt '; only a comment\n1 2 3 4 5\n' \
  "Error! No source points in the survey acquisition geometry file survey.txt."
expect_stop range survey.txt '0 0 0 10 0 0\n100 0 0 10 0 0\n' \
  "Error! Incorrect range of shot points specified (3..4). Maximal shot point number is 2." 'First Point=3\nLast Point=4'
finish
