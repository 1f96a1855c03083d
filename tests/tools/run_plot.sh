#!/bin/bash
# The picture tool on files the engine wrote (gathers, 2-D and 3-D snapshots,
# a time field, a model cube with its survey) and on files segyio wrote: the
# axes it reports follow the headers, the PNG files have the asked size and
# are not blank, and files it cannot read give a message and a non-zero exit
# without a Python traceback. Skipped (77) without matplotlib.
source "$(dirname "$0")/../run/common.bash"
PLOT="$(dirname "$0")/../../tools/kelvo_plot"
PY=/usr/bin/python3
if ! "$PY" -c "import matplotlib, numpy, segyio" 2>/dev/null; then
  echo "SKIP: $PY lacks matplotlib, numpy or segyio (python3-matplotlib python3-numpy python3-segyio)"
  exit 77
fi
[ -x "$MAKEJOB" ] || { echo "FAIL: job generator $MAKEJOB not built"; exit 1; }

# The PNG is W x H pixels and shows something: many colours, not one flat tone.
png_ok() { # file W H
  "$PY" - "$@" 2>"$WORK/png.txt" <<'EOF' || fail "$1: $(cat "$WORK/png.txt")"
import sys
import matplotlib.image as mi
import numpy as np
f, w, h = sys.argv[1], int(sys.argv[2]), int(sys.argv[3])
try:
    a = mi.imread(f)
except Exception as e:
    sys.exit("unreadable PNG (%s)" % e)
colours = len(np.unique(a[:, :, :3].reshape(-1, 3), axis=0))
if a.shape[:2] != (h, w) or colours < 20 or a[:, :, :3].std() < 0.05:
    sys.exit("%d x %d pixels of %d colours (std %.3f), not %d x %d and drawn" %
             (a.shape[1], a.shape[0], colours, a[:, :, :3].std(), w, h))
EOF
}
# A reported axis spans the given range (limits in either order, to 1 %).
axis_is() { # output-file axis-letter label from to
  "$PY" - "$@" <<'EOF' || fail "$1: $2 axis not '$3' $4..$5: $(grep -o "$2 axis [^,;]*" "$1" | head -n 1)"
import re, sys
text, axis, label, a, b = open(sys.argv[1]).read(), sys.argv[2], sys.argv[3], float(sys.argv[4]), float(sys.argv[5])
m = re.search(r'%s axis "([^"]*)" (\S+)\.\.([-0-9.e+]+)' % axis, text)
lo, hi = sorted((float(m.group(2)), float(m.group(3)))) if m else (0, 0)
tol = 0.01 * max(abs(a), abs(b), 1e-3)
sys.exit(not (m and m.group(1) == label and abs(lo - min(a, b)) <= tol and abs(hi - max(a, b)) <= tol))
EOF
}
# The tool refused the input: a non-zero exit and an "Error! " message, no traceback.
refused() { # what expected-message-part kelvo_plot-arguments...
  local what=$1 part=$2
  shift 2
  "$PLOT" "$@" >"$WORK/r.txt" 2>&1
  local rc=$?
  [ "$rc" != 0 ] || fail "$what: exit status 0"
  grep -q Traceback "$WORK/r.txt" && fail "$what: Python traceback"
  grep -qF -- "$part" "$WORK/r.txt" || fail "$what: '$part' not in: $(cat "$WORK/r.txt")"
}

# A small faulted job with every kind of result: two shots at x = 50 and
# 110, receivers every 15 m from x = 20 to 140 at y = 80.
J="$WORK/job"
make_job "$J" --size 160,160,120 --fault 80,60,20 --salt 40,80,80,30,20 --shots 2 --receivers 9 --record 0.06 \
  --snapshot 0.02,0.02 --time-field 1 --snap3d 0.04:CZ --threads 2
run_kelvo "$J"
[ "$RC" = 0 ] || { fail "job: exit status $RC"; finish; }

"$PLOT" gather "$J/vp+Gath3DAPUc.sgy" --shot 2 --size 640x480 -o "$WORK/g.png" -v >"$WORK/g.txt" 2>&1 ||
  fail "gather: $(cat "$WORK/g.txt")"
png_ok "$WORK/g.png" 640 480
# Offsets -90..30 with a cell of 15 m round each; 0 to 0.06 s with half a sample below.
axis_is "$WORK/g.txt" x "Offset (m)" -97.5 37.5
axis_is "$WORK/g.txt" y "Time (s)" 0 0.061
"$PLOT" gather "$J/vp+Gath3DAPUc.sgy" --style wiggle -o "$WORK/w.png" -v >"$WORK/w.txt" 2>&1 || fail "wiggle"
png_ok "$WORK/w.png" 800 600
axis_is "$WORK/w.txt" x "Offset (m)" -45 105

# Snapshots: two sections (shots) of frames at 0.02, 0.04 and 0.06 s,
# sampled every 10 m over the model.
"$PLOT" snapshot "$J/vp+Snap3DAPU.zpl" --section 2 --component C -o "$WORK/f.png" -v >"$WORK/f.txt" 2>&1 ||
  fail "frames: $(cat "$WORK/f.txt")"
[ "$(grep -c '^Wrote' "$WORK/f.txt")" = 3 ] || fail "frames: not three pictures: $(cat "$WORK/f.txt")"
for k in 1 2 3; do png_ok "$WORK/f-00$k.png" 800 500; done
axis_is "$WORK/f.txt" x "x (m)" -5 165
axis_is "$WORK/f.txt" y "Depth (m)" -5 125
"$PLOT" snapshot "$J/vp+Snap3DAPU.zpl" --sheet --size 900x300 -o "$WORK/sheet.png" >/dev/null 2>&1 || fail "sheet"
png_ok "$WORK/sheet.png" 900 300

# Cubes: the time field and a 3-D snapshot, three slices each.
for f in "vp+Time3DAPU(MaxEnergy).sgy" "vp+3DSnap3DAPUz(t=0.04)-1.sgy"; do
  "$PLOT" cube "$J/$f" -o "$WORK/c.png" -v >"$WORK/c.txt" 2>&1 || fail "cube $f: $(cat "$WORK/c.txt")"
  png_ok "$WORK/c.png" 1200 450
  axis_is "$WORK/c.txt" y "Depth (m)" -5 125
done
"$PLOT" model "$J/vp.sgy" -o "$WORK/m.png" -v >"$WORK/m.txt" 2>&1 || fail "model: $(cat "$WORK/m.txt")"
png_ok "$WORK/m.png" 1200 450
axis_is "$WORK/m.txt" x "x (m)" -5 165

# Files segyio wrote: two shots of 30 traces with offsets -300..280 and
# 0..580, 250 samples of 4 ms from a delay of 100 ms; and a cube of 6 x 5
# columns of 40 samples.
"$PY" - "$WORK" >/dev/null <<'EOF' || fail "segyio could not write the test files"
import sys
import numpy as np
import types
import segyio
layout = types.SimpleNamespace(format=5, samples=range(250), tracecount=60, iline=189, xline=193)
with segyio.create(sys.argv[1] + "/two.sgy", layout) as f:
    for i in range(60):
        s, r = divmod(i, 30)
        off = (r - 15) * 20 if s == 0 else r * 20
        f.header[i] = {segyio.TraceField.offset: off, segyio.TraceField.SourceX: 1000 * (s + 1),
                       segyio.TraceField.GroupX: 1000 * (s + 1) + off, segyio.TraceField.EnergySourcePoint: s + 1,
                       segyio.TraceField.DelayRecordingTime: 100, segyio.TraceField.TRACE_SAMPLE_INTERVAL: 4000}
        f.trace[i] = np.sin(np.arange(250) * 0.3 + r).astype(np.float32) * (s + 1)
    f.bin.update(hns=250, hdt=4000)
segyio.tools.from_array3D(sys.argv[1] + "/cube.sgy", np.random.rand(5, 6, 40).astype(np.float32), dt=10000)
EOF
"$PLOT" gather "$WORK/two.sgy" --shot 2 -o "$WORK/s.png" -v >"$WORK/s.txt" 2>&1 || fail "segyio gather: $(cat "$WORK/s.txt")"
png_ok "$WORK/s.png" 800 600
axis_is "$WORK/s.txt" x "Offset (m)" -10 590
axis_is "$WORK/s.txt" y "Time (s)" 0.1 1.098
"$PLOT" cube "$WORK/cube.sgy" -o "$WORK/sc.png" -v >"$WORK/sc.txt" 2>&1 || fail "segyio cube: $(cat "$WORK/sc.txt")"
png_ok "$WORK/sc.png" 1200 450
# Inline and crossline numbers 1..5 and 1..6 place its columns; 40 samples of 10 m.
axis_is "$WORK/sc.txt" x "Crossline" 0.5 6.5
axis_is "$WORK/sc.txt" y "Depth (m)" -5 395

# Inputs that cannot be drawn.
: >"$WORK/empty.sgy"
echo "not a trace file" >"$WORK/text.sgy"
head -c 5000 "$J/vp+Gath3DAPUc.sgy" >"$WORK/cut.sgy"
head -c 1000 "$J/vp+Snap3DAPU.zpl" >"$WORK/cut.zpl"
refused "missing file" "Error! No file '$WORK/none.sgy'." gather "$WORK/none.sgy"
refused "empty file" "Error! " gather "$WORK/empty.sgy"
refused "text file" "Error! " gather "$WORK/text.sgy"
refused "cut gather" "Error! " gather "$WORK/cut.sgy"
refused "cut snapshot" "is cut short: section 1 needs" snapshot "$WORK/cut.zpl"
refused "SEG-Y as snapshot" "is not a ZPL file" snapshot "$J/vp+Gath3DAPUc.sgy"
refused "ZPL as gather" "Error! Unable to read" gather "$J/vp+Snap3DAPU.zpl"
refused "gather as cube" "is no cube" cube "$J/vp+Gath3DAPUc.sgy"
refused "no such shot" "holds 2 shot(s); there is no shot 3." gather "$J/vp+Gath3DAPUc.sgy" --shot 3
refused "no such component" "has the components ZXYC, not Q." snapshot "$J/vp+Snap3DAPU.zpl" --component Q
refused "unwritable picture" "Error! Unable to write" gather "$J/vp+Gath3DAPUc.sgy" -o "$WORK/none/g.png"
refused "bad size" "--size" gather "$J/vp+Gath3DAPUc.sgy" --size 10x10
refused "unknown colour map" "Error! Unknown colour map 'nope'" gather "$J/vp+Gath3DAPUc.sgy" --cmap nope
# Without matplotlib the tool says what to install.
mkdir -p "$WORK/nompl/matplotlib"
echo 'raise ImportError("No module named matplotlib")' >"$WORK/nompl/matplotlib/__init__.py"
PYTHONPATH="$WORK/nompl" "$PLOT" gather "$J/vp+Gath3DAPUc.sgy" >"$WORK/r.txt" 2>&1
[ $? = 3 ] || fail "no matplotlib: exit status not 3"
grep -qF "Error! kelvo_plot needs numpy, matplotlib and segyio" "$WORK/r.txt" || fail "no matplotlib: $(cat "$WORK/r.txt")"
finish
