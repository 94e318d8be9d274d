# ./dev faults: each function of the library, with every call of the C library that it makes failing.
# shellcheck shell=bash disable=SC2154 # dev sets root, build, jobs and the packages

main() {
  (($# <= 1)) || die "faults takes one NAME"
  [[ ${1-} != -* ]] || die "faults has no option $1; see ./dev faults --help"
  local filter=${1:+"*$1*"}
  need "${test_packages[@]}"
  configure clang clang
  cmake --build "$build/clang" -j "$jobs" --target faults_test >&2
  # The last line but those of the test library tells how many failures were tried.
  COMMON_FAULTS=all "$build/clang/tests/faults/faults_test" --gtest_filter="${filter:-*}" --gtest_brief=1 |
    tee "$build/faults.txt"
  grep -qE '^[1-9][0-9]* functions in [1-9]' "$build/faults.txt" || die "there is no scenario that matches '${1-}'"
}
