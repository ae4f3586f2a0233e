#!/usr/bin/env bash
# Installs what the build and the tests need on Debian 12. Safe to run again:
# when every package is already there it returns at once without touching apt.
set -euo pipefail

# g++-12-multilib, not g++-multilib: the latter conflicts with the ARM cross
# compiler on Debian 12.
PACKAGES=(
  cmake
  make
  g++
  googletest
  libbenchmark-dev
  ffmpeg
  clang
  file
  pkg-config
  g++-12-multilib
  g++-arm-linux-gnueabihf
  qemu-user
)

missing=()
for pkg in "${PACKAGES[@]}"; do
  if ! dpkg -s "$pkg" 2>/dev/null | grep -q '^Status: install ok installed'; then
    missing+=("$pkg")
  fi
done

if [ ${#missing[@]} -eq 0 ]; then
  echo "setup: all packages present"
  exit 0
fi

echo "setup: installing ${missing[*]}"
SUDO=()
if [ "$(id -u)" -ne 0 ]; then
  if ! command -v sudo >/dev/null 2>&1; then
    echo "setup: not root and no sudo; install as root: ${missing[*]}" >&2
    exit 1
  fi
  SUDO=(sudo)
fi

export DEBIAN_FRONTEND=noninteractive
"${SUDO[@]}" env DEBIAN_FRONTEND=noninteractive apt-get update -q
"${SUDO[@]}" env DEBIAN_FRONTEND=noninteractive \
  apt-get install -y -q --no-install-recommends "${missing[@]}"
echo "setup: done"
