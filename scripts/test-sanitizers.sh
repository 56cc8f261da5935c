#!/usr/bin/env bash
# Builds the program and its tests twice more, with AddressSanitizer + UndefinedBehaviorSanitizer
# (build-asan/) and with ThreadSanitizer (build-tsan/), and runs the whole test suite in each.
#   scripts/test-sanitizers.sh [asan|tsan|all]      (default: all)
# Any sanitizer report fails the test that produced it. The trees are built at -O1 with debug
# information: fast enough to keep both legs well inside CI's time, with usable stack traces.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh
# Share the compiler cache with other checkouts, as scripts/build.sh does.
export CCACHE_BASEDIR="$PWD"
export CCACHE_NOHASHDIR=1

LEGS=${1:-all}
ROOT=$PWD
SUPP=$ROOT/tests/sanitizers

run_leg() {
  local name=$1 sanitize=$2 dir=build-$1
  local t0 t1 t2
  t0=$(date +%s)
  cmake -S . -B "$dir" -G Ninja -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_FLAGS_DEBUG="-O1 -g" \
    -DCMAKE_C_FLAGS_DEBUG="-O1 -g" -DVNA_SANITIZE="$sanitize" -DVNA_BUILD_BENCH=OFF \
    -DVNA_BUILD_TOOLS=OFF -DCMAKE_CXX_FLAGS="-fno-sanitize-recover=all" >/dev/null
  cmake --build "$dir" -j2
  t1=$(date +%s)
  echo "== $name: build took $((t1 - t0)) s"
  # The tests keep their own timeout (300 s): the slowest takes about 30 s under either leg.
  ctest --test-dir "$dir" --output-on-failure -j2
  t2=$(date +%s)
  echo "== $name: tests took $((t2 - t1)) s"
}

# halt_on_error turns every report into a failing exit; abort_on_error is left off so that the
# report is printed in full before the exit.
export UBSAN_OPTIONS="halt_on_error=1:print_stacktrace=1:suppressions=$SUPP/ubsan.supp"
# fast_unwind_on_malloc=0 gives leak reports whole stacks through Qt (built without frame
# pointers), which the leak suppressions need.
export ASAN_OPTIONS="halt_on_error=1:detect_leaks=1:strict_string_checks=1:detect_stack_use_after_return=1:fast_unwind_on_malloc=0"
export LSAN_OPTIONS="suppressions=$SUPP/lsan.supp:print_suppressions=0"
export TSAN_OPTIONS="halt_on_error=1:second_deadlock_stack=1:suppressions=$SUPP/tsan.supp:print_suppressions=0"

case "$LEGS" in
  asan) run_leg asan address,undefined ;;
  tsan) run_leg tsan thread ;;
  all)
    run_leg asan address,undefined
    run_leg tsan thread
    ;;
  *) echo "usage: $0 [asan|tsan|all]" >&2; exit 2 ;;
esac
