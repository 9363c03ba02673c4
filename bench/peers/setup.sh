#!/usr/bin/env bash
# Install the peers that bench/peers/run.sh compares the engine with: R with pcaMethods, NumPy
# with the threaded OpenBLAS, and scikit-learn. Kept apart from scripts/setup.sh so that the
# build and the tests never pull in R. Idempotent: packages already present are left alone.
#
# Installing libopenblas0-pthread makes it the system's default BLAS and LAPACK (Debian's
# alternatives). run.sh does not rely on that: it points NumPy at the threaded OpenBLAS itself.
set -euo pipefail

packages=(r-base-core r-bioc-pcamethods python3-numpy python3-sklearn libopenblas0-pthread)

missing=()
for pkg in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$pkg" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$pkg")
  fi
done

if [ ${#missing[@]} -eq 0 ]; then
  echo "peers setup: all packages present"
  exit 0
fi

SUDO=""
if [ "$(id -u)" -ne 0 ]; then SUDO="sudo"; fi
echo "peers setup: installing ${missing[*]}"
$SUDO apt-get update -qq
DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}" </dev/null
