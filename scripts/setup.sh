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

missing=()
for pkg in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$pkg" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$pkg")
  fi
done

if [ ${#missing[@]} -eq 0 ]; then
  echo "setup: all packages present"
  exit 0
fi

SUDO=""
if [ "$(id -u)" -ne 0 ]; then SUDO="sudo"; fi
echo "setup: installing ${missing[*]}"
$SUDO apt-get update -qq
DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}" </dev/null
