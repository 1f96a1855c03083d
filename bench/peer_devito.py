#!/usr/bin/env python3
"""Our host steps against Devito's, on the same grid, steps and threads.

Runs Devito's 4th-order acoustic operator (second-order wave equation with
its own damping layer) and bench_acoustic --peer back to back, and with
--elastic also Devito's staggered velocity-stress elastic operator against
bench_elastic --peer. Prints points/s of each (every grid point of the n^3
grid counted, as Devito counts them) and our ratio to Devito's.

Devito lives in a venv of its own, never in the tests: --install creates it
(python -m venv, pip install devito). Tooling only; needs network for pip.

Usage: peer_devito.py [--build DIR] [--venv DIR] [--install] [--grid N]
                      [--steps S] [--threads 1,2] [--elastic] [--pass K]
"""
import argparse
import os
import re
import subprocess
import sys

# The Devito side, run by the venv's interpreter: sys.argv = kind n steps.
DEVITO_SCRIPT = r"""
import sys, time
import numpy as np
from devito import (Grid, TimeFunction, Function, VectorTimeFunction, TensorTimeFunction,
                    Eq, Operator, solve, div, grad, diag, configuration)
configuration['log-level'] = 'ERROR'
kind, n, steps = sys.argv[1], int(sys.argv[2]), int(sys.argv[3])
nb = 20  # damping layer, inside the grid as our PML is
h = 10.0
grid = Grid(shape=(n, n, n), extent=((n - 1) * h,) * 3)
damp = Function(name='damp', grid=grid)
d = np.zeros(n, dtype=np.float32)
r = np.arange(nb, dtype=np.float32)
d[:nb] = ((nb - r) / nb) ** 2
d[-nb:] = d[:nb][::-1]
damp.data[:] = 0.02 * (d[:, None, None] + d[None, :, None] + d[None, None, :])
if kind == 'acoustic':
    vp = 3.0  # km/s
    dt = 0.4 * h / (vp * 1000.0 * np.sqrt(3.0)) * 1000.0  # ms, as our step
    m = Function(name='m', grid=grid)
    m.data[:] = 1.0 / vp ** 2
    u = TimeFunction(name='u', grid=grid, time_order=2, space_order=4)
    u.data[:, n // 2, n // 2, n // 2] = 1.0
    pde = m * u.dt2 - u.laplace + damp * u.dt
    op = Operator([Eq(u.forward, solve(pde, u.forward))])
    args = dict(dt=np.float32(dt))
else:
    vp, vs, rho = 3.0, 1.7, 2.0
    dt = np.float32(0.4 * h / (vp * 1000.0 * np.sqrt(3.0)) * 1000.0)
    lam = Function(name='lam', grid=grid)
    mu = Function(name='mu', grid=grid)
    b = Function(name='b', grid=grid)
    lam.data[:] = rho * (vp ** 2 - 2 * vs ** 2)
    mu.data[:] = rho * vs ** 2
    b.data[:] = 1.0 / rho
    v = VectorTimeFunction(name='v', grid=grid, space_order=4, time_order=1)
    tau = TensorTimeFunction(name='t', grid=grid, space_order=4, time_order=1)
    s = grid.stepping_dim.spacing
    u_v = Eq(v.forward, (1 - damp) * (v + s * b * div(tau)))
    e = grad(v.forward) + grad(v.forward).transpose(inner=False)
    u_t = Eq(tau.forward, (1 - damp) * (tau + s * lam * diag(div(v.forward)) + s * mu * e))
    op = Operator([u_v, u_t])
    args = dict(dt=dt)
op.apply(time_m=0, time_M=1, **args)  # compiles the operator
t0 = time.perf_counter()
op.apply(time_m=0, time_M=steps - 1, **args)
t = time.perf_counter() - t0
print('devito %s %d^3 steps %d: %.3f s, %.1f Mpoints/s' % (kind, n, steps, t, n ** 3 * steps / t / 1e6))
"""


def run(cmd, env=None):
    out = subprocess.run(cmd, env=env, check=True, capture_output=True, text=True).stdout
    m = re.search(r"([0-9.]+) Mpoints/s", out)
    if not m:
        sys.exit("no rate in the output of %s:\n%s" % (" ".join(cmd), out))
    return out.strip().splitlines()[-1], float(m.group(1))


def main():
    here = os.path.dirname(os.path.abspath(__file__))
    ap = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    ap.add_argument("--build", default=os.path.join(here, "..", "build"), help="build directory of the benches")
    ap.add_argument("--venv", default=os.path.join(here, "..", "build", "venv-devito"), help="Devito's venv")
    ap.add_argument("--install", action="store_true", help="create the venv and pip install devito")
    ap.add_argument("--grid", type=int, default=256)
    ap.add_argument("--steps", type=int, default=50)
    ap.add_argument("--threads", default="1,2")
    ap.add_argument("--elastic", action="store_true", help="also the elastic operators")
    ap.add_argument("--pass", dest="npass", type=int, default=2, help="time steps a pass of ours (1: fused steps)")
    a = ap.parse_args()
    py = os.path.join(a.venv, "bin", "python")
    if a.install and not os.path.exists(py):
        subprocess.run([sys.executable, "-m", "venv", a.venv], check=True)
        subprocess.run([py, "-m", "pip", "install", "-q", "devito"], check=True)
    if not os.path.exists(py):
        sys.exit("no Devito venv at %s: run with --install" % a.venv)
    kinds = ["acoustic"] + (["elastic"] if a.elastic else [])
    for kind in kinds:
        bench = os.path.join(a.build, "bench_" + kind)
        for t in [int(x) for x in a.threads.split(",")]:
            env = dict(os.environ, OMP_NUM_THREADS=str(t), DEVITO_LANGUAGE="openmp", DEVITO_ARCH="gcc")
            # Ours, theirs, ours: the better of our two runs brackets theirs in time.
            ours_cmd = [bench, "--peer", str(a.grid), str(a.steps), str(t), str(a.npass)]
            l1, r1 = run(ours_cmd, env)
            ld, rd = run([py, "-c", DEVITO_SCRIPT, kind, str(a.grid), str(a.steps)], env)
            l2, r2 = run(ours_cmd, env)
            ours = max(r1, r2)
            print(l1 if r1 >= r2 else l2)
            print("%s threads %d" % (ld, t))
            print("ratio kelvo/devito %s, %d thread(s): %.2f" % (kind, t, ours / rd))
            sys.stdout.flush()


if __name__ == "__main__":
    main()
