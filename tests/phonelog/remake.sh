#!/usr/bin/env bash
# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
# Makes the kept logs anew, by playing their scenarios and rewriting what the service logs as a phone has it.
#
# usage: tests/phonelog/remake.sh [BUILD_FOLDER]
set -euo pipefail
cd "$(dirname "$0")/../.."
emulator=${1:-build/release}/bin/bivista-emulator

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
"$emulator" play --keep "$work" tests/phonelog/{upgrade-done,upgrade-cancelled,recovery}.yaml

rewrite() {
    local name=$1
    shift
    python3 tests/phonelog/rewrite.py "$@" < "$work/$name.log" > "tests/phonelog/$name-rewritten.log"
}
rewrite upgrade-done
# Rotated within the attachment, while the screen is on; and the a question to the cover is dropped.
rewrite upgrade-cancelled --rotate "cmd:[AT%DB=90]" \
    --expire "sendAtCommand: AT%SERIAL" "suspend:1 vote:1"
rewrite recovery
# The journals of the same runs, which the tests compare imports with.
mv "$work"/{upgrade-done,recovery}.jsonl tests/phonelog/
