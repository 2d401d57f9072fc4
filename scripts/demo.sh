#!/usr/bin/env bash
# Sets up, builds and runs the main job on the built-in default input.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh
cmake --preset default
cmake --build --preset default
echo "The engine library is built in build/default. The q38 renderer and its demo are not there yet."
