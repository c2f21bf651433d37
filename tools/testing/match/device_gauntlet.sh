#!/usr/bin/env bash
# Gauntlet games on a lent many-core machine, inside one command of at most ten
# minutes: build the engine and the match tool, then play the opponents one after
# another, one game per physical core, until the time given runs out. A match cut
# by the deadline keeps every finished game in its log and PGN (the match tool
# flushes each game), so a gauntlet can be completed by a later call or here.
#
# The opponents are not part of the repository: copy their binaries, and any
# shared libraries they need into lib/, into the carried folder beforehand, e.g.
#   mkdir -p .gauntlet/lib && cp /usr/games/ethereal-chess /usr/games/fairy-stockfish .gauntlet/
#   cp /usr/lib/x86_64-linux-gnu/libfathom.so.1 .gauntlet/lib/
#   xz -9 -c ../shared/books/UHO_4060_v3.epd > .gauntlet/UHO_4060_v3.epd.xz
# and name the folder in the call's carry.
#
#   OUT=... tools/testing/match/device_gauntlet.sh [options] OPPONENT[:SEED] ...
#     --seconds S      wall-clock seconds for the whole command, build included (540)
#     --tc B+I         time control (10+0.1)
#     --games N        games per opponent (200)
#     --hash MB        Hash for both engines (128)
#     --name N         our engine's name in the logs (quorvane)
#     --concurrency C  games at a time (one per physical core)
#     --carried DIR    where the opponents and the book lie (.gauntlet)
# Each opponent's log is OUT/OPPONENT.txt and its games OUT/OPPONENT.pgn; the seed
# of its opening draw is SEED (1 unless given).
set -euo pipefail
ROOT="$(cd "$(dirname "$0")/../../.." && pwd)"
cd "$ROOT"
START=$(date +%s)
LIMIT=540; TC=10+0.1; GAMES=200; HASH=128; NAME=quorvane; CONCURRENCY=; CARRIED=.gauntlet
OPPONENTS=()
while [ $# -gt 0 ]; do
  case "$1" in
    --seconds) LIMIT="$2"; shift 2 ;;
    --tc) TC="$2"; shift 2 ;;
    --games) GAMES="$2"; shift 2 ;;
    --hash) HASH="$2"; shift 2 ;;
    --name) NAME="$2"; shift 2 ;;
    --concurrency) CONCURRENCY="$2"; shift 2 ;;
    --carried) CARRIED="$2"; shift 2 ;;
    -*) sed -n '2,24p' "$0" >&2; exit 2 ;;
    *) OPPONENTS+=("$1"); shift ;;
  esac
done
OUT="${OUT:?OUT must name the folder that comes back}"
mkdir -p "$OUT"
CARRIED="$(cd "$CARRIED" && pwd)"
LOG="$OUT/gauntlet.log"
say() { echo "$(date -u +%T) $*" | tee -a "$LOG"; }
left() { echo $(( START + LIMIT - $(date +%s) )); }

PHYSICAL=$(lscpu -p=SOCKET,CORE 2>/dev/null | grep -v '^#' | sort -u | wc -l) || PHYSICAL=0
[ "$PHYSICAL" -gt 0 ] || PHYSICAL=$(nproc)
CONCURRENCY="${CONCURRENCY:-$PHYSICAL}"
say "$(nproc) threads, $PHYSICAL physical cores, $CONCURRENCY games at a time; $(lscpu | sed -n 's/^Model name: *//p')"
say "commit $(git rev-parse --short=12 HEAD 2>/dev/null || echo unknown)"

BUILD="${GAUNTLET_BUILD:-build-gauntlet}"  # an existing build folder is used as it is configured
[ -f "$BUILD/CMakeCache.txt" ] || cmake -S . -B "$BUILD" -DCMAKE_BUILD_TYPE=Release -DQUORVANE_TESTS=OFF >/dev/null
cmake --build "$BUILD" -j"$(nproc)" --target quorvane match >/tmp/gauntlet-build.log 2>&1 \
  || { tail -30 /tmp/gauntlet-build.log | tee -a "$LOG"; exit 1; }
say "built; $($BUILD/quorvane bench 2>&1 | tail -1)"

BOOK=tests/data/books/UHO_4060_v3.epd
unpack() { if command -v xz >/dev/null; then xz -dc "$1"; else python3 -c 'import lzma,sys,shutil; shutil.copyfileobj(lzma.open(sys.argv[1]), sys.stdout.buffer)' "$1"; fi; }
if [ -f "$CARRIED/UHO_4060_v3.epd.xz" ]; then unpack "$CARRIED/UHO_4060_v3.epd.xz" >/tmp/gauntlet-book.epd; BOOK=/tmp/gauntlet-book.epd; fi
say "openings from $BOOK ($(wc -l <"$BOOK") lines)"
export LD_LIBRARY_PATH="$CARRIED/lib${LD_LIBRARY_PATH:+:$LD_LIBRARY_PATH}"

for spec in "${OPPONENTS[@]}"; do
  opponent="${spec%%:*}"; seed=1; [ "$spec" != "$opponent" ] && seed="${spec#*:}"
  engine="$CARRIED/$opponent"
  if ! printf 'uci\nquit\n' | timeout 10 "$engine" 2>&1 | grep -q uciok; then
    say "$opponent does not answer uci: $(printf 'uci\nquit\n' | timeout 10 "$engine" 2>&1 | head -2 | tr '\n' ' ')"
    continue
  fi
  budget=$(( $(left) - 15 ))
  [ "$budget" -gt 30 ] || { say "no time left for $opponent"; break; }
  say "$opponent: seed $seed, $GAMES games at most, $budget s"
  # The match tool has no signal handler: at the deadline its engines (its own
  # children, so no other program's) and then the tool itself are killed.
  "$BUILD/match" --engine "$BUILD/quorvane" --engine "$engine" \
    --name "$NAME" --name "$opponent" --option "1:Hash=$HASH" --option "2:Hash=$HASH" --tc "$TC" \
    --games "$GAMES" --concurrency "$CONCURRENCY" --book "$BOOK" --seed "$seed" \
    --pgn "$OUT/$opponent.pgn" >"$OUT/$opponent.txt" 2>&1 &
  match=$!; deadline=$(( $(date +%s) + budget ))
  while kill -0 "$match" 2>/dev/null && [ "$(date +%s)" -lt "$deadline" ]; do sleep 1; done
  if kill -0 "$match" 2>/dev/null; then
    pkill -KILL -P "$match" 2>/dev/null || true; kill -KILL "$match" 2>/dev/null || true
    say "$opponent: stopped at the deadline"
  fi
  wait "$match" 2>/dev/null || true
  say "$opponent: $(grep -E '^Score of' "$OUT/$opponent.txt" | tail -1 || true) ($(grep -c '^game ' "$OUT/$opponent.txt" || true) games)"
done
say "done"
