"""Readers of kelvo's result files for kelvo_plot: SEG-Y gathers and cubes
(through segyio) and ZPL snapshots (little-endian sections behind a 296-byte
header, read here with numpy)."""
import os
import struct

import numpy as np
import segyio


class PlotError(Exception):
    """A file that cannot be drawn; the text is the whole message."""


# ZPL section header: the byte offsets of the fields this reader uses.
ZPL_HEADER = 296
ZPL_MAGIC = b"Binary. FD-Grid"


class ZplSection:
    """One section of a ZPL file: data[frame, row, column, component]."""

    def __init__(self, index, axis1, axis2, axis3, source_x, letters, axes, kind, data):
        self.index = index
        self.axis1 = axis1  # (start, end, step) of the first axis (x)
        self.axis2 = axis2  # second axis: depth, or time in seconds when axes[1] is 'T'
        self.axis3 = axis3  # third axis: frame times of a snapshot
        self.source_x = source_x
        self.letters = letters
        self.axes = axes
        self.kind = kind
        self.data = data

    def frame_times(self):
        n = self.data.shape[0]
        t0, t1, dt = self.axis3
        if n < 2:
            return [t0]
        return [t0 + f * (t1 - t0) / (n - 1) for f in range(n)]


def _text(raw):
    return raw.split(b"\0", 1)[0].decode("latin-1")


def read_zpl(path):
    """All sections of a ZPL file, or PlotError naming what is wrong."""
    with open(path, "rb") as f:
        blob = f.read()
    if len(blob) < ZPL_HEADER or not blob.startswith(ZPL_MAGIC):
        raise PlotError("'%s' is not a ZPL file (no 'Binary. FD-Grid' header)." % path)
    sections, pos = [], 0
    while pos + ZPL_HEADER <= len(blob):
        h = blob[pos:pos + ZPL_HEADER]
        if not h.startswith(ZPL_MAGIC):
            raise PlotError("'%s': section %d has no ZPL header at byte %d." % (path, len(sections) + 1, pos))
        axis1 = struct.unpack_from("<3f", h, 132)
        source_x = struct.unpack_from("<f", h, 144)[0]
        axis2 = struct.unpack_from("<3f", h, 148)
        axis3 = struct.unpack_from("<3f", h, 164)
        n = struct.unpack_from("<4i", h, 196)
        nc = struct.unpack_from("<i", h, 244)[0]
        if min(n) < 1 or not 1 <= nc <= 8:
            raise PlotError("'%s': section %d has sizes %d x %d x %d x %d of %d components." %
                            ((path, len(sections) + 1) + tuple(n) + (nc,)))
        count = nc * n[0] * n[1] * n[2] * n[3]
        end = pos + ZPL_HEADER + 4 * count
        if end > len(blob):
            raise PlotError("'%s' is cut short: section %d needs %d bytes, the file ends %d bytes after its header." %
                            (path, len(sections) + 1, 4 * count, len(blob) - pos - ZPL_HEADER))
        data = np.frombuffer(blob, dtype="<f4", count=count, offset=pos + ZPL_HEADER)
        data = data.reshape(n[2] * n[3], n[1], n[0], nc).astype(np.float32)
        letters = _text(h[252:260])[:nc]
        letters += "?" * (nc - len(letters))
        sections.append(ZplSection(struct.unpack_from("<i", h, 240)[0], axis1, axis2, axis3, source_x, letters,
                                   _text(h[260:264]), _text(h[268:296]), data))
        pos = end
    if pos != len(blob):
        raise PlotError("'%s' ends with %d bytes that make no section." % (path, len(blob) - pos))
    return sections


def _scaler(s):
    """Factors of SEG-Y scalars: a positive one multiplies, a negative one
    divides, 0 counts as 1."""
    return np.where(s > 0, s, 1.0) / np.where(s < 0, -s, 1.0)


class Traces:
    """The traces of a SEG-Y file with the header fields kelvo writes."""

    def __init__(self, path):
        if not os.path.isfile(path):
            raise PlotError("No file '%s'." % path)
        try:
            with segyio.open(path, "r", ignore_geometry=True, strict=False) as f:
                f.mmap()
                self.data = np.asarray(segyio.tools.collect(f.trace[:]), dtype=np.float64)
                if self.data.ndim != 2 or self.data.shape[0] < 1 or self.data.shape[1] < 1:
                    raise PlotError("'%s' holds no traces." % path)
                # Sample positions: milliseconds for time, metres for depth
                # (kelvo stores a depth step of 10 m as 10000).
                self.samples = np.asarray(f.samples, dtype=np.float64)
                field = lambda k: np.asarray(f.attributes(k)[:], dtype=np.float64)
                TF = segyio.TraceField
                scale = _scaler(field(TF.SourceGroupScalar))
                self.sx, self.sy = field(TF.SourceX) * scale, field(TF.SourceY) * scale
                self.rx, self.ry = field(TF.GroupX) * scale, field(TF.GroupY) * scale
                self.cdpx, self.cdpy = field(TF.CDP_X) * scale, field(TF.CDP_Y) * scale
                self.inline, self.crossline = field(TF.INLINE_3D), field(TF.CROSSLINE_3D)
                self.offset = field(TF.offset)
                self.shot_id = field(TF.EnergySourcePoint)
                self.source_depth = -field(TF.SourceSurfaceElevation) * _scaler(field(TF.ElevationScalar))
        except PlotError:
            raise
        except RuntimeError as e:
            raise PlotError("Unable to read '%s' as SEG-Y: %s." % (path, e))
        if not np.all(np.isfinite(self.data)):
            self.data = np.nan_to_num(self.data, nan=0.0, posinf=0.0, neginf=0.0)

    def shots(self):
        """Index arrays of the shots, in order of first appearance. A file
        whose every trace has a source of its own (a zero-offset section of
        vertical incidence) is one shot."""
        keys = list(zip(self.sx, self.sy, self.shot_id))
        order, groups = [], {}
        for i, k in enumerate(keys):
            if k not in groups:
                groups[k] = []
                order.append(k)
            groups[k].append(i)
        if len(order) == len(keys) and len(keys) > 1:
            return [np.arange(len(keys))]
        return [np.asarray(groups[k]) for k in order]


class Cube:
    """A cube of one trace a column (3-D snapshot, time field, model):
    values[iy, ix, iz] on the sorted distinct receiver x and y of the traces."""

    def __init__(self, path, shot):
        t = Traces(path)
        self.path = path
        # Columns stand where kelvo reads them in a model: at the receiver, at
        # the CDP when all receivers share one point, else at crossline (x)
        # and inline (y) numbers.
        self.xlabel, self.ylabel = "x (m)", "y (m)"
        if t.data.shape[0] > 1 and np.ptp(t.rx) == 0 and np.ptp(t.ry) == 0:
            if np.ptp(t.cdpx) > 0 or np.ptp(t.cdpy) > 0:
                t.rx, t.ry = t.cdpx, t.cdpy
            else:
                t.rx, t.ry = t.crossline, t.inline
                self.xlabel, self.ylabel = "Crossline", "Inline"
        # A merged file of time fields holds one cube a shot, one after
        # another: its columns stand more than once.
        columns = np.unique(np.column_stack([np.round(t.rx, 3), np.round(t.ry, 3)]), axis=0)
        shots = t.shots() if len(columns) < t.data.shape[0] else [np.arange(t.data.shape[0])]
        if not 1 <= shot <= len(shots):
            raise PlotError("'%s' holds %d cube(s); there is no cube of shot %d." % (path, len(shots), shot))
        idx = shots[shot - 1]
        rx, ry = np.round(t.rx[idx], 3), np.round(t.ry[idx], 3)
        xs, ys = np.unique(rx), np.unique(ry)
        if len(xs) * len(ys) != idx.size or len(xs) < 2 or len(ys) < 2 or t.samples.size < 2:
            raise PlotError("'%s' is no cube: %d traces of %d samples stand at %d x and %d y positions." %
                            (path, idx.size, t.samples.size, len(xs), len(ys)))
        self.nshots = len(shots)
        self.x, self.y, self.z = xs, ys, t.samples
        self.values = np.full((len(ys), len(xs), len(t.samples)), np.nan)
        self.values[np.searchsorted(ys, ry), np.searchsorted(xs, rx), :] = t.data[idx]
        self.source = (t.sx[idx[0]], t.sy[idx[0]], t.source_depth[idx[0]])


def read_survey(path):
    """Shot and receiver positions (two arrays of x, y, z rows) of a text
    survey or of a SEG-Y gather."""
    if path.lower().endswith((".sgy", ".segy")):
        t = Traces(path)
        shots = np.unique(np.column_stack([t.sx, t.sy, t.source_depth]), axis=0)
        return shots, np.column_stack([t.rx, t.ry, np.zeros_like(t.rx)])
    rows = []
    try:
        with open(path) as f:
            for line in f:
                words = line.split("#", 1)[0].split()
                if words:
                    rows.append([float(w) for w in words[:6]])
    except (OSError, UnicodeDecodeError, ValueError) as e:
        raise PlotError("Unable to read the survey '%s': %s." % (path, e))
    if not rows or min(len(r) for r in rows) < 6:
        raise PlotError("The survey '%s' has no lines of source x y z and receiver x y z." % path)
    a = np.asarray(rows)
    return np.unique(a[:, 0:3], axis=0), a[:, 3:6]
