# ./dev format: lays out all C and C++ files.
# shellcheck shell=bash

main() {
  (($# == 0)) || die "format takes no argument"
  need clang-format
  source_files | xargs -d '\n' -r clang-format -i
}
