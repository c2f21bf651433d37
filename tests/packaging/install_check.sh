#!/usr/bin/env bash
# `cmake --install` as a packager runs it: the engine, its network in
# share/quorvane (which the installed engine reads), the manual page and the
# READMEs; the installed engine plays from a folder that holds nothing else.
#   install_check.sh BUILD_DIR WORK_DIR
set -euo pipefail
build="$1"; work="$2"
rm -rf "$work"; mkdir -p "$work/prefix" "$work/away"
cmake --install "$build" --prefix "$work/prefix" >"$work/install.log"
status=0
for f in bin/quorvane share/quorvane/220321-307.nnue share/man/man6/quorvane.6 share/doc/quorvane/README.md \
         share/doc/quorvane/networks.md; do
  [ -f "$work/prefix/$f" ] || { echo "missing after install: $f"; status=1; }
done
[ $status = 0 ] || exit 1
out=$(cd "$work/away" && printf 'uci\nisready\nposition startpos moves e2e4\ngo depth 4\n' | "$work/prefix/bin/quorvane")
echo "$out" | grep -Fx "info string NetFile used : $work/prefix/bin/../share/quorvane/220321-307.nnue" \
  || { echo "the installed engine did not read the installed network:"; echo "$out" | head -12; exit 1; }
grep -q '^bestmove [a-h][1-8][a-h][1-8]' <<<"$out" || { echo "no bestmove from the installed engine"; exit 1; }
# The manual page is well-formed roff, where a formatter is at hand.
if command -v groff >/dev/null; then
  warnings=$(groff -man -Tutf8 -ww -z "$work/prefix/share/man/man6/quorvane.6" 2>&1)
  [ -z "$warnings" ] || { echo "the manual page has formatting faults: $warnings"; exit 1; }
fi
echo "installed and played from $work/prefix"
