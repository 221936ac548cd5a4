"""The volume distribution of the Voronoi cells of random points, as a
histogram in a PNG file (matplotlib).

    python3 voronoi_volumes.py [npoints] [output.png]     (default 10^6, voronoi_volumes.png)

The points fill the unit cube; the cells of points on the convex hull are
unbounded (volume inf) and those near it are cut by no wall, so only cells
of points at least 0.05 away from the faces count. Their mean volume is close
to 1 / npoints; for a Poisson process the normalised volumes follow roughly a
gamma distribution of shape 5.6 (Ferenc and Neda), drawn for comparison.
"""
import sys
import time

import matplotlib

matplotlib.use("Agg")
import matplotlib.pyplot as plt  # noqa: E402
import numpy as np  # noqa: E402
from scipy.stats import gamma  # noqa: E402

import vorn3d  # noqa: E402

npoints = int(float(sys.argv[1])) if len(sys.argv) > 1 else 1_000_000
output = sys.argv[2] if len(sys.argv) > 2 else "voronoi_volumes.png"

points = np.random.default_rng(1).random((npoints, 3))
start = time.perf_counter()
voronoi = vorn3d.Voronoi(points)
elapsed = time.perf_counter() - start

inner = ((points > 0.05) & (points < 0.95)).all(axis=1)
volumes = voronoi.volumes[inner] * npoints
assert np.isfinite(volumes).all() and (volumes > 0).all()
unbounded = np.isinf(voronoi.volumes).sum()
print(f"{npoints} points: Delaunay and all Voronoi cells in {elapsed:.2f} s; "
      f"{unbounded} unbounded cells; {inner.sum()} inner cells, mean normalised volume {volumes.mean():.4f}, "
      f"standard deviation {volumes.std():.4f}")

figure, axes = plt.subplots(figsize=(7, 4.5))
axes.hist(volumes, bins=120, density=True, color="tab:blue", alpha=0.7, label=f"{inner.sum()} inner cells")
x = np.linspace(0, volumes.max(), 400)
axes.plot(x, gamma.pdf(x, 5.586, scale=1 / 5.586), color="black", lw=1.2, label="gamma, shape 5.586")
axes.set_xlabel("cell volume x npoints")
axes.set_ylabel("density")
axes.set_title(f"Voronoi cell volumes of {npoints} uniform random points")
axes.legend()
figure.tight_layout()
figure.savefig(output, dpi=120)
print(f"histogram written to {output}")
# The mean of the inner cells' volume is 1 / npoints up to the noise of the
# sample: a wrong volume formula shows here.
assert abs(volumes.mean() - 1) < 0.05, volumes.mean()
