#!/bin/bash
# The example jobs of examples/README.md, small: each runs to the end from
# the generator's files and gets its pictures (model, gathers, snapshots and,
# where written, cubes). Skipped (77) when matplotlib is missing, after the
# jobs themselves have run.
source "$(dirname "$0")/common.bash"
[ -x "$MAKEJOB" ] || { echo "FAIL: job generator $MAKEJOB not built"; exit 1; }
EXAMPLES="$(dirname "$0")/../../examples/run_examples.sh"

BUILD_DIR="$(dirname "$MAKEJOB")" bash "$EXAMPLES" --small --out "$WORK" >"$WORK/out.txt" 2>&1
RC=$?
cat "$WORK/out.txt"
[ "$RC" = 0 ] || [ "$RC" = 77 ] || fail "examples: exit status $RC"

# Pictures that every example must have, by job; a * stands for the method's
# letters in the file names.
pictures() { # example
  case "$1" in
  acoustic) echo "vp vp+Gath3DAPUc vp+Snap3DAPU vp+Time3DAPU(MaxEnergy) vp+3DSnap3DAPUc(t=0.08)-1" ;;
  vertical) echo "vp vp+Gath3DISUz vp+Gath3DISUc" ;;
  *) echo "vp vp+Gath3D*z vp+Snap3D*" ;;
  esac
}
for name in acoustic elastic-free visco vti tti vertical mpi-depth; do
  dir="$WORK/$name"
  expect_in "$WORK/out.txt" "== $name"
  [ -f "$dir/console.txt" ] || { fail "$name: not run"; continue; }
  grep -q "kelvo: status 0 in" <(sed -n "/^== $name\$/,/^==/p" "$WORK/out.txt") || fail "$name: kelvo failed"
  [ "$RC" = 77 ] && continue
  for p in $(pictures "$name"); do
    # shellcheck disable=SC2086 # the pattern is globbed
    ls $dir/pictures/$p.png >/dev/null 2>&1 || fail "$name: no picture $p.png"
  done
done
# The run under mpirun split its shot over a group of two.
expect_in "$WORK/mpi-depth/Kelvo-2.log" "I'm a Group Slave #1 (of 1)."
[ "$FAILS" = 0 ] && [ "$RC" = 77 ] && { echo "SKIP: the jobs ran, but no pictures without matplotlib"; exit 77; }
finish
