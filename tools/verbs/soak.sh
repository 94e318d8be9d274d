# ./dev soak: the races of threads, for long.
# shellcheck shell=bash disable=SC2154 # dev sets root, build, jobs and the packages

# The programs are those that are named *_soak_test.
main() {
  (($# <= 1)) || die "soak takes one SECONDS"
  [[ ${1-60} =~ ^[1-9][0-9]{0,5}$ ]] || die "SECONDS is a number from 1 on"
  need "${test_packages[@]}"
  configure tsan tsan
  cmake --build "$build/tsan" -j "$jobs" --target soak_tests >&2
  local program programs=("$build"/tsan/tests/*/*_soak_test) failed_races=()
  [[ -x ${programs[0]} ]] || die "there is no race"
  for program in "${programs[@]}"; do
    printf '\n== %s\n' "${program##*/}"
    COMMON_TEST_SOAK_SECONDS=${1-60} "$program" || failed_races+=("${program##*/}")
  done
  if ((${#failed_races[@]})); then
    printf 'soak: failed: %s\n' "${failed_races[*]}"
    return 1
  fi
  printf 'soak: good\n'
}
