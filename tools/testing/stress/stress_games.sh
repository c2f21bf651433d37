#!/usr/bin/env bash
# Games under stress with the match runner, every engine output line kept and
# checked afterwards for torn or unknown lines.
#
#   tools/testing/stress/stress_games.sh fast   [games] [concurrency]   # 1,000 games at 1s+0.01s, 2 threads per engine
#   tools/testing/stress/stress_games.sh loaded [games] [concurrency]   # 200 games at 10s+0.1s, one busy process per core
#
# ENGINE (build/quorvane) plays ENGINE2 (the same unless given), so one run can
# also compare two builds; BOOK picks the openings, SEED their draw. BUSY=0 leaves
# the load of the loaded mode to the caller (a fuzz batch, say) instead of
# starting one spinning process per core.
#
# Prints the match summary and the line check; exits non-zero when a game had a
# fault (crash, hang, illegal move, time loss) or a line was torn.
set -euo pipefail
cd "$(dirname "$0")/../../.."
mode=${1:-fast}
cores=$(nproc)
book=${BOOK:-../shared/books/UHO_4060_v3.epd}
engine=${ENGINE:-build/quorvane}
engine2=${ENGINE2:-$engine}
seed=${SEED:-1}
logs=$(mktemp -d /tmp/quorvane-stress-XXXXXX)
case "$mode" in
  fast)   games=${2:-1000}; conc=${3:-$(( cores / 4 > 0 ? cores / 4 : 1 ))}; tc=1+0.01;  threads=2 ;;
  loaded) games=${2:-200};  conc=${3:-$(( cores / 2 > 0 ? cores / 2 : 1 ))}; tc=10+0.1;  threads=1 ;;
  *) echo "usage: $0 fast|loaded [games] [concurrency]"; exit 2 ;;
esac
[ -x build/match ] && [ -x "$engine" ] && [ -x "$engine2" ] || { echo "build build/match and $engine first"; exit 2; }

busy=()
stop_busy() { for pid in "${busy[@]}"; do kill "$pid" 2>/dev/null || true; done; }
trap stop_busy EXIT
if [ "$mode" = loaded ] && [ "${BUSY:-1}" != 0 ]; then
  for _ in $(seq "$cores"); do (while :; do :; done) & busy+=($!); done
fi

build/match --engine "tools/testing/stress/logged_engine.sh $engine $logs" \
  --engine "tools/testing/stress/logged_engine.sh $engine2 $logs" --name first --name second --tc "$tc" --games "$games" \
  --concurrency "$conc" --book "$book" --seed "$seed" --pgn "$logs/games.pgn" --option "1:Threads=$threads" --option "2:Threads=$threads" \
  --option 1:Hash=64 --option 2:Hash=64 | tee "$logs/match.txt"
stop_busy
busy=()

faults=$(grep '^Faults:' "$logs/match.txt" || true)
python3 tools/testing/fuzz/uci_fuzz.py --check-logs "$logs"/engine-*.log
torn=$?
echo "engine output kept in $logs"
[ "$faults" = "Faults: none" ] && [ $torn -eq 0 ]
