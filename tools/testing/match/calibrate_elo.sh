#!/usr/bin/env bash
# Calibrates UCI_Elo: at each rating given, plays the engine with
# UCI_LimitStrength on against stockfish with UCI_LimitStrength on at the same
# UCI_Elo, whose scale is tied to a public rating list, and prints a table of the
# engine's score with its 95% interval. A point is calibrated when the score lies
# within 40% to 60%. Run it again after every new network.
#
#   tools/testing/match/calibrate_elo.sh [ELO ...]          (default: 1500 2000 2400)
#
# Settings come from the environment: GAMES per rating (200), TC (10+0.1),
# CONCURRENCY (games at a time: the machine's cores), SEED of the opening draw (1),
# MARGIN (ms a clock may run below zero before the game is lost: 100),
# BOOK (../shared/books/UHO_4060_v3.epd), STOCKFISH (/usr/games/stockfish; Debian's
# package `stockfish`), ENGINE (build/quorvane), MATCH (build/match) and OUT, the
# folder for each rating's log and games (calibration/). Build first.
set -euo pipefail
ROOT="$(cd "$(dirname "$0")/../../.." && pwd)"
cd "$ROOT"
[ "${1:-}" = "--help" ] && { sed -n '2,16p' "$0"; exit 0; }
ratings=("$@")
[ ${#ratings[@]} -gt 0 ] || ratings=(1500 2000 2400)
GAMES=${GAMES:-200} TC=${TC:-10+0.1} MARGIN=${MARGIN:-100} CONCURRENCY=${CONCURRENCY:-$(nproc)} SEED=${SEED:-1}
BOOK=${BOOK:-../shared/books/UHO_4060_v3.epd} STOCKFISH=${STOCKFISH:-/usr/games/stockfish} OUT=${OUT:-calibration}
ENGINE=$(realpath -m "${ENGINE:-build/quorvane}") MATCH=${MATCH:-build/match}
for need in "$ENGINE" "$MATCH" "$STOCKFISH" "$BOOK"; do
  [ -e "$need" ] || { echo "calibrate_elo.sh: $need is missing" >&2; exit 1; }
done
mkdir -p "$OUT"
for elo in "${ratings[@]}"; do
  "$MATCH" --engine "$ENGINE" --engine "$STOCKFISH" --name "quorvane-$elo" --name "stockfish-$elo" \
    --option "1:UCI_LimitStrength=true" --option "1:UCI_Elo=$elo" \
    --option "2:UCI_LimitStrength=true" --option "2:UCI_Elo=$elo" \
    --tc "$TC" --margin "$MARGIN" --games "$GAMES" --concurrency "$CONCURRENCY" --book "$BOOK" --seed "$SEED" \
    --pgn "$OUT/elo-$elo.pgn" >"$OUT/elo-$elo.txt"
done
echo "| UCI_Elo | games | wins - losses - draws | score | Elo against stockfish (95%) | calibrated |"
echo "|---|---|---|---|---|---|"
for elo in "${ratings[@]}"; do
  log="$OUT/elo-$elo.txt"
  score=$(grep '^Score of' "$log" | tail -n 1)
  elo_line=$(grep '^Elo difference' "$log" | tail -n 1)
  read -r wins losses draws share games < <(echo "$score" | sed -E 's/.*: ([0-9]+) - ([0-9]+) - ([0-9]+) +\[([0-9.]+)\] ([0-9]+) games.*/\1 \2 \3 \4 \5/')
  interval=$(echo "$elo_line" | sed -E 's/Elo difference: ([-0-9.]+) \+\/- ([0-9.]+) \(95%: ([-0-9.]+) to ([-0-9.]+).*/\1 (\3 to \4)/')
  ok=$(awk -v s="$share" 'BEGIN { print (s >= 0.4 && s <= 0.6) ? "yes" : "no" }')
  echo "| $elo | $games | $wins - $losses - $draws | $(awk -v s="$share" 'BEGIN { printf "%.1f%%", 100 * s }') | $interval | $ok |"
done
