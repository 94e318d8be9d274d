#!/usr/bin/env bash
# Checks what ./dev demo shows at the end, and that each of its ways gets there: a daemon's file, a
# free /dev/log, and a private root. All run in private roots, with programs that are there already.
# usage: demo_test.sh SOURCE MEDIA_SCANNER COMMONCTL LIBRARY
# shellcheck disable=SC2034,SC2317 # what demo.sh uses, and the functions that it calls
set -euo pipefail

source_root=$1 scanner=$2 ctl=$3 library=$4
work=$(mktemp -d "$PWD/demo_test.XXXXXX")
trap 'rm -rf "$work"' EXIT
build=$work/build jobs=1 demo_packages=()
records=$build/demo/records.txt
scanners=$build/demo/examples/media_scanner
mkdir -p "$scanners" "$build/demo/tools/commonctl" "$work/media/below"
# In a private root, a folder below /tmp is there only if it is the program's or the current one.
cp "$scanner" "$scanners/real_scanner"
cp "$library" "$scanners"
export LD_LIBRARY_PATH=$scanners
# Without records of progress: how many come depends on how fast the machine is.
cat >"$scanners/media_scanner" <<TEXT
#!/bin/sh
exec $scanners/real_scanner --interval=0 "\$@"
TEXT
chmod +x "$scanners/media_scanner"
cp "$scanners/media_scanner" "$work/file"
for number in {1..30}; do
  mkdir "$work/media/$number"
done

# shellcheck source=tools/verbs/demo.sh
source "$source_root/tools/verbs/demo.sh"

fail() {
  printf 'demo_test: %s\n' "$*" >&2
  exit 1
}

die() { fail "died: $*"; }
need() { :; }
configure() { :; }
cmake() { :; }
daemon_listens() { [[ $way == daemon ]]; }
place_is_free() { [[ $way == free ]]; }

# expect_end STATUS FOLDER: runs the demo and looks at its last lines.
expect_end() {
  local status=0 count last
  rm -f "$records"
  (main "$2") >"$work/out" 2>"$work/err" || status=$?
  ((status == $1)) || fail "$way: exits with $status: $(cat "$work/out" "$work/err")"
  count=$(wc -l <"$records")
  last=$((count < 20 ? count : 20))
  diff <(tail -n 1 "$work/out") <(printf 'All of them: %s%s\n' "$records" "${copied-}") >&2
  diff <(tail -n $((last + 1)) "$work/out" | head -n "$last") <(tail -n 20 "$records") >&2
  counted=$(tail -n $((last + 2)) "$work/out" | head -n 1)
  before=$(head -n -$((last + 2)) "$work/out")
}

# The ways other than a daemon's differ in what they ask of commonctl, which each gets in a private root.
for way in free private; do
  cat >"$build/demo/tools/commonctl/commonctl" <<TEXT
#!/bin/sh
echo "\$*" >>$work/asked
[ \$2 = --private-root ] && shift 2 || shift
exec $ctl listen --private-root "\$@"
TEXT
  chmod +x "$build/demo/tools/commonctl/commonctl"
  : >"$work/asked"
  expect_end 0 "$work/media"
  [[ $counted == '76 records: 4 Note, 42 Info, 30 Debug. The last 20:' ]] || fail "$way: $counted"
  [[ $before == 'Scanned '*'folders              32'* ]] || fail "$way: no summary: $before"
  expect_end 1 "$work/none"
  [[ $counted == '1 record: 1 Error:' && -z $before ]] || fail "$way: $counted"
  expect_end 1 "$work/file"
  [[ $(sed 1d "$work/err") == "media_scanner: $work/file: Not a directory" ]] || fail "$way: $(cat "$work/err")"
done
grep -q '^listen --private-root --output=' "$work/asked" || fail 'no private root was asked for'

# A daemon that writes to a file, where there are records already.
way=daemon copied=", copied from $work/syslog"
daemon_files=("$work/syslog" "$work/none")
printf 'media_scanner: an earlier one, Info,\n' >"$work/syslog"
cat >"$work/scanner" <<TEXT
#!/bin/sh
echo 'Scanned'
echo 'host other[1]: x, Note, another program' >>$work/syslog
echo 'host media_scanner[1]: x, Note, Scan of /tmp ended: 1 folders' >>$work/syslog
exit 3
TEXT
chmod +x "$work/scanner"
ln -sf "$work/scanner" "$scanners/media_scanner"
expect_end 3 /tmp
[[ $counted == '1 record: 1 Note:' && $before == Scanned ]] || fail "$way: $counted"
diff <(printf 'host media_scanner[1]: x, Note, Scan of /tmp ended: 1 folders\n') "$records" >&2
