# ./dev mutate: small defects in the library's sources, and which of them the tests notice.
# shellcheck shell=bash disable=SC2154 # dev sets root, build, jobs and the packages

main() {
  local options=() wanted=''
  while (($#)); do
    case $1 in
      --sample | --seed | --jobs)
        [[ ${2-} =~ ^[1-9][0-9]{0,5}$ ]] || die "mutate $1 takes a number from 1 on"
        options+=("$1" "$2")
        shift
        ;;
      -*) die "mutate has no option $1; see ./dev mutate --help" ;;
      *)
        [[ -z $wanted ]] || die "mutate takes one FOLDER"
        wanted=$1
        ;;
    esac
    shift
  done
  ((EUID == 0)) || die "mutate takes root: the defects are tried in a sandbox"
  need "${mutate_packages[@]}"
  configure clang clang
  tools/mutate/mutate.py "${options[@]}" ${wanted:+"$wanted"}
}
