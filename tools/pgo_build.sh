#!/usr/bin/env bash
# Profile-guided build of the engine: built once with instrumentation, run on
# the bench positions to record where the time goes, then built again from that
# profile. The result plays the same moves (the bench node count is printed by
# both passes and must agree); only the machine code is laid out differently.
#
#   tools/pgo_build.sh [BUILD_DIR]      # default build-pgo; the engine is BUILD_DIR/quorvane
set -euo pipefail
cd "$(dirname "$0")/.."
dir=${1:-build-pgo}
jobs=$(nproc)
profile_depth=${PGO_BENCH_DEPTH:-10}

rm -rf "$dir/pgo-profile"
cmake -S . -B "$dir" -DCMAKE_BUILD_TYPE=Release -DQUORVANE_TESTS=OFF -DQUORVANE_PGO=GENERATE >/dev/null
cmake --build "$dir" -j"$jobs" --target quorvane
echo "profile run (instrumented engine, bench depth $profile_depth):"
"$dir/quorvane" bench "$profile_depth" | tail -n 1
cmake -S . -B "$dir" -DQUORVANE_PGO=USE >/dev/null
cmake --build "$dir" -j"$jobs" --target quorvane
echo "profile-guided engine: $dir/quorvane"
"$dir/quorvane" bench "$profile_depth" | tail -n 1
