#!/usr/bin/env python3
"""Prints the man page of a program, made of its own help.

usage: manpage.py PROGRAM
"""
import os
import re
import sys

import program_help

OWN_SECTIONS = ("Exit status", "Examples")
PAGES = (("bivista-emulator", 1), ("bivista-service", 8), ("bivista-vts", 1),
         ("bivistactl", 1))


def escape(text):
    text = text.replace("\\", "\\e").replace("-", "\\-")
    return "\\&" + text if text.startswith((".", "'")) else text


def bold(text):
    return "\\fB" + escape(text) + "\\fR"


def paragraphs(text):
    """A help's text: indented lines stay as they are, others flow."""
    lines = []
    literal = False
    for line in text.split("\n"):
        indented = line.startswith("  ")
        if indented != literal and line:
            lines.append(".EX" if indented else ".EE")
            literal = indented
        lines.append(escape(line) if line else (".sp" if literal else ".PP"))
    if literal:
        lines.append(".EE")
    return lines


def rows(rows_of_a_section):
    lines = []
    for row in rows_of_a_section:
        lines += [".TP", bold(row.text.removesuffix(" REQUIRED")), escape(row.meaning)]
    return lines


def without_help(options):
    return [row for row in options if "--help" not in row.names]


def describe(command, parent):
    usage = command.usage.split(" ", 1)[1]
    lines = [f'.SS "{escape(usage)}"', escape(command.about) + "."]
    lines += rows(command.arguments)
    lines += rows(without_help(command.options))
    # What is said of a whole group stands with the group alone.
    if command.footer not in ("", parent.footer):
        lines += [".PP", *paragraphs(command.footer)]
    return lines


def describe_all(command):
    for below in command.commands:
        yield from describe(below, command)
        yield from describe_all(below)


def own_text(footer):
    """What the program says below its list of commands; parts that pages have sections for get
    them."""
    parts = re.split(r"\n\n(?! )", footer)
    lines = [".SH DESCRIPTION"]
    for part in parts:
        if not part.startswith(tuple(word + ":" for word in OWN_SECTIONS)):
            lines += [*paragraphs(part), ".PP"]
    lines.pop()
    for word in OWN_SECTIONS:
        for part in parts:
            if part.startswith(word + ":"):
                text = part.removeprefix(word + ":").lstrip(" ").removeprefix("\n")
                lines += [".SH " + word.upper(), *paragraphs(text)]
    return lines


def page(program):
    name = program.words[0]
    others = [f"{bold(other)}({section})" for other, section in PAGES if other != name]
    return "\n".join([
        f'.TH {name.upper()} 1 "" "" "User Commands"',
        ".ad l",
        ".SH NAME", f"{name} \\- {escape(program.about.rstrip('.'))}",
        ".SH SYNOPSIS", bold(name) + escape(program.usage.removeprefix(name)),
        *own_text(program.footer),
        ".SH OPTIONS", *rows(without_help(program.options)),
        ".SH COMMANDS", *describe_all(program),
        ".SH SEE ALSO", ",\n".join(others)]) + "\n"


def main():
    program = sys.argv[1]
    sys.stdout.write(page(program_help.read(program, os.path.basename(program))))


if __name__ == "__main__":
    main()
