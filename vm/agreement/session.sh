#!/usr/bin/env bash
# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
# Does all that the worlds are compared by, in the world in which it runs: the programs on the PATH are of that world.
#
# usage: vm/agreement/session.sh FOLDER [COUNT]
#
# FOLDER gets, of each scenario, of the conformance suite and of COUNT re-attachments (10): NAME.jsonl, the journal;
# NAME.log, the log of the service; NAME.out, what was printed; NAME.status, the exit status where it is not 0. Of the
# probe: probe.txt, what it printed.
# Exit status: 0 all was done, whatever came of it, 2 wrong usage, or a program is missing.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."
if [ $# -lt 1 ] || [ $# -gt 2 ] || ! [[ ${2:-10} =~ ^[1-9][0-9]{0,5}$ ]] || ! [ -d "$1" ]; then
    echo "usage: vm/agreement/session.sh FOLDER [COUNT]" >&2
    exit 2
fi
for program in bivista-emulator bivistactl bivista-vts vendor.qmx.hardware.bivista@1.1-service; do
    command -v "$program" >/dev/null || { echo "session.sh: $program is not on the PATH" >&2; exit 2; }
done
out=$1
scenarios=(scenarios/*.yaml)
done=0

# take NAME COMMAND...
take() {
    local name=$1
    shift
    "$@" >"$out/$name.out" 2>&1 || echo $? >"$out/$name.status"
    done=$((done + 1))
    echo "[$done/$((${#scenarios[@]} + 3))] $name"
}

for scenario in "${scenarios[@]}"; do
    take "$(basename "$scenario" .yaml)" bivista-emulator play --keep "$out" "$scenario"
done
probe() { bivista-emulator run --no-cover -- vm/agreement/probe.py >"$out/probe.txt"; }
take probe probe
take conformance bivista-emulator run --journal "$out/conformance.jsonl" -- \
    vm/agreement/conformance.sh "$out/conformance.log"
take reattach bivista-emulator run --no-cover --journal "$out/reattach.jsonl" -- \
    vm/agreement/reattach.sh "${2:-10}" "$out/reattach.log"
