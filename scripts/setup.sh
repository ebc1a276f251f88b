#!/usr/bin/env bash
# Installs what the build needs on a fresh Debian machine, when missing.
set -euo pipefail
need=()
command -v cmake >/dev/null || need+=(cmake)
command -v g++ >/dev/null || need+=(g++)
dpkg -s g++-multilib >/dev/null 2>&1 || need+=(g++-multilib)
dpkg -s libgtest-dev >/dev/null 2>&1 || need+=(libgtest-dev)
dpkg -s nlohmann-json3-dev >/dev/null 2>&1 || need+=(nlohmann-json3-dev)
dpkg -s libbenchmark-dev >/dev/null 2>&1 || need+=(libbenchmark-dev)
# clang with its fuzzer and sanitizer runtimes, for the fuzz targets.
command -v clang++ >/dev/null || need+=(clang)
dpkg -s libclang-rt-dev >/dev/null 2>&1 || need+=(libclang-rt-dev)
if [ ${#need[@]} -gt 0 ]; then
  sudo=""; [ "$(id -u)" -eq 0 ] || sudo="sudo"
  $sudo apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq "${need[@]}"
fi
# A kernel that refuses 32-bit programs: the i386 suite runs under qemu-user.
if ! "$(dirname "$0")/runs_m32.sh" && ! command -v qemu-i386 >/dev/null; then
  sudo=""; [ "$(id -u)" -eq 0 ] || sudo="sudo"
  DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq qemu-user
fi
