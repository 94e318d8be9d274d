# ./dev test: builds the suite and runs it.
# shellcheck shell=bash disable=SC2154 # dev sets root, build, jobs and the packages

# results JUNIT_FILE: sets passed, failed and skipped. What could not be run counts as failed: only
# a test that says itself that it does not apply here, or one that is switched off, is skipped.
results() {
  local all
  all=$(grep -cE '^\s*<testcase ' "$1") || return 1
  passed=$(grep -cE '^\s*<testcase .* status="run"' "$1") || passed=0
  skipped=$(grep -cE '^\s*(<skipped message="SKIP_|<testcase .* status="disabled")' "$1") || skipped=0
  failed=$((all - passed - skipped))
}

# targets_of PRESET NAME: the targets whose tests match NAME, one a line; none when that cannot be told,
# such as for a test that names itself by its parameter.
targets_of() {
  tools/test_targets.py "$build/$1" "$2"
}

# emulate PRESET: gets what builds for another processor and what runs its programs, tells the kernel of the
# latter, and adds what leaves out the tests that cannot run there to chosen. It is about ten times slower, so that
# time_factor is ten times as large.
emulate() {
  local -A names=([armhf]=arm [arm64]=aarch64)
  local emulator=qemu-${names[$1]} table=/proc/sys/fs/binfmt_misc patterns
  need "${cross_packages[$1]}" "${emulator_packages[@]}"
  if [[ ! -e $table/$emulator ]]; then
    [[ -e $table/register ]] || mount -t binfmt_misc binfmt_misc "$table" ||
      die "the kernel has to be told of the emulator, which takes root"
    cat "/usr/lib/binfmt.d/$emulator.conf" >"$table/register"
  fi
  patterns=$(sed -nE 's/^([^#\t][^\t]*)\t.*/\1/p' tests/not_emulated.txt | paste -sd '|')
  chosen+=(-E "$patterns")
  time_factor=$(awk "BEGIN { print 10 * $time_factor }")
}

# build_tests PRESET [NAME]: builds what the tests need. The thread sanitizer is slow and finds nothing
# in tests with one thread.
build_tests() {
  local targets=(all)
  [[ $1 != tsan ]] || targets=(thread_tests)
  if (($# == 2)); then
    local wanted
    mapfile -t wanted < <(targets_of "$1" "$2")
    ((!${#wanted[@]})) || targets=("${wanted[@]}")
  fi
  cmake --build "$build/$1" -j "$jobs" --target "${targets[@]}"
}

# run_round PRESET LABEL CTEST_OPTION...: runs the tests of one configuration and adds a row to rows.
run_round() {
  local preset=$1 label=$2 log=$build/$1/junit.xml start=$SECONDS verdict='' ctest_status=0
  shift 2
  local passed=0 failed=0 skipped=0 command=(ctest)
  rm -f "$log"
  ((!as_user)) || command=("${user_command[@]}" ctest)
  # Two for each core: many tests wait for something.
  COMMON_TEST_TIME_FACTOR=$time_factor "${command[@]}" --test-dir "$build/$preset" --output-junit "$log" \
    --output-on-failure -j $((2 * jobs)) --no-tests=error "$@" || ctest_status=$?
  if ! results "$log"; then
    verdict='ran no test' failed=1
  elif ((ctest_status != 0 && failed == 0)); then
    verdict="ctest ended with $ctest_status" failed=1
  fi
  ((failed == 0)) || tools/failed_tests.py "$log" "$label" >>"$build/failed-tests.txt" || :
  add_row "$label" "$start"
}

# add_row LABEL START: adds the results since START to rows and to the totals.
add_row() {
  total_passed=$((total_passed + passed))
  total_failed=$((total_failed + failed))
  total_skipped=$((total_skipped + skipped))
  rows+=("$(printf '%-12s %5d passed %4d failed %4d skipped %5d s  %s' "$1" "$passed" "$failed" \
    "$skipped" $((SECONDS - $2)) "$verdict")")
}

# run_preset PRESET CTEST_OPTION...: builds one configuration and runs its tests as often as wanted.
run_preset() {
  local preset=$1 start=$SECONDS verdict='' round
  shift
  local passed=0 failed=0 skipped=0
  printf '\n== %s\n' "$preset"
  if ! configure "$preset" "$preset"; then
    verdict='could not be configured' failed=1
  elif ! build_tests "$preset" ${name:+"$name"}; then
    verdict='could not be built' failed=1
  fi
  if ((failed)); then
    add_row "$preset" "$start"
    return
  fi
  rows+=("$(printf '%-12s built in %d s' "$preset" $((SECONDS - start)))")
  ((!as_user)) || open_to_user "$build/$preset"
  ((!busy)) || start_busy
  for ((round = 1; round <= repeat; round++)); do
    if ((repeat == 1)); then
      run_round "$preset" "$preset" "$@"
    else
      printf '\n== %s, round %d of %d\n' "$preset" "$round" "$repeat"
      run_round "$preset" "$preset, $round" "$@"
    fi
  done
  stop_busy
}

# run_verb VERB: runs "./dev VERB --test", which tells its results on its last line, and adds them.
run_verb() {
  local start=$SECONDS verdict='' log=$build/$1-test.txt status=0
  local passed=0 failed=0 skipped=0
  printf '\n== %s\n' "$1"
  ./dev "$1" --test 2>&1 | tee "$log" || status=$?
  if [[ $(tail -n 1 "$log") =~ ^([0-9]+)\ passed,\ ([0-9]+)\ failed$ ]]; then
    passed=${BASH_REMATCH[1]} failed=${BASH_REMATCH[2]}
  fi
  if ((status != 0 && failed == 0)); then
    verdict="ended with $status" failed=1
  elif ((passed + failed == 0)); then
    verdict='ran no test' failed=1
  fi
  add_row "$1" "$start"
}

# Other work for every core, until stop_busy: one loop that computes, and one that starts processes and
# writes files, which is what a suite that was started twice would do.
start_busy() {
  local core
  busy_pids=()
  for ((core = 0; core < $(nproc); core++)); do
    (while :; do :; done) &
    busy_pids+=($!)
    (while :; do head -c 1000000 /dev/zero | cksum >/dev/null; done) &
    busy_pids+=($!)
  done
}

stop_busy() {
  local pid
  for pid in "${busy_pids[@]}"; do
    kill "$pid"
  done
  busy_pids=()
}

# Makes the command that runs another as nobody, and the folder in its PATH that is closed to it.
become_user() {
  ((EUID == 0)) || die "test --as-user takes root: as another user, run the tests without it"
  closed=$(mktemp -d)
  user_command=(setpriv --reuid=65534 --regid=65534 --clear-groups --no-new-privs
    env "PATH=$closed:$PATH" HOME=/nonexistent)
}

# Lets the user write what ctest and the tests write in a build folder.
open_to_user() {
  mkdir -p "$1/Testing"
  "${user_command[@]}" test -x "$1" || die "a folder above $1 is closed to other users"
  chmod -R a+rwX "$1"
}

main() {
  rm -f "$build/test-totals.txt" "$build/failed-tests.txt"
  local presets=() verbs=() options=() name='' repeat=1 busy=0 as_user=0 user_command=() preset verb
  busy_pids=() closed='' # for the end of this script, too
  while (($#)); do
    case $1 in
      --all) presets+=("${test_presets[@]}") verbs=("${test_verbs[@]}") ;;
      --preset)
        local known="${test_presets[*]} ${emulated_presets[*]} ${other_presets[*]}"
        [[ " $known " == *" ${2:--} "* ]] || die "test --preset takes one of: $known"
        presets+=("$2")
        shift
        ;;
      --repeat)
        [[ ${2-} =~ ^[1-9][0-9]{0,4}$ ]] || die "test --repeat takes a number from 1 on"
        repeat=$2
        shift
        ;;
      --busy) busy=1 ;;
      --as-user) as_user=1 ;;
      -*) die "test has no option $1; see ./dev test --help" ;;
      *)
        [[ -z $name ]] || die "test takes one NAME"
        name=$1
        ;;
    esac
    shift
  done
  ((${#presets[@]})) || presets=("${test_presets[0]}")
  [[ -z $name ]] || options=(-R "$name" --verbose)
  need "${test_packages[@]}"
  mkdir -p "$build"

  local rows=() total_passed=0 total_failed=0 total_skipped=0
  trap 'stop_busy; [[ -z $closed ]] || rmdir "$closed"' EXIT
  ((!as_user)) || become_user
  for preset in "${presets[@]}"; do
    local chosen=("${options[@]}") time_factor=${COMMON_TEST_TIME_FACTOR:-1}
    [[ $preset != tsan ]] || chosen+=(-L threads)
    [[ " ${emulated_presets[*]} " != *" $preset "* ]] || emulate "$preset"
    run_preset "$preset" "${chosen[@]}"
  done
  # They have no tests by name.
  [[ -z $name ]] || verbs=()
  for verb in "${verbs[@]}"; do
    run_verb "$verb"
  done

  printf '\n'
  [[ ! -e $build/failed-tests.txt ]] || cat "$build/failed-tests.txt"
  printf '%s\n' "${rows[@]}"
  local line="$total_passed passed, $total_failed failed"
  ((total_skipped == 0)) || line+=", $total_skipped skipped"
  printf '%s\n' "$line" | tee "$build/test-totals.txt"
  ((total_failed == 0))
}
