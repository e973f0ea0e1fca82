#!/usr/bin/env bash
# Manual pages say what the program's help says, and completion works in each shell that is there, as
# typed at its prompt.
# Usage: manual_test.sh PROGRAM MADE   (MADE: the folder of pages and completion)
set -euo pipefail
program=$1 made=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() { echo "FAILED: $*" >&2; exit 1; }

mapfile -t verbs < <("$program" --help | sed -n '/^Verbs:/,/^$/s/^  \([a-z]\+\) .*/\1/p')
[ ${#verbs[@]} -gt 10 ] || fail "the help names the verbs ${verbs[*]}"

# A page for the program and for each verb, with every option that its help has.
pages=$(find "$made/man1" -name '*.1' | wc -l)
[ "$pages" = $((${#verbs[@]} + 1)) ] || fail "$pages pages for ${#verbs[@]} verbs"
if command -v man >/dev/null && [ "$(man --version 2>/dev/null)" ]; then
  for verb in '' "${verbs[@]}"; do
    page=$made/man1/remora${verb:+-$verb}.1
    LC_ALL=C.UTF-8 MANWIDTH=80 man --warnings -E UTF-8 -l "$page" >"$work/page" 2>"$work/said"
    [ ! -s "$work/said" ] || fail "$page: $(cat "$work/said")"
    col -bx <"$work/page" >"$work/text"
    # shellcheck disable=SC2086
    for option in $("$program" $verb --help | grep -oE '^  -[^ ]+' | tr ',' ' '); do
      grep -qE -- "^ .*$option([, ]|\$)" "$work/text" || fail "$page lacks $option"
    done
  done
else
  echo "skipped: manual pages, as there is no man"
fi

# The program that is called here says with which words.
mkdir -p "$work/bin" "$work/home/model" "$work/functions"
printf '#!/bin/sh\nfor word; do printf "<%%s>" "$word"; done >>"$HOME/../calls"; echo >>"$HOME/../calls"\n' \
  >"$work/bin/remora"
chmod +x "$work/bin/remora"
touch "$work/home/model.csv" "$work/home/file.txt" "$work/home/two words.csv"
cp "$made/zsh/_remora" "$work/functions"

# What is typed, and the words that the program is then called with.
cat >"$work/cases" <<'END'
eval\t|<evaluate>
help conv\t|<help><convert>
track --corr\t|<track><--corrections>
track --corrections file.t\t|<track><--corrections><file.txt>
train --plan sl\t|<train><--plan><slurm>
train --plan=par\t|<train><--plan=parallel>
convert --to deep\t -o x fi\t|<convert><--to><deeplabcut><-o><x><file.txt>
train --output mod\t|<train><--output><model>
train --points tw\t|<train><--points><two words.csv>
train --seed fi\t|<train><--seed><fi>
-v info fi\t|<-v><info><file.txt>
END
for verb in "${verbs[@]}"; do printf '%s --verb\\t|<%s><--verbose>\n' "$verb" "$verb"; done >>"$work/cases"

type_at() {  # SHELL COMMAND FIRST-LINE
  rm -f "$work/calls"
  {
    printf '%s\n' "$3"
    # shellcheck disable=SC2059
    while IFS='|' read -r typed _; do printf "remora $typed\n"; done <"$work/cases"
    printf 'exit\n'
  } | (cd "$work/home" && env -i HOME="$work/home" TERM=vt100 LC_ALL=C.UTF-8 \
    PATH="$work/bin:/usr/bin:/bin" timeout 100 script -qec "$2" /dev/null) >"$work/screen" 2>&1 || true
  # zsh takes the slash of a folder back.
  diff <(cut -d '|' -f 2 "$work/cases") <(sed 's|/>|>|' "$work/calls") >"$work/differences" ||
    fail "$1 completes to (left: what is right): $(cat "$work/differences"; tr -d '\0' <"$work/screen")"
  echo "completion in $1"
}

script -qec true /dev/null >/dev/null 2>&1 ||
  { echo "skipped: completion, as there are no terminals here"; exit; }
for shell in bash zsh fish; do
  command -v $shell >/dev/null || { echo "skipped: there is no $shell"; continue; }
  case $shell in
    bash) type_at bash 'bash --norc -i' "source $made/bash/remora" ;;
    zsh) type_at zsh 'zsh -f -i' "fpath=($work/functions \$fpath); autoload -U compinit; compinit -D" ;;
    fish) type_at fish 'fish --no-config -i' "source $made/fish/remora.fish" ;;
  esac
done
