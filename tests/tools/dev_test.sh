#!/usr/bin/env bash
# Checks that ./dev answers what it cannot do with one clear line: a verb, an option or a value that it does not
# know, a missing tool, a user without rights. Such a user runs all of it, from a copy, so that nothing happens
# should something not be refused.
# usage: dev_test.sh SOURCE
set -euo pipefail

work=$(mktemp -d -p /tmp)
trap 'rm -rf "$work"' EXIT
mkdir "$work/bin"
cp -R "$1/dev" "$1/tools" "$work"
chmod -R a+rX "$work"
failed=0
user=()
((EUID != 0)) || user=(setpriv --reuid=65534 --regid=65534 --clear-groups)

# refused STATUS LINE COMMAND...: the command ends so, with that line and nothing else.
refused() {
  local status=0 expected=$1 line=$2 got
  shift 2
  got=$("${user[@]}" "$@" 2>&1) || status=$?
  if ((status != expected)) || [[ $got != "$line" ]]; then
    printf 'dev_test: "%s" ends with %d: %s\n' "$*" "$status" "$got" >&2
    failed=1
  fi
}

# wrong LINE ARGUMENT...: what ./dev says of its arguments.
wrong() {
  local line=$1
  shift
  refused 1 "dev: $line" "$work/dev" "$@"
}

refused 2 'dev: there is no verb demonstrate; see ./dev help' "$work/dev" demonstrate
refused 2 'dev: there is no verb ../verbs/demo; see ./dev help' "$work/dev" ../verbs/demo
wrong 'abi takes --renew or nothing' abi --new
wrong 'bench has no option --all; see ./dev bench --help' bench --all
wrong 'coverage has no option --all; see ./dev coverage --help' coverage --all
wrong 'coverage takes one NAME' coverage Log Timer
wrong 'demo takes one folder' demo /usr /var
wrong 'docs takes no argument but --test' docs test
wrong 'faults has no option --all; see ./dev faults --help' faults --all
wrong 'faults takes one NAME' faults Log Timer
wrong 'format takes no argument' format dev
wrong "there is no fuzz target 'nothing'" fuzz nothing
wrong "there is no fuzz target 'nothing'" fuzz --minimise nothing
wrong 'fuzz has no option --every; see ./dev fuzz --help' fuzz --every
wrong 'fuzz takes a NAME and a number of SECONDS' fuzz --all 10 20
wrong 'fuzz takes a number of seconds above 0' fuzz --all 0
wrong 'limits has no option --all; see ./dev limits --help' limits --all
wrong 'limits takes one NAME, or --renew' limits Log Timer
wrong 'lint takes --quick or nothing' lint --quickly
wrong 'mutate has no option --all; see ./dev mutate --help' mutate --all
wrong 'mutate --sample takes a number from 1 on' mutate --sample 0
wrong 'mutate takes one FOLDER' mutate log timer
wrong 'package --arch takes amd64, arm64, armhf or i386' package --arch pdp11
wrong 'package has no option --install; see ./dev package --help' package --install
wrong 'SECONDS is a number from 1 on' soak 0
wrong 'proof takes nothing, or --quick' proof --all
wrong 'soak has no option --all; see ./dev soak --help' soak --all
wrong 'soak takes one NAME' soak 10 Timer Queue
wrong 'test has no option --slow; see ./dev test --help' test --slow
wrong 'test --preset takes one of: clang release asan tsan i386 armhf arm64 coverage' test --preset fast
wrong 'test --preset takes one of: clang release asan tsan i386 armhf arm64 coverage' test --preset
wrong 'test --repeat takes a number from 1 on' test --repeat 0

# Who is not root can make no private root.
refused 1 'dev: mutate takes root: the defects are tried in a sandbox' "$work/dev" mutate log
refused 1 'dev: package --test takes root: it installs the packages in a private root' \
  "$work/dev" package --test
refused 1 'dev: a private root, in which packages are installed and removed, takes root' \
  "$work/tools/packages/in_private_root.sh" "$work" true
refused 1 'dev: install_test.sh changes the system: run it by in_private_root.sh' \
  "$work/tools/packages/install_test.sh" "$work"

# Where there are few programs: no dpkg, and an apt-get that must not be called by whoever is not root.
for tool in bash dirname env nproc; do
  ln -s "$(command -v "$tool")" "$work/bin/$tool"
done
few=(env PATH="$work/bin" "$work/dev")
refused 1 'dev: package takes a Debian system: there is no dpkg' "${few[@]}" package
printf '#!/bin/sh\necho called\n' >"$work/bin/apt-get"
chmod 755 "$work/bin/apt-get"
refused 1 'dev: missing: clang-format. Run this once as root, or install them: apt-get install clang-format' \
  "${few[@]}" format

# The help has each verb.
for verb in "$1"/tools/verbs/*.sh; do
  verb=$(basename "$verb" .sh)
  if [[ $("$work/dev" "$verb" --help) != *$'\n'"  $verb "* ]]; then
    printf 'dev_test: no help on %s\n' "$verb" >&2
    failed=1
  fi
done
exit "$failed"
