#!/usr/bin/env bash
# Builds and runs every test. See --help.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")"
source scripts/common.sh

usage() {
    cat <<'HELP'
usage: ./test.sh [--tsan] [--arm64 [--yes]] [--package] [--only WORD] [--no-install] [--list]

Installs what is missing (Debian packages), then runs, in this order:
  style     layout of the sources, static checks, and our own linters
  g++       the device folders built by g++ too
  phone     what a phone's build takes; the device folders for its processor
  release   every test, optimised as on the phone
  package   the Debian package: what is in it, its unit, its udev rule
  mutation  seeded defects of the service, each of which the conformance suite must find
  tour      ./run.sh --tour, and its debug dump against what the emulated phone has recorded; the
            README's picture against a run
  asan      every test under AddressSanitizer and UndefinedBehaviorSanitizer
  tsan      the tests where threads meet under ThreadSanitizer
  documents every command of the documents

  --tsan        run all tests under ThreadSanitizer, and nothing else
  --arm64       build everything for 64-bit Arm, and run there, emulated, what enters no world of its
                own and starts no programs; and nothing else. Asks before it downloads libraries
  --yes         download them without asking
  --package     install the Debian package in a bare Debian below build/, run the service and call it
                there, remove it; and nothing else. Needs root (or sudo), and downloads that Debian once
  --only WORD   run one of the steps above, and nothing else
  --no-install  install nothing; fail where something is missing
  --list        name the steps that would run, and end
HELP
}

steps=(style g++ phone release package mutation tour asan tsan documents)
tsan_target=(threads_tests)
tsan_label=(-L threads)
arm64_libraries=()
install=yes
list=no
while [ $# -gt 0 ]; do
    case $1 in
        --help | -h) usage; exit 0 ;;
        --tsan) steps=(tsan); tsan_target=(); tsan_label=() ;;
        --arm64) steps=(arm64) ;;
        --package) steps=(clean-root) ;;
        --yes) arm64_libraries=(--yes) ;;
        --only)
            [ $# -ge 2 ] || fail "--only needs one of: ${steps[*]}"
            case " ${steps[*]} " in *" $2 "*) ;; *) fail "no step '$2'; the steps are: ${steps[*]}" ;; esac
            steps=("$2"); shift ;;
        --no-install) install=no ;;
        --list) list=yes ;;
        *) fail "unknown argument '$1'; see ./test.sh --help" ;;
    esac
    shift
done
if [ $list = yes ]; then printf '%s\n' "${steps[@]}"; exit 0; fi

# The benchmarks are built and checked like everything else.
kinds=(build test bench)
[ "${steps[*]}" != arm64 ] || kinds+=(arm64-tools)
[ "${steps[*]}" != clean-root ] || kinds+=(clean-root)
[ $install = no ] || install_packages "${kinds[@]}"
require_tools
require_world

run_step() {
    case $1 in
        style) scripts/check-style.sh ;;
        g++) scripts/check-gcc.sh ;;
        phone) scripts/check-phone.sh ;;
        release) build_preset release; run_ctest release ;;
        package) scripts/check-package.sh ;;
        clean-root) scripts/check-clean-root.sh ;;
        mutation) build_preset release; vts/mutate.py build/release ;;
        tour) play_tour && scripts/picture.py --check ;;
        asan) build_preset asan; run_ctest asan ;;
        tsan) build_preset tsan "${tsan_target[@]}"; run_ctest tsan "${tsan_label[@]}" ;;
        documents) scripts/check-documents.sh ;;
        arm64) arm64_sysroot && build_preset arm64 && run_ctest arm64 ;;
    esac
}

play_tour() {
    ./run.sh --tour --no-install >build/tour.log 2>&1 || { cat build/tour.log; return 1; }
    python3 scripts/counters.py build/run/{dump.json,journal.jsonl,service.log}
}

arm64_sysroot() {
    [ $install = yes ] || [ -f build/arm64-sysroot/.packages ] ||
        fail "no libraries for 64-bit Arm in build/arm64-sysroot; run without --no-install"
    scripts/arm64-sysroot.sh "${arm64_libraries[@]}"
}

# Runs the tests of a preset; adds to the totals that the last line tells.
passed=0
failed=0
run_ctest() {
    local preset=$1 log=build/$1/ctest.log
    shift
    ctest --preset "$preset" "$@" --no-tests=error --output-on-failure 2>&1 | tee "$log" | grep -av -e ' Passed ' -e '^ *Start ' || true
    local total bad
    total=$(sed -n 's/.* tests failed out of \([0-9]*\)$/\1/p' "$log")
    bad=$(sed -n 's/.*, \([0-9]*\) tests failed out of .*/\1/p' "$log")
    [ -n "$total" ] || { say "ctest ran no test for preset $preset"; return 1; }
    passed=$((passed + total - bad))
    failed=$((failed + bad))
    [ "$bad" = 0 ]
}

outcome=0
for step in "${steps[@]}"; do
    say "== $step"
    started=$SECONDS
    run_step "$step" || { outcome=1; say "step '$step' failed"; }
    say "== $step: $((SECONDS - started)) s"
done
if [ $((passed + failed)) -gt 0 ]; then echo "$passed passed, $failed failed"; fi
exit $outcome
