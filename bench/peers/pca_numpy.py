#!/usr/bin/python3
"""The NumPy side of the PCA peer comparison: 5 principal components of a complete matrix as
eigh(XᵀX) plus the scores X V, best wall time of the repeats. bench/peers/run.sh runs it with
the threaded OpenBLAS and two threads.

    pca_numpy.py FILE ROWS COLS REPEATS
"""
import sys
import time

import numpy as np

COMPONENTS = 5


def main():
    if len(sys.argv) != 5:
        sys.exit(__doc__)
    path, rows, cols, repeats = sys.argv[1], int(sys.argv[2]), int(sys.argv[3]), int(sys.argv[4])
    x = np.fromfile(path, dtype="<f8").reshape(rows, cols)
    best = None
    for _ in range(repeats):
        start = time.perf_counter()
        _, vectors = np.linalg.eigh(x.T @ x)
        leading = vectors[:, ::-1][:, :COMPONENTS]
        scores = x @ leading
        elapsed = time.perf_counter() - start
        best = elapsed if best is None else min(best, elapsed)
    assert scores.shape == (rows, COMPONENTS)
    print(f"numpy_seconds {best:.6f}")


if __name__ == "__main__":
    main()
