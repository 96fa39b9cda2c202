#!/usr/bin/env bash
# Plays a short tour of the service on the emulated phone and stays up for bivistactl. See --help.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")"
source scripts/common.sh

usage() {
    cat <<'HELP'
usage: ./run.sh [--tour] [--no-install]

Installs what is missing (Debian packages), builds, starts the service on an emulated phone with a
cover attached, plays a short tour, and stays up: type bivistactl commands in a second terminal,
Ctrl-C here ends it.

  --tour        play the tour in a registry folder of its own, and end
  --no-install  install nothing; fail where something is missing

The log of the service goes to build/run/service.log, the journal of the phone to
build/run/journal.jsonl. HIDL_SOCKET_DIR chooses another registry folder.
HELP
}

tour_only=no
install=yes
while [ $# -gt 0 ]; do
    case $1 in
        --help | -h) usage; exit 0 ;;
        --tour) tour_only=yes ;;
        --no-install) install=no ;;
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
out=$PWD/build/run
mkdir -p "$out"

if [ $tour_only = yes ]; then
    HIDL_SOCKET_DIR=$(mktemp -d)
    export HIDL_SOCKET_DIR
fi

emulator_pid=
watch_pid=
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
    if [ $tour_only = yes ]; then rm -rf "$HIDL_SOCKET_DIR"; fi
}
trap finish EXIT
trap 'exit 130' INT
trap 'exit 143' TERM

# show COMMAND...: types a command for the reader, then runs it.
show() {
    say ""
    say "\$ ${*/#$bin\//}"
    "$@"
}

# What a person sees on the cover screen.
show_screen() {
    say ""
    say "\$ bivista-emulator ctl show | grep ^screen"
    "$emulator" ctl show | grep ^screen
}

# Waits until a command succeeds; the emulator must be alive meanwhile.
await() {
    local what=$1
    shift
    until "$@" >/dev/null 2>&1; do
        kill -0 "$emulator_pid" 2>/dev/null || {
            tail -n 5 "$out/service.log" >&2
            fail "the emulated phone has ended while waiting for $what (log: $out/service.log)"
        }
        sleep 0.05
    done
}

received() { grep -qF "\"kind\":\"tty-rx\",\"path\":\"/dev/ttyACM0\",\"bytes\":\"$1\\\\r\"" "$out/journal.jsonl"; }
panel_drawn() { "$emulator" ctl show | grep '^sub display: .*, frames [1-9]' >/dev/null; }
# The client has heard of an event, which is raised anew until the service listens.
heard() { grep -qF "\"name\":\"$1\"" "$out/events.jsonl" || { "$emulator" ctl pen "$1" && false; }; }
# The service's log has the text so many times.
logged() { [ "$(grep -acF -- "$2" "$out/service.log")" -ge "$1" ]; }
connected() { "$ctl" call getBV2Connect | grep -q '"value":true'; }
# Everything that a detach, or the n-th attach, sets off is done.
detached() { logged 1 "bv2_display_deinit --" && logged 1 "deinitSubDisplay -- "; }
attached() { logged "$1" "bv_update_state : ATCMD_Status" && logged "$1" "setSubDisplayPowerState --"; }

say "Starting the service on an emulated phone, with a cover attached"
"$emulator" run --journal "$out/journal.jsonl" -- "$service" >"$out/service.log" 2>&1 &
emulator_pid=$!
await "the service" "$ctl" call getBV2Connect
await "the cover" connected
await "the attach" attached 1

show "$ctl" status
show "$ctl" at AT%SWV
show "$ctl" call sendAtCommand AT%SWV null
show "$ctl" cutout

say ""
say "The cover screen goes on"
show "$ctl" power on
show_screen

say ""
say "A brightness sweep: the service takes the levels at once, and the cover follows"
for level in 0 64 128 192 255; do show "$ctl" brightness $level; done
await "the last level" received AT%DB=255
show_screen

say ""
say "Its colours change"
show "$ctl" colour mode MODE_1
show "$ctl" colour rgb 1 20 30 40
show_screen

say ""
say "A text on the sub display"
show "$ctl" sub text "12:45"
await "the picture" panel_drawn
show "$emulator" ctl snapshot "$out/panel.png"
say ""
say "What the panel shows is in $out/panel.png."

say ""
say "The pen comes near the cover: the kernel says so, and a client of the service hears it"
rm -f "$out/events.jsonl" "$out/watch.log"
"$ctl" watch lpwg >"$out/events.jsonl" 2>"$out/watch.log" &
watch_pid=$!
await "the client" grep -q watching "$out/watch.log"
show "$emulator" ctl pen BV_PEN_DETECTION
await "the event" heard BV_PEN_DETECTION
head -n 1 "$out/events.jsonl"
end_watch

say ""
say "The cover is pulled off: commands fail, with exit status 1"
show "$emulator" ctl detach
await "the detach" detached
show "$ctl" power on || say "(exit status $?)"
show "$ctl" at AT%SWV || say "(exit status $?)"

say ""
say "The cover is put back"
show "$emulator" ctl attach
await "the attach" attached 2
show "$ctl" at AT%SWV

say ""
say "What the service has counted meanwhile: one JSON object, in ${out#"$PWD"/}/dump.json; and in words"
"$ctl" dump --json >"$out/dump.json"
show "$ctl" dump

say ""
say "What went over the wire (the whole journal: ${out#"$PWD"/}/journal.jsonl)"
tail -n 6 "$out/journal.jsonl"

if [ $tour_only = yes ]; then
    say ""
    say "The tour is over."
    exit 0
fi

say ""
say "The phone stays up. In a second terminal:"
say "  cd $PWD"
if [ -n "${HIDL_SOCKET_DIR:-}" ]; then say "  export HIDL_SOCKET_DIR=$HIDL_SOCKET_DIR"; fi
say "  build/release/bin/bivistactl power on"
say "  build/release/bin/bivistactl --help"
say "  build/release/bin/bivista-emulator ctl --help"
say "The log of the service: tail -f build/run/service.log. Ctrl-C ends the phone."
wait "$emulator_pid"
