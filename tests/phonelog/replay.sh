#!/usr/bin/env bash
# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
# Imports a phone's log, and replays it to the service: as it is; and damaged as a logger does it, without
# its texts.
#
# usage: replay.sh EMULATOR SERVICE LOG
set -euo pipefail
emulator=$1 service=$2 log=$3

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# What the log still tells otherwise: the word that ends an answer cut, two lines merged, an end and a vote's write
# dropped.
damage() {
    awk '/rd: \[OK\]/ { ends++; if (ends == 1) sub(/K\]$/, ""); if (ends == 3) next }
         /usbAutoSuspend: on/ && !writes++ { next }
         /wr: \[AT%/ && !merges++ { printf "%s", $0; next }
         { print }' "$log"
}

# Options of import, and the log.
check() {
    "$emulator" import -o "$work/recording.jsonl" "$@"
    "$emulator" replay "$work/recording.jsonl" --fast -- "$service"
}

check "$log"
damage > "$work/damaged.log"
if cmp -s "$log" "$work/damaged.log"; then
    echo "$log has nothing to damage" >&2
    exit 1
fi
check --redact "$work/damaged.log"
