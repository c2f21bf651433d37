#!/usr/bin/env bash
# One self-play round, from games to a match:
#   1. games played by the shipped network, written to the data folder in chunks;
#   2. a new network trained on every data file the manifest lists (the rounds
#      accumulate), starting from the shipped network's weights;
#   3. the export checked against the float model on the held-out games;
#   4. its provenance written beside it and recorded in the manifest;
#   5. a match of the new network against the shipped one.
# Every step leaves its output in the data folder and is skipped when that output
# is already there, so running the same command again continues a stopped round.
set -euo pipefail
ROOT="$(cd "$(dirname "$0")/../../.." && pwd)"

usage() {
  cat >&2 <<'TEXT'
usage: tools/training/round/round.sh NAME [options]
  --positions N      new positions for this round (3000000), written in chunks of --chunk (500000)
  --validation N     positions of the held-out games, when the data folder has none yet (200000)
  --threads N        game and training threads (all cores)
  --nodes N          search nodes per move in self-play (2000)
  --epochs N         training epochs (30); --lr X (0.0005; 0.002 with --from-scratch)
  --from-scratch     random weights instead of the shipped network's
  --games N          most match games (2000), --tc B+I (10+0.1), --concurrency N (cores / 2)
  --sprt E0 E1       the match's sequential test: new network E0 against E1 Elo better (0 15)
  --skip-match       stop after the provenance
The data folder is $QUORVANE_DATA (default: the folder data/ beside the repository); the books
come from $QUORVANE_BOOKS and the tablebases from $QUORVANE_SYZYGY (default: ../shared beside it).
TEXT
  exit 2
}

[ $# -ge 1 ] || usage
NAME="$1"; shift
POSITIONS=3000000; CHUNK=500000; VALIDATION_POSITIONS=200000; THREADS="$(nproc)"; NODES=2000; EPOCHS=30; LR=""; SCRATCH=0
GAMES=2000; TC=10+0.1; SPRT0=0; SPRT1=15; CONCURRENCY=$(( $(nproc) / 2 > 0 ? $(nproc) / 2 : 1 )); MATCH=1
while [ $# -gt 0 ]; do
  case "$1" in
    --positions) POSITIONS="$2"; shift 2 ;;
    --chunk) CHUNK="$2"; shift 2 ;;
    --validation) VALIDATION_POSITIONS="$2"; shift 2 ;;
    --threads) THREADS="$2"; shift 2 ;;
    --nodes) NODES="$2"; shift 2 ;;
    --epochs) EPOCHS="$2"; shift 2 ;;
    --lr) LR="$2"; shift 2 ;;
    --from-scratch) SCRATCH=1; shift ;;
    --games) GAMES="$2"; shift 2 ;;
    --sprt) SPRT0="$2"; SPRT1="$3"; shift 3 ;;
    --tc) TC="$2"; shift 2 ;;
    --concurrency) CONCURRENCY="$2"; shift 2 ;;
    --skip-match) MATCH=0; shift ;;
    *) usage ;;
  esac
done
[ -n "$LR" ] || LR=$([ "$SCRATCH" = 1 ] && echo 0.002 || echo 0.0005)

DATA="${QUORVANE_DATA:-$ROOT/../data}"
mkdir -p "$DATA/rounds/$NAME"
DATA="$(cd "$DATA" && pwd)"
ROUND="$DATA/rounds/$NAME"
BUILD="$ROOT/build"
SHIPPED="$ROOT/220321-307.nnue"
COMMIT="$(git -C "$ROOT" rev-parse --short=12 HEAD)$(git -C "$ROOT" diff --quiet HEAD -- src tools || echo -dirty)"
NETTAG="220321-307.nnue sha256:$(sha256sum "$SHIPPED" | cut -c1-16)"
# Opening books and tablebases: the shared folder beside the repository unless told otherwise.
BOOKS="${QUORVANE_BOOKS:-$ROOT/../shared/books}"
SYZYGY=()
TABLES="${QUORVANE_SYZYGY:-$ROOT/../shared/syzygy}"
[ -d "$TABLES" ] && SYZYGY=(--syzygy "$TABLES")
say() { echo "round $NAME: $*"; }

cmake -S "$ROOT" -B "$BUILD" -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build "$BUILD" -j"$(nproc)" --target datagen nnue_trainer netcheck nnue_manifest match quorvane >/dev/null

# Chunks of games: a finished chunk is recorded in the manifest; an interrupted
# one is played again from its seed, which gives the same games.
generate() {  # file kind positions seed
  local file="$1" kind="$2" count="$3" seed="$4"
  if [ -n "$("$BUILD/nnue_manifest" files "$DATA" "$kind" | grep -Fx "$DATA/$file" || true)" ]; then return; fi
  say "generating $file ($count positions, seed $seed)"
  local command=("$BUILD/datagen" --out "$DATA/$file.part" --positions "$count" --threads "$THREADS"
                 --nodes "$NODES" --net "$SHIPPED" --seed "$seed" "${SYZYGY[@]}" --report 60
                 --book "$BOOKS/UHO_4060_v3.epd" --frc-book "$BOOKS/FRC_openings.epd")
  (cd "$ROOT" && "${command[@]}")
  mv "$DATA/$file.part" "$DATA/$file"
  "$BUILD/nnue_manifest" add "$DATA" "$file" "$kind" --network "$NETTAG" --commit "$COMMIT" \
    --command "datagen --positions $count --nodes $NODES --seed $seed ${SYZYGY[*]}"
}

# The held-out games are made once and kept, so that every round's validation
# loss is measured on the same positions.
if [ -z "$("$BUILD/nnue_manifest" files "$DATA" validation)" ]; then
  generate validation.bin validation "$VALIDATION_POSITIONS" 20261123
fi
VALIDATION="$("$BUILD/nnue_manifest" files "$DATA" validation | head -1)"

NAMESEED=$(( $(printf '%s' "$NAME" | cksum | cut -d' ' -f1) % 1000000 * 1000 ))
CHUNKS=$(( (POSITIONS + CHUNK - 1) / CHUNK ))
for ((c = 1; c <= CHUNKS; c++)); do
  generate "$NAME-$(printf %02d $c).bin" data "$CHUNK" $((NAMESEED + c))
done

# Training: every data file still present, continuing from a checkpoint if one is there.
TRAIN="$ROUND/train"
mkdir -p "$TRAIN"
mapfile -t FILES < <("$BUILD/nnue_manifest" files "$DATA" data)
DATAARGS=()
for f in "${FILES[@]}"; do DATAARGS+=(--data "$f"); done
TRAINARGS=(train "${DATAARGS[@]}" --validation-data "$VALIDATION" --out "$TRAIN" --epochs "$EPOCHS"
           --threads "$THREADS" --batch 16384 --lr "$LR" --schedule cosine --lr-end 0.01 --factoriser 1
           --filter-margin 100 --seed 1)
# A round that continues the shipped weights sees reflected positions too: on
# data it has partly seen already, that kept it from learning the games by heart.
[ "$SCRATCH" = 1 ] || TRAINARGS+=(--init-net "$SHIPPED" --mirror 1)
if [ ! -f "$TRAIN/done" ]; then
  if [ -f "$TRAIN/checkpoint.bin" ]; then
    say "resuming training"
    "$BUILD/nnue_trainer" train "${DATAARGS[@]}" --validation-data "$VALIDATION" --out "$TRAIN" \
      --epochs "$EPOCHS" --threads "$THREADS" --resume "$TRAIN/checkpoint.bin" | tee -a "$TRAIN/train.log"
  else
    say "training on ${#FILES[@]} files"
    "$BUILD/nnue_trainer" "${TRAINARGS[@]}" | tee "$TRAIN/train.log"
  fi
  touch "$TRAIN/done"
fi

say "checking the export"
"$BUILD/netcheck" "$TRAIN/net.nnue" "$VALIDATION" "$TRAIN/checkpoint.bin" --limit 20000 | tee "$ROUND/netcheck.txt"

{
  echo "network: rounds/$NAME/train/net.nnue sha256:$(sha256sum "$TRAIN/net.nnue" | cut -c1-16)"
  echo "engine commit: $COMMIT"
  echo "made: $(date -u +%Y-%m-%dT%H:%M:%SZ)"
  echo "started from: $([ "$SCRATCH" = 1 ] && echo random weights || echo "$NETTAG")"
  echo "trainer: nnue_trainer ${TRAINARGS[*]}"
  echo "data files:"
  for f in "${FILES[@]}"; do echo "  $(basename "$f")"; done
  echo "validation: $(basename "$VALIDATION")"
  echo "training log:"; sed 's/^/  /' "$TRAIN/log.csv"
  echo "export check:"; sed 's/^/  /' "$ROUND/netcheck.txt"
} > "$ROUND/provenance.txt"
cp "$TRAIN/net.nnue" "$ROUND/$NAME.nnue"
"$BUILD/nnue_manifest" add "$DATA" "rounds/$NAME/$NAME.nnue" net --network "$NETTAG" --commit "$COMMIT" \
  --command "tools/training/round/round.sh $NAME (see rounds/$NAME/provenance.txt)"
say "provenance in $ROUND/provenance.txt"

if [ "$MATCH" = 1 ]; then
  BOOK="$BOOKS/UHO_4060_v3.epd"
  say "match against the shipped network (sequential test $SPRT0 against $SPRT1 Elo, at most $GAMES games at $TC)"
  "$BUILD/match" --engine "$BUILD/quorvane" --engine "$BUILD/quorvane" --name "$NAME" --name shipped \
    --option "1:NetFile=$ROUND/$NAME.nnue" --option "2:NetFile=$SHIPPED" --option 1:Hash=64 --option 2:Hash=64 \
    --tc "$TC" --games "$GAMES" --sprt "$SPRT0" "$SPRT1" --margin 100 --concurrency "$CONCURRENCY" --book "$BOOK" --seed 4242 \
    --pgn "$ROUND/match.pgn" | tee "$ROUND/match.txt"
fi
