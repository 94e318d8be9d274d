# ./dev limits: loads, and whether what headers promise holds under them.
# shellcheck shell=bash disable=SC2154 # dev sets root, build, jobs and the packages

# run_loads PRESET: builds and runs the loads that match; what they find is in build/PRESET/limits.tsv.
run_loads() {
  local program programs
  rm -f "$build/$1/limits.tsv"
  configure "$1" "$1"
  cmake --build "$build/$1" -j "$jobs" --target limits_tests >&2
  programs=("$build/$1"/tests/limits/*_limits_test)
  [[ -x ${programs[0]} ]] || die "there is no load"
  for program in "${programs[@]}"; do
    printf '\n== %s, %s\n' "${program##*/}" "$1"
    COMMON_TEST_LIMITS=full COMMON_TEST_LIMITS_ROWS=$build/$1/limits.tsv "$program" --gtest_filter="$filter" ||
      failed_loads+=("${program##*/} ($1)")
  done
}

main() {
  (($# <= 1)) || die "limits takes one NAME, or --renew"
  local filter='*' preset failed_loads=()
  case ${1-} in
    '' | --renew) ;;
    --*) die "limits has no option $1; see ./dev limits --help" ;;
    *) filter="*$1*" ;;
  esac
  need "${test_packages[@]}"
  for preset in clang i386; do
    run_loads "$preset"
  done
  local rows=("$build/clang/limits.tsv" "$build/i386/limits.tsv")
  tools/limits_table.py "$build/limits.txt" "${rows[@]}" || failed_loads+=(promises)
  if ((${#failed_loads[@]})); then
    printf 'limits: failed: %s\n' "${failed_loads[*]}" >&2
    return 1
  fi
  if [[ ${1-} == --renew ]]; then
    tools/limits_table.py --renew docs/limits.md "${rows[@]}"
  fi
  printf 'limits: all hold; see build/limits.txt\n'
}
