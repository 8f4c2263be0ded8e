# shellcheck shell=bash
# What the scripts share; sourced by them, never run. Whoever sources it stands in any folder.
set -euo pipefail
top=$(cd -P "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
self=script/$(basename "$0")

say() { printf '%s\n' "$*" >&2; }

die() {
    say "$self: $*"
    exit 1
}

# --- Packages --------------------------------------------------------------------------------------------------------

# shellcheck disable=SC2034  # install_packages reaches them by name
{
    run_packages=(
        g++ cmake ninja-build python3 util-linux
        lrzsz libreadline-dev libncurses-dev libhiredis-dev libtomlplusplus-dev libsqlite3-dev
    )
    test_packages=(
        libgtest-dev libgmock-dev python3-pytest python3-pexpect openssh-client openssh-server zsh
    )
    lint_packages=(clang-format clang-tidy git mandoc shellcheck)
    coverage_packages=(gcovr)
    package_packages=(debhelper dpkg-dev fakeroot lintian rsync)
    bench_packages=(valgrind strace redis-tools)
    fuzz_packages=(clang libclang-rt-14-dev libgtest-dev)
    target_packages=(
        g++-powerpc-linux-gnu libc6-powerpc-cross libc6-dev-powerpc-cross qemu-user # the compiler, and what runs it
        dpkg-dev tcl                                                                # sources, and what one is made with
    )
}

# Those of the named packages that are not installed.
missing_packages() {
    local known
    known=" $(dpkg-query -W -f '${Package}=${db:Status-Status} ' "$@" 2>/dev/null || true)"
    for package in "$@"; do
        [[ $known == *" $package=installed "* ]] || printf '%s\n' "$package"
    done
}

# Installs what is missing of the named sets; says what it installs.
install_packages() {
    local wanted=() missing as_root=()
    for kind in "$@"; do
        local -n packages=${kind}_packages
        wanted+=("${packages[@]}")
    done
    command -v dpkg-query >/dev/null || die "this is no Debian; install the counterparts of: ${wanted[*]}"
    mapfile -t missing < <(missing_packages "${wanted[@]}")
    ((${#missing[@]})) || return 0
    if ((EUID != 0)); then
        command -v sudo >/dev/null || die "missing, and neither root nor sudo to install them: ${missing[*]}"
        as_root=(sudo)
    fi
    say "$self: installing ${missing[*]}"
    {
        "${as_root[@]}" apt-get -q update
        "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get -q -y --no-install-recommends install "${missing[@]}"
    } >&2
}

# Where script/run makes the roots of its desks. A socket's path has less than 108 bytes, so that a tree that lies deep
# has them elsewhere.
desk_place() {
    if ((${#top} < 64)); then
        printf '%s' "$top/build"
    else
        printf '%s' "${TMPDIR:-/tmp}"
    fi
}

# --- Building --------------------------------------------------------------------------------------------------------

# configure FOLDER [cmake option ...]: makes or refreshes a build folder where the options, or the place of the tree,
# are other than last time. The build tool sees to everything else.
configure() {
    local folder=$1 stamp
    shift
    if command -v ccache >/dev/null; then
        set -- -DCMAKE_CXX_COMPILER_LAUNCHER=ccache "$@"
    fi
    stamp="$top $*"
    if [[ -f $folder/build.ninja && -f $folder/configured && $(<"$folder/configured") == "$stamp" ]]; then
        return 0
    fi
    say "$self: configuring $(shown "$folder")"
    mkdir -p "$folder"
    rm -rf "$folder/CMakeCache.txt" "$folder/CMakeFiles" "$folder/configured"
    cmake -S "$top" -B "$folder" -G Ninja "$@" >"$folder/configure.log" 2>&1 || {
        cat "$folder/configure.log" >&2
        die "cannot configure '$(shown "$folder")'"
    }
    printf '%s' "$stamp" >"$folder/configured"
}

# one_at_a_time COMMAND [argument ...]: two builds in one folder would tread on each other.
one_at_a_time() {
    mkdir -p "$top/build"
    {
        flock -n "$building" || {
            say "$self: waiting for another build"
            flock "$building"
        }
        "$@"
    } {building}>"$top/build/lock"
    exec {building}>&-
}

# A path as a person at the top of the tree would type it.
shown() { printf '%s' "${1#"$top"/}"; }

# compile FOLDER [target ...]: builds; says so where there is something to build, and shows the log of what fails.
compile() {
    local folder=$1
    shift
    ninja -C "$folder" "$@" 2>&1 | tee "$folder/build.log" | {
        ! grep -q -E '^\[[0-9]+/[0-9]+\] (Building|Generating|Linking)' || say "$self: building $(shown "$folder")"
        cat >/dev/null
    } || {
        cat "$folder/build.log" >&2
        die "cannot build '$(shown "$folder")'"
    }
}

# The normal build. Tests are part of it as soon as what they need is there.
build_normal() { one_at_a_time make_normal "$@"; }
build_sanitized() { one_at_a_time make_sanitized "$@"; }
build_sdk() { one_at_a_time make_sdk "$@"; }
build_fuzz() { one_at_a_time make_fuzz "$@"; }

make_normal() {
    local tests=OFF
    [[ -n $(missing_packages "${test_packages[@]}") ]] || tests=ON
    configure "$top/build" -DZT_TESTS=$tests
    compile "$top/build" "$@"
}

make_sanitized() {
    configure "$top/build/asan" -DZT_SANITIZE=ON
    compile "$top/build/asan" "$@"
}

make_sdk() {
    configure "$top/build/sdk" "-DZT_SDK=$1"
    compile "$top/build/sdk" "${@:2}"
}

make_fuzz() {
    configure "$top/build/fuzz" -DZT_FUZZ=ON -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++
    compile "$top/build/fuzz" "$@"
}
