# ./dev demo: the media scanner at work, with its records shown.
# shellcheck shell=bash disable=SC2154,SC2164 # dev sets root, build, jobs and the packages, and ends on failures

# True when a daemon has the system log's socket open; the mere file may be left from an earlier one.
daemon_listens() {
  [[ -S /dev/log ]] && grep -qE " $(readlink -f /dev/log)\$" /proc/net/unix
}

main() {
  (($# <= 1)) || die "demo takes one folder"
  local folder=${1:-/usr/share} bin=$build/demo
  [[ $folder == /* ]] || folder=$OLDPWD/$folder
  need "${demo_packages[@]}"
  # A folder of its own: the release configuration has the tests in it, which need more packages.
  configure release demo -DCOMMON_BUILD_TESTS=OFF
  printf 'dev: building\n' >&2
  cmake --build "$bin" -j "$jobs" --target media_scanner commonctl -- --quiet >&2
  local scanner=$bin/examples/media_scanner/media_scanner ctl=$bin/tools/commonctl/commonctl
  if daemon_listens; then
    demo_with_daemon "$scanner" "$folder"
  elif [[ -w /dev && ! -e /dev/log ]]; then
    "$ctl" listen -- "$scanner" "$folder"
  elif "$ctl" listen --private-root -- true; then
    # The current folder stays visible in the private root, wherever it is.
    [[ ! -x $folder ]] || cd "$folder"
    "$ctl" listen --private-root -- "$scanner" "$folder"
  else
    printf 'dev: nobody can listen at /dev/log here, so the records of this scan are lost\n' >&2
    "$scanner" "$folder"
  fi
}

# Runs the scan and shows its records from where the running daemon put them.
demo_with_daemon() {
  local scanner=$1 folder=$2 status=0 file
  local -A size=()
  for file in /var/log/syslog /var/log/messages; do
    size[$file]=$(stat -c %s "$file" 2>/dev/null) || size[$file]=0
  done
  local start
  start=$(date +%s)
  "$scanner" "$folder" || status=$?

  local show=()
  if [[ $(readlink -f /dev/log) == /run/systemd/journal/* ]] && command -v journalctl >/dev/null; then
    show=(journalctl --no-pager --quiet --since "@$start" -o short _COMM=media_scanner)
  else
    for file in "${!size[@]}"; do
      [[ ! -r $file ]] || show=(tail -c "+$((size[$file] + 1))" "$file")
    done
  fi
  if ((!${#show[@]})); then
    printf '\nThe records went to the daemon at /dev/log; this user cannot read its files.\n'
    return "$status"
  fi
  # The daemon takes records in at its own pace.
  for _ in {1..50}; do
    ! "${show[@]}" | grep -E 'Scan of .* ended|Cannot scan' >/dev/null || break
    sleep 0.1
  done
  printf '\nRecords that the daemon at /dev/log has written (%s):\n' "${show[*]}"
  "${show[@]}" | grep media_scanner ||
    printf 'none: it is not set up to write them there\n'
  return "$status"
}
