#!/usr/bin/env bash
# install_test.sh FOLDER [ARCH...]: installs the packages of FOLDER/<architecture>, uses them, upgrades and
# removes them, and prints a row for each check; the libraries of each ARCH are installed next to them. It
# changes the system, and runs in a private root therefore.
set -uo pipefail

if [[ ! -d /run/changes ]]; then
  printf 'dev: install_test.sh changes the system: run it by in_private_root.sh\n' >&2
  exit 1
fi
arch=$(dpkg --print-architecture)
triplet=$(dpkg-architecture --query DEB_HOST_MULTIARCH)
all=$1
folder=$all/$arch
shift
work=$(mktemp -d)
passed=0 failed=0

# check NAME COMMAND...: one row. What the command prints is shown when it fails.
check() {
  local name=$1
  shift
  if "$@" >"$work/output.txt" 2>&1; then
    printf 'good    %s\n' "$name"
    passed=$((passed + 1))
  else
    printf 'FAILED  %s\n' "$name"
    sed 's/^/        /' "$work/output.txt"
    failed=$((failed + 1))
  fi
}

# Each installed file with its kind, mode, size and target. What dpkg and the triggers of others write about
# their own work is left out.
files_of_system() {
  find /etc /opt /srv /usr /var -xdev \( -path '/var/lib/dpkg/status*' -o -path /var/lib/dpkg/triggers \
    -o -path /var/lib/dpkg/arch \
    -o -path '/var/lib/dpkg/*lock*' -o -path /var/lib/dpkg/updates -o -path '/var/cache/*' \
    -o -path '/var/log/*' -o -name ld.so.cache \) -prune -o -type d -printf '%p\t%y %m\n' \
    -o -printf '%p\t%y %m %s %l\n' | sort
}

packages_of_system() {
  dpkg-query --show --showformat='${Package} ${Architecture} ${Version} ${Status}\n'
}

# Only what was changed in here counts: others may be at work on the system meanwhile.
no_file_left() {
  local path rest left=0
  while IFS=$'\t' read -r path rest; do
    if [[ -e /run/changes${path#??} || -L /run/changes${path#??} ]]; then
      printf '%s %s\n' "$path" "$rest"
      left=1
    fi
  done < <(diff "$work/files.txt" <(files_of_system) | grep '^[<>]')
  ((!left))
}

# The packages with a higher version, made of those that were built.
raise_version() {
  local file
  mkdir "$work/next"
  for file in "$@"; do
    rm -rf "$work/tree"
    dpkg-deb --raw-extract "$file" "$work/tree" || return
    sed -i -E "s/^Version: .*/Version: $next/; s/\(= $version\)/(= $next)/" "$work/tree/DEBIAN/control" || return
    dpkg-deb --root-owner-group --build "$work/tree" "$work/next/$(basename "$file")" || return
  done
}

versions_are() {
  local package
  for package in "${names[@]}"; do
    [[ $(dpkg-query --show --showformat='${Status} ${Version}' "$package") == "install ok installed $1" ]] ||
      { printf '%s is not installed in version %s\n' "$package" "$1"; return 1; }
  done
}

# It says /lib or /usr/lib, which are one.
loader_knows() {
  ldconfig -p >"$work/libraries.txt" && grep "libcommon\.so\.1 .*/lib/$triplet/libcommon\.so\.1\$" "$work/libraries.txt"
}

has_manual_page() {
  man -P cat commonctl >"$work/page.txt" && grep 'see and steer the processes' "$work/page.txt"
}

# Its pages lead to each other and to its files by their names, so that none may be compressed.
manual_is_as_made() {
  local manual=/usr/share/doc/libcommon-doc/html
  [[ -f $manual/changelog.html && -f $manual/files/LICENSE.txt ]] && ! find "$manual" -name '*.gz' | grep .
}

man_knows_functions() {
  man -P cat 3 TMR_Start >"$work/page.txt" && grep 'Arms a timer' "$work/page.txt"
}

gdb_knows_library() {
  gdb -nx -batch -ex 'break main' -ex run -ex 'info pretty-printer' "$work/by_hand" >"$work/gdb.txt" 2>&1
  grep libcommon "$work/gdb.txt" || { cat "$work/gdb.txt"; return 1; }
}

# The program that was compiled against the packages starts and does its work.
program_runs() {
  [[ -x $work/by_hand && $("$work/by_hand") == c0de ]]
}

program_lacks_library() {
  [[ -x $work/by_hand ]] && ! "$work/by_hand" 2>"$work/lacks.txt" && grep 'libcommon\.so\.1' "$work/lacks.txt"
}

# stand_beside ARCH: the library and its development files, next to those of this machine. What they need of
# that architecture is not here.
stand_beside() {
  dpkg --add-architecture "$1" &&
    dpkg --force-depends --install "$all/$1"/libcommon1_*.deb "$all/$1"/libcommon-dev_*.deb &&
    dpkg --verify "libcommon1:$arch" "libcommon-dev:$arch" "libcommon1:$1" "libcommon-dev:$1" &&
    dpkg --purge "libcommon1:$1" "libcommon-dev:$1"
}

is_refused() {
  ! "$@"
}

# completes EXPECTED WORD...: what bash completes at the end of a line of these words.
completes() {
  local expected=$1
  shift
  [[ $(bash -c '. /usr/share/bash-completion/completions/commonctl
    COMP_WORDS=("$@") COMP_CWORD=$(($# - 1)); _commonctl; echo "${COMPREPLY[*]}"' bash "$@") == "$expected" ]]
}

# The test of the package itself, with what it says that it needs; all of that is here, and apt need not
# ask the network for it.
autopkgtest_passes() {
  rm -rf /etc/apt/sources.list /etc/apt/sources.list.d
  mkdir /etc/apt/sources.list.d
  autopkgtest --no-built-binaries "$folder/source" "${packages[@]}" -- null
}

mapfile -t packages < <(find "$folder" -maxdepth 1 -name '*.deb' ! -name '*-dbgsym_*' | sort)
if ((!${#packages[@]})); then
  printf 'dev: there are no packages in %s\n' "$folder" >&2
  exit 1
fi
names=()
for file in "${packages[@]}"; do
  names+=("$(dpkg-deb --field "$file" Package)")
done
version=$(dpkg-deb --field "${packages[0]}" Version)
next=$version+1

packages_of_system >"$work/packages.txt"
files_of_system >"$work/files.txt"
check 'packages are installed' dpkg --install "${packages[@]}"
check 'all have the version that was built' versions_are "$version"
check 'nothing is amiss in the files' dpkg --verify "${names[@]}"
check 'the loader knows the library' loader_knows
check 'the programs of a user compile and run' env AUTOPKGTEST_TMP="$work" \
  "$folder/source/debian/tests/use-packages"
check 'the programs of the guide compile and run' env AUTOPKGTEST_TMP="$work" \
  "$folder/source/debian/tests/guide-programs"
check 'gdb loads the script of the library' gdb_knows_library
check 'commonctl has a manual page' has_manual_page
check 'man knows the functions' man_knows_functions
check 'the manual has its files as they were made' manual_is_as_made
check 'bash completes a sub-command' completes listen commonctl li
check 'bash completes an option' completes --private-root commonctl listen --p
check 'bash completes the value of an option' completes 'always auto' commonctl listen --color = a
check 'the library stays while others need it' is_refused dpkg --remove libcommon1
for other in "$@"; do
  check "those of $other can stand beside them" stand_beside "$other"
done
check 'packages of a higher version can be made' raise_version "${packages[@]}"
check 'they are installed over the others' dpkg --install "$work"/next/*.deb
check 'all have the higher version' versions_are "$next"
check 'a program that was compiled before runs' program_runs
check 'packages are removed' dpkg --remove "${names[@]}"
check 'packages are purged' dpkg --purge "${names[@]}"
check 'no package is left behind' diff "$work/packages.txt" <(packages_of_system)
check 'no file is left behind' no_file_left
check 'without the library a program does not start' program_lacks_library
check 'autopkgtest passes' autopkgtest_passes

printf '%d passed, %d failed\n' "$passed" "$failed"
((failed == 0))
