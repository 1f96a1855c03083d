# Shared part of the whole-program test scripts, sourced by them.
# Arguments of the scripts: path of the kelvo program, build directory.
# Sets KELVO, BUILD, MAKEJOB and WORK (a scratch directory removed on exit).
set -u
KELVO=$(readlink -f "$1")
BUILD=$(readlink -f "$2")
MAKEJOB="$BUILD/kelvo_make_job"
if [ ! -x "$KELVO" ]; then
  echo "FAIL: kelvo program not found: $1"
  exit 1
fi
WORK=$(mktemp -d /tmp/kelvo_script_XXXXXX)
trap 'rm -rf "$WORK"' EXIT
export OMPI_ALLOW_RUN_AS_ROOT=1 OMPI_ALLOW_RUN_AS_ROOT_CONFIRM=1 OMPI_MCA_rmaps_base_oversubscribe=1
NCPU=$(nproc)
FAILS=0

fail() {
  echo "FAIL: $*"
  FAILS=$((FAILS + 1))
}

expect_in() { # file text
  grep -qF -- "$2" "$1" || fail "'$2' not in $1"
}

# Under mpirun the start-up lines that other ranks print straight to stdout can
# land inside a line of rank 0; this prints a console file without them.
joined() { # file
  perl -0pe 's/\.\.\.\d+ (?:nodes per process|GPUs per node)\n//g; s/Active process #\d+ has new rank #\d+!\n//g' "$1"
}

expect_joined() { # file text
  joined "$1" | grep -qF -- "$2" || fail "'$2' not in $1"
}

# True when MPI runs of several processes can be tried here.
have_mpi() { [ "$NCPU" -ge 2 ] && command -v mpirun >/dev/null; }

# Runs kelvo alone in a directory; the console goes to out.txt, the exit
# status to RC.
run_kelvo() { # dir [kelvo arguments]
  local dir=$1
  shift
  (cd "$dir" && timeout 300 "$KELVO" "$@" >out.txt 2>&1)
  RC=$?
}

# Checks that the last run stopped cleanly (non-zero status, no crash, no
# hang) and that its console and log hold every message.
expect_stopped() { # dir message...
  local dir=$1
  shift
  [ "$RC" != 0 ] || fail "$dir: exit status 0"
  [ "$RC" -lt 124 ] || [ "$RC" = 255 ] || fail "$dir: exit status $RC (crash or hang?)"
  local m
  for m in "$@"; do
    expect_in "$dir/out.txt" "$m"
    expect_in "$dir/Kelvo-0.log" "$m"
  done
}

# Makes an example job with the generator; the options follow the directory.
make_job() { # dir options...
  local dir=$1
  shift
  "$MAKEJOB" --dir "$dir" "$@" >/dev/null 2>&1 || fail "job generator failed for $dir"
}

# Inserts lines right behind a section header of a job file.
add_keys() { # file section text
  sed -i "s/^\[$2\]\$/[$2]\n$3/" "$1"
}

finish() {
  if [ "$FAILS" -ne 0 ]; then
    echo "$FAILS check(s) failed"
    exit 1
  fi
  echo "all checks passed"
}
