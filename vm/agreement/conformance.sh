#!/usr/bin/env bash
# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
# The conformance suite on a phone with a cover, one group of tests after the other; the journal has a mark before each.
# To be run by the phone:
#
#     bivista-emulator run -- vm/agreement/conformance.sh [LOG]
#
# LOG: a file for the log of the service. Exit status: 0 all passed, 1 a test failed, or none was found.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."
build=$(dirname "$(dirname "$(readlink -f "$(command -v bivista-vts)")")")
outcome=0

vendor.qmx.hardware.bivista@1.1-service >"${1:-/dev/null}" 2>&1 &
bivista-emulator ctl firmware put BV330-V10k_20210312.dfu

# settle: waits until the cover is up, and the service has withdrawn its vote for the last answer.
settle() {
    local control=/sys/devices/platform/soc/usb1/1-1/power/control left
    bivistactl wait --timeout 120 attached sub=ON
    for ((left = 1200; left > 0; left--)); do
        # A kernel's file ends with a line end.
        [[ $(bivista-emulator ctl node $control) != auto* ]] || return 0
        sleep 0.1
    done
    echo "conformance.sh: the service keeps its vote for the cover" >&2
    return 1
}

# The suite has tests for each service that is registered: one that is slow must be there first.
settle
# The tests of LoaderTest leave the cover in its loader.
mapfile -t groups < <(bivista-vts --gtest_list_tests | sed -n 's,^PerInstance/\(.*\)\.$,\1,p' | grep -v LoaderTest)
[ ${#groups[@]} -gt 0 ] || { echo "conformance.sh: the suite has no tests" >&2; exit 1; }
for group in "${groups[@]}"; do
    bivista-emulator ctl mark "$group"
    vts/emulated.sh "$build" --with=cover,panel,nodes,accessory,image --allow-loader --gtest_filter="*/$group.*" ||
        outcome=1
    settle
done
exit $outcome
