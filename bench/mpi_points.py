"""Writes N points uniform in the unit cube as a binary little-endian PLY
file (x, y, z as doubles), the input of bench/mpi_scaling.sh."""
import sys

import numpy as np

n, path = int(sys.argv[1]), sys.argv[2]
seed = int(sys.argv[3]) if len(sys.argv) > 3 else 1
xyz = np.random.default_rng(seed).random((n, 3))
with open(path, "wb") as out:
    out.write(("ply\nformat binary_little_endian 1.0\nelement vertex %d\n"
               "property double x\nproperty double y\nproperty double z\nend_header\n" % n).encode())
    out.write(xyz.astype("<f8").tobytes())
