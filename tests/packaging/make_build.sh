#!/usr/bin/env bash
# The engine built by the root Makefile, as engine-testing frameworks build it,
# must take the same sources as the CMake build and search the same bench nodes.
#   make_build.sh SOURCE_DIR WORK_DIR CMAKE_ENGINE CMAKE_SOURCE_LIST
# Exit 77 (skipped) where make is missing.
set -euo pipefail
src="$1"; work="$2"; cmake_engine="$3"; cmake_sources="$4"
command -v make >/dev/null || { echo "make is not installed: the Makefile build is not checked"; exit 77; }
mkdir -p "$work"

# The same file list: a source added to one build and not the other fails here.
make -s -C "$src" print-sources | tr ' ' '\n' | sed '/^$/d' | sort > "$work/make-sources.txt"
sed "s|^$src/||" "$cmake_sources" | sort > "$work/cmake-sources.txt"
if ! diff -u "$work/cmake-sources.txt" "$work/make-sources.txt"; then
  echo "the Makefile and CMake build different source files (diff above: - CMake, + make)"
  exit 1
fi

# The framework's own command line, from the source folder, to a path of its choice.
make -C "$src" -j2 EXE="$work/quorvane" OBJDIR="$work/obj" >"$work/make.log" 2>&1 || { tail -30 "$work/make.log"; exit 1; }

bench_nodes() {  # the count of the closing "N nodes M nps" line, run from an empty folder
  (cd "$work" && "$1" bench | tail -1 | sed -n 's/^\([0-9][0-9]*\) nodes [0-9][0-9]* nps$/\1/p')
}
made=$(bench_nodes "$work/quorvane")
cmade=$(bench_nodes "$cmake_engine")
recorded=$(grep -v '^#' "$src/tests/data/bench_signature.txt" | head -1)
echo "bench nodes: make build ${made:-none}, CMake build ${cmade:-none}, recorded $recorded"
[ -n "$made" ] && [ "$made" = "$cmade" ] && [ "$made" = "$recorded" ]
