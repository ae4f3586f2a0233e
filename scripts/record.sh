#!/usr/bin/env bash
# Sets up, builds natively and runs the main job on the shipped test streams:
# `recstore record` fills two small disks past their capacity, then
# `recstore ls` and `recstore verify` look at what is on them, and one minute
# of one channel is exported and checked with ffmpeg. Everything goes under a
# run folder (the fixed device paths move there through RECSTORE_ROOT), never
# under /. Exit status 0 only when every step worked.
#
# Usage: scripts/record.sh [extra arguments for recstore record]
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
TARGET=recstore_cli

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

BIN="$BUILD/tools/recstore"
if [ ! -x "$BIN" ]; then
  echo "record: built '$TARGET' but found no executable $BIN" >&2
  exit 1
fi

if [ "${RECSTORE_KEEP_RUN:-0}" != 1 ]; then rm -rf "$RUN_DIR"; fi
mkdir -p "$RUN_DIR"
export RECSTORE_ROOT="$RUN_DIR"
export TZ="${TZ:-UTC}"
echo "record: recstore record $TESTDATA $RUN_DIR $*"
"$BIN" record "$TESTDATA" "$RUN_DIR" "$@"

ROOTS=("$RUN_DIR"/disk*)
echo
echo "record: recstore ls ${ROOTS[*]}"
"$BIN" ls "${ROOTS[@]}"
echo
echo "record: recstore verify ${ROOTS[*]}"
"$BIN" verify "${ROOTS[@]}"

# One minute of the first channel, from the start of its longest segment.
DEVICE="$("$BIN" ls "${ROOTS[@]}" | head -n 1 | cut -d' ' -f1)"
DATE="$("$BIN" ls --device "$DEVICE" "${ROOTS[@]}" | tail -n 1)"
read -r B1 B2 _ _ SECONDS_HELD _ < <("$BIN" ls --device "$DEVICE" --date "$DATE" "${ROOTS[@]}" |
  tail -n +2 | sort -k5,5n | tail -n 1)
FROM="$B1 $B2"
TO="$(TZ=UTC date -d "$FROM UTC + $(( SECONDS_HELD < 60 ? SECONDS_HELD : 60 )) seconds" '+%Y-%m-%d %H:%M:%S')"
OUT="$RUN_DIR/export.ts"
echo
echo "record: recstore export --device $DEVICE --from \"$FROM\" --to \"$TO\" ... $OUT"
"$BIN" export --device "$DEVICE" --from "$FROM" --to "$TO" "${ROOTS[@]}" "$OUT"
ERRORS="$(ffmpeg -v error -i "$OUT" -f null - 2>&1 | head -n 5)"
if [ -n "$ERRORS" ]; then
  echo "record: the export does not decode: $ERRORS" >&2
  exit 1
fi
PACKETS="$(ffprobe -v error -count_packets -select_streams v -show_entries stream=nb_read_packets \
  -of csv=p=0 "$OUT" | head -n 1)"
echo "record: $PACKETS video packets in the export, decoded without error"
