#!/usr/bin/env bash
# Sets up, builds and runs every test. An optional argument names the CMake
# preset: default, debug, asan (AddressSanitizer + UBSan) or tsan.
set -euo pipefail
cd "$(dirname "$0")/.."
preset="${1:-default}"

scripts/setup.sh
cmake --preset "$preset"
cmake --build --preset "$preset"
ctest --preset "$preset"
