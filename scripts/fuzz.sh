#!/usr/bin/env bash
# Runs every fuzz target long: scripts/fuzz.sh [seconds per target, default
# 1800] [libFuzzer options...].  Builds the fuzz tree build/fuzz (clang)
# when needed.  Each target's corpus grows under build/fuzz-corpus/<family>
# and is kept between runs; the seed corpus is read alongside it.  Inputs
# that fail, and the logs of -jobs=N, land in build/fuzz-artifacts/<family>;
# the script ends with a nonzero status when any target failed.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
seconds=${1:-1800}
[ $# -gt 0 ] && shift
tree=$root/build/fuzz
cmake -S "$root" -B "$tree" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_C_COMPILER=clang \
  -DCMAKE_CXX_COMPILER=clang++ -DKEL_FUZZ=ON -DKEL_TESTS=OFF -DKEL_EXAMPLES=OFF >/dev/null
cmake --build "$tree" -j"$(nproc)"
status=0
for target in "$tree"/fuzz/fuzz_*; do
  [ -x "$target" ] || continue
  family=${target##*/fuzz_}
  corpus=$root/build/fuzz-corpus/$family
  artifacts=$root/build/fuzz-artifacts/$family
  mkdir -p "$corpus" "$artifacts"
  echo "== fuzz_$family for $seconds s, corpus $corpus"
  # From the artifacts folder, where the logs of -jobs=N land too.
  (cd "$artifacts" && "$target" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 \
    -print_final_stats=1 -artifact_prefix="$artifacts/" "$@" "$corpus" "$tree/fuzz/seeds/$family") \
    || status=1
done
exit $status
