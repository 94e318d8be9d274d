#!/usr/bin/env bash
# in_private_root.sh FOLDER COMMAND [ARGUMENT...]: runs COMMAND as root, in the current folder, in a root
# that looks like that of this system and whose changes vanish with it: packages can be installed and
# removed there. Only what is written in the current folder and in FOLDER stays. /run/changes shows what differs from the system.
set -euo pipefail

die() {
  printf 'dev: %s\n' "$*" >&2
  exit 1
}

# Runs in a mount namespace of its own. Writing goes to memory.
enter() {
  local place=$1 keep=$2 folder
  shift 2
  mount -t tmpfs private-root "$place"
  mkdir "$place"/{upper,work,root}
  mount -t overlay -o "lowerdir=/,upperdir=$place/upper,workdir=$place/work" private-root "$place/root" ||
    die "the kernel makes no overlay of this system's root, which a private root takes"
  for folder in proc sys dev; do
    mount --rbind "/$folder" "$place/root/$folder"
  done
  mount -t tmpfs -o mode=1777 private-tmp "$place/root/tmp"
  # These may be file systems of their own, which the overlay does not show.
  mkdir -p "$place/root/$PWD" "$place/root/$keep"
  mount --bind "$PWD" "$place/root/$PWD"
  mount --bind "$keep" "$place/root/$keep"
  mkdir -p "$place/root/run/changes"
  mount --bind -o ro "$place/upper" "$place/root/run/changes"
  # It may lead to /run, which is another file system, too.
  cp --remove-destination -L /etc/resolv.conf "$place/root/etc/resolv.conf" 2>/dev/null || true
  # shellcheck disable=SC2016 # the inner shell expands them
  exec chroot "$place/root" env -u TMPDIR sh -c 'cd "$1" && shift && exec "$@"' sh "$PWD" "$@"
}

if [[ ${1-} == --enter ]]; then
  shift
  enter "$@"
fi
((EUID == 0)) || die "a private root, in which packages are installed and removed, takes root"
unshare --mount true 2>/dev/null ||
  die "this system lets root make no private root: a container takes the right to mount (CAP_SYS_ADMIN)"
place=$(mktemp -d)
trap 'rmdir "$place"' EXIT
status=0
unshare --mount --propagation private "${BASH_SOURCE[0]}" --enter "$place" "$@" || status=$?
exit "$status"
