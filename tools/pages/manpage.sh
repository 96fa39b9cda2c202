#!/usr/bin/env bash
# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
# Prints the man page of a program. help2man makes it of the program's help, and takes the help of each command as it
# stands.
#     manpage.sh PROGRAM OTHER-PAGE...
set -euo pipefail
program=$1 name=${1##*/}
shift

# The text below the lists of a help.
footer() { awk '/^(Positionals|Options|Subcommands):$/ { rows = 1; next } rows && /^[^ ]/ { found = 1 } found'; }

literal() { echo .EX && sed 's/^  //; s/\\/\\e/g; s/-/\\-/g; s/^/\\\&/' && echo .EE; }

# commands WORD...: a section for each command below this one. Text that the command shares with this one stands once.
commands() {
    local above below help
    above=$("$program" "$@" --help)
    for below in $(sed -n '/^Subcommands:/,/^$/s/^  \([a-z0-9-]*\).*/\1/p' <<<"$above"); do
        help=$("$program" "$@" "$below" --help)
        echo ".SS \"$(sed -n "s/^Usage: $name //p" <<<"$help")\""
        grep -v -e '^Usage: ' -e '^ *-h,--help ' <<<"${help%"$(footer <<<"$above")"}" | cat -s | literal
        commands "$@" "$below"
    done
}

include=$(mktemp)
trap 'rm -f "$include"' EXIT
{
    echo '[COMMANDS]'
    commands
    echo '[SEE ALSO]'
    printf '.BR %s\n' "$@"
} >"$include"
about=$("$program" --help | head -n 1)
help2man --no-info --name="${about%.}" --include="$include" "$program" | sed 's/^\.SS "Exit status:"/.SH "EXIT STATUS"/'
