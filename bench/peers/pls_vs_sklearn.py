#!/usr/bin/python3
"""PLS with 5 fixed components on 20 000 cases, 200 predictors and 3 dependents: the engine
(mspc_pls_peer) against scikit-learn's PLSRegression, side by side on the same generated data.

Both centre and scale every column and fit the same number of components; the best wall time
of the repeats is reported for each, with the ratio. Run with Debian's /usr/bin/python3 after
building the `bench` preset:

    /usr/bin/python3 bench/peers/pls_vs_sklearn.py build/bench/bench/mspc_pls_peer
"""
import os
import subprocess
import sys
import tempfile
import time

import numpy as np
from sklearn.cross_decomposition import PLSRegression

ROWS, PREDICTORS, DEPENDENTS, COMPONENTS, REPEATS = 20000, 200, 3, 5, 3
SEED, RANK = 20261121, 8


def generate():
    """Low-rank predictors plus noise; dependents linear in the latent scores plus noise."""
    rng = np.random.default_rng(SEED)
    scores = rng.standard_normal((ROWS, RANK)) * np.arange(RANK, 0, -1)
    x = scores @ rng.standard_normal((RANK, PREDICTORS)) + 0.5 * rng.standard_normal((ROWS, PREDICTORS))
    y = scores @ rng.standard_normal((RANK, DEPENDENTS)) + 0.3 * rng.standard_normal((ROWS, DEPENDENTS))
    return x, y


def time_engine(executable, x, y):
    with tempfile.TemporaryDirectory() as folder:
        path = os.path.join(folder, "table.f64")
        np.ascontiguousarray(np.hstack([x, y]), dtype="<f8").tofile(path)
        output = subprocess.run(
            [executable, path, str(ROWS), str(PREDICTORS), str(DEPENDENTS), str(COMPONENTS), str(REPEATS)],
            check=True, capture_output=True, text=True).stdout.split()
    return float(output[1])


def time_sklearn(x, y):
    best = None
    for _ in range(REPEATS):
        start = time.perf_counter()
        PLSRegression(n_components=COMPONENTS, scale=True).fit(x, y)
        elapsed = time.perf_counter() - start
        best = elapsed if best is None else min(best, elapsed)
    return best


def main():
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    x, y = generate()
    engine = time_engine(sys.argv[1], x, y)
    peer = time_sklearn(x, y)
    print(f"PLS {COMPONENTS} components, {ROWS} x {PREDICTORS} predictors, {DEPENDENTS} dependents")
    print(f"  engine (mspc_pls_peer):       {engine:.3f} s")
    print(f"  scikit-learn PLSRegression:   {peer:.3f} s")
    print(f"  ratio (scikit-learn / engine): {peer / engine:.2f}x")


if __name__ == "__main__":
    main()
