#!/usr/bin/env bash
# Installs the Debian packages the project needs that are missing; quiet when
# nothing is missing. The packages are listed per area in scripts/packages/*.txt.
# Run as root (or with sudo available).
set -euo pipefail

cd "$(dirname "$0")"
mapfile -t packages < <(sed -e 's/#.*//' -e '/^[[:space:]]*$/d' packages/*.txt | sort -u)

missing=()
for package in "${packages[@]}"; do
    if [ "$(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null)" != "installed" ]; then
        missing+=("$package")
    fi
done
[ ${#missing[@]} -eq 0 ] && exit 0

sudo=()
[ "$(id -u)" -eq 0 ] || sudo=(sudo)
echo "deps: installing ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
"${sudo[@]}" apt-get update -qq
"${sudo[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
