#!/usr/bin/python3
"""Draws a level-3 benchmark CSV (as written by level3_bench) as a PNG.

    /usr/bin/python3 bench/level3_plot.py level3_bench.csv [out.png]

One row of panels per routine and shape, one column per thread count:
GFLOPS against the size, one line per library, with the measured peak
drawn across. Points where orb's results disagreed with a peer are drawn
as crosses.
"""
import sys

import plot_common
from plot_common import plt

COLOURS = {"orb": "tab:blue", "OpenBLAS": "tab:orange", "BLIS": "tab:green"}


def draw(src, dst, meta, rows):
    cases = list(dict.fromkeys((r["routine"], r["shape"]) for r in rows))
    if not cases:
        print("no rows in " + src, file=sys.stderr)
        return 1
    threads = sorted({int(r["threads"]) for r in rows})
    peak = float(meta.get("peak_double_per_core", "0"))
    fig, axes = plt.subplots(len(cases), len(threads), figsize=(5.0 * len(threads), 3.0 * len(cases)),
                             squeeze=False)
    for i, (name, shape) in enumerate(cases):
        for j, th in enumerate(threads):
            ax = axes[i][j]
            sel = [r for r in rows if r["routine"] == name and r["shape"] == shape and int(r["threads"]) == th]
            size = "k" if shape == "k=64" else "n"
            for lib in dict.fromkeys(r["library"] for r in sel):
                pts = sorted((int(r["n"]), float(r["gflops"]), r["wrong"] == "1") for r in sel if r["library"] == lib)
                ax.plot([p[0] for p in pts], [p[1] for p in pts], marker="o", ms=3, label=lib, color=COLOURS.get(lib))
                bad = [p for p in pts if p[2]]
                if bad:
                    ax.plot([p[0] for p in bad], [p[1] for p in bad], "rx", ms=8)
            if peak > 0:
                ax.axhline(peak * th, color="grey", ls="--", lw=0.8, label="peak")
            ax.set_xscale("log")
            ax.set_title("%s (%s), %d thread%s" % (name.upper(), shape, th, "" if th == 1 else "s"))
            ax.set_xlabel("n" if size == "n" else "n (k = 64)")
            ax.set_ylabel("GFLOPS")
            ax.grid(True, which="both", alpha=0.3)
            ax.legend(fontsize=7)
    fig.suptitle("Level-3 BLAS on %s" % meta.get("kernels", "orb"))
    fig.tight_layout(rect=(0, 0, 1, 0.98))
    fig.savefig(dst, dpi=80)
    return 0


if __name__ == "__main__":
    sys.exit(plot_common.run(draw, __doc__))
