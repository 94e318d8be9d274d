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
  'mutate --sample 16 --seed 1'
  'soak --together 20'
  'fuzz --all 10'
  'worlds traps musl s390x'
)

main() {
  local chosen=("${whole[@]}") proof arguments start verdict failed=0
  case ${1-} in
    '') ;;
    --quick) chosen=("${part[@]}") ;;
    *) die "proof takes nothing, or --quick" ;;
  esac
  mkdir -p "$build/proof"
  : >"$build/proof.txt"
  for proof in "${chosen[@]}"; do
    read -ra arguments <<<"$proof"
    start=$SECONDS verdict=good
    printf '\n== %s\n' "$proof"
    ./dev "${arguments[@]}" 2>&1 | tee "$build/proof/${proof// /_}.txt" || verdict=FAILED failed=1
    printf '%-40s %6d s  %s\n' "$proof" $((SECONDS - start)) "$verdict" >>"$build/proof.txt"
  done
  printf '\n'
  cat "$build/proof.txt"
  return "$failed"
}
