# Shared part of the whole-program test scripts; their arguments are the path
# of the kelvo program and the build directory. Sets KELVO, MAKEJOB, NCPU and
# WORK (a scratch directory removed on exit).
set -u
KELVO=$(readlink -f "$1")
MAKEJOB="$(readlink -f "$2")/kelvo_make_job"
[ -x "$KELVO" ] || { echo "FAIL: kelvo program not found: $1"; exit 1; }
WORK=$(mktemp -d /tmp/kelvo_script_XXXXXX)
trap 'rm -rf "$WORK"' EXIT
export OMPI_ALLOW_RUN_AS_ROOT=1 OMPI_ALLOW_RUN_AS_ROOT_CONFIRM=1 OMPI_MCA_rmaps_base_oversubscribe=1
NCPU=$(nproc)
FAILS=0

fail() {
  echo "FAIL: $*"
  FAILS=$((FAILS + 1))
}
expect_in() { grep -qF -- "$2" "$1" || fail "'$2' not in $1"; } # file text

# A console file without the start-up lines that other ranks print straight
# to stdout, which under mpirun can land inside a line of rank 0.
joined() {
  perl -0pe 's/\.\.\.\d+ (?:nodes per process|GPUs per node)\n//g; s/Active process #\d+ has new rank #\d+!\n//g' "$1"
}
expect_joined() { joined "$1" | grep -qF -- "$2" || fail "'$2' not in $1"; }
have_mpi() { [ "$NCPU" -ge 2 ] && command -v mpirun >/dev/null; }

# Runs kelvo in a directory (alone, or under mpirun with NP processes); the
# console goes to out.txt, the exit status to RC.
run_kelvo() { # dir [kelvo arguments]
  local dir=$1
  shift
  (cd "$dir" && timeout 300 "$KELVO" "$@" >out.txt 2>&1)
  RC=$?
}
run_mpi() { # dir processes
  (cd "$1" && timeout 300 mpirun -np "$2" "$KELVO" >out.txt 2>&1)
  RC=$?
}

# The last run stopped cleanly (non-zero status, no crash or hang) with every
# message on its console and in its log.
expect_stopped() { # dir message...
  local dir=$1 m
  shift
  [ "$RC" != 0 ] && { [ "$RC" -lt 124 ] || [ "$RC" = 255 ]; } || fail "$dir: exit status $RC"
  for m in "$@"; do
    expect_in "$dir/out.txt" "$m"
    expect_in "$dir/Kelvo-0.log" "$m"
  done
}

make_job() { "$MAKEJOB" --dir "$@" >/dev/null 2>&1 || fail "job generator failed for $1"; } # dir options...
add_keys() { sed -i "s/^\[$2\]\$/[$2]\n$3/" "$1"; } # file section lines: behind the header
# Lets a job run on workers of the given thread count, in depth groups of the given size.
on_workers() { # file threads [group size]
  printf '[optimization]\nthreads per process = %d\n' "$2" >>"$1"
  if [ $# -gt 2 ]; then
    add_keys "$1" MPI "Group Size=$3"
    printf '[GPU]\nSkip Device Count Detection = 1\n' >>"$1"
  fi
}
COMPONENTS="x y z c"
# The merged gathers of a job are the bytes of those of a reference job.
same_gathers() { # reference-dir dir name [method letter of the file names, default A]
  local c
  for c in $COMPONENTS; do
    cmp -s "$1/vp+Gath3D${4:-A}PU$c.sgy" "$2/vp+Gath3D${4:-A}PU$c.sgy" || fail "$3: gather $c differs from $1"
  done
}

finish() {
  [ "$FAILS" -eq 0 ] || { echo "$FAILS check(s) failed"; exit 1; }
  echo "all checks passed"
}
