# ./dev soak: the races of threads, for long.
# shellcheck shell=bash disable=SC2154 # dev sets root, build, jobs and the packages

# races_of LABEL PROGRAM...: the races of programs: the program, the race, and what it is called, a line each.
races_of() {
  local label=$1 program
  shift
  for program; do
    "$program" --gtest_list_tests | awk -v program="$program" -v label="$label" '
      /^[^ ]/ { suite = $1; next }
      { print program, suite $1, suite $1 label }'
  done
}

# run_race PROGRAM RACE NAME: runs a race and adds its line to the results. What it says is kept.
run_race() {
  local log=$build/soak/${3//\//.}.txt start=$SECONDS verdict=good status=0 steps
  COMMON_TEST_SOAK_SECONDS=$seconds "${runner[@]}" "$1" --gtest_filter="$2" >"$log" 2>&1 || status=$?
  steps=$(tail -n 1 "$log" | sed -nE 's/^([0-9]+) steps$/\1/p')
  ((status == 0 && ${steps:-0} > 0)) || verdict="FAILED, see ${log#"$root"/}"
  printf '%-62s %6d s %14s steps  %s\n' "$3" $((SECONDS - start)) "${steps:-0}" "$verdict" |
    tee -a "$build/soak.txt"
}

# Builds the races and tells them: with ThreadSanitizer, and what that cannot see without it.
build_races() {
  configure tsan tsan
  cmake --build "$build/tsan" -j "$jobs" --target soak_tests >&2
  # Sanitizers let no child of several threads use the library.
  configure clang clang
  cmake --build "$build/clang" -j "$jobs" --target fork_soak_test >&2
  races_of '' "$build"/tsan/tests/*/*_soak_test
  races_of ,optimised "$build"/clang/tests/*/fork_soak_test
}

# The same for valgrind.
build_races_for_drd() {
  configure release drd -DCMAKE_BUILD_TYPE=RelWithDebInfo
  cmake --build "$build/drd" -j "$jobs" --target soak_tests >&2
  races_of ,drd "$build"/drd/tests/*/*_soak_test
}

# Ends the races that run.
stop_races() {
  local pid
  for pid in "${race_pids[@]}"; do
    kill "$pid" 2>/dev/null || :
  done
}

main() {
  local seconds=60 together=0 wanted='' builder=build_races runner=() races program race name
  race_pids=() # for the end of this script, too
  while (($#)); do
    case $1 in
      --together) together=1 ;;
      --drd)
        builder=build_races_for_drd
        # The status is what the harness knows a sanitizer's report by.
        runner=(env COMMON_TEST_TIME_FACTOR=20 valgrind --tool=drd --quiet --error-exitcode=86
          "--suppressions=$root/tools/checks/drd.supp")
        test_packages+=(valgrind)
        ;;
      -*) die "soak has no option $1; see ./dev soak --help" ;;
      [0-9]*)
        [[ $1 =~ ^[1-9][0-9]{0,5}$ ]] || die "SECONDS is a number from 1 on"
        seconds=$1
        ;;
      *)
        [[ -z $wanted ]] || die "soak takes one NAME"
        wanted=$1
        ;;
    esac
    shift
  done
  need "${test_packages[@]}"
  races=$("$builder" | grep -E -- "^[^ ]+ .*$wanted") || die "there is no race that matches '$wanted'"

  mkdir -p "$build/soak"
  rm -f "$build/soak.txt"
  trap stop_races EXIT
  trap 'exit 130' INT TERM
  while read -r program race name; do
    if ((together)); then
      run_race "$program" "$race" "$name" &
      race_pids+=($!)
    else
      run_race "$program" "$race" "$name"
    fi
  done <<<"$races"
  wait
  race_pids=()
  if grep -q FAILED "$build/soak.txt"; then
    printf 'soak: failed\n'
    return 1
  fi
  printf 'soak: good\n'
}
