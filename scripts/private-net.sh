#!/usr/bin/env bash
# Runs a command in a private network namespace where only loopback is up, so that
# nothing it sends leaves the machine: listing cameras broadcasts network discovery on
# every interface. Namespaces the command makes for emulated network cameras nest inside.
#
#   scripts/private-net.sh COMMAND [ARGS...]
set -euo pipefail
as_root=()
[[ $(id -u) -eq 0 ]] || as_root=(--map-root-user)  # a user namespace gives a non-root user the rights
exec unshare --net "${as_root[@]}" -- sh -c 'ip link set lo up && exec "$@"' private-net "$@"
