#!/bin/bash
# Whole vertical-incidence jobs: one trace file for each component with a
# trace for every receiver, the same files on one and on two threads, and a
# job whose model cannot be opened stopping with its message.
source "$(dirname "$0")/common.bash"
[ -x "$MAKEJOB" ] || { echo "FAIL: job generator $MAKEJOB not built"; exit 1; }

job() { make_job "$@" --method vertical --layers 2000:100,2600:200,2200 --density --lines 3 --receivers 7 \
  --receiver-depth 0 --dx 5 --dt 0.0005 --record 0.3,0.002; }
# Bytes of a trace file of n traces of the job's 151 samples.
size_of() { echo $((3600 + $1 * (240 + 151 * 4))); }

A="$WORK/one"
job "$A" --threads 1
run_kelvo "$A"
[ "$RC" = 0 ] || fail "one thread: exit status $RC"
expect_in "$A/out.txt" "1D VERTICAL INCIDENCE MODELING STARTED"
expect_in "$A/out.txt" " 1D zero-offset simulation of 21 traces "
expect_in "$A/out.txt" "Simulation finished successfully."
for c in z c; do
  [ "$(stat -c %s "$A/vp+Gath3DISU$c.sgy" 2>/dev/null)" = "$(size_of 21)" ] || fail "one thread: file $c not of 21 traces"
done

B="$WORK/two"
job "$B" --threads 2
run_kelvo "$B"
[ "$RC" = 0 ] || fail "two threads: exit status $RC"
for c in z c; do
  cmp -s "$A/vp+Gath3DISU$c.sgy" "$B/vp+Gath3DISU$c.sgy" || fail "two threads: file $c differs from one thread's"
done

C="$WORK/nomodel"
job "$C" --threads 1
# The survey stays: only the model is gone.
sed -i 's/^Model Name=.*/Model Name=missing.sgy/; s/^FileModelD=.*//' "$C/runtask.ini"
sed -i 's/^Geometry=.*/Geometry=survey.txt/' "$C/runtask.ini"
run_kelvo "$C"
[ "$RC" != 0 ] && [ "$RC" != 124 ] && [ "$RC" -lt 128 ] || [ "$RC" = 253 ] || fail "no model: exit status $RC"
expect_in "$C/out.txt" "Error! Unable to open model file 'missing.sgy'."
expect_in "$C/Kelvo-0.log" "Error! Unable to open model file 'missing.sgy'."
finish
