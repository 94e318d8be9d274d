# ./dev lint: all that is checked without running the library.
# shellcheck shell=bash disable=SC2154 # dev sets root, build, jobs and the packages

# step NAME COMMAND...: runs one step of lint, prints its time and remembers a failure.
step() {
  local name=$1 start=$SECONDS
  shift
  printf '== %s\n' "$name"
  if "$@" 2>&1; then
    printf '== %s: good, %d s\n' "$name" $((SECONDS - start))
  else
    printf '== %s: FAILED, %d s\n' "$name" $((SECONDS - start))
    failed_steps+=("$name")
  fi
}

lint_format() {
  source_files | xargs -d '\n' -r clang-format --dry-run -Werror
}

# clang-tidy reads how each file is compiled from a configuration of its own: that of clang, so that
# every flag means the same to it, with the benchmarks. Nothing is built. lint_tidy [PATTERN]: of the
# files whose paths match.
lint_tidy() {
  configure clang lint -DCOMMON_BUILD_BENCH=ON -DCMAKE_DISABLE_PRECOMPILE_HEADERS=ON || return 1
  local compiled known
  compiled=$(sed -nE "s|^ *\"file\": \"$root/(.*)\".*|\\1|p" "$build/lint/compile_commands.json" | sort -u)
  known=$(files '*.c' '*.cpp' | grep -E "${1-}" | sort -u)
  comm -12 <(printf '%s\n' "$compiled") <(printf '%s\n' "$known") |
    xargs -d '\n' -r -n 1 -P "$jobs" clang-tidy --quiet -p "$build/lint" \
      --header-filter="^$root/" 2>&1 | sed -E '/^[0-9]+ warnings? generated\.$/d'
}

# It knows the other macros of GoogleTest.
lint_cppcheck() {
  mkdir -p "$build/lint/cppcheck"
  files '*.c' '*.cpp' | cppcheck --file-list=- --quiet --error-exitcode=1 -j "$jobs" \
    --cppcheck-build-dir="$build/lint/cppcheck" --std=c11 --std=c++20 --library=posix,gnu,googletest \
    --enable=warning,performance,portability --suppressions-list=tools/checks/cppcheck.txt \
    -I include -I . -D_GNU_SOURCE '-DCOMMON_PRINTF(text,first)=' \
    '-DFRESH_TEST(suite,name)=void suite##name()' \
    '-DTYPED_TEST(suite,name)=template <class TypeParam> void suite##name()'
}

# The header comments and the pages, as the manual needs them. lint_docs [--quick]: without the manual.
lint_docs() {
  local tool
  for tool in lost_words undocumented; do
    "tools/docs/$tool.py" --self-test || return 1
  done
  tools/docs/self_test.py || return 1
  [[ ${1-} == --quick ]] || ./dev docs
}

lint_shell() {
  shell_files | xargs -d '\n' -r shellcheck
}

# Each file has a licence, and each licence its text. What lint says of a good tree is left out.
lint_licences() {
  local log=$build/lint-licences.txt
  GIT_CONFIG_COUNT=1 GIT_CONFIG_KEY_0=safe.directory GIT_CONFIG_VALUE_0=$root reuse lint >"$log" 2>&1 ||
    { cat "$log"; return 1; }
}

main() {
  local tidied=()
  if [[ $# == 1 && $1 == --quick ]]; then
    tidied=('^(containers|files|foundation|hsm|log|platform|thread|timer|values)/')
  elif (($#)); then
    die "lint takes --quick or nothing"
  fi
  need "${lint_packages[@]}" "${abi_packages[@]}" "${docs_packages[@]}"
  mkdir -p "$build"
  local failed_steps=() check
  step 'layout' lint_format
  step 'shell scripts' lint_shell
  step 'licences' lint_licences
  step 'manual' lint_docs "$@"
  for check in exclusions exports layers guides limits listings never oddities packaging; do
    step "$check: self-test" "tools/checks/$check.py" --self-test
    step "$check" "tools/checks/$check.py"
  done
  step 'mutants: self-test' tools/mutate/mutate.py --self-test
  step 'coverage: self-test' tools/coverage/report.py --self-test
  step 'mutants' tools/mutate/mutate.py --check
  step 'abi: self-test' tools/checks/abi.py --self-test
  step 'abi' ./dev abi
  step 'cppcheck' lint_cppcheck
  step 'clang-tidy' lint_tidy "${tidied[@]}"
  if ((${#failed_steps[@]})); then
    printf 'lint: failed: %s\n' "$(printf '%s, ' "${failed_steps[@]}" | sed 's/, $//')"
    return 1
  fi
  printf 'lint: good\n'
}
