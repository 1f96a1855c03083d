#!/bin/bash
# Results that do not fit on their file system: the run stops at the failed
# write with the system's reason, no gather of the unfinished shot stands
# under its final name, and a rerun with room and Recovery=1 completes the job
# with the gathers of a run that never failed. The output directory is a
# tmpfs just large enough for the first shot where this process may mount
# one; else a limit on the file size (ulimit -f) fails every gather. Skipped
# (status 77) where neither can be had.
source "$(dirname "$0")/common.bash"
[ -x "$MAKEJOB" ] || { echo "FAIL: job generator $MAKEJOB not built"; exit 1; }

job() {
  make_job "$1" --shots 2 --size 200,200,150 --record 0.2 --merge 0
  printf '[optimization]\nthreads per process = 2\n' >>"$1/runtask.ini"
  sed -i 's|^Recovery=.*|Recovery=1|' "$1/runtask.ini"
}
REF="$WORK/reference"
job "$REF"
run_kelvo "$REF"
[ "$RC" = 0 ] || fail "reference run: exit status $RC"
# Pages of shot 1's gathers, and one more for the start of shot 2.
PAGES=1
for c in x y z c; do
  PAGES=$((PAGES + ($(stat -c %s "$REF/vp+Gath3DAPU$c-1.sgy") + 4095) / 4096))
done

D="$WORK/full"
job "$D"
OUT="$D/out"
mkdir -p "$OUT"
sed -i "s|^\[modeling\]\$|[modeling]\nOutputDir=$OUT|" "$D/runtask.ini"
if mount -t tmpfs -o size=$((PAGES * 4096)) tmpfs "$OUT" 2>/dev/null; then
  trap 'umount "$OUT"; rm -rf "$WORK"' EXIT
  MODE=tmpfs
  REASON="No space left on device"
  (cd "$D" && timeout 300 "$KELVO" >out.txt 2>&1)
  RC=$?
elif (ulimit -f 16) 2>/dev/null; then
  MODE=ulimit
  REASON="File too large"
  (ulimit -f 16 && cd "$D" && timeout 300 "$KELVO" >out.txt 2>&1)
  RC=$?
else
  echo "SKIP: neither a tmpfs can be mounted nor the file size limited here"
  exit 77
fi
echo "output on a small file system by $MODE"

expect_stopped "$D" "$REASON. The shot is left unfinished."
ls "$OUT"/vp+Gath3DAPU?-2.sgy >/dev/null 2>&1 && fail "$MODE: a gather of shot 2 stands under its final name"
ls "$OUT"/*.part.* >/dev/null 2>&1 && fail "$MODE: a partial gather is left"
if [ "$MODE" = tmpfs ]; then
  for c in x y z c; do
    [ -s "$OUT/vp+Gath3DAPU$c-1.sgy" ] || fail "tmpfs: gather $c of shot 1 is lost"
  done
  mount -o remount,size=4m "$OUT" || fail "tmpfs: cannot be made larger"
fi

# With room, the rerun computes what is missing.
rm -f "$D"/Kelvo-*.log
run_kelvo "$D"
[ "$RC" = 0 ] || fail "$MODE: rerun with room: exit status $RC"
[ "$MODE" = tmpfs ] && expect_in "$D/Kelvo-0.log" "Shot Point #1 is already calculated - skipped."
for f in "$REF"/vp+Gath3DAPU?-?.sgy; do
  cmp -s "$f" "$OUT/${f##*/}" || fail "$MODE: ${f##*/} differs from that of a run with room"
done
finish
