# ./dev package: Debian packages, looked at by lintian and tried in a private root.
# shellcheck shell=bash disable=SC2154,SC2164 # dev sets root, build, jobs and the packages, and ends on failures

# copy_sources FOLDER: what git knows or would add, so that building writes nothing between the sources.
copy_sources() {
  rm -rf "$1"
  mkdir -p "$1"
  files | tar --create --verbatim-files-from --files-from=- | tar --extract --directory="$1"
}

# build_packages ARCH: builds the packages of one architecture into build/packages/ARCH. Those of another
# one leave out the manual and the sources, which are the same. What was there before is removed.
build_packages() {
  local arch=$1 folder=$build/packages/$1 options=(--build=any --host-arch="$1" --no-check-builddeps)
  [[ $arch != "$own_arch" ]] || options=(--build=full)
  rm -rf "$folder"
  copy_sources "$folder/source"
  printf 'dev: building the packages of %s\n' "$arch" >&2
  if ! (
    cd "$folder/source" &&
      DEB_BUILD_OPTIONS="parallel=$jobs terse ${DEB_BUILD_OPTIONS-}" \
        dpkg-buildpackage --unsigned-source --unsigned-changes "${options[@]}"
  ) >"$folder/build.txt" 2>&1; then
    grep -vE "^-- (Installing|Up-to-date):" "$folder/build.txt" | tail -n 30 >&2
    die "the packages of $arch could not be built; all of the above is in $folder/build.txt"
  fi
}

# Errors and warnings of lintian fail.
check_packages() {
  printf 'dev: lintian looks at the packages of %s\n' "$1" >&2
  lintian --allow-root --tag-display-limit 0 --fail-on error,warning "$build/packages/$1/"*.changes ||
    die "lintian does not accept the packages of $1"
}

# cross_build ARCH: with the compiler of this system; without one, in a private root with one. It is not
# installed here: the cross compilers exclude g++-multilib, which "./dev test" takes.
cross_build() {
  local arch=$1 triplet
  triplet=$(dpkg-architecture --host-arch "$arch" --query DEB_HOST_GNU_TYPE 2>/dev/null)
  if command -v "$triplet-g++" >/dev/null; then
    build_packages "$arch"
    return
  fi
  ((EUID == 0)) || die "missing: crossbuild-essential-$arch. Install it, or run this as root, which does \
without leaving it behind"
  mkdir -p "$build/packages"
  tools/packages/in_private_root.sh "$build/packages" ./dev package --cross-inside "$arch"
}

list_packages() {
  local file
  printf '\n'
  for file in "$build/packages/$1/"*.deb; do
    printf '%8d bytes  %s\n' "$(stat -c %s "$file")" "${file#"$root/"}"
  done
}

main() {
  local archs=() others=() test=0 arch own_arch
  while (($#)); do
    case $1 in
      --arch)
        [[ ${2-} =~ ^(amd64|arm64|armhf|i386)$ ]] || die "package --arch takes amd64, arm64, armhf or i386"
        archs+=("$2")
        shift
        ;;
      --cross-inside)
        own_arch=$(dpkg --print-architecture)
        need "crossbuild-essential-$2"
        build_packages "$2"
        return
        ;;
      --test) test=1 ;;
      *) die "package has no option $1; see ./dev package --help" ;;
    esac
    shift
  done
  command -v dpkg-query >/dev/null || die "package takes a Debian system: there is no dpkg"
  ((!test || EUID == 0)) || die "package --test takes root: it installs the packages in a private root"
  need "${package_packages[@]}"
  ((!test)) || need "${package_test_packages[@]}"
  own_arch=$(dpkg --print-architecture)
  ((${#archs[@]})) || archs=("$own_arch")
  # Those of this machine are tried, and the others beside them.
  ((!test)) || [[ " ${archs[*]} " == *" $own_arch "* ]] || archs=("$own_arch" "${archs[@]}")
  for arch in "${archs[@]}"; do
    if [[ $arch == "$own_arch" ]]; then
      build_packages "$arch"
    else
      cross_build "$arch"
    fi
    check_packages "$arch"
  done
  for arch in "${archs[@]}"; do
    list_packages "$arch"
  done
  if ((test)); then
    mapfile -t others < <(printf '%s\n' "${archs[@]}" | grep -vx "$own_arch")
    tools/packages/in_private_root.sh "$build/packages" tools/packages/install_test.sh "$build/packages" \
      "${others[@]}"
  fi
}
