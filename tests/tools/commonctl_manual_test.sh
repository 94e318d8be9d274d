#!/usr/bin/env bash
# commonctl_manual_test.sh SOURCE COMMONCTL: makes the manual pages and compares them with those that are
# installed. Where they differ: tools/commonctl/make_manual.sh COMMONCTL tools/commonctl/man.
set -euo pipefail

work=$(mktemp -d)
trap 'rm -r "$work"' EXIT
"$1/tools/commonctl/make_manual.sh" "$2" "$work"
diff -r -x '*.h2m' "$1/tools/commonctl/man" "$work"
for page in "$work"/*.1; do
  warnings=$(LC_ALL=C.UTF-8 MANROFFSEQ='' MANWIDTH=80 man --warnings -E UTF-8 -l -Tutf8 -Z "$page" 2>&1 >/dev/null) || true
  if [[ -n $warnings ]]; then
    printf '%s: %s\n' "${page##*/}" "$warnings"
    exit 1
  fi
done
