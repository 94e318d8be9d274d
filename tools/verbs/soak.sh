# ./dev soak: the races of threads, for long.
# shellcheck shell=bash disable=SC2154 # dev sets root, build, jobs and the packages

# races_of LABEL PROGRAM...: the races of programs: the program, the race, and what it is called, a line each.
races_of() {
  local label=$1 program
  shift
  for program; do
    "$program" --gtest_list_tests </dev/null | awk -v program="$program" -v label="$label" '
      /^[^ ]/ { suite = $1; next }
      { print program, suite $1, suite $1 label }' || return 1
  done
}

# build_targets FOLDER TARGET PRESET OPTION...: configures and builds what has races.
build_targets() {
  local folder=$1 target=$2
  shift 2
  configure "$1" "$folder" "${@:2}" && cmake --build "$build/$folder" -j "$jobs" --target "$target" >&2
}

# Builds the races and tells them: with ThreadSanitizer, and what that cannot see without it, as sanitizers let no
# child of several threads use the library.
build_races() {
  build_targets tsan soak_tests tsan && build_targets clang fork_soak_test clang &&
    races_of '' "$build"/tsan/tests/*/*_soak_test && races_of ,optimised "$build"/clang/tests/*/fork_soak_test
}

# The same for valgrind, whose DRD has room for some thousand threads that were detached: one race starts more.
build_races_for_drd() {
  build_targets drd soak_tests release -DCMAKE_BUILD_TYPE=RelWithDebInfo &&
    races_of ,drd "$build"/drd/tests/*/*_soak_test | grep -v ' CommonWdmSoak.DestroyWithSubscribersFromSeveralThreads '
}

# start_race PROGRAM RACE NAME: starts a race. What it says is kept.
start_race() {
  COMMON_TEST_SOAK_SECONDS=$seconds "${runner[@]}" "$1" --gtest_filter="$2" </dev/null \
    >"$build/soak/${3//\//.}.txt" 2>&1 &
  race_pids[$3]=$!
}

# end_race NAME: waits for a race and adds its line to the results.
end_race() {
  local log=$build/soak/${1//\//.}.txt verdict=good status=0 steps
  wait "${race_pids[$1]}" || status=$?
  unset "race_pids[$1]"
  steps=$(tail -n 1 "$log" | sed -nE 's/^([0-9]+) steps$/\1/p')
  ((status == 0 && ${steps:-0} > 0)) || verdict="FAILED, see ${log#"$root"/}"
  printf '%-62s %6d s %14s steps  %s\n' "$1" "$seconds" "${steps:-0}" "$verdict" | tee -a "$build/soak.txt"
}

# Ends the races that run.
stop_races() {
  ((!${#race_pids[@]})) || kill "${race_pids[@]}" 2>/dev/null || :
}

main() {
  local seconds=60 together=0 wanted='' builder=build_races runner=() races program race name
  declare -gA race_pids=() # for the end of this script, too
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
  races=$("$builder") || die 'the races cannot be built'
  races=$(grep -E -- "^[^ ]+ .*$wanted" <<<"$races") || die "there is no race that matches '$wanted'"

  mkdir -p "$build/soak"
  : >"$build/soak.txt"
  trap stop_races EXIT
  trap 'exit 130' INT TERM
  while read -r program race name; do
    start_race "$program" "$race" "$name"
    ((together)) || end_race "$name"
  done <<<"$races"
  for name in "${!race_pids[@]}"; do
    end_race "$name"
  done
  if grep -q FAILED "$build/soak.txt"; then
    printf 'soak: failed\n'
    return 1
  fi
  printf 'soak: good\n'
}
