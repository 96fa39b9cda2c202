#!/usr/bin/env bash
# What udev makes of a rule for an invented device on the USB bus. In a mount namespace of its own, so
# that the machine's devices, rules and udev have no part in it and see nothing of it.
#     scripts/udev-rule.sh RULE VENDOR PRODUCT
# For the device, its interface and the tty below it: one line each with name, ID_MM_DEVICE_IGNORE.
# Exits 1 when udev finds fault with the rule.
set -euo pipefail

if [ "${BIVISTA_UDEV_WORLD:-}" != yes ]; then
    BIVISTA_UDEV_WORLD=yes exec unshare --user --map-root-user --mount "$0" "$@"
fi
rule=$1 vendor=$2 product=$3

for folder in /sys /run; do mount -t tmpfs none $folder; done
rules=/run/only
mkdir $rules
cp "$rule" $rules/
for folder in /etc/udev/rules.d /usr/local/lib/udev/rules.d /usr/lib/udev/rules.d; do
    [ ! -d $folder ] || mount --bind $rules $folder
done

# device PATH SUBSYSTEM UEVENT: a device of the kernel's, and its place in its subsystem.
device() {
    local path=/sys/devices/$1 subsystem=$2
    mkdir -p "$path" /sys/bus/usb /sys/class/tty
    ln -s "$subsystem" "$path/subsystem"
    printf '%s\n' "$3" >"$path/uevent"
}
usb=pci0000:00/usb1/1-1
device $usb /sys/bus/usb DEVTYPE=usb_device
echo "$vendor" >"/sys/devices/$usb/idVendor"
echo "$product" >"/sys/devices/$usb/idProduct"
device $usb/1-1:1.0 /sys/bus/usb DEVTYPE=usb_interface
device $usb/1-1:1.0/tty/ttyACM0 /sys/class/tty ''

outcome=0
for path in $usb $usb/1-1:1.0 $usb/1-1:1.0/tty/ttyACM0; do
    SYSTEMD_DEVICE_VERIFY_SYSFS=0 udevadm test --action=add "/sys/devices/$path" \
        >/run/properties 2>/run/log || { cat /run/log; outcome=1; }
    if grep -i "${rule##*/}:.*\(invalid\|unknown\|fail\|ignor\)" /run/log; then outcome=1; fi
    echo "${path##*/} $(sed -n 's/^ID_MM_DEVICE_IGNORE=//p' /run/properties)"
done
exit $outcome
