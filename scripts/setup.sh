#!/usr/bin/env bash
# Install every Debian package that the build, the tests and the benchmarks need.
# Idempotent: packages already present are left alone; nothing is downloaded any other way.
set -euo pipefail

packages=(
  cmake ninja-build g++ pkg-config clang-format
  libboost-math-dev libboost-dev libpugixml-dev nlohmann-json3-dev libcli11-dev
  libfast-float-dev libxlsxwriter-dev libreadstat-dev
  libgtest-dev libgmock-dev libbenchmark-dev liblapack-dev
  clang libomp-dev  # the libFuzzer targets
  unzip chromium fonts-dejavu-core  # the report tests read workbooks back and render pages
  python3-sklearn
)

"$(dirname "$0")/apt-install.sh" "setup" "${packages[@]}"
