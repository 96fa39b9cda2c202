# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
# The folder in which a run of ./run.sh leaves its files. Sourced by run.sh.

# make_run_folder removes the oldest beyond so many.
runs_kept=10

# make_run_folder PARENT: makes PARENT/<date>-<time>, which this process and its children hold as long as
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
    # Each process that has the folder open holds the lock.
    exec {run_lock}<"$out"
    flock "$run_lock"
    ln -sfn "${out##*/}" "$1/latest.$$"
    mv -T "$1/latest.$$" "$1/latest"
    remove_old_runs "$1"
}

# Leaves folders of runs that last, and what is no folder of a run.
remove_old_runs() {
    local folders=("$1"/[0-9][0-9][0-9][0-9]-[0-9][0-9]-[0-9][0-9]-[0-9][0-9][0-9][0-9][0-9][0-9]*/) folder
    # Names sort by time.
    while [ ${#folders[@]} -gt $runs_kept ]; do
        folder=${folders[0]%/}
        folders=("${folders[@]:1}")
        flock --nonblock "$folder" rm -rf "$folder" || true
    done
}
