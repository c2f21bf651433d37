#!/usr/bin/env bash
# Speed of our search beside Debian's engines on this machine, in one run:
#   - nodes/second of tools/speed/bench (one thread, fixed depth) against `stockfish bench` and
#     `ethereal-chess bench`, the runs alternating, medians over ROUNDS rounds; both by the
#     clock (what each program prints) and per CPU-second (steadier on a shared machine);
#   - time to depth of two search threads against one, position by position (median ratio);
#   - nodes/second and depth reached in the first 100 ms of a search ("go movetime 100").
# Environment: BUILD (build directory, default build), DEPTH (bench depth, default 11),
# TTD_DEPTH (depth of the time-to-depth runs, default 12), ROUNDS (default 3),
# TTD_ROUNDS (time-to-depth runs of each kind, alternating, times summed per
# position; default 3: one run of two threads moves a lot from run to run),
# NET (network file for our engine).
set -euo pipefail
cd "$(dirname "$0")/../.."
BUILD=${BUILD:-build}
DEPTH=${DEPTH:-11}
TTD_DEPTH=${TTD_DEPTH:-12}
TTD_ROUNDS=${TTD_ROUNDS:-3}
ROUNDS=${ROUNDS:-3}

engine() {  # path of a Debian engine, installed when missing
  local path
  path=$(command -v "$1" || true)
  [ -n "$path" ] || path=/usr/games/$1
  if ! [ -x "$path" ]; then apt-get install -y "$2" >/dev/null; fi
  echo "$path"
}
SF=$(engine stockfish stockfish)
ETH=$(engine ethereal-chess ethereal-chess)

if ! [ -x "$BUILD/bench" ] || ! [ -x "$BUILD/quorvane" ]; then
  cmake -S . -B "$BUILD" -DCMAKE_BUILD_TYPE=Release >/dev/null
fi
cmake --build "$BUILD" --target bench quorvane -j2 >/dev/null

tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
NET=${NET:-220321-307.nnue}
if ! [ -f "$NET" ]; then
  NET="$tmp/zero.nnue"
  head -c 25184056 /dev/zero >"$NET"
fi

median() { sort -g | awk '{ v[NR] = $1 } END { if (NR % 2) print v[(NR + 1) / 2]; else print (v[NR / 2] + v[NR / 2 + 1]) / 2 }'; }
number() { grep -m1 -E "$1" | grep -oE '[0-9]+' | tail -1; }

# One run: prints "<nodes/second by the clock> <nodes per CPU-second>".
measure() {
  local out cpu nodes nps
  out=$( { /usr/bin/time -f "cpu-seconds %U %S" "$@" 2>&1; } 2>&1)
  cpu=$(grep -m1 '^cpu-seconds' <<<"$out" | awk '{ print $2 + $3 }')
  nodes=$(number '^(Nodes searched|Nodes)[[:space:]]*:' <<<"$out")
  nps=$(number '^(Nodes/second|NPS)[[:space:]]*:' <<<"$out")
  echo "$nps $(awk -v n="$nodes" -v c="$cpu" 'BEGIN { printf "%.0f", n / c }')"
}

for round in $(seq "$ROUNDS"); do
  measure "$BUILD/bench" "$DEPTH" "$NET" >>"$tmp/ours"
  measure "$SF" bench >>"$tmp/sf"
  measure "$ETH" bench >>"$tmp/eth"
done
column() { awk -v c="$1" '{ print $c }' "$2" | median; }
ours=$(column 1 "$tmp/ours"); oursCpu=$(column 2 "$tmp/ours")
sf=$(column 1 "$tmp/sf"); sfCpu=$(column 2 "$tmp/sf")
eth=$(column 1 "$tmp/eth"); ethCpu=$(column 2 "$tmp/eth")
echo "load average before the thread runs: $(cut -d' ' -f1-3 /proc/loadavg) on $(nproc) cores; medians of $ROUNDS alternating rounds"
printf "%-34s %12s %16s\n" "" "nodes/second" "nodes/CPU-second"
printf "%-34s %12.0f %16.0f\n" "quorvane bench (depth $DEPTH, 1 thread)" "$ours" "$oursCpu"
printf "%-34s %12.0f %16.0f\n" "stockfish bench (Debian)" "$sf" "$sfCpu"
printf "%-34s %12.0f %16.0f\n" "ethereal-chess bench (Debian)" "$eth" "$ethCpu"
awk -v a="$ours" -v b="$sf" -v c="$oursCpu" -v d="$sfCpu" 'BEGIN { printf "ratio quorvane / stockfish:         %12.3f %16.3f\n", a / b, c / d }'
awk -v a="$ours" -v b="$eth" -v c="$oursCpu" -v d="$ethCpu" 'BEGIN { printf "ratio quorvane / ethereal-chess:    %12.3f %16.3f\n", a / b, c / d }'

# Time to depth on the thread pool, per bench position. CPU share of each run
# (100% = one full core): on a busy machine two threads may get no more
# processor time than one, and then no speed-up can show.
timed() { /usr/bin/time -f "cpu %P" "$@" 2>&1; }
perPosition() { awk '/^Position / { print $2, $4, $6 }' <<<"$1"; }  # index nodes ms
for round in $(seq "$TTD_ROUNDS"); do
  run1=$(timed "$BUILD/bench" "$TTD_DEPTH" "$NET" 1)
  run2=$(timed "$BUILD/bench" "$TTD_DEPTH" "$NET" 2)
  perPosition "$run1" >>"$tmp/ttd1"
  perPosition "$run2" >>"$tmp/ttd2"
  echo "time to depth $TTD_DEPTH, round $round: 1 thread $(number '^Time' <<<"$run1") ms" \
       "($(grep -o 'cpu [0-9]*%' <<<"$run1")), 2 threads $(number '^Time' <<<"$run2") ms ($(grep -o 'cpu [0-9]*%' <<<"$run2"))"
done
# Per position: nodes and milliseconds summed over the rounds.
sumByPosition() { awk '{ n[$1] += $2; t[$1] += $3 } END { for (i in n) print i, n[i], t[i] }' "$1" | sort -n; }
paste <(sumByPosition "$tmp/ttd1") <(sumByPosition "$tmp/ttd2") >"$tmp/ttd"
# Positions solved in under 50 ms a run on one thread say more about the clock than the threads.
speedups=$(awk -v r="$TTD_ROUNDS" '$3 >= 50 * r { printf "%.3f\n", $3 / $6 }' "$tmp/ttd")
counted=$(grep -c . <<<"$speedups" || true)
awk '{ n1 += $2; t1 += $3; n2 += $5; t2 += $6 } END {
  printf "speed-up of 2 threads over 1, total of all rounds: %.2f (nodes to depth: 2 threads / 1 = %.2f)\n", t1 / t2, n2 / n1 }' "$tmp/ttd"
if [ "$counted" -gt 0 ]; then
  echo "speed-up of 2 threads over 1, median over $counted positions: $(median <<<"$speedups")"
fi

# The first 100 ms of a search, one thread, from each of a few positions.
FENS=("rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1"
      "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 10"
      "r4rk1/1pp1qppp/p1np1n2/2b1p1B1/2B1P1b1/P1NP1N2/1PP1QPPP/R4RK1 w - - 0 10"
      "2r3k1/pp3ppp/4p3/3pP3/3P4/P4N2/1P3PPP/2R3K1 w - - 0 25"
      "8/2p5/3p4/KP5r/1R3p1k/8/4P1P1/8 w - - 0 11")
# Each search starts once the engine has answered "readyok", so that neither
# its start-up nor the network's loading is counted.
for fen in "${FENS[@]}"; do
  coproc ENGINE { "$BUILD/quorvane"; }
  printf 'setoption name NetFile value %s\nposition fen %s\nisready\n' "$NET" "$fen" >&"${ENGINE[1]}"
  while read -r line <&"${ENGINE[0]}" && [ "$line" != readyok ]; do :; done
  echo "go movetime 100" >&"${ENGINE[1]}"
  last=""
  while read -r line <&"${ENGINE[0]}"; do
    case "$line" in
      bestmove*) break ;;
      *" nps "*) last=$line ;;
    esac
  done
  echo quit >&"${ENGINE[1]}"
  wait "$ENGINE_PID" || true
  depth=$(grep -oE ' depth [0-9]+' <<<"$last" | grep -oE '[0-9]+')
  nps=$(grep -oE ' nps [0-9]+' <<<"$last" | grep -oE '[0-9]+')
  echo "$depth $nps" >>"$tmp/first"
done
echo "first 100 ms of a search (median of ${#FENS[@]} positions): depth $(awk '{ print $1 }' "$tmp/first" | median)," \
     "$(awk '{ print $2 }' "$tmp/first" | median) nodes/second"
