#!/usr/bin/env bash
# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
# Runs the two example programs on an emulated phone, and compares what they print and what the sub display shows.
# bivistactl and bivista-emulator are those of the PATH; the phone and its registry are of this run alone.
#     scripts/run-examples.sh CLIENT NEIGHBOUR PICTURE.png
set -euo pipefail
client=$1
neighbour=$2
picture=$3

work=$(mktemp -d)
export HIDL_SOCKET_DIR=$work/registry
mkdir -m 0700 "$HIDL_SOCKET_DIR"
mkfifo "$work/input"
phone=
end() {
    exec 7>&-
    [ -z "$phone" ] || kill "$phone" 2>/dev/null || true
    wait || true
    rm -rf "$work"
}
trap end EXIT
fail() {
    echo "error: $*" >&2
    tail -n 20 "$work"/*.log >&2
    exit 1
}
# comes LINE: waits until the client has printed it.
comes() {
    until grep -qxF -- "$1" "$work/output"; do
        kill -0 "$program" 2>/dev/null || fail "$client has ended, and did not print '$1'"
        sleep 0.05
    done
}
# shows FILE: the sub display's picture is that of the file.
shows() {
    bivista-emulator ctl snapshot "$work/now.png" >/dev/null
    cmp -s "$work/now.png" "$1"
}
# attached true|false: waits until the service has this answer from its neighbour.
attached() {
    until [ "$(bivistactl call getBV2Status)" = \
        "{\"method\":\"getBV2Status\",\"status\":\"OK\",\"value\":{\"connected\":$1}}" ]; do
        sleep 0.05
    done
}

bivista-emulator run >"$work/phone.log" 2>&1 &
phone=$!
until bivistactl wait attached sub=ON --timeout 60 >"$work/wait.log" 2>&1; do
    kill -0 $phone 2>/dev/null || fail "the phone has ended"
    sleep 0.05
done
# The same pixels, as the emulator writes them.
bivista-emulator ctl snapshot "$work/dark.png" >/dev/null
bivistactl sub show "$picture" >/dev/null
while shows "$work/dark.png"; do sleep 0.05; done
cp "$work/now.png" "$work/picture.png"
bivistactl sub clear >/dev/null
until shows "$work/dark.png"; do sleep 0.05; done

"$client" <"$work/input" >"$work/output" 2>"$work/client.log" &
program=$!
exec 7>"$work/input"
comes "line: BV330-V10k_20210312"
comes drawn
until shows "$work/picture.png"; do
    kill -0 $program 2>/dev/null || fail "$client has ended, and its picture is not shown"
    sleep 0.05
done
bivista-emulator ctl pen BV_PEN_DETECTION >/dev/null
comes "event: BV_PEN_DETECTION"
bivistactl sub off >/dev/null
comes "sub display: OFF"
exec 7>&-
wait $program || fail "$client exits $? at the end of its input"

bivista-emulator ctl accessory absent >/dev/null
attached false
"$neighbour" 2>"$work/neighbour.log" &
program=$!
attached true
# Another one under its name is told so.
if "$neighbour" 2>>"$work/neighbour.log"; then fail "$neighbour takes the place of another one"; fi
kill $program
wait $program || true
attached false

bivistactl sub on >/dev/null
"$client" <"$work/input" >"$work/output" 2>"$work/client.log" &
program=$!
exec 7>"$work/input"
comes drawn
kill $phone
phone=
if wait $program; then fail "$client does not see that the service died"; fi
grep -qx "failed: the service died" "$work/client.log" || fail "$client does not say that the service died"
if "$client" </dev/null >"$work/output" 2>"$work/client.log"; then fail "$client needs no service"; fi
grep -qx "failed: getService" "$work/client.log" || fail "$client does not say that there is no service"
