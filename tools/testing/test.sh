#!/usr/bin/env bash
# Builds the engine and every test, then runs the whole suite.
set -euo pipefail
cd "$(dirname "$0")/../.."
missing=()
command -v cmake >/dev/null || missing+=(cmake)
command -v g++ >/dev/null || missing+=(g++)
[ -e /usr/lib/x86_64-linux-gnu/libgtest.a ] || [ -e /usr/src/googletest ] || missing+=(libgtest-dev)
# The tools read their command lines with CLI11 (header only); the engine does not need it.
[ -e /usr/include/CLI/CLI.hpp ] || missing+=(libcli11-dev)
# The Windows build is cross-compiled and run under wine by one of the tests.
command -v x86_64-w64-mingw32-g++-posix >/dev/null || missing+=(mingw-w64)
command -v wine >/dev/null || missing+=(wine wine64)
# One test keeps the C++ files laid out as .clang-format says.
command -v clang-format >/dev/null || missing+=(clang-format)
# One test plays a game through polyglot, as xboard users run the engine.
command -v polyglot >/dev/null || [ -x /usr/games/polyglot ] || missing+=(polyglot)
if [ ${#missing[@]} -gt 0 ]; then
  apt-get update -qq && DEBIAN_FRONTEND=noninteractive apt-get install -y -qq "${missing[@]}" >/dev/null
fi
# Tests ON explicitly: a build/ configured earlier without them (say for a quick engine build) would
# otherwise run no test at all and still end green, which --no-tests=error also refuses.
cmake -S . -B build -DCMAKE_BUILD_TYPE=Release -DQUORVANE_TESTS=ON >/dev/null
cmake --build build -j"$(nproc)"
ctest --test-dir build --output-on-failure --no-tests=error -j"$(nproc)"
# The engine under AddressSanitizer and UndefinedBehaviorSanitizer: process tests and a fuzz batch.
bash tools/testing/sanitize.sh ci
