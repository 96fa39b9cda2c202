#!/usr/bin/env bash
# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
# What runs in the machine after init.sh, as process 1 and with the host's programs: runs the caller's command.
# Descriptor 3 leads to run.sh.
set -uo pipefail
# From run.sh: $project, $folder, $preset, $command.
source /run/vm/settings

mkdir -p /dev/pts /dev/shm /run/hidl /run/vm/bin
mount -t devpts -o ptmxmode=666 devpts /dev/pts
mount -t tmpfs shm /dev/shm
mount -t debugfs debugfs /sys/kernel/debug
mount -t cgroup2 cgroup /sys/fs/cgroup
ln -s /proc/self/fd /dev/fd
ln -s /proc/self/fd/0 /dev/stdin
ln -s /proc/self/fd/1 /dev/stdout
ln -s /proc/self/fd/2 /dev/stderr
busybox ip link set lo up
busybox hostname machine

# A folder below one of the machine's own is put there.
for path in "$project" "$folder"; do
    if [ ! -d "$path" ]; then
        mkdir -p "$path"
        mount --bind "/run/vm/host$path" "$path"
    fi
done

for program in bivistactl bivista-vts vendor.qmx.hardware.bivista@1.1-service; do
    ln -s "$project/build/$preset/bin/$program" /run/vm/bin/
done
ln -s "$project/build/$preset/bin/bivista-emulator-kernel" /run/vm/bin/bivista-emulator
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
# What the command has left behind must not hold its output.
echo 1 >/sys/fs/cgroup/command/cgroup.kill
wait $copy

if ! { head -c 4096 /dev/zero >/out/.room && rm /out/.room; } 2>/dev/null; then echo full >&3; fi
sync
umount /out
echo "ended $status" >&3
exec sleep infinity
