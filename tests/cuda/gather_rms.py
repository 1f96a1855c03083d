#!/usr/bin/env python3
"""Compares two SEG-Y gathers of the same geometry (standard library only).

gather_rms.py A B [LIMIT]: prints the relative RMS difference of all samples,
the largest shift of the per-trace peak (samples) and the late-window energy
of each file relative to its peak (the level of boundary echoes); exit 1 when
the RMS difference is above LIMIT (default 1e-5) or a peak moves.
"""
import math
import struct
import sys


def ibm_to_float(b):
    (u,) = struct.unpack(">I", b)
    if u & 0x7FFFFFFF == 0:
        return 0.0
    sign = -1.0 if u >> 31 else 1.0
    return sign * (u & 0xFFFFFF) / float(1 << 24) * 16.0 ** (((u >> 24) & 0x7F) - 64)


def read(path):
    with open(path, "rb") as f:
        data = f.read()
    fmt = struct.unpack(">h", data[3224:3226])[0]
    ns = struct.unpack(">h", data[3220:3222])[0]
    traces, pos = [], 3600
    while pos + 240 + 4 * ns <= len(data):
        body = data[pos + 240 : pos + 240 + 4 * ns]
        if fmt == 5:
            traces.append(list(struct.unpack(">%df" % ns, body)))
        else:
            traces.append([ibm_to_float(body[4 * i : 4 * i + 4]) for i in range(ns)])
        pos += 240 + 4 * ns
    return traces


def main():
    a, b = read(sys.argv[1]), read(sys.argv[2])
    limit = float(sys.argv[3]) if len(sys.argv) > 3 else 1e-5
    if len(a) != len(b) or not a:
        print("FAIL: %d against %d traces" % (len(a), len(b)))
        return 1
    num = sum((x - y) ** 2 for ta, tb in zip(a, b) for x, y in zip(ta, tb))
    den = sum(x * x for ta in a for x in ta)
    rel = math.sqrt(num / den) if den > 0 else 0.0
    shift = max(abs(max(range(len(ta)), key=lambda i: abs(ta[i])) - max(range(len(tb)), key=lambda i: abs(tb[i])))
                for ta, tb in zip(a, b))

    def late(t):
        peak = max(abs(x) for tr in t for x in tr) or 1.0
        tail = [x for tr in t for x in tr[int(0.8 * len(tr)):]]
        return math.sqrt(sum(x * x for x in tail) / max(len(tail), 1)) / peak

    print("relative RMS difference %.3g, largest peak shift %d samples, late energy %.3g against %.3g"
          % (rel, shift, late(a), late(b)))
    return 0 if rel <= limit and shift == 0 else 1


if __name__ == "__main__":
    sys.exit(main())
