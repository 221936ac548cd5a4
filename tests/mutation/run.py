#!/usr/bin/python3
"""Mutation runner: how many deliberate faults does the test suite catch?

For each mutant of mutants.txt (file, a snippet found once, its replacement):
apply it to a scratch copy of the tree, rebuild the Debug build incrementally,
run ctest (time limit, stop at the first failure) and restore the file. Unit
tests first; programs, demo cases and exported symbols only for a mutant they
let through; fuzz_stl and install_and_consume only for one that passed those.
A mutant is killed, survived, not built or not applied (snippet not found once).

  nice -n 10 /usr/bin/python3 tests/mutation/run.py [--rev REV] [--only ID,ID] [--reuse]

--rev: the tree of a commit (git archive); the mutant list is the working tree's.
--reuse: keep the scratch copy and build of an earlier run.
"""
import argparse
import os
import re
import shutil
import signal
import subprocess
import sys
import time

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.dirname(os.path.dirname(HERE))
SLOW_TESTS = "^(fuzz_stl|install_and_consume)$"
OTHER_TESTS = "^(demo\\..*|exported_symbols)$"


def parse_mutants(path):
    mutants = []
    for line in open(path).read().splitlines():
        if line.startswith("@ "):
            _, mid, fname = line.split(" ", 2)
            mutants.append({"id": mid, "file": fname, "old": None, "new": None})
        elif line[:2] in ("- ", "+ ") and mutants:
            mutants[-1]["old" if line[0] == "-" else "new"] = line[2:]
    for m in mutants:
        if m["old"] is None or m["new"] is None:
            sys.exit("mutant %s lacks its '-' or '+' line" % m["id"])
    return mutants


def run(cmd, cwd, timeout=None):
    """Runs cmd in its own process group; past the timeout the whole group
    (ctest and the test it waits for) is ended and 124 returned."""
    p = subprocess.Popen(cmd, cwd=cwd, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, universal_newlines=True,
                         errors="replace", start_new_session=True)
    try:
        out = p.communicate(timeout=timeout)[0]
        return p.returncode, out
    except subprocess.TimeoutExpired:
        os.killpg(p.pid, signal.SIGKILL)
        return 124, p.communicate()[0] + "\ntime limit reached"


def copy_tree(rev, dest):
    if os.path.exists(dest):
        shutil.rmtree(dest)
    os.makedirs(dest)
    if rev:
        tar = subprocess.run(["git", "archive", rev], cwd=ROOT, stdout=subprocess.PIPE, check=True).stdout
    else:
        files = subprocess.run(["git", "ls-files", "-co", "--exclude-standard", "-z"], cwd=ROOT,
                               stdout=subprocess.PIPE, check=True).stdout
        tar = subprocess.run(["tar", "--null", "-T", "-", "-cf", "-"], cwd=ROOT, input=files,
                             stdout=subprocess.PIPE, check=True).stdout
    subprocess.run(["tar", "-x", "-C", dest], input=tar, check=True)


def first_failure(output):
    if output.endswith("time limit reached"):
        return "(time limit)"
    for pat in (r"\d+/\d+ Test\s+#\d+: (\S+) \.+\*+(\w+)", r"The following tests FAILED:\s*\n\s*\d+ - (\S+)"):
        m = re.search(pat, output)
        if m:
            return m.group(1)
    return "?"


def test(build, timeout, unit_targets):
    """Unit tests first, built alone; the programs, the demo cases and the slow
    cases only for a mutant that all unit tests let through."""
    ctest = ["ctest", "--stop-on-failure", "-j2", "--timeout", str(timeout)]
    stages = [(["--target"] + unit_targets, ["-E", OTHER_TESTS + "|" + SLOW_TESTS[1:]])] if unit_targets else []
    stages += [([], ["-E", SLOW_TESTS]), (None, ["-R", SLOW_TESTS])]
    for targets, selection in stages:
        if targets is not None and run(["cmake", "--build", build, "-j2"] + targets, build)[0] != 0:
            return "not built", ""
        rc, out = run(ctest + selection, build, timeout=3 * timeout)
        if rc != 0:
            return "killed", first_failure(out)
    return "survived", ""


def write_results(out_path, rev, mutants, results, start):
    """Writes the results so far (a stopped run keeps what it measured)."""
    n = {s: sum(1 for r in results.values() if r[0] == s) for s in ("killed", "survived", "not built", "not applied")}
    valid = n["killed"] + n["survived"]
    summary = ("%d of %d mutants run: %d killed, %d survived, %d not built, %d not applied; kill rate %.1f%% "
               "(killed / (killed + survived)); %.0f min" % (len(results), len(mutants), n["killed"], n["survived"],
                                                             n["not built"], n["not applied"],
                                                             100.0 * n["killed"] / valid if valid else 0.0,
                                                             (time.time() - start) / 60))
    with open(out_path, "w") as f:
        f.write("# tests/mutation/run.py %s\n# %s\n" % (("--rev " + rev) if rev else "", summary))
        for m in mutants:
            f.write("%-26s %-11s %s\n" % ((m["id"],) + results.get(m["id"], ("not run", ""))))
    return summary


def main():
    ap = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    ap.add_argument("--rev", help="test the tree of this commit instead of the working tree")
    ap.add_argument("--list", default=os.path.join(HERE, "mutants.txt"))
    ap.add_argument("--scratch", default="/tmp/vorn3d-mutation")
    ap.add_argument("--out", help="result file (default: tests/mutation/results-<rev or worktree>.txt)")
    ap.add_argument("--only", help="comma-separated mutant ids")
    ap.add_argument("--timeout", type=int, default=120, help="seconds per ctest case")
    ap.add_argument("--reuse", action="store_true", help="keep the scratch tree and build of an earlier run")
    args = ap.parse_args()

    mutants = parse_mutants(args.list)
    if args.only:
        mutants = [m for m in mutants if m["id"] in args.only.split(",")]
    label = re.sub(r"[^\w.-]", "_", args.rev or "worktree")
    out_path = args.out or os.path.join(HERE, "results-%s.txt" % label)
    src, build = os.path.join(args.scratch, "src"), os.path.join(args.scratch, "build")

    start = time.time()
    if not (args.reuse and os.path.exists(os.path.join(build, "CMakeCache.txt"))):
        copy_tree(args.rev, src)
        shutil.rmtree(build, ignore_errors=True)
    # lld only shortens the many relinks after each mutant; the code is the same.
    lld = ["-DCMAKE_%s_LINKER_FLAGS=-fuse-ld=lld" % kind for kind in ("EXE", "SHARED")] if shutil.which("ld.lld") else []
    rc, out = run(["cmake", "-S", src, "-B", build, "-DCMAKE_BUILD_TYPE=Debug", "-DVORN3D_BUILD_TESTS=ON"] + lld, src)
    if rc != 0:
        sys.exit("configure failed:\n" + out)
    rc, out = run(["cmake", "--build", build, "-j2"], src)
    if rc != 0:
        sys.exit("build of the unmutated tree failed:\n" + out[-4000:])
    out = run(["cmake", "--build", build, "--target", "help"], src)[1]
    unit_targets = sorted(set(re.findall(r"^\.\.\. (test_\w+)$", out, re.M)))
    status, where = test(build, args.timeout, unit_targets)
    if status != "survived":
        sys.exit("the unmutated tree fails its tests (%s)" % where)
    print("baseline built and green in %.0f s; %d mutants" % (time.time() - start, len(mutants)), flush=True)

    # Sources before headers (a header rebuilds many files), and the same file
    # in a row, so that each mutant costs about one compilation.
    order = sorted(range(len(mutants)), key=lambda i: (mutants[i]["file"].endswith(".h"), mutants[i]["file"], i))
    results = {}
    for n, i in enumerate(order, 1):
        m, t0 = mutants[i], time.time()
        path = os.path.join(src, m["file"])
        original = open(path).read()
        results[m["id"]] = ("not applied", "")
        if original.count(m["old"]) == 1:
            with open(path, "w") as f:
                f.write(original.replace(m["old"], m["new"]))
            try:
                results[m["id"]] = test(build, args.timeout, unit_targets)
            finally:
                with open(path, "w") as f:
                    f.write(original)
        row = (n, len(mutants), m["id"]) + results[m["id"]] + (time.time() - t0,)
        print("[%3d/%d] %-26s %-11s %-40s %4.0f s" % row, flush=True)
        summary = write_results(out_path, args.rev, mutants, results, start)
    print(summary)
    print("written to", out_path)


if __name__ == "__main__":
    os.nice(10)
    # Stopped by a signal: leave through the finally blocks, which restore the
    # mutated file.
    signal.signal(signal.SIGTERM, lambda *unused: sys.exit(1))
    main()
