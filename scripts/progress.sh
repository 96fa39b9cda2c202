# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
# How the scripts show colour, and a command's progress. Sourced by common.sh.

# with_progress WHAT LOG COMMAND...: runs a command with its whole output in LOG; returns its exit status. Shows its
# progress: on a terminal in one line that is rewritten in place, else in one line at the start and one at the end.
with_progress() {
    local what=$1 log=$2 started=$SECONDS status=0
    shift 2
    on_terminal || say "$what"
    "$@" 2>&1 | follow "$what" "$log" || status=${PIPESTATUS[0]}
    if on_terminal; then printf '\r\e[K'; fi
    if [ "$status" = 0 ]; then
        say "$what: $((SECONDS - started)) s"
    else
        say "$what: failed after $((SECONDS - started)) s"
    fi
    return "$status"
}

# choose_colour never|auto|always: fills $prompt, $typed, $heading and $plain. With auto a terminal has colour unless
# NO_COLOR is set.
# shellcheck disable=SC2034
choose_colour() {
    prompt='' typed='' heading='' plain=''
    case $1 in
        always) ;;
        auto) { on_terminal && [ -z "${NO_COLOR:-}" ]; } || return 0 ;;
        never) return 0 ;;
        *) fail "--color takes never, auto or always, not '$1'" ;;
    esac
    prompt=$'\e[32m' typed=$'\e[1m' heading=$'\e[1;36m' plain=$'\e[m'
}

on_terminal() { [ -t 1 ] && [ "${TERM:-dumb}" != dumb ]; }

# follow WHAT LOG: copies its input to the log, and shows the counters in it on a terminal.
follow() {
    if ! on_terminal; then cat >"$2"; return; fi
    local LC_ALL=C what=$1 line shown='' finished=0 total=0 bad=0 begun=$SECONDS
    # The next output on the terminal begins a line of its own.
    trap 'echo >&3; trap - INT; kill -INT $BASHPID' INT
    while IFS= read -r line || [ -n "$line" ]; do
        printf '%s\n' "$line"
        count "$line"
        show_progress >&3
    done 3>&1 >"$2"
}

# Reads the counters of ninja, "[12/218] ", and of ctest, "12/2915 Test"; and counts apt's packages.
count() {
    if [[ $1 =~ ^\[([0-9]+)/([0-9]+)\] || $1 =~ ^\ *([0-9]+)/([0-9]+)\ Test ]]; then
        finished=${BASH_REMATCH[1]} total=${BASH_REMATCH[2]}
        if [[ $1 == *' Test '*'***'* ]]; then bad=$((bad + 1)); fi
    elif [[ $1 =~ ^([0-9]+)\ upgraded,\ ([0-9]+)\ newly ]]; then
        total=$((2 * (BASH_REMATCH[1] + BASH_REMATCH[2])))
    elif [[ $1 == 'Unpacking '* || $1 == 'Setting up '* ]]; then
        finished=$((finished + 1))
    fi
}

show_progress() {
    local text=$what spent=$((SECONDS - begun))
    if [ "$total" -gt 0 ]; then text+=" $finished/$total"; fi
    if [ "$bad" -gt 0 ]; then text+=", $bad failed"; fi
    # The first steps say little about the rest.
    if [ $spent -ge 5 ] && [ "$finished" -gt 0 ] && [ "$finished" -lt "$total" ]; then
        text+=", about $((spent * (total - finished) / finished / 60 + 1)) min left"
    fi
    [ "$text" != "$shown" ] || return 0
    shown=$text
    # Without line wrap, a terminal that is too narrow cuts the text off.
    printf '\r\e[?7l%s\e[K\e[?7h' "$text"
}
