"""The dual of the tetrahedralisation: Voronoi cells and the convex hull, with
the names, shapes and dtypes of scipy.spatial's ``Voronoi`` and
``ConvexHull``; the lifted-paraboloid members of ``Delaunay``; and a
``LinearNDInterpolator`` over the exact tetrahedralisation."""
import functools

import numpy as np

from ._core import convex_hull, csr_lists, region_arrays, voronoi_arrays

# Qhull lifts input points to a paraboloid whose top it puts 10% above the
# highest lifted input point; scipy exposes that scaling, and so do we.
_PARABOLOID_TOP = 1.1


class DelaunayGeometry:
    """Members of ``scipy.spatial.Delaunay`` that derive from the points and
    the simplices alone; mixed into ``vorn3d.Delaunay``."""

    _DERIVED = ("transform", "equations", "_paraboloid")

    @property
    def min_bound(self):
        """(3,) float64: the smallest coordinate of the points per axis."""
        return self.points.min(axis=0)

    @property
    def max_bound(self):
        """(3,) float64: the largest coordinate of the points per axis."""
        return self.points.max(axis=0)

    @functools.cached_property
    def _paraboloid(self):
        lifted = np.einsum("ij,ij->i", self.points, self.points)
        low, high = lifted.min(), _PARABOLOID_TOP * lifted.max()
        scale = np.abs(self.points).max() / (high - low) if high > low else 1.0
        return float(scale), float(-low * scale)

    @property
    def paraboloid_scale(self):
        """Scale of the lifted coordinate: ``lift_points`` maps x to
        ``|x|^2 * paraboloid_scale + paraboloid_shift``, scipy's scaling of
        the paraboloid into the range of the coordinates."""
        return self._paraboloid[0]

    @property
    def paraboloid_shift(self):
        """Shift of the lifted coordinate (see ``paraboloid_scale``)."""
        return self._paraboloid[1]

    def lift_points(self, x):
        """(..., 4) float64: the points x of shape (..., 3) with their lifted
        coordinate appended."""
        x = np.asarray(x, dtype=np.float64)
        z = np.einsum("...i,...i->...", x, x) * self.paraboloid_scale + self.paraboloid_shift
        return np.concatenate([x, z[..., None]], axis=-1)

    @functools.cached_property
    def transform(self):
        """(nsimplex, 4, 3) float64: affine maps to barycentric coordinates.
        For x in simplex s, ``c = transform[s, :3] @ (x - transform[s, 3])``
        are the barycentric coordinates of corners 0..2 and ``1 - c.sum()``
        that of corner 3."""
        corners = self.points[self.simplices]
        last = corners[:, 3, :]
        edges = (corners[:, :3, :] - last[:, None, :]).transpose(0, 2, 1)
        result = np.empty((self.nsimplex, 4, 3))
        result[:, :3, :] = np.linalg.inv(edges)
        result[:, 3, :] = last
        return result

    @functools.cached_property
    def equations(self):
        """(nsimplex, 5) float64: the hyperplane of each simplex's lifted
        corners, unit normal (pointing away from the lifted points) and
        offset, so that ``plane_distance`` is their product with the lifted
        point and 1."""
        corners = self.lift_points(self.points[self.simplices])
        # The lifted coordinate as an affine function a.x + b on each
        # simplex; the plane is a.x - z + b = 0, its downward normal (a, -1).
        system = np.concatenate([corners[:, :, :3], np.ones((self.nsimplex, 4, 1))], axis=2)
        ab = np.linalg.solve(system, corners[:, :, 3:])[:, :, 0]
        planes = np.concatenate([ab[:, :3], -np.ones((self.nsimplex, 1)), ab[:, 3:]], axis=1)
        return planes / np.linalg.norm(planes[:, :4], axis=1)[:, None]

    def plane_distance(self, xi):
        """(nsimplex,) float64 for one point xi of shape (3,): the signed
        distance of its lifted point from each simplex's hyperplane,
        positive when xi is inside the simplex's circumsphere."""
        lifted = self.lift_points(np.asarray(xi, dtype=np.float64).reshape(3))
        return self.equations[:, :4] @ lifted + self.equations[:, 4]


class Voronoi:
    """Voronoi diagram of 3D points, dual to the exact Delaunay
    tetrahedralisation.

    A stand-in for ``scipy.spatial.Voronoi`` in three dimensions, with the
    cell volumes and face areas besides.

    Parameters
    ----------
    points : array_like, shape (npoints, 3)
        Coordinates, converted to float64.
    furthest_site : bool
        Only False (the nearest-site diagram) is offered.
    workers : int
        Threads of the tetrahedralisation, as for ``vorn3d.Delaunay`` (the
        cells, faces and volumes are the same for every count).

    Raises
    ------
    ValueError, DelaunayError
        As ``vorn3d.Delaunay`` for the same points.

    Notes
    -----
    Voronoi vertex k is the circumcentre of the simplex k of the underlying
    tetrahedralisation (``delaunay``). Each ridge belongs to one Delaunay
    edge; on exactly cospherical input (lattices) several vertices coincide
    and some ridges have area zero, where Qhull would merge them. A ridge
    along a hull edge that only one tetrahedron touches (a wedge with one
    finite vertex) is left out, as scipy leaves it out; it changes no volume,
    both of its cells being unbounded. A point equal to an earlier one
    shares its region. ``ridge_vertices`` and
    ``regions`` are built as lists on first use.
    """

    def __init__(self, points, furthest_site=False, workers=1):
        if furthest_site:
            raise ValueError("furthest_site=True is not offered: only the nearest-site diagram")
        from . import Delaunay

        arrays = None
        if isinstance(points, Delaunay):
            self.delaunay = points
        else:
            # One read of the new mesh numbers its cells and gives the
            # Voronoi cells with them.
            self.delaunay = Delaunay.__new__(Delaunay)
            arrays = self.delaunay._setup(points, False, False, True, workers, True)
        self.furthest_site = False
        # An unbounded ridge with one finite vertex (a wedge along a hull
        # edge with a single cell) is not listed, as scipy lists none.
        if arrays is None:
            arrays = voronoi_arrays(self.delaunay.simplices, self.delaunay.neighbors, self.delaunay.points,
                                    drop_wedges=True)
        self.vertices = arrays["vertices"]
        self.ridge_points = arrays["ridge_points"]
        self.ridge_areas = arrays["ridge_areas"]
        self._ridge_start, self._ridge_vertices = arrays["ridge_start"], arrays["ridge_vertices"]
        representative = self.delaunay._representative
        self.point_region = representative.astype(np.intp)
        self.volumes = arrays["volumes"][representative]

    @property
    def points(self):
        """(npoints, 3) float64: the input points."""
        return self.delaunay.points

    @property
    def npoints(self):
        return self.delaunay.npoints

    @property
    def ndim(self):
        return 3

    @property
    def min_bound(self):
        return self.delaunay.min_bound

    @property
    def max_bound(self):
        return self.delaunay.max_bound

    @functools.cached_property
    def ridge_vertices(self):
        """List of lists of int: the Voronoi vertices of each ridge in order
        around it; -1 (the vertex at infinity) first when it is unbounded."""
        return csr_lists(self._ridge_start, self._ridge_vertices)

    @functools.cached_property
    def regions(self):
        """List of lists of int: the Voronoi vertices of each region, -1
        first when it is unbounded; ``regions[point_region[i]]`` is point
        i's cell (a point equal to an earlier one has an empty region of
        its own and is mapped to the earlier one's)."""
        # The cells with corner p, in increasing order, after -1 when p's
        # cell is unbounded.
        unbounded = np.isinf(self.volumes) & (self.point_region == np.arange(self.npoints))
        return csr_lists(*region_arrays(self.delaunay.simplices, unbounded))

    @functools.cached_property
    def ridge_dict(self):
        """Dict from (p, q) point pairs to ridge vertex lists, as scipy's."""
        return {tuple(p): v for p, v in zip(self.ridge_points.tolist(), self.ridge_vertices)}


class ConvexHull:
    """Convex hull of 3D points, decided exactly.

    A stand-in for ``scipy.spatial.ConvexHull`` in three dimensions. Points
    that certainly lie inside the hull of a few extreme points are dropped
    first (a conservative floating-point test with a wide margin); the hull
    of the rest is built incrementally, without a tetrahedralisation, each
    point tested against the facets by an exact orientation sign.

    Parameters
    ----------
    points : array_like, shape (npoints, 3)
    workers : int
        Accepted as by ``vorn3d.Delaunay`` (and checked the same way); the
        hull is built on one thread, from the points the filter keeps.

    Raises
    ------
    ValueError, DelaunayError
        As ``vorn3d.Delaunay`` for the same points.

    Notes
    -----
    Facets are triangles and never merged. A point that lies exactly on the
    hull's surface without being a corner of it (a lattice point in the
    middle of a face) is a corner of some of those triangles; an exact
    duplicate of a hull vertex is listed in ``coplanar``.
    """

    def __init__(self, points, workers=1):
        from . import Delaunay, _as_points, _as_workers

        _as_workers(workers)
        points = _as_points(points)
        if not np.isfinite(points).all() or len(points) < 4:
            Delaunay(points)  # raises the same error as the tetrahedralisation
        arrays = convex_hull(points)
        if not arrays["solid"]:
            Delaunay(points)  # all in one plane: the same error again
            raise AssertionError("a flat point set passed Delaunay")
        self._points = points
        self.simplices = arrays["simplices"]
        self.neighbors = arrays["neighbors"]
        self.equations = arrays["equations"]
        self.area = float(arrays["area"])
        self.volume = float(arrays["volume"])
        self.vertices = np.unique(self.simplices).astype(np.int32)
        # Duplicates of a hull vertex: (point, a facet with the vertex, vertex).
        duplicate, vertex = arrays["duplicates"].T
        facet_of = np.full(len(points), -1, dtype=np.int32)
        facet_of[self.simplices[::-1].ravel()] = np.repeat(np.arange(len(self.simplices), dtype=np.int32)[::-1], 3)
        on_hull = facet_of[vertex] >= 0
        self.coplanar = np.column_stack([duplicate[on_hull], facet_of[vertex[on_hull]], vertex[on_hull]]).astype(
            np.int32).reshape(-1, 3)

    @property
    def points(self):
        return self._points

    @property
    def npoints(self):
        return len(self._points)

    @property
    def ndim(self):
        return 3

    @property
    def nsimplex(self):
        return len(self.simplices)

    @property
    def min_bound(self):
        return self._points.min(axis=0)

    @property
    def max_bound(self):
        return self._points.max(axis=0)


class LinearNDInterpolator:
    """Piecewise linear interpolation over the exact tetrahedralisation.

    A stand-in for ``scipy.interpolate.LinearNDInterpolator`` in three
    dimensions.

    Parameters
    ----------
    points : vorn3d.Delaunay or array_like, shape (npoints, 3)
    values : array_like, shape (npoints, ...)
        Real or complex data at the points.
    fill_value : float
        Value outside the convex hull (NaN by default).
    rescale : bool
        Triangulate the points shifted to their mean and scaled to unit
        extent per axis (the queries likewise).
    workers : int
        Threads of the tetrahedralisation of the points, as for
        ``vorn3d.Delaunay`` (unused when a Delaunay is given).
    """

    def __init__(self, points, values, fill_value=np.nan, rescale=False, workers=1):
        from . import Delaunay

        if isinstance(points, Delaunay):
            if rescale:
                raise ValueError("rescale needs the points, not a finished Delaunay")
            self.tri = points
            self._offset, self._scale = np.zeros(3), np.ones(3)
        else:
            from . import _as_points

            raw = _as_points(points)
            self._offset, self._scale = np.zeros(3), np.ones(3)
            if rescale:
                self._offset = raw.mean(axis=0)
                span = np.ptp(raw, axis=0)
                self._scale = np.where(span > 0, span, 1.0)
            self.tri = Delaunay((raw - self._offset) / self._scale, workers=workers)
        self.points = self.tri.points * self._scale + self._offset if rescale else self.tri.points
        values = np.asarray(values)
        if values.shape[:1] != (self.tri.npoints,):
            raise ValueError(f"values must have {self.tri.npoints} rows, got shape {values.shape}")
        dtype = np.complex128 if np.iscomplexobj(values) else np.float64
        self.values = values.astype(dtype, copy=False)
        self.fill_value = fill_value

    def __call__(self, *args):
        if len(args) == 1:
            xi = np.asarray(args[0], dtype=np.float64)
        else:
            xi = np.stack(np.broadcast_arrays(*[np.asarray(a, dtype=np.float64) for a in args]), axis=-1)
        if xi.shape[-1:] != (3,):
            raise ValueError(f"xi must have shape (..., 3), got {xi.shape}")
        shape = xi.shape[:-1]
        xi = ((xi.reshape(-1, 3) - self._offset) / self._scale)
        simplex = self.tri.find_simplex(xi)
        inside = simplex >= 0
        flat = self.values.reshape(self.tri.npoints, -1)
        out = np.full((len(xi), flat.shape[1]), self.fill_value, dtype=self.values.dtype)
        s = simplex[inside]
        t = self.tri.transform[s]
        c = np.einsum("ijk,ik->ij", t[:, :3, :], xi[inside] - t[:, 3, :])
        weights = np.concatenate([c, 1.0 - c.sum(axis=1, keepdims=True)], axis=1)
        out[inside] = np.einsum("ij,ijk->ik", weights, flat[self.tri.simplices[s]])
        return out.reshape(shape + self.values.shape[1:])
