# ./dev fuzz: one fuzz target from its corpus on.
# shellcheck shell=bash disable=SC2154 # dev sets root, build, jobs and the packages

main() {
  (($# <= 2)) || die "fuzz takes a NAME and a number of SECONDS"
  if ((!$#)); then
    ls fuzz/corpus
    return
  fi
  local name=$1 seconds=${2:-60}
  [[ $name =~ ^[a-z0-9_]+$ && -d fuzz/corpus/$name ]] || die "there is no fuzz target '$name'"
  [[ $seconds =~ ^[1-9][0-9]*$ ]] || die "fuzz takes a number of seconds above 0"
  need "${fuzz_packages[@]}"
  configure fuzz fuzz
  cmake --build "$build/fuzz" -j "$jobs" --target "${name}_fuzz" >&2
  # What is new goes to the first folder; what is worth keeping is copied to fuzz/corpus by hand. What
  # the target prints itself is of no use; findings go to standard error.
  mkdir -p "$build/fuzz/corpus/$name" "$build/fuzz/findings"
  "$build/fuzz/fuzz/${name}_fuzz" -max_total_time="$seconds" -timeout=10 -print_final_stats=1 \
    -close_fd_mask=1 -artifact_prefix="$build/fuzz/findings/$name-" \
    "$build/fuzz/corpus/$name" "fuzz/corpus/$name"
}
