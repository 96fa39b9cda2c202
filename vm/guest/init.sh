#!/bin/sh
# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
# The first program in the machine, run by busybox: loads the drivers, and makes the host's root folder, read-only,
# the machine's own.
PATH=/bin

# run.sh hears of the machine on its second serial port, which needs no driver that has to be loaded.
mount -t devtmpfs dev /dev
mount -t proc proc /proc
mount -t sysfs sys /sys
exec 3>/dev/ttyS1
stty -F /dev/ttyS1 -opost
echo alive >&3

refuse() {
    echo "refused $*" >&3
    exec sleep 2147483647
}

while read -r driver; do
    insmod "/drivers/$driver" 2>/insmod.err || refuse "the driver $driver does not load: $(tail -n 1 /insmod.err)"
done </drivers/order

# share TAG FOLDER OPTIONS: mounts a folder of the host.
share() { mount -t 9p -o "trans=virtio,version=9p2000.L,msize=512000,$3" "$1" "$2" || refuse "cannot mount $1"; }

# The host's files do not change while the machine runs, as far as it cares: the kernel may keep what it has read.
mkdir -p /host /own /root
share host /host ro,cache=loose
# Mount points that the host lacks stand in a folder of our own above it.
mount -t tmpfs own /own
mkdir -p /own/work /own/root/data /own/root/system_ext /own/root/out
mount -t overlay -o lowerdir=/host,upperdir=/own/root,workdir=/own/work root /root || refuse "cannot mount the root folder"
for folder in run tmp var/tmp data system_ext; do
    mount -t tmpfs -o mode=755 "$folder" "/root/$folder" || refuse "cannot mount /$folder"
done
chmod 1777 /root/tmp /root/var/tmp
# Writes reach the host at once, and its errors the writer.
share out /root/out cache=mmap
mount -o remount,ro /root
mkdir /root/run/vm
cp /session.sh /settings /root/run/vm/
for folder in dev proc sys; do mount --move "/$folder" "/root/$folder"; done
mkdir /root/run/vm/host
mount --move /host /root/run/vm/host
exec switch_root /root /bin/bash /run/vm/session.sh
