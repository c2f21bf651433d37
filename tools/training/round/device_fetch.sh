#!/usr/bin/env bash
# Unpacks what tools/training/round/device_round.sh sent back: joins and decompresses the
# parts, checks each file against the checksums made where it was written, puts
# the network under rounds/NAME/ and the games into the data folder, and records
# both in the manifest.
#   tools/training/round/device_fetch.sh FOLDER NAME    (FOLDER: where the files came back)
set -euo pipefail
ROOT="$(cd "$(dirname "$0")/../../.." && pwd)"
[ $# -eq 2 ] || { sed -n '2,7p' "$0" >&2; exit 2; }
FROM="$1"; NAME="$2"
DATA="${QUORVANE_DATA:-$ROOT/../data}"
mkdir -p "$DATA/rounds/$NAME"
MANIFEST="$ROOT/build/nnue_manifest"
[ -x "$MANIFEST" ] || cmake --build "$ROOT/build" --target nnue_manifest >/dev/null
NETTAG="220321-307.nnue sha256:$(sha256sum "$ROOT/220321-307.nnue" | cut -c1-16)"
COMMIT="$(git -C "$ROOT" rev-parse --short=12 HEAD)"

join() {  # name, destination: the parts joined and decompressed, then checked
  cat "$FROM/$1".xz.part* | xz -dc >"$2.tmp"
  local want have
  want=$(awk -v n="$1" '$2 == n || $2 == "train/"n {print $1}' "$FROM/sha256.txt")
  have=$(sha256sum "$2.tmp" | cut -d' ' -f1)
  [ -n "$want" ] && [ "$want" = "$have" ] || { echo "$1: checksum $have, expected ${want:-none}"; rm -f "$2.tmp"; return 1; }
  mv "$2.tmp" "$2"
}

cp "$FROM/round.log" "$DATA/rounds/$NAME/"
if [ -f "$FROM/net.nnue.xz.part0" ]; then  # absent after --games-only
  join net.nnue "$DATA/rounds/$NAME/$NAME.nnue"
  cp "$FROM/train-log.csv" "$DATA/rounds/$NAME/"
  "$MANIFEST" add "$DATA" "rounds/$NAME/$NAME.nnue" net --network "$NETTAG" --commit "$COMMIT" \
    --command "tools/training/round/device_round.sh (see rounds/$NAME/round.log)"
fi
for part in "$FROM"/*.bin.xz.part0; do
  [ -f "$part" ] || continue
  file="$(basename "${part%.xz.part0}")"
  join "$file" "$DATA/$NAME-$file"
  "$MANIFEST" add "$DATA" "$NAME-$file" data --network "$NETTAG" --commit "$COMMIT" \
    --command "tools/training/round/device_round.sh on a lent machine (see rounds/$NAME/round.log)"
done
[ -f "$DATA/rounds/$NAME/$NAME.nnue" ] && echo "network in $DATA/rounds/$NAME/$NAME.nnue"
echo "games in $DATA/$NAME-*.bin"
