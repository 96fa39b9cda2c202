# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
# In the Debian machine, as root, with the project as folder: checks the package with a cover that is plugged in and
# pulled off. Prints a line for each check, and ends with the first that fails.
set -euo pipefail
source scripts/bare-debian.sh

checking=starting
check() {
    checking=$1
    shift
    "$@"
    printf 'ok: %s\n' "$checking"
}
tell() {
    [ $? != 0 ] || return 0
    printf 'FAILED: %s\n' "$checking"
    systemctl status --no-pager --lines=20 bivista || true
    tail -n 20 /run/apt.log /run/cover.log || true
}
trap tell EXIT
# same EXPECTED FOUND
same() {
    [ "$1" != "$2" ] || return 0
    diff <(printf '%s\n' "$1") <(printf '%s\n' "$2") || true
    return 1
}
# until_so COMMAND...: waits until a command succeeds.
until_so() { until "$@" >/dev/null 2>&1; do sleep 0.1; done; }

# The cover
emulator=$PWD/build/release/bin/bivista-emulator-kernel
cover() { HIDL_SOCKET_DIR=/run/cover "$emulator" ctl "$@"; }
start_cover() {
    local folder
    # The phone's, of which a plain machine has none.
    for folder in /data /system_ext; do
        mkdir $folder
        mount -t tmpfs cover $folder
    done
    mkdir /run/cover
    HIDL_SOCKET_DIR=/run/cover "$emulator" run --no-cover -- sleep infinity >/run/cover.log 2>&1 &
    until cover show >/dev/null 2>&1; do
        kill -0 $!
        sleep 0.1
    done
}
plug() {
    cover attach
    udevadm settle
}
pull() {
    cover detach
    udevadm settle
}
frames() { cover journal --kind frame --format lines | wc -l; }
has_drawn_more_than() { [ "$(frames)" -gt "$1" ]; }

# serves: a call reaches the cover, and another one its panel.
serves() {
    local drawn
    bivistactl wait attached sub=ON --timeout 120
    same '{"method":"sendAtCommand","status":"OK","value":"BV330-V10k_20210312"}' \
        "$(bivistactl call sendAtCommand AT%SWV null)"
    drawn=$(frames)
    bivistactl sub test-pattern
    until_so has_drawn_more_than "$drawn"
}

# The package
install_package() {
    apt-get install -q -y --no-install-recommends /root/bivista.deb >/run/apt.log 2>&1
    same 'install ok installed' "$(dpkg-query -W -f '${Status}' bivista)"
    same disabled "$(systemctl is-enabled bivista || true)"
    same inactive "$(systemctl is-active bivista || true)"
}
purge() {
    dpkg --purge bivista >/run/apt.log 2>&1
    is_not_running
    inventory / >/run/after
    diff /run/before /run/after
    same '' "$(systemctl list-unit-files --no-legend 'bivista*')"
}
enable() {
    systemctl --quiet enable --now bivista
    same enabled "$(systemctl is-enabled bivista)"
    same active "$(systemctl is-active bivista)"
}
service() { systemctl show --property "$1" --value bivista; }

# permissions MARK: the nodes are root's, and udev has marked them for modem daemons, or not.
permissions() {
    local usb node
    usb=$(readlink -f /sys/class/tty/ttyACM0/device/..)
    node=$(printf '/dev/bus/usb/%03d/%03d' "$(cat "$usb/busnum")" "$(cat "$usb/devnum")")
    same 'crw-rw---- root:dialout' "$(stat -c '%A %U:%G' /dev/ttyACM0)"
    same 'crw------- root:root' "$(stat -c '%A %U:%G' /dev/hidraw0)"
    same 'crw-rw-r-- root:root' "$(stat -c '%A %U:%G' "$node")"
    for node in /dev/ttyACM0 /dev/hidraw0 "$node"; do
        same "$1" "$(udevadm info --query=property --property=ID_MM_DEVICE_IGNORE --value "$node")"
    done
}
trigger() {
    udevadm trigger
    udevadm settle
    permissions 1
}

# The unit
# process_rights PID: the process and its threads have no capability, can get none, and are filtered.
process_rights() {
    local status
    for status in /proc/"$1"/task/*/status; do
        same $'CapInh\t0\nCapPrm\t0\nCapEff\t0\nCapBnd\t0\nCapAmb\t0\nNoNewPrivs\t1\nSeccomp\t2' \
            "$(sed -n 's/^\(Cap...\|NoNewPrivs\|Seccomp\):\t0*\([0-9a-f]\)$/\1\t\2/p' "$status")"
    done
    [ "$(readlink "/proc/$1/ns/net")" != "$(readlink /proc/self/ns/net)" ]
    [ "$(readlink "/proc/$1/ns/mnt")" != "$(readlink /proc/self/ns/mnt)" ]
    same 0::/system.slice/bivista.service "$(cat "/proc/$1/cgroup")"
}
# settings: systemd has each plain setting of the unit.
settings() {
    local key value
    while IFS='=' read -r key value; do
        same "$key=$value" "$key=$(service "$key")"
    done < <(grep -E '^[A-Z][A-Za-z]*=(yes|no|strict|closed|ptraceable|pid|private|0077)$' \
        /usr/lib/systemd/system/bivista.service)
}
exposure() {
    local documented
    documented=$(sed -n 's/.*scores the unit \([0-9.]*\) .*/\1/p' /usr/share/doc/bivista/docs/linux.md)
    systemd-analyze security --no-pager bivista >/run/exposure
    tail -n 1 /run/exposure
    grep -q "Overall exposure level for bivista.service: $documented " /run/exposure
}
# Outside of the unit nothing is refused, or its refusals would say nothing.
in_machine() {
    mkdir /run/hidl
    setpriv --no-new-privs --bounding-set=-all --inh-caps=-all bash /run/sandbox.sh machine
    rm -r /run/hidl
}
# A program that systemd starts beside the service, with its rights.
in_unit() {
    local drop_in=/run/systemd/system/bivista.service.d
    mkdir -p $drop_in
    printf '[Service]\nExecStartPost=-/bin/bash /run/sandbox.sh unit /run/hidl/report\n' >$drop_in/sandbox.conf
    systemctl daemon-reload
    systemctl restart bivista
    rm -r $drop_in
    systemctl daemon-reload
    same '' "$(cat /run/hidl/report)"
}
# The service's own mounts.
in_its_mounts() {
    # shellcheck disable=SC2016
    nsenter --target "$(service MainPID)" --mount bash -c '
        for folder in /etc /usr /var/lib /run /dev /boot; do
            if (: >"$folder/sandbox") 2>/dev/null; then echo "it can write in $folder"; exit 1; fi
        done
        : >/run/hidl/sandbox && rm /run/hidl/sandbox'
}

# Life
reattachments() {
    local count
    for ((count = 1; count <= 15; count++)); do
        pull
        bivistactl wait detached --timeout 120
        plug
        permissions 1
        serves
    done
}
descriptors() { find "/proc/$(service MainPID)/fd" -type l | wc -l; }
plugs_and_serves() {
    same '{"method":"getBV2Connect","value":false}' "$(bivistactl call getBV2Connect)"
    plug
    permissions 1
    serves
}
survives_a_kill() {
    local killed
    killed=$(service MainPID)
    kill -KILL "$killed"
    while [ -e "/proc/$killed" ]; do sleep 0.1; done
    serves
    same 1 "$(service NRestarts)"
    process_rights "$(service MainPID)"
}
is_not_running() {
    same '' "$(find /proc/[0-9]*/exe -lname '*/vendor.qmx.hardware.bivista*' 2>/dev/null || true)"
    same '' "$(grep /run/hidl /proc/net/unix || true)"
    same '' "$(find /run/hidl /tmp/systemd-private-*-bivista.service-* /sys/fs/cgroup/system.slice/bivista.service \
        -maxdepth 0 2>/dev/null || true)"
}
stop() {
    systemctl stop bivista
    same inactive "$(systemctl is-active bivista || true)"
    same success "$(service Result)"
    is_not_running
}

cp vm/debian/sandbox.sh /run/
touch /tmp/of-the-machine
checking="a cover is plugged in"
start_cover
inventory / >/run/before
plug
check "the package installs while a cover is plugged in" install_package
check "udevadm trigger marks the nodes of a cover that was there before" trigger
check "outside of the unit nothing is refused" in_machine
check "the service starts with the cover plugged in" enable
check "calls reach the cover and its panel" serves
check "systemd has the unit's settings" settings
check "the unit's exposure is as documented" exposure
check "the process has no rights" process_rights "$(service MainPID)"
check "its mounts are read-only" in_its_mounts
check "in the unit all is refused that should be" in_unit
check "calls reach the cover and its panel after a restart" serves
check "a stop leaves nothing" stop
check "purging leaves nothing" purge

pull
check "the package installs without a cover" install_package
check "the service starts without a cover" enable
check "a cover that is plugged in then is served" plugs_and_serves
open=$(descriptors)
check "15 re-attachments, each with calls that reach the cover and its panel, and the nodes' permissions" reattachments
check "it holds as many descriptors as before" same "$open" "$(descriptors)"
check "systemd restarts a service that was killed, and it serves" survives_a_kill
check "purging a running service leaves nothing" purge
