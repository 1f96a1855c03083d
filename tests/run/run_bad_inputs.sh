#!/bin/bash
# Inputs that used to give a result that looked successful and was wrong: each
# now ends in the right result, a clear message and a non-zero exit before the
# time loop, or a warning naming what was dropped.
source "$(dirname "$0")/common.bash"
[ -x "$MAKEJOB" ] || { echo "FAIL: job generator $MAKEJOB not built"; exit 1; }

job() { make_job "$@" --shots 2 --size 200,200,150 --record 0.05; }
set_key() { sed -i "s/^$2=.*/$2=$3/" "$1"; } # file key value: the first such key of the file
# Survey lines (not comments) rewritten by an awk action.
edit_survey() { awk "/^#/{print;next}{$2; print}" "$1/survey.orig" >"$1/survey.txt"; } # dir action
no_gathers() { ls "$1"/vp+Gath3DAPU* >/dev/null 2>&1 && fail "$1: gathers written"; }

# Refused before the time loop: status non-zero, the message, no gathers.
# name | [Mesh] dt | [Survey] dt | arguments | message
while IFS='|' read -r name mdt sdt args msg; do
  D="$WORK/$name"
  job "$D"
  sed -i "/^\[Mesh\]/,/^\[/ s/^dt=.*/dt=$mdt/" "$D/runtask.ini"
  sed -i "/^\[Survey\]/,/^\[/ s/^dt=.*/dt=$sdt/" "$D/runtask.ini"
  run_kelvo "$D" $args
  expect_stopped "$D" "$msg"
  no_gathers "$D"
  grep -q "MODELING STARTED" "$D/out.txt" && fail "$name: the time loop started"
done <<'EOF'
courant|0.003|0.006||The largest stable dt is 0.00247436 s.
survey_dt_finer|0.001|0.0005||[Survey] dt=0.0005 s is finer than the time step [Mesh] dt=0.001 s
range_word|0.001|0.002|x a b|Incorrect shot point number 'a' on the command line
EOF

# Snapshots that could never be written are refused while the task is read.
# name | lines added to the job file | message
while IFS='|' read -r name keys msg; do
  D="$WORK/$name"
  job "$D"
  printf "$keys" >>"$D/runtask.ini"
  run_kelvo "$D"
  expect_stopped "$D" "$msg"
  grep -q "Modeling Settings" "$D/out.txt" && fail "$name: the job went on past its task"
done <<'EOF'
snap3d_past_end|[3DSnapshot]\nShots=0\nTimes=0.02 0.5\nComponents=Z\n|Error! The 3-D snapshot time 0.5 s lies past the end of the record (t1 = 0.05 s)
snap3d_no_dir|[3DSnapshot]\nShots=1\nTimes=0.02\nComponents=Z/\n|Error! The 3-D snapshots of component '/' cannot be written: no file can be made in 'vp+3DSnap3DAPU' (No such file or directory)
EOF

# Warned and run: status 0, the warning, and what ran.
# name | survey edit (awk) | arguments | warning | gathers of shots
while IFS='|' read -r name edit args msg shots; do
  D="$WORK/$name"
  job "$D" --merge 0
  cp "$D/survey.txt" "$D/survey.orig"
  [ -n "$edit" ] && edit_survey "$D" "$edit"
  run_kelvo "$D" $args
  [ "$RC" = 0 ] || fail "$name: exit status $RC"
  expect_in "$D/out.txt" "$msg"
  expect_in "$D/Kelvo-0.log" "$msg"
  for s in 1 2; do
    want=0
    [[ " $shots " == *" $s "* ]] && want=1
    have=0
    [ -s "$D/vp+Gath3DAPUz-$s.sgy" ] && have=1
    [ "$want" = "$have" ] || fail "$name: gathers of shot $s: expected $want, found $have"
  done
done <<'EOF'
half_receivers_outside|if (NR % 2 == 0) $4 += 5000||Shot #1: 11 of 21 receivers lie outside the computation zone|1 2
shared_shot_id|$9 = 101||Shot id 101 of survey file 'survey.txt' is given to two source points, (70, 100, 20) and (130, 100, 20)|1
range_one_number||x 2|'2' is ignored and all shot points are computed|1 2
range_clipped||x 2 99|Shot range 2..99 reaches beyond the last shot point of the survey (2): shot points 2..2 are computed|2
some_shots_outside|if ($9 == 102) $1 += 5000||  Shot Point #2: the shot lies outside the computation zone.|1
EOF

# Every shot outside the model: nothing computed is no success, and nothing is merged.
D="$WORK/all_outside"
job "$D"
cp "$D/survey.txt" "$D/survey.orig"
edit_survey "$D" '$1 += 5000'
run_kelvo "$D"
[ "$RC" = 225 ] || fail "all_outside: exit status $RC, not that of result -31"
expect_in "$D/out.txt" "Warning! 2 of 2 shot points were skipped:"
expect_in "$D/Kelvo-0.log" "Error! No shot point has been computed"
no_gathers "$D"

# A record that starts before the time loop (t0 = -0.2 s, the source starts at
# -0.133 s) keeps its time axis: shifted by 100 samples, the traces equal those
# of the same shot recorded from 0.
D="$WORK/early_t0"
job "$D" --merge 0
sed -i 's/^t1=.*/t1=0.1/' "$D/runtask.ini"
run_kelvo "$D" x 1 1
mv "$D/vp+Gath3DAPUc-1.sgy" "$D/from0.sgy"
sed -i 's/^t0=.*/t0=-0.2/' "$D/runtask.ini"
run_kelvo "$D" x 1 1
[ "$RC" = 0 ] || fail "early t0: exit status $RC"
perl -e '
  # Samples of trace i of a SEG-Y file of n samples, as raw bytes.
  sub trace { my ($f, $n, $i) = @_; open(my $h, "<:raw", $f) or die; seek($h, 3600 + $i * (240 + 4 * $n) + 240, 0);
    read($h, my $b, 4 * $n); return $b; }
  for my $i (0 .. 20) {
    my ($a, $b) = (trace($ARGV[0], 51, $i), trace($ARGV[1], 151, $i));
    exit 1 if length($a) != 204 || substr($b, 400) ne $a;
  }' "$D/from0.sgy" "$D/vp+Gath3DAPUc-1.sgy" || fail "early t0: the shifted traces differ from those recorded from 0"

if have_mpi; then
  # A shot split by depth: every member of the group takes the same verdict on
  # the time step, so the run stops instead of hanging.
  D="$WORK/courant_group"
  job "$D"
  sed -i "/^\[Mesh\]/,/^\[/ s/^dt=.*/dt=0.003/" "$D/runtask.ini"
  sed -i "/^\[Survey\]/,/^\[/ s/^dt=.*/dt=0.006/" "$D/runtask.ini"
  printf '[optimization]\nthreads per process = 1\n[GPU]\nSkip Device Count Detection = 1\n' >>"$D/runtask.ini"
  add_keys "$D/runtask.ini" MPI "Group Size=2"
  run_mpi "$D" 3
  [ "$RC" -ne 0 ] && [ "$RC" -ne 124 ] || fail "courant_group: exit status $RC"
  grep -q "The largest stable dt is 0.00247436 s." "$D"/Kelvo-1.log "$D"/Kelvo-2.log || fail "courant_group: no message"

  # Cluster run with every shot outside: the master lists them and fails.
  D="$WORK/all_outside_cluster"
  job "$D"
  cp "$D/survey.txt" "$D/survey.orig"
  edit_survey "$D" '$1 += 5000'
  printf '[optimization]\nthreads per process = %d\n' $((NCPU / 2)) >>"$D/runtask.ini"
  run_mpi "$D" 3
  [ "$RC" -ne 0 ] && [ "$RC" -ne 124 ] || fail "all_outside_cluster: exit status $RC"
  expect_in "$D/out.txt" "{0}:   Shot Point #2: the shot lies outside the computation zone."
  expect_in "$D/out.txt" "{0}: Error! No shot point has been computed"
  no_gathers "$D"
  # mpirun hands each process a pseudo-terminal even when its own output is a file.
  grep -q $'\x1b' "$D/out.txt" && fail "all_outside_cluster: colour codes in a console written to a file"
fi
finish
