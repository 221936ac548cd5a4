"""vorn3d.Delaunay in a few lines: tetrahedralise a point cloud, read the
cells and their neighbours, locate query points, look at the hull and at
duplicate points. Code written for scipy.spatial.Delaunay reads the same.

    python3 delaunay_demo.py          (with vorn3d installed or on PYTHONPATH)
"""
import numpy as np

import vorn3d

rng = np.random.default_rng(7)
points = rng.random((20000, 3))
points[-100:] = points[:100]                 # 100 exact duplicates

tri = vorn3d.Delaunay(points)
print(f"vorn3d {vorn3d.__version__}: {tri.npoints} points, {tri.nsimplex} tetrahedra")

# Cells are positively oriented, so their signed volumes add up to the
# volume of the convex hull.
corners = tri.points[tri.simplices]
volumes = np.linalg.det(corners[:, 1:] - corners[:, :1]) / 6
print(f"smallest cell volume {volumes.min():.3g}, total {volumes.sum():.6f}")

# Neighbour i of a cell lies across the facet opposite its corner i.
hull_facets = tri.convex_hull
print(f"{len(hull_facets)} hull facets, {np.count_nonzero(tri.neighbors == -1)} cell sides on the hull")

# Locate many points at once; -1 means outside the convex hull.
queries = rng.random((5, 3)) * 1.2 - 0.1
print("find_simplex:", tri.find_simplex(queries))

# Duplicates are no vertices: coplanar lists (point, cell, vertex standing for it).
print(f"{len(tri.coplanar)} duplicates, first: {tri.coplanar[0].tolist()}")

indptr, indices = tri.vertex_neighbor_vertices
print(f"vertex 0 has {indptr[1] - indptr[0]} neighbours")

ok = (volumes > 0).all() and len(tri.coplanar) == 100 and len(hull_facets) == np.count_nonzero(tri.neighbors == -1)
raise SystemExit(0 if ok else 1)
