#!/usr/bin/env bash
# Builds the libFuzzer harnesses (fuzz/) into ./build-fuzz with clang and runs them.
#   scripts/fuzz.sh [name|all] [seconds]      (defaults: all, 60 s each)
# Each harness starts from its committed seeds (fuzz/corpus/<name>/) and grows a working corpus
# in build-fuzz/corpus/<name>/; crashes, hangs and leaks land in build-fuzz/artifacts/<name>/.
# A finding is kept as a regression: copy it to tests/data/fuzz-regressions/ and let
# tests/unit/test_fuzz_regressions.cpp load it.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh

# clang and its runtime libraries (libFuzzer, the sanitizers) are needed here only, not in CI.
FUZZ_PACKAGES=(clang libclang-rt-dev)
missing=()
for p in "${FUZZ_PACKAGES[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$p")
  fi
done
if [ ${#missing[@]} -gt 0 ]; then
  SUDO=""
  if [ "$(id -u)" -ne 0 ]; then SUDO="sudo"; fi
  $SUDO apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi

NAME=${1:-all}
SECONDS_EACH=${2:-60}
DIR=build-fuzz
ALL=(touchstone scpi text_parsers calkit calibration limits ucal_block ucal_reply)
for f in fuzz/fuzz_*.cpp; do
  n=$(basename "$f" .cpp); n=${n#fuzz_}
  case " ${ALL[*]} " in *" $n "*) ;; *) ALL+=("$n") ;; esac
done

CC=clang CXX=clang++ cmake -S . -B "$DIR" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DVNA_BUILD_FUZZERS=ON -DVNA_SANITIZE=fuzzer-no-link,address,undefined \
  -DCMAKE_CXX_FLAGS="-fno-sanitize-recover=all" -DVNA_BUILD_TESTS=OFF -DVNA_BUILD_BENCH=OFF \
  -DVNA_BUILD_TOOLS=OFF >/dev/null

if [ "$NAME" = all ]; then NAMES=("${ALL[@]}"); else NAMES=("$NAME"); fi
targets=()
for n in "${NAMES[@]}"; do targets+=("fuzz_$n"); done
cmake --build "$DIR" -j2 --target "${targets[@]}"

export UBSAN_OPTIONS="halt_on_error=1:print_stacktrace=1"
export ASAN_OPTIONS="halt_on_error=1:detect_leaks=1"
export QT_QPA_PLATFORM=offscreen
status=0
for n in "${NAMES[@]}"; do
  corpus=$DIR/corpus/$n
  artifacts=$DIR/artifacts/$n
  mkdir -p "$corpus" "$artifacts"
  dict=()
  if [ -f "fuzz/$n.dict" ]; then dict=(-dict="fuzz/$n.dict"); fi
  echo "== fuzz_$n for $SECONDS_EACH s"
  # A single input may take at most 10 s (a hang otherwise) and 2 GB.
  if ! "$DIR/fuzz/fuzz_$n" "$corpus" "fuzz/corpus/$n" "${dict[@]}" \
      -max_total_time="$SECONDS_EACH" -timeout=10 -rss_limit_mb=2048 -max_len=16384 \
      -artifact_prefix="$artifacts/" -print_final_stats=1; then
    echo "== fuzz_$n found a problem: see $artifacts/"
    status=1
  fi
done
exit $status
