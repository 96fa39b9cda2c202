#compdef bivistactl bivista-emulator
# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
# Completion of bivistactl and bivista-emulator for bash and zsh: what the help of the typed command lists.

# Reads a help. Prints a line for each word that may come next: its kind, the word, its meaning, and what its value is
# ("files", "value"). A line "files" stands for names of files.
_bivista_words() {
    awk '
        BEGIN { OFS = "\t" }
        /^[^ ]/ { tell(); section = /^(Positionals|Options|Subcommands|Methods):$/ ? $1 : "" }
        /^  [^ ]/ && section { tell(); row = substr($0, 3) }
        /^     +[^ ]/ && row { row = row "  " $0 }
        END { tell() }
        function tell(    words, meaning, names, type, n, i) {
            if (row == "") return
            match(row, /   *|$/)
            words = substr(row, 1, RSTART - 1)
            meaning = substr(row, RSTART)
            gsub(/^ +/, "", meaning)
            type = words
            if (section == "Options:") n = split(substr(words, 1, index(words " ", " ") - 1), names, ",")
            if (section == "Subcommands:") n = split(words, names, /, */)
            if (section == "Methods:") n = split(substr(words, 1, index(words " ", " ") - 1), names, ",")
            if (section == "Positionals:") {
                if (sub(/^.*:\{/, "", type)) n = split(substr(type, 1, index(type, "}") - 1), names, ",")
                else if (meaning ~ /^[a-z0-9]+ or [a-z0-9]+$/) n = split(meaning, names, " or ")
                if (tolower(meaning) ~ /file/ || words ~ /^PROGRAM /) print "files"
                meaning = ""
            }
            type = words ~ / (TEXT|INT|UINT|FLOAT)/ ? (tolower(meaning) ~ /file/ ? "files" : "value") : ""
            for (i = 1; i <= n; ++i)
                if (section != "Options:" || names[i] ~ /^--/) print section, names[i], meaning, type
            row = ""
        }'
}

# The same for a command line up to the word that is completed. Asks for nothing but the help of our own commands.
_bivista_rows() {
    local tab=$'\t' words word option
    local -a command
    command=("$1")
    words=$("${command[@]}" --help 2>/dev/null | _bivista_words)
    shift
    for word in "$@"; do
        option=
        case "$words" in
            *"Subcommands:$tab$word$tab"*)
                command+=("$word")
                words=$("${command[@]}" --help 2>/dev/null | _bivista_words) ;;
            *"Options:$tab$word$tab"*) option=$(printf '%s\n' "$words" | awk -F '\t' -v word="$word" '$2 == word { print $4 }') ;;
        esac
    done
    printf '%s\n' "${option:-$words}"
}

if [ -n "${ZSH_VERSION:-}" ]; then
    _bivista() {
        local kind word meaning rest
        local -a commands arguments options
        _bivista_rows "${(@)words[1,CURRENT-1]}" | while IFS=$'\t' read -r kind word meaning rest; do
            word=${word//:/\\:}${meaning:+:$meaning}
            case $kind in
                files) _files ;;
                Subcommands:) commands+=("$word") ;;
                Options:) options+=("$word") ;;
                ?*:) arguments+=("$word") ;;
            esac
        done
        (( $#commands )) && _describe -t commands command commands
        (( $#arguments )) && _describe -t arguments argument arguments
        (( $#options )) && _describe -o -t options option options
        return 0
    }
    _bivista "$@"
else
    _bivista() {
        local IFS=$'\n' rows begin= word=${COMP_WORDS[COMP_CWORD]}
        # To bash, "screen=on" is three words, of which it replaces the last.
        case "$word" in
            =) begin=${COMP_WORDS[COMP_CWORD-1]}= word= ;;
            *) if [ "${COMP_WORDS[COMP_CWORD-1]}" = = ]; then begin=${COMP_WORDS[COMP_CWORD-2]}=; fi ;;
        esac
        rows=$(_bivista_rows "${COMP_WORDS[@]:0:COMP_CWORD}")
        COMPREPLY=($(compgen -W "$(cut -sf 2 <<<"$rows")" -- "$begin$word"))
        COMPREPLY=("${COMPREPLY[@]#"$begin"}")
        if grep -qx files <<<"$rows"; then compopt -o default; fi
    }
    complete -F _bivista bivistactl bivista-emulator
fi
