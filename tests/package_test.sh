#!/usr/bin/env bash
# Uses the library as others do: installed, by find_package and by pkg-config.
# Usage: package_test.sh SOURCE BUILD COMPILER FLAGS CIMG   (CIMG: the folder of CImg.h)
set -euo pipefail
source=$1 build=$2 compiler=$3 flags=$4 cimg=$5
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() { echo "FAILED: $*" >&2; exit 1; }

cmake --install "$build" --prefix "$work/prefix" >/dev/null
headers=$(cd "$work/prefix/include/remora" && find . -type f | LC_ALL=C sort | tr '\n' ' ')
follow=
for header in annotation/{annotations,configuration,formats/formats,point_names,recording,shape,shape_files,tracks} \
  error export \
  footage/{footage,frame_choice,frame_reader,image,picture,png_files,sequences,variety} model/{model,review} \
  report/{annotation_page,evaluation,inspection,overlay,report,suggestion} tracking/{corrected,smoothing,tracker} training/{example,forecast,training}; do
  follow+="./follow/$header.h "
done
wanted="./ImgFnames.h ./cimg/CImg.h ./fast_lp.h $follow./gandalf.h ./lin_predC.h ./remora_export.h ./shape_lp_track.h "
[ "$headers" = "$wanted" ] || fail "installed headers are $headers"

# What leaves the library is what its headers mark, but for instances of templates: all of it, and
# nothing else.
defined() {  # of any visibility, or of the one that is named
  readelf -WsC "$build/libremora_testable.a" |
    awk -v wanted="${1:-}" '$5 == "GLOBAL" && (wanted == "" || $6 == wanted) && $7 != "UND"' |
    sed -E 's/^ *([^ ]+ +){7}//' | grep -v '^__odr_asan' | sort -u
}
marked=$(defined DEFAULT)
exported=$(nm -D --defined-only -C "$build/libremora.so" | cut -d ' ' -f 3- | sort -u)
[ "$marked" = "$exported" ] || fail "exported: $(diff <(echo "$marked") <(echo "$exported"))"

# Of what is public, all is marked: each member function, and each function of the names that may leave.
public_names=$(sed -nE 's/^ +"?([A-Za-z_]+)(::|\(|\*).*/^\1\2/p' "$source/packaging/exports.map" |
  sed 's/\*$//; s/($/[(]/')
unmarked=$(comm -23 <(defined | grep -E "$public_names") <(echo "$exported"))
[ -z "$unmarked" ] || fail "not exported: $unmarked"

# Frames are prepared by the same bits in the library and in the program.
arithmetic=$(ninja -C "$build" -t commands | grep -- '-c .*/src/internal/frame.cpp$' | while read -r command; do
  tr ' ' '\n' <<<"$command" | grep -E '^-(m|O|ffp|fno-tree)' | sort | tr '\n' ' '
  echo
done | sort -u)
{ [ "$(wc -l <<<"$arithmetic")" = 1 ] && grep -q ffp-contract=off <<<"$arithmetic"; } ||
  fail "frame.cpp is compiled in several ways, or with any arithmetic: $arithmetic"

# Every header compiles alone, and all of them in either order, beside <unistd.h> and its own sleep.
compiles() {
  local compiler=$1 standard=$2
  shift 2
  command -v "$compiler" >/dev/null || return 0
  printf '#include <%s>\n' "$@" |
    "$compiler" "-std=$standard" -Wall -Wextra -Wpedantic -Werror -fsyntax-only -x c++ \
      -I "$work/prefix/include/remora" -idirafter "$cimg" - || fail "$compiler -std=$standard with $*"
}
public=(ImgFnames.h fast_lp.h gandalf.h lin_predC.h shape_lp_track.h)
for header in "${public[@]}" $follow; do
  compiles g++ c++17 "$header"
  compiles clang++ c++20 "$header"
done
compiles g++ c++20 unistd.h "${public[@]}"
compiles clang++ c++17 shape_lp_track.h lin_predC.h gandalf.h fast_lp.h ImgFnames.h unistd.h

# find_package: the examples, as their folder says.
cmake -S "$source/examples" -B "$work/examples" -DCMAKE_PREFIX_PATH="$work/prefix" \
  -DCMAKE_INCLUDE_PATH="$cimg" -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_CXX_FLAGS="$flags" >/dev/null
cmake --build "$work/examples" --parallel >/dev/null
status=0
output=$("$work/examples/engine_track" "$work/missing.flp" none.png) || status=$?
[ "$status" = 1 ] || fail "engine_track ended with $status"
[ "$output" = "flat lp file $work/missing.flp cannot be read" ] || fail "engine_track said: $output"
(
  cd "$work"
  for frame in 0 1 2; do
    # A slope with a bright square that moves to the right.
    { echo "P2 120 90 255"; awk -v at=$((50 + frame)) 'BEGIN { for (i = 0; i < 10800; ++i) {
      x = i % 120; y = int(i / 120)
      print (x >= at && x < at + 20 && y >= 40 && y < 55) ? 200 - x : x + y }; }'; } >f$frame.pgm
  done
  printf '2\n3\n50 40\n70 40\n50 55\n3\n51 40\n71 40\n51 55\n' >shapes.txt
  examples/train model shapes.txt f0.pgm f1.pgm 2>/dev/null
  examples/track model f0.pgm f1.pgm f2.pgm >tracks.txt
  [ "$(grep -c tracked tracks.txt)" -ge 3 ] || fail "track said: $(cat tracks.txt)"
)

# pkg-config: a program of three lines, and one that sees the inside: an explicit instantiation may
# name private members.
pc=$(find "$work/prefix" -name remora.pc -printf %h)
cat >"$work/three.cpp" <<'END'
#include <shape_lp_track.h>
#include <fast_lp.h>
int main() { return FastShapeTracker("/nonexistent").num_points + glob_save_lp_info_stub; }
END
cat >"$work/inside.cpp" <<'END'
#include <shape_lp_track.h>
using Loader = CImg<float>** (ShapeLPTracker::*)(ImgFnames*, int);
Loader loadAllImgs();
template <Loader loader>
struct Expose {
  friend Loader loadAllImgs() { return loader; }
};
template struct Expose<&ShapeLPTracker::LoadAllImgs>;
int main() {
  ShapeLPTracker tracker(nullptr, 0);
  ImgFnames names(nullptr, 0);
  CImg<float>** const images = (tracker.*loadAllImgs())(&names, 1);
  const bool none = images[0] == nullptr;
  delete[] images;
  return none ? 0 : 1;
}
END
export PKG_CONFIG_PATH=$pc
flags+=" -idirafter $cimg"
for program in three inside; do
  # shellcheck disable=SC2046,SC2086
  "$compiler" -std=c++17 $flags "$work/$program.cpp" -o "$work/$program" \
    $(pkg-config --cflags --libs remora)
  LD_LIBRARY_PATH=$(pkg-config --variable=libdir remora) "$work/$program" >/dev/null ||
    fail "pkg-config: $program"
done

# remora::follow: a host sees no image library, and catches its exceptions.
cat >"$work/follow.cpp" <<'END'
#include <follow/tracking/tracker.h>
#include <follow/training/training.h>
#include <follow/error.h>
#include <string>
#ifdef cimg_version
#error "the image library shows"
#endif
int main() {
  try {
    remora::Tracker tracker(remora::Model("/nonexistent"));
  } catch (const remora::Error& error) {
    return std::string(error.what()).find("/nonexistent") == std::string::npos;
  }
  return 1;
}
END
pkg-config --print-requires-private remora-follow | grep -q . && fail "remora-follow wants other packages"
# shellcheck disable=SC2046,SC2086
"$compiler" -std=c++17 $flags "$work/follow.cpp" -o "$work/follow" \
  $(pkg-config --cflags --libs remora-follow) -Wl,-rpath-link,"$(pkg-config --variable=libdir remora)"
LD_LIBRARY_PATH=$(pkg-config --variable=libdir remora) "$work/follow" || fail "remora::follow"
cat >"$work/CMakeLists.txt" <<'END'
cmake_minimum_required(VERSION 3.20)
project(host LANGUAGES CXX)
find_package(remora REQUIRED COMPONENTS follow)
add_executable(host follow.cpp)
target_link_libraries(host PRIVATE remora::follow)
END
# What the engine's headers want is not asked for.
cmake -S "$work" -B "$work/host" -DCMAKE_PREFIX_PATH="$work/prefix" \
  -DCMAKE_DISABLE_FIND_PACKAGE_PNG=ON -DCMAKE_DISABLE_FIND_PACKAGE_CImg=ON \
  -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_CXX_FLAGS="$flags" >/dev/null
cmake --build "$work/host" >/dev/null
"$work/host/host" || fail "remora::follow by find_package"

# Two shared objects that configure the image library differently use the library in one process.
cat >"$work/plugin.cpp" <<'END'
#ifdef LOUD
#define cimg_display 0
#define cimg_verbosity 3
#define cimg_use_openmp 0
#include <CImg.h>
#else
#define cimg_verbosity 0
#endif
#include <shape_lp_track.h>
#include <cstdio>
extern "C" int missingFrame() {
  std::FILE* const out = std::fopen("frames.txt", "w");
  std::fputs("1\r\n/nowhere/f\r\n0\r\nshapes.txt\r\n", out);
  std::fclose(out);
  try {
    SLT_Cfg config("frames.txt", 1.0F);
  } catch (const CImgIOException&) {  // thrown in the library, caught here
    return 7;
  }
  return 0;
}
END
cat >"$work/two.cpp" <<'END'
#include <dlfcn.h>
int call(const char* name) {
  void* const object = dlopen(name, RTLD_NOW);
  return object == nullptr ? -1 : reinterpret_cast<int (*)()>(dlsym(object, "missingFrame"))();
}
int main() { return call("./quiet.so") == 7 && call("./loud.so") == 7 ? 0 : 1; }
END
(
  cd "$work"
  echo 0 >shapes.txt
  # shellcheck disable=SC2046,SC2086
  for setting in quiet loud; do
    "$compiler" -std=c++17 $flags -fPIC -shared "-D${setting^^}" plugin.cpp -o $setting.so \
      $(pkg-config --cflags --libs remora)
  done
  # shellcheck disable=SC2086
  "$compiler" -std=c++17 $flags two.cpp -ldl -o two
  LD_LIBRARY_PATH=$(pkg-config --variable=libdir remora) ./two >/dev/null 2>&1 || fail "two settings"
)

echo "installed, and found by find_package and pkg-config"
