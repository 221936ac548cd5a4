"""vorn3d.Voronoi and vorn3d.ConvexHull against scipy.spatial (Qhull), with the
same answers checked, and the Voronoi cells alone at larger sizes.

    PYTHONPATH=build/release/python /usr/bin/python3 bench/dual_vs_scipy.py [--repeat 3] [--large 1e6 ...]

Times are medians of --repeat runs, in seconds of processor time of this
process (time.process_time): both libraries run on one thread, and on a
shared machine this counts only their own work.
"Voronoi, lists" adds building ridge_vertices and regions as Python lists,
which scipy always does and vorn3d does on first use. "brute volumes" is
what scipy users do for cell volumes: one ConvexHull per bounded region.
"""
import argparse
import os
import statistics
import time

import numpy as np
import scipy.spatial

import vorn3d


def median_time(fn, repeat):
    times, result = [], None
    for _ in range(repeat):
        # The last run's result is let go first: holding it would make each
        # run after the first work beside a second copy of the memory.
        result = None
        start = time.process_time()
        result = fn()
        times.append(time.process_time() - start)
    return statistics.median(times), result


def ridge_pairs(v):
    return {tuple(r) for r in np.sort(v.ridge_points, axis=1).tolist()}


def on_sphere(rng, n):
    p = rng.normal(size=(n, 3))
    return p / np.linalg.norm(p, axis=1)[:, None]


def brute_volumes(v):
    out = np.full(len(v.points), np.inf)
    for i, r in enumerate(v.point_region):
        region = v.regions[r]
        if region and -1 not in region:
            out[i] = scipy.spatial.ConvexHull(v.vertices[region]).volume
    return out


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--repeat", type=int, default=3)
    parser.add_argument("--sizes", type=float, nargs="*", default=[1e4, 1e5])
    parser.add_argument("--brute", type=float, nargs="*", default=[1e4], help="sizes for the brute volumes")
    parser.add_argument("--large", type=float, nargs="*", default=[1e6], help="sizes for vorn3d alone")
    parser.add_argument("--hull-cube", type=float, default=1e6)
    parser.add_argument("--hull-sphere", type=float, default=1e5)
    parser.add_argument("--hull-lattice", type=int, default=100, help="k for a shuffled k^3 lattice")
    # Also 2 x hull-sphere points on the faces of the unit cube, with its corners.
    args = parser.parse_args()
    rng = np.random.default_rng(2026)
    print(f"load average at start: {os.getloadavg()[0]:.2f}; median of {args.repeat} runs; seconds of processor time")
    print()
    print("| points | scipy Voronoi | vorn3d Voronoi | ratio | vorn3d Voronoi, lists | ratio | same ridge_points | volumes vs brute |")
    print("|---|---|---|---|---|---|---|---|")
    for n in map(int, args.sizes):
        pts = rng.random((n, 3))
        t_scipy, peer = median_time(lambda: scipy.spatial.Voronoi(pts), args.repeat)
        t_ours, ours = median_time(lambda: vorn3d.Voronoi(pts), args.repeat)

        def with_lists():
            v = vorn3d.Voronoi(pts)
            return v, len(v.ridge_vertices) + len(v.regions)

        t_lists, _ = median_time(with_lists, args.repeat)
        same = ridge_pairs(ours) == ridge_pairs(peer)
        brute = "-"
        if n in map(int, args.brute):
            t_brute, volumes = median_time(lambda: brute_volumes(peer), 1)
            finite = np.isfinite(volumes)
            assert (finite == np.isfinite(ours.volumes)).all()
            err = np.abs(volumes[finite] - ours.volumes[finite]).max() / volumes[finite].max()
            brute = f"brute {t_brute:.2f} s (+ scipy), max rel. diff {err:.1e}"
        print(f"| {n:.0e} | {t_scipy:.3f} | {t_ours:.3f} | {t_ours / t_scipy:.3f} | {t_lists:.3f} | "
              f"{t_lists / t_scipy:.3f} | {same} | {brute} |")
    print()
    print("| hull input | points | scipy ConvexHull | vorn3d ConvexHull | ratio | same volume, area, vertices |")
    print("|---|---|---|---|---|---|")
    k = np.arange(args.hull_lattice, dtype=float)
    lattice = rng.permutation(np.array(np.meshgrid(k, k, k, indexing="ij")).reshape(3, -1).T)
    faces = rng.random((2 * int(args.hull_sphere), 3))
    faces[np.arange(len(faces)), rng.integers(0, 3, len(faces))] = rng.integers(0, 2, len(faces))
    faces = np.vstack([faces, np.array(np.meshgrid([0.0, 1.0], [0.0, 1.0], [0.0, 1.0])).reshape(3, -1).T])
    for name, pts in (("cube", rng.random((int(args.hull_cube), 3))),
                      ("sphere", on_sphere(rng, int(args.hull_sphere))), ("lattice", lattice), ("box faces", faces)):
        t_scipy, peer = median_time(lambda: scipy.spatial.ConvexHull(pts), args.repeat)
        t_ours, ours = median_time(lambda: vorn3d.ConvexHull(pts), args.repeat)
        # On the lattice and the box's faces Qhull merges each face of the
        # cube into one facet with its 4 corners; vorn3d keeps every point
        # of the surface as a corner of its triangles.
        vertices, peer_vertices = set(ours.vertices.tolist()), set(peer.vertices.tolist())
        flat_faces = name in ("lattice", "box faces")
        same = (abs(ours.volume - peer.volume) <= 1e-12 * peer.volume and abs(ours.area - peer.area) <= 1e-12 * peer.area
                and (vertices > peer_vertices if flat_faces else vertices == peer_vertices))
        print(f"| {name} | {len(pts):.0e} | {t_scipy:.3f} | {t_ours:.3f} | {t_ours / t_scipy:.2f} | {same} |")
    print()
    print("| points | vorn3d Delaunay | vorn3d Voronoi (Delaunay included) | ratio |")
    print("|---|---|---|---|")
    for n in map(int, args.large):
        pts = rng.random((n, 3))
        repeat = max(1, args.repeat if n <= 10**6 else 1)
        t_tri, _ = median_time(lambda: vorn3d.Delaunay(pts), repeat)
        t_vor, v = median_time(lambda: vorn3d.Voronoi(pts), repeat)
        assert np.isfinite(v.volumes).sum() > 0.9 * n
        print(f"| {n:.0e} | {t_tri:.2f} | {t_vor:.2f} | {t_vor / t_tri:.2f} |")
    print()
    print(f"load average at end: {os.getloadavg()[0]:.2f}")


if __name__ == "__main__":
    main()
