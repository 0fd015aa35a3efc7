#!/usr/bin/env bash
# Makes the arm64 Debian 12 root that `make test-arm64` cross-builds against
# and runs its tests in under qemu-user: scripts/roots/arm64.sh ROOT
#
# apt resolves the packages of scripts/roots/arm64.txt for arm64 in a private
# state directory (the host's apt configuration and dpkg database are left
# alone) and downloads them from deb.debian.org; dpkg-deb unpacks them into the
# root. Nothing in the root is executed and nothing is mounted, so no binfmt
# handler and no chroot are needed: a fresh CI machine only needs this script,
# apt and the mirror. Maintainer scripts do not run; the two things they would
# have done that the tests need are redone here (the BLAS and LAPACK
# alternatives numpy loads, and absolute symbolic links, which must stay
# inside the root for the cross linker and for qemu's -L prefix).
#
# The root is reused while its stamp matches the hash of the package list and
# of this script; otherwise it is made again beside the old one and swapped in
# whole, so an interrupted run never leaves a half-made root in use.
set -euo pipefail

root=${1:?usage: arm64.sh ROOT}
here=$(cd "$(dirname "$0")" && pwd)
list=$here/arm64.txt
stamp=$(cat "$list" "$0" | sha256sum | cut -d' ' -f1)

mkdir -p "$(dirname "$root")"
# Several checkouts on one machine share the root: one maker at a time.
exec 9>"$root.lock"
flock -w 3600 9

if [ "$(cat "$root/.kyr-root-stamp" 2>/dev/null)" = "$stamp" ]; then
    echo "arm64 root: reusing $root"
    exit 0
fi

work=$root.new
rm -rf "$work"
mkdir -p "$work/apt/state/lists/partial" "$work/apt/archives/partial" "$work/apt/etc/parts" "$work/root"
trap 'rm -rf "$work"' EXIT
: >"$work/apt/state/status"
keyring=/usr/share/keyrings/debian-archive-keyring.gpg
cat >"$work/apt/etc/sources.list" <<EOF
deb [signed-by=$keyring] http://deb.debian.org/debian bookworm main
deb [signed-by=$keyring] http://deb.debian.org/debian bookworm-updates main
deb [signed-by=$keyring] http://deb.debian.org/debian-security bookworm-security main
EOF
apt_options=(
    -o "Dir::State=$work/apt/state" -o "Dir::State::status=$work/apt/state/status"
    -o "Dir::Cache=$work/apt" -o "Dir::Cache::archives=$work/apt/archives"
    -o "Dir::Etc::sourcelist=$work/apt/etc/sources.list" -o "Dir::Etc::sourceparts=$work/apt/etc/parts"
    -o "Dir::Etc::preferencesparts=$work/apt/etc/parts"
    -o APT::Architecture=arm64 -o APT::Architectures::=arm64 -o APT::Install-Recommends=false
    -o Debug::NoLocking=1 -o Acquire::http::Timeout=60 -o Acquire::Retries=3
)
mapfile -t packages < <(sed -e 's/#.*//' -e '/^[[:space:]]*$/d' "$list")

echo "arm64 root: downloading ${#packages[@]} packages and their dependencies"
apt-get "${apt_options[@]}" -qq update
apt-get "${apt_options[@]}" -qq -y --download-only install "${packages[@]}" >/dev/null

debs=("$work"/apt/archives/*.deb)
echo "arm64 root: unpacking ${#debs[@]} packages ($(du -sh "$work/apt/archives" | cut -f1))"
for deb in "${debs[@]}"; do
    dpkg-deb -x "$deb" "$work/root"
done

cd "$work/root"
# Absolute links would leave the root: point them at the same file relative
# to the link, as the file lives inside the root.
find . -type l -lname '/*' -print0 | while IFS= read -r -d '' link; do
    target=$(readlink "$link")
    ln -sfn "$(realpath -m --relative-to="$(dirname "${link#.}")" "$target")" "$link"
done
# The reference BLAS and LAPACK, which numpy's dependencies resolve to, are
# reached through alternatives that libblas3's and liblapack3's postinst set.
triplet=usr/lib/aarch64-linux-gnu
for name in blas lapack; do
    ln -sfn "$name/lib$name.so.3" "$triplet/lib$name.so.3"
done
# qemu's -L prefix falls back to the host's own file for any path missing in
# the root: an empty site directory keeps the host's /usr/local Python
# packages out of the arm64 interpreter.
mkdir -p usr/local/lib/python3.11/dist-packages
cd - >/dev/null

echo "$stamp" >"$work/root/.kyr-root-stamp"
rm -rf "$root.old"
[ ! -e "$root" ] || mv "$root" "$root.old"
mv "$work/root" "$root"
rm -rf "$root.old"
echo "arm64 root: made $root"
