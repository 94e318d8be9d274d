# ./dev worlds: the library built in other ways than those that "./dev test" tries.
# shellcheck shell=bash disable=SC2154 # dev sets root, build, jobs and the packages

# Each way, the preset that it starts from, and what it adds. The tests stay as they are but for c++23, so only
# the library is compiled anew from one to the next. Link-time optimisation is for libcommon.so: tests that put
# doubles between the library's objects take the other code of these. Traps take away what a sanitizer would bring
# with it.
worlds=(
  'c++23    clang    -DCMAKE_CXX_STANDARD=23 -DCOMMON_LIBRARY_OPTIONS=-O2;-DNDEBUG'
  'traps    clang    -DCOMMON_LIBRARY_OPTIONS=-O1;-fsanitize=undefined;-fno-sanitize=vptr,function;-fsanitize-trap=all'
  'O3       release  -DCOMMON_LIBRARY_OPTIONS=-O3;-DNDEBUG'
  'Os       release  -DCOMMON_LIBRARY_OPTIONS=-Os;-DNDEBUG'
  'lto      release  -DCOMMON_LIBRARY_OPTIONS=-O2;-DNDEBUG;-flto=auto;-ffat-lto-objects'
  'fortify  release  -DCOMMON_LIBRARY_OPTIONS=-O2;-DNDEBUG;-D_FORTIFY_SOURCE=3'
)

# test_world NAME PRESET OPTION...: builds one of them and runs the suite.
test_world() {
  local name=$1 preset=$2 folder=worlds-$2 left_out
  shift 2
  printf '\n== %s\n' "$name"
  # Without a kind of build, the options are all that the library gets.
  configure "$preset" "$folder" -DCMAKE_BUILD_TYPE=None -DCMAKE_CXX_STANDARD=20 "$@" || return 1
  cmake --build "$build/$folder" -j "$jobs" || return 1
  left_out=$(awk -F '\t' -v world="$name" '$1 == world { print $2 }' tools/worlds/left_out.txt | paste -sd '|')
  rm -f "$build/$folder/junit.xml"
  ctest --test-dir "$build/$folder" --output-junit "$build/$folder/junit.xml" -j $((2 * jobs)) --output-on-failure \
    --no-tests=error ${left_out:+-E "$left_out"} && return 0
  tools/failed_tests.py "$build/$folder/junit.xml" "$name" >>"$build/failed-worlds.txt"
  return 1
}

library_sources() {
  sed -n '/^add_library($/,/)$/{/common_objects/,/)$/s/^  \([a-z]*\/[a-zA-Z0-9_]*\.cpp\))\{0,1\}$/\1/p}' \
    cmake/library.cmake
}

# check_source COMPILER OPTION... SOURCE: what a compiler says against a source, its errors alone.
check_source() {
  local said
  said=$(LC_ALL=C "$@" -std=c++20 -O2 -fno-exceptions -fno-rtti -D_GNU_SOURCE -D_FILE_OFFSET_BITS=64 -D_TIME_BITS=64 \
    -I include -I . -fsyntax-only 2>&1) && return 0
  said=$(sed -nE 's/^(\.\/)?([^ :]+):[0-9:]* (fatal )?error: (.*)/\2\t\4/p' <<<"$said")
  printf '%s\n' "${said:-${!#}	does not compile}"
}

# differs NAME: compares the errors on standard input with those that docs/porting.md explains, one a row of its
# table of that name: "| `file` | `what the compiler names` | ...".
differs() {
  sort -u | diff -u <(awk -v wanted="<!-- $1 -->" '
    $0 == wanted { on = 1 }
    /^$/ && rows { on = rows = 0 }
    on && /^\| `/ { split($0, cell, "`"); print cell[2] "\t" cell[4]; rows = 1 }' docs/porting.md | sort -u) - ||
    {
      printf 'worlds: what %s takes is not what docs/porting.md says (-), but this (+)\n' "$1"
      return 1
    }
}

# musl's headers, before the C++ library's: the names that it has not.
check_musl() {
  printf '\n== musl\n'
  need "${musl_packages[@]}"
  local gcc cxx source kernel=$build/kernel_headers
  gcc=$(g++ -print-file-name=include)
  cxx=$(g++ -print-file-name=include/../../../../../include/c++)/$(g++ -dumpversion)
  mkdir -p "$kernel"
  ln -sfn /usr/include/linux "$kernel/linux"
  ln -sfn /usr/include/asm-generic "$kernel/asm-generic"
  ln -sfn "/usr/include/$(g++ -print-multiarch)/asm" "$kernel/asm"
  library_sources | while read -r source; do
    check_source g++ -nostdinc -isystem tools/worlds/musl_headers -isystem "$cxx" \
      -isystem "/usr/include/$(g++ -print-multiarch)/c++/$(g++ -dumpversion)" \
      -isystem "/usr/include/$(uname -m)-linux-musl" -isystem "$gcc" -isystem "$kernel" "$source"
  done | sed -n "s/\t'\([A-Za-z_]*\)' was not declared.*/\t\1/p; t; p" | differs musl
}

# A processor whose bytes are in the other order: refused in so many words, and nothing else is in the way.
check_s390x() {
  printf '\n== s390x\n'
  need "${cross_packages[s390x]}"
  local source
  library_sources | while read -r source; do
    check_source s390x-linux-gnu-g++-12 "$source"
  done | sed 's/\tstatic assertion failed: \(.*\)/\t\1/' | differs s390x
}

main() {
  local row name names=() failed=() known='musl s390x' wanted=("$@")
  for row in "${worlds[@]}"; do
    known+=" ${row%% *}"
  done
  for name in "$@"; do
    [[ " $known " == *" $name "* ]] || die "worlds takes some of: $known"
  done
  ((${#wanted[@]})) || read -ra wanted <<<"$known"
  need "${test_packages[@]}"
  mkdir -p "$build"
  rm -f "$build/failed-worlds.txt"
  for row in "${worlds[@]}"; do
    read -ra names <<<"$row"
    [[ " ${wanted[*]} " != *" ${names[0]} "* ]] || test_world "${names[@]}" || failed+=("${names[0]}")
  done
  for name in musl s390x; do
    [[ " ${wanted[*]} " != *" $name "* ]] || "check_$name" || failed+=("$name")
  done
  [[ ! -e $build/failed-worlds.txt ]] || cat "$build/failed-worlds.txt"
  ((!${#failed[@]})) || die "worlds: failed: ${failed[*]}"
  printf '\nworlds: good: %s\n' "${wanted[*]}"
}
