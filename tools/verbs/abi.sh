# ./dev abi: guards the binary interface (docs/abi.md).
# shellcheck shell=bash disable=SC2154 # dev sets root, build, jobs and the packages

# abi_build MACHINE OPTION...: builds the library with what a dump is made of. The flags are always the
# same, and no path is in the result; optimised a little, as otherwise it needs the C++ library.
abi_build() {
  local machine=$1 log=$build/abi-$1.txt
  shift
  configure release "abi-$machine" -D CMAKE_BUILD_TYPE=None -D COMMON_BUILD_TESTS=OFF -D COMMON_BUILD_TOOLS=OFF \
    -D CMAKE_CXX_FLAGS="-g -O1 -w -ffile-prefix-map=$root/=" "$@" || return 1
  cmake --build "$build/abi-$machine" --target common >"$log" 2>&1 || { cat "$log" >&2; return 1; }
}

main() {
  [[ $# == 0 || ($# == 1 && $1 == --renew) ]] || die "abi takes --renew or nothing"
  need "${abi_packages[@]}"
  abi_build x86_64
  abi_build i386 -D COMMON_32BIT=ON
  tools/checks/abi.py "$@" "$build"/abi-{x86_64,i386}/libcommon.so
}
