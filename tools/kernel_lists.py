"""The kernel lists in src/frame/*.def, read for the header generators.

The lists are the one place where a routine's signature is written; the
public headers come from them. `entries` yields each routine of a list,
`c_header` wraps declarations the way every generated header is wrapped, and
`write_or_check` writes a header, or with `--check` only says whether the
one on disk is stale.
"""
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
# The BLAS lists; the transposition list has its own form (ORB_T lines,
# scalars by value) and its own header; the DFT list (ORB_DFT lines, written
# by tools/gen_dft_codelets.py) has no public header yet.
TRANS_LIST = ROOT / "src" / "frame" / "kernels_trans.def"
DFT_LIST = ROOT / "src" / "frame" / "kernels_dft.def"
LISTS = sorted(p for p in (ROOT / "src" / "frame").glob("kernels_*.def") if p not in (TRANS_LIST, DFT_LIST))

MACROS = {"ORB_I": "const int*", "ORB_C8": "orb_complex8", "ORB_C16": "orb_complex16"}


def level(path):
    """The level a list covers: level1 for kernels_level1.def."""
    return path.stem.replace("kernels_", "")


def entries(path):
    """(return type, public name, parenthesised parameters) of each routine."""
    text = path.read_text()
    for m in re.finditer(r"^ORB_K\((.*)\)\s*$", text, re.M):
        body = m.group(1)
        ret, kernel, pub, rest = [s.strip() for s in body.split(",", 3)]
        # rest = (params), (args)
        depth, i = 0, 0
        for i, ch in enumerate(rest):
            depth += ch == "("
            depth -= ch == ")"
            if depth == 0:
                break
        params = rest[: i + 1]
        for k, v in MACROS.items():
            params = re.sub(r"\b%s\b" % k, v, params)
        yield ret, pub, params


def trans_entries(path):
    """(return type, routine, parenthesised parameters) of each public
    transposition routine (ORB_T lines; ORB_TI lines have no public name)."""
    for m in re.finditer(r"^ORB_T\((\w+), (\w+), (\(.*?\)), \(.*\)\)\s*$", path.read_text(), re.M):
        yield m.group(1), m.group(2), m.group(3)


def c_header(comment, guard, preamble, blocks):
    """A C header: the comment lines, the include guard, orb_types.h, the
    preamble lines, then per (title, declarations) block a titled group of
    declarations inside extern "C"."""
    lines = comment + ["#ifndef " + guard, "#define " + guard, "", '#include "orb/orb_types.h"', ""]
    lines += preamble
    lines += ["#ifdef __cplusplus", 'extern "C" {', "#endif", ""]
    for title, declarations in blocks:
        lines.append("/* %s */" % title)
        lines += declarations
        lines.append("")
    lines += ["#ifdef __cplusplus", "}", "#endif", "", "#endif", ""]
    return "\n".join(lines)


def write_or_check(out, text, script):
    """Writes the header; with --check on the command line, only compares."""
    name = out.relative_to(ROOT)
    if "--check" in sys.argv:
        if not out.exists() or out.read_text() != text:
            print("%s is stale: run %s" % (name, script))
            return 1
        return 0
    out.write_text(text)
    return 0
