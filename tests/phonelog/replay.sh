#!/usr/bin/env bash
# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
# Imports a phone's log, as it is and without its texts, and replays both to the service.
#
# usage: replay.sh EMULATOR SERVICE LOG
set -euo pipefail
emulator=$1 service=$2 log=$3

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
for option in "" --redact; do
    "$emulator" import $option -o "$work/recording.jsonl" "$log"
    "$emulator" replay "$work/recording.jsonl" --fast -- "$service"
done
