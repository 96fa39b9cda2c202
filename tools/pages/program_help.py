"""What a program says of itself: its --help, and that of each of its commands."""
import re
import subprocess

SECTIONS = ("Positionals:", "Options:", "Subcommands:")
MEANING = 30  # the column where the meaning of a row begins


class Row:
    """An argument, an option or a command: "  STATE TEXT REQUIRED          on or off"."""

    def __init__(self, text, meaning):
        self.text = text
        self.meaning = meaning

    @property
    def names(self):
        """"colour, color" and "-h,--help" have two."""
        words = re.split(r",\s*", self.text)
        return [word.split(" ")[0] for word in words if word.split(" ")[0]]

    @property
    def takes_value(self):
        """Whether an option has a value behind it, whose type its row names."""
        return re.search(r" (TEXT|INT|UINT|FLOAT)\b", self.text) is not None

    @property
    def is_required(self):
        return self.text.endswith(" REQUIRED")

    @property
    def values(self):
        """The words that an argument can be, as far as its row tells."""
        listed = re.search(r":\{([^}]*)\}", self.text)
        if listed:
            return listed.group(1).split(",")
        either = re.match(r"([a-z0-9]+) or ([a-z0-9]+)$", self.meaning)
        return list(either.groups()) if either else []


class Command:
    """One command and those below it. `words` are the program and the command's own."""

    def __init__(self, words, text):
        self.words = words
        self.rows = {section: [] for section in SECTIONS}
        self.commands = []
        head, self.usage, rest = split_head(text)
        self.about = " ".join(head.split())
        self.footer = self.take_rows(rest)

    def take_rows(self, lines):
        section = None
        for at, line in enumerate(lines):
            if line in SECTIONS:
                section = line
            elif section and line.startswith(" " * MEANING):
                self.rows[section][-1].meaning += " " + line.strip()
            elif section and line.startswith("  "):
                text, meaning = split_row(line)
                self.rows[section].append(Row(text, meaning))
            elif line:
                return "\n".join(lines[at:]).rstrip()
        return ""

    @property
    def arguments(self):
        return self.rows["Positionals:"]

    @property
    def options(self):
        return self.rows["Options:"]

    def walk(self):
        yield self
        for command in self.commands:
            yield from command.walk()


def split_head(text):
    lines = text.split("\n")
    at = next(n for n, line in enumerate(lines) if line.startswith("Usage: "))
    return " ".join(lines[:at]), lines[at].removeprefix("Usage: "), lines[at + 1:]


def split_row(line):
    """A name that leaves no space in its column has its meaning in the next line."""
    if line[MEANING - 1:MEANING] in (" ", ""):
        return line[:MEANING].strip(), line[MEANING:].strip()
    return line.strip(), ""


def read(program, name, words=()):
    """The program's command with these words, with all commands below it."""
    result = subprocess.run([program, *words, "--help"], capture_output=True, text=True, check=True)
    command = Command([name, *words], result.stdout)
    command.commands = [read(program, name, [*words, row.names[0]])
                        for row in command.rows["Subcommands:"]]
    for below, row in zip(command.commands, command.rows["Subcommands:"]):
        below.names = row.names
    return command
