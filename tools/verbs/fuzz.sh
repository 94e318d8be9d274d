# ./dev fuzz: fuzz targets, from their corpora on, and what is kept of what they have learnt.
# shellcheck shell=bash disable=SC2154 # dev sets root, build, jobs and the packages

# So many inputs a target are kept in fuzz/corpus at most, as the suite replays them.
most_kept=200

# Inputs that are not named for what they are for.
learnt=(-regextype posix-extended -type f -regex '.*/[0-9a-f]{40}')

known_target() {
  [[ $1 =~ ^[a-z0-9_]+$ && -d fuzz/corpus/$1 ]] || die "there is no fuzz target '$1'"
}

# build_targets NAME...: builds them for libFuzzer.
build_targets() {
  need "${fuzz_packages[@]}"
  configure fuzz fuzz
  cmake --build "$build/fuzz" -j "$jobs" --target "${@/%/_fuzz}" >&2
}

# run_target NAME SECONDS TIMEOUT: looks for new inputs, none of which may take longer than TIMEOUT. What is new
# goes to the first folder. One seed of any length would let all get as long, and slow. What the target prints
# itself is of no use; findings go to standard error. The target takes the place of this shell, so that who ends it
# ends the target.
run_target() {
  mkdir -p "$build/fuzz/corpus/$1" "$build/fuzz/findings"
  exec "$build/fuzz/fuzz/$1_fuzz" -max_total_time="$2" -timeout="$3" -report_slow_units="$3" -max_len=4096 \
    -print_final_stats=1 -close_fd_mask=1 -artifact_prefix="$build/fuzz/findings/$1-" "$build/fuzz/corpus/$1" "fuzz/corpus/$1"
}

# result_of NAME STATUS LOG: the line of a target in the results, of how it ended and of what it said.
result_of() {
  awk -v name="$1" -v status="$2" -v log_name="${3#"$root"/}" '
    # A line of progress: each word that ends in a colon says what comes next.
    /^#[0-9]+\t/ { for (i = 1; i < NF; ++i) if ($i ~ /:$/) seen[$i] = $(i + 1) }
    /^stat::number_of_executed_units:/ { runs = $2 }
    /^stat::average_exec_per_sec:/ { rate = $2 }
    /Test unit written to/ { ++findings }
    END {
      verdict = status == 0 && findings == 0 ? "good" : "FAILED, see " log_name
      if (verdict == "good" && runs == 0) verdict = "FAILED, ran no input"
      split(seen["corp:"], corpus, "/")
      printf "%-24s %12d runs %8d/s  cov %5d  ft %6d  corpus %5d  findings %d  %s\n", name, runs, rate,
        seen["cov:"], seen["ft:"], corpus[1], findings, verdict
    }' "$3"
}

# run_in_background NAME SECONDS TIMEOUT: runs a target and adds its line to the results.
run_in_background() {
  local log=$build/fuzz/logs/$1.txt status=0
  run_target "$@" >"$log" 2>&1 &
  trap 'kill $! 2>/dev/null' TERM
  wait $! || status=$?
  result_of "$1" "$status" "$log" >>"$build/fuzz.txt"
}

# Ends the targets that run.
stop_targets() {
  local pid
  for pid in "${target_pids[@]}"; do
    kill "$pid" 2>/dev/null || :
  done
}

# fuzz_all SECONDS: all targets side by side, as they are many and each is to have that time.
fuzz_all() {
  local name targets
  target_pids=() # for the end of this script, too
  mapfile -t targets < <(ls fuzz/corpus)
  build_targets "${targets[@]}"
  mkdir -p "$build/fuzz/logs"
  : >"$build/fuzz.txt"
  trap stop_targets EXIT
  trap 'exit 130' INT TERM
  for name in "${targets[@]}"; do
    # They share the processors, so an input may take that much longer.
    run_in_background "$name" "$1" $((10 * ${#targets[@]})) &
    target_pids+=($!)
  done
  wait
  target_pids=()
  sort -o "$build/fuzz.txt" "$build/fuzz.txt"
  cat "$build/fuzz.txt"
  if (($(wc -l <"$build/fuzz.txt") != ${#targets[@]})) || grep -q FAILED "$build/fuzz.txt"; then
    printf 'fuzz: failed\n'
    return 1
  fi
  printf 'fuzz: no finding\n'
}

# minimise NAME: keeps the fewest inputs that show all that those of both folders do, and of these the smallest.
# Inputs that somebody has given a name stay: they say what they are for.
minimise() {
  local corpus=fuzz/corpus/$1 kept=$build/fuzz/kept/$1 log=$build/fuzz/logs/$1_merge.txt room
  rm -rf "$kept"
  mkdir -p "$kept" "$build/fuzz/logs" "$build/fuzz/corpus/$1"
  cp -t "$kept" "$corpus"/*
  find "$kept" "${learnt[@]}" -delete
  room=$((most_kept - $(find "$kept" -type f | wc -l)))
  "$build/fuzz/fuzz/$1_fuzz" -set_cover_merge=1 -timeout=60 -close_fd_mask=1 "$kept" "$corpus" \
    "$build/fuzz/corpus/$1" >"$log" 2>&1 || die "cannot merge the corpora of $1: see ${log#"$root"/}"
  find "$corpus" "${learnt[@]}" -delete
  find "$kept" "${learnt[@]}" -printf '%s %p\n' | sort -n | awk -v room="$room" 'NR <= room { print $2 }' |
    xargs -r cp -t "$corpus"
  printf '%-24s %4d inputs %8d bytes\n' "$1" "$(find "$corpus" -type f | wc -l)" \
    "$(find "$corpus" -type f -printf '%s\n' | awk '{ sum += $1 } END { print sum + 0 }')"
}

main() {
  local name seconds targets
  (($# <= 2)) || die "fuzz takes a NAME and a number of SECONDS"
  case ${1-} in
    '') ls fuzz/corpus ;;
    --minimise)
      if (($# == 2)); then
        known_target "$2"
        targets=("$2")
      else
        mapfile -t targets < <(ls fuzz/corpus)
      fi
      build_targets "${targets[@]}"
      for name in "${targets[@]}"; do
        minimise "$name"
      done
      ;;
    *)
      name=$1 seconds=${2:-60}
      if [[ $name != --all ]]; then
        [[ $name != -* ]] || die "fuzz has no option $name; see ./dev fuzz --help"
        known_target "$name"
      fi
      [[ $seconds =~ ^[1-9][0-9]{0,5}$ ]] || die "fuzz takes a number of seconds above 0"
      if [[ $name == --all ]]; then
        fuzz_all "$seconds"
      else
        build_targets "$name"
        run_target "$name" "$seconds" 10
      fi
      ;;
  esac
}
