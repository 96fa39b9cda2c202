# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
# What runs of ./run.sh do not share: a registry folder while they last, a folder with what they leave. Sourced
# by run.sh.

# The emulator would refuse too, but only after a build; a socket that nobody answers is in nobody's way.
require_registry() {
    local folder=${HIDL_SOCKET_DIR:-}
    if [ -z "$folder" ]; then
        folder=${XDG_RUNTIME_DIR:+$XDG_RUNTIME_DIR/hidl}
        folder=${folder:-/tmp/hidl-$(id -u)}
        if [ "$(id -u)" = 0 ]; then folder=/run/hidl; fi
    fi
    # A path of any length fits where it is relative.
    if (cd "$folder" 2>/dev/null && python3 -c '
import socket
socket.socket(socket.AF_UNIX).connect("emulator.sock")' 2>/dev/null); then
        fail "an emulator is running already on $folder/emulator.sock: end it, or choose another folder with HIDL_SOCKET_DIR"
    fi
}

# Beyond so many, the oldest go.
runs_kept=10

# make_run_folder PARENT: makes PARENT/<date>-<time>, which is this process's and its children's as long as
# one of them lives; PARENT/latest leads there. Its path is in $out.
make_run_folder() {
    local name turn=1
    mkdir -p "$1"
    name=$(date +%Y-%m-%d-%H%M%S)
    out=$1/$name
    until mkdir "$out" 2>/dev/null; do
        [ -d "$out" ] || fail "cannot make $out"
        turn=$((turn + 1))
        out=$1/$name-$turn
    done
    # Whoever keeps the folder open holds the lock.
    exec {run_lock}<"$out"
    flock "$run_lock"
    ln -sfn "${out##*/}" "$1/latest.$$"
    mv -T "$1/latest.$$" "$1/latest"
    remove_old_runs "$1"
}

# Leaves what runs, and what is no folder of a run.
remove_old_runs() {
    local folders=("$1"/[0-9][0-9][0-9][0-9]-[0-9][0-9]-[0-9][0-9]-[0-9][0-9][0-9][0-9][0-9][0-9]*/) folder
    # In the order of their names, which is that of time.
    while [ ${#folders[@]} -gt $runs_kept ]; do
        folder=${folders[0]%/}
        folders=("${folders[@]:1}")
        flock --nonblock "$folder" rm -rf "$folder" || true
    done
}
