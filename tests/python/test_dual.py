"""vorn3d.Voronoi, ConvexHull, LinearNDInterpolator and the lifted members of
vorn3d.Delaunay against scipy.spatial as a peer, and against regions whose
volume is known."""
import numpy as np
import pytest
import scipy.interpolate
import scipy.spatial
import scipy.spatial.distance

import vorn3d

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


def pairs(ridge_points):
    return {tuple(r) for r in np.sort(ridge_points, axis=1).tolist()}


def same_points(a, b, tol):
    """a and b hold the same points, up to tol, in any order."""
    if len(a) == 0 or len(b) == 0:
        return len(a) == len(b)
    d = scipy.spatial.distance.cdist(a, b)
    return d.min(axis=0).max() < tol and d.min(axis=1).max() < tol


def polygon_area(corners):
    """Area of a planar convex polygon from its corners in any order."""
    centre = corners.mean(axis=0)
    _, _, axes = np.linalg.svd(corners - centre)
    flat = (corners - centre) @ axes[:2].T
    return scipy.spatial.ConvexHull(flat).volume


@pytest.mark.parametrize("name", GENERAL)
def test_voronoi_matches_scipy(name):
    pts = GENERAL[name]
    ours, peer = vorn3d.Voronoi(pts), scipy.spatial.Voronoi(pts)
    assert ours.vertices.dtype == np.float64 and ours.vertices.shape == peer.vertices.shape
    assert ours.ridge_points.dtype == peer.ridge_points.dtype and ours.point_region.dtype == peer.point_region.dtype
    assert pairs(ours.ridge_points) == pairs(peer.ridge_points)
    assert len(ours.ridge_vertices) == len(ours.ridge_points) == len(ours.ridge_areas)
    assert {tuple(sorted(k)) for k in ours.ridge_dict} == pairs(peer.ridge_points)
    assert ours.ridge_dict[tuple(ours.ridge_points[-1])] == ours.ridge_vertices[-1]
    scale = np.abs(pts).max()
    peer_ridges = dict(zip(map(tuple, np.sort(peer.ridge_points, axis=1).tolist()), peer.ridge_vertices))
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


def mirrored(n, seed):
    """n points of the unit cube on a dyadic grid, then their exact mirror
    images in its six faces: the originals' cells tile the cube."""
    inner = np.floor(np.random.default_rng(seed).random((n, 3)) * 2**30 + 1) / 2**30
    images = [inner]
    for axis in range(3):
        for wall in (0.0, 2.0):
            image = inner.copy()
            image[:, axis] = wall - image[:, axis]
            images.append(image)
    return np.concatenate(images)


@pytest.mark.parametrize("n", [50, 800])
def test_cells_tile_the_mirrored_cube(n):
    v = vorn3d.Voronoi(mirrored(n, n))
    assert np.isfinite(v.volumes[:n]).all() and (v.volumes[:n] > 0).all()
    assert v.volumes[:n].sum() == pytest.approx(1.0, abs=1e-12)
    # The faces between an original and a mirror image tile the cube's surface.
    originals = (v.ridge_points < n).sum(axis=1)
    assert v.ridge_areas[originals == 1].sum() == pytest.approx(6.0, abs=1e-9)


def test_lattice_cells_are_unit_cubes_and_points_on_a_sphere_unbounded():
    pts = np.vstack([grid(5), grid(5)[::-1]])  # each point twice
    v = vorn3d.Voronoi(pts)
    interior = ((pts > 0) & (pts < 4)).all(axis=1)
    assert np.allclose(v.volumes[interior], 1.0, rtol=0, atol=1e-12) and np.isinf(v.volumes[~interior]).all()
    assert (v.point_region[125:] == np.arange(125)[::-1]).all()
    # A cube's corners, each the centre of several cospherical tetrahedra.
    assert all(len(np.unique(v.vertices[v.regions[r]].round(9), axis=0)) == 8 for r in v.point_region[interior])
    sphere = vorn3d.Voronoi(on_sphere(300))
    assert np.isinf(sphere.volumes).all()
    assert all(-1 in sphere.regions[r] for r in sphere.point_region)


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
    assert ours.equations.shape == (ours.nsimplex, 4)
    # Outward: every point on the inner side of every facet's plane, and
    # each facet's corners on its own.
    assert (pts @ ours.equations[:, :3].T + ours.equations[:, 3] <= 1e-12).all()
    assert np.abs(np.einsum("fij,fj->fi", pts[ours.simplices], ours.equations[:, :3]) + ours.equations[:, 3:]).max() < 1e-12
    # neighbors[f, j] shares the edge opposite corner j of facet f.
    for j in range(3):
        edge = np.delete(ours.simplices, j, axis=1)
        across = ours.simplices[ours.neighbors[:, j]]
        assert ((across[:, :, None] == edge[:, None, :]).any(axis=1)).all()
    if name == "with duplicates":
        assert sorted(ours.coplanar[:, 0].tolist()) == list(range(100, 200))
        assert (ours.coplanar[:, 2] == ours.coplanar[:, 0] - 100).all()


def test_lattice_hull_is_the_box():
    h = vorn3d.ConvexHull(grid(4))
    assert h.volume == pytest.approx(27.0, rel=1e-14) and h.area == pytest.approx(54.0, rel=1e-14)


@pytest.mark.parametrize("name", GENERAL)
def test_delaunay_lifted_members_match_scipy(name):
    pts = GENERAL[name]
    ours, peer = vorn3d.Delaunay(pts), scipy.spatial.Delaunay(pts)
    rows = {tuple(sorted(s)): i for i, s in enumerate(peer.simplices.tolist())}
    match = np.array([rows[tuple(sorted(s))] for s in ours.simplices.tolist()])
    assert ours.paraboloid_scale == pytest.approx(peer.paraboloid_scale, rel=1e-14)
    assert ours.paraboloid_shift == pytest.approx(peer.paraboloid_shift, rel=1e-14)
    assert np.allclose(ours.lift_points(pts[:7]), peer.lift_points(pts[:7]), rtol=1e-14)
    assert (ours.min_bound == peer.min_bound).all() and (ours.max_bound == peer.max_bound).all()
    assert ours.transform.shape == (ours.nsimplex, 4, 3) and ours.equations.shape == (ours.nsimplex, 5)
    assert np.allclose(ours.equations, peer.equations[match], rtol=0, atol=1e-9)
    x = pts.mean(axis=0)
    assert np.allclose(ours.plane_distance(x), peer.plane_distance(x)[match], rtol=0, atol=1e-9)
    # The barycentric coordinates of a point, per corner index, from both.
    xi = pts[ours.simplices].mean(axis=1) + RNG.normal(scale=1e-3, size=(ours.nsimplex, 3))

    def barycentric(tri, cells):
        t = tri.transform[cells]
        c = np.einsum("ijk,ik->ij", t[:, :3], xi - t[:, 3])
        weights = np.column_stack([c, 1 - c.sum(axis=1)])
        order = np.argsort(tri.simplices[cells], axis=1)
        return np.take_along_axis(weights, order, axis=1)

    assert np.allclose(barycentric(ours, np.arange(ours.nsimplex)), barycentric(peer, match), rtol=0, atol=1e-8)


@pytest.mark.parametrize("values", ["scalar", "vector", "complex"])
@pytest.mark.parametrize("rescale", [False, True])
def test_linear_interpolation_matches_scipy(values, rescale):
    pts = GENERAL["gaussian"]
    data = {"scalar": RNG.random(len(pts)), "vector": RNG.random((len(pts), 2, 2)),
            "complex": RNG.random(len(pts)) + 1j * RNG.random(len(pts))}[values]
    lo, hi = pts.min(axis=0), pts.max(axis=0)
    xi = lo - 0.1 * (hi - lo) + RNG.random((40, 30, 3)) * 1.2 * (hi - lo)
    ours = vorn3d.LinearNDInterpolator(pts, data, fill_value=-7.0, rescale=rescale)
    peer = scipy.interpolate.LinearNDInterpolator(pts, data, fill_value=-7.0, rescale=rescale)
    got, expected = ours(xi), peer(xi)
    assert got.shape == expected.shape and got.dtype == expected.dtype
    assert np.allclose(got, expected, rtol=1e-10, atol=1e-10) and (got == -7.0).any()
    assert np.allclose(ours(xi[..., 0], xi[..., 1], xi[..., 2]), got)
    if not rescale:
        tri = vorn3d.Delaunay(pts)
        assert np.allclose(vorn3d.LinearNDInterpolator(tri, data, fill_value=-7.0)(xi), expected, rtol=1e-10, atol=1e-10)


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
