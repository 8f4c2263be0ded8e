#!/bin/sh
# A copy of this machine in which packages can be installed: machine.sh PLACE, in a mount namespace of its own. It lies
# in PLACE/copy, and what changes there in PLACE/changed. Says "ready", and ends with its input; all is gone then.
set -eu
place=$1

mount --make-rprivate /
mount -t tmpfs -o mode=755 none "$place"
mkdir "$place/changed" "$place/work" "$place/copy"
mount -t overlay -o "lowerdir=/,upperdir=$place/changed,workdir=$place/work" none "$place/copy"
mount --bind /proc "$place/copy/proc"
mount --bind /dev "$place/copy/dev"
mount -t tmpfs -o mode=755 none "$place/copy/run"
mount -t tmpfs -o mode=1777 none "$place/copy/tmp"
echo ready
cat >/dev/null
