# ./dev bench: the benchmarks and their report.
# shellcheck shell=bash disable=SC2154 # dev sets root, build, jobs and the packages

# run_benches OPTION...: runs each program, then counts instructions. With a folder in report, what they
# find is written there, too.
run_benches() {
  local program programs=("$build"/bench/bench/*_bench)
  [[ -x ${programs[0]} ]] || die "there is no benchmark"
  for program in "${programs[@]}"; do
    printf '\n== %s\n' "${program##*/}"
    env ${report:+"COMMON_BENCH_ROWS=$report/${program##*/}.tsv"} "$program" "$@" ||
      failed_benches+=("${program##*/}")
  done
  printf '\n== instructions\n'
  bench/count_instructions "$build/bench/bench/hot_loop" | tee ${report:+"$report/instructions.txt"} ||
    failed_benches+=(count_instructions)
}

main() {
  (($# <= 1)) || die "bench takes one FILTER, or --report"
  local report='' options=() failed_benches=()
  case ${1-} in
    '') ;;
    --report) report=$build/bench-rows ;;
    --*) die "bench has no option $1; see ./dev bench --help" ;;
    *) options=("--benchmark_filter=$1") ;;
  esac
  if [[ -n $report ]]; then
    rm -rf "$report"
    mkdir -p "$report"
    cat /proc/loadavg >"$report/load.txt"
  fi
  need "${bench_packages[@]}"
  configure bench bench
  cmake --build "$build/bench" -j "$jobs" >&2
  run_benches "${options[@]}"
  if ((${#failed_benches[@]})); then
    printf 'bench: failed: %s\n' "${failed_benches[*]}" >&2
    return 1
  fi
  if [[ -n $report ]]; then
    tools/bench_report.py "$build/bench" "$report" bench/RESULTS.md
    printf 'bench: see bench/RESULTS.md\n'
  fi
}
