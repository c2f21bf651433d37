#!/usr/bin/env bash
# Plays the same pairing on the same openings in build/match and in an
# independent match runner with a fastchess-style command line, then prints
# both results side by side. The runner is not part of the repository: build
# it yourself and pass its path with --runner or RUNNER (default
# .runner/fastchess).
#
#   tools/testing/match/crosscheck.sh --engine1 build/quorvane --name1 quorvane \
#       --option1 NetFile=$PWD/220321-307.nnue --engine2 /usr/games/glaurung --name2 glaurung \
#       --tc 2+0.02 --games 20 --concurrency 2 --seed 909 --out crosscheck
#
# The openings are drawn once from the book with the seed and written to
# OUT/openings.epd; both runners play them in order, each with both colours.
# Both runners give every engine the same options: Threads=1 and Ponder=false
# where the engine declares them, then the --option1/--option2 settings. The
# adjudication settings match build/match's: a win when both engines see
# 1000 cp for the same side for 4 moves each, a draw from move 40 when both
# see at most 8 cp for 4 moves each, a draw at 300 moves.
set -euo pipefail
cd "$(dirname "$0")/../../.."

runner=${RUNNER:-.runner/fastchess}
match=build/match
engine1="" engine2="" name1=engine1 name2=engine2
options1=() options2=()
tc=10+0.1 games=200 concurrency=1 seed=1 margin=100
book=../shared/books/UHO_4060_v3.epd out=crosscheck parallel=0 only=""

usage() {
    sed -n '2,20p' "$0" | sed 's/^# \{0,1\}//'
    echo "options: --runner PATH --match PATH --engine1 CMD --engine2 CMD --name1 N --name2 N"
    echo "         --option1 Name=Value --option2 Name=Value (repeatable) --tc B+I --games N"
    echo "         --concurrency N --seed N --margin MS --book FILE --out DIR"
    echo "         --parallel (both runners at once, each with --concurrency games)"
    echo "         --only match|runner (play one side; a later call with the other side and the same"
    echo "         --out and --seed completes the pair, and each call prints whatever both have)"
    exit 2
}

while [ $# -gt 0 ]; do
    case "$1" in
        --runner) runner=$2; shift ;;
        --match) match=$2; shift ;;
        --engine1) engine1=$2; shift ;;
        --engine2) engine2=$2; shift ;;
        --name1) name1=$2; shift ;;
        --name2) name2=$2; shift ;;
        --option1) options1+=("$2"); shift ;;
        --option2) options2+=("$2"); shift ;;
        --tc) tc=$2; shift ;;
        --games) games=$2; shift ;;
        --concurrency) concurrency=$2; shift ;;
        --seed) seed=$2; shift ;;
        --margin) margin=$2; shift ;;
        --book) book=$2; shift ;;
        --out) out=$2; shift ;;
        --parallel) parallel=1 ;;
        --only) only=$2; shift ;;
        *) usage ;;
    esac
    shift
done
[ -n "$engine1" ] && [ -n "$engine2" ] || usage
case "$only" in "") programs=("$runner" "$match") ;; match) programs=("$match") ;; runner) programs=("$runner") ;; *) usage ;; esac
for program in "${programs[@]}"; do
    [ -x "$program" ] || { echo "crosscheck: $program is not an executable" >&2; exit 1; }
done
[ -r "$book" ] || { echo "crosscheck: cannot read the book $book" >&2; exit 1; }
rounds=$(( (games + 1) / 2 ))
games=$(( rounds * 2 ))
mkdir -p "$out"
[ "$only" != runner ] && rm -f "$out"/match.pgn "$out"/match.txt
[ "$only" != match ] && rm -f "$out"/runner.pgn "$out"/runner.txt "$out"/runner-config.json

# The same openings for both runners: a seeded draw from the book.
grep -v '^[[:space:]]*$' "$book" | shuf -n "$rounds" --random-source=<(yes "crosscheck $seed") \
    | sed 's/;.*//' > "$out/openings.epd"

# The options an engine declares, from its own answer to "uci".
declared_options() {
    { printf 'uci\nquit\n' | timeout 20 $1 2>/dev/null || true; } | sed -n 's/^option name \(.*\) type .*/\1/p'
}

# The runner's engine arguments: the command split into program and arguments,
# then the same explicit options build/match sends.
runner_engine() {
    local command=$1 name=$2
    shift 2
    local program=${command%% *} args=""
    [ "$program" != "$command" ] && args=${command#* }
    local list=(cmd="$program" name="$name")
    [ -n "$args" ] && list+=(args="$args")
    local declared given
    declared=$(declared_options "$command")
    given=$(printf '%s\n' "$@" | sed 's/=.*//')
    for default in Threads=1 Ponder=false; do
        grep -qx "${default%=*}" <<< "$declared" && ! grep -qix "${default%=*}" <<< "$given" && list+=("option.$default")
    done
    for o in "$@"; do list+=("option.$o"); done
    printf '%s\n' "${list[@]}"
}

match_args=(--engine "$engine1" --engine "$engine2" --name "$name1" --name "$name2" --tc "$tc" --games "$games"
            --concurrency "$concurrency" --book "$out/openings.epd" --book-order sequential --margin "$margin"
            --pgn "$out/match.pgn")
for o in ${options1[@]+"${options1[@]}"}; do match_args+=(--option "1:$o"); done
for o in ${options2[@]+"${options2[@]}"}; do match_args+=(--option "2:$o"); done

mapfile -t first < <(runner_engine "$engine1" "$name1" ${options1[@]+"${options1[@]}"})
mapfile -t second < <(runner_engine "$engine2" "$name2" ${options2[@]+"${options2[@]}"})
runner_args=(-engine "${first[@]}" -engine "${second[@]}" -each proto=uci tc="$tc" timemargin="$margin"
             -openings file="$out/openings.epd" format=epd order=sequential -rounds "$rounds" -repeat
             -concurrency "$concurrency" -resign movecount=4 score=1000 twosided=true
             -draw movenumber=40 movecount=4 score=8 -maxmoves 300 -ratinginterval 10
             -pgnout file="$out/runner.pgn" notation=san -config outname="$out/runner-config.json")

echo "openings: $out/openings.epd ($rounds, seed $seed), $games games per runner at $tc, $concurrency at a time"
[ "$only" != runner ] && echo "build/match: $match ${match_args[*]}" > "$out/match-command.txt"
[ "$only" != match ] && echo "runner: $runner ${runner_args[*]}" > "$out/runner-command.txt"
if [ "$only" = match ]; then
    "$match" "${match_args[@]}" > "$out/match.txt" 2>&1
elif [ "$only" = runner ]; then
    "$runner" "${runner_args[@]}" > "$out/runner.txt" 2>&1
elif [ "$parallel" = 1 ]; then
    "$match" "${match_args[@]}" > "$out/match.txt" 2>&1 &
    match_pid=$!
    "$runner" "${runner_args[@]}" > "$out/runner.txt" 2>&1
    wait "$match_pid"
else
    "$match" "${match_args[@]}" > "$out/match.txt" 2>&1
    "$runner" "${runner_args[@]}" > "$out/runner.txt" 2>&1
fi

if [ -f "$out/match.txt" ]; then
    echo "== build/match ($out/match.txt)"
    grep -E '^(.* \(.*\): sent|Score of|Elo difference|Pairs by|Faults)' "$out/match.txt" || tail -5 "$out/match.txt"
fi
if [ -f "$out/runner.txt" ]; then
    echo "== independent runner ($out/runner.txt)"
    # Its last report: the results block it prints at the end.
    awk '/^Results of/ { block = "" } /^Results of/, /^-+$/ { block = block $0 "\n" } END { printf "%s", block }' \
        "$out/runner.txt" | grep -v '^-*$' || tail -8 "$out/runner.txt"
    grep -ciE 'loses on time|timeout|disconnect|illegal' "$out/runner.txt" \
        | sed "s/^/runner lines naming time losses, disconnects or illegal moves: /" || true
fi
