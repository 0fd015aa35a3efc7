#!/usr/bin/env bash
# make test-bullseye: builds the camera and image module in a Debian 11 root
# (Python 3.9, glibc 2.31, bullseye's own Aravis 0.8 and FFmpeg 4.3) with the
# root's toolchain, and runs the binding tests there with the root's python3.
#
# The root is made once per machine with debootstrap from the Debian mirror,
# in KYR_ROOTS_DIR (default /var/cache/kyr-roots), and reused while its stamp
# holds the hash of its package list (bullseye.txt beside this script) and of
# the bootstrap settings below; any other root there is made again.
#
# Everything runs in a mount namespace of its own, so the mounts (/proc, /dev,
# a /tmp, the checkout) are seen by this run alone and go with it even if it is
# killed; the exit trap unmounts them all the same. The checkout is mounted
# read-only at /src, with only its build-bullseye/ writable,
# so the root's build never touches the host's build directories. Only making
# the root reaches the network (the mirror); building and testing run in a
# network namespace with only loopback. Needs root.
# Usage: bullseye.sh CHECKOUT [JOBS]
set -euo pipefail

checkout=$(realpath "$1")
jobs=${2:-2}
here=$(dirname "$(realpath "$0")")
suite=bullseye
arch=amd64
mirror=http://deb.debian.org/debian
roots=${KYR_ROOTS_DIR:-/var/cache/kyr-roots}
root=$roots/$suite-$arch
build=build-bullseye

if [ "$(id -u)" -ne 0 ]; then
    echo "test-bullseye: needs root (debootstrap, chroot, mounts)" >&2
    exit 1
fi
if [ -z "${KYR_BULLSEYE_NAMESPACE:-}" ]; then
    KYR_BULLSEYE_NAMESPACE=1 exec unshare --mount --propagation private "$0" "$@"
fi

stage_start=$SECONDS
stage_done() {
    echo "test-bullseye: $1 took $((SECONDS - stage_start)) s"
    stage_start=$SECONDS
}

mounted=()
unmount_all() {
    local i
    for ((i = ${#mounted[@]} - 1; i >= 0; i--)); do
        umount -R "${mounted[i]}" || umount -R -l "${mounted[i]}" || true
    done
    mounted=()
}
# run [UNSHARE-OPTION...] COMMAND...: runs COMMAND in a PID namespace of its
# own and waits for it. The exit trap ends it, and every process it started
# with it, when this run ends first (a signal, a failure).
child=
run() {
    unshare --pid --fork --kill-child "$@" &
    child=$!
    local status=0
    wait "$child" || status=$?
    child=
    return "$status"
}
cleanup() {
    if [ -n "$child" ]; then
        kill "$child" 2>/dev/null || true
        wait "$child" 2>/dev/null || true
    fi
    unmount_all
}
trap cleanup EXIT
trap 'exit 130' INT
trap 'exit 143' TERM
# mount_in TARGET MOUNT-ARGS...: mounts and remembers TARGET for the trap.
mount_in() {
    local target=$1
    shift
    mount "$@" "$target"
    mounted+=("$target")
}

packages() {
    sed -e 's/#.*//' -e '/^[[:space:]]*$/d' "$here/$suite.txt" | sort -u
}
# What the root is made from: its stamp holds this hash once it is complete.
wanted=$({ echo "$suite $arch $mirror minbase"; packages; } | sha256sum | cut -d' ' -f1)

# Makes the root in a fresh directory beside the final one, which it replaces
# only when complete; a run that fails leaves no root that looks usable.
make_root() {
    local new=$root.new
    rm -rf --one-file-system "$new" "$root"
    echo "test-bullseye: making the Debian 11 root in $root from $mirror"
    run timeout 1800 debootstrap --variant=minbase --arch="$arch" "$suite" "$new" "$mirror" >"$roots/$suite-$arch.log" 2>&1 ||
        { echo "test-bullseye: debootstrap failed, see $roots/$suite-$arch.log" >&2; return 1; }
    echo "deb $mirror $suite main" >"$new/etc/apt/sources.list"
    cp /etc/resolv.conf "$new/etc/resolv.conf"
    mount_in "$new/proc" -t proc proc
    mapfile -t wanted_packages < <(packages)
    if ! run chroot "$new" env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin DEBIAN_FRONTEND=noninteractive sh -c '
            timeout 600 apt-get update -qq &&
            timeout 1800 apt-get install -y -qq --no-install-recommends "$@" &&
            apt-get clean' sh "${wanted_packages[@]}" >>"$roots/$suite-$arch.log" 2>&1; then
        echo "test-bullseye: installing the packages failed, see $roots/$suite-$arch.log" >&2
        return 1
    fi
    unmount_all
    echo "$wanted" >"$new/.kyr-stamp"
    mv "$new" "$root"
}

mkdir -p "$roots"
# Exclusive while the root is checked or made, shared while it is used, so
# that concurrent runs share one root and none replaces it under another.
exec 9>"$roots/$suite-$arch.lock"
flock -x -w 3600 9
if [ "$(cat "$root/.kyr-stamp" 2>/dev/null)" != "$wanted" ]; then
    make_root
    stage_done "making the root"
else
    echo "test-bullseye: reusing the Debian 11 root in $root"
fi
flock -s 9

mkdir -p "$checkout/$build" "$root/src"
mount_in "$root/proc" -t proc proc
mount_in "$root/dev" --rbind /dev
mount_in "$root/tmp" -t tmpfs -o size=4g,mode=1777 tmpfs
mount_in "$root/src" --bind -o ro "$checkout"
mount_in "$root/src/$build" --bind "$checkout/$build"

# in_root COMMAND...: runs COMMAND in the root, with only loopback.
in_root() {
    run --net sh -c 'ip link set lo up && exec chroot "$0" "$@"' "$root" \
        env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/tmp LANG=C.UTF-8 PYTHONDONTWRITEBYTECODE=1 "$@"
}

echo "test-bullseye: $(in_root sh -c '. /etc/os-release; echo "$PRETTY_NAME, $(python3 -V), glibc $(ldd --version |
    sed -n "1s/.* //p"), Aravis $(pkg-config --modversion aravis-0.8), libavcodec $(pkg-config --modversion libavcodec)"')"
# The module and the scripted platform only (the platform tests and tools
# are Debian 12's); Debian 11 has no Qt 6, so the display and dialogs are
# built without a GUI.
in_root timeout 600 cmake -S /src -B "/src/$build" -DPython3_EXECUTABLE=/usr/bin/python3 -DKYR_GUI=OFF \
    --log-level=WARNING >/dev/null
in_root timeout 3600 cmake --build "/src/$build" -j "$jobs" --target module_real module_scripted
stage_done "building"
# The examples' type check is left out: it needs the type information of
# PyQt6 and numpy, and Debian 11 has no PyQt6 and an untyped numpy.
in_root sh -c 'cd /src && KYR_BUILD_DIR="/src/$0" timeout 1800 python3 -m pytest -q -p no:cacheprovider tests/binding \
    --deselect tests/binding/test_type_stubs.py::test_examples_type_check' "$build"
# The module on the real platform loads, and its display and dialogs fail as
# documented without a GUI.
in_root sh -c 'cd /src && KYR_BUILD_DIR="/src/$0" timeout 600 python3 -m pytest -q -p no:cacheprovider \
    tests/integration/test_real_module.py tests/integration/test_no_gui_build.py' "$build"
stage_done "the tests"
echo "test-bullseye: passed in $SECONDS s"
