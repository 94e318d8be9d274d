#!/usr/bin/env bash
# Runs a command where it can do no harm: with processes, network and /tmp of its own, everything read-only
# but a copy of this tree at the tree's own place, which is gone afterwards.
#
#     sandbox.sh ROOT EMPTY_FOLDER COMMAND [ARGUMENT...]
set -euo pipefail

if [[ ${1-} != --in-namespace ]]; then
  exec unshare --mount "$0" --in-namespace "$@"
fi
root=$2 scratch=$3
shift 3
mount -t tmpfs -o size=2g tmpfs "$scratch"
mkdir "$scratch"/{changes,work,copy}
mount -t overlay -o "lowerdir=$root,upperdir=$scratch/changes,workdir=$scratch/work" overlay "$scratch/copy"
# Tests make private roots, which takes rights.
exec bwrap --unshare-pid --unshare-net --unshare-ipc --as-pid-1 --die-with-parent --cap-add ALL \
  --ro-bind / / --dev /dev --proc /proc --tmpfs /tmp --bind "$scratch/copy" "$root" --chdir "$root" -- "$@"
