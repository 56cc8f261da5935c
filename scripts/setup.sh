#!/usr/bin/env bash
# Installs the Debian packages the build, the tests and the start script need.
# Idempotent: only packages that are missing are installed.
set -euo pipefail

PACKAGES=(
  build-essential cmake ninja-build ccache pkg-config git
  qtbase5-dev qtbase5-dev-tools libqt5serialport5-dev qttools5-dev qttools5-dev-tools
  libqt5svg5-dev
  libfftw3-dev libbenchmark-dev
  xvfb xauth fonts-liberation
  cmark-gfm dpkg-dev file
  python3-pyvisa python3-pyvisa-py python3-numpy python3-scikit-rf
)

missing=()
for p in "${PACKAGES[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$p")
  fi
done

if [ ${#missing[@]} -gt 0 ]; then
  echo "Installing: ${missing[*]}"
  SUDO=""
  if [ "$(id -u)" -ne 0 ]; then SUDO="sudo"; fi
  $SUDO apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi
