# ./dev proof: what docs/proof.md tells, measured anew.
# shellcheck shell=bash disable=SC2154 # dev sets root, build, jobs and the packages

# What is run, as arguments of ./dev: all of it takes most of a day, a part of it a quarter of an hour. Each fails
# when its goal is missed.
whole=(
  'coverage'
  'mutate --sample 1000 --seed 1'
  'faults'
  'soak --together 1800'
  'soak --drd 60'
  'fuzz --all 1800'
  'test --preset armhf --preset arm64'
  'worlds'
  'limits'
)
part=(
  'faults'
  'mutate --sample 32 --seed 1'
  'soak --together 60'
  'fuzz --all 60'
  'worlds musl s390x'
)

main() {
  local chosen=("${whole[@]}") endings=() proof arguments log start verdict failed=0
  case ${1-} in
    '') ;;
    --quick) chosen=("${part[@]}") ;;
    *) die "proof takes nothing, or --quick" ;;
  esac
  trap 'exit 130' INT TERM
  mkdir -p "$build/proof"
  : >"$build/proof.txt"
  for proof in "${chosen[@]}"; do
    read -ra arguments <<<"$proof"
    log=$build/proof/${proof// /_}.txt start=$SECONDS verdict=good
    printf '\n== %s\n' "$proof"
    if ! ./dev "${arguments[@]}" 2>&1 | tee "$log"; then
      verdict=FAILED failed=$((failed + 1))
      endings+=("$(printf -- '-- %s\n' "$proof"; tail -n 15 "$log")")
    fi
    printf '%-40s %6d s  %s\n' "$proof" $((SECONDS - start)) "$verdict" >>"$build/proof.txt"
  done
  printf '\n== proof\n'
  printf '%s\n' "${endings[@]}"
  cat "$build/proof.txt"
  printf '%d good, %d failed\n' $((${#chosen[@]} - failed)) "$failed"
  ((failed == 0))
}
