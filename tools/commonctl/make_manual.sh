#!/usr/bin/env bash
# make_manual.sh PROGRAM FOLDER: makes the manual pages of commonctl, one for each sub-command, of what
# PROGRAM itself tells with --help. Takes help2man.
set -euo pipefail

program=$(realpath "$1")
folder=$2
sections=$(dirname "$(realpath "${BASH_SOURCE[0]}")")/man/sections.h2m
work=$(mktemp -d)
trap 'rm -r "$work"' EXIT
mkdir -p "$folder"

# help2man would flow the examples together, so they go past it.
cat >"$work/commonctl" <<'TEXT'
#!/usr/bin/env bash
"$COMMONCTL" "$@" | sed '/^Examples:$/,$d; /^"commonctl SUB-COMMAND --help"/d'
TEXT
chmod +x "$work/commonctl"

examples_of() {
  printf '[examples]\n.nf\n'
  "$program" "$1" --help | sed '1,/^Examples:$/d; s/\\/\\e/g; s/-/\\-/g'
  printf '.fi\n\n'
  printf '[see also]\n.BR commonctl (1)\n'
}

# page NAME SUMMARY INCLUDE [SUB-COMMAND]: what differs between two versions of help2man is left out.
page() {
  local name=$1 summary=$2 include=$3
  shift 3
  COMMONCTL=$program help2man --no-info --no-discard-stderr --version-string=- --name="$summary" --include="$include" \
    "$work/commonctl${1:+ $1}" |
    sed -E "1d; s/^\\.TH .*/.TH ${name^^} \"1\" \"\" \"Common library\" \"\"/; s/^commonctl $1 \\\\-/${name//-/\\\\-} \\\\-/" |
    { printf '.\\" Made by make_manual.sh.\n' && cat; } >"$folder/$name.1"
}

page commonctl 'see and steer the processes that use the Common library' "$sections" ''
"$program" --help | sed -n '/^Subcommands:$/,/^$/p' | sed -nE 's/^  ([a-z-]+) +(.*)/\1 \2/p' |
  while read -r sub summary; do
    examples_of "$sub" >"$work/examples.h2m"
    page "commonctl-$sub" "$summary" "$work/examples.h2m" "$sub"
  done
