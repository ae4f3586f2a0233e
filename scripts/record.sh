#!/usr/bin/env bash
# Sets up, builds natively and runs the recording tool on the shipped test
# streams. Everything the tool writes goes under a run folder (the fixed
# device paths move there through RECSTORE_ROOT), never under /.
#
# Usage: scripts/record.sh [extra arguments for recstore_record]
# Environment (optional):
#   RECSTORE_BUILD_PREFIX  build folder is <prefix>-native (default <repo>/build-ci),
#                          the same one scripts/test.sh uses for its native build
#   RECSTORE_TESTDATA_DIR  shipped streams (default <repo>/../shared/testdata)
#   RECSTORE_RUN_DIR       run folder (default <build folder>/record-run, emptied first)
#   RECSTORE_KEEP_RUN=1    keep what the run folder holds, so that a run with a
#                          later --start continues the last one's day
set -euo pipefail

ROOT="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
PREFIX="${RECSTORE_BUILD_PREFIX:-$ROOT/build-ci}"
BUILD="$PREFIX-native"
TESTDATA="${RECSTORE_TESTDATA_DIR:-$(cd "$ROOT/.." && pwd)/shared/testdata}"
RUN_DIR="${RECSTORE_RUN_DIR:-$BUILD/record-run}"
TARGET=recstore_record

"$ROOT/scripts/setup.sh"

if [ ! -d "$TESTDATA" ]; then
  echo "record: test streams not found in $TESTDATA (set RECSTORE_TESTDATA_DIR)" >&2
  exit 1
fi

# Same options as the native build of scripts/test.sh, so the two share it.
cmake -S "$ROOT" -B "$BUILD" -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DRECSTORE_TESTS=ON -DRECSTORE_TOOLS=ON -DRECSTORE_BENCH=ON \
  -DRECSTORE_TESTDATA_DIR="$TESTDATA" >/dev/null

TARGETS="$(cmake --build "$BUILD" --target help)"
if ! grep -qw "$TARGET" <<<"$TARGETS"; then
  echo "record: the build has no target '$TARGET' yet." >&2
  echo "record: expected tools/CMakeLists.txt to define it (tools/ holds: $(ls -A "$ROOT/tools" | tr '\n' ' '))" >&2
  exit 1
fi

cmake --build "$BUILD" --target "$TARGET" -j"$(nproc)"

BIN="$(find "$BUILD" -type f -name "$TARGET" -perm -u+x | head -n 1)"
if [ -z "$BIN" ]; then
  echo "record: built '$TARGET' but found no executable under $BUILD" >&2
  exit 1
fi

if [ "${RECSTORE_KEEP_RUN:-0}" != 1 ]; then rm -rf "$RUN_DIR"; fi
mkdir -p "$RUN_DIR"
export RECSTORE_ROOT="$RUN_DIR"
echo "record: $BIN $TESTDATA $RUN_DIR $*"
exec "$BIN" "$TESTDATA" "$RUN_DIR" "$@"
