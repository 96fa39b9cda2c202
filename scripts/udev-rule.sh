#!/usr/bin/env bash
# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
# Prints what udev makes of a rule for an invented USB device. A mount namespace hides the machine's own devices
# and rules.
#     scripts/udev-rule.sh RULE VENDOR PRODUCT
# For the device, its interface and the tty below it: one line each with name, ID_MM_DEVICE_IGNORE.
# Exits 1 when udev finds fault with the rule.
set -euo pipefail
[ "${BIVISTA_UDEV_WORLD:-}" = yes ] ||
    BIVISTA_UDEV_WORLD=yes exec unshare --user --map-root-user --mount "$0" "$@"

rules=/run/only
for folder in /sys /run; do mount -t tmpfs none $folder; done
mkdir $rules
cp "$1" $rules/
for folder in /etc/udev/rules.d /usr/local/lib/udev/rules.d /usr/lib/udev/rules.d; do
    [ ! -d $folder ] || mount --bind $rules $folder
done

usb=/sys/devices/pci0000:00/usb1/1-1
mkdir -p /sys/bus/usb /sys/class/tty $usb/1-1:1.0/tty/ttyACM0
echo DEVTYPE=usb_device >$usb/uevent
echo "$2" >$usb/idVendor
echo "$3" >$usb/idProduct
echo DEVTYPE=usb_interface >$usb/1-1:1.0/uevent
echo >$usb/1-1:1.0/tty/ttyACM0/uevent
ln -s /sys/bus/usb $usb/subsystem
ln -s /sys/bus/usb $usb/1-1:1.0/subsystem
ln -s /sys/class/tty $usb/1-1:1.0/tty/ttyACM0/subsystem

outcome=0
for path in $usb $usb/1-1:1.0 $usb/1-1:1.0/tty/ttyACM0; do
    SYSTEMD_DEVICE_VERIFY_SYSFS=0 udevadm test --action=add $path >/run/properties 2>/run/log ||
        { cat /run/log; outcome=1; }
    if grep -i "${1##*/}:.*\(invalid\|unknown\|fail\|ignor\)" /run/log; then outcome=1; fi
    echo "${path##*/} $(sed -n 's/^ID_MM_DEVICE_IGNORE=//p' /run/properties)"
done
exit $outcome
