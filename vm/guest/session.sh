#!/usr/bin/env bash
# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
# What runs in the machine after init.sh: runs the caller's command. It is process 1, or the systemd of the machine's
# disk has started it.
set -uo pipefail
declare project folder
declare -a command
# run.sh's values.
source /run/vm/settings
# It leads to run.sh.
exec 3>/dev/ttyS1

# A folder of the host that is hidden by one of the machine's own, as below /tmp, is put there.
for path in "$project" "$folder"; do
    if [ ! -d "$path" ]; then
        mkdir -p "$path"
        mount --bind "/run/vm/host$path" "$path"
    fi
done

export PATH=/run/vm/bin:/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin
export HOME=/tmp LANG=C.UTF-8 HIDL_SOCKET_DIR=/run/hidl HOST_LOG_LEVEL=verbose VM_OUT=/out

# The port takes one writer, so the command writes into a pipe.
until [ -c /dev/vport0p1 ]; do sleep 0.02; done
exec {output}> >(exec cat >/dev/vport0p1)
copy=$!

mkdir /sys/fs/cgroup/command
echo up >&3
(
    echo "$BASHPID" >/sys/fs/cgroup/command/cgroup.procs
    cd "$folder" || exit
    exec setsid "${command[@]}" </dev/null >&"$output" 2>&1 3>&- {output}>&-
)
status=$?
exec {output}>&-
# What the command has left running must not hold its output.
echo 1 >/sys/fs/cgroup/command/cgroup.kill
wait $copy

if ! { head -c 4096 /dev/zero >/out/.room && rm /out/.room; } 2>/dev/null; then echo full >&3; fi
umount /out
echo "ended $status" >&3
exec sleep infinity
