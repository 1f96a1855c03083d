#!/bin/bash
# Whole elastic and viscoelastic jobs: every source type of the elastic
# method runs to the end with finite gathers, and a viscoelastic job gives the
# same merged gathers alone, dealt out over MPI workers and split by depth.
source "$(dirname "$0")/common.bash"
[ -x "$MAKEJOB" ] || { echo "FAIL: job generator $MAKEJOB not built"; exit 1; }

job() { make_job "$@" --shots 2 --size 160,160,120 --record 0.06 --shot-depth 90 --receiver-depth 20; }
add_source() { sed -i "s/^\[Source\]\$/[Source]\n$2/" "$1"; } # file lines

# Every source type: a clean end (a diverging run stops with the instability
# result) and four non-empty gathers.
for t in 0 1 2 3 4 5 6 7 8 9; do
  D="$WORK/source$t"
  job "$D" --method elastic --merge 0
  sed -i "s/^Type=.*/Type=$t/" "$D/runtask.ini"
  [ "$t" = 8 ] && add_source "$D/runtask.ini" 'K12=1'
  [ "$t" = 9 ] && add_source "$D/runtask.ini" 'K11=1\nK22=0.5\nK33=-1\nK13=0.3'
  run_kelvo "$D" x 1 1
  [ "$RC" = 0 ] || { fail "source type $t: exit status $RC"; continue; }
  grep -q "finished successfully" "$D/out.txt" || fail "source type $t: no success line"
  for c in $COMPONENTS; do
    ls "$D"/vp+Gath3D*"$c"-1.sgy >/dev/null 2>&1 || fail "source type $t: gather $c missing"
  done
done

# A viscoelastic job (three mechanisms, apparent velocities, a spill file):
# alone, dealt out to two workers, and split by depth over a group of two.
V="$WORK/visco"
job "$V" --visco 3 --q 40,60,80 --apparent --merge 1
on_workers "$V/runtask.ini" 1
cp -r "$V" "$WORK/visco_mpi"
cp -r "$V" "$WORK/visco_group"
run_kelvo "$V"
[ "$RC" = 0 ] || fail "viscoelastic single run: exit status $RC"
expect_in "$V/out.txt" "3D VISCOELASTIC MODELING STARTED"
if have_mpi; then
  run_mpi "$WORK/visco_mpi" 3
  [ "$RC" = 0 ] || fail "viscoelastic cluster run: exit status $RC"
  G="$WORK/visco_group"
  add_keys "$G/runtask.ini" MPI "Group Size=2\nBig Seismogram=1"
  printf '[GPU]\nSkip Device Count Detection = 1\n' >>"$G/runtask.ini"
  run_mpi "$G" 3
  [ "$RC" = 0 ] || fail "viscoelastic group run: exit status $RC"
  expect_in "$G/Kelvo-2.log" "I'm a Group Slave #1 (of 1)."
  for d in visco_mpi visco_group; do
    same_gathers "$V" "$WORK/$d" "$d" E
  done
fi
finish
