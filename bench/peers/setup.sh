#!/usr/bin/env bash
# Install the peers that bench/peers/run.sh compares the engine with: R with pcaMethods, NumPy
# with the threaded OpenBLAS, and scikit-learn. Kept apart from scripts/setup.sh so that the
# build and the tests never pull in R. Idempotent: packages already present are left alone.
#
# Installing libopenblas0-pthread makes it the system's default BLAS and LAPACK (Debian's
# alternatives). run.sh does not rely on that: it points NumPy at the threaded OpenBLAS itself.
set -euo pipefail

packages=(r-base-core r-bioc-pcamethods python3-numpy python3-sklearn libopenblas0-pthread)

"$(dirname "$0")/../../scripts/apt-install.sh" "peers setup" "${packages[@]}"
