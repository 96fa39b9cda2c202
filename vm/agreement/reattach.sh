#!/usr/bin/env bash
# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
# Puts the cover on and takes it off COUNT times, with a call of the cover and one of its panel each time. The service
# must have as many descriptors and threads at the last time as at the first. To be run by a phone without a cover:
#
#     bivista-emulator run --no-cover -- vm/agreement/reattach.sh COUNT [LOG]
#
# LOG: a file for the log of the service.
# REATTACH_PATIENCE: seconds that it waits for the service each time (120).
# Exit status: 0 it has, 1 it has not, or something else went wrong, 2 wrong usage.
set -euo pipefail
patience=${REATTACH_PATIENCE:-120}

if [ $# -lt 1 ] || [ $# -gt 2 ] || ! [[ $1 =~ ^[1-9][0-9]{0,5}$ ]]; then
    echo "usage: bivista-emulator run --no-cover -- vm/agreement/reattach.sh COUNT [LOG]" >&2
    exit 2
fi

vendor.qmx.hardware.bivista@1.1-service >"${2:-/dev/null}" 2>&1 &
service=$!

fail() { echo "reattach.sh: attachment $time: $*" >&2; exit 1; }
# footprint: how many descriptors and threads the service has.
footprint() {
    local descriptors threads
    descriptors=$(find "/proc/$service/fd" -mindepth 1 | wc -l)
    threads=$(find "/proc/$service/task" -mindepth 1 -maxdepth 1 | wc -l)
    echo "$descriptors descriptors, $threads threads"
}

for ((time = 1; time <= $1; time++)); do
    bivista-emulator ctl mark "$time"
    bivista-emulator ctl attach
    bivistactl wait --timeout $patience attached sub=ON || fail "the cover does not come up"
    bivistactl at 'AT%SWV' >/dev/null || fail "the cover does not answer"
    bivistactl sub brightness 90 >/dev/null || fail "the panel takes no brightness"
    now=$(footprint)
    first=${first:-$now}
    # A client that has ended is forgotten soon after its last call.
    for ((left = patience * 10; left > 0; left--)); do
        [ "$time" = "$1" ] && [ "$now" != "$first" ] || break
        sleep 0.1
        now=$(footprint)
    done
    bivista-emulator ctl detach
    bivistactl wait --timeout $patience detached sub=UNINITIALIZED || fail "the cover does not go"
done
echo "attachment 1: $first; attachment $1: $now"
[ "$now" = "$first" ]
