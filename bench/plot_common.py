"""What the benchmark plots share: the command line, reading a benchmark
CSV, and matplotlib set up to draw without a display.

A benchmark CSV starts with comment lines of key=value words (the library,
the cache sizes, the measured peak...), then a header row and the data.
"""
import csv
import sys

import matplotlib

matplotlib.use("Agg")
import matplotlib.pyplot as plt  # noqa: E402,F401  (the plots draw with it)


def read(path):
    """The key=value words of the comment lines, and the data rows as dicts."""
    meta, lines = {}, []
    with open(path) as f:
        for line in f:
            if line.startswith("#"):
                for word in line[1:].split():
                    if "=" in word:
                        k, v = word.split("=", 1)
                        meta[k] = v
            else:
                lines.append(line)
    return meta, list(csv.DictReader(lines))


def run(draw, doc, argv=None):
    """The command line of a plot script, `script file.csv [out.png]`: reads
    the CSV and calls draw(src, dst, meta, rows), the PNG named after the CSV
    unless given. Without a CSV, prints the usage (the script's doc)."""
    argv = sys.argv if argv is None else argv
    if len(argv) < 2:
        print(doc.strip(), file=sys.stderr)
        return 2
    src = argv[1]
    dst = argv[2] if len(argv) > 2 else src.rsplit(".", 1)[0] + ".png"
    meta, rows = read(src)
    return draw(src, dst, meta, rows)
