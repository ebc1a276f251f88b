#!/usr/bin/env bash
# Builds and runs every test: the 32-bit build, the AddressSanitizer +
# UndefinedBehaviorSanitizer build, the fuzz targets (clang, a short run of
# each), and the x86_64 build, whose ctest runs the other three suites as
# tests of its own, so one summary line covers all.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
jobs=$(nproc)
"$root/scripts/setup.sh"
configure() { # dir, extra cmake arguments...
  local dir=$1; shift
  cmake -S "$root" -B "$root/build/$dir" -DCMAKE_BUILD_TYPE=RelWithDebInfo "$@" >/dev/null
  cmake --build "$root/build/$dir" -j"$jobs"
}
# Where the kernel refuses 32-bit programs, ctest runs them under qemu-i386.
m32_emulator=()
"$root/scripts/runs_m32.sh" || m32_emulator=("-DCMAKE_CROSSCOMPILING_EMULATOR=qemu-i386;-L;/")
configure i386 -DKEL_M32=ON -DKEL_EXAMPLES=OFF "${m32_emulator[@]}"
configure sanitize -DKEL_SANITIZE=ON -DKEL_EXAMPLES=OFF
configure fuzz -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ -DKEL_FUZZ=ON -DKEL_TESTS=OFF \
  -DKEL_EXAMPLES=OFF
configure x86_64 -DKEL_BENCH=ON \
  "-DKEL_EXTRA_SUITES=$root/build/i386;$root/build/sanitize;$root/build/fuzz"
"$root/build/x86_64/examples/kelvarn-demo" >/dev/null
ctest --test-dir "$root/build/x86_64" --output-on-failure -j"$jobs"
