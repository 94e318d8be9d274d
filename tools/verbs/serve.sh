# ./dev serve: the page of "commonctl serve".
# shellcheck shell=bash disable=SC2154 # dev sets root, build, jobs and the packages

main() {
  [[ $# == 0 || $* == --test ]] || die "serve takes no argument but --test"
  if (($#)); then
    need "${test_packages[@]}" "${docs_test_packages[@]}"
    configure release release
    cmake --build "$build/release" -j "$jobs" --target serve_with_fakes commonctl speaker >&2
    tests/serve/run.sh "$build/release" "$build/serve-test"
    return
  fi
  need "${demo_packages[@]}"
  configure release demo -DCOMMON_BUILD_TESTS=OFF
  cmake --build "$build/demo" -j "$jobs" --target commonctl -- --quiet >&2
  "$build/demo/tools/commonctl/commonctl" serve
}
