#!/usr/bin/env bash
# Checks what ./dev soak makes of how its races end, with programs that only claim to have some.
# usage: soak_test.sh SOURCE
# shellcheck disable=SC2016,SC2034,SC2317 # what programs expand, what soak.sh reads, and what it calls
set -euo pipefail

work=$(mktemp -d -p /tmp)
trap 'rm -rf "$work"' EXIT
root=$work build=$work/build jobs=1 test_packages=()
mkdir -p "$build"/{tsan,clang}/tests/{a,b}
cd "$work"
# shellcheck source=/dev/null
source "$1/tools/verbs/soak.sh"
need() { :; }
die() {
  printf 'dev: %s\n' "$*" >&2
  exit 1
}
configure() { :; }
cmake() { :; }

# program PATH RACE: a program with one race, whose body is read.
program() {
  { printf '#!/bin/sh\n[ "$1" != --gtest_list_tests ] || { printf "%%s.\\n  %%s\\n" %s; exit; }\n' "$2" && cat; } \
    >"$build/$1"
  chmod +x "$build/$1"
}

# soak ARGUMENT...: what it prints, without what is padding, and its status.
soak() {
  local status=0
  (
    set -e
    main "$@"
  ) >"$work/out" 2>&1 || status=$?
  sed '/: line [0-9]*: .*Killed/d' "$work/out" | tr -s ' ' | sort
  printf '%s\n' "$status"
}

# expect WHAT EXPECTED GOT
expect() {
  if [[ $2 != "$3" ]]; then
    printf 'soak_test: %s: expected\n%s\nbut got\n%s\n' "$1" "$2" "$3" >&2
    exit 1
  fi
}

program tsan/tests/a/queue_soak_test 'Queue Races' <<<'read -r line && exit 1; echo 12 steps'
program tsan/tests/b/timer_soak_test 'Timer Races' <<<'echo 30 steps'
program clang/tests/b/fork_soak_test 'Fork Races' <<<'echo $COMMON_TEST_SOAK_SECONDS steps'
good='Fork.Races,optimised 7 s 7 steps good
Queue.Races 7 s 12 steps good
Timer.Races 7 s 30 steps good
soak: good
0'
expect 'one after the other' "$good" "$(soak 7)"
expect 'together' "$good" "$(soak --together 7)"
expect 'one of them' 'Timer.Races 60 s 30 steps good
soak: good
0' "$(soak Timer)"
expect 'none' "dev: there is no race that matches 'nothing'
1" "$(soak nothing)"

program tsan/tests/a/queue_soak_test 'Queue Races' <<<'echo 0 steps'
program clang/tests/b/fork_soak_test 'Fork Races' <<<'echo 9 steps; exit 1'
program tsan/tests/b/timer_soak_test 'Timer Races' <<<'kill -KILL $$'
failed='Fork.Races,optimised 5 s 9 steps FAILED, see build/soak/Fork.Races,optimised.txt
Queue.Races 5 s 0 steps FAILED, see build/soak/Queue.Races.txt
Timer.Races 5 s 0 steps FAILED, see build/soak/Timer.Races.txt
soak: failed
1'
expect 'failures' "$failed" "$(soak 5)"
expect 'failures together' "$failed" "$(soak --together 5)"

# With programs of an earlier build.
cmake() { [[ $2 != "$build/tsan" ]]; }
expect 'what cannot be built' 'dev: the races cannot be built
1' "$(soak)"

# With one that does not end by itself.
cmake() { :; }
program tsan/tests/b/timer_soak_test 'Timer Races' <<<"echo \$\$ >'$work/pid'; exec sleep 100"
main --together &>/dev/null &
until [[ -s $work/pid ]]; do sleep 0.01; done
kill $!
status=0
wait $! || status=$?
expect 'the status when it is ended' 130 "$status"
while kill -0 "$(<"$work/pid")" 2>/dev/null; do sleep 0.01; done
