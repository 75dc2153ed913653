#!/usr/bin/python3
"""Draws a benchmark CSV (as written by level1_bench or dft_bench) as a PNG.

    /usr/bin/python3 bench/plot.py level1_bench.csv [out.png]

One panel per routine: a rate against a size, orb and its peer, with the
cache sizes marked where the CSV gives them. Points where orb's results
disagreed with the peer's are drawn as crosses. The CSV's comment line may
name the columns and labels (xcol, xlabel, ycol, peercol, peer, ylabel,
title); without them it is level1_bench's layout: GB/s of orb and OpenBLAS
against the working set.
"""
import math
import sys

import plot_common
from plot_common import plt


def draw(src, dst, meta, rows):
    names = []
    for r in rows:
        if r["routine"] not in names:
            names.append(r["routine"])
    if not names:
        print("no rows in " + src, file=sys.stderr)
        return 1
    cols = min(4, len(names))
    nrows = math.ceil(len(names) / cols)
    fig, axes = plt.subplots(nrows, cols, figsize=(4.2 * cols, 3.4 * nrows), squeeze=False)
    caches = [(k.upper(), int(meta[k])) for k in ("l1", "l2", "l3") if int(meta.get(k, "0") or 0) > 0]
    for i, name in enumerate(names):
        ax = axes[i // cols][i % cols]
        xcol = meta.get("xcol", "working_set_bytes")
        pts = sorted((r for r in rows if r["routine"] == name), key=lambda r: float(r[xcol]))
        xs = [float(r[xcol]) for r in pts]
        orb = [float(r[meta.get("ycol", "orb_gbs")]) for r in pts]
        peer = [float(r[meta.get("peercol", "openblas_gbs")]) for r in pts]
        good = [r["orb_agrees"] == "1" for r in pts]
        ax.plot([x for x, g in zip(xs, good) if g], [y for y, g in zip(orb, good) if g],
                "o-", ms=3, label="orb", color="tab:blue")
        bad = [(x, y) for x, y, g in zip(xs, orb, good) if not g]
        if bad:
            ax.plot([b[0] for b in bad], [b[1] for b in bad], "x", color="tab:red", label="orb (wrong results)")
        if any(p > 0 for p in peer):
            ax.plot(xs, peer, "s--", ms=3, label=meta.get("peer", "OpenBLAS"), color="tab:orange")
        for label, size in caches:
            ax.axvline(size, color="grey", lw=0.8, ls=":")
            ax.text(size, 0.98, " " + label, transform=ax.get_xaxis_transform(), va="top", fontsize=7, color="grey")
        ax.set_xscale("log", base=2)
        ax.set_title(name)
        ax.set_xlabel(meta.get("xlabel", "working set (bytes)"))
        ax.set_ylabel(meta.get("ylabel", "GB/s"))
        ax.set_ylim(bottom=0)
        finite = [y for y, g in zip(orb, good) if g] + peer
        if finite and max(finite) > 0:
            ax.set_ylim(top=1.15 * max(finite))
        ax.grid(True, alpha=0.3)
        ax.legend(fontsize=7)
    for j in range(len(names), nrows * cols):
        axes[j // cols][j % cols].axis("off")
    title = meta.get("title", "level-1 BLAS, one thread").replace("_", " ")
    if meta.get("orb"):
        title += ": orb " + meta["orb"]
    fig.suptitle(title)
    fig.tight_layout()
    fig.savefig(dst, dpi=110)
    print("wrote " + dst)
    return 0


if __name__ == "__main__":
    sys.exit(plot_common.run(draw, __doc__))
