#!/usr/bin/env python3
"""Checks of the comparison's own machinery, run by bench/compare.sh before
every comparison:

- the point generator writes the sets it promises (sizes, ranges, exact
  duplicates, a complete grid, determinism per seed);
- the driver notices what it must notice: a wrong cell count, a crash, a
  hang, a missing result line, and it skips library output around the
  result line.

    python3 bench/peers/test_peers.py BUILD_DIR_OF_BENCH_PEERS
"""

import math
import os
import struct
import subprocess
import sys
import tempfile
import textwrap
import unittest

HERE = os.path.dirname(os.path.abspath(__file__))
sys.dont_write_bytecode = True  # keep the source folder clean
sys.path.insert(0, HERE)
import compare  # noqa: E402

BIN = None


def read_points(path):
    with open(path, "rb") as f:
        data = f.read()
    assert data[:8] == b"V3DPTS01", "bad magic"
    (count,) = struct.unpack_from("<Q", data, 8)
    assert len(data) == 16 + 24 * count, "size does not match the header"
    flat = struct.unpack_from("<%dd" % (3 * count), data, 16)
    return [flat[3 * i:3 * i + 3] for i in range(count)]


class GeneratorTest(unittest.TestCase):
    def setUp(self):
        self.tmp = tempfile.TemporaryDirectory()

    def tearDown(self):
        self.tmp.cleanup()

    def generate(self, kind, size, seed=None):
        path = os.path.join(self.tmp.name, "%s-%d-%s.v3p" % (kind, size, seed))
        args = [os.path.join(BIN, "vorn3d_gen_points"), kind, str(size), path]
        if seed is not None:
            args.append(str(seed))
        subprocess.run(args, check=True, stdout=subprocess.DEVNULL)
        return path

    def test_cube_and_ball_ranges(self):
        cube = read_points(self.generate("cube", 3000))
        self.assertEqual(len(cube), 3000)
        self.assertTrue(all(0.0 <= c < 1.0 for p in cube for c in p))
        self.assertEqual(len(set(cube)), 3000)
        ball = read_points(self.generate("ball", 3000))
        self.assertEqual(len(ball), 3000)
        self.assertTrue(all(x * x + y * y + z * z <= 1.0 for x, y, z in ball))
        # Uniform in the ball: about 1/8 of the points within radius 1/2.
        inner = sum(1 for x, y, z in ball if x * x + y * y + z * z <= 0.25)
        self.assertTrue(250 < inner < 500, inner)

    def test_grid_is_complete_and_shuffled(self):
        grid = read_points(self.generate("grid", 7))
        self.assertEqual(sorted(grid), sorted((float(i), float(j), float(k))
                                              for i in range(7) for j in range(7) for k in range(7)))
        self.assertNotEqual(grid, sorted(grid))

    def test_sphere_points_are_on_the_unit_sphere(self):
        sphere = read_points(self.generate("sphere", 2000))
        self.assertEqual(len(set(sphere)), 2000)
        for x, y, z in sphere:
            self.assertAlmostEqual(math.sqrt(x * x + y * y + z * z), 1.0, delta=1e-15)
        # Spread over the sphere, not bunched on one side.
        self.assertLess(abs(sum(p[2] for p in sphere)) / 2000.0, 0.1)

    def test_dups_have_ten_percent_exact_copies(self):
        dups = read_points(self.generate("dups", 5000))
        self.assertEqual(len(dups), 5000)
        self.assertEqual(len(set(dups)), 4500)

    def test_clusters_are_tight(self):
        pts = read_points(self.generate("clusters", 4000))
        # 50 clusters of sigma 0.01 in the unit cube: a 0.1 cell grid is
        # mostly empty.
        cells = {tuple(int(c * 10) for c in p) for p in pts}
        self.assertLess(len(cells), 300)

    def test_same_seed_same_file(self):
        with open(self.generate("cube", 500, 7), "rb") as a, open(self.generate("ball", 500, 7), "rb") as b:
            first, other_kind = a.read(), b.read()
        path = os.path.join(self.tmp.name, "again.v3p")
        subprocess.run([os.path.join(BIN, "vorn3d_gen_points"), "cube", "500", path, "7"], check=True,
                       stdout=subprocess.DEVNULL)
        with open(path, "rb") as f:
            self.assertEqual(f.read(), first)
        self.assertNotEqual(first, other_kind)
        with open(self.generate("cube", 500, 8), "rb") as f:
            self.assertNotEqual(f.read(), first)

    def test_unknown_kind_fails(self):
        proc = subprocess.run([os.path.join(BIN, "vorn3d_gen_points"), "torus", "10",
                               os.path.join(self.tmp.name, "x.v3p")], stdout=subprocess.PIPE)
        self.assertNotEqual(proc.returncode, 0)


FAKE_RUNNER = textwrap.dedent("""\
    #!/usr/bin/env python3
    # Stands in for a runner: behaves as MODE says for files whose name
    # contains TRIGGER, else answers like a correct program.
    import os, sys, time
    mode, trigger, program = {mode!r}, {trigger!r}, {program!r}
    cells, volume = 1000, 0.75
    if trigger in os.path.basename(sys.argv[1]):
        if mode == "crash":
            os.abort()
        if mode == "hang":
            time.sleep(60)
        if mode == "silent":
            print("numPoints=5")
            sys.exit(0)
        if mode == "miscount":
            cells = 999
        if mode == "hole":
            volume = 0.7499
    sys.stdout.write("numPoints=12 (library noise without a line end)")
    print("VORN3D_BENCH_RESULT program=%s points=12 insert_s=0.5 readback_s=0.1 cells=%d vertices=12 "
          "volume=%.17g base_kib=100 peak_kib=2048 readback_peak_kib=3072 version=Vorn3D, DEBUG, v0.99.0" % (program, cells, volume))
    print("trailing library output")
""")


class DriverTest(unittest.TestCase):
    def run_driver(self, behaviour, sets, extra=()):
        """behaviour: program -> (mode, trigger). Returns (exit code, stdout, markdown)."""
        with tempfile.TemporaryDirectory() as tmp:
            fake_bin = os.path.join(tmp, "bin")
            os.makedirs(fake_bin)
            os.symlink(os.path.join(BIN, "vorn3d_gen_points"), os.path.join(fake_bin, "vorn3d_gen_points"))
            for prog in ("vorn", "cgal", "tetgen"):
                mode, trigger = behaviour.get(prog, ("ok", "-"))
                path = os.path.join(fake_bin, "vorn3d_run_" + prog)
                with open(path, "w") as f:
                    f.write(FAKE_RUNNER.format(mode=mode, trigger=trigger, program=prog))
                os.chmod(path, 0o755)
            out = os.path.join(tmp, "R.md")
            proc = subprocess.run([sys.executable, os.path.join(HERE, "compare.py"), "--bin", fake_bin,
                                   "--data", os.path.join(tmp, "data"), "--quick", "--sets", sets,
                                   "--out", out, "--timeout", "3"] + list(extra),
                                  stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
            with open(out) as f:
                return proc.returncode, proc.stdout.decode(), f.read()

    def test_agreeing_programs_pass(self):
        code, text, md = self.run_driver({}, "cube-1M,dups-100k", ["--reps", "2"])
        self.assertEqual(code, 0, text)
        self.assertIn("| cube-20k | 12 | 0.500 | 0.500 | 0.500 | 1.00 | 1.00 | 1000 (all agree) | 0.75 (all agree) "
                      "| 2 / 2 / 2 |", md)
        self.assertIn("Vorn3D, DEBUG, v0.99.0", md)
        self.assertRegex(md, r"\| cube-20k \| Vorn3D \| 0\.500 \([0-9.]+\), 0\.500 \([0-9.]+\) \| 0 \| 0\.100 \| 3 \| 12 \| none \|")

    def test_wrong_cell_count_is_reported(self):
        code, text, md = self.run_driver({"vorn": ("miscount", "ball")}, "cube-1M,ball-1M")
        self.assertEqual(code, 1)
        self.assertIn("ball-20k: cell counts differ", text)
        self.assertNotIn("cube-20k: cell counts differ", text)
        self.assertIn("999 / 1000 / 1000 **MISMATCH**", md)

    def test_count_on_degenerate_grid_may_differ(self):
        code, text, md = self.run_driver({"tetgen": ("miscount", "grid")}, "grid-100^3")
        self.assertEqual(code, 0, text)
        self.assertIn("1000 / 1000 / 999 (degenerate set: counts may differ)", md)

    def test_volume_must_agree_even_on_the_grid(self):
        code, text, md = self.run_driver({"vorn": ("hole", "grid")}, "grid-100^3,cube-1M")
        self.assertEqual(code, 1)
        self.assertIn("grid-20^3: volumes differ", text)
        self.assertNotIn("cube-20k: volumes differ", text)
        self.assertIn("0.7499 / 0.75 / 0.75 **MISMATCH**", md)

    def test_crash_hang_and_silence_are_failures(self):
        code, text, md = self.run_driver({"cgal": ("crash", "cube"), "tetgen": ("hang", "cube"),
                                          "vorn": ("silent", "sphere")}, "cube-1M,sphere-100k")
        self.assertEqual(code, 1)
        self.assertIn("cube-20k: cgal failed: signal 6", text)
        self.assertIn("cube-20k: tetgen failed: timeout 3s", text)
        self.assertIn("sphere-5k: vorn failed: no result line", text)
        self.assertIn("| cube-20k | 12 | 0.500 | — | — | — | — |", md)


if __name__ == "__main__":
    if len(sys.argv) < 2 or not os.path.isdir(sys.argv[1]):
        sys.exit(__doc__)
    BIN = os.path.abspath(sys.argv.pop(1))
    unittest.main(verbosity=1)
