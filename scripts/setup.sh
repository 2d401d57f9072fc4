#!/usr/bin/env bash
# Installs the Debian packages the build needs. As root, missing packages are
# installed with apt-get; otherwise the apt-get line to run is printed and the
# script fails.
set -euo pipefail

packages=(
  g++ cmake ninja-build pkg-config
  libgtest-dev libgmock-dev libbenchmark-dev
  libsndfile1-dev
  lv2-dev liblilv-dev lilv-utils sordi
  libcli11-dev libcairo2-dev libebur128-dev
  python3-dev pybind11-dev python3-numpy python3-pytest python3-distributed
)

missing=()
for package in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$package")
  fi
done

if [ ${#missing[@]} -eq 0 ]; then
  exit 0
fi

if [ "$(id -u)" -ne 0 ]; then
  echo "Missing packages. Install them with:" >&2
  echo "  sudo apt-get install -y ${missing[*]}" >&2
  exit 1
fi

echo "Installing: ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
if ! apt-get install -y --no-install-recommends "${missing[@]}"; then
  apt-get update
  apt-get install -y --no-install-recommends "${missing[@]}"
fi
