#!/usr/bin/env bash
# Runs the depth-group gather test of test_output on three MPI processes.
# Arguments: <kelvo program> <build dir>
set -u
export OMPI_ALLOW_RUN_AS_ROOT=1 OMPI_ALLOW_RUN_AS_ROOT_CONFIRM=1
WORK=$(mktemp -d /tmp/kelvo_group_XXXXXX)
trap 'rm -rf "$WORK"' EXIT
cd "$WORK" || exit 1
out=$(timeout 120 mpirun --oversubscribe -np 3 "$2/test_output" --gtest_filter='GroupGather.*' --gtest_color=no 2>&1)
status=$?
# Every rank must have run the test, none skipped.
passed=$(echo "$out" | grep -c '^\[       OK \] GroupGather\.')
if [ $status -ne 0 ] || [ "$passed" -ne 3 ]; then
  echo "FAIL: mpirun status $status, $passed of 3 rank runs passed"
  echo "$out" | tail -60
  exit 1
fi
echo "PASS"
