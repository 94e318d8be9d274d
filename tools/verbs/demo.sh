# ./dev demo: the media scanner at work, then how many records it wrote, and the last ones.
# shellcheck shell=bash disable=SC2154,SC2164 # dev sets root, build, jobs and the packages, and ends on failures

# Where a daemon that is no journal puts what it receives.
daemon_files=(/var/log/syslog /var/log/messages)

# True when a daemon has the system log's socket open; the mere file may be left from an earlier one.
daemon_listens() {
  [[ -S /dev/log ]] && grep -qE " $(readlink -f /dev/log)\$" /proc/net/unix
}

# True when we may listen in the daemon's place.
place_is_free() {
  [[ -w /dev && ! -e /dev/log ]]
}

main() {
  (($# <= 1)) || die "demo takes one folder"
  local folder=${1:-/usr/share} bin=$build/demo status=0
  [[ $folder == /* ]] || folder=$OLDPWD/$folder
  need "${demo_packages[@]}"
  # A folder of its own: the release configuration has the tests in it, which need more packages.
  configure release demo -DCOMMON_BUILD_TESTS=OFF
  printf 'dev: building\n' >&2
  cmake --build "$bin" -j "$jobs" --target media_scanner commonctl -- --quiet >&2
  local scanner=$bin/examples/media_scanner/media_scanner ctl=$bin/tools/commonctl/commonctl
  local records=$bin/records.txt origin=''
  if daemon_listens; then
    demo_with_daemon "$scanner" "$folder" "$records" || status=$?
  elif place_is_free; then
    "$ctl" listen --output="$records" -- "$scanner" "$folder" || status=$?
  elif "$ctl" listen --private-root -- true; then
    # The current folder stays visible in the private root, wherever it is.
    [[ ! -d $folder || ! -x $folder ]] || cd "$folder"
    "$ctl" listen --private-root --output="$records" -- "$scanner" "$folder" || status=$?
  else
    printf 'dev: nobody can listen at /dev/log here, so the records of this scan are lost\n' >&2
    "$scanner" "$folder"
    return
  fi
  show_records "$records" "$origin"
  return "$status"
}

# Runs the scan and copies its records from where the running daemon put them, which is left in origin.
demo_with_daemon() {
  local scanner=$1 folder=$2 records=$3 status=0 file
  local -A size=()
  for file in "${daemon_files[@]}"; do
    size[$file]=$(stat -c %s "$file" 2>/dev/null) || size[$file]=0
  done
  local start
  start=$(date +%s)
  "$scanner" "$folder" || status=$?

  local from=()
  if [[ $(readlink -f /dev/log) == /run/systemd/journal/* ]] && command -v journalctl >/dev/null; then
    from=(journalctl --no-pager --quiet --since "@$start" -o short _COMM=media_scanner)
    origin='the journal'
  else
    for file in "${!size[@]}"; do
      [[ -r $file ]] || continue
      from=(tail -c "+$((size[$file] + 1))" "$file")
      origin=$file
    done
  fi
  if ((!${#from[@]})); then
    printf '\nThe records went to the daemon at /dev/log; this user cannot read its files.\n'
    : >"$records"
    return "$status"
  fi
  # The daemon takes records in at its own pace.
  for _ in {1..50}; do
    ! "${from[@]}" | grep -E 'Scan of .* ended|Cannot scan' >/dev/null || break
    sleep 0.1
  done
  "${from[@]}" | grep media_scanner >"$records" ||
    printf '\nThe daemon at /dev/log is not set up to write them to %s.\n' "$origin"
  return "$status"
}

# show_records FILE ORIGIN: tells how many records of each level a file has, and shows the last ones:
# uncut, as the message comes last.
show_records() {
  local records=$1 origin=$2
  [[ -s $records ]] || return 0
  awk '
    # The level follows the zone or the thread in each of the layouts that the scanner writes.
    match($0, / (Fatal|Critical|Error|Warn|Note|Info|Debug|Verbose)[, ]/) {
      ++count[substr($0, RSTART + 1, RLENGTH - 2)]
    }
    END {
      printf "\n%d record%s", NR, NR == 1 ? "" : "s"
      levels = split("Fatal Critical Error Warn Note Info Debug Verbose", level)
      for (i = 1; i <= levels; ++i) {
        if (level[i] in count) {
          printf "%s %d %s", n++ ? "," : ":", count[level[i]], level[i]
        }
      }
      print (NR > 20 ? ". The last 20:" : ":")
    }' "$records"
  tail -n 20 "$records"
  printf 'All of them: %s%s\n' "$records" "${origin:+, copied from $origin}"
}
