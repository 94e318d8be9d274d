#!/usr/bin/env bash
# Tries the page of "commonctl serve" in a browser.
#
# usage: tests/serve/run.sh BUILD FOLDER [--seconds N] [--pictures FOLDER] [NAME]
#   BUILD     a build folder with the targets serve_with_fakes, commonctl and speaker
#   FOLDER    for what npm brings, kept for the next time; it brings no browser
#   NAME      only the tests whose names have this in them
# --seconds: how long 1,000 records a second come (8). --pictures: pictures of the page, for people.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
(($# >= 2)) || { sed -n '4,9s/^# //p' "$0" >&2; exit 2; }
build=$(realpath "$1")
mkdir -p "$2"
folder=$(realpath "$2")
shift 2
# What the browser test of the manual needs is needed here, too.
cp "$here"/*.mjs "$here"/../manual/package*.json "$folder"
if ! cmp -s "$folder/package-lock.json" "$folder/node_modules/.installed"; then
  (cd "$folder" && npm ci --ignore-scripts --no-audit --no-fund --loglevel=error >&2)
  cp "$folder/package-lock.json" "$folder/node_modules/.installed"
fi
exec node "$folder/main.mjs" "$here/../.." "$build" "$(command -v chromium)" "$@"
