#!/usr/bin/python3
"""Compares two 2-D snapshot files of the same shots sampled at different
steps: at every point both sample (x and z positions on both grids), every
frame and component must agree. Exit 0 when they do, 1 with a message."""
import struct
import sys

import numpy as np

HDR = 296


def sections(path):
    data = open(path, "rb").read()
    pos, out = 0, []
    while pos + HDR <= len(data):
        h = data[pos:pos + HDR]
        x0, _, dx = struct.unpack_from("<3f", h, 132)
        z0, _, dz = struct.unpack_from("<3f", h, 148)
        n = struct.unpack_from("<4i", h, 196)
        nc = struct.unpack_from("<i", h, 244)[0]
        count = nc * n[0] * n[1] * n[2] * n[3]
        a = np.frombuffer(data, "<f4", count, pos + HDR).reshape(n[3] * n[2], n[1], n[0], nc)
        out.append((x0 + dx * np.arange(n[0]), z0 + dz * np.arange(n[1]), a))
        pos += HDR + 4 * count
    return out


def common(u, v):
    iu, iv = [], []
    for i, p in enumerate(u):
        j = np.nonzero(np.abs(v - p) < 1e-3)[0]
        if len(j):
            iu.append(i)
            iv.append(j[0])
    return np.array(iu), np.array(iv)


a, b = sections(sys.argv[1]), sections(sys.argv[2])
if len(a) != len(b) or not a:
    sys.exit("sections: %d against %d" % (len(a), len(b)))
for k, ((xa, za, fa), (xb, zb, fb)) in enumerate(zip(a, b)):
    ix, jx = common(xa, xb)
    iz, jz = common(za, zb)
    if len(ix) < 2 or len(iz) < 2 or fa.shape[0] != fb.shape[0]:
        sys.exit("section %d: %d x and %d z positions in common, frames %d and %d" %
                 (k, len(ix), len(iz), fa.shape[0], fb.shape[0]))
    pa, pb = fa[:, iz][:, :, ix], fb[:, jz][:, :, jx]
    scale = max(np.abs(pa).max(), 1e-30)
    err = np.abs(pa - pb).max() / scale
    if not np.any(pa) or err > 1e-5:
        sys.exit("section %d: largest difference %.3g of the largest value" % (k, err))
print("%d sections agree at their common points" % len(a))
