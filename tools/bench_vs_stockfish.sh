#!/usr/bin/env bash
# Speed of our search beside Debian's stockfish on this machine, in one run:
#   - nodes/second of tools/bench (one thread, fixed depth) and of `stockfish bench`, and their ratio;
#   - the time-to-depth speed-up of two search threads over one on the bench positions.
# Environment: BUILD (build directory, default build), DEPTH (bench depth, default 11),
# TTD_DEPTH (depth of the time-to-depth runs, default 12), NET (network file for our engine).
set -euo pipefail
cd "$(dirname "$0")/.."
BUILD=${BUILD:-build}
DEPTH=${DEPTH:-11}
TTD_DEPTH=${TTD_DEPTH:-12}

if ! command -v stockfish >/dev/null && ! [ -x /usr/games/stockfish ]; then
  apt-get install -y stockfish >/dev/null
fi
SF=$(command -v stockfish || echo /usr/games/stockfish)

if ! [ -x "$BUILD/bench" ]; then
  cmake -S . -B "$BUILD" -DCMAKE_BUILD_TYPE=Release >/dev/null
fi
cmake --build "$BUILD" --target bench -j2 >/dev/null

tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
NET=${NET:-220321-307.nnue}
if ! [ -f "$NET" ]; then
  NET="$tmp/zero.nnue"
  head -c 25184056 /dev/zero >"$NET"
fi

field() { awk -F: -v key="$1" '$1 ~ key { gsub(/[^0-9]/, "", $2); print $2; exit }'; }

report=$("$BUILD/bench" "$DEPTH" "$NET" 2>/dev/null)
ours=$(field "Nodes/second" <<<"$report")
ourNodes=$(field "Nodes searched" <<<"$report")
theirs=$("$SF" bench 2>&1 >/dev/null | field "Nodes/second")

echo "quorvane bench (depth $DEPTH, 1 thread): $ours nodes/second ($ourNodes nodes)"
echo "stockfish bench (Debian, defaults):      $theirs nodes/second"
awk -v a="$ours" -v b="$theirs" 'BEGIN { printf "ratio quorvane / stockfish:               %.3f\n", a / b }'

# CPU share of each run (100% = one full core): on a busy machine two threads
# may get no more processor time than one, and then no speed-up can show.
timed() { /usr/bin/time -f "cpu %P" "$@" 2>&1; }
run1=$(timed "$BUILD/bench" "$TTD_DEPTH" "$NET" 1)
run2=$(timed "$BUILD/bench" "$TTD_DEPTH" "$NET" 2)
one=$(field "Time" <<<"$run1")
two=$(field "Time" <<<"$run2")
cpu1=$(grep -o 'cpu [0-9]*%' <<<"$run1")
cpu2=$(grep -o 'cpu [0-9]*%' <<<"$run2")
echo "load average while measuring: $(cut -d' ' -f1-3 /proc/loadavg) on $(nproc) cores"
echo "time to depth $TTD_DEPTH: 1 thread $one ms ($cpu1), 2 threads $two ms ($cpu2)"
awk -v a="$one" -v b="$two" 'BEGIN { printf "speed-up of 2 threads over 1:             %.2f\n", a / b }'
