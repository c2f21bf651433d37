#!/usr/bin/env bash
# A whole self-play round on a lent many-core machine, in one command that ends
# inside ten minutes: build, games on every core, training from the shipped
# network on those games (and on any data carried along), the export check,
# and everything packed into at most 8 files of at most 15 MiB for the way back.
#
# Run from the repository root on that machine, with OUT naming the folder that
# comes back:
#   tools/training/round/device_round.sh [options]
#     --games-seconds S  time for the games (300)
#     --rate R           positions per thread and second to plan for (850; the
#                        games stop at the count, or at the time plus a minute)
#     --seed N           seed of the games (the Chess960 games take N+1)
#     --epochs E --lr X  training (2, 0.0005), continuing the shipped network
#     --from-scratch     train from random weights instead of the shipped network
#     --train-args "A"   more trainer options, e.g. "--king-buckets 8"
#     --carried DIR      where the carried files lie (.round): UHO_4060_v3.epd.xz,
#                        FRC_openings.epd, validation.bin, and *.bin.xz data
#     --no-data-back     bring back only the network and the logs
#     --games-only       no training: bring back the games alone (more of them fit)
# tools/training/round/device_fetch.sh unpacks what came back into the data folder.
set -euo pipefail
ROOT="$(cd "$(dirname "$0")/../../.." && pwd)"
cd "$ROOT"
SECONDS_GAMES=300; RATE=850; SEED=7001; EPOCHS=2; LR=0.0005; CARRIED=.round; DATA_BACK=1; TRAIN=1
START=(--init-net 220321-307.nnue --mirror 1); TRAIN_EXTRA=()
while [ $# -gt 0 ]; do
  case "$1" in
    --games-seconds) SECONDS_GAMES="$2"; shift 2 ;;
    --rate) RATE="$2"; shift 2 ;;
    --seed) SEED="$2"; shift 2 ;;
    --epochs) EPOCHS="$2"; shift 2 ;;
    --lr) LR="$2"; shift 2 ;;
    --carried) CARRIED="$2"; shift 2 ;;
    --from-scratch) START=(); shift ;;
    --train-args) read -ra TRAIN_EXTRA <<<"$2"; shift 2 ;;
    --no-data-back) DATA_BACK=0; shift ;;
    --games-only) TRAIN=0; shift ;;
    *) sed -n '2,23p' "$0" >&2; exit 2 ;;
  esac
done
OUT="${OUT:?OUT must name the folder that comes back}"
WORK="${ROUND_WORK:-/tmp/round}"
mkdir -p "$WORK" "$OUT"
THREADS=$(nproc)
LOG="$OUT/round.log"
say() { echo "$(date -u +%T) $*" | tee -a "$LOG"; }
unpack() { if command -v xz >/dev/null; then xz -dc "$1"; else python3 -c 'import lzma,sys,shutil; shutil.copyfileobj(lzma.open(sys.argv[1]), sys.stdout.buffer)' "$1"; fi; }
pack() { if command -v xz >/dev/null; then xz -T"$THREADS" -6 -c "$1"; else python3 -c 'import lzma,sys; sys.stdout.buffer.write(lzma.compress(open(sys.argv[1],"rb").read(), preset=6))' "$1"; fi; }

say "round on $THREADS threads; commit $(git rev-parse --short=12 HEAD 2>/dev/null || echo unknown)"
cmake -S . -B build-round -DCMAKE_BUILD_TYPE=Release -DQUORVANE_TESTS=OFF >/dev/null
cmake --build build-round -j"$THREADS" --target datagen nnue_trainer netcheck >"$WORK/build.log" 2>&1 \
  || { tail -30 "$WORK/build.log" | tee -a "$LOG"; exit 1; }
say "built"

# Openings: the carried full book where there is one, else the repository's sample.
BOOK=tests/data/books/UHO_4060_v3.epd; FRC=tests/data/books/FRC_openings.epd
if [ -f "$CARRIED/UHO_4060_v3.epd.xz" ]; then unpack "$CARRIED/UHO_4060_v3.epd.xz" >"$WORK/UHO.epd"; BOOK="$WORK/UHO.epd"; fi
[ -f "$CARRIED/FRC_openings.epd" ] && FRC="$CARRIED/FRC_openings.epd"
say "openings from $BOOK ($(wc -l <"$BOOK") lines)"

# Games: a tenth of the threads play Chess960, the rest standard chess, each
# process to a count planned from the rate, with a time limit as a backstop.
FRC_THREADS=$(( THREADS / 10 > 0 ? THREADS / 10 : 1 ))
STD_THREADS=$(( THREADS - FRC_THREADS > 0 ? THREADS - FRC_THREADS : 1 ))
games() {  # name threads share seed
  local positions=$(( RATE * $2 * SECONDS_GAMES ))
  # SIGTERM ends a generator after the games already written, with a complete file.
  timeout -s TERM -k 60 $(( SECONDS_GAMES + 30 )) build-round/datagen --out "$WORK/$1.bin" --positions "$positions" \
    --threads "$2" --nodes 2000 --net 220321-307.nnue --seed "$4" --syzygy tests/data/syzygy --book "$BOOK" \
    --frc-book "$FRC" --frc-share "$3" --report 60 >"$WORK/$1.log" 2>&1 || true
}
games "device-s$SEED" "$STD_THREADS" 0 "$SEED" &
games "device-frc-s$((SEED + 1))" "$FRC_THREADS" 1 "$((SEED + 1))" &
wait
NEW=("$WORK/device-s$SEED.bin" "$WORK/device-frc-s$((SEED + 1)).bin")
for f in "${NEW[@]}"; do tail -2 "${f%.bin}.log" | tee -a "$LOG"; done

files_left=$(( 8 - 2 ))  # round.log, sha256.txt
put() {  # file, name: compressed parts while files are left; 1 when it did not fit
  pack "$1" >"$WORK/$2.xz"
  local parts=$(( ($(stat -c %s "$WORK/$2.xz") + 15728639) / 15728640 ))
  [ "$parts" -le "$files_left" ] || { say "$2 left behind: $parts parts, $files_left files left"; return 1; }
  split -b 15M -d -a 1 "$WORK/$2.xz" "$OUT/$2.xz.part"
  files_left=$(( files_left - parts )); say "$2: $parts part(s)"
}
put_games() { for f in "${NEW[@]}"; do [ -s "$f" ] && { put "$f" "$(basename "$f")" || true; }; done; }
if [ "$TRAIN" = 0 ]; then
  ( cd "$WORK" && sha256sum device-*.bin ) >"$OUT/sha256.txt"
  put_games; say "done"; exit 0
fi

# Training on the new games and the carried data, from the shipped weights.
DATA=()
for f in "${NEW[@]}"; do [ -s "$f" ] && DATA+=(--data "$f"); done
for f in "$CARRIED"/*.bin.xz; do
  [ -f "$f" ] || continue
  unpack "$f" >"$WORK/$(basename "${f%.xz}")"; DATA+=(--data "$WORK/$(basename "${f%.xz}")")
done
VALIDATION=()
[ -f "$CARRIED/validation.bin" ] && VALIDATION=(--validation-data "$CARRIED/validation.bin")
say "training on $(( ${#DATA[@]} / 2 )) files"
build-round/nnue_trainer train "${DATA[@]}" "${VALIDATION[@]}" --out "$WORK/train" --epochs "$EPOCHS" --lr "$LR" \
  --threads "$THREADS" --batch 16384 --schedule cosine --lr-end 0.01 --factoriser 1 --filter-margin 100 --seed 1 \
  "${START[@]}" "${TRAIN_EXTRA[@]}" >"$WORK/train.log" 2>&1 || { tail -20 "$WORK/train.log" | tee -a "$LOG"; exit 1; }
grep -E "^epoch|validation before" "$WORK/train.log" | tee -a "$LOG"
CHECK_DATA="${CARRIED}/validation.bin"; [ -f "$CHECK_DATA" ] || CHECK_DATA="${NEW[0]}"
build-round/netcheck "$WORK/train/net.nnue" "$CHECK_DATA" "$WORK/train/checkpoint.bin" --limit 20000 2>&1 | tail -3 | tee -a "$LOG"

# Packing: the network and each data file compressed and cut into 15 MiB
# parts, with their checksums; data goes only as far as the 8 files allow.
cp "$WORK/train/log.csv" "$OUT/train-log.csv"
( cd "$WORK" && sha256sum train/net.nnue device-*.bin 2>/dev/null | sed 's| train/| |' ) >"$OUT/sha256.txt"
files_left=$(( files_left - 1 ))  # train-log.csv
put "$WORK/train/net.nnue" net.nnue
[ "$DATA_BACK" = 1 ] && put_games
say "done"
