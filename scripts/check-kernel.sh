#!/usr/bin/env bash
# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
# Tests the kernel module. Plays the scenarios, the conformance suite and re-attachments on the emulated phone and on a
# real kernel, in a virtual machine, and compares the journals. Journals, logs and the table of the agreement are then in
# build/kernel/.
#
# usage: scripts/check-kernel.sh [--long]
#
# Exit status: 0 both agree, 1 they differ, 2 wrong usage, or something cannot be built; else that of vm/run.sh, which
# says what is wrong with the machine. With --long also 1 when a check of vm/long.sh fails.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
source scripts/common.sh

# Seconds for all that is done in the machine.
limit=900
case "$# $*" in
    '0 ') long=no ;;
    '1 --long') long=yes ;;
    *) fail "usage: scripts/check-kernel.sh [--long]" ;;
esac

build_for_machine
folder=build/kernel
rm -rf $folder
mkdir -p $folder/{emulated,kernel}
sockets=$(mktemp -d)
worlds=()
end() {
    for world in "${worlds[@]}"; do
        if kill "$world" 2>/dev/null; then wait "$world" || true; fi
    done
    rm -rf "$sockets"
}
trap end EXIT
trap 'exit 143' TERM

# The emulated phone waits most of the time, while the machine keeps the processors busy.
PATH=$PWD/build/release/bin:$PATH HIDL_SOCKET_DIR=$sockets vm/agreement/session.sh $folder/emulated \
    >$folder/emulated.log 2>&1 &
emulated=$!
worlds+=("$emulated")
# In the background, so that a signal need not wait for the machine.
started=$SECONDS
say "on a real kernel"
exec {log}> >(follow "on a real kernel" $folder/kernel.log)
follower=$!
vm/run.sh --out $folder/kernel --limit $limit -- \
    bash -c 'vm/module/module_test.py && vm/agreement/session.sh /out' >&"$log" 2>&1 &
machine=$!
worlds+=("$machine")
exec {log}>&-
status=0
wait "$machine" || status=$?
wait "$follower"
say "on a real kernel: $((SECONDS - started)) s"
grep -a -m1 '^vm/run.sh: Linux ' $folder/kernel.log || true
if [ $status != 0 ]; then
    tail -n 40 $folder/kernel.log
    say "the machine ended with status $status (whole output: $folder/kernel.log)"
    exit $status
fi
wait "$emulated" || { cat $folder/emulated.log; fail "nothing was played on the emulated phone"; }
worlds=()

status=0
vm/agreement/compare.py $folder/emulated $folder/kernel >$folder/agreement.txt || status=$?
cat $folder/agreement.txt
[ $status = 0 ] || exit $status
with_progress "how a machine ends" $folder/run_test.log python3 -B -m unittest vm/run_test.py ||
    { cat $folder/run_test.log; exit 1; }
[ $long = no ] || vm/long.sh
