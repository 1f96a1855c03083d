#!/usr/bin/python3
"""Compares two 2-D snapshot files of the same shots sampled at different
steps: at every point both sample (x and z positions on both grids), every
frame and component must agree. Exit 0 when they do, 1 with a message.
Standard library only."""
import array
import struct
import sys

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
        a = array.array("f")
        a.frombytes(data[pos + HDR:pos + HDR + 4 * count])
        if sys.byteorder != "little":
            a.byteswap()
        # value of frame f, z index k, x index i, component j
        at = lambda f, k, i, j, a=a, n=n, nc=nc: a[((f * n[1] + k) * n[0] + i) * nc + j]
        out.append(([x0 + dx * i for i in range(n[0])], [z0 + dz * k for k in range(n[1])], n[2] * n[3], nc, at))
        pos += HDR + 4 * count
    return out


def common(u, v):
    pairs = []
    for i, p in enumerate(u):
        for j, q in enumerate(v):
            if abs(p - q) < 1e-3:
                pairs.append((i, j))
                break
    return pairs


a, b = sections(sys.argv[1]), sections(sys.argv[2])
if len(a) != len(b) or not a:
    sys.exit("sections: %d against %d" % (len(a), len(b)))
for s, ((xa, za, fa, ca, va), (xb, zb, fb, cb, vb)) in enumerate(zip(a, b)):
    px, pz = common(xa, xb), common(za, zb)
    if len(px) < 2 or len(pz) < 2 or fa != fb or ca != cb:
        sys.exit("section %d: %d x and %d z positions in common, frames %d and %d" % (s, len(px), len(pz), fa, fb))
    pa, pb = [], []
    for f in range(fa):
        for (ka, kb) in pz:
            for (ia, ib) in px:
                for j in range(ca):
                    pa.append(va(f, ka, ia, j))
                    pb.append(vb(f, kb, ib, j))
    scale = max(max(abs(v) for v in pa), 1e-30)
    err = max(abs(p - q) for p, q in zip(pa, pb)) / scale
    if not any(pa) or err > 1e-5:
        sys.exit("section %d: largest difference %.3g of the largest value" % (s, err))
print("%d sections agree at their common points" % len(a))
