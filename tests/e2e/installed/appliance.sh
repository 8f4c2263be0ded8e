#!/bin/sh
# A real root of its own for installed programs: appliance.sh ROOT BIN CHAIN TERMINAL, in a mount namespace of its own.
# The program is set-user-ID there. Says "ready" once both daemons run, and ends with its input; all is gone then.
set -eu
root=$1 bin=$2 chain=$3 terminal=$4

mount --make-rprivate /
mount -t tmpfs -o mode=755 none "$root"
mkdir -p "$root/upper" "$root/work" "$root/usr" "$root/etc" "$root/proc" "$root/dev" "$root/run" "$root/var/lib"
mkdir -m 1777 "$root/tmp" "$root/record"
mount -t overlay -o "lowerdir=/usr,upperdir=$root/upper,workdir=$root/work" none "$root/usr"
mount --bind /etc "$root/etc"
mount --bind /proc "$root/proc"
for name in bin sbin lib lib64; do
    ln -s "usr/$name" "$root/$name"
done
for name in null full "$terminal"; do # the loader gives a closed stream one of the first two
    touch "$root/dev/${name##*/}"
    mount --bind "/dev/${name#/dev/}" "$root/dev/${name##*/}"
done
ln -s "${terminal##*/}" "$root/dev/ttyS0"

install -m 4755 "$bin/ztcli" "$root/usr/bin/ztcli"
install -m 755 "$bin/morvd" "$bin/ztd_ng" "$root/usr/bin"
install -m 755 "$bin/checkImage" "$bin/flashImage" "$root/usr/sbin"
install -m 644 "$chain" "$root/chain.toml"

# start NAME [argument ...]: until it says that it is ready.
start() {
    mkfifo "$root/run/$1.ready"
    name=$1
    shift
    chroot "$root" "/usr/bin/$name" --ready-fd 3 "$@" 3>"$root/run/$name.ready" </dev/null >&2 &
    daemons="${daemons-} $!"
    read -r word <"$root/run/$name.ready"
    [ "$word" = ready ]
}
trap 'kill $daemons; wait' EXIT
start morvd /chain.toml
start ztd_ng
echo ready
cat >/dev/null
