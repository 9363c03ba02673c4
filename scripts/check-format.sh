#!/usr/bin/env bash
# Fail when a C++ source is not formatted by the project's .clang-format.
set -euo pipefail
cd "$(dirname "$0")/.."
git ls-files -co --exclude-standard -- '*.cpp' '*.hpp' '*.h' '*.c' | grep -v '^tests/data/' |
  xargs -r clang-format --dry-run -Werror
echo "format check: clean"
