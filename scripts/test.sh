#!/usr/bin/env bash
# Builds and tests everything the way CI does, each build in its own folder:
#   native   RelWithDebInfo, tests, and the benchmarks in a short run
#   asan     Debug with AddressSanitizer + UndefinedBehaviorSanitizer
#   armhf    32-bit ARM cross build, tests under qemu-arm
# Exits non-zero when any step fails; a summary closes the output.
#
# Environment (all optional):
#   RECSTORE_BUILD_PREFIX  build folders are <prefix>-native, -asan, -armhf
#                          (default: <repo>/build-ci)
#   RECSTORE_CI_STEPS      steps to run (default: "native asan armhf"; "tsan" is
#                          also known, and left out by default)
#   RECSTORE_TEST_TIMEOUT  per-test time limit in seconds, native (default 120;
#                          twice that with the sanitizers)
#   RECSTORE_QEMU_TIMEOUT  per-test time limit in seconds under qemu (default 300)
set -uo pipefail

ROOT="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
PREFIX="${RECSTORE_BUILD_PREFIX:-$ROOT/build-ci}"
STEPS="${RECSTORE_CI_STEPS:-native asan armhf}"
TEST_TIMEOUT="${RECSTORE_TEST_TIMEOUT:-120}"
QEMU_TIMEOUT="${RECSTORE_QEMU_TIMEOUT:-300}"
JOBS="$(nproc)"

"$ROOT/scripts/setup.sh" || { echo "test: setup failed" >&2; exit 1; }

SUMMARY=()
FAILED=0
T_START=$SECONDS

note() { printf '\n==== %s ====\n' "$*"; }

# Appends one line to the summary; $1 step, $2 status, $3 seconds, $4 detail.
record() {
  SUMMARY+=("$(printf '%-7s %-5s %5ss  %s' "$1" "$2" "$3" "$4")")
  if [ "$2" != "ok" ]; then FAILED=1; fi
}

# configure_and_build STEP DIR [cmake args...]: build output goes to a log
# file; on failure its errors and tail are shown.
configure_and_build() {
  local step="$1" dir="$2"; shift 2
  local log="$dir.build.log"
  mkdir -p "$dir"
  if ! cmake -S "$ROOT" -B "$dir" "$@" >"$log" 2>&1; then
    echo "test: [$step] configure failed ($log):"
    tail -n 40 "$log"
    return 1
  fi
  if ! cmake --build "$dir" -j"$JOBS" >>"$log" 2>&1; then
    echo "test: [$step] build failed ($log):"
    grep -E 'error|Error' "$log" | head -n 40
    echo "---- last lines ----"
    tail -n 30 "$log"
    return 1
  fi
  local warnings
  warnings="$(grep -c 'warning:' "$log" || true)"
  echo "test: [$step] built in $dir ($warnings compiler warnings; log $log)"
  if [ "$warnings" != "0" ]; then
    grep 'warning:' "$log" | sort -u | head -n 20
  fi
}

# run_ctest STEP DIR TIMEOUT [ctest args...]: per-test limit, output shown
# for failures.
# Adds the run's counts to the grand total printed last.
TOTAL_PASSED=0
TOTAL_FAILED=0
run_ctest() {
  local step="$1" dir="$2" timeout="$3" rc counts total failed
  shift 3
  echo "test: [$step] ctest (per-test limit ${timeout}s)"
  ctest --test-dir "$dir" -j"$JOBS" --output-on-failure --no-tests=error \
    --timeout "$timeout" "$@" 2>&1 | tee "$dir.ctest.log"
  rc=$?
  counts="$(grep -Eo '[0-9]+ tests failed out of [0-9]+' "$dir.ctest.log" | tail -n 1)"
  if [ -n "$counts" ]; then
    failed="${counts%% *}"
    total="${counts##* }"
    TOTAL_PASSED=$((TOTAL_PASSED + total - failed))
    TOTAL_FAILED=$((TOTAL_FAILED + failed))
  elif [ "$rc" -ne 0 ]; then
    TOTAL_FAILED=$((TOTAL_FAILED + 1))
  fi
  return "$rc"
}

# failures DIR: the tests a ctest run failed, by name, and what the soak
# printed when it failed, so that the summary at the end tells it.
failures() {
  local log="$1.ctest.log"
  sed -n '/The following tests FAILED:/,$p' "$log" | sed -nE 's/^[[:space:]]+[0-9]+ - ([^ ]+).*/\1/p' | tr '\n' ' '
  grep -E '^(soak: VIOLATION|recstore_soak: FAILED)' "$log" | head -n 3 | awk '{ printf "\n        %s", $0 }'
}

# check_package STEP BUILD_DIR RUNNER CXX [cmake args...]: installs the build into
# a prefix of its own, builds examples/host against the installed package
# (and a one-line program through the pkg-config file), records the shipped
# stream with it and checks the stream read back with ffmpeg.
check_package() {
  local step="$1" dir="$2" runner="$3" cxx="$4"
  shift 4
  local prefix="$dir.install" example="$dir.example" work="$dir.example-run"
  rm -rf "$prefix" "$example" "$work"
  mkdir -p "$work"
  if ! cmake --install "$dir" --prefix "$prefix" >"$dir.install.log" 2>&1; then
    echo "test: [$step] install failed ($dir.install.log)"; tail -n 20 "$dir.install.log"; return 1
  fi
  if ! cmake -S "$ROOT/examples/host" -B "$example" -Drecstore_DIR="$prefix/lib/cmake/recstore" "$@" \
         >"$example.log" 2>&1 || ! cmake --build "$example" >>"$example.log" 2>&1; then
    echo "test: [$step] examples/host against the installed package failed ($example.log)"
    grep -E 'error|Error' "$example.log" | head -n 20; return 1
  fi
  echo 'int main() { return 0; }' >"$work/pc.cc"
  # shellcheck disable=SC2046
  if ! "$cxx" -std=c++17 -include retrieval/RecordRetriever.h "$work/pc.cc" -o "$work/pc" \
         $(pkg-config --cflags --libs "$prefix/lib/pkgconfig/recstore.pc"); then
    echo "test: [$step] a program built through recstore.pc failed"; return 1
  fi
  if ! $runner "$example/example_host" "$work" "$ROOT/../shared/testdata/cif25_gop50_20s.h264" \
         "$work/out.ts"; then
    echo "test: [$step] example_host failed"; return 1
  fi
  local errors
  errors="$(ffmpeg -v error -i "$work/out.ts" -f null - 2>&1 | head -n 5)"
  if [ -n "$errors" ]; then
    echo "test: [$step] the stream example_host read back does not decode: $errors"; return 1
  fi
  echo "test: [$step] installed package: examples/host recorded and read back a stream that decodes"
}

step_native() {
  local dir="$PREFIX-native" t0=$SECONDS
  note "native RelWithDebInfo"
  if ! configure_and_build native "$dir" -DCMAKE_BUILD_TYPE=RelWithDebInfo \
      -DRECSTORE_TESTS=ON -DRECSTORE_TOOLS=ON -DRECSTORE_BENCH=ON; then
    record native FAIL $((SECONDS - t0)) "build"; return
  fi
  if ! run_ctest native "$dir" "$TEST_TIMEOUT"; then
    record native FAIL $((SECONDS - t0)) "tests: $(failures "$dir")"; return
  fi
  record native ok $((SECONDS - t0)) "tests passed"

  t0=$SECONDS
  note "native install and examples/host"
  if check_package native "$dir" "" "${CXX:-g++}"; then
    record package ok $((SECONDS - t0)) "installed, examples/host built and run"
  else
    record package FAIL $((SECONDS - t0)) "install or examples/host"
  fi

  t0=$SECONDS
  if compgen -G "$ROOT/bench/*.cc" >/dev/null; then
    note "benchmarks (short run)"
    local bench
    bench="$(find "$dir" -type f -name recstore_bench -perm -u+x | head -n 1)"
    if [ -z "$bench" ]; then
      record bench FAIL $((SECONDS - t0)) "bench/*.cc exist but recstore_bench was not built"
    elif (cd "$(dirname "$bench")" && RECSTORE_BENCH_DD_MIB=64 ./recstore_bench --benchmark_min_time=0.01); then
      record bench ok $((SECONDS - t0)) "short run"
    else
      record bench FAIL $((SECONDS - t0)) "recstore_bench failed"
    fi
  else
    record bench skip 0 "no bench/*.cc yet"
  fi
}

step_asan() {
  local dir="$PREFIX-asan" t0=$SECONDS
  note "native Debug, AddressSanitizer + UndefinedBehaviorSanitizer"
  if ! configure_and_build asan "$dir" -DCMAKE_BUILD_TYPE=Debug \
      -DRECSTORE_SANITIZE=ON -DRECSTORE_TESTS=ON -DRECSTORE_TOOLS=OFF -DRECSTORE_BENCH=OFF; then
    record asan FAIL $((SECONDS - t0)) "build"; return
  fi
  # No detect_stack_use_after_return: its fake stacks kill GoogleTest's
  # threadsafe death tests without a word.
  if ! ASAN_OPTIONS="detect_leaks=1:strict_string_checks=1:check_initialization_order=1" \
       UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1" \
       run_ctest asan "$dir" $((TEST_TIMEOUT * 2)); then
    record asan FAIL $((SECONDS - t0)) "tests: $(failures "$dir")"; return
  fi
  record asan ok $((SECONDS - t0)) "tests passed"
}

step_tsan() {
  local dir="$PREFIX-tsan" t0=$SECONDS
  note "native, ThreadSanitizer"
  if ! configure_and_build tsan "$dir" -DCMAKE_BUILD_TYPE=RelWithDebInfo \
      -DRECSTORE_TSAN=ON -DRECSTORE_TESTS=ON -DRECSTORE_TOOLS=OFF -DRECSTORE_BENCH=OFF; then
    record tsan FAIL $((SECONDS - t0)) "build"; return
  fi
  if ! TSAN_OPTIONS="halt_on_error=1:second_deadlock_stack=1" \
       run_ctest tsan "$dir" $((TEST_TIMEOUT * 2)); then
    record tsan FAIL $((SECONDS - t0)) "tests: $(failures "$dir")"; return
  fi
  record tsan ok $((SECONDS - t0)) "tests passed"
}

step_armhf() {
  local dir="$PREFIX-armhf" t0=$SECONDS
  note "armhf cross build, tests under qemu-arm"
  if ! configure_and_build armhf "$dir" -DCMAKE_BUILD_TYPE=RelWithDebInfo \
      -DCMAKE_TOOLCHAIN_FILE="$ROOT/cmake/armhf-toolchain.cmake" \
      -DRECSTORE_TESTS=ON -DRECSTORE_TOOLS=ON -DRECSTORE_BENCH=OFF; then
    record armhf FAIL $((SECONDS - t0)) "build"; return
  fi
  # The point of this build is the 32-bit word size: make sure it is one.
  local lib="$dir/librecstore.so" kind
  kind="$(file -bL "$lib" 2>/dev/null)"
  echo "test: [armhf] $lib: $kind"
  case "$kind" in
    *"ELF 32-bit"*ARM*) ;;
    *) record armhf FAIL $((SECONDS - t0)) "librecstore.so is not 32-bit ARM"; return ;;
  esac
  # Death tests re-execute the test program, and without binfmt_misc the
  # kernel cannot start an ARM program: they run in the native builds only.
  if ! run_ctest armhf "$dir" "$QEMU_TIMEOUT" -E 'DeathTest\.'; then
    record armhf FAIL $((SECONDS - t0)) "tests: $(failures "$dir")"; return
  fi
  record armhf ok $((SECONDS - t0)) "tests passed under qemu-arm (death tests native only)"

  t0=$SECONDS
  note "armhf install and examples/host under qemu-arm"
  if check_package armhf "$dir" "qemu-arm -L /usr/arm-linux-gnueabihf" arm-linux-gnueabihf-g++ \
       -DCMAKE_TOOLCHAIN_FILE="$ROOT/cmake/armhf-toolchain.cmake"; then
    record pkg-arm ok $((SECONDS - t0)) "installed, examples/host built and run under qemu-arm"
  else
    record pkg-arm FAIL $((SECONDS - t0)) "install or examples/host"
  fi
}

for step in $STEPS; do
  case "$step" in
    native) step_native ;;
    asan) step_asan ;;
    tsan) step_tsan ;;
    armhf) step_armhf ;;
    *) echo "test: unknown step '$step'" >&2; record "$step" FAIL 0 "unknown step" ;;
  esac
done

note "summary"
for line in "${SUMMARY[@]}"; do echo "$line"; done
echo "total   $((SECONDS - T_START))s on $JOBS cores"
if [ "$FAILED" -ne 0 ]; then
  echo "test: FAILED"
else
  echo "test: all steps passed"
fi
echo "tests: $TOTAL_PASSED passed, $TOTAL_FAILED failed"
exit "$FAILED"
