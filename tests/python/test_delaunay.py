"""vorn3d.Delaunay against scipy.spatial as a peer and against the definitions
of its members, on general-position, degenerate and bad input."""
import numpy as np
import pytest
from scipy.spatial import ConvexHull
from scipy.spatial import Delaunay as ScipyDelaunay

import vorn3d

RNG = np.random.default_rng(2024)


def integer_grid(lo, hi):
    return np.mgrid[lo:hi, lo:hi, lo:hi].reshape(3, -1).T.astype(float)


def integer_sphere(r2):
    """All integer points with x^2 + y^2 + z^2 == r2: exactly cospherical."""
    g = integer_grid(-int(r2**0.5) - 1, int(r2**0.5) + 2)
    return g[(g * g).sum(axis=1) == r2]


def with_duplicates(points, k):
    dup = np.concatenate([points, points[RNG.integers(0, len(points), k)]])
    return dup[RNG.permutation(len(dup))]


GENERAL = {
    "uniform": RNG.random((500, 3)),
    "gaussian": RNG.normal(size=(400, 3)),
    "thin slab": RNG.random((300, 3)) * [1, 1, 1e-6],
}
DEGENERATE = {
    "grid": integer_grid(0, 6),
    "cospherical": integer_sphere(325),
    "grid with duplicates": with_duplicates(integer_grid(0, 5), 60),
    "duplicates": with_duplicates(RNG.random((200, 3)), 80),
}


def cell_sets(simplices):
    return {tuple(s) for s in np.sort(simplices, axis=1)}


def det3(u, v, w):
    return np.einsum("ij,ij->i", u, np.cross(v, w))


def insphere(a, b, c, d, e):
    """Negative when e is strictly inside the sphere of the positively
    oriented (a, b, c, d); exact on small integer coordinates."""
    r = [p - e for p in (a, b, c, d)]
    lift = [np.einsum("ij,ij->i", x, x) for x in r]
    return (-lift[0] * det3(r[1], r[2], r[3]) + lift[1] * det3(r[0], r[2], r[3])
            - lift[2] * det3(r[0], r[1], r[3]) + lift[3] * det3(r[0], r[1], r[2]))


@pytest.mark.parametrize("name", GENERAL)
def test_same_cells_and_locations_as_scipy(name):
    pts = GENERAL[name]
    ours, peer = vorn3d.Delaunay(pts), ScipyDelaunay(pts)
    assert cell_sets(ours.simplices) == cell_sets(peer.simplices)
    lo, hi = pts.min(axis=0), pts.max(axis=0)
    xi = lo - 0.2 * (hi - lo) + RNG.random((4, 300, 3)) * 1.4 * (hi - lo)
    found = ours.find_simplex(xi)
    assert found.shape == (4, 300) and found.dtype == np.int32
    expected = peer.find_simplex(xi)
    assert ((found == -1) == (expected == -1)).all() and (found == -1).any() and (found >= 0).any()
    inside = found >= 0
    assert (np.sort(ours.simplices[found[inside]], axis=1) == np.sort(peer.simplices[expected[inside]], axis=1)).all()


@pytest.mark.parametrize("workers", [1, 4])
@pytest.mark.parametrize("name", list(GENERAL) + list(DEGENERATE))
def test_members_match_their_definitions(name, workers):
    pts = {**GENERAL, **DEGENERATE}[name]
    d = vorn3d.Delaunay(pts, workers=workers)
    s, nb = d.simplices, d.neighbors
    assert d.points.dtype == np.float64 and (d.points == pts).all() and d.npoints == len(pts) and d.ndim == 3
    assert s.dtype == nb.dtype == np.int32 and s.shape == nb.shape == (d.nsimplex, 4)
    p = pts[s]
    volume6 = det3(p[:, 1] - p[:, 0], p[:, 2] - p[:, 0], p[:, 3] - p[:, 0])
    assert (volume6 > 0).all()

    # Every facet lies in one or two cells; neighbors pairs exactly those.
    owners = {}
    for c in range(d.nsimplex):
        for i in range(4):
            owners.setdefault(tuple(sorted(np.delete(s[c], i))), []).append((c, i))
    assert all(len(o) <= 2 for o in owners.values())
    expected = np.full_like(nb, -1)
    for o in owners.values():
        if len(o) == 2:
            (c0, i0), (c1, i1) = o
            expected[c0, i0], expected[c1, i1] = c1, c0
    assert (nb == expected).all()
    hull = {f for f, o in owners.items() if len(o) == 1}
    assert d.convex_hull.dtype == np.int32 and cell_sets(d.convex_hull) == hull
    # Outward hull facets: the divergence theorem gives the cells' volume,
    # which is also the volume of scipy's convex hull.
    h = pts[d.convex_hull]
    assert det3(h[:, 0], h[:, 1], h[:, 2]).sum() == pytest.approx(volume6.sum(), rel=1e-12)
    assert volume6.sum() / 6 == pytest.approx(ConvexHull(pts).volume, rel=1e-9)

    # Empty spheres: no cell's neighbour has its far corner strictly inside
    # (exact on integer coordinates; the general sets are compared with scipy).
    if (pts == np.round(pts)).all():
        c, i = np.nonzero(nb >= 0)
        n = nb[c, i]
        far = s[n, (nb[n] == c[:, None]).argmax(axis=1)]
        q = pts.astype(np.int64)
        assert (insphere(*(q[s[c, j]] for j in range(4)), q[far]) >= 0).all()

    vertices = np.unique(s)
    first = {tuple(x): k for k, x in reversed(list(enumerate(pts)))}
    assert list(vertices) == sorted(first.values())
    v2s = d.vertex_to_simplex
    assert v2s.dtype == np.int32 and (s[v2s[vertices]] == vertices[:, None]).any(axis=1).all()
    assert (np.delete(v2s, vertices) == -1).all()
    indptr, indices = d.vertex_neighbor_vertices
    edges = {(a, b) for c in s for a in c for b in c if a != b}
    assert len(indices) == len(edges) and indptr[-1] == len(indices) and len(indptr) == d.npoints + 1
    assert {(k, j) for k in range(d.npoints) for j in indices[indptr[k]:indptr[k + 1]]} == edges

    # Duplicates: coplanar rows (point, a cell with its vertex, that vertex).
    cop = d.coplanar
    assert cop.dtype == np.int32 and cop.shape == (d.npoints - len(vertices), 3)
    assert all(first[tuple(pts[k])] == v != k and v in s[c] for k, c, v in cop)
    # Locating the input points finds cells with those coordinates as a corner.
    found = d.find_simplex(pts)
    assert (pts[s[found]] == pts[:, None, :]).all(axis=2).any(axis=1).all()


@pytest.mark.parametrize("workers", [1, 3])
def test_incremental_insertion_numbers_points_after_the_earlier_ones(workers):
    a = RNG.random((300, 3))
    b = np.concatenate([RNG.random((200, 3)), a[[5, 7, 5]]])
    d = vorn3d.Delaunay(a, incremental=True, workers=workers)
    d.add_points(b)
    whole = np.concatenate([a, b])
    assert d.npoints == 503 and (d.points == whole).all()
    assert cell_sets(d.simplices) == cell_sets(ScipyDelaunay(whole[:500]).simplices)
    assert d.coplanar[:, [0, 2]].tolist() == [[500, 5], [501, 7], [502, 5]]
    assert len(d.vertex_to_simplex) == 503 and len(d.vertex_neighbor_vertices[0]) == 504
    before = d.simplices.copy()
    for restart, position in ((False, 1), (True, 504)):
        with pytest.raises(ValueError, match=f"non-finite coordinate in input point {position}$"):
            d.add_points([[0.5, 0.5, 0.5], [np.inf, 0, 0]], restart=restart)
        assert (d.simplices == before).all() and d.npoints == 503
    d.add_points(RNG.random((10, 3)), restart=True)
    distinct = np.delete(np.arange(513), [500, 501, 502])
    assert cell_sets(d.simplices) == cell_sets(distinct[ScipyDelaunay(d.points[distinct]).simplices])
    d.close()
    with pytest.raises(RuntimeError, match="after close"):
        d.add_points(RNG.random((5, 3)))
    assert (d.find_simplex(d.points[:3]) >= 0).all()
    with pytest.raises(RuntimeError, match="incremental=True"):
        vorn3d.Delaunay(a).add_points(b)


SQUARE = [[0, 0, 0], [1, 0, 0], [0, 1, 0], [1, 1, 0], [0, 0, 1]]


@pytest.mark.parametrize("points, error, text", [
    (np.where(np.eye(5, 3) > 0, np.nan, 1.0), ValueError, "non-finite coordinate in input point 0$"),
    (SQUARE[:3] + [[0, 0, -np.inf]] + SQUARE[3:], ValueError, "non-finite coordinate in input point 3$"),
    (RNG.random((5, 2)), ValueError, r"shape \(n, 3\)"),
    (RNG.random((2, 5, 3)), ValueError, r"shape \(n, 3\)"),
    (7.0, ValueError, r"shape \(n, 3\)"),
    ([["a", "b", "c"]] * 5, ValueError, "cannot be converted to float64"),
    ([[0, 0, 0], [1, 0]], ValueError, "cannot be converted to float64"),
    (np.ones((5, 3)) * 1j, ValueError, "cannot be converted to float64"),
    (np.zeros((0, 3)), vorn3d.DelaunayError, "at least 4 points are needed, got 0$"),
    (SQUARE[:3], vorn3d.DelaunayError, "at least 4 points are needed, got 3$"),
    (SQUARE[:4] * 20, vorn3d.DelaunayError, "all 80 points lie in one plane"),
    ([[t, 2 * t, 3 * t] for t in range(9)], vorn3d.DelaunayError, "all 9 points lie in one plane"),
    ([SQUARE[4]] * 6, vorn3d.DelaunayError, "all 6 points lie in one plane"),
])
@pytest.mark.parametrize("workers", [1, 4])
def test_bad_input_raises_a_clear_error_and_prints_nothing(points, error, text, workers, capfd):
    with pytest.raises(error, match=text):
        vorn3d.Delaunay(points, workers=workers)
    assert capfd.readouterr().out == ""


@pytest.mark.parametrize("workers", [0, -2, 2.5, "4", None])
def test_workers_must_be_a_positive_integer_or_minus_one(workers):
    with pytest.raises(ValueError, match="workers must be a positive integer or -1"):
        vorn3d.Delaunay(SQUARE, workers=workers)


@pytest.mark.parametrize("workers", [4, -1])
@pytest.mark.parametrize("name", list(GENERAL) + list(DEGENERATE))
def test_workers_give_the_mesh_of_one_object(name, workers):
    pts = {**GENERAL, **DEGENERATE}[name]
    one, many = vorn3d.Delaunay(pts), vorn3d.Delaunay(pts, workers=workers)
    # perm maps the cell numbers of many to those of one.
    number = {frozenset(c): k for k, c in enumerate(one.simplices)}
    perm = np.array([number[frozenset(c)] for c in many.simplices])
    assert many.nsimplex == one.nsimplex and len(set(perm)) == one.nsimplex
    # Neighbour i lies across the facet without corner i, in both numberings.
    corner = (one.simplices[perm][:, None, :] == many.simplices[:, :, None]).argmax(axis=2)
    across = np.take_along_axis(one.neighbors[perm], corner, axis=1)
    assert (np.where(many.neighbors >= 0, perm[many.neighbors], -1) == across).all()
    assert cell_sets(many.convex_hull) == cell_sets(one.convex_hull)
    assert [a.tolist() for a in many.vertex_neighbor_vertices] == [a.tolist() for a in one.vertex_neighbor_vertices]
    assert (many.coplanar[:, [0, 2]] == one.coplanar[:, [0, 2]]).all()
    assert np.allclose(many.equations, one.equations[perm], rtol=0, atol=1e-9)
    # Random queries lie strictly inside a cell (or outside): the same cell.
    lo, hi = pts.min(axis=0), pts.max(axis=0)
    xi = lo - 0.2 * (hi - lo) + RNG.random((2000, 3)) * 1.4 * (hi - lo)
    found, expected = many.find_simplex(xi), one.find_simplex(xi)
    assert found.dtype == np.int32 and (found == -1).any() and (found >= 0).any()
    assert (np.where(found >= 0, perm[found], -1) == expected).all()


def test_find_simplex_bad_queries():
    d = vorn3d.Delaunay(SQUARE)
    found = d.find_simplex([[np.nan, 0, 0], [np.inf, 0, 0], [0.1, 0.1, 0.1]])
    assert found[:2].tolist() == [-1, -1] and found[2] >= 0
    assert d.find_simplex([0.1, 0.1, 0.1]).shape == ()
    with pytest.raises(ValueError, match=r"shape \(\.\.\., 3\)"):
        d.find_simplex([[0.1, 0.1]])


def test_errors_are_runtime_errors_and_output_is_silenced_unless_verbose(capfd):
    assert issubclass(vorn3d.DelaunayError, RuntimeError)
    vorn3d.Delaunay(SQUARE).find_simplex([[2.0, 2.0, 2.0]])
    assert capfd.readouterr().out == ""
    vorn3d.Delaunay(SQUARE, verbose=True)
    assert "numPoints=5" in capfd.readouterr().out


@pytest.mark.parametrize("workers", [1, 2])
def test_index_arrays_widen_to_int64_when_their_values_do_not_fit_int32(workers):
    pts = with_duplicates(RNG.random((200, 3)), 10)
    xi = RNG.random((60, 3)) * 1.2 - 0.1
    narrow = vorn3d.Delaunay(pts)
    # Below the number of cells and of edge ends, above the point numbers.
    vorn3d._core._set_int32_limit(1000)
    try:
        wide = vorn3d.Delaunay(pts, workers=workers)
        found = wide.find_simplex(xi)
        indptr, indices = wide.vertex_neighbor_vertices
        v2s, cop = wide.vertex_to_simplex, wide.coplanar
    finally:
        vorn3d._core._set_int32_limit(2**31 - 1)
    assert wide.nsimplex > 1000 and indptr[-1] > 1000
    assert wide.neighbors.dtype == found.dtype == v2s.dtype == cop.dtype == indptr.dtype == np.int64
    assert wide.simplices.dtype == indices.dtype == wide.convex_hull.dtype == np.int32
    # The same cells, numbered otherwise: perm maps wide numbers to narrow ones.
    number = {frozenset(c): k for k, c in enumerate(narrow.simplices)}
    perm = np.array([number[frozenset(c)] for c in wide.simplices])
    assert (narrow.simplices[perm] == wide.simplices).all()
    assert (narrow.neighbors[perm] == np.where(wide.neighbors >= 0, perm[wide.neighbors], -1)).all()
    assert (np.where(found >= 0, perm[found], -1) == narrow.find_simplex(xi)).all()
    assert [a.tolist() for a in (indptr, indices)] == [a.tolist() for a in narrow.vertex_neighbor_vertices]
    vertices = np.unique(wide.simplices)
    assert (wide.simplices[v2s[vertices]] == vertices[:, None]).any(axis=1).all()
    assert (cop[:, [0, 2]] == narrow.coplanar[:, [0, 2]]).all() and len(cop) == 10
    assert (wide.simplices[cop[:, 1]] == cop[:, 2:3]).any(axis=1).all()


def cell_coordinates(d):
    return {tuple(sorted(map(tuple, d.points[s]))) for s in d.simplices}


@pytest.mark.parametrize("name", DEGENERATE)
def test_perturbed_cells_depend_only_on_the_point_set(name):
    pts = DEGENERATE[name]
    shuffled = pts[RNG.permutation(len(pts))]
    steps = [vorn3d.Delaunay(shuffled[:20], incremental=True, perturb=p) for p in (True, False)]
    for d in steps:
        d.add_points(shuffled[20:])
    assert cell_coordinates(steps[0]) == cell_coordinates(vorn3d.Delaunay(pts))
    # With the plain rule, how the points are split over calls decides
    # between the Delaunay meshes of a grid.
    assert name != "grid" or cell_coordinates(steps[1]) != cell_coordinates(vorn3d.Delaunay(shuffled, perturb=False))
