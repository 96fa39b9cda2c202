#!/usr/bin/env bash
# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
# Measures the service against references in one run; prints a table and writes bench/results.json.
# Exits 1 when a ratio is above its limit. Usage: bench/run.sh [WORD...] [--list] runs only these
# benchmarks: at, brightness, hidl, history, idle, sub, uevent, ui. --list names those that would run, and ends.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
source scripts/common.sh

list=no
wanted=()
for word in "$@"; do
    if [ "$word" = --list ]; then list=yes; else wanted+=("$word"); fi
done
[ ${#wanted[@]} -gt 0 ] || wanted=(at brightness hidl history idle sub uevent ui)
for word in "${wanted[@]}"; do
    case $word in
        at | brightness | hidl | history | idle | sub | uevent | ui) ;;
        *) fail "no benchmark '$word'; there are: at, brightness, hidl, history, idle, sub, uevent, ui" ;;
    esac
done
if [ $list = yes ]; then printf '%s\n' "${wanted[@]}"; exit 0; fi

install_packages build bench
require_tools
require_world
targets=(bivista-service)
for word in "${wanted[@]}"; do
    case $word in
        history) targets+=(bivista-emulator bivistactl) ;;
        *) targets+=("bench_$word") ;;
    esac
    case $word in
        idle) targets+=(bench_idle_reference) ;;
        sub) targets+=(bench_frames bench_bare_frames) ;;
        ui) targets+=(bivista-emulator) ;;
    esac
done
build_preset release "${targets[@]}"

bin=build/release/bin
service=$PWD/$bin/vendor.qmx.hardware.bivista@1.1-service
for word in "${wanted[@]}"; do
    say "measuring: $word" >&2
    case $word in
        history) python3 -B bench/history/instructions.py "$service" ;;
        idle) $bin/bench_idle "$service" $bin/bench_idle_reference ;;
        sub)
            $bin/bench_sub
            $bin/bench_frames "$service" "$PWD/$bin/bench_bare_frames"
            python3 -B bench/sub/arm_loop.py ;;
        uevent) $bin/bench_uevent "$service" ;;
        ui) $bin/bench_ui $bin/bivista-emulator ;;
        *) "$bin/bench_$word" ;;
    esac
done | python3 -B bench/table.py bench/results.json
