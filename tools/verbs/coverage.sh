# ./dev coverage: which lines and branches the suite runs.
# shellcheck shell=bash disable=SC2154 # dev sets root, build, jobs and the packages

# Hands what was counted to gcov: for each program and shared object that has run, in the words of
# build/coverage/counting_targets.txt.
write_counts() {
  local folder=$1 target type file
  find "$folder" -name '*.gcda' -delete
  while read -r target type file; do
    [[ -s $folder/counters/$target ]] || continue
    if [[ $type == SHARED_LIBRARY ]]; then
      COVERAGE_WRITE=$target LD_PRELOAD=$file env true
    else
      COVERAGE_WRITE=$target "$file" </dev/null
    fi
  done <"$folder/counting_targets.txt"
}

# Branches that no source has are not counted: those of exceptions that pass through, and those at braces.
# The library is compiled without exceptions, so this is for tools and the C++ layer.
read_counts() {
  local folder=$1
  rm -rf "$folder/html"
  mkdir -p "$folder/html"
  gcovr --root "$root" --exclude-throw-branches --exclude-unreachable-branches \
    --exclude-pattern-prefix GCOVR --json "$folder/counts.json" --html-details "$folder/html/index.html" \
    --html-title 'Common library: lines and branches that the suite runs' -j "$jobs" \
    --filter "$root/(containers|files|foundation|hsm|include|log|platform|support|thread|timer|tools|values)/" \
    "$folder" >"$folder/gcovr.txt" 2>&1 || { cat "$folder/gcovr.txt" >&2; return 1; }
}

main() {
  (($# <= 1)) || die "coverage takes one NAME"
  [[ ${1-} != -* ]] || die "coverage has no option $1; see ./dev coverage --help"
  local folder=$build/coverage part=() status=0 start=$SECONDS
  [[ -z ${1-} ]] || part=(--part)
  need "${coverage_packages[@]}"
  rm -rf "$folder/counters"
  ./dev test --preset coverage "$@" || status=$?
  [[ -n $(ls "$folder/counters") ]] || die 'coverage: nothing has run'
  write_counts "$folder"
  read_counts "$folder"
  printf '\n'
  tools/coverage/report.py "$folder/counts.json" "$folder" $((SECONDS - start)) "${part[@]}" || status=1
  printf 'coverage: not run: build/coverage/missed.txt; in the sources: build/coverage/html/index.html\n'
  ((status == 0)) || die 'coverage: a test failed or a goal is missed'
}
