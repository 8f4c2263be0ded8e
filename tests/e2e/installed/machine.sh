#!/bin/sh
# A copy of this machine in which packages can be installed: machine.sh ROOT, in a mount namespace of its own. What
# changes there lies in ROOT/changed. Says "ready", and ends with its input; all is gone then.
set -eu
place=$1

mount --make-rprivate /
mount -t tmpfs -o mode=755 none "$place"
mkdir "$place/changed" "$place/work" "$place/root"
mount -t overlay -o "lowerdir=/,upperdir=$place/changed,workdir=$place/work" none "$place/root"
mount --bind /proc "$place/root/proc"
mount --bind /dev "$place/root/dev"
mount -t tmpfs -o mode=755 none "$place/root/run"
mount -t tmpfs -o mode=1777 none "$place/root/tmp"
echo ready
cat >/dev/null
