#!/usr/bin/env bash
# Builds the engine and every test, then runs the whole suite.
set -euo pipefail
cd "$(dirname "$0")/.."
if ! command -v cmake >/dev/null || ! [ -e /usr/src/googletest ] && ! [ -e /usr/lib/x86_64-linux-gnu/libgtest.a ]; then
  apt-get update && apt-get install -y cmake g++ libgtest-dev
fi
cmake -S . -B build -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build build -j"$(nproc)"
ctest --test-dir build --output-on-failure -j"$(nproc)"
