#!/usr/bin/env bash
# ./run.sh: its tour, whose debug dump is held against what the emulated phone has recorded; how a person and
# a second one meet it; the README's picture against a run.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
source scripts/common.sh

with_progress "./run.sh --tour" build/tour.log ./run.sh --tour --no-install || { cat build/tour.log; exit 1; }
folder=$(sed -n 's#.* \(build/run/[0-9-]*\)/service.log .*#\1#p' build/tour.log)
python3 -B scripts/counters.py "$folder"/{dump.json,journal.jsonl,service.log}
with_progress "./run.sh on a terminal, and two at a time" build/tour-check.log python3 -B scripts/tour.py ||
    { cat build/tour-check.log; exit 1; }
with_progress "the README's picture" build/picture.log scripts/picture.py --check ||
    { cat build/picture.log; exit 1; }
