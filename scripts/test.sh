#!/usr/bin/env bash
# Set up, build and run every test: the dev preset, the sanitizer preset and the format check.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
for preset in dev asan; do
  cmake --preset "$preset"
  cmake --build --preset "$preset"
  ctest --preset "$preset"
done
# The benchmarks are compiled (not run) so that they keep building.
cmake --preset bench
cmake --build --preset bench
scripts/check-format.sh
