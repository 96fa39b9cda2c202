#!/usr/bin/env python3
"""Prints the completion of a program for a shell, made of its own help.

usage: completion.py PROGRAM bash|zsh
"""
import os
import re
import sys

import program_help


def place(command):
    """Where a command line is: the words of its command, as the scripts keep them."""
    return " ".join(command.words[1:])


def values(command):
    """What may stand for the arguments of a command."""
    found = [value for argument in command.arguments for value in argument.values]
    if "\nMethods:\n" in command.footer:
        listed = command.footer.split("\nMethods:\n")[1]
        found += re.findall(r"^  (\w+)", listed, re.MULTILINE)
    return found


def takes_files(row):
    return "file" in row.meaning.lower() or row.text.startswith("PROGRAM ")


def names_of_options(command):
    return [name for row in command.options for name in row.names if name.startswith("--")]


def options_with_value(program):
    """All of them, and those whose value is a file."""
    rows = [row for command in program.walk() for row in command.options if row.takes_value]
    every = sorted({name for row in rows for name in row.names if name.startswith("--")})
    files = sorted({name for row in rows if takes_files(row) for name in row.names})
    return every, files


def steps(program):
    """From a place and the next word to the next place."""
    for command in program.walk():
        for below in command.commands:
            for name in below.names:
                yield place(command), name, place(below)


BASH = """\
# Completion of {name} for bash, made of its help.

{function}() {{
    local current=${{COMP_WORDS[COMP_CWORD]}} previous=${{COMP_WORDS[COMP_CWORD - 1]}}
    local place= words= files= word
    for word in "${{COMP_WORDS[@]:1:COMP_CWORD-1}}"; do
        case "$place/$word" in
{steps}
        esac
    done
    case "$previous" in
{values}        *)
            case "$place" in
{places}
            esac
            ;;
    esac
    COMPREPLY=($(compgen -W "$words" -- "$current"))
    if [ -n "$files" ]; then compopt -o default; fi
}}
complete -F {function} {name}
"""


def bash_values(program):
    every, files = options_with_value(program)
    cases = [("|".join(files), "files=yes"),
             ("|".join(name for name in every if name not in files), ":")]
    return "".join(f"        {names}) {action} ;;\n" for names, action in cases if names)


def bash_places(program):
    lines = []
    for command in program.walk():
        below = [name for each in command.commands for name in each.names]
        words = " ".join(below + values(command) + names_of_options(command))
        files = " files=yes" if any(map(takes_files, command.arguments)) else ""
        lines.append(f'                "{place(command)}") words="{words}"{files} ;;')
    return "\n".join(lines)


def bash(program):
    return BASH.format(
        name=program.words[0], function="_" + program.words[0].replace("-", "_"),
        steps="\n".join(f'            "{here}/{word}") place="{there}" ;;'
                        for here, word, there in steps(program)),
        values=bash_values(program), places=bash_places(program))


ZSH = """\
#compdef {name}
# Completion of {name} for zsh, made of its help.

{function}() {{
    local place= word
    local -a below values flags
    local files=
    for word in "${{(@)words[2,CURRENT-1]}}"; do
        case "$place/$word" in
{steps}
        esac
    done
    case "${{words[CURRENT-1]}}" in
{values}        (*)
            case "$place" in
{places}
            esac
            ;;
    esac
    (( $#below )) && _describe -t commands command below
    (( $#values )) && _describe -t arguments argument values
    (( $#flags )) && _describe -o -t options option flags
    [[ -n $files ]] && _files
    return 0
}}

{function} "$@"
"""


def zsh_entry(word, meaning):
    text = word.replace(":", "\\:") + (":" + meaning if meaning else "")
    return "'" + text.replace("'", "'\\''") + "'"


def zsh_place(command):
    below = [zsh_entry(name, each.about) for each in command.commands for name in each.names]
    arguments = [zsh_entry(value, "") for value in values(command)]
    options = [zsh_entry(name, row.meaning) for row in command.options for name in row.names
               if name.startswith("--")]
    files = "files=yes" if any(map(takes_files, command.arguments)) else "files="
    indent = " " * 20
    return "\n".join([
        f'                ("{place(command)}")',
        f"{indent}below=({' '.join(below)})",
        f"{indent}values=({' '.join(arguments)})",
        f"{indent}flags=({' '.join(options)})",
        f"{indent}{files}",
        f"{indent};;"])


def zsh(program):
    every, files = options_with_value(program)
    cases = [("|".join(files), "files=yes"),
             ("|".join(name for name in every if name not in files), ":")]
    return ZSH.format(
        name=program.words[0], function="_" + program.words[0].replace("-", "_"),
        steps="\n".join(f'            ("{here}/{word}") place="{there}" ;;'
                        for here, word, there in steps(program)),
        values="".join(f"        ({names}) {action} ;;\n" for names, action in cases if names),
        places="\n".join(zsh_place(command) for command in program.walk()))


def main():
    program, shell = sys.argv[1:]
    help_of_it = program_help.read(program, os.path.basename(program))
    sys.stdout.write({"bash": bash, "zsh": zsh}[shell](help_of_it))


if __name__ == "__main__":
    main()
