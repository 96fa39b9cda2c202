#!/usr/bin/env bash
# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
# Plays a short tour of the service on the emulated phone and stays up for bivistactl. See --help.
set -euo pipefail
# A shell cannot trap what was ignored when it began, as in the background of a script.
if (( 16#$(sed -n 's/^SigIgn:[[:space:]]*//p' "/proc/$$/status") & 0x4002 )); then
    exec env --default-signal=INT,TERM "$BASH" "${BASH_SOURCE[0]}" "$@"
fi
cd "$(dirname "${BASH_SOURCE[0]}")"
source scripts/common.sh
source scripts/run-folder.sh

usage() {
    cat <<'HELP'
usage: ./run.sh [--ui] [--tour] [--no-install] [--color=WHEN]

Installs what is missing (Debian packages), builds, starts the service on an emulated phone with a
cover attached, plays a short tour, and stays up: type bivistactl commands in a second terminal,
Ctrl-C here ends it. From a bare machine about 2 minutes on two cores, from the second time on seconds.

  --ui          show the phone on a page in the browser, too; opened at once where there is a display
  --tour        play the tour in a registry folder of its own, without pauses, and end
  --no-install  install nothing; fail where something is missing
  --color=WHEN  never, auto (on a terminal, unless NO_COLOR is set) or always

Each run has a folder, build/run/<date>-<time>/, with the log of the service (service.log), the journal of
the phone (journal.jsonl), and what the tour has made; build/run/latest leads to the last, and the ten last
are kept. HIDL_SOCKET_DIR chooses another registry folder, and so a second phone.
HELP
}

tour_only=no
ui=no
install=yes
choose_colour auto
while [ $# -gt 0 ]; do
    case $1 in
        --help | -h) usage; exit 0 ;;
        --tour) tour_only=yes ;;
        --ui) ui=yes ;;
        --no-install) install=no ;;
        --color=*) choose_colour "${1#--color=}" ;;
        *) fail "unknown argument '$1'; see ./run.sh --help" ;;
    esac
    shift
done

[ $install = no ] || install_packages build
require_tools
require_world
build_preset release bivista-service bivista-emulator bivistactl
bin=$PWD/build/release/bin
service=$bin/vendor.qmx.hardware.bivista@1.1-service
ctl=$bin/bivistactl
emulator=$bin/bivista-emulator

if [ $tour_only = yes ]; then
    HIDL_SOCKET_DIR=$(mktemp -d)
    export HIDL_SOCKET_DIR
elif "$emulator" ctl show >/dev/null 2>&1; then
    fail "an emulator is running already in this registry folder: end it, or choose another one with HIDL_SOCKET_DIR"
fi
# What is waited for below stands in the log.
export HOST_LOG_LEVEL=verbose

make_run_folder "$PWD/build/run"
run=${out#"$PWD"/}

emulator_pid=
watch_pid=
page_pid=
end_watch() {
    if [ -n "$watch_pid" ]; then
        kill "$watch_pid" 2>/dev/null || true
        wait "$watch_pid" 2>/dev/null || true
    fi
    watch_pid=
}
finish() {
    end_watch
    if [ -n "$emulator_pid" ]; then
        kill "$emulator_pid" 2>/dev/null || true
        wait "$emulator_pid" 2>/dev/null || true
    fi
    if [ -n "$page_pid" ]; then
        kill "$page_pid" 2>/dev/null || true
        wait "$page_pid" 2>/dev/null || true
    fi
    if [ $tour_only = yes ]; then rm -rf "$HIDL_SOCKET_DIR"; fi
}
trap finish EXIT
trap 'exit 130' INT
trap 'exit 143' TERM

paced=no
if [ $tour_only = no ] && [ -t 0 ] && [ -t 1 ]; then paced=yes; fi

# Leaves a person time to read: until Enter, or a second. In the background the terminal is not to be read.
pause() {
    local group foreground
    [ $paced = yes ] || return 0
    read -r _ _ _ _ group _ _ foreground _ <"/proc/$$/stat"
    if [ "$group" = "$foreground" ]; then read -r -s -t 1 || true; else sleep 1; fi
}

# chapter TEXT: says what comes next.
chapter() {
    say ""
    say "$heading$1$plain"
}

typed() {
    say ""
    say "$prompt\$$plain $typed$*$plain"
}
# show COMMAND...: types a command for the reader, then runs it.
show() {
    typed "${*/#$bin\//}"
    "$@"
    pause
}
# fails COMMAND...: shows one that is meant to fail.
fails() {
    typed "${*/#$bin\//}"
    "$@" || say "(exit status $?)"
    pause
}
# What a person sees on the cover screen.
show_screen() {
    typed "bivista-emulator ctl show | grep ^screen"
    "$emulator" ctl show | grep ^screen
    pause
}

# await WHAT COMMAND...: waits until a command succeeds, while our own emulator is alive.
await() {
    local what=$1
    shift
    while kill -0 "$emulator_pid" 2>/dev/null; do
        if "$@" >/dev/null 2>&1; then return; fi
        sleep 0.05
    done
    tail -n 5 "$out/service.log" >&2
    fail "the emulated phone has ended while waiting for $what (log: $out/service.log)"
}

received() { grep -qF "\"kind\":\"tty-rx\",\"path\":\"/dev/ttyACM0\",\"bytes\":\"$1\\\\r\"" "$out/journal.jsonl"; }
panel_drawn() { "$emulator" ctl show | grep '^sub display: .*, frames [1-9]' >/dev/null; }
# The client has heard of an event, which is raised anew until the service listens.
heard() { grep -qF "\"name\":\"$1\"" "$out/events.jsonl" || { "$emulator" ctl pen "$1" && false; }; }
# The service's log has the text so many times.
logged() { [ "$(grep -acF -- "$2" "$out/service.log")" -ge "$1" ]; }
# Everything that the n-th attach sets off is done.
attached() { logged "$1" "bv_update_state : ATCMD_Status" && "$ctl" wait attached sub=ON --timeout 0; }

# The page's address is for this user alone: it must not get into the log, which others can read.
start_page() {
    local options=()
    if [ $paced = yes ] && [ -n "${DISPLAY:-}${WAYLAND_DISPLAY:-}" ]; then options=(--open); fi
    exec {page_output}< <(exec "$emulator" ui "${options[@]}")
    page_pid=$!
    read -r page <&"$page_output" || fail "the page cannot be served"
    say "The phone on a page, for a browser on this machine: $page"
}
if [ $ui = yes ]; then start_page; fi

chapter "Starting the service on an emulated phone, with a cover attached"
if [ $paced = yes ]; then say "A step a second; Enter goes on at once."; fi
"$emulator" run --journal "$out/journal.jsonl" -- "$service" >"$out/service.log" 2>&1 &
emulator_pid=$!
# Once ours is registered, whoever asks in this registry folder asks ours.
await "the service" logged 1 "Bivista HAL Ready"
await "the attach" attached 1

show "$ctl" status
show "$ctl" at AT%SWV
show "$ctl" call sendAtCommand AT%SWV null
show "$ctl" cutout

chapter "The cover screen goes on"
show "$ctl" power on
show_screen

chapter "A brightness sweep: the service takes the levels at once, and the cover follows"
for level in 0 64 128 192 255; do
    typed "bivistactl brightness $level"
    "$ctl" brightness $level
done
await "the last level" received AT%DB=255
show_screen

chapter "Its colours change"
show "$ctl" colour mode MODE_1
show "$ctl" colour rgb 1 20 30 40
show_screen

chapter "A text on the sub display: what the panel shows is then in $run/panel.png"
show "$ctl" sub text "12:45"
await "the picture" panel_drawn
show "$emulator" ctl snapshot "$out/panel.png"

chapter "The pen comes near the cover: the kernel says so, and a client of the service hears it"
typed "bivistactl watch lpwg &"
"$ctl" watch lpwg >"$out/events.jsonl" 2>"$out/watch.log" &
watch_pid=$!
await "the client" grep -q watching "$out/watch.log"
typed "bivista-emulator ctl pen BV_PEN_DETECTION"
"$emulator" ctl pen BV_PEN_DETECTION
await "the event" heard BV_PEN_DETECTION
head -n 1 "$out/events.jsonl"
end_watch
pause

chapter "The cover is pulled off: commands fail, with exit status 1"
show "$emulator" ctl detach
await "the detach" "$ctl" wait detached --timeout 1
fails "$ctl" power on
fails "$ctl" at AT%SWV

chapter "The cover is put back"
show "$emulator" ctl attach
await "the attach" attached 2
show "$ctl" at AT%SWV

chapter "What went over the wire last; the journal has every byte and every write to a node"
typed "grep tty- $run/journal.jsonl | tail -n 2"
grep tty- "$out/journal.jsonl" | tail -n 2
pause

chapter "You have seen a cover come, its screen, panel and pen at work, and what happens without a cover."
if [ $tour_only = yes ]; then
    say "Next: ./run.sh stays up for commands of your own, and ./test.sh runs the quick tests;"
    say "  README.md has the commands, and docs/architecture.md tells what runs where."
else
    say "Next, in a second terminal: cd $PWD${HIDL_SOCKET_DIR:+; export HIDL_SOCKET_DIR=$HIDL_SOCKET_DIR}"
    say "  PATH=\$PWD/build/release/bin:\$PATH; bivistactl doctor; bivistactl --help; bivista-emulator ctl --help"
fi
say "The service's log and the phone's journal: $run/service.log and journal.jsonl"
if [ $tour_only = yes ]; then say "The tour is over."; exit 0; fi
if [ $ui = yes ]; then say "The page: $page"; fi
say "The phone stays up. Ctrl-C ends it."
wait "$emulator_pid"
