#!/usr/bin/env bash
# Checks what ./dev fuzz makes of what its targets say and leave behind, with programs that only claim to be such.
# usage: fuzz_test.sh SOURCE
# shellcheck disable=SC2034 # what fuzz.sh reads
set -euo pipefail

work=$(mktemp -d -p /tmp)
trap 'rm -rf "$work"' EXIT
root=$work build=$work/build
mkdir -p "$build/fuzz/fuzz"
cd "$work"
# shellcheck source=/dev/null
source "$1/tools/verbs/fuzz.sh"
build_targets() { :; }
die() {
  printf 'dev: %s\n' "$*" >&2
  exit 1
}

# target NAME: a target with one named input, whose body is read.
target() {
  mkdir -p "fuzz/corpus/$1"
  printf 'a' >"fuzz/corpus/$1/named"
  { printf '#!/bin/sh\n' && cat; } >"$build/fuzz/fuzz/$1_fuzz"
  chmod +x "$build/fuzz/fuzz/$1_fuzz"
}

# expect WHAT EXPECTED GOT
expect() {
  if [[ $2 != "$3" ]]; then
    printf 'fuzz_test: %s: expected\n%s\nbut got\n%s\n' "$1" "$2" "$3" >&2
    exit 1
  fi
}

said='printf "#8\tDONE   cov: 86 ft: 136 corp: 32/761b lim: 4096 exec/s: 4 rss: 23Mb\n" >&2
printf "stat::number_of_executed_units: 8\nstat::average_exec_per_sec:     4\n" >&2'

target calm <<<"$said"
expect 'nothing found' \
  'calm                                8 runs        4/s  cov    86  ft    136  corpus    32  findings 0  good
fuzz: no finding' "$(fuzz_all 1)"

target finds <<<"$said
printf '\nTest unit written to /x/crash-1\n' >&2
exit 77"
target idle <<<':'
target killed <<<'kill -KILL $$'
status=0
got=$(fuzz_all 1 2>/dev/null) || status=$?
expect 'a finding and two that do not run' \
  'calm                                8 runs        4/s  cov    86  ft    136  corpus    32  findings 0  good
finds                               8 runs        4/s  cov    86  ft    136  corpus    32  findings 1  FAILED, see build/fuzz/logs/finds.txt
idle                                0 runs        0/s  cov     0  ft      0  corpus     0  findings 0  FAILED, ran no input
killed                              0 runs        0/s  cov     0  ft      0  corpus     0  findings 0  FAILED, see build/fuzz/logs/killed.txt
fuzz: failed' "$got"
expect 'its status' 1 "$status"

# One that merges: what is in the last folder comes to the first.
rm -r fuzz/corpus
# shellcheck disable=SC2016 # for that program
target merges <<<'for folder; do last=$folder; done; cp "$last"/* "$4"'
most_kept=3
mkdir -p "$build/fuzz/corpus/merges"
for size in 5 4 2 3; do
  printf '%*s' "$size" '' >"$build/fuzz/corpus/merges/000000000000000000000000000000000000000$size"
done
mv "$build"/fuzz/corpus/merges/*5 fuzz/corpus/merges
kept=$(printf '%s\n' 000000000000000000000000000000000000000{2,3} named)
expect 'what is kept' 'merges                      3 inputs        6 bytes' "$(main --minimise merges)"
expect 'the inputs' "$kept" "$(ls fuzz/corpus/merges)"
target merges <<<'exit 1'
status=0
got=$(main --minimise 2>&1) || status=$?
expect 'a merge that fails' 'dev: cannot merge the corpora of merges: see build/fuzz/logs/merges_merge.txt' "$got"
expect 'its status' 1 "$status"
expect 'what it leaves' "$kept" "$(ls fuzz/corpus/merges)"
