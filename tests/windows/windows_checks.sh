#!/usr/bin/env bash
# Cross-compiles the Windows executable with mingw-w64 and runs it under wine:
# start-up banner, perft, a short search with the network built into the
# executable, a tablebase probe and the bench node count.
# Usage: tests/windows/windows_checks.sh <source dir>
set -uo pipefail
src=$1
if ! command -v x86_64-w64-mingw32-g++-posix >/dev/null || ! command -v wine >/dev/null; then
  echo "mingw-w64 or wine missing: skipped"
  exit 77
fi
build="$src/build-win"
cmake -S "$src" -B "$build" -DCMAKE_TOOLCHAIN_FILE="$src/cmake/mingw-w64.cmake" -DQUORVANE_TESTS=OFF \
  -DCMAKE_BUILD_TYPE=Release >/dev/null || exit 1
cmake --build "$build" -j"$(nproc)" --target quorvane >/dev/null || exit 1
exe="$build/quorvane.exe"
export WINEDEBUG=-all WINEPREFIX="${WINEPREFIX:-$build/wineprefix}"
work=$(mktemp -d)
failures=0
check() {  # name, input, expected line (extended regex)
  local out
  out=$(cd "$work" && printf '%b' "$2" | timeout 300 wine "$exe" 2>/dev/null | tr -d '\r')
  if grep -Eq "$3" <<<"$out"; then
    echo "ok: $1"
  else
    echo "FAILED: $1 (expected /$3/)"; printf '%s\n' "$out" | tail -20
    failures=$((failures + 1))
  fi
}
check "banner" "quit\n" "^Quorvane 3\\.0 SSSE3$"
check "uci" "uci\nquit\n" "^uciok$"
check "perft" "perft 5\nquit\n" "^Perft results for depth: 5  4865609  "
check "chess960 perft" "setoption name UCI_Chess960 value true\nposition fen bqnb1rkr/pp3ppp/3ppn2/2p5/5P2/P2P4/NPP1P1PP/BQ1BNRKR w HFhf - 2 9\nperft 4\nquit\n" "^Perft results for depth: 4  326672  "
if grep -q "Net read" <(cd "$work" && printf 'quit\n' | timeout 120 wine "$exe" 2>/dev/null | tr -d '\r'); then
  check "search" "position startpos moves e2e4\ngo depth 6\n" "^bestmove [a-h][1-8][a-h][1-8]"
  # Forward slashes: Windows accepts them, and the input below is read with backslash escapes.
  wintables=$(winepath -w "$src/tests/data/syzygy" 2>/dev/null | tr '\\' /)
  check "tablebase" "setoption name SyzygyPath value $wintables\nposition fen 8/8/8/4k3/8/8/8/KQ6 w - - 0 1\ngo depth 5\n" "^info .*tbhits 1 "
  # The bench count is the search's signature on every system as well.
  signature=$(grep -v '^#' "$src/tests/data/bench_signature.txt" | head -1)
  check "bench signature" "bench\n" "^$signature nodes [0-9]+ nps$"
else
  echo "FAILED: no network built into the executable"; failures=$((failures + 1))
fi
rm -rf "$work"
[ "$failures" -eq 0 ] && echo "windows checks passed" || { echo "$failures windows checks failed"; exit 1; }
