#!/usr/bin/env bash
# Builds the library and the demo, and runs the demo.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
"$root/scripts/setup.sh"
cmake -S "$root" -B "$root/build/demo" -DCMAKE_BUILD_TYPE=Release -DKEL_TESTS=OFF >/dev/null
cmake --build "$root/build/demo" -j"$(nproc)" --target kelvarn-demo
"$root/build/demo/examples/kelvarn-demo"
