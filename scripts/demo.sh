#!/usr/bin/env bash
# Sets up, builds and runs the main job on the built-in default input: q38 demo
# renders a synthesised programme at a few input gains into out/demo and prints
# the levels before and after and the meter readings.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh
cmake --preset default
cmake --build --preset default --target q38_cli
build/default/bin/q38 demo -o out/demo "$@"
