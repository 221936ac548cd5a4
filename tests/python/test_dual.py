"""vorn3d.Voronoi, ConvexHull, LinearNDInterpolator and the lifted members of
vorn3d.Delaunay against scipy.spatial as a peer, and against regions whose
volume is known."""
import gc
from fractions import Fraction

import numpy as np
import pytest
import scipy.interpolate
import scipy.spatial

import vorn3d
from vorn3d._core import region_arrays, voronoi_arrays

RNG = np.random.default_rng(23)


def on_sphere(n):
    p = RNG.normal(size=(n, 3))
    return p / np.linalg.norm(p, axis=1)[:, None]


def grid(k):
    return np.mgrid[0:k, 0:k, 0:k].reshape(3, -1).T.astype(float)


GENERAL = {
    "uniform": RNG.random((400, 3)),
    "gaussian": RNG.normal(size=(300, 3)) * [1, 3, 0.2] + 5,
    "sphere and centre": np.vstack([on_sphere(200), [[0.01, -0.02, 0.03]]]),
}


def same_points(a, b, tol):
    d = scipy.spatial.distance.cdist(a, b)
    return d.min(axis=0).max() < tol and d.min(axis=1).max() < tol


def polygon_area(corners):
    """Area of a planar convex polygon from its corners in any order."""
    centre = corners.mean(axis=0)
    flat = (corners - centre) @ np.linalg.svd(corners - centre)[2][:2].T
    return scipy.spatial.ConvexHull(flat).volume


@pytest.mark.parametrize("name", GENERAL)
def test_voronoi_matches_scipy(name):
    pts = GENERAL[name]
    ours, peer = vorn3d.Voronoi(pts), scipy.spatial.Voronoi(pts)
    arrays = ("vertices", "ridge_points", "point_region")
    assert [getattr(ours, a).dtype for a in arrays] == [getattr(peer, a).dtype for a in arrays]
    assert len(ours.vertices) == len(peer.vertices)
    peer_ridges = dict(zip(map(tuple, np.sort(peer.ridge_points, axis=1).tolist()), peer.ridge_vertices))
    assert len(ours.ridge_points) == len(ours.ridge_vertices) == len(ours.ridge_areas) == len(peer_ridges)
    assert {tuple(sorted(k)) for k in ours.ridge_dict} == set(peer_ridges) and [*ours.ridge_dict.values()] == ours.ridge_vertices
    scale = np.abs(pts).max()
    for (p, q), rv, area in zip(np.sort(ours.ridge_points, axis=1).tolist(), ours.ridge_vertices, ours.ridge_areas):
        theirs = peer_ridges[(p, q)]
        assert (-1 in rv) == (-1 in theirs) == np.isinf(area)
        b = peer.vertices[[v for v in theirs if v >= 0]]
        assert same_points(ours.vertices[[v for v in rv if v >= 0]], b, 1e-9 * scale)
        if not np.isinf(area):
            assert area == pytest.approx(polygon_area(b), rel=1e-7, abs=1e-12 * scale**2)
    for i in range(len(pts)):
        mine, theirs = ours.regions[ours.point_region[i]], peer.regions[peer.point_region[i]]
        assert (-1 in mine) == (-1 in theirs) == np.isinf(ours.volumes[i])
        if -1 not in mine:
            corners = peer.vertices[theirs]
            assert same_points(ours.vertices[mine], corners, 1e-9 * scale)
            assert ours.volumes[i] == pytest.approx(scipy.spatial.ConvexHull(corners).volume, rel=1e-9)


def circumcentres(points, simplices):
    """Circumcentres of the simplices, by numpy's solver."""
    corners = points[simplices]
    edges = corners[:, 1:] - corners[:, :1]
    return corners[:, 0] + np.linalg.solve(2 * edges, (edges**2).sum(axis=2))


def test_voronoi_of_points_agrees_with_the_voronoi_of_their_delaunay():
    """Voronoi(points) reads the cells and the diagram from one mesh,
    Voronoi(Delaunay(points)) from the Delaunay object's arrays, and with
    int64 cell numbers the arrays are read as well: the same ridges, areas
    and volumes, vertex k the circumcentre of simplex k in each, and the
    mesh's own numbering behind find_simplex."""
    pts = np.vstack([GENERAL["uniform"], GENERAL["uniform"][:20]])
    direct, given = vorn3d.Voronoi(pts), vorn3d.Voronoi(vorn3d.Delaunay(pts))
    vorn3d._core._set_int32_limit(1000)
    try:
        wide = vorn3d.Voronoi(pts)
    finally:
        vorn3d._core._set_int32_limit(2**31 - 1)
    assert wide.delaunay.neighbors.dtype == np.int64 and direct.delaunay.neighbors.dtype == np.int32
    faces = []
    for v in (direct, given, wide):
        simplices, neighbors = v.delaunay.simplices, v.delaunay.neighbors
        corners = v.points[simplices]
        assert (np.linalg.det(corners[:, 1:] - corners[:, :1]) > 0).all()
        # neighbors[s, j] holds the facet opposite corner j of s.
        for j in range(4):
            inner = neighbors[:, j] >= 0
            facet, across = np.delete(simplices[inner], j, axis=1), simplices[neighbors[inner, j]]
            assert (facet[:, :, None] == across[:, None, :]).any(axis=2).all()
        assert np.allclose(v.vertices, circumcentres(v.points, simplices), rtol=0, atol=1e-9)
        faces.append(dict(zip(map(tuple, np.sort(v.ridge_points, axis=1).tolist()), v.ridge_areas)))
        assert np.allclose(v.volumes, direct.volumes, rtol=1e-12) and np.array_equal(v.point_region, direct.point_region)
    for other in faces[1:]:
        assert other.keys() == faces[0].keys()
        assert all(other[k] == pytest.approx(a, rel=1e-12) for k, a in faces[0].items())
    # Points inside the hull: centroids of cells of scipy's tetrahedralisation.
    xi = pts[scipy.spatial.Delaunay(pts).simplices[:200]].mean(axis=1)
    cell = direct.delaunay.find_simplex(xi)
    assert (cell >= 0).all()
    bary = np.einsum("nij,nj->ni", direct.delaunay.transform[cell, :3], xi - direct.delaunay.transform[cell, 3])
    assert (bary >= -1e-12).all() and (bary.sum(axis=1) <= 1 + 1e-12).all()


def test_voronoi_arrays_take_int64_neighbors_and_refuse_bad_numbers():
    d = vorn3d.Delaunay(GENERAL["uniform"])
    small = voronoi_arrays(d.simplices, d.neighbors, d.points)
    wide = voronoi_arrays(d.simplices, d.neighbors.astype(np.int64), d.points)
    assert small.keys() == wide.keys() and all(np.array_equal(small[k], wide[k]) for k in small)
    # A ridge of fewer than three vertices (-1 and one) is a wedge along a
    # hull edge of a single cell: every edge of a lone tetrahedron, and
    # some on the hull of the gaussian set.
    for points in [GENERAL["gaussian"], np.eye(4, 3)]:
        t = vorn3d.Delaunay(points)
        raw = voronoi_arrays(t.simplices, t.neighbors, t.points)
        kept = voronoi_arrays(t.simplices, t.neighbors, t.points, drop_wedges=True)
        length = np.diff(raw["ridge_start"])
        listed = length >= 3
        assert not listed.all()
        assert np.array_equal(kept["ridge_points"], raw["ridge_points"][listed])
        assert np.array_equal(kept["ridge_areas"], raw["ridge_areas"][listed])
        assert np.array_equal(kept["ridge_vertices"], raw["ridge_vertices"][np.repeat(listed, length)])
        assert np.array_equal(kept["ridge_start"], np.concatenate([[0], np.cumsum(length[listed])]))
        assert np.array_equal(kept["volumes"], raw["volumes"]) and np.array_equal(kept["vertices"], raw["vertices"])
    bad = d.neighbors.astype(np.int64)
    bad[0, 0] = len(bad)
    with pytest.raises(ValueError, match="simplices must name points, and neighbors cells or -1"):
        voronoi_arrays(d.simplices, bad, d.points)
    # In range but no tetrahedralisation's: an inner cell whose neighbours
    # are all a cell with none of its corners. Refused, not walked for ever.
    inner = np.flatnonzero((d.neighbors >= 0).all(axis=1))[0]
    far = np.flatnonzero(~np.isin(d.simplices, d.simplices[inner]).any(axis=1))[0]
    wrong = d.neighbors.copy()
    wrong[inner] = far
    message = "the cells' neighbours do not close a ring around every edge: no tetrahedralisation"
    with pytest.raises(ValueError, match=message):
        voronoi_arrays(d.simplices, wrong, d.points)
    d.neighbors[inner] = far
    with pytest.raises(ValueError, match=message):
        vorn3d.Voronoi(d)
    wrong = d.simplices.copy()
    wrong[0, 0] = d.npoints
    with pytest.raises(ValueError, match="simplices must name points"):
        region_arrays(wrong, np.zeros(d.npoints, dtype=bool))


@pytest.mark.parametrize("collecting", [True, False])
def test_lists_leave_the_garbage_collector_as_they_found_it(collecting):
    """The lists are built with the cyclic collector held off; it is on or
    off afterwards as it was before."""
    v = vorn3d.Voronoi(GENERAL["uniform"])
    was = gc.isenabled()
    (gc.enable if collecting else gc.disable)()
    try:
        assert len(v.ridge_vertices) == len(v.ridge_points) and len(v.regions) == v.npoints
        assert gc.isenabled() == collecting
    finally:
        (gc.enable if was else gc.disable)()


@pytest.mark.parametrize("n", [60, 700])
def test_cells_tile_the_mirrored_cube(n):
    """n points of the unit cube on a dyadic grid, half in a small corner
    cluster, and their mirror images in its six faces: the originals' cells
    tile the cube and their faces towards the images its surface."""
    inner = np.floor(np.random.default_rng(n).random((n, 3)) * 2**30 + 1) / 2**30
    inner[::2] *= 0.05
    images = [np.where(np.arange(3) == axis, wall - inner, inner) for axis in range(3) for wall in (0.0, 2.0)]
    v = vorn3d.Voronoi(np.concatenate([inner] + images))
    assert np.isfinite(v.volumes[:n]).all() and (v.volumes[:n] > 0).all()
    assert v.volumes[:n].sum() == pytest.approx(1.0, abs=1e-12)
    assert v.ridge_areas[(v.ridge_points < n).sum(axis=1) == 1].sum() == pytest.approx(6.0, abs=1e-9)


def test_lattice_cells_are_unit_cubes_shared_by_duplicates():
    pts = np.vstack([grid(5), grid(5)[::-1]])  # each point twice
    v = vorn3d.Voronoi(pts)
    interior = ((pts > 0) & (pts < 4)).all(axis=1)
    assert np.allclose(v.volumes[interior], 1.0, rtol=0, atol=1e-12) and np.isinf(v.volumes[~interior]).all()
    assert (v.point_region[125:] == np.arange(125)[::-1]).all()
    # The region of a point: its cube's corners, each the centre of several cospherical tetrahedra.
    for p, r in zip(pts[interior], v.point_region[interior]):
        corners = v.vertices[v.regions[r]] - p
        assert np.allclose(np.abs(corners), 0.5, atol=1e-9) and len(np.unique(corners.round(9), axis=0)) == 8
    h = vorn3d.ConvexHull(pts)
    assert h.volume == pytest.approx(64.0, rel=1e-14) and h.area == pytest.approx(96.0, rel=1e-14)


@pytest.mark.parametrize("eps", [1e-3, 1e-7, 1e-9])
def test_circumcentre_of_a_flat_cell_is_the_exact_one(eps):
    """Three corners span a tilted plane, the fourth lies eps off it. The
    relative error of the centre grows like the unit round-off over the
    flatness: about 1e-7 in double at eps = 1e-9, 1e-10 in long double."""
    n, u = np.array([0.3, -0.5, 0.8]) / 0.9899494936611666, np.array([0.5, 0.3, 0.0]) / 0.5830951894845301
    pts = [0.13, 0.71, 0.29] + np.array([[0, 0, 0], [1, 0, 0], [0, 1, 0], [0.7, 0.9, eps]]) @ [u, np.cross(u, n), n]
    # |x - a|^2 = |x - p|^2 for the corners p after a: 2 (p - a).x = |p|^2 - |a|^2, by Cramer's rule in rationals.
    a, *rest = [[Fraction(x) for x in p] for p in pts.tolist()]
    m = [[2 * (p[j] - a[j]) for j in range(3)] + [sum(p[j] ** 2 - a[j] ** 2 for j in range(3))] for p in rest]

    def det(i, j, k):
        return (m[0][i] * (m[1][j] * m[2][k] - m[1][k] * m[2][j]) - m[0][j] * (m[1][i] * m[2][k] - m[1][k] * m[2][i])
                + m[0][k] * (m[1][i] * m[2][j] - m[1][j] * m[2][i]))

    exact = np.array([float(det(*c) / det(0, 1, 2)) for c in ((3, 1, 2), (0, 3, 2), (0, 1, 3))])
    assert np.abs(vorn3d.Voronoi(pts).vertices[0] - exact).max() < 1e-9 * np.abs(exact).max() + 1e-15


HULLS = {
    "cube": RNG.random((20000, 3)),
    "sphere": on_sphere(3000),
    "gaussian": RNG.normal(size=(2000, 3)),
    "few": RNG.random((12, 3)),
    "with duplicates": np.vstack([on_sphere(100)] * 2),
}


@pytest.mark.parametrize("name", HULLS)
def test_convex_hull_matches_scipy(name):
    pts = HULLS[name]
    ours, peer = vorn3d.ConvexHull(pts), scipy.spatial.ConvexHull(pts)
    assert ours.volume == pytest.approx(peer.volume, rel=1e-12) and ours.area == pytest.approx(peer.area, rel=1e-12)
    assert set(map(tuple, pts[ours.vertices].tolist())) == set(map(tuple, pts[peer.vertices].tolist()))
    assert ours.simplices.dtype == ours.neighbors.dtype == np.int32 and ours.nsimplex == len(ours.simplices)
    # Outward unit normals: every point on the inner side of every facet's
    # plane, and each facet's corners on its own.
    assert (pts @ ours.equations[:, :3].T + ours.equations[:, 3] <= 1e-12).all()
    assert np.abs(np.einsum("fij,fj->fi", pts[ours.simplices], ours.equations[:, :3]) + ours.equations[:, 3:]).max() < 1e-12
    assert np.allclose(np.linalg.norm(ours.equations[:, :3], axis=1), 1.0)
    # neighbors[f, j] is the other facet with the edge opposite corner j of f.
    for j in range(3):
        edge, across = np.delete(ours.simplices, j, axis=1), ours.simplices[ours.neighbors[:, j]]
        assert (across[:, :, None] == edge[:, None, :]).any(axis=1).all() and (ours.neighbors[:, j] != np.arange(ours.nsimplex)).all()
    if name == "with duplicates":
        assert sorted(ours.coplanar[:, 0].tolist()) == list(range(100, 200))
        assert (ours.coplanar[:, 2] == ours.coplanar[:, 0] - 100).all()


@pytest.mark.parametrize("name", GENERAL)
def test_delaunay_lifted_members_match_scipy(name):
    pts = GENERAL[name]
    ours, peer = vorn3d.Delaunay(pts), scipy.spatial.Delaunay(pts)
    rows = {tuple(sorted(s)): i for i, s in enumerate(peer.simplices.tolist())}
    match = np.array([rows[tuple(sorted(s))] for s in ours.simplices.tolist()])
    assert (ours.paraboloid_scale, ours.paraboloid_shift) == pytest.approx((peer.paraboloid_scale, peer.paraboloid_shift), rel=1e-14)
    assert np.allclose(ours.lift_points(pts[:7]), peer.lift_points(pts[:7]), rtol=1e-14)
    assert (ours.min_bound == peer.min_bound).all() and (ours.max_bound == peer.max_bound).all()
    assert np.allclose(ours.equations, peer.equations[match], rtol=0, atol=1e-9)
    assert np.allclose(ours.plane_distance(pts[0] + 0.1), peer.plane_distance(pts[0] + 0.1)[match], rtol=0, atol=1e-9)
    # transform takes each simplex's corners 0..2 to the unit vectors and corner 3 to 0.
    bary = np.einsum("sij,skj->ski", ours.transform[:, :3], pts[ours.simplices] - ours.transform[:, None, 3])
    assert np.allclose(bary, np.eye(4, 3), rtol=0, atol=1e-8)


@pytest.mark.parametrize("values", ["scalar", "vector", "complex"])
@pytest.mark.parametrize("rescale", [False, True])
def test_linear_interpolation_matches_scipy(values, rescale):
    pts = GENERAL["gaussian"]
    data = {"scalar": RNG.random(len(pts)), "vector": RNG.random((len(pts), 2, 2)),
            "complex": RNG.random(len(pts)) + 1j * RNG.random(len(pts))}[values]
    lo, hi = pts.min(axis=0), pts.max(axis=0)
    xi = lo - 0.1 * (hi - lo) + RNG.random((40, 30, 3)) * 1.2 * (hi - lo)
    ours = vorn3d.LinearNDInterpolator(pts, data, fill_value=-7.0, rescale=rescale)
    got, expected = ours(xi), scipy.interpolate.LinearNDInterpolator(pts, data, fill_value=-7.0, rescale=rescale)(xi)
    assert got.shape == expected.shape and got.dtype == expected.dtype
    assert np.allclose(got, expected, rtol=1e-10, atol=1e-10) and (got == -7.0).any()
    assert np.allclose(ours(xi[..., 0], xi[..., 1], xi[..., 2]), got)
    if not rescale:  # over a finished tetrahedralisation
        assert np.allclose(vorn3d.LinearNDInterpolator(vorn3d.Delaunay(pts), data, -7.0)(xi), expected, rtol=1e-10, atol=1e-10)


BAD = {
    "nan": np.array([[0, 0, 0], [1, 0, 0], [0, 1, 0], [0, 0, np.nan], [1, 1, 1]]),
    "inf": np.vstack([RNG.random((100, 3)), [[np.inf, 0, 0]]]),
    "shape": np.zeros((5, 2)),
    "three points": np.eye(3),
    "coplanar": np.column_stack([RNG.random((100, 2)), np.zeros(100)]),
}


@pytest.mark.parametrize("name", BAD)
@pytest.mark.parametrize("make", [vorn3d.Voronoi, vorn3d.ConvexHull,
                                  lambda p: vorn3d.LinearNDInterpolator(p, np.zeros(len(p)))])
def test_bad_input_raises_as_delaunay(name, make):
    with pytest.raises(Exception) as expected:
        vorn3d.Delaunay(BAD[name])
    with pytest.raises(type(expected.value)) as got:
        make(BAD[name])
    assert str(got.value) == str(expected.value)


def test_workers_give_the_same_dual():
    """Built on 3 threads (regions of 1000 points each), the cells come in
    another order: the faces, areas, volumes and interpolated values stay."""
    pts = RNG.random((3000, 3))
    one, three = vorn3d.Voronoi(pts), vorn3d.Voronoi(pts, workers=3)
    assert not np.array_equal(one.delaunay.simplices, three.delaunay.simplices)
    faces = [dict(zip(map(tuple, np.sort(v.ridge_points, axis=1).tolist()), v.ridge_areas)) for v in (one, three)]
    assert faces[0].keys() == faces[1].keys()
    assert np.allclose([faces[1][k] for k in faces[0]], list(faces[0].values()), rtol=1e-12)
    assert np.allclose(one.volumes, three.volumes, rtol=1e-12) and (np.isinf(one.volumes) == np.isinf(three.volumes)).all()
    xi = RNG.random((500, 3))
    values = np.sin(pts).sum(axis=1)
    assert np.allclose(vorn3d.LinearNDInterpolator(pts, values, workers=2)(xi), vorn3d.LinearNDInterpolator(pts, values)(xi),
                       rtol=1e-12, atol=1e-12, equal_nan=True)
    with pytest.raises(ValueError, match="workers must be"):
        vorn3d.ConvexHull(pts, workers=0)
