# ./dev target: a command on a simulated flash target.
# shellcheck shell=bash disable=SC2154,SC2164 # dev sets root, build, jobs and the packages, and ends on failures

# The command works in this folder and finds the library, the tools and the example in its PATH.
main() {
  local bin=$build/demo options=() command=(recovery)
  while (($#)) && [[ $1 != -- ]]; do
    options+=("$1")
    shift
  done
  if (($# > 1)); then
    shift
    command=("$@")
  elif ((!$#)) && ((!${#options[@]})); then
    options=(--corrupt=/log/journal --journal)
  fi
  need "${demo_packages[@]}"
  configure release demo -DCOMMON_BUILD_TESTS=OFF
  printf 'dev: building\n' >&2
  cmake --build "$bin" -j "$jobs" --target recovery simulated_target commonctl -- --quiet >&2
  cd "$OLDPWD"
  PATH=$bin/examples/recovery:$bin/tools/commonctl:$PATH \
    "$bin/tools/simulated_target/simulated_target" "${options[@]}" -- commonctl listen -- "${command[@]}"
}
