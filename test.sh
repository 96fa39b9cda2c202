#!/usr/bin/env bash
# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
# Builds and runs the tests. See --help.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")"
source scripts/common.sh
# A step that is interrupted is not one that has failed.
trap 'exit 130' INT

# In the order in which they run.
every_step() {
    cat <<'STEPS'
style      quick  layout of the sources, our own linters, the tests of the scripts
tidy       all    static checks by clang-tidy, and of the device folders by g++
phone      all    what a phone's build takes; the device folders for its processor
release    quick  every test, optimised as on the phone
package    all    the Debian packages: what is in them, lintian, unit, udev rule; the examples, built with them
mutation   all    seeded defects of the service, which the conformance suite and the kept recordings must find
tour       quick  ./run.sh: its tour, on a terminal too, and a second one beside it
browser    all    the page of the emulated cover in Chromium, and its accessibility; screenshots
kernel     all    the service on a real kernel, in a virtual machine: as on the emulated phone
asan       all    every test under AddressSanitizer and UndefinedBehaviorSanitizer
tsan       all    the tests where threads meet under ThreadSanitizer
site       all    the documents as a site, with the reference of the interfaces; its links
documents  all    the commands of the documents
STEPS
}

usage() {
    cat <<'HELP'
usage: ./test.sh [--all] [--only WORD] [--tsan] [--kernel [--long]] [--arm64 [--yes]] [--package]
                 [--no-install] [--list]

Installs what is missing (Debian packages), then runs the quick steps below: about 5 minutes on two
cores, from a bare machine.

  --all         run the quick steps and the others, as continuous integration does: about 45 minutes
  --only WORD   run one of the steps, and nothing else
  --tsan        run all tests under ThreadSanitizer, and nothing else
  --kernel      run the step kernel, and nothing else: plays scenarios, conformance suite and re-attachments
                in a virtual machine with Debian's kernel (vm/README.md), too. Downloads that kernel once
  --long        with --kernel: besides, 100 re-attachments, the Debian package on a machine with systemd
                and udev, and the sanitizers on that kernel
  --arm64       build everything for 64-bit Arm, and run there, emulated, what enters no world of its
                own and starts no programs; and nothing else. Asks before it downloads libraries
  --yes         download them without asking
  --package     install the Debian packages in a bare Debian below build/, upgrade them, run the service
                and call it there, build and run the examples, remove all; and nothing else. Needs root (or sudo), and downloads that Debian once
  --no-install  install nothing; fail where something is missing
  --list        name the steps that would run, without another option all that there are, and end

The steps: "quick" ones run in ./test.sh and in ./test.sh --all, "all" ones in ./test.sh --all alone.

HELP
    every_step
}

# steps_of KIND...
steps_of() { every_step | awk -v kinds=" $* " 'index(kinds, " " $2 " ") { print $1 }'; }
mapfile -t quick < <(steps_of quick)
mapfile -t all < <(steps_of quick all)

steps=("${quick[@]}")
tsan_target=(threads_tests)
tsan_label=(-L threads)
arm64_libraries=()
chosen=no
long=()
install=yes
list=no
while [ $# -gt 0 ]; do
    case $1 in
        --help | -h) usage; exit 0 ;;
        --all) steps=("${all[@]}"); chosen=yes ;;
        --tsan) steps=(tsan); tsan_target=(); tsan_label=(); chosen=yes ;;
        --kernel) steps=(kernel); chosen=yes ;;
        --long) long=(--long) ;;
        --arm64) steps=(arm64); chosen=yes ;;
        --package) steps=(clean-root); chosen=yes ;;
        --yes) arm64_libraries=(--yes) ;;
        --only)
            [ $# -ge 2 ] || fail "--only needs one of: ${all[*]}"
            case " ${all[*]} " in *" $2 "*) ;; *) fail "no step '$2'; the steps are: ${all[*]}" ;; esac
            steps=("$2"); chosen=yes; shift ;;
        --no-install) install=no ;;
        --list) list=yes ;;
        *) fail "unknown argument '$1'; see ./test.sh --help" ;;
    esac
    shift
done
[ ${#long[@]} = 0 ] || [ "${steps[*]}" = kernel ] || fail "--long goes with --kernel"
if [ $list$chosen = yesno ]; then every_step; exit 0; fi
if [ $list = yes ]; then printf '%s\n' "${steps[@]}"; exit 0; fi

# Who runs quick steps or the kernel's alone installs nothing for others. The benchmarks are built and checked like the rest.
kinds=(build test)
for step in "${steps[@]}"; do
    case " ${quick[*]} kernel " in *" $step "*) ;; *) kinds=(build test all bench) ;; esac
done
case " ${steps[*]} " in
    *" browser "*)
        kinds+=(browser)
        # Debian's npm cannot stand beside another Node.js.
        command -v npm >/dev/null || kinds+=(npm) ;;
esac
case " ${steps[*]} " in *" kernel "*) kinds+=(kernel) ;; esac
[ ${#long[@]} = 0 ] || kinds+=(all clean-root)
[ "${steps[*]}" != arm64 ] || kinds+=(arm64-tools)
[ "${steps[*]}" != clean-root ] || kinds+=(clean-root)
[ $install = no ] || install_packages "${kinds[@]}"
require_tools
require_world

run_step() {
    case $1 in
        style) scripts/check-style.sh ;;
        tidy) scripts/check-tidy.sh ;;
        phone) scripts/check-phone.sh ;;
        release) build_preset release; run_ctest release ;;
        package) scripts/check-package.sh ;;
        clean-root) scripts/clean-root.sh ;;
        mutation) build_preset release; vts/mutate.py build/release && tests/recordings/changes.py build/release ;;
        tour) play_tour ;;
        browser) scripts/check-browser.sh ;;
        kernel) scripts/check-kernel.sh "${long[@]}" ;;
        asan) build_preset asan; run_ctest asan ;;
        tsan) build_preset tsan "${tsan_target[@]}"; run_ctest tsan "${tsan_label[@]}" ;;
        site) scripts/check-site.sh ;;
        documents) build_preset release; python3 -B scripts/documents.py ;;
        arm64) arm64_sysroot; build_preset arm64; run_ctest arm64 ;;
    esac
}

arm64_sysroot() {
    [ $install = yes ] || [ -f build/arm64-sysroot/.packages ] ||
        fail "no libraries for 64-bit Arm in build/arm64-sysroot; run without --no-install"
    scripts/arm64-sysroot.sh "${arm64_libraries[@]}"
}

play_tour() {
    build_preset release bivista-service bivista-emulator bivistactl
    with_progress "./run.sh" build/tour.log python3 -B scripts/tour.py || { cat build/tour.log; return 1; }
}

# Runs the tests of a preset; its totals go to a file, for the last line.
run_ctest() {
    local preset=$1 log=build/$1/ctest.log status=0 total bad
    shift
    with_progress "testing ($preset)" "$log" \
        ctest --preset "$preset" "$@" --no-tests=error --output-on-failure || status=1
    [ $status = 0 ] || grep -av -e ' Passed ' -e '^ *Start ' "$log" || true
    total=$(sed -n 's/.* tests failed out of \([0-9]*\)$/\1/p' "$log")
    bad=$(sed -n 's/.*, \([0-9]*\) tests failed out of .*/\1/p' "$log")
    [ -n "$total" ] || { say "ctest ran no test for preset $preset"; return 1; }
    echo "$((total - bad)) $bad" >build/totals
    return $status
}

# A step that fails by something else than its tests counts as a test that has failed.
passed=0
failed=0
failed_steps=()
for step in "${steps[@]}"; do
    say "== $step"
    started=$SECONDS
    mkdir -p build
    echo 0 0 >build/totals
    # Behind || the shell would run on after a failure.
    set +e
    (set -e; run_step "$step")
    status=$?
    set -e
    read -r good bad <build/totals
    if [ $status != 0 ]; then
        failed_steps+=("$step")
        [ "$bad" != 0 ] || bad=1
        say "step '$step' failed"
    fi
    passed=$((passed + good))
    failed=$((failed + bad))
    say "== $step: $((SECONDS - started)) s"
done
rm -f build/totals
if [ ${#failed_steps[@]} -gt 0 ]; then say "failed steps: ${failed_steps[*]}"; fi
if [ $((passed + failed)) -gt 0 ]; then say "$passed passed, $failed failed"; fi
[ ${#failed_steps[@]} = 0 ]
