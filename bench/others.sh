# shellcheck shell=bash
# ztcli beside tools that do the like elsewhere, where Debian's packages of them are installed; sourced by script/bench.

# One reading and a whole listing, on the chain of 128 outlets that comes with the system; times of the other tool's.
# Its outlets have their intervals: one that lacks them, as those of the cases do, costs two exchanges more.
other_chain=appliance/chains/full.toml
other_outlets=128
goal_upsc=0.35         # user and system time of one reading
goal_upsc_listing=0.15 # wall time
goal_powerman=1.0      # user and system time of one reading

# start COMMAND ...: a daemon of another tool, which take_down ends.
start() {
    "$@" </dev/null >>"$folder/others.log" 2>&1 &
    others+=($!)
}

# until_answered COMMAND ...: waits for the daemons behind a command.
until_answered() {
    local word
    for _ in {1..50}; do
        word=$("$@" 2>/dev/null) && [[ -n $word ]] && return 0
        sleep 0.1
    done
    cat "$folder/others.log" >&2
    die "no daemon to measure '$name' with"
}

# One device with as many variables as the chain has readings. Its daemons take their folders from the environment.
measure_upsc() {
    local place port=$((20000 + RANDOM % 10000)) reading=outlet.1.status
    local -x NUT_CONFPATH NUT_STATEPATH NUT_ALTPIDPATH NUT_PIDPATH
    place=$(mktemp -d "$folder/nut.XXXXXX")
    NUT_CONFPATH=$place NUT_STATEPATH=$place NUT_ALTPIDPATH=$place NUT_PIDPATH=$place
    for ((i = 0; i < other_outlets; i++)); do
        printf "outlet.$((i + 1)).%s\n" "id: $((i + 1))" "desc: web$((i + 1))" 'status: on' 'type: ON'
    done >"$place/chain.dev"
    printf '[chain]\ndriver = dummy-ups\nport = %s\n' "$place/chain.dev" >"$place/ups.conf"
    printf 'LISTEN 127.0.0.1 %d\nSTATEPATH %s\n' "$port" "$place" >"$place/upsd.conf"
    : >"$place/upsd.users"
    start /lib/nut/dummy-ups -a chain -F -u "$(id -un)"
    until_answered ls "$place/dummy-ups-chain"
    start /lib/nut/upsd -F -u "$(id -un)"
    until_answered upsc "chain@127.0.0.1:$port" $reading

    side_by_side 1 "$bin/ztcli" status 1 -- 0 /usr/bin/upsc "chain@127.0.0.1:$port" $reading
    printf "upsc: one reading, and 'ztcli status all' beside the listing of %d variables, %d runs\n" \
        "$(upsc "chain@127.0.0.1:$port" 2>/dev/null | wc -l)" "$repeat"
    printf '  %-22s %10s %10s %8s\n' '' ztcli upsc ratio
    row 'reading, user + sys us' "$our_cpu" "$other_cpu" "at most $goal_upsc times" "a <= $goal_upsc * b"
    row 'reading, wall us' "$our_wall" "$other_wall"
    side_by_side 1 "$bin/ztcli" status all -- 0 /usr/bin/upsc "chain@127.0.0.1:$port"
    row 'listing, user + sys us' "$our_cpu" "$other_cpu"
    row 'listing, wall us' "$our_wall" "$other_wall" "at most $goal_upsc_listing times" "a <= $goal_upsc_listing * b"
}

# As many plugs as the chain has outlets, on simulated devices of 16.
measure_powerman() {
    local place port=$((20000 + RANDOM % 10000)) device
    place=$(mktemp -d "$folder/powerman.XXXXXX")
    {
        printf 'include "/etc/powerman/vpc.dev"\nlisten "127.0.0.1:%d"\n' "$port"
        for ((device = 0; device < other_outlets / 16; device++)); do
            printf 'device "vpc%d" "vpc" "/usr/sbin/vpcd |&"\n' "$device"
            printf 'node "web[%d-%d]" "vpc%d" "[0-15]"\n' $((device * 16)) $((device * 16 + 15)) "$device"
        done
    } >"$place/powerman.conf"
    start /usr/sbin/powermand -f -c "$place/powerman.conf"
    until_answered powerman -h "127.0.0.1:$port" -Q web1

    side_by_side 1 "$bin/ztcli" status 1 -- 0 /usr/bin/powerman -h "127.0.0.1:$port" -Q web1
    printf "powerman: one reading, %d runs\n" "$repeat"
    printf '  %-22s %10s %10s %8s\n' '' ztcli powerman ratio
    row 'user + system time us' "$our_cpu" "$other_cpu" "at most $goal_powerman times" "a <= $goal_powerman * b"
    row 'wall time us' "$our_wall" "$other_wall"
}

measure_other() {
    local program
    for program in "${@:2}"; do
        [[ -x $program ]] || {
            printf '%s: skipped\n' "$name"
            return 0
        }
    done
    set_up "$other_chain"
    "$1"
}
