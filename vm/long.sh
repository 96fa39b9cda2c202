#!/usr/bin/env bash
# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
# What ./test.sh --kernel --long has besides: the tests of the emulator on a real kernel; 100 re-attachments there; the
# conformance suite and 10 re-attachments, the service built with each sanitizer; the Debian package in a machine with
# systemd and udev.
#     vm/long.sh [PART...]      of: backend reattach debian asan tsan; all without
# Exit status: 0, 1 when a part has failed, 2 wrong arguments. Each part has its folder below build/kernel/long.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
source scripts/common.sh

folder=build/kernel/long
parts=("$@")
[ $# -gt 0 ] || parts=(backend reattach debian asan tsan)
for part in "${parts[@]}"; do
    case $part in
        backend | reattach | debian | asan | tsan) ;;
        *) fail "usage: vm/long.sh [backend|reattach|debian|asan|tsan]..." ;;
    esac
done

# What the machine runs.
service=vendor.qmx.hardware.bivista@1.1-service
suite="bivista-emulator run --journal /out/conformance.jsonl -- vm/agreement/conformance.sh /out/conformance.log"
reattach="bivista-emulator run --no-cover --journal /out/reattach.jsonl -- vm/agreement/reattach.sh"

# in_machine SECONDS COMMAND...: /out there is the part's folder.
in_machine() {
    local limit=$1
    shift
    build_for_machine
    vm/run.sh --out $folder/"$part" --limit "$limit" --memory 2048 -- "$@"
}

# The options of the tests with sanitizers, as NAME=VALUE; what is found goes to files.
sanitizer_options() {
    python3 -c '
import json
presets = json.load(open("CMakePresets.json"))["testPresets"]
for name, options in next(p for p in presets if p["name"] == "base")["environment"].items():
    print(f"{name}={options}:log_path=/out/found")'
}
sanitized() {
    local options found status=0
    mapfile -t options < <(sanitizer_options)
    build_preset "$part" bivista-service
    in_machine 3000 env "${options[@]}" REATTACH_PATIENCE=600 bash -euc "
        mkdir /run/sanitized
        ln -s '$PWD/build/$part/bin/$service' /run/sanitized
        PATH=/run/sanitized:\$PATH
        $suite
        $reattach 10 /out/reattach.log" || status=$?
    found=("$folder/$part"/found.*)
    [ ! -e "${found[0]}" ] || { head -n 60 "${found[0]}"; status=1; }
    return $status
}

run_part() {
    case $part in
        backend) in_machine 1200 vm/backend/backend_test.py ;;
        reattach) in_machine 2400 bash -c "$reattach 100 /out/reattach.log" ;;
        asan | tsan) sanitized ;;
        debian) vm/debian/check.sh ;;
    esac
}

failed=()
for part in "${parts[@]}"; do
    rm -rf "${folder:?}/$part"
    mkdir -p "$folder/$part"
    # After || the shell would run on after a failure.
    set +e
    (set -e; run_part) > >(tee "$folder/$part/output.log") 2>&1
    status=$?
    set -e
    [ $status = 0 ] || failed+=("$part")
    say "$part: $([ $status = 0 ] && echo passed || echo "failed with status $status"), $SECONDS s"
    SECONDS=0
done
[ ${#failed[@]} = 0 ] || { say "failed: ${failed[*]}"; exit 1; }
