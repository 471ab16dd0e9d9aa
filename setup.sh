#!/usr/bin/env bash
# Installs what building, testing, benchmarking and fuzzing need, from Debian's packages.
# Installs only what is missing; needs root (or sudo) only when something is missing.
set -euo pipefail
packages=(cmake ninja-build g++ clang libclang-rt-14-dev clang-format-14 libgtest-dev libgmock-dev
          libbenchmark-dev nlohmann-json3-dev libcli11-dev pkg-config valgrind
          pybind11-dev python3-dev python3-pytest python3-jsonschema
          python3-dask python3-distributed python3-pandas
          libgstreamer-plugins-base1.0-dev ffmpeg libavformat-dev libraw-bin libimage-exiftool-perl mediainfo
          libpcap-dev
          g++-aarch64-linux-gnu g++-s390x-linux-gnu qemu-user googletest
          g++-mingw-w64-x86-64-posix wine64 clang-16 libc++-16-dev libc++abi-16-dev)
missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if ((${#missing[@]})); then
  sudo=""
  [ "$(id -u)" -eq 0 ] || sudo="sudo"
  echo "setup: installing ${missing[*]}" >&2
  $sudo apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq "${missing[@]}" >/dev/null
fi
