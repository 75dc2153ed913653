#!/usr/bin/python3
"""Draws a GEMM benchmark CSV (as written by gemm_bench) as a PNG.

    /usr/bin/python3 bench/gemm_plot.py gemm_bench.csv [out.png]

One row of panels per type (s, d, c, z), one column per thread count:
GFLOPS of square sizes against the size, one line per library, with the
measured peak drawn across. Points where orb's results disagreed with the
peers are drawn as crosses.
"""
import sys

import plot_common
from plot_common import plt


def draw(src, dst, meta, rows):
    rows = [r for r in rows if r["kind"] == "square"]
    if not rows:
        print("no square sizes in " + src, file=sys.stderr)
        return 1
    types = [t for t in "sdcz" if any(r["type"] == t for r in rows)]
    threads = sorted({int(r["threads"]) for r in rows})
    peak = float(meta.get("peak_double_per_core", "0"))
    fig, axes = plt.subplots(len(types), len(threads), figsize=(5.5 * len(threads), 3.6 * len(types)),
                             squeeze=False)
    for i, t in enumerate(types):
        for j, th in enumerate(threads):
            ax = axes[i][j]
            sel = [r for r in rows if r["type"] == t and int(r["threads"]) == th]
            for lib in dict.fromkeys(r["library"] for r in sel):
                pts = sorted((int(r["m"]), float(r["gflops"]), r["wrong"] == "1") for r in sel if r["library"] == lib)
                ax.plot([p[0] for p in pts], [p[1] for p in pts], marker="o", ms=3, label=lib)
                bad = [p for p in pts if p[2]]
                if bad:
                    ax.plot([p[0] for p in bad], [p[1] for p in bad], "rx", ms=8)
            if peak > 0:
                ax.axhline(peak * th * (2 if t in "sc" else 1), color="grey", ls="--", lw=0.8, label="peak")
            ax.set_xscale("log")
            ax.set_title("%sGEMM, %d thread%s" % (t.upper(), th, "" if th == 1 else "s"))
            ax.set_xlabel("m = n = k")
            ax.set_ylabel("GFLOPS")
            ax.grid(True, which="both", alpha=0.3)
            ax.legend(fontsize=7)
    fig.suptitle("GEMM on %s" % meta.get("kernels", "orb"))
    fig.tight_layout()
    fig.savefig(dst, dpi=90)
    return 0


if __name__ == "__main__":
    sys.exit(plot_common.run(draw, __doc__))
