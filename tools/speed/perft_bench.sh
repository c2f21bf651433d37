#!/usr/bin/env bash
# Perft speed of the engine beside Debian's stockfish, measured in the same run:
# each figure is the best of three wall-clock runs at the given depth minus a
# run at depth 1 (so process start-up cancels out).
# Usage: tools/speed/perft_bench.sh [depth] [FEN]
set -euo pipefail
cd "$(dirname "$0")/../.."
depth=${1:-6}
fen=${2:-"rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1"}
stockfish=$(command -v stockfish || echo /usr/games/stockfish)
if [ ! -x "$stockfish" ]; then
  apt-get install -y stockfish >/dev/null
  stockfish=/usr/games/stockfish
fi
[ -x build/quorvane ] || { cmake -S . -B build -DCMAKE_BUILD_TYPE=Release >/dev/null && cmake --build build -j"$(nproc)" --target quorvane >/dev/null; }

now() { date +%s%N; }
best_of_three() {  # prints the best wall time in ns of running "$@" with stdin from $input
  local best=0
  for _ in 1 2 3; do
    local t0 t1
    t0=$(now); printf '%s' "$input" | "$@" >/tmp/perft_bench_out.$$ 2>&1; t1=$(now)
    local t=$((t1 - t0))
    if [ "$best" -eq 0 ] || [ "$t" -lt "$best" ]; then best=$t; fi
  done
  echo "$best"
}

input=$(printf 'setoption name Hash value 1\nposition fen %s\nperft 1\nquit\n' "$fen"); ours1=$(best_of_three build/quorvane)
input=$(printf 'setoption name Hash value 1\nposition fen %s\nperft %s\nquit\n' "$fen" "$depth"); ours=$(best_of_three build/quorvane)
nodes=$(grep -o 'Perft results for depth: [0-9]*  [0-9]*' /tmp/perft_bench_out.$$ | awk '{print $6}')
input=$(printf 'setoption name Hash value 1\nposition fen %s\ngo perft 1\nquit\n' "$fen"); sf1=$(best_of_three "$stockfish")
input=$(printf 'setoption name Hash value 1\nposition fen %s\ngo perft %s\nquit\n' "$fen" "$depth"); sf=$(best_of_three "$stockfish")
sfnodes=$(grep -o 'Nodes searched: [0-9]*' /tmp/perft_bench_out.$$ | awk '{print $3}')
rm -f /tmp/perft_bench_out.$$

oursms=$(( (ours - ours1) / 1000000 )); sfms=$(( (sf - sf1) / 1000000 ))
echo "position: $fen, depth $depth"
echo "quorvane : $nodes nodes in $oursms ms ($(( nodes / (oursms > 0 ? oursms : 1) / 1000 )) Mnps)"
echo "stockfish: $sfnodes nodes in $sfms ms ($(( sfnodes / (sfms > 0 ? sfms : 1) / 1000 )) Mnps)"
awk -v a="$sfms" -v b="$oursms" 'BEGIN { printf "speed ratio (stockfish time / quorvane time): %.2f\n", (b > 0 ? a / b : 0) }'
[ "$nodes" = "$sfnodes" ] || { echo "node counts differ"; exit 1; }
