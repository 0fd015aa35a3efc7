#!/bin/sh
# Runs a command in a network namespace of its own with only loopback up, so
# that camera discovery sees none of the host's adapters; unshare -n needs
# root. Without root the command runs as it is, after saying that discovery
# will probe every adapter. Usage: private_network.sh NAME COMMAND [ARG...]
set -eu
name=$1
shift
if [ "$(id -u)" -eq 0 ]; then
    echo "$name: in a network namespace of its own, with only loopback"
    exec unshare -n sh -c 'ip link set lo up && exec "$@"' sh "$@"
fi
echo "$name: not root, so no private network namespace: camera discovery will probe every network adapter" >&2
exec "$@"
