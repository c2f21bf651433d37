#!/usr/bin/env bash
# Sanitizer runs, each in its own build directory:
#   asan  ASan+UBSan build (build-asan): unit tests, process tests and a fuzz batch
#   tsan  TSan build (build-tsan): the process tests, which run the engine with several threads
#   all   both (the default)
#   ci    the ASan+UBSan part without the unit tests (the engine binary under the process tests and the fuzz
#         batch), which keeps the test script's extra time to a few minutes
# Any report from a sanitizer fails the run. JOBS sets the build parallelism (default: all cores).
set -euo pipefail
cd "$(dirname "$0")/../.."
what=${1:-all}
jobs=${JOBS:-$(nproc)}
launcher=()
command -v ccache >/dev/null && launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
# Huge "Hash" values must come back as a failed allocation, as they do without sanitizers.
export ASAN_OPTIONS=allocator_may_return_null=1:detect_leaks=1
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
export TSAN_OPTIONS=allocator_may_return_null=1:halt_on_error=1:second_deadlock_stack=1

run_asan() {
  local targets=(quorvane unit_tests process_tests) labels='unit|process|fuzz'
  [ "${1:-}" = ci ] && targets=(quorvane process_tests) labels='process|fuzz'
  cmake -S . -B build-asan -DQUORVANE_TESTS=ON -DQUORVANE_SANITIZE=address,undefined -DCMAKE_BUILD_TYPE=RelWithDebInfo "${launcher[@]}" >/dev/null
  cmake --build build-asan -j"$jobs" --target "${targets[@]}"
  # The perft-file checks run on one thread through code the unit tests cover, and take minutes here.
  ctest --test-dir build-asan --output-on-failure --no-tests=error -j"$jobs" -L "$labels" -E PerftFiles
}

run_tsan() {
  cmake -S . -B build-tsan -DQUORVANE_TESTS=ON -DQUORVANE_SANITIZE=thread -DCMAKE_BUILD_TYPE=RelWithDebInfo "${launcher[@]}" >/dev/null
  cmake --build build-tsan -j"$jobs" --target quorvane process_tests
  # The perft-file checks run on one thread and take minutes under TSan.
  ctest --test-dir build-tsan --output-on-failure --no-tests=error -j"$jobs" -L process -E PerftFiles
}

case "$what" in
  asan) run_asan ;;
  ci) run_asan ci ;;
  tsan) run_tsan ;;
  all) run_asan; run_tsan ;;
  *) echo "usage: $0 [asan|tsan|all|ci]"; exit 2 ;;
esac
