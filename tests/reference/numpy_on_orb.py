"""numpy and scipy on whatever BLAS the dynamic linker gives them.

    python3 numpy_on_orb.py OUT.npz [REFERENCE.npz] [--expect LIBRARY]

Computes products with numpy.dot (real and complex, both precisions),
solves with numpy.linalg.solve and factors with scipy.linalg.lu, checks
each result by a residual of its own, and saves them to OUT.npz. With
REFERENCE.npz (written by this script on another BLAS) every result must
agree with that one within rounding. With --expect, LIBRARY (such as
liborb_core.so.2) must be mapped into this process and no other BLAS may
be: the results then really come from it.

Exit status 0 when every check holds, 1 otherwise.
"""
import sys

import numpy as np
import scipy.linalg

failures = []


def check(name, ok, detail):
    print("%-14s %s %s" % (name, "ok  " if ok else "FAIL", detail))
    if not ok:
        failures.append(name)


def mapped():
    with open("/proc/self/maps") as f:
        return sorted({line.split()[-1] for line in f if "/" in line.split()[-1]})


def main(argv):
    expect = None
    if "--expect" in argv:
        i = argv.index("--expect")
        expect = argv[i + 1]
        argv = argv[:i] + argv[i + 2:]
    out = argv[1]
    reference = np.load(argv[2]) if len(argv) > 2 else None
    rng = np.random.default_rng(20261122)
    results = {}

    for dtype in (np.float64, np.float32, np.complex128, np.complex64):
        for m, n, k in ((300, 250, 200), (7, 5, 3), (1, 400, 130)):
            a = rng.standard_normal((m, k))
            b = rng.standard_normal((k, n))
            if np.iscomplexobj(dtype(0)):
                a = a + 1j * rng.standard_normal((m, k))
                b = b + 1j * rng.standard_normal((k, n))
            a, b = a.astype(dtype), b.astype(dtype)
            c = np.dot(a, b)
            exact = np.dot(a.astype(np.clongdouble), b.astype(np.clongdouble))
            eps = np.finfo(dtype).eps
            bound = 4 * k * eps * np.dot(np.abs(a).astype(np.longdouble), np.abs(b).astype(np.longdouble))
            name = "dot.%s.%dx%dx%d" % (np.dtype(dtype).name, m, n, k)
            check(name, bool(np.all(np.abs(c - exact) <= bound)), "")
            results[name] = c

    n = 300
    a = rng.standard_normal((n, n)) + n ** 0.5 * np.eye(n)
    b = rng.standard_normal((n, 4))
    x = np.linalg.solve(a, b)
    r = np.abs(a @ x - b).max() / (np.abs(a).sum(axis=1).max() * np.abs(x).max() * n * np.finfo(float).eps)
    check("solve", r < 30, "residual %.3f" % r)
    results["solve"] = x

    a = rng.standard_normal((250, 200))
    p, l, u = scipy.linalg.lu(a)
    r = np.abs(p @ l @ u - a).max() / (np.abs(a).max() * 250 * np.finfo(float).eps)
    check("lu", r < 30, "residual %.3f" % r)
    results["lu.p"], results["lu.l"], results["lu.u"] = p, l, u

    za = rng.standard_normal((160, 160)) + 1j * rng.standard_normal((160, 160))
    p, l, u = scipy.linalg.lu(za)
    r = np.abs(p @ l @ u - za).max() / (np.abs(za).max() * 160 * np.finfo(float).eps)
    check("lu.complex", r < 30, "residual %.3f" % r)
    results["zlu.l"], results["zlu.u"] = l, u

    if reference is not None:
        for name, value in results.items():
            want = reference[name]
            scale = max(float(np.abs(want).max()), 1e-300)
            tol = 1e-4 if value.dtype in (np.float32, np.complex64) else 1e-10
            diff = float(np.abs(value - want).max()) / scale
            check("agree." + name, value.shape == want.shape and diff <= tol, "%.2e" % diff)

    if expect is not None:
        libs = mapped()
        check("loaded", any(lib.endswith("/" + expect) for lib in libs), expect)
        blas_dir = [lib.rsplit("/", 1)[0] for lib in libs if lib.endswith("/" + expect)]
        # Shared libraries named like a BLAS (libblas, libcblas, libopenblas,
        # libblis, libmkl_*) must all be orb's own, beside the expected one.
        foreign = [lib for lib in libs
                   if lib.rsplit("/", 1)[-1].startswith("lib")
                   and any(w in lib.rsplit("/", 1)[-1] for w in ("blas", "blis", "mkl"))
                   and not any(lib.startswith(d + "/") for d in blas_dir)]
        check("no other BLAS", not foreign, " ".join(foreign))

    np.savez(out, **results)
    print("all checks passed" if not failures else "FAILED: " + " ".join(failures))
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
