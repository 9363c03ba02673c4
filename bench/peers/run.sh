#!/usr/bin/env bash
# Run every peer comparison in one go and print the ratios side by side:
#   PCA on generated data (20 000 × 200 and 100 000 × 500, complete and with 5 % of the cells
#   missing): the engine against pcaMethods' nipalsPca (R) per iteration and in total, against
#   the memory-streaming floor measured in the same program, against NumPy's eigh(XᵀX) plus the
#   scores on complete data, and the peak memory of a cross-validated fit;
#   PLS against scikit-learn's PLSRegression.
# Needs the peers (bench/peers/setup.sh) and builds the `bench` preset. NumPy and scikit-learn
# run on the threaded OpenBLAS with two threads.
#
# Environment: PEERS_FULL=1 also times pcaMethods' whole fit on the large tables (minutes);
# PEERS_DIR=path keeps the generated tables there (default: a temporary folder).
set -euo pipefail
cd "$(dirname "$0")/../.."
root=$(pwd)

cmake --preset bench >/dev/null
cmake --build --preset bench --target mspc_pca_peer mspc_pls_peer >/dev/null
peer="$root/build/bench/bench/mspc_pca_peer"

work=${PEERS_DIR:-$(mktemp -d)}
mkdir -p "$work"
if [ -z "${PEERS_DIR:-}" ]; then trap 'rm -rf "$work"' EXIT; fi

openblas=/usr/lib/x86_64-linux-gnu/openblas-pthread
python() { LD_LIBRARY_PATH=$openblas OPENBLAS_NUM_THREADS=2 /usr/bin/python3 "$@"; }

results="$work/results.txt"
: >"$results"
record() {  # record NAME < "key value" lines
  sed "s/^/$1 /" >>"$results"
}

for size in "20000 200" "100000 500"; do
  read -r rows cols <<<"$size"
  large=$([ "$rows" -gt 20000 ] && echo 1 || echo 0)
  repeats=$([ "$large" = 1 ] && echo 1 || echo 3)
  for missing in 0 5; do
    name="${rows}x${cols}_${missing}"
    table="$work/$name.f64"
    [ -f "$table" ] || "$peer" generate "$rows" "$cols" "$missing" "$table"
    echo "== $name" >&2
    "$peer" fit "$table" "$rows" "$cols" "$repeats" | record "$name"
    if [ "$missing" = 0 ]; then
      python "$root/bench/peers/pca_numpy.py" "$table" "$rows" "$cols" 3 | record "$name"
    fi
    if [ "$large" = 0 ] || [ "$missing" = 0 ]; then
      "$peer" cv "$table" "$rows" "$cols" | record "$name"
    fi
    steps=$([ "$large" = 1 ] && echo 4 || echo 10)
    # pcaMethods' whole fit on the large tables takes minutes: only with PEERS_FULL=1.
    whole=$([ "$large" = 0 ] || [ "${PEERS_FULL:-0}" = 1 ] && echo 1 || echo 0)
    Rscript "$root/bench/peers/pca_pcamethods.R" "$table" "$rows" "$cols" 1 "$steps" "$whole" |
      record "$name"
  done
done

echo "== PLS" >&2
python "$root/bench/peers/pls_vs_sklearn.py" "$root/build/bench/bench/mspc_pls_peer" | tee "$work/pls.txt"

/usr/bin/python3 - "$results" <<'PY'
import collections
import sys

values = collections.defaultdict(dict)
for line in open(sys.argv[1]):
    parts = line.split()
    if len(parts) >= 3:
        values[parts[0]][parts[1]] = parts[2:] if parts[1] == "iterations" else parts[2]

def number(entry, key):
    return float(entry[key]) if key in entry else None

print()
print(f"{'table':<16} {'path':<15} {'iter.':>6} {'ours s':>8} {'ours/iter ms':>12} {'floor ms':>9} "
      f"{'iter/floor':>10} {'pcaM/iter ms':>12} {'pcaM/ours':>9} {'pcaM s':>8} "
      f"{'numpy s':>8} {'ours/numpy':>10} {'CV peak/data':>12}")
for name, entry in values.items():
    ours = number(entry, "fit_seconds")
    iteration = number(entry, "iteration_seconds")
    floor = number(entry, "floor_seconds")
    peer_iteration = number(entry, "pcamethods_iteration_seconds")
    peer_total = number(entry, "pcamethods_seconds")
    numpy = number(entry, "numpy_seconds")
    memory = number(entry, "peak_memory_ratio")
    streamed = entry.get("path") == "streamed"
    def show(value, fmt):
        return format(value, fmt) if value is not None else "-"
    print(f"{name:<16} {entry.get('path', '-'):<15} {entry.get('total_iterations', '-'):>6} "
          f"{show(ours, '.3f'):>8} {show(iteration * 1e3 if streamed else None, '.2f'):>12} "
          f"{show(floor * 1e3, '.2f'):>9} "
          f"{show(iteration / floor if streamed else None, '.2f'):>10} "
          f"{show(peer_iteration * 1e3 if peer_iteration else None, '.2f'):>12} "
          f"{show(peer_iteration / iteration if streamed and peer_iteration else None, '.1f'):>9} "
          f"{show(peer_total, '.2f'):>8} {show(numpy, '.3f'):>8} "
          f"{show(ours / numpy if numpy else None, '.2f'):>10} {show(memory, '.2f'):>12}")
    print(f"{'':<16} iterations per component: {' '.join(entry.get('iterations', []))}")
print()
print("Targets: iter/floor <= 1.6 and pcaM/ours >= 5 with missing cells; ours/numpy <= 3 on "
      "complete data; CV peak/data <= 3; PLS ratio >= 3.")
PY
