#!/bin/sh
# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
# The first program in the machine, run by busybox: loads the drivers, makes the machine's root folder of the host's or
# of its disk, and goes on there with session.sh.
PATH=/bin

# Hears of the machine on the other side of its second serial port, whose driver is there from the beginning: run.sh.
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
# own FOLDER MODE: mounts a folder of the machine's own.
own() { mount -t tmpfs -o "mode=$2" own "$1" || refuse "cannot mount $1"; }

# The host's root folder, read-only.
root_of_host() {
    # Mount points that the host lacks come from a folder above it.
    mkdir /own
    own /own 755
    mkdir -p /own/work /own/root/data /own/root/system_ext /own/root/out
    mount -t overlay -o lowerdir=/host,upperdir=/own/root,workdir=/own/work root /root || refuse "cannot mount /"
    own /root/tmp 1777
    own /root/var/tmp 1777
    own /root/data 755
    own /root/system_ext 755
    mount -o remount,ro /root
    own /root/run 755
    mkdir /root/run/hidl
}
# What systemd does on a disk.
prepare() {
    mkdir -p /dev/pts /dev/shm
    mount -t devpts -o ptmxmode=666 devpts /dev/pts
    own /dev/shm 1777
    ln -s /proc/self/fd /dev/fd
    ln -s /proc/self/fd/0 /dev/stdin
    ln -s /proc/self/fd/1 /dev/stdout
    ln -s /proc/self/fd/2 /dev/stderr
    mount -t debugfs debugfs /sys/kernel/debug
    mount -t cgroup2 cgroup /sys/fs/cgroup
    ip link set lo up
    hostname machine
}
# A disk, whose systemd starts session.sh.
root_of_disk() {
    local units=/root/run/systemd/system
    mount -t ext4 /dev/vda /root || refuse "cannot mount the disk"
    mkdir -p /root/out /root/lib/modules
    mount --bind "/host$(cat /modules)" /root/lib/modules || refuse "cannot mount the drivers"
    own /root/run 755
    mkdir -p $units/multi-user.target.wants
    cp /command.service $units/
    ln -s ../command.service $units/multi-user.target.wants/
}

# What has been read of the host's files is kept: they do not change while the machine runs, as far as it cares.
mkdir -p /host /root
share host /host ro,cache=loose
if [ -e /command.service ]; then
    root_of_disk
    first=/lib/systemd/systemd
else
    root_of_host
    prepare
    first="/bin/bash /run/vm/session.sh"
fi
# What is written there reaches the host at once, and an error the writer.
share out /root/out cache=mmap
cp -a /vm /root/run/vm
mkdir /root/run/vm/host
mount --move /host /root/run/vm/host
for folder in dev proc sys; do mount --move "/$folder" "/root/$folder"; done
# shellcheck disable=SC2086
exec switch_root /root $first
