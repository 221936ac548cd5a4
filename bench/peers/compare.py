#!/usr/bin/env python3
"""Runs Vorn3D, CGAL and TetGen side by side and writes the results table.

Called by bench/compare.sh after it has built the runners; see there for the
one command. Each point set is generated once into a point file; then, per
set and repetition, every program triangulates the same file in its own
process (the order rotates between repetitions so none always runs first on
a warm or cold machine). The runners time only the insertion and print one
line starting with VORN3D_BENCH_RESULT; anything else on stdout (the
libraries' own messages) is kept in the logs and otherwise ignored.

Per set the table gives the median insertion time of each program, the
ratios Vorn3D/peer (below 1 means Vorn3D is faster), the cells and the peak
resident memory. On the sets in general position all programs must report
the same cells and vertices; a mismatch, a failed run or a timeout makes the
exit status 1 (the table is written all the same).
"""

import argparse
import datetime
import os
import platform
import re
import statistics
import subprocess
import sys
import time

RESULT_PREFIX = "VORN3D_BENCH_RESULT"
# The heading of the part of RESULTS.md that this script keeps as it is.
KEPT_SECTION = "## Elongated and flat boxes"

# name (also the id for --sets), generator kind, size argument (full, quick),
# cells must agree. The grid is degenerate on purpose (every unit cube is
# cospherical), so any split of its cubes is a valid Delaunay
# tetrahedralisation and the counts may differ legitimately. Points rounded
# onto a sphere are not exactly cospherical, so their tetrahedralisation is
# unique and is checked.
SETS = [
    ("cube-1M", "cube", 1000000, 20000, True),
    ("cube-5M", "cube", 5000000, 100000, True),
    ("ball-1M", "ball", 1000000, 20000, True),
    ("grid-100^3", "grid", 100, 20, False),
    ("sphere-100k", "sphere", 100000, 5000, True),
    ("clusters-200k", "clusters", 200000, 10000, True),
    ("dups-100k", "dups", 100000, 5000, True),
]


def size_name(kind, size):
    """The label of a set as run: cube-1M, cube-20k, grid-20^3, ..."""
    if kind == "grid":
        return "grid-%d^3" % size
    for step, suffix in ((1000000, "M"), (1000, "k")):
        if size >= step and size % step == 0:
            return "%s-%d%s" % (kind, size // step, suffix)
    return "%s-%d" % (kind, size)


PROGRAMS = [("vorn", "Vorn3D"), ("cgal", "CGAL"), ("tetgen", "TetGen")]


def parse_result(text):
    """The key=value pairs of the last result line in text, or None.
    version= is last on the line and may contain blanks."""
    found = None
    for line in text.splitlines():
        pos = line.find(RESULT_PREFIX)
        if pos < 0:
            continue
        body = line[pos + len(RESULT_PREFIX):]
        version = ""
        vpos = body.find(" version=")
        if vpos >= 0:
            version = body[vpos + len(" version="):].strip()
            body = body[:vpos]
        fields = dict(item.split("=", 1) for item in body.split())
        fields["version"] = version
        found = fields
    return found


def run_one(exe, point_file, timeout, log_path):
    """Runs one program on one file. Returns (result fields or None, status)."""
    start = time.monotonic()
    try:
        proc = subprocess.run([exe, point_file], stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                              timeout=timeout)
        output = proc.stdout.decode("utf-8", "replace")
        if proc.returncode < 0:
            status = "signal %d" % -proc.returncode
        elif proc.returncode > 0:
            status = "exit %d" % proc.returncode
        else:
            status = "ok"
    except subprocess.TimeoutExpired as exc:
        output = (exc.stdout or b"").decode("utf-8", "replace")
        status = "timeout %ds" % timeout
    wall = time.monotonic() - start
    with open(log_path, "w") as log:
        log.write("$ %s %s\n# status: %s, wall %.2f s\n" % (exe, point_file, status, wall))
        log.write(output)
    fields = parse_result(output) if status == "ok" else None
    if status == "ok" and fields is None:
        status = "no result line"
    return fields, status


def machine_facts():
    facts = {}
    facts["nproc"] = str(len(os.sched_getaffinity(0)))
    model = "unknown"
    mem = "unknown"
    try:
        with open("/proc/cpuinfo") as f:
            for line in f:
                if line.startswith("model name"):
                    model = line.split(":", 1)[1].strip()
                    break
        with open("/proc/meminfo") as f:
            for line in f:
                if line.startswith("MemTotal"):
                    mem = "%.1f GiB" % (int(line.split()[1]) / 1024.0 / 1024.0)
                    break
    except OSError:
        pass
    facts["cpu"] = model
    facts["memory"] = mem
    facts["kernel"] = platform.platform()
    return facts


def load_average():
    try:
        with open("/proc/loadavg") as f:
            return " ".join(f.read().split()[:3])
    except OSError:
        return "unknown"


def command_output(args):
    try:
        return subprocess.run(args, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                              check=True).stdout.decode().strip()
    except (OSError, subprocess.CalledProcessError):
        return "unknown"


def fmt_seconds(value):
    return "—" if value is None else "%.3f" % value


def fmt_mib(kib):
    return "—" if kib is None else "%.0f" % (kib / 1024.0)


def summarise(runs, programs):
    """Per program: median insertion time, cells, vertices, peak memory, and
    whether every repetition agreed with itself."""
    summary = {}
    for prog in programs:
        ok = [r for r in runs.get(prog, []) if r[0] is not None]
        if not ok:
            summary[prog] = None
            continue
        cells = {int(r[0]["cells"]) for r in ok}
        vertices = {int(r[0]["vertices"]) for r in ok}
        summary[prog] = {
            "median": statistics.median(float(r[0]["insert_s"]) for r in ok),
            "times": [float(r[0]["insert_s"]) for r in ok],
            "loads": [r[0].get("load", "?") for r in ok],
            "cells": cells,
            "vertices": vertices,
            "volumes": {float(r[0]["volume"]) for r in ok if "volume" in r[0]},
            "peak_kib": max(int(r[0]["peak_kib"]) for r in ok),
            "base_kib": max(int(r[0]["base_kib"]) for r in ok),
            "readback_kib": max(int(r[0].get("readback_peak_kib", r[0]["peak_kib"])) for r in ok),
            "readback": statistics.median(float(r[0]["readback_s"]) for r in ok),
            "version": ok[0][0]["version"],
            "failures": [r[1] for r in runs[prog] if r[0] is None],
        }
    return summary


VOLUME_TOLERANCE = 1e-9


def volumes_agree(volumes):
    """True when the summed cell volumes match up to rounding (relative
    VOLUME_TOLERANCE); an empty or single set agrees."""
    volumes = list(volumes)
    if len(volumes) < 2:
        return True
    low, high = min(volumes), max(volumes)
    return high - low <= VOLUME_TOLERANCE * max(abs(high), abs(low))


def check_agreement(summary, programs, must_agree):
    """Returns a list of problems (empty when all is well). The summed cell
    volume, the volume of the convex hull, must agree on every set, the
    degenerate ones included; cells and vertices only where must_agree."""
    problems = []
    all_volumes = [v for s in summary.values() if s for v in s["volumes"]]
    if not volumes_agree(all_volumes):
        problems.append("volumes differ")
    for prog in programs:
        s = summary.get(prog)
        if s is None:
            continue
        if len(s["cells"]) > 1 or len(s["vertices"]) > 1:
            problems.append("%s differs between its own repetitions" % prog)
    if must_agree:
        cells = {min(s["cells"]) for s in summary.values() if s}
        vertices = {min(s["vertices"]) for s in summary.values() if s}
        if len(cells) > 1:
            problems.append("cell counts differ")
        if len(vertices) > 1:
            problems.append("vertex counts differ")
    return problems


def main():
    here = os.path.dirname(os.path.abspath(__file__))
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--bin", required=True, help="build folder of bench/peers")
    parser.add_argument("--data", required=True, help="folder for the point files")
    parser.add_argument("--logs", help="folder for the output of every run (default DATA/../logs)")
    parser.add_argument("--out", help="markdown file to write (default bench/RESULTS.md, "
                        "or RESULTS-quick.md beside the data with --quick)")
    parser.add_argument("--quick", action="store_true", help="small sizes, one repetition: checks the pipeline")
    parser.add_argument("--reps", type=int, help="repetitions per set and program (default 3, quick 1)")
    parser.add_argument("--sets", help="comma-separated subset of: " + ", ".join(s[0] for s in SETS))
    parser.add_argument("--programs", default="vorn,cgal,tetgen", help="comma-separated subset of vorn,cgal,tetgen")
    parser.add_argument("--timeout", type=int, help="seconds per run (default 1800, quick 300)")
    parser.add_argument("--note", default="", help="text for the notes section, e.g. how busy the machine was")
    parser.add_argument("--command", default="bash bench/compare.sh", help="the command line to record")
    parser.add_argument("--compiler", default="", help="compiler used for all programs, to record")
    args = parser.parse_args()

    reps = args.reps or (1 if args.quick else 3)
    timeout = args.timeout or (300 if args.quick else 1800)
    programs = [p for p in args.programs.split(",") if p]
    for p in programs:
        if p not in dict(PROGRAMS):
            parser.error("unknown program " + p)
    sets = SETS
    if args.sets:
        wanted = args.sets.split(",")
        sets = [s for s in SETS if s[0] in wanted]
        unknown = set(wanted) - {s[0] for s in sets}
        if unknown:
            parser.error("unknown set(s) " + ", ".join(sorted(unknown)))
    out = args.out or (os.path.join(os.path.dirname(os.path.abspath(args.data)), "RESULTS-quick.md")
                       if args.quick else os.path.join(os.path.dirname(here), "RESULTS.md"))
    logs = args.logs or os.path.join(os.path.dirname(os.path.abspath(args.data)), "logs")
    os.makedirs(args.data, exist_ok=True)
    os.makedirs(logs, exist_ok=True)

    exes = {p: os.path.join(args.bin, "vorn3d_run_" + p) for p in programs}
    for p, exe in exes.items():
        if not os.access(exe, os.X_OK):
            sys.exit("compare.py: %s is missing; build it first (bench/compare.sh)" % exe)
    generator = os.path.join(args.bin, "vorn3d_gen_points")

    load_start = load_average()
    started = datetime.datetime.now(datetime.timezone.utc)
    rows = []
    all_problems = []
    for _, kind, full_size, quick_size, must_agree in sets:
        size = quick_size if args.quick else full_size
        name = size_name(kind, size)
        point_file = os.path.join(args.data, "%s-%d.v3p" % (kind, size))
        if not os.path.exists(point_file):
            # Write to a temporary name first: an interrupted run must not
            # leave a truncated file that a later run would trust.
            subprocess.run([generator, kind, str(size), point_file + ".tmp"], check=True, stdout=subprocess.DEVNULL)
            os.replace(point_file + ".tmp", point_file)
        runs = {p: [] for p in programs}
        for rep in range(reps):
            order = programs[rep % len(programs):] + programs[:rep % len(programs)]
            for prog in order:
                log_path = os.path.join(logs, "%s-%s-%d.log" % (name.replace("^", ""), prog, rep + 1))
                load = load_average().split()[0]
                fields, status = run_one(exes[prog], point_file, timeout, log_path)
                if fields:
                    fields["load"] = load
                runs[prog].append((fields, status))
                shown = ("%s s, %s cells, %s MiB" % (fields["insert_s"], fields["cells"], fmt_mib(int(fields["peak_kib"])))
                         if fields else status)
                print("%-14s rep %d  %-7s %s" % (name, rep + 1, prog, shown), flush=True)
        summary = summarise(runs, programs)
        problems = check_agreement(summary, programs, must_agree)
        for prog in programs:
            failures = [r[1] for r in runs[prog] if r[0] is None]
            if failures:
                problems.append("%s failed: %s (see %s)" % (prog, ", ".join(failures), logs))
        for p in problems:
            print("%-14s PROBLEM: %s" % (name, p), flush=True)
        all_problems += ["%s: %s" % (name, p) for p in problems]
        num_points = next((int(r[0]["points"]) for p in programs for r in runs[p] if r[0]), None)
        rows.append((name, num_points, must_agree, summary, problems))
    finished = datetime.datetime.now(datetime.timezone.utc)

    write_markdown(out, args, rows, programs, reps, started, finished, load_start, load_average())
    print("wrote " + out)
    if all_problems:
        print("%d problem(s):" % len(all_problems))
        for p in all_problems:
            print("  " + p)
        return 1
    return 0


def write_markdown(out, args, rows, programs, reps, started, finished, load_start, load_end):
    facts = machine_facts()
    labels = dict(PROGRAMS)
    peers = [p for p in programs if p != "vorn"]
    lines = []
    lines.append("# Vorn3D side by side with CGAL and TetGen" + (" (quick mode)" if args.quick else ""))
    lines.append("")
    lines.append("Produced by `%s` on %s UTC (%.0f min). Times are the median of %d run%s per program "
                 "and set, insertion only (no file reading, no point generation), wall clock (steady_clock). "
                 "Ratio = Vorn3D / peer: below 1 means Vorn3D is faster. Peak = peak resident memory (VmHWM) of the "
                 "whole process right after the insertion, input points included (reading the cells back "
                 "afterwards is listed under All runs)."
                 % (args.command,
                    started.strftime("%Y-%m-%d %H:%M"), (finished - started).total_seconds() / 60.0,
                    reps, "" if reps == 1 else "s"))
    lines.append("")
    head = ["set", "points"] + ["%s s" % labels[p] for p in programs]
    if "vorn" in programs:
        head += ["Vorn3D/%s" % labels[p] for p in peers]
    head += ["cells", "volume", "peak MiB " + " / ".join(labels[p] for p in programs)]
    lines.append("| " + " | ".join(head) + " |")
    lines.append("|" + "---|" * len(head))
    for name, num_points, must_agree, summary, problems in rows:
        cells_by_prog = [summary[p] and min(summary[p]["cells"]) for p in programs]
        known = [c for c in cells_by_prog if c is not None]
        if known and len(set(known)) == 1 and len(known) == len(programs):
            cells = "%d (all agree)" % known[0]
        else:
            cells = " / ".join("—" if c is None else str(c) for c in cells_by_prog)
            cells += "" if must_agree else " (degenerate set: counts may differ)"
        if must_agree and any("counts differ" in p for p in problems):
            cells += " **MISMATCH**"
        cols = [name, "—" if num_points is None else str(num_points)]
        cols += [fmt_seconds(summary[p] and summary[p]["median"]) for p in programs]
        if "vorn" in programs:
            for p in peers:
                if summary["vorn"] and summary[p]:
                    cols.append("%.2f" % (summary["vorn"]["median"] / summary[p]["median"]))
                else:
                    cols.append("—")
        cols.append(cells)
        volumes = [summary[p] and summary[p]["volumes"] and min(summary[p]["volumes"]) for p in programs]
        known_volumes = [v for v in volumes if v]
        if known_volumes and volumes_agree(known_volumes):
            cols.append("%.10g%s" % (known_volumes[0], " (all agree)" if len(known_volumes) == len(programs) else ""))
        else:
            cols.append(" / ".join("—" if not v else "%.10g" % v for v in volumes)
                        + (" **MISMATCH**" if known_volumes else ""))
        cols.append(" / ".join(fmt_mib(summary[p] and summary[p]["peak_kib"]) for p in programs))
        lines.append("| " + " | ".join(cols) + " |")
    lines.append("")
    lines.append("## All runs")
    lines.append("")
    lines.append("Insertion seconds of every repetition, in run order, each with the machine's 1-minute load "
                 "average when it started (2 cores: above 2 the run shared its core); base = peak memory "
                 "before the insertion (input loaded) in MiB; read-back = time to get the cells out "
                 "afterwards (median: Vorn3D's getTetrahedra and getVertices, CGAL's counters; TetGen "
                 "hands its cells out inside tetrahedralize) and the peak memory after it.")
    lines.append("")
    lines.append("| set | program | runs: s (load) | base MiB | read-back s | peak after read-back MiB | vertices | failures |")
    lines.append("|---|---|---|---|---|---|---|---|")
    for name, num_points, must_agree, summary, problems in rows:
        for p in programs:
            s = summary[p]
            if s is None:
                lines.append("| %s | %s | — | — | — | — | — | all runs failed |" % (name, labels[p]))
                continue
            lines.append("| %s | %s | %s | %s | %.3f | %s | %s | %s |" % (
                name, labels[p], ", ".join("%.3f (%s)" % tl for tl in zip(s["times"], s["loads"])), fmt_mib(s["base_kib"]),
                s["readback"], fmt_mib(s["readback_kib"]), "/".join(str(v) for v in sorted(s["vertices"])), ", ".join(s["failures"]) or "none"))
    lines.append("")
    lines.append("## Machine and versions")
    lines.append("")
    lines.append("- nproc: %s; CPU: %s; memory: %s; %s" % (facts["nproc"], facts["cpu"], facts["memory"], facts["kernel"]))
    lines.append("- load average (1, 5, 15 min) at start: %s; at end: %s" % (load_start, load_end))
    if args.compiler:
        lines.append("- compiler: %s, CMake Release (-O3 -DNDEBUG) for all programs" % args.compiler)
    versions = {}
    for _, _, _, summary, _ in rows:
        for p in programs:
            if summary[p] and p not in versions:
                versions[p] = summary[p]["version"]
    commit = command_output(["git", "-C", os.path.dirname(os.path.abspath(__file__)), "describe", "--always", "--dirty"])
    if "vorn" in programs:
        lines.append("- Vorn3D: %s, commit %s (this repository, Release build)" % (versions.get("vorn", "unknown"), commit))
    if "cgal" in programs:
        lines.append("- CGAL: %s (Debian libcgal-dev %s), Delaunay_triangulation_3 with "
                     "Exact_predicates_inexact_constructions_kernel, range insert (Hilbert sort inside)"
                     % (versions.get("cgal", "unknown"),
                        command_output(["dpkg-query", "-W", "-f", "${Version}", "libcgal-dev"])))
    if "tetgen" in programs:
        lines.append("- TetGen: Debian libtet1.5-dev %s, tetrahedralize() with switches \"Q\" (plain Delaunay); "
                     "its time includes copying the tetrahedra to the output structure"
                     % command_output(["dpkg-query", "-W", "-f", "${Version}", "libtet1.5-dev"]))
    lines.append("- Sets: cube = uniform in [0,1)^3; ball = uniform in the unit ball; grid = integer grid, shuffled; "
                 "sphere = on the unit sphere (rounded); clusters = 50 Gaussian clusters, sigma 0.01; "
                 "dups = 90% uniform points plus 10% exact copies of them, shuffled. Generated once by "
                 "vorn3d_gen_points (fixed seed) and read by every program from the same file.")
    lines.append("")
    lines.append("## Notes")
    lines.append("")
    if args.note:
        lines.append(args.note)
        lines.append("")
    problems = [(name, p) for name, _, _, _, ps in rows for p in ps]
    if problems:
        for name, p in problems:
            lines.append("- %s: %s" % (name, p))
    else:
        lines.append("- No failed runs; all programs covered the same volume on every set and reported the same "
                     "cells and vertices on every set in general position.")
    lines.append("")
    # Sections written by other scripts (bench/elongated.sh) stay at the end.
    if os.path.exists(out):
        with open(out) as f:
            old = f.read()
        pos = old.find("\n" + KEPT_SECTION)
        if pos >= 0:
            lines.append(old[pos + 1:].rstrip("\n"))
            lines.append("")
    with open(out, "w") as f:
        f.write("\n".join(lines))


if __name__ == "__main__":
    sys.exit(main())
