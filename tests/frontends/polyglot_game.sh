#!/usr/bin/env bash
# Plays a short game through polyglot in xboard mode, the way xboard users run
# the engine: the engine plays both sides on a clock, every reply must be a
# move, and the engine itself must accept the whole game afterwards.
# Usage: tests/frontends/polyglot_game.sh <engine executable>
set -uo pipefail
engine=$1
polyglot=$(command -v polyglot || command -v /usr/games/polyglot)
if [ -z "$polyglot" ]; then
  echo "polyglot missing: skipped"
  exit 77
fi
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
# Started from an empty folder: the engine must find its network by itself.
cat > "$work/quorvane.ini" <<INI
[PolyGlot]
EngineCommand = $engine
EngineDir = $work
Book = false
Log = true
LogFile = $work/polyglot.log
[Engine]
Hash = 16
INI
coproc PG { cd "$work" && exec "$polyglot" quorvane.ini 2>&1; }
say() { printf '%s\n' "$@" >&"${PG[1]}"; }
# Waits for a line matching the pattern; prints it.
expect() {
  local line
  while IFS= read -r -t 30 line <&"${PG[0]}"; do
    line=${line%$'\r'}
    if [[ $line =~ $1 ]]; then printf '%s\n' "$line"; return 0; fi
    if [[ $line =~ ^(Illegal|Error|tellusererror) ]]; then echo "FAILED: $line"; return 1; fi
  done
  return 1
}
say xboard "protover 2"
expect '^feature .*done=1' >/dev/null || { echo "FAILED: no feature done=1"; exit 1; }
say new "level 0 0:20 0.1" post
moves=()
clock=2000
for ply in $(seq 1 16); do
  say "time $clock" "otim $clock" go
  reply=$(expect '^move ') || { echo "FAILED: no move at ply $ply"; tail -20 "$work/polyglot.log"; exit 1; }
  moves+=("${reply#move }")
  clock=$((clock - 50))
done
say quit
wait "$PG_PID" 2>/dev/null
echo "game: ${moves[*]}"
# The engine replays the game: an illegal move would be refused on an info string line.
check=$(printf 'position startpos moves %s\nquit\n' "${moves[*]}" | (cd "$work" && "$engine") | grep '^info string' | grep -v -e NetFile -e 'network kernel')
if [ -n "$check" ]; then echo "FAILED: $check"; exit 1; fi
echo "polyglot game passed"
