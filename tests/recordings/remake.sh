#!/usr/bin/env bash
# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
# Makes the kept recordings anew, by playing their scenarios: after a change of the emulator, or one of the
# service that is meant.
#
# usage: tests/recordings/remake.sh [BUILD_FOLDER]
set -euo pipefail
cd "$(dirname "$0")/../.."
emulator=${1:-build/release}/bin/bivista-emulator

scenarios=(brightness cover-in-error full-queue off-and-on pen-modes recovery refused-colour screen
           screen-never-up slow-cover unplugged-in-frame upgrade wake-gesture)

files=("${scenarios[@]/#/scenarios/}")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
"$emulator" play --keep "$work" "${files[@]/%/.yaml}"
for name in "${scenarios[@]}"; do
    mv "$work/$name.jsonl" tests/recordings/
done
