#!/usr/bin/env bash
# Uses the library as a part of another project, by add_subdirectory: only the library is built, with
# the standard that it asks for.
# Usage: subdirectory_test.sh SOURCE COMPILER FLAGS CIMG   (CIMG: the folder of CImg.h)
set -euo pipefail
source=$1 compiler=$2 flags=$3 cimg=$4
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() { echo "FAILED: $*" >&2; exit 1; }

cat >"$work/host.cpp" <<'END'
#include <fast_lp.h>
int main() { return FastShapeTracker("/nonexistent").num_points; }
END
cat >"$work/CMakeLists.txt" <<END
cmake_minimum_required(VERSION 3.20)
project(host LANGUAGES CXX)
add_subdirectory("$source" remora)
add_executable(host host.cpp)
target_link_libraries(host PRIVATE remora::remora)
END
cmake -S "$work" -B "$work/build" -G Ninja -DCMAKE_EXPORT_COMPILE_COMMANDS=ON \
  -DCMAKE_INCLUDE_PATH="$cimg" -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_CXX_FLAGS="$flags" >/dev/null

targets=$(cmake --build "$work/build" --target help)
grep -q remora_follow <<<"$targets" || fail "there is no remora::follow"
! grep -qE 'remora_program|_test|remora_testable' <<<"$targets" || fail "more than the library is built"

commands=$(grep "\"command\".*$source/src/" "$work/build/compile_commands.json")
! grep -ve ' -std=c++17 ' <<<"$commands" || fail "compiled with extensions, or for another standard"

cmake --build "$work/build" --target host >/dev/null
"$work/build/host" >/dev/null || fail "add_subdirectory"
