#!/usr/bin/env python3
"""Writes the DFT codelets: straight-line transforms of the lengths 1 to 64.

Output (checked in; `--check` only says whether the files on disk are stale):
  src/dft/codelets/bodies.hpp      one body per length, over the operations
                                   of src/dft/codelets/io.hpp
  src/dft/codelets/cdft_32fc.cpp   interleaved families and their tables,
  src/dft/codelets/cdft_64fc.cpp   one translation unit per precision
  src/dft/codelets/crdft_32f.cpp   split families and their tables
  src/dft/codelets/crdft_64f.cpp
  src/dft/codelets/smallradix_direct.cpp  the smallradix lengths that have
                                   no body (DIRECT below) and the tables
  src/frame/dft_codelets.def       the codelets' exported names and signatures
                                   (src/frame/kernels_dft.def includes it)

How a body is made: a length of 1, 2 or 4 is a butterfly; a prime p takes
the symmetric form (sums and differences of x_j and x_{p-j}, then for each
pair of outputs k, p-k one chain of fused multiply-adds with the cosines and
one with the sines); any other length N = P * Q is split, by the prime-factor
mapping when P and Q are coprime (no twiddles), else by one Cooley-Tukey
step with its twiddles as constants. Every body is checked here against a
plain DFT before it is written.
"""
import math
import pathlib
import random
import sys
from fractions import Fraction

ROOT = pathlib.Path(__file__).resolve().parent.parent
CODELETS = ROOT / "src" / "dft" / "codelets"
DEF = ROOT / "src" / "frame" / "dft_codelets.def"

CDFT = [3, 5, 6, 7, 9, 10, 11, 12, 13, 14, 15]  # cDFT / crDFT lengths
CFFT = [4, 8, 16, 32]  # cFFT / crFFT lengths beside 1 and 2
TABLE = list(range(1, 17)) + [32]  # lengths the batch tables hold
SMALLRADIX = range(2, 65)
# smallradix lengths with a straight-line body beside the table lengths: the
# products of small factors, cheap to compile. The others take the direct
# method, whose constants the generator writes instead: bodies of them all
# would cost a minute of compile time per build (the primes from 17 up are
# quadratic in length, and so is every multiple of them).
SMALLRADIX_BODIES = TABLE + [18, 20, 24, 28, 30, 36, 40, 48, 64]
DIRECT = [n for n in SMALLRADIX if n not in SMALLRADIX_BODIES]
LEGACY_REAL = [2, 4, 8, 16, 32, 64]
LEGACY_COMPLEX = [2, 4]


def is_prime(n):
    return n > 1 and all(n % d for d in range(2, int(n ** 0.5) + 1))


def cis(e, n):
    """cos and sin of 2 pi e / n, reduced to the first octant so that
    symmetric angles give exactly symmetric values."""
    f = Fraction(e % n, n)
    q = int(f * 4)
    r = f - Fraction(q, 4)
    if r > Fraction(1, 8):
        a = 2 * math.pi * float(Fraction(1, 4) - r)
        c0, s0 = math.sin(a), math.cos(a)
    else:
        a = 2 * math.pi * float(r)
        c0, s0 = math.cos(a), math.sin(a)
    return [(c0, s0), (-s0, c0), (-c0, -s0), (s0, -c0)][q]


def lit(x):
    if x == 0:
        return "0.0"
    return repr(float(x))


class Body:
    """A straight-line program over abstract complex vectors, with its value
    on one random input alongside, to check it."""

    def __init__(self, n):
        self.n = n
        self.lines = []
        self.cache = {}
        self.value = {}
        rng = random.Random(n)
        self.x = [complex(rng.uniform(-1, 1), rng.uniform(-1, 1)) for _ in range(n)]
        self.ops = 0

    def _new(self, expr, v):
        if expr in self.cache:
            return self.cache[expr]
        name = "t%d" % len(self.cache)
        self.cache[expr] = name
        self.value[name] = v
        self.lines.append("const auto %s = %s;" % (name, expr))
        if not expr.startswith("io.ld"):
            self.ops += 1
        return name

    def ld(self, j):
        return self._new("io.ld(%d)" % j, self.x[j])

    def add(self, a, b):
        return self._new("Io::add(%s, %s)" % (a, b), self.value[a] + self.value[b])

    def sub(self, a, b):
        return self._new("Io::sub(%s, %s)" % (a, b), self.value[a] - self.value[b])

    def rot(self, a):
        v = self.value[a]
        return self._new("Io::rot(%s)" % a, complex(v.imag, v.real))

    def mul(self, a, e, o):
        v = self.value[a]
        return self._new("Io::template mul<%s, %s>(%s)" % (lit(e), lit(o), a), complex(v.real * e, v.imag * o))

    def fmul(self, a, e, o, acc):
        v = self.value[a]
        return self._new("Io::template fmul<%s, %s>(%s, %s)" % (lit(e), lit(o), a, acc),
                         complex(v.real * e, v.imag * o) + self.value[acc])

    def negi(self, a):
        return self._new("Io::negi(%s)" % a, self.value[a] * -1j)

    def posi(self, a):
        return self._new("Io::posi(%s)" % a, self.value[a] * 1j)

    def neg(self, a):
        return self._new("Io::neg(%s)" % a, -self.value[a])

    def addnegi(self, a, b):
        return self._new("Io::addnegi(%s, %s)" % (a, b), self.value[a] - 1j * self.value[b])

    def subnegi(self, a, b):
        return self._new("Io::subnegi(%s, %s)" % (a, b), self.value[a] + 1j * self.value[b])

    def twiddle(self, a, e, n):
        """a times exp(-2 pi i e / n)."""
        e %= n
        if e == 0:
            return a
        if 4 * e == n:
            return self.negi(a)
        if 2 * e == n:
            return self.neg(a)
        if 4 * e == 3 * n:
            return self.posi(a)
        c, s = cis(e, n)
        s = -s
        t = self.mul(self.rot(a), -s, s)
        return self.fmul(a, c, c, t)


def split(n):
    """(P, Q, coprime) for a composite n: the most balanced coprime pair if
    n has two distinct primes, else a Cooley-Tukey pair."""
    best = None
    for p in range(2, n):
        if n % p == 0 and math.gcd(p, n // p) == 1:
            if best is None or max(p, n // p) < max(best, n // best):
                best = p
    if best is not None:
        return best, n // best, True
    # A prime power: radix 4 first for powers of two, else the smallest
    # factor times the rest (9 = 3 x 3, 27 = 3 x 9, 8 = 2 x 4).
    if n & (n - 1) == 0:
        if n == 8:
            return 2, 4, False
        if n == 64:
            return 8, 8, False
        return 4, n // 4, False
    f = min(d for d in range(2, n) if n % d == 0)
    return f, n // f, False


def dft(b, xs):
    n = len(xs)
    if n == 1:
        return list(xs)
    if n == 2:
        return [b.add(xs[0], xs[1]), b.sub(xs[0], xs[1])]
    if n == 4:
        a, c = b.add(xs[0], xs[2]), b.add(xs[1], xs[3])
        s, d = b.sub(xs[0], xs[2]), b.sub(xs[1], xs[3])
        return [b.add(a, c), b.addnegi(s, d), b.sub(a, c), b.subnegi(s, d)]
    if is_prime(n):
        return prime(b, xs)
    p, q, coprime = split(n)
    out = [None] * n
    if coprime:
        # n = (n1 Q + n2 P) mod N, k = (k1 Q (Q^-1 mod P) + k2 P (P^-1 mod Q)) mod N
        qi, pi = pow(q, -1, p), pow(p, -1, q)
        inner = [dft(b, [xs[(n1 * q + n2 * p) % n] for n1 in range(p)]) for n2 in range(q)]
        for k1 in range(p):
            z = dft(b, [inner[n2][k1] for n2 in range(q)])
            for k2 in range(q):
                out[(k1 * q * qi + k2 * p * pi) % n] = z[k2]
    else:
        # n = Q p + q; X[k1 + P k2] = sum_q W_N^(q k1) W_Q^(q k2) sum_p x[Q p + q] W_P^(p k1)
        inner = [dft(b, [xs[q * i + j] for i in range(p)]) for j in range(q)]
        inner = [[b.twiddle(inner[j][k1], j * k1, n) for k1 in range(p)] for j in range(q)]
        for k1 in range(p):
            z = dft(b, [inner[j][k1] for j in range(q)])
            for k2 in range(q):
                out[k1 + p * k2] = z[k2]
    return out


def prime(b, xs):
    p = len(xs)
    m = (p - 1) // 2
    a = [b.add(xs[j], xs[p - j]) for j in range(1, m + 1)]
    d = [b.rot(b.sub(xs[j], xs[p - j])) for j in range(1, m + 1)]
    out = [None] * p
    s0 = xs[0]
    for j in range(m):
        s0 = b.add(s0, a[j])
    out[0] = s0
    for k in range(1, m + 1):
        r = xs[0]
        w = None
        for j in range(1, m + 1):
            c, s = cis(j * k, p)
            r = b.fmul(a[j - 1], c, c, r)
            # -i (x_j - x_{p-j}) sin: the rotated difference times (s, -s)
            w = b.mul(d[j - 1], s, -s) if w is None else b.fmul(d[j - 1], s, -s, w)
        out[k] = b.add(r, w)
        out[p - k] = b.sub(r, w)
    return out


def make_body(n):
    b = Body(n)
    xs = [b.ld(j) for j in range(n)]
    ys = dft(b, xs)
    for k, y in enumerate(ys):
        want = sum(b.x[j] * complex(*cis(-j * k, n)) for j in range(n))
        got = b.value[y]
        assert abs(got - want) < 1e-12 * n, (n, k, got, want)
    # An output that is an input unchanged (length 1) still goes through a
    # store: the body never stores before it has loaded everything.
    stores = ["io.st(%d, %s);" % (k, y) for k, y in enumerate(ys)]
    text = ["template <>", "struct body<%d> {" % n, "  template <class Io>",
            "  [[gnu::always_inline]] static void run(const Io& io) {"]
    text += ["    " + line for line in b.lines + stores]
    text += ["  }", "};", ""]
    return text, b.ops


# ---------------------------------------------------------------------------
# Names and signatures.

PREC = {"32": ("float", "32fc", "32f"), "64": ("double", "64fc", "64f")}


def cname(n, direction, prec):
    """Interleaved codelet name of length n; direction 'fwd' or 'inv'."""
    sfx = PREC[prec][1]
    if n in (1, 2):
        return "cFFT_%d_%s" % (n, sfx)
    fam = "cFFT" if n in CFFT else "cDFT"
    return "%s%s_%d_%s" % (fam, direction, n, sfx)


def crname(n, direction, prec):
    sfx = PREC[prec][2]
    if n in (1, 2):
        return "crFFT_%d_%s" % (n, sfx)
    fam = "crFFT" if n in CFFT else "crDFT"
    return "%s%s_%d_%s" % (fam, direction, n, sfx)


def vlname(n, direction, prec):
    return "%s%02d_%s" % ("f" if direction == "fwd" else "i", n, PREC[prec][1])


def il_params(t):
    return ("(const %s* src, int src_stride, %s* dst, int dst_stride, int count)" % (t, t),
            "(src, src_stride, dst, dst_stride, count)")


def sp_params(t):
    return ("(const %s* src_re, const %s* src_im, int src_stride, %s* dst_re, %s* dst_im, int count, int dst_stride)"
            % (t, t, t, t), "(src_re, src_im, src_stride, dst_re, dst_im, count, dst_stride)")


def vl_params(t):
    return ("(const %s* src, int src_stride, %s* dst, int dst_stride)" % (t, t), "(src, src_stride, dst, dst_stride)")


SR_PARAMS = ("(const double* src, double* dst, const double* scale)", "(src, dst, scale)")


def legacy_params(t):
    return ("(const %s* in, %s* out, const %s* scale)" % (t, t, t), "(in, out, scale)")


def interleaved_entries(prec):
    """(name, length, direction) of the interleaved codelets of one precision."""
    out = [(cname(1, "", prec), 1, "both"), (cname(2, "", prec), 2, "both")]
    for n in sorted(CDFT + CFFT):
        out += [(cname(n, d, prec), n, d) for d in ("fwd", "inv")]
    return out


def split_entries(prec):
    out = [(crname(1, "", prec), 1, "both"), (crname(2, "", prec), 2, "both")]
    for n in sorted(CDFT + CFFT):
        out += [(crname(n, d, prec), n, d) for d in ("fwd", "inv")]
    return out


def vl_entries(prec):
    return [(vlname(n, d, prec), n, d) for d in ("fwd", "inv") for n in TABLE]


HEADER = "// Generated by tools/gen_dft_codelets.py; do not edit.\n"


def render_def():
    lines = [
        "// DFT codelets: straight-line transforms of one fixed small length. One",
        "// line each:",
        "//   ORB_DFT(result, name, parameters, argument names)   a routine",
        "//   ORB_DFT_TABLE(element type, name, extents)          a table of routines",
        "// The kernel library exports orb_dft_<tag>_<name>; src/frame/kernels_dft.def",
        "// includes this list with the rest of the DFT kernels.",
        "// Generated by tools/gen_dft_codelets.py; do not edit.",
        "//",
        "// Interleaved (cFFT_1, cFFT_2, cFFTfwd_N, cFFTinv_N, cDFTfwd_N, cDFTinv_N):",
        "// count transforms side by side, 1 to 8 in single precision and 1 to 4 in",
        "// double (one 64-byte vector of complex values at each station); station j",
        "// of transform t is src[j * src_stride + t] in complex elements, and the",
        "// output likewise. Lanes past count are neither read nor written.",
        "// cFFT_1 and cFFT_2 serve both directions. Unscaled; inverse = exp(+i).",
        "//",
        "// Split (crFFT_1, crFFT_2, crFFT*_N, crDFT*_N): real and imaginary parts",
        "// in separate arrays, strides in elements of each, count 1 to 16 in single",
        "// precision and 1 to 8 in double (one vector of real parts per station).",
        "// The destination stride comes last, after count.",
        "//",
        "// Fixed width (fNN forward, iNN inverse, NN = 01 to 16 and 32): four",
        "// 128-bit units at each station (8 complex floats, 4 complex doubles),",
        "// strides in 128-bit units.",
        "//",
        "// smallradixDFT{Fwd,Inv}_CToC_N_64fc: one contiguous transform of N = 2 to",
        "// 64 complex doubles, every output times *scale; the third argument points",
        "// at the scale the caller keeps with its plan of the transform.",
        "//",
        "// xd_fN_1df / xd_fN_1db (double), xs_fN_1df / xs_fN_1db (single), N = 2 to",
        "// 64: a real transform of length N. Forward: N reals in, N/2 + 1 complex",
        "// values out (the conjugate-even half, N + 2 reals), times *scale.",
        "// Backward: N/2 + 1 complex values in (imaginary parts of the first and",
        "// last ignored), N reals out, times *scale. xc_fN_1df / xc_fN_1db, N = 2",
        "// and 4: one complex single-precision transform, times *scale. They",
        "// return 0. Input and output may be the same array, with the same strides,",
        "// in every codelet (a forward real one needs N + 2 reals there).",
        "//",
        "// Tables: BATCH_CDFT_* and BATCH_CDFT_VL_* hold two rows of 32, forward",
        "// then inverse, entry N-1 the length-N codelet, entries 16 to 30 null,",
        "// entry 31 length 32; BATCH_CRDFT_* and BATCH_CRDFT_INV_* one row each.",
        "// zsmallradix_forward and zsmallradix_inverse are indexed by N (0 and 1",
        "// null).",
        "",
    ]
    for prec in ("32", "64"):
        t = PREC[prec][0]
        lines.append("// ---- Interleaved, %s" % t)
        p, a = il_params(t)
        for name, _, _ in interleaved_entries(prec):
            lines.append("ORB_DFT(void, %s, %s, %s)" % (name, p, a))
        lines.append("// ---- Fixed width, %s" % t)
        p, a = vl_params(t)
        for name, _, _ in vl_entries(prec):
            lines.append("ORB_DFT(void, %s, %s, %s)" % (name, p, a))
        lines.append("// ---- Split, %s" % t)
        p, a = sp_params(t)
        for name, _, _ in split_entries(prec):
            lines.append("ORB_DFT(void, %s, %s, %s)" % (name, p, a))
    lines.append("// ---- One scaled transform")
    for n in SMALLRADIX:
        for d in ("Fwd", "Inv"):
            lines.append("ORB_DFT(void, smallradixDFT%s_CToC_%d_64fc, %s, %s)" % ((d, n) + SR_PARAMS))
    for pre, t, lengths in (("xd", "double", LEGACY_REAL), ("xs", "float", LEGACY_REAL), ("xc", "float", LEGACY_COMPLEX)):
        p, a = legacy_params(t)
        for n in lengths:
            for d in "fb":
                lines.append("ORB_DFT(int, %s_f%d_1d%s, %s, %s)" % (pre, n, d, p, a))
    lines.append("// ---- Tables")
    for prec in ("32", "64"):
        _, c, s = PREC[prec]
        lines.append("ORB_DFT_TABLE(orb_dft_cdft_%s_fn, BATCH_CDFT_%s, [2][32])" % (c, c))
        lines.append("ORB_DFT_TABLE(orb_dft_vl_%s_fn, BATCH_CDFT_VL_%s, [2][32])" % (c, c))
        lines.append("ORB_DFT_TABLE(orb_dft_crdft_%s_fn, BATCH_CRDFT_%s, [32])" % (s, s))
        lines.append("ORB_DFT_TABLE(orb_dft_crdft_%s_fn, BATCH_CRDFT_INV_%s, [32])" % (s, s))
    lines.append("ORB_DFT_TABLE(orb_dft_smallradix_64fc_fn, zsmallradix_forward, [65])")
    lines.append("ORB_DFT_TABLE(orb_dft_smallradix_64fc_fn, zsmallradix_inverse, [65])")
    return "\n".join(lines) + "\n"


def table_rows(names_by_len):
    """32 entries: N-1 for N in 1..16, 31 for 32, null elsewhere."""
    row = []
    for i in range(32):
        n = i + 1
        row.append("&ORB_DFTK(%s)" % names_by_len[n] if n in names_by_len else "nullptr")
    out = []
    for i in range(0, 32, 4):
        out.append("    " + ", ".join(row[i:i + 4]) + ",")
    return out


TU_HEAD = HEADER + """#include "dft/codelets/bodies.hpp"
#include "dft/codelets/io.hpp"
#include "dft/codelets/real.hpp"
#include "frame/kernels_dft.hpp"

"""


def render_il(prec):
    t, c, _ = PREC[prec]
    units = 16 // (4 if prec == "32" else 8)  # elements of T in a 128-bit unit
    lines = [TU_HEAD + "// Interleaved codelets, fixed-width codelets and their tables, %s." % t,
             "// The scaled single transforms (smallradix, legacy) follow: they reuse",
             "// the same compiled bodies.",
             "// Strides arrive in complex elements (128-bit units for the fixed width)",
             "// and go to the bodies in elements of %s." % t,
             "", "using orb::dft::il_run;", "using orb::dft::fwd_map;", "using orb::dft::inv_map;", ""]
    p, _ = il_params(t)
    for name, n, d in interleaved_entries(prec):
        m = "inv_map(%d, 2 * std::ptrdiff_t(dst_stride))" % n if d == "inv" else "fwd_map(2 * std::ptrdiff_t(dst_stride))"
        lines += ["void ORB_DFTK(%s)%s {" % (name, p),
                  "  il_run<%d>(src, 2 * std::ptrdiff_t(src_stride), dst, %s, 2 * count);" % (n, m), "}"]
    p, _ = vl_params(t)
    full = "orb::simd::vec<%s>::N" % t
    for name, n, d in vl_entries(prec):
        m = ("inv_map(%d, %d * std::ptrdiff_t(dst_stride))" % (n, units) if d == "inv" and n > 2
             else "fwd_map(%d * std::ptrdiff_t(dst_stride))" % units)
        lines += ["void ORB_DFTK(%s)%s {" % (name, p),
                  "  il_run<%d>(src, %d * std::ptrdiff_t(src_stride), dst, %s, %s);" % (n, units, m, full), "}"]
    lines.append("")
    fw = {n: nm for nm, n, d in interleaved_entries(prec) if d in ("fwd", "both")}
    iv = {n: nm for nm, n, d in interleaved_entries(prec) if d in ("inv", "both")}
    lines.append("const orb_dft_cdft_%s_fn ORB_DFTK(BATCH_CDFT_%s)[2][32] = {" % (c, c))
    lines += ["  {"] + table_rows(fw) + ["  },", "  {"] + table_rows(iv) + ["  },", "};"]
    fw = {n: nm for nm, n, d in vl_entries(prec) if d == "fwd"}
    iv = {n: nm for nm, n, d in vl_entries(prec) if d == "inv"}
    lines.append("const orb_dft_vl_%s_fn ORB_DFTK(BATCH_CDFT_VL_%s)[2][32] = {" % (c, c))
    lines += ["  {"] + table_rows(fw) + ["  },", "  {"] + table_rows(iv) + ["  },", "};"]
    lines += render_single(prec)
    return "\n".join(lines) + "\n"


def render_sp(prec):
    t, _, s = PREC[prec]
    lines = [TU_HEAD + "// Split-storage codelets and their tables, %s." % t, "",
             "using orb::dft::sp_run;", "using orb::dft::fwd_map;", "using orb::dft::inv_map;", ""]
    p, _ = sp_params(t)
    for name, n, d in split_entries(prec):
        m = "inv_map(%d, dst_stride)" % n if d == "inv" else "fwd_map(dst_stride)"
        lines += ["void ORB_DFTK(%s)%s {" % (name, p),
                  "  sp_run<%d>(src_re, src_im, src_stride, dst_re, dst_im, %s, count);" % (n, m), "}"]
    lines.append("")
    fw = {n: nm for nm, n, d in split_entries(prec) if d in ("fwd", "both")}
    iv = {n: nm for nm, n, d in split_entries(prec) if d in ("inv", "both")}
    lines.append("const orb_dft_crdft_%s_fn ORB_DFTK(BATCH_CRDFT_%s)[32] = {" % (s, s))
    lines += table_rows(fw) + ["};"]
    lines.append("const orb_dft_crdft_%s_fn ORB_DFTK(BATCH_CRDFT_INV_%s)[32] = {" % (s, s))
    lines += table_rows(iv) + ["};"]
    return "\n".join(lines) + "\n"


def twiddle_block(n):
    """cos and -sin of 2 pi k / n for k = 0 .. n/2."""
    cs = [cis(k, n) for k in range(n // 2 + 1)]
    return ("template <>\nstruct real_twiddles<%d> {\n  static constexpr double c[%d] = {%s};\n"
            "  static constexpr double s[%d] = {%s};\n};" %
            (n, len(cs), ", ".join(lit(c) for c, _ in cs), len(cs), ", ".join(lit(-s) for _, s in cs)))


def render_single(prec):
    """The scaled single transforms that share the interleaved bodies: they
    join the interleaved translation unit of their precision."""
    t = PREC[prec][0]
    lines = ["", "// One scaled transform at a time: the interleaved bodies with a count of 1,",
             "// then the scale.", "", "namespace orb::dft {"]
    lines += [twiddle_block(n) for n in LEGACY_REAL]
    lines += ["}  // namespace orb::dft", ""]
    if prec == "64":
        p, _ = SR_PARAMS
        for n in SMALLRADIX:
            if n in DIRECT:
                continue
            lines += ["void ORB_DFTK(smallradixDFTFwd_CToC_%d_64fc)%s {" % (n, p),
                      "  orb::dft::scaled_run<%d>(src, dst, fwd_map(2), *scale);" % n, "}",
                      "void ORB_DFTK(smallradixDFTInv_CToC_%d_64fc)%s {" % (n, p),
                      "  orb::dft::scaled_run<%d>(src, dst, inv_map(%d, 2), *scale);" % (n, n), "}"]
    pre = "xd" if prec == "64" else "xs"
    p, _ = legacy_params(t)
    for n in LEGACY_REAL:
        lines += ["int ORB_DFTK(%s_f%d_1df)%s { return orb::dft::real_fwd<%d>(in, out, *scale); }" % (pre, n, p, n),
                  "int ORB_DFTK(%s_f%d_1db)%s { return orb::dft::real_bwd<%d>(in, out, *scale); }" % (pre, n, p, n)]
    if prec == "32":
        for n in LEGACY_COMPLEX:
            lines += ["int ORB_DFTK(xc_f%d_1df)%s {" % (n, p),
                      "  orb::dft::scaled_run<%d>(in, out, fwd_map(2), *scale);" % n, "  return 0;", "}",
                      "int ORB_DFTK(xc_f%d_1db)%s {" % (n, p),
                      "  orb::dft::scaled_run<%d>(in, out, inv_map(%d, 2), *scale);" % (n, n), "  return 0;", "}"]
    return lines


def render_direct():
    lines = [HEADER + '#include "dft/codelets/direct.hpp"\n#include "frame/kernels_dft.hpp"\n',
             "// smallradix lengths without a straight-line body, and the smallradix tables.", "",
             "namespace {", "// cos and sin of 2 pi r / N, r = 0 .. N-1."]
    for n in DIRECT:
        cs = [cis(r, n) for r in range(n)]
        lines.append("constexpr double kC%d[%d] = {%s};" % (n, n, ", ".join(lit(c) for c, _ in cs)))
        lines.append("constexpr double kS%d[%d] = {%s};" % (n, n, ", ".join(lit(s) for _, s in cs)))
    lines += ["}  // namespace", ""]
    p, _ = SR_PARAMS
    for n in DIRECT:
        lines += ["void ORB_DFTK(smallradixDFTFwd_CToC_%d_64fc)%s {" % (n, p),
                  "  orb::dft::direct_dft(src, dst, %d, kC%d, kS%d, false, *scale);" % (n, n, n), "}",
                  "void ORB_DFTK(smallradixDFTInv_CToC_%d_64fc)%s {" % (n, p),
                  "  orb::dft::direct_dft(src, dst, %d, kC%d, kS%d, true, *scale);" % (n, n, n), "}"]
    for name in ("forward", "inverse"):
        d = "Fwd" if name == "forward" else "Inv"
        lines.append("const orb_dft_smallradix_64fc_fn ORB_DFTK(zsmallradix_%s)[65] = {" % name)
        row = ["nullptr", "nullptr"] + ["&ORB_DFTK(smallradixDFT%s_CToC_%d_64fc)" % (d, n) for n in SMALLRADIX]
        lines += ["    " + ", ".join(row[i:i + 3]) + "," for i in range(0, 65, 3)]
        lines.append("};")
    return "\n".join(lines) + "\n"


def render_bodies():
    lines = [HEADER.rstrip(),
             "// The straight-line bodies: body<N>::run(io) loads the N stations, runs a",
             "// forward transform (exp(-i)) over the operations of io.hpp and stores the",
             "// N outputs. Nothing is stored before everything is loaded, so a body may",
             "// run in place.",
             "#pragma once", "", '#include "dft/codelets/io.hpp"', "", "namespace orb::dft {", ""]
    total = 0
    for n in sorted(SMALLRADIX_BODIES):
        text, ops = make_body(n)
        lines.append("// Length %d: %d operations." % (n, ops))
        lines += text
        total += ops
    lines += ["}  // namespace orb::dft", ""]
    return "\n".join(lines)


def outputs():
    return {
        CODELETS / "bodies.hpp": render_bodies(),
        CODELETS / "cdft_32fc.cpp": render_il("32"),
        CODELETS / "cdft_64fc.cpp": render_il("64"),
        CODELETS / "crdft_32f.cpp": render_sp("32"),
        CODELETS / "crdft_64f.cpp": render_sp("64"),
        CODELETS / "smallradix_direct.cpp": render_direct(),
        DEF: render_def(),
    }


def main():
    bad = 0
    for path, text in outputs().items():
        if "--check" in sys.argv:
            if not path.exists() or path.read_text() != text:
                print("%s is stale: run tools/gen_dft_codelets.py" % path.relative_to(ROOT))
                bad = 1
        else:
            path.write_text(text)
    return bad


if __name__ == "__main__":
    sys.exit(main())
