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
# The fuzz targets run a fixed number of inputs from a fixed seed, so that a run is reproducible;
# a crash fails the run and leaves its reproducer in build/fuzz/ (add it to
# tests/fuzz/corpus/<target> once fixed). Longer exploratory runs drop -seed and -runs.
cmake --preset fuzz
cmake --build --preset fuzz
# The fits run a few hundred inputs a second, the readers some ten thousand: each gets about 20 s.
for entry in model_document:150000 csv_reader:150000 script_parser:150000 fit_table:5000; do
  target=${entry%%:*}
  runs=${entry##*:}
  work="build/fuzz/corpus/$target"
  mkdir -p "$work"
  "build/fuzz/tests/fuzz/${target}_fuzz" -seed=1 -runs="$runs" -timeout=10 -rss_limit_mb=2048 \
    -artifact_prefix=build/fuzz/ "$work" "tests/fuzz/corpus/$target"
done
# The benchmarks are compiled (not run) so that they keep building.
cmake --preset bench
cmake --build --preset bench
scripts/check-format.sh
