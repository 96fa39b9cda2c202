"""Draws a session with the running service as an SVG: what was typed, what the cover shows, its journal.

The picture stands for itself: no fonts, scripts or files from elsewhere. Every text is told its length, so
that it fits in whatever font a viewer has.
"""
import base64
import dataclasses
import textwrap
from xml.sax.saxutils import escape

WIDTH = 1000
MARGIN = 16
GAP = 14
LEFT = 596
RIGHT = WIDTH - 2 * MARGIN - GAP - LEFT
PADDING = 14
BAR = 30
FONTS = "'DejaVu Sans Mono', Menlo, Consolas, monospace"
# A letter's width in fonts of size 1.
LETTER = 0.602
TYPED = 13
SMALL = 11.5
TYPED_LINE = 19
SMALL_LINE = 17
PARAGRAPH = 7
PANEL = 160
PROMPT = "$ "

COLOURS = {
    "page": "#0d1420", "card": "#131c2b", "edge": "#2b3a52", "text": "#c3cedd",
    "typed": "#ffffff", "prompt": "#5fd38d", "muted": "#8595ab", "badge": "#f2b33d",
    "tty-rx": "#7cb7ff", "tty-tx": "#5fd38d", "node-write": "#d9a5ff", "detach": "#ff8f7a",
    "attach": "#5fd38d",
}


@dataclasses.dataclass
class Command:
    typed: str
    printed: str
    number: int = None


@dataclasses.dataclass
class Passage:
    """What the journal has of the command with this number: kinds and texts."""
    number: int
    rows: list


@dataclasses.dataclass
class Story:
    """What the picture tells. The screen and the panel (a PNG) are as after the command `seen_at`."""
    lines: list = dataclasses.field(default_factory=list)
    journal: list = dataclasses.field(default_factory=list)
    screen: dict = None
    panel: bytes = None
    seen_at: int = None

    def next_number(self):
        return 1 + sum(line.number is not None for line in self.lines)


def columns(width, size):
    """How many letters of a size fit into a width."""
    return int(width / (LETTER * size))


def text(x, y, words, colour, size=TYPED, bold=False):
    if not words:
        return ""
    weight = ' font-weight="bold"' if bold else ""
    return (f'<text x="{x:g}" y="{y:g}" font-size="{size}"{weight} fill="{COLOURS[colour]}" '
            f'textLength="{len(words) * LETTER * size:.1f}" lengthAdjust="spacingAndGlyphs" '
            f'xml:space="preserve">{escape(words)}</text>\n')


def box(x, y, width, height, fill, edge="none", radius=8):
    return (f'<rect x="{x:g}" y="{y:g}" width="{width:g}" height="{height:g}" rx="{radius}" '
            f'fill="{fill}" stroke="{edge}"/>\n')


def badge(x, y, number):
    """A number in a disc whose middle is at (x, y)."""
    return (f'<circle cx="{x:g}" cy="{y:g}" r="8" fill="{COLOURS["badge"]}"/>\n'
            + text(x - len(str(number)) * LETTER * SMALL / 2, y + 4, str(number), "page", SMALL, bold=True))


def card(x, y, width, height, title):
    return (box(x, y, width, height, COLOURS["card"], COLOURS["edge"])
            + f'<path d="M{x:g} {y + BAR:g}h{width:g}" stroke="{COLOURS["edge"]}"/>\n'
            + text(x + PADDING, y + 20, title, "muted", SMALL))


def wrapped(line, width):
    return textwrap.wrap(line, width, break_on_hyphens=False, drop_whitespace=False) or [""]


def draw_command(x, y, command):
    """A prompt, what was typed and what it printed, from the height y down; gives the next height."""
    drawn = text(x, y, PROMPT, "prompt") + text(x + len(PROMPT) * LETTER * TYPED, y, command.typed,
                                                "typed", bold=True)
    if command.number is not None:
        drawn += badge(x + (len(PROMPT + command.typed) + 2) * LETTER * TYPED, y - 4.5, command.number)
    for line in command.printed.splitlines():
        for part in wrapped(line, columns(LEFT - 2 * PADDING, TYPED)):
            y += TYPED_LINE
            drawn += text(x, y, part, "text")
    return drawn, y + TYPED_LINE + PARAGRAPH


def draw_terminal(x, y, lines):
    """Without its frame; gives where it ends."""
    drawn = ""
    bottom = y + BAR + 26
    for command in lines:
        part, bottom = draw_command(x + PADDING, bottom, command)
        drawn += part
    return drawn, bottom - PARAGRAPH - TYPED_LINE + PADDING


def draw_terminal_frame(x, y, height):
    drawn = card(x, y, LEFT, height, "")
    for place, colour in enumerate(("#ff6b5e", "#f2b33d", "#5fd38d")):
        drawn += f'<circle cx="{x + 18 + 16 * place:g}" cy="{y + BAR / 2:g}" r="5" fill="{colour}"/>\n'
    return drawn + text(x + 70, y + 20, "a terminal beside the emulated phone", "muted", SMALL)


def in_words(screen):
    """What the cover screen shows, a line each."""
    if not screen["on"]:
        return ["off"]
    return ["on", f"brightness {screen['brightness']}", "rgb " + ",".join(map(str, screen["rgb"])),
            "tune " + ",".join(map(str, screen["tune"])), f"mode {screen['mode']}"]


def light(screen):
    """The grey of a cover screen, as bright to the eye as the screen is."""
    share = (screen["brightness"] / 255) ** (1 / 2.2) if screen["on"] else 0
    return round(16 + 224 * share)


def draw_cover(x, y, story):
    """What a person sees of the cover; gives where it ends."""
    height = BAR + PANEL + 2 * PADDING + SMALL_LINE
    drawn = card(x, y, RIGHT, height, "the emulated cover, as a person sees it")
    drawn += badge(x + RIGHT - 20, y + BAR / 2, story.seen_at)
    top = y + BAR + PADDING
    width = RIGHT - 3 * PADDING - PANEL
    grey = light(story.screen)
    drawn += box(x + PADDING, top, width, PANEL, f"rgb({grey},{grey},{grey})", COLOURS["edge"], 12)
    for place, words in enumerate(in_words(story.screen)):
        drawn += text(x + PADDING + 14, top + 30 + 25 * place, words, "page" if grey > 110 else "typed")
    left = x + 2 * PADDING + width
    data = base64.b64encode(story.panel).decode()
    drawn += (f'<image x="{left:g}" y="{top:g}" width="{PANEL}" height="{PANEL}" '
              f'href="data:image/png;base64,{data}"/>\n'
              f'<rect x="{left:g}" y="{top:g}" width="{PANEL}" height="{PANEL}" fill="none" '
              f'stroke="{COLOURS["edge"]}"/>\n')
    under = top + PANEL + SMALL_LINE
    drawn += text(x + PADDING, under, "cover screen", "muted", SMALL)
    drawn += text(left, under, "sub display", "muted", SMALL)
    return drawn, y + height


def draw_journal(x, y, passages):
    """Without its frame; gives where it ends."""
    drawn = ""
    y += BAR + 22
    kind_width = 11 * LETTER * SMALL
    for passage in passages:
        drawn += badge(x + PADDING + 6, y - 4, passage.number)
        for kind, words in passage.rows:
            room = columns(RIGHT - 2 * PADDING - 22 - kind_width, SMALL)
            drawn += text(x + PADDING + 22, y, kind, kind, SMALL)
            for part in wrapped(words, room):
                drawn += text(x + PADDING + 22 + kind_width, y, part, "text", SMALL)
                y += SMALL_LINE
        y += PARAGRAPH
    return drawn, y - PARAGRAPH - SMALL_LINE + PADDING


def draw(story):
    """The whole picture."""
    right = MARGIN + LEFT + GAP
    terminal, left_end = draw_terminal(MARGIN, MARGIN, story.lines)
    cover, cover_end = draw_cover(right, MARGIN, story)
    journal, right_end = draw_journal(right, cover_end + GAP, story.journal)
    end = max(left_end, right_end)
    height = end + MARGIN
    under = cover_end + GAP
    return (f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {WIDTH} {height:g}" width="{WIDTH}" '
            f'height="{height:g}" role="img" font-family="{FONTS}">\n'
            "<title>A session with the Bivista service on an emulated phone</title>\n"
            + box(0, 0, WIDTH, height, COLOURS["page"], radius=12)
            + draw_terminal_frame(MARGIN, MARGIN, end - MARGIN) + terminal + cover
            + card(right, under, RIGHT, end - under, "the journal: rx to the cover, tx from it")
            + journal + "</svg>\n")
