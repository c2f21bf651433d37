#!/usr/bin/env bash
# A tool given an unknown flag, then a bad number, must answer each with one
# line on standard error naming the word, and a non-zero exit status that is
# not a crash (a signal: an uncaught exception aborts).
# Usage: tool_mistakes.sh TOOL "ARGS WITH AN UNKNOWN FLAG" "ARGS WITH A BAD NUMBER" NAME
set -u
tool=$1 named=$4
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failures=0
check() {  # the words given, the word the complaint must name
  local status
  read -ra words <<<"$1"
  (cd "$work" && "$tool" "${words[@]}" >/dev/null 2>"$work/stderr" </dev/null)
  status=$?
  local lines
  lines=$(wc -l <"$work/stderr")
  if [ "$status" -eq 0 ] || [ "$status" -gt 128 ] || [ "$lines" -ne 1 ] || ! grep -qF -- "$2" "$work/stderr"; then
    echo "FAILED: $(basename "$tool") $1: exit status $status, $lines lines on stderr, expected one naming $2:"
    cat "$work/stderr"
    failures=$((failures + 1))
  else
    echo "ok: $(basename "$tool") $1: $(cat "$work/stderr") (exit status $status)"
  fi
}
check "$2" --no-such-flag
check "$3" "$named"
[ "$failures" -eq 0 ]
