#!/usr/bin/env bash
# Runs the gather collection tests of a depth group on three MPI processes.
# Arguments: <kelvo program> <build dir>
set -u
TEST="$2/test_output"
if [ ! -x "$TEST" ]; then
  echo "FAIL: $TEST not built"
  exit 1
fi
export OMPI_ALLOW_RUN_AS_ROOT=1 OMPI_ALLOW_RUN_AS_ROOT_CONFIRM=1
WORK=$(mktemp -d /tmp/kelvo_group_XXXXXX)
trap 'rm -rf "$WORK"' EXIT
cd "$WORK" || exit 1
out=$(timeout 120 mpirun --oversubscribe -np 3 "$TEST" --gtest_filter='GroupGather.*' --gtest_color=no 2>&1)
status=$?
echo "$out" | grep -E '^\[ *(OK|FAILED|PASSED|SKIPPED) *\]|Failure|Expected|Which is' | head -60
if [ $status -ne 0 ]; then
  echo "FAIL: mpirun status $status"
  echo "$out" | tail -40
  exit 1
fi
# Every rank must have run both tests, none skipped.
passed=$(echo "$out" | grep -c '^\[       OK \] GroupGather\.')
if [ "$passed" -ne 6 ]; then
  echo "FAIL: expected 6 passed test runs (2 tests x 3 ranks), got $passed"
  echo "$out" | tail -40
  exit 1
fi
echo "PASS"
