"""Exact Delaunay tetrahedralisation of 3D points.

``vorn3d.Delaunay`` has the names, shapes, dtypes and meaning of the 3D
members of ``scipy.spatial.Delaunay`` that it offers, and decides every
orientation and insphere test exactly for the given double coordinates.
"""
import functools
import operator
import warnings

import numpy as np

from ._core import DelaunayError, Triangulation, __version__, build_parallel, find_simplex_flat, vertex_neighbors
from ._dual import DelaunayGeometry

DelaunayError.__module__ = __name__

__all__ = ["ConvexHull", "Delaunay", "DelaunayError", "LinearNDInterpolator", "Voronoi", "__version__"]

# Corners of the facet opposite corner i, ordered so that its right-hand
# normal points out of a positively oriented cell.
_FACET_CORNERS = np.array([[1, 2, 3], [0, 3, 2], [0, 1, 3], [0, 2, 1]])
# Members derived from simplices and neighbors on first use.
_DERIVED = ("vertex_to_simplex", "convex_hull", "vertex_neighbor_vertices", "coplanar") + DelaunayGeometry._DERIVED


def _as_coordinates(values, name, rows_only):
    """values as a C-contiguous float64 array of shape (..., 3), or (n, 3)
    when rows_only; ValueError otherwise."""
    with warnings.catch_warnings():
        # Complex input would silently lose its imaginary part.
        warnings.simplefilter("error")
        try:
            array = np.array(values, dtype=np.float64, order="C")
        except (TypeError, ValueError, Warning) as exc:
            raise ValueError(f"{name} cannot be converted to float64: {exc}") from None
    if array.ndim == 0 or array.shape[-1] != 3 or (rows_only and array.ndim != 2):
        shape = "(n, 3)" if rows_only else "(..., 3)"
        raise ValueError(f"{name} must have shape {shape}, got {array.shape}")
    return array


def _as_points(values):
    return _as_coordinates(values, "points", rows_only=True)


def _as_workers(workers):
    """workers as the library's thread count (0: every hardware thread);
    ValueError unless it is a positive integer or -1."""
    try:
        count = operator.index(workers)
    except TypeError:
        count = 0
    if count < 1 and count != -1:
        raise ValueError(f"workers must be a positive integer or -1 (every core), got {workers!r}")
    return max(count, 0)


class _FlatMesh:
    """Stands where a Triangulation stands for a mesh built on several
    threads: only its arrays exist, and points are located by a walk
    through them."""

    def __init__(self, points, simplices, neighbors):
        self._arrays = (points, simplices, neighbors)

    @property
    def is_3d(self):
        return len(self._arrays[1]) > 0

    def find_simplex(self, queries):
        return find_simplex_flat(*self._arrays, queries)


class Delaunay(DelaunayGeometry):
    """Delaunay tetrahedralisation of 3D points, computed exactly.

    A stand-in for ``scipy.spatial.Delaunay`` in three dimensions: the
    members below have scipy's names, shapes, dtypes and meaning.

    Parameters
    ----------
    points : array_like, shape (npoints, 3)
        Coordinates, converted to float64.
    incremental : bool
        Allow ``add_points`` until ``close`` is called.
    verbose : bool
        Let the library's progress lines through to standard output
        (silenced otherwise).
    perturb : bool
        Break the ties of degenerate input (points exactly on a common
        sphere: grids, lattices, rounded coordinates) by symbolic
        perturbation, so that the cells depend only on the set of points,
        never on their order or on how they were split over ``add_points``
        calls, and equal those of CGAL's Delaunay_triangulation_3. With
        ``False`` a point exactly on a circumsphere counts as outside and
        the points inserted first decide; the mesh is Delaunay either way.
    workers : int
        Threads that build the tetrahedralisation: 1 (the default) builds
        it in one object, -1 uses every core (scipy's convention). Any
        count gives the same cells (numbered in another order); with
        ``perturb=False`` on degenerate input the ties may be broken
        differently. With ``incremental=True`` and ``workers != 1`` each
        ``add_points`` call tetrahedralises all points anew on as many
        threads. Only the arrays are kept then, and ``find_simplex`` walks
        them.

    Raises
    ------
    ValueError
        ``points`` cannot be converted to an (n, 3) float64 array, or holds
        a NaN or infinite coordinate (the message names the input point);
        ``workers`` is neither a positive integer nor -1.
    DelaunayError
        A ``RuntimeError`` subclass, as scipy raises ``QhullError``: fewer
        than four points, or all points in one plane, so that no
        tetrahedron exists; also any failure inside the library.

    Notes
    -----
    Points with equal coordinates form one vertex, named by the first input
    index that has them; the others are listed in ``coplanar``. The GIL is
    released while points are inserted and located.
    """

    def __init__(self, points, incremental=False, verbose=False, perturb=True, workers=1):
        self._setup(points, incremental, verbose, perturb, workers, False)

    def _setup(self, points, incremental, verbose, perturb, workers, voronoi):
        """The constructor's work. With voronoi, returns the Voronoi arrays
        read from the mesh together with the cells (see Voronoi), or None
        where they were not (several threads, int64 cell numbers)."""
        points = _as_points(points)
        self._threads = _as_workers(workers)
        self._verbose = bool(verbose)
        self._perturb = bool(perturb)
        self._incremental = bool(incremental)
        self._closed = False
        cells = self._start(points, voronoi)
        if not self._mesh.is_3d:
            if len(points) < 4:
                raise DelaunayError(f"at least 4 points are needed, got {len(points)}")
            raise DelaunayError(f"all {len(points)} points lie in one plane: no tetrahedron exists")
        return cells

    def _start(self, points, voronoi=False):
        if self._threads != 1:
            self._build_flat(points)
            return None
        return self._add(Triangulation(self._verbose, self._perturb), np.empty((0, 3)), np.empty(0, dtype=np.int32),
                         points, voronoi)

    def _insert(self, points):
        if self._threads != 1:
            if not np.isfinite(points).all():
                # Let the library reject the new points alone, so that its
                # message counts them from 0 as for one object.
                build_parallel(points, 1, False, self._perturb)
            self._build_flat(np.concatenate([self._points, points]))
            return
        self._add(self._mesh, self._points, self._representative, points)

    def _build_flat(self, points):
        representative, simplices, neighbors = build_parallel(points, self._threads, self._verbose, self._perturb)
        self._mesh = _FlatMesh(points, simplices, neighbors)
        self._simplices, self._neighbors, self._points, self._representative = (
            simplices, neighbors, points, representative)
        for name in _DERIVED:
            self.__dict__.pop(name, None)

    def _add(self, mesh, old_points, old_representative, points, voronoi=False):
        # The library rejects bad input whole, before any change: keep the
        # members as they are until it has accepted the points.
        result = mesh.insert(points, voronoi)
        representative, simplices, neighbors = result[:3]
        self._mesh, self._simplices, self._neighbors = mesh, simplices, neighbors
        self._points = np.concatenate([old_points, points]) if len(old_points) else points
        self._representative = np.concatenate([old_representative, representative])
        for name in _DERIVED:
            self.__dict__.pop(name, None)
        return result[3] if voronoi else None

    @property
    def points(self):
        """(npoints, 3) float64: the input points as given, in input order."""
        return self._points

    @property
    def npoints(self):
        """Number of input points, duplicates included."""
        return len(self._points)

    @property
    def ndim(self):
        """Dimension of the space: 3."""
        return 3

    @property
    def simplices(self):
        """(nsimplex, 4) int32: the input indices of each cell's corners, in
        positive orientation (det[p1 - p0, p2 - p0, p3 - p0] > 0)."""
        return self._simplices

    @property
    def nsimplex(self):
        """Number of tetrahedra."""
        return len(self._simplices)

    @property
    def neighbors(self):
        """(nsimplex, 4) int32 (int64 past 2**31 cells): ``neighbors[s, i]``
        is the cell across the facet opposite corner i of cell s, -1 on the
        convex hull."""
        return self._neighbors

    @functools.cached_property
    def vertex_to_simplex(self):
        """(npoints,) int32 (int64 past 2**31 cells): a cell that has the
        point as a corner; -1 for points that are no vertex (the duplicates
        listed in ``coplanar``)."""
        cell_type = self.neighbors.dtype
        lookup = np.full(self.npoints, -1, dtype=cell_type)
        lookup[self.simplices.ravel()] = np.repeat(np.arange(self.nsimplex, dtype=cell_type), 4)
        return lookup

    @functools.cached_property
    def convex_hull(self):
        """(nfacets, 3) int32: the facets without a neighbour cell, each
        ordered so that its right-hand normal points out of the hull."""
        cell, corner = np.nonzero(self.neighbors == -1)
        return self.simplices[cell[:, None], _FACET_CORNERS[corner]]

    @functools.cached_property
    def vertex_neighbor_vertices(self):
        """(indptr, indices): the vertices joined to vertex k by an edge of
        the mesh are ``indices[indptr[k]:indptr[k + 1]]``, sorted. Each
        array is int32, or int64 when its values do not fit int32 (indptr
        past 2**31 edge ends)."""
        return vertex_neighbors(self.simplices, self.npoints)

    @functools.cached_property
    def coplanar(self):
        """(ncoplanar, 3) int32 (int64 past 2**31 cells): the input points that are no vertex, being
        exact duplicates of an earlier point, as rows (point index, a cell
        with the vertex that stands for it, that vertex's index)."""
        duplicate = np.flatnonzero(self._representative != np.arange(self.npoints))
        vertex = self._representative[duplicate]
        rows = np.column_stack([duplicate, self.vertex_to_simplex[vertex], vertex])
        return rows.astype(self.neighbors.dtype).reshape(-1, 3)

    def find_simplex(self, xi, bruteforce=False, tol=None):
        """The cell that contains each query point.

        ``xi`` is any (..., 3) array; the result is an int32 array (int64
        past 2**31 cells) of shape
        ``xi.shape[:-1]`` with -1 for points outside the convex hull (and for
        NaN or infinite queries). A point on a facet, edge or vertex gets one
        of the cells that hold it. The location walk is exact, so
        ``bruteforce`` and ``tol`` (kept for scipy's signature) are ignored.
        """
        queries = _as_coordinates(xi, "xi", rows_only=False)
        return self._mesh.find_simplex(queries.reshape(-1, 3)).reshape(queries.shape[:-1])

    def add_points(self, points, restart=False):
        """Inserts more points (only with ``incremental=True``, before
        ``close``). They are numbered after the existing ones, and every
        member is updated; ``restart=True`` tetrahedralises all points anew,
        as every call does when ``workers != 1``.
        A NaN or infinite coordinate raises ValueError and leaves the
        triangulation as it was."""
        if not self._incremental:
            raise RuntimeError("add_points needs a Delaunay made with incremental=True")
        if self._closed:
            raise RuntimeError("add_points after close(): the triangulation takes no more points")
        points = _as_points(points)
        if restart:
            self._start(np.concatenate([self.points, points]))
        else:
            self._insert(points)

    def close(self):
        """Ends incremental mode: ``add_points`` raises from now on. The
        arrays and ``find_simplex`` stay usable."""
        self._closed = True


from ._dual import ConvexHull, LinearNDInterpolator, Voronoi  # noqa: E402  (they build on Delaunay)
