#!/bin/sh
# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
# The conformance suite against the emulated phone, with a command for all that only a phone can do.
# usage: vts/emulated.sh BUILD_FOLDER [OPTION]...
set -eu
bin=$(cd "$1/bin" && pwd)
shift
ctl="'$bin/bivista-emulator' ctl"
event="change@/devices/virtual/bivista/bv2\\x00SUBSYSTEM=QMX_BV2\\x00TOUCH_GESTURE_WAKEUP=\$1\\x00"
exec "$bin/bivista-vts" --with=dump,plugging,events,silence,hangup \
    --attach-command="$ctl attach" --detach-command="$ctl detach" \
    --event-command="$ctl uevent \"$event\"" \
    --silence-command="$ctl fault 'on AT%SWV silent times 1'" \
    --hangup-command="$ctl fault \"on \\\"\${1:-AT%SWV}\\\" hangup after 5 times 1\"" "$@"
