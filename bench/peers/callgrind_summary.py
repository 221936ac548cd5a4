#!/usr/bin/env python3
"""Condenses the output of `callgrind_annotate --inclusive=no` into two short
tables: instructions per function (inlined code counted where it runs) and
per source file (which code it was: the predicates' header, the cell class,
the kernel's files ...).

    python3 bench/peers/callgrind_summary.py self.txt [TOP]
"""

import collections
import re
import sys

# "  1,234,567 (12.34%)  path/file.cpp:Namespace::function(args) [object]"
LINE = re.compile(r"^\s*([\d,]+)\s+\(\s*[\d.]+%\)\s+(.*?):(.*?)(?:\s+\[[^\]]*\])?\s*$")


def strip_arguments(name):
    """Drops the argument list (and a trailing const) so that overloads of one
    function share a line; "(anonymous namespace)" inside the name stays."""
    name = name.strip()
    if name.endswith(" const"):
        name = name[:-len(" const")]
    if not name.endswith(")"):
        return name
    depth = 0
    for i in range(len(name) - 1, -1, -1):
        if name[i] == ")":
            depth += 1
        elif name[i] == "(":
            depth -= 1
            if depth == 0:
                return name[:i]
    return name


def main():
    if len(sys.argv) < 2:
        sys.exit(__doc__)
    top = int(sys.argv[2]) if len(sys.argv) > 2 else 15
    total = None
    by_function = collections.Counter()
    by_file = collections.Counter()
    with open(sys.argv[1]) as f:
        for line in f:
            if "Auto-annotated source" in line:
                break
            if "PROGRAM TOTALS" in line:
                total = int(line.split()[0].replace(",", ""))
                continue
            m = LINE.match(line)
            if not m or total is None:
                continue
            count = int(m.group(1).replace(",", ""))
            by_file[m.group(2)] += count
            by_function[strip_arguments(m.group(3))] += count
    if not total:
        sys.exit("no PROGRAM TOTALS line in " + sys.argv[1])
    print("%d instructions in total" % total)
    for title, counter in (("function (inlined code included)", by_function), ("source file of the code", by_file)):
        print("\n%-8s  %s" % ("share", title))
        for key, count in counter.most_common(top):
            print("%6.2f%%   %s" % (100.0 * count / total, key))


if __name__ == "__main__":
    main()
