# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
# Tries what the unit forbids and what it allows, as a process of root's without capabilities. Prints what is otherwise
# than it should be, and then exits with 1.
#     bash sandbox.sh unit [FILE]      in the unit: all is refused that should be; prints into FILE
#     bash sandbox.sh machine          outside: nothing is refused, so that each refusal is the unit's
set -uo pipefail
export LC_ALL=C.UTF-8
place=$1
[ $# = 1 ] || exec >"$2"
outcome=0

# refused ERROR WHAT COMMAND...: the command fails in the unit with this error, and succeeds outside.
refused() {
    local expected=$1 what=$2 error
    shift 2
    [ "$place" = unit ] || expected=
    if error=$("$@" 2>&1 >/dev/null); then error=; fi
    [ "${error##*: }" = "$expected" ] && return
    echo "$what: '${error##*: }' and not '$expected'"
    outcome=1
}
allowed() { refused '' "$@"; }

create() { (: >"$1") && rm "$1"; }
append() { (: >>"$1"); }
opens() { (: <"$1"); }
write_again() { cat "$1" >/run/hidl/text && cat /run/hidl/text >"$1"; }

for folder in /etc /usr /var/lib /run /run/lock /dev /dev/shm /boot; do
    refused 'Read-only file system' "create a file in $folder" create $folder/sandbox
done
allowed "create a file in /run/hidl" create /run/hidl/sandbox
allowed "create a file in /tmp" create /tmp/sandbox
refused 'No such file or directory' "see the machine's /tmp" ls /tmp/of-the-machine
refused 'Permission denied' "list /root" ls /root/.
refused 'No such file or directory' "see the machine's first process" ls -d /proc/1
refused 'No such file or directory' "see the machine's memory" opens /proc/meminfo
refused 'No such file or directory' "write /proc/sys" append /proc/sys/kernel/hostname
refused 'Read-only file system' "write a control group" append /sys/fs/cgroup/system.slice/cgroup.max.depth
refused 'Read-only file system' "write a driver's parameter" write_again /sys/module/printk/parameters/time
allowed "write usbhid's parameter" write_again /sys/module/usbhid/parameters/aes_mode
allowed "write the cover's power control" \
    write_again "$(readlink -f /sys/class/tty/ttyACM0/device/..)/power/control"
refused 'Operation not permitted' "open the disk" opens /dev/vda
refused 'Operation not permitted' "open the serial console" opens /dev/ttyS0
allowed "open the cover's tty" opens /dev/ttyACM0
allowed "open the cover's panel" opens /dev/hidraw0
allowed "write the kernel's log" append /dev/kmsg
refused 'Operation not permitted' "make a name space" unshare --user true
refused 'Operation not permitted' "let a program run as its owner" \
    bash -c 'touch /run/hidl/program && chmod u+s /run/hidl/program'
refused 'Operation not permitted' "take another personality" setarch i386 true
refused 'Operation not permitted' "choose a processor" taskset -c 0 true
# shellcheck disable=SC2016
refused 'Operation not permitted' "map memory to write and to execute" \
    perl -e 'exit(syscall(9, 0, 4096, 7, 0x22, -1, 0) == -1 and print STDERR "$!\n")'
refused 'Address family not supported by protocol' "open an internet socket" \
    perl -MSocket -e 'socket(my $s, AF_INET, SOCK_DGRAM, 0) or die "$!\n"'
exit $outcome
