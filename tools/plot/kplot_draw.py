"""The pictures of kelvo_plot. run(args) draws what the command line asks
and yields (PNG path, description of its axes) for each file written."""
import math
import os

import matplotlib.pyplot as plt
import numpy as np

from kplot_files import Cube, PlotError, Traces, read_survey, read_zpl

DPI = 100


def figure(args, pixels=None):
    w, h = pixels or args.pixels
    return plt.figure(figsize=(w / DPI, h / DPI), dpi=DPI, layout="constrained")


def save(fig, path):
    try:
        fig.savefig(path, dpi=DPI)
    except OSError as e:
        raise PlotError("Unable to write '%s': %s." % (path, e.strerror or e))
    finally:
        plt.close(fig)
    return path


def default_output(args, suffix=""):
    if args.output:
        return args.output
    return os.path.splitext(args.file)[0] + suffix + ".png"


def clip_of(values, percentile):
    """Symmetric clip of wave amplitudes; 1 for a silent panel."""
    a = np.abs(values[np.isfinite(values)])
    c = float(np.percentile(a, percentile)) if a.size else 0.0
    if c <= 0:
        c = float(a.max()) if a.size else 0.0
    return c if c > 0 else 1.0


def describe(ax):
    (x0, x1), (y0, y1) = ax.get_xlim(), ax.get_ylim()
    return 'x axis "%s" %.4g..%.4g, y axis "%s" %.4g..%.4g' % (ax.get_xlabel(), x0, x1, ax.get_ylabel(), y0, y1)


def edges(c):
    """Cell edges around centres c (monotonic; one centre gets a unit cell)."""
    c = np.asarray(c, dtype=np.float64)
    if c.size == 1:
        return np.array([c[0] - 0.5, c[0] + 0.5])
    mid = 0.5 * (c[1:] + c[:-1])
    return np.concatenate([[2 * c[0] - mid[0]], mid, [2 * c[-1] - mid[-1]]])


def monotonic(v):
    d = np.diff(v)
    return v.size > 1 and (np.all(d > 0) or np.all(d < 0))


# ---------------------------------------------------------------- gathers


def gather_axis(t, idx):
    """Horizontal axis of a shot: offset, else receiver x, else trace number."""
    if monotonic(t.offset[idx]):
        return t.offset[idx], "Offset (m)"
    if monotonic(t.rx[idx]):
        return t.rx[idx], "Receiver x (m)"
    return np.arange(1, idx.size + 1, dtype=np.float64), "Trace"


def plot_gather(args):
    t = Traces(args.file)
    shots = t.shots()
    if not 1 <= args.shot <= len(shots):
        raise PlotError("'%s' holds %d shot(s); there is no shot %d." % (args.file, len(shots), args.shot))
    idx = shots[args.shot - 1]
    data = t.data[idx]
    # Sample positions of a gather are in milliseconds; the picture is in seconds.
    times = t.samples / 1000.0
    if args.gain:
        # Makes up for the spreading of the wavefront: late arrivals show.
        data = data * np.maximum(times, 0.0) ** args.gain
    x, xlabel = gather_axis(t, idx)
    clip = clip_of(data, args.clip)
    fig = figure(args)
    ax = fig.add_subplot(1, 1, 1)
    if args.style == "wiggle":
        step = np.median(np.abs(np.diff(x))) if x.size > 1 else 1.0
        for xi, tr in zip(x, np.clip(data, -clip, clip) / clip * step * 0.9):
            ax.plot(xi + tr, times, color="black", linewidth=0.5)
            ax.fill_betweenx(times, xi, xi + tr, where=tr > 0, color="black", linewidth=0)
        ax.set_xlim(x.min() - step, x.max() + step)
        ax.set_ylim(times[-1], times[0])
    else:
        order = np.argsort(x)
        mesh = ax.pcolormesh(edges(x[order]), edges(times), data[order].T, cmap=args.cmap or "gray_r",
                             vmin=-clip, vmax=clip, shading="flat")
        ax.set_ylim(times[-1] + 0.5 * (times[-1] - times[-2] if times.size > 1 else 0), times[0])
        fig.colorbar(mesh, ax=ax, label="amplitude (clipped at %.3g)" % clip)
    ax.set_xlabel(xlabel)
    ax.set_ylabel("Time (s)")
    shot = "shot %d of %d" % (args.shot, len(shots))
    if t.shot_id[idx[0]] > 0 and len(shots) > 1:
        shot += " (id %d)" % t.shot_id[idx[0]]
    gain = ", gain t^%g" % args.gain if args.gain else ""
    ax.set_title("%s: %s, %d traces%s" % (os.path.basename(args.file), shot, idx.size, gain), fontsize=10)
    text = describe(ax)
    yield save(fig, default_output(args)), text


# -------------------------------------------------------------- snapshots


def section_axes(sec):
    """Extents and labels of a ZPL section's picture (columns, rows)."""
    x0, x1, dx = sec.axis1
    z0, z1, dz = sec.axis2
    ylabel = "Time (s)" if sec.axes[1:2] == "T" else "Depth (m)"
    # Samples stand at the centres of the picture's cells.
    return (x0 - 0.5 * dx, x1 + 0.5 * dx, z1 + 0.5 * dz, z0 - 0.5 * dz), "x (m)", ylabel


def draw_frame(ax, sec, f, comp, args):
    plane = sec.data[f, :, :, comp]
    clip = clip_of(plane, args.clip)
    extent, xlabel, ylabel = section_axes(sec)
    im = ax.imshow(plane, extent=extent, aspect="equal", cmap=args.cmap or "seismic", vmin=-clip, vmax=clip,
                   interpolation="bilinear")
    if extent[0] <= sec.source_x <= extent[1]:
        # The header gives the shot's x only: a mark above the section.
        ax.plot([sec.source_x], [extent[3]], marker="v", color="gold", markeredgecolor="black", markersize=9,
                clip_on=False)
    ax.set_xlabel(xlabel)
    ax.set_ylabel(ylabel)
    return im


def plot_snapshot(args):
    sections = read_zpl(args.file)
    if not 1 <= args.section <= len(sections):
        raise PlotError("'%s' holds %d section(s); there is no section %d." % (args.file, len(sections), args.section))
    sec = sections[args.section - 1]
    letter = (args.component or sec.letters[0]).upper()
    if letter not in sec.letters:
        raise PlotError("'%s' has the components %s, not %s." % (args.file, sec.letters, letter))
    comp = sec.letters.index(letter)
    nframes = sec.data.shape[0]
    times = sec.frame_times()
    frames = range(nframes)
    if args.frame is not None:
        if not 1 <= args.frame <= nframes:
            raise PlotError("'%s' holds %d frame(s); there is no frame %d." % (args.file, nframes, args.frame))
        frames = [args.frame - 1]
    name = os.path.basename(args.file)
    tag = "" if len(sections) == 1 else "-s%d" % args.section
    if args.sheet:
        yield from plot_sheet(args, sec, frames, comp, letter, times, name, tag)
        return
    for f in frames:
        fig = figure(args)
        ax = fig.add_subplot(1, 1, 1)
        im = draw_frame(ax, sec, f, comp, args)
        fig.colorbar(im, ax=ax, label=letter, shrink=0.8)
        ax.set_title("%s: %s at t = %.3f s (frame %d of %d)" % (name, letter, times[f], f + 1, nframes), fontsize=10)
        text = describe(ax)
        if args.output and len(frames) > 1:
            out = "%s-%03d.png" % (os.path.splitext(args.output)[0], f + 1)
        elif args.output:
            out = args.output
        else:
            out = default_output(args, "%s-%03d" % (tag, f + 1))
        yield save(fig, out), text


def plot_sheet(args, sec, frames, comp, letter, times, name, tag):
    n = len(frames)
    cols = min(n, max(1, int(math.ceil(math.sqrt(n * 1.5)))))
    rows = int(math.ceil(n / cols))
    pixels = args.pixels
    if not args.size:
        # Panels keep the section's shape; room for titles and axes.
        x0, x1, z1, z0 = section_axes(sec)[0]
        w = pixels[0]
        pixels = (w, min(10000, int(rows * ((w / cols - 40) * (z1 - z0) / max(x1 - x0, 1e-9) + 70) + 40)))
    fig = figure(args, pixels)
    text = ""
    for k, f in enumerate(frames):
        ax = fig.add_subplot(rows, cols, k + 1)
        draw_frame(ax, sec, f, comp, args)
        ax.set_title("t = %.3f s" % times[f], fontsize=9)
        ax.tick_params(labelsize=7)
        if k:
            ax.set_xlabel("")
            ax.set_ylabel("")
        else:
            text = describe(ax)
    fig.suptitle("%s: %s, %d frame(s), each clipped at its %g-th percentile" % (name, letter, n, args.clip),
                 fontsize=10)
    yield save(fig, default_output(args, tag)), text


# ------------------------------------------------------- cubes and models


def nearest(axis, value, default):
    v = default if value is None else value
    return int(np.argmin(np.abs(axis - v)))


def slice_indices(cube, args, centre):
    cx, cy, cz = centre
    ix = nearest(cube.x, args.x, cx if cube.x[0] <= cx <= cube.x[-1] else 0.5 * (cube.x[0] + cube.x[-1]))
    iy = nearest(cube.y, args.y, cy if cube.y[0] <= cy <= cube.y[-1] else 0.5 * (cube.y[0] + cube.y[-1]))
    iz = nearest(cube.z, args.z, cz)
    return ix, iy, iz


def draw_slices(fig, cube, ix, iy, iz, style, label, args):
    """Three panels: x-z at y, y-z at x, x-y at z. style: wave, time or model."""
    v = cube.values
    finite = v[np.isfinite(v)]
    if style == "wave":
        clip = clip_of(v, args.clip)
        kw = dict(cmap=args.cmap or "seismic", vmin=-clip, vmax=clip)
    else:
        lo, hi = (float(finite.min()), float(finite.max())) if finite.size else (0.0, 1.0)
        kw = dict(cmap=args.cmap or ("viridis" if style == "model" else "turbo"), vmin=lo, vmax=hi or 1.0)
    # Samples stand at the centres of the picture's cells.
    x, y, z = edges(cube.x), edges(cube.y), edges(cube.z)
    xl, yl = cube.xlabel, cube.ylabel
    metres = xl == "x (m)"
    at = (lambda a, v: "%s = %g m" % (a, v)) if metres else (lambda a, v: "%s %g" % (a, v))
    panels = [(v[iy, :, :].T, (x[0], x[-1], z[-1], z[0]), xl, "Depth (m)", at(yl.split()[0], cube.y[iy])),
              (v[:, ix, :].T, (y[0], y[-1], z[-1], z[0]), yl, "Depth (m)", at(xl.split()[0], cube.x[ix])),
              (v[:, :, iz], (x[0], x[-1], y[0], y[-1]), xl, yl, "depth %g m" % cube.z[iz])]
    # Panels as wide as their horizontal extents, so that all share one scale.
    grid = fig.add_gridspec(1, 3, width_ratios=[x[-1] - x[0], y[-1] - y[0], x[-1] - x[0]] if metres else None)
    axes = []
    for k, (plane, extent, xl, yl, title) in enumerate(panels):
        ax = fig.add_subplot(grid[0, k])
        im = ax.imshow(plane, extent=extent, aspect="equal" if metres else "auto", origin="upper" if k < 2 else "lower",
                       interpolation="nearest", **kw)
        ax.set_xlabel(xl)
        ax.set_ylabel(yl)
        ax.set_title(title, fontsize=9)
        axes.append(ax)
    fig.colorbar(im, ax=axes, label=label, shrink=0.8)
    return axes


def plot_cube(args):
    cube = Cube(args.file, args.shot)
    name = os.path.basename(args.file)
    timefield = "+Time3D" in name
    sx, sy, sz = cube.source
    ix, iy, iz = slice_indices(cube, args, (sx, sy, 0.5 * (cube.z[0] + cube.z[-1])))
    if timefield:
        # Unreached cells hold no positive time.
        cube.values = np.where(cube.values > 0, cube.values, np.nan)
    fig = figure(args)
    axes = draw_slices(fig, cube, ix, iy, iz, "time" if timefield else "wave",
                       "first-arrival time (s)" if timefield else "amplitude", args)
    if timefield:
        for ax, (plane, ext) in zip(axes, [(cube.values[iy, :, :].T, (cube.x, cube.z)),
                                           (cube.values[:, ix, :].T, (cube.y, cube.z)),
                                           (cube.values[:, :, iz], (cube.x, cube.y))]):
            if np.isfinite(plane).sum() > 4 and np.nanmax(plane) > np.nanmin(plane):
                ax.contour(ext[0], ext[1], plane, levels=8, colors="white", linewidths=0.6)
    fig.suptitle(name, fontsize=10)
    yield save(fig, default_output(args)), "; ".join(describe(a) for a in axes)


def plot_model(args):
    cube = Cube(args.file, 1)
    name = os.path.basename(args.file)
    survey = args.survey or os.path.join(os.path.dirname(os.path.abspath(args.file)), "survey.txt")
    shots = receivers = None
    if args.survey or os.path.isfile(survey):
        shots, receivers = read_survey(survey)
    centre = (0.5 * (cube.x[0] + cube.x[-1]), 0.5 * (cube.y[0] + cube.y[-1]), 0.5 * (cube.z[0] + cube.z[-1]))
    if shots is not None:
        centre = (shots[len(shots) // 2][0], shots[len(shots) // 2][1], centre[2])
    ix, iy, iz = slice_indices(cube, args, centre)
    fig = figure(args)
    stem = os.path.splitext(name)[0]
    axes = draw_slices(fig, cube, ix, iy, iz, "model", stem + (" (m/s)" if stem in ("vp", "vs") else ""), args)
    if shots is not None:
        # Sections show every point projected onto them; the map shows all.
        for ax, (a, b) in zip(axes, [(0, 2), (1, 2), (0, 1)]):
            ax.plot(receivers[:, a], receivers[:, b], "v", color="white", markeredgecolor="black", markersize=4,
                    linestyle="none", label="receivers")
            ax.plot(shots[:, a], shots[:, b], "*", color="red", markeredgecolor="black", markersize=11,
                    linestyle="none", label="shots")
        axes[2].legend(loc="upper right", fontsize=7)
    fig.suptitle("%s%s" % (name, "" if shots is None else ", survey " + os.path.basename(survey)), fontsize=10)
    yield save(fig, default_output(args)), "; ".join(describe(a) for a in axes)


def run(args):
    return {"gather": plot_gather, "snapshot": plot_snapshot, "cube": plot_cube, "model": plot_model}[args.kind](args)
