#!/usr/bin/env bash
# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
# What a phone's build takes of this folder, as far as a host can check it: Android.bp files, VINTF and
# init files, frozen interfaces, the policy, and the device folders compiled for the phone's processor.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
source scripts/common.sh

outcome=0

mapfile -t blueprints < <(git ls-files '*Android.bp')
say "bpfmt: ${#blueprints[@]} files"
unformatted=$(bpfmt -l "${blueprints[@]}") || outcome=1
[ -z "$unformatted" ] || { say "not as bpfmt writes it: $unformatted"; outcome=1; }

say "names, versions, hashes, nodes and their owners"
(cd scripts && python3 -B -m unittest -q phone_test product_test versions_test) || outcome=1

# compile_policy: compiles our policy with the one of tests/sepolicy in the place of the platform's, for a
# product with the controller of the labels in accesses.txt.
compile_policy() {
    local own=service/sepolicy platform=tests/sepolicy
    mkdir -p build/sepolicy
    m4 -D bivista_usb_controller='/sys/devices/platform/soc/usb-host/xhci-hcd.*.auto' \
        $own/file_contexts >build/sepolicy/file_contexts || return 1
    {
        cat $platform/head.conf
        m4 $platform/macros.m4 $platform/platform.te $own/attributes $own/neighbours/attributes \
            $own/*.te $own/neighbours/*.te $platform/neighbours.te $platform/never.te
        cat $platform/tail.conf $own/genfs_contexts
    } >build/sepolicy/policy.conf
    checkpolicy -M -o build/sepolicy/policy build/sepolicy/policy.conf >build/sepolicy/log 2>&1 ||
        { cat build/sepolicy/log; return 1; }
}
say "checkpolicy"
# Debian's modules are those of Debian's python.
compile_policy &&
    /usr/bin/python3 -B scripts/policy.py build/sepolicy/policy tests/sepolicy/accesses.txt \
        build/sepolicy/file_contexts service/sepolicy/{property,hwservice}_contexts \
        service/sepolicy/neighbours/hwservice_contexts || outcome=1

build_preset phone
mapfile -t objects < <(find build/phone -name '*.o')
say "flags and symbols: ${#objects[@]} objects"
llvm-nm -A "${objects[@]}" |
    python3 -B scripts/objects.py build/phone/compile_commands.json || outcome=1

build_preset phone-cfi
llvm-nm -A build/phone-cfi/libbivista-phone.so |
    python3 -B scripts/objects.py build/phone-cfi/compile_commands.json --cfi || outcome=1

exit $outcome
