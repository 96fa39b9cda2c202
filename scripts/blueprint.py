"""Reads Android.bp files: modules with texts, numbers, true, false, lists and maps. No variables,
no sums: this project uses none."""
import json
import re

TOKEN = re.compile(r'\s+|//[^\n]*|/\*.*?\*/|(?P<token>"(?:[^"\\\n]|\\.)*"|[A-Za-z_]\w*|-?\d+|[{}\[\]:,])',
                   re.DOTALL)


class SyntaxProblem(Exception):
    pass


class Reader:
    def __init__(self, text):
        self.tokens = []
        position = 0
        while position < len(text):
            match = TOKEN.match(text, position)
            if match is None:
                line = text.count("\n", 0, position) + 1
                raise SyntaxProblem(f"line {line}: what is {text[position]!r}?")
            position = match.end()
            if match["token"]:
                self.tokens.append((match["token"], text.count("\n", 0, match.start()) + 1))
        self.tokens.append((None, text.count("\n") + 1))
        self.next = 0

    def peek(self):
        return self.tokens[self.next][0]

    def take(self, expected=None):
        token, line = self.tokens[self.next]
        if token is None or expected not in (None, token):
            raise SyntaxProblem(f"line {line}: {token or 'the end'} where "
                                f"{expected or 'more'} belongs")
        self.next += 1
        return token

    def value(self):
        token = self.take()
        if token == "[":
            return self.members("]", self.value)
        if token == "{":
            return dict(self.members("}", self.entry))
        if token in ("true", "false") or token[0] == '"' or token.lstrip("-").isdigit():
            return json.loads(token)
        raise SyntaxProblem(f"line {self.tokens[self.next - 1][1]}: {token} is no value")

    def members(self, end, read):
        found = []
        while self.peek() != end:
            found.append(read())
            if self.peek() != end:
                self.take(",")
        self.take(end)
        return found

    def entry(self):
        name = self.take()
        self.take(":")
        return name, self.value()


def read(text):
    """The modules of a file: (type, properties), in order."""
    reader = Reader(text)
    modules = []
    while reader.peek() is not None:
        kind = reader.take()
        reader.take("{")
        modules.append((kind, dict(reader.members("}", reader.entry))))
    return modules
