#!/usr/bin/env bash
# Time from launching the engine to its "readyok", best of five, beside the same
# figure for Debian's stockfish measured in the same run.
set -euo pipefail
cd "$(dirname "$0")/../.."
measure() {
  local best=0
  for _ in 1 2 3 4 5; do
    local t0 t1
    t0=$(date +%s%N)
    printf 'isready\n' | "$@" | grep -q readyok
    t1=$(date +%s%N)
    local t=$(( (t1 - t0) / 1000000 ))
    if [ "$best" -eq 0 ] || [ "$t" -lt "$best" ]; then best=$t; fi
  done
  echo "$best"
}
ours=$(measure build/quorvane)
echo "quorvane start-up to readyok: ${ours} ms"
sf=$(command -v stockfish || echo /usr/games/stockfish)
if [ -x "$sf" ]; then
  theirs=$(measure "$sf")
  echo "stockfish start-up to readyok: ${theirs} ms"
fi
