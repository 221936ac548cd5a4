"""Runs the demo or vorn3d-mpi on random points with duplicates, reads the
.vtu / .pvtu it wrote back with meshio, and compares the cells with scipy's
Delaunay tetrahedralisation of the distinct points.

    check_vtu.py WORKDIR demo DEMO
    check_vtu.py WORKDIR mpi MPIEXEC PROGRAM NP
"""
import os
import subprocess
import sys
import xml.etree.ElementTree as ET

import meshio
import numpy as np
from scipy.spatial import Delaunay


def read_piece(path):
    """(points, cells, global index or None) of one .vtu file, checking
    that it is appended raw binary with 64-bit headers."""
    with open(path, "rb") as f:
        head = f.read(2000)
    assert b'header_type="UInt64"' in head and b'<AppendedData encoding="raw">' in head, path
    mesh = meshio.read(path)
    cells = mesh.cells_dict.get("tetra", np.empty((0, 4), dtype=np.int64))
    assert [c.type for c in mesh.cells] in (["tetra"], []), path
    assert cells.dtype == np.int64, cells.dtype
    gid = mesh.point_data.get("GlobalIndex")
    return mesh.points, cells, gid


def main(work, mode, *command):
    os.makedirs(work, exist_ok=True)
    rng = np.random.default_rng(5)
    pts = rng.random((3000, 3))
    pts = np.concatenate([pts, pts[rng.integers(0, 3000, 40)]])
    points_file = os.path.join(work, "points.xyz")
    np.savetxt(points_file, pts, fmt="%.17g")
    # Input index of the first occurrence of each distinct point, in the
    # order of np.unique; scipy triangulates those distinct points.
    distinct, first = np.unique(pts, axis=0, return_index=True)
    peer = {frozenset(first[c]) for c in Delaunay(distinct).simplices}
    index_of = {tuple(p): k for k, p in zip(first, distinct)}

    if mode == "demo":
        out = os.path.join(work, "mesh.vtu")
        subprocess.run([command[0], points_file, "-o", out, "--no-check"], check=True, stdout=subprocess.DEVNULL)
        points, cells, gid = read_piece(out)
        assert gid is None and len(points) == len(distinct), (len(points), len(distinct))
        numbers = np.array([index_of[tuple(p)] for p in points])
        pieces = [(points, numbers[cells])]
    else:
        mpiexec, program, np_ = command
        out = os.path.join(work, "mesh.pvtu")
        subprocess.run([mpiexec, "--allow-run-as-root", "--oversubscribe", "-np", np_, program, points_file,
                        "-o", out], check=True, stdout=subprocess.DEVNULL)
        root = ET.parse(out).getroot()
        assert root.get("type") == "PUnstructuredGrid" and root.get("header_type") == "UInt64"
        sources = [p.get("Source") for p in root.iter("Piece")]
        assert sources == [f"mesh_{r}.vtu" for r in range(int(np_))], sources
        pieces = []
        for source in sources:
            points, cells, gid = read_piece(os.path.join(work, source))
            assert gid is not None and gid.dtype == np.int64 and len(gid) == len(points)
            # Each piece's points are input points, named by their index.
            assert (pts[gid] == points).all()
            pieces.append((points, gid[cells]))

    ours = [frozenset(c) for _, cells in pieces for c in cells]
    assert len(ours) == len(peer) == len(set(ours)), (len(ours), len(peer))
    assert set(ours) == peer
    for points, cells in pieces:
        p = pts[cells]
        a, b, c = p[:, 1] - p[:, 0], p[:, 2] - p[:, 0], p[:, 3] - p[:, 0]
        assert (np.einsum("ij,ij->i", a, np.cross(b, c)) > 0).all()
    print(f"{mode}: {len(ours)} cells in {len(pieces)} piece(s) read back with meshio match scipy")


if __name__ == "__main__":
    main(*sys.argv[1:])
