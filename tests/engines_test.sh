#!/usr/bin/env bash
# Trains with GNU parallel and with make, where they are installed: the model is the same bytes as of
# one process. Usage: engines_test.sh PROGRAM
set -euo pipefail
program=$1
. "$(dirname "$0")/small_footage.sh"
work=$(mktemp -d "${TMPDIR:-/tmp}/remora engines.XXXXXX")  # with a blank: names are quoted everywhere
trap 'rm -rf "$work"' EXIT
fail() { echo "$*" >&2; exit 1; }
make_footage "$work/it's"
train=(--annotations "$work/it's/points.csv" --stages 12,6 --predictors 12)
"$program" train "${train[@]}" --jobs 1 -o "$work/alone" 2>/dev/null
tried=0

if command -v make >/dev/null; then
  tried=1
  "$program" train "${train[@]}" --plan make --group 3 -o "$work/planned" 2>"$work/said"
  grep -q "make -C" "$work/said" || fail "it does not say how to start: $(cat "$work/said")"
  mv "$work/planned" "$work/made"  # other machines have it under another name
  touch "$work/made/units/stage1.x.point0.lpb.lock"  # what a machine that died may have left
  mkdir "$work/made/units/stage1.y.point0.lpb"       # no unit can be written here
  ! make -C "$work/made/plan" -k -j 2 >"$work/log" 2>&1 || fail "an error was not noticed"
  [ ! -e "$work/made/model.json" ] || fail "there is a model of units that are not there"
  rmdir "$work/made/units/stage1.y.point0.lpb"
  rm "$work/made/units/stage1.x.point0.lpb.lock"
  make -C "$work/made/plan" -j 2 >"$work/log" 2>&1 || fail "make: $(cat "$work/log")"
  same_model "$work/alone" "$work/made"

  # Footage that has changed since.
  "$program" train "${train[@]}" --plan make --force --seed 2 -o "$work/changed" 2>/dev/null
  cp "$work/it's/f1.pgm" "$work/it's/f2.pgm"
  ! "$work/changed/plan/unit" 0 2>"$work/said" || fail "changed footage was taken"
  grep -q "other frames (.* there, .* here)" "$work/said" || fail "$(cat "$work/said")"
  make_footage "$work/it's"
  "$work/changed/plan/unit" 0 2>/dev/null || fail "footage that is as it was was refused"
  ! "$program" train "${train[@]}" --plan make -o "$work/changed" 2>"$work/said" ||
    fail "two plans in one folder"
  grep -q "other options" "$work/said" || fail "$(cat "$work/said")"
fi

if command -v parallel >/dev/null && parallel --version 2>/dev/null | grep -q GNU; then
  tried=1
  export HOME=$work  # it keeps files there
  "$program" train "${train[@]}" --plan parallel --group 2 -o "$work/spread" 2>/dev/null
  mkdir "$work/spread/units/stage0.y.point1.lpb"
  ! "$work/spread/plan/parallel" --jobs 2 >"$work/log" 2>&1 || fail "an error was not noticed"
  rmdir "$work/spread/units/stage0.y.point1.lpb"
  "$work/spread/plan/parallel" --jobs 2 >"$work/log" 2>&1 || fail "parallel: $(cat "$work/log")"
  same_model "$work/alone" "$work/spread"
fi
[ $tried = 1 ] || { echo "neither make nor GNU parallel is installed"; exit 77; }
