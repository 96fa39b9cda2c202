"""Tests of picture.py and picture_svg.py: what is told of a session, and how it is drawn."""
import base64
import contextlib
import io
import pathlib
import re
import tempfile
import unittest
from unittest import mock
from xml.etree import ElementTree

import picture
import picture_svg

SVG = "{http://www.w3.org/2000/svg}"
LIT = {"on": True, "brightness": 128, "rgb": [1, 20, 30, 40], "tune": [2, 2, 2], "mode": 3}
VOTE = {"seq": 1, "kind": "node-write", "path": "/sys/devices/1-1/power/control", "bytes": "on"}


def received(command, seq=1):
    return {"seq": seq, "kind": "tty-rx", "path": "/dev/ttyACM0", "bytes": command + "\\r"}


def sent(answer, seq=2):
    return {"seq": seq, "kind": "tty-tx", "path": "/dev/ttyACM0", "bytes": answer}


class FakeRun:
    """Prints what it is told to, command by command."""

    def __init__(self, printed=None, entries=()):
        self.printed = printed or {}
        self.since_command = list(entries)
        self.played = []

    def start(self):
        self.played.append("start")

    def play(self, step):
        self.played.append(step.command)
        return self.printed.get(step.command, ""), [("tty-rx", step.command)]

    def look(self):
        self.played.append("look")
        return LIT, b"PNG"


class AnsweredTest(unittest.TestCase):
    def test_needs_the_answer_behind_the_command(self):
        holds = picture.answered("AT%BV=1")
        for entries, expected in (([], False), ([received("AT%BV=1")], False),
                                  ([received("AT%BV=1"), VOTE], False),
                                  ([sent("OK"), received("AT%BV=1")], False),
                                  ([received("AT%BV=0"), sent("OK")], False),
                                  ([received("AT%BV=1"), VOTE, sent("OK")], True)):
            self.assertEqual(holds(FakeRun(entries=entries)), expected, entries)


class WrittenTest(unittest.TestCase):
    def test_needs_that_file(self):
        self.assertTrue(picture.written("control")(FakeRun(entries=[VOTE])))
        self.assertFalse(picture.written("trol")(FakeRun(entries=[VOTE])))
        self.assertFalse(picture.written("control")(FakeRun(entries=[received("AT")])))


class RowsTest(unittest.TestCase):
    def test_tell_kind_and_text(self):
        entries = [received("AT%HPD"), sent("\\r\\nOn\\r\\nOK\\r\\n"),
                   {"seq": 3, "kind": "node-write", "path": "/sys/class/bivista/bv2/bv2_pd", "bytes": "1 0"},
                   {"seq": 4, "kind": "attach", "path": "1-1", "note": "3e91:6a2f"},
                   {"seq": 5, "kind": "detach", "path": "1-1"}]
        self.assertEqual(list(picture.rows(entries)),
                         [("tty-rx", "AT%HPD\\r"), ("tty-tx", "\\r\\nOn\\r\\nOK\\r\\n"),
                          ("node-write", "bv2_pd: 1 0"), ("attach", "3e91:6a2f"), ("detach", "1-1")])

    def test_leave_out_votes_and_what_is_not_traffic(self):
        entries = [VOTE, {"seq": 2, "kind": "tty-open", "path": "/dev/ttyACM0", "note": "O_RDWR"},
                   {"seq": 3, "kind": "hidl-call", "path": "IAccessory.getAccessoryState", "note": "0,3"}]
        self.assertEqual(list(picture.rows(entries)), [])


class PlayTest(unittest.TestCase):
    SESSION = (picture.Step("a"), picture.Step("b", in_journal=True), picture.Step("c", seen=True),
               picture.Step("d", in_journal=True))

    def test_tells_the_commands_in_their_order(self):
        run = FakeRun({"a": "one\n", "d": "two\n"})
        story = picture.play(run, self.SESSION)
        self.assertEqual(run.played, ["start", "a", "b", "c", "look", "d"])
        self.assertEqual([(line.typed, line.printed) for line in story.lines],
                         [("a", "one\n"), ("b", ""), ("c", ""), ("d", "two\n")])

    def test_numbers_those_that_other_parts_tell_of(self):
        story = picture.play(FakeRun(), self.SESSION)
        self.assertEqual([line.number for line in story.lines], [None, 1, 2, 3])
        self.assertEqual([(part.number, part.rows) for part in story.journal],
                         [(1, [("tty-rx", "b")]), (3, [("tty-rx", "d")])])
        self.assertEqual((story.seen_at, story.screen, story.panel), (2, LIT, b"PNG"))


def run_main(*arguments):
    """Gives the exit status, the output and the errors of the program."""
    out, err = io.StringIO(), io.StringIO()
    with contextlib.redirect_stdout(out), contextlib.redirect_stderr(err):
        return picture.main(list(arguments)), out.getvalue(), err.getvalue()


class MainTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.path = pathlib.Path(folder.name) / "running.svg"
        for name, value in (("PICTURE", self.path), ("make_picture", lambda build: b"now")):
            patch = mock.patch.object(picture, name, value)
            patch.start()
            self.addCleanup(patch.stop)

    def test_writes_the_picture(self):
        self.assertEqual(run_main(), (0, "", ""))
        self.assertEqual(self.path.read_bytes(), b"now")

    def test_tells_that_the_picture_cannot_be_written(self):
        self.path.mkdir()
        self.assertEqual(run_main(), (2, "", f"error: {self.path}: Is a directory\n"))

    def test_check_is_content_with_the_same_bytes(self):
        self.path.write_bytes(b"now")
        self.assertEqual(run_main("--check"), (0, "", ""))

    def test_check_tells_of_others_and_leaves_them(self):
        self.path.write_bytes(b"before")
        self.assertEqual(run_main("--check"),
                         (1, f"{self.path}: a run gives another picture; make it with "
                             "scripts/picture.py, and look at it\n", ""))
        self.assertEqual(self.path.read_bytes(), b"before")

    def test_check_tells_of_a_picture_that_is_not_there(self):
        self.assertEqual(run_main("--check")[0], 1)
        self.assertFalse(self.path.exists())

    def test_refuses_wrong_arguments(self):
        for arguments in (("--chek",), ("a", "b"), ("--check", "a", "b"), ("a", "--check")):
            self.assertEqual(run_main(*arguments),
                             (2, "", "usage: scripts/picture.py [--check] [BUILD_FOLDER]\n"))
        self.assertFalse(self.path.exists())


class BuildFolderTest(unittest.TestCase):
    def test_that_was_not_built_is_refused(self):
        with tempfile.TemporaryDirectory() as folder:
            status, out, err = run_main("--check", folder)
            place = pathlib.Path(folder).resolve() / "bin"
        self.assertEqual((status, out), (2, ""))
        self.assertEqual(err, f"error: no vendor.qmx.hardware.bivista@1.1-service in {place}; "
                              "./run.sh --tour builds it\n")


def story(printed="one\n", screen=None, rows=(("tty-rx", "AT\\r"),)):
    return picture_svg.Story([picture_svg.Command("a <b> & c", printed, 1)],
                             [picture_svg.Passage(1, list(rows))], screen or LIT, b"\x89PNG", 1)


def tree_of(drawn):
    return ElementTree.fromstring(drawn)


def texts(drawn):
    return [element.text for element in tree_of(drawn).iter(SVG + "text")]


class FitTest(unittest.TestCase):
    def check_fits(self, drawn):
        """Every text ends left of the edge of its card and above the picture's."""
        root = tree_of(drawn)
        height = float(root.get("height"))
        cards = [(float(box.get("x")), float(box.get("x")) + float(box.get("width")))
                 for box in root.iter(SVG + "rect") if box.get("fill") == picture_svg.COLOURS["card"]]
        self.assertEqual(len(cards), 3)
        for element in root.iter(SVG + "text"):
            begin = float(element.get("x"))
            end = begin + float(element.get("textLength"))
            self.assertTrue(any(left < begin and end < right for left, right in cards), element.text)
            self.assertLess(float(element.get("y")), height, element.text)


class DrawTest(FitTest):
    def test_shows_what_was_typed_and_printed(self):
        shown = texts(picture_svg.draw(story("one\n\ntwo  words\n")))
        at = shown.index("$ ")
        self.assertEqual(shown[at:at + 5], ["$ ", "a <b> & c", "1", "one", "two  words"])

    def test_keeps_an_empty_line(self):
        def height(printed):
            return picture_svg.draw_terminal(0, 0, [picture_svg.Command("a", printed)])[1]
        self.assertEqual(height("one\n\ntwo\n") - height("one\n"), 2 * picture_svg.TYPED_LINE)

    def test_long_lines_are_wrapped(self):
        long = " ".join(["word"] * 40)
        drawn = picture_svg.draw(story(long + "\n" + "x" * 200, rows=[("tty-tx", "y" * 90)]))
        self.check_fits(drawn)
        shown = texts(drawn)
        self.assertEqual("".join(line for line in shown if set(line) <= set("word ")), long)
        self.assertEqual("".join(line for line in shown if set(line) == {"x"}), "x" * 200)
        self.assertEqual("".join(line for line in shown if set(line) == {"y"}), "y" * 90)

    def test_is_as_high_as_its_longer_side(self):
        self.check_fits(picture_svg.draw(story("line\n" * 60)))
        self.check_fits(picture_svg.draw(story(rows=[("tty-rx", "AT\\r")] * 60)))

    def test_shows_the_journal_by_kinds(self):
        shown = texts(picture_svg.draw(story(rows=[("tty-rx", "AT%HPD\\r"), ("detach", "1-1")])))
        self.assertEqual(shown[-5:], ["1", "tty-rx", "AT%HPD\\r", "detach", "1-1"])

    def test_shows_the_lit_screen(self):
        shown = texts(picture_svg.draw(story()))
        at = shown.index("on")
        self.assertEqual(shown[at:at + 5],
                         ["on", "brightness 128", "rgb 1,20,30,40", "tune 2,2,2", "mode 3"])

    def test_shows_a_dark_screen(self):
        drawn = picture_svg.draw(story(screen={"on": False}))
        self.assertIn("off", texts(drawn))
        self.assertIn('fill="rgb(16,16,16)"', drawn)

    def test_a_brighter_screen_is_lighter(self):
        greys = [picture_svg.light({"on": True, "brightness": level}) for level in (0, 1, 128, 255)]
        self.assertEqual(greys, sorted(set(greys)))
        self.assertEqual((greys[0], greys[-1]), (16, 240))

    def test_holds_the_picture_of_the_sub_display(self):
        image = tree_of(picture_svg.draw(story())).find(SVG + "image")
        self.assertEqual(base64.b64decode(image.get("href").removeprefix("data:image/png;base64,")),
                         b"\x89PNG")

    def test_is_the_same_for_the_same_story(self):
        self.assertEqual(picture_svg.draw(story()), picture_svg.draw(story()))


class TreeTest(FitTest):
    """The picture that the README shows."""

    def setUp(self):
        root = pathlib.Path(__file__).resolve().parent.parent
        self.drawn = (root / "docs/running.svg").read_text(encoding="utf-8")
        self.readme = (root / "README.md").read_text(encoding="utf-8")

    def test_is_shown_with_words_for_who_cannot_see_it(self):
        self.assertRegex(self.readme, r"!\[[^\]]{20,}\]\(docs/running\.svg\)")

    def test_everything_fits(self):
        self.check_fits(self.drawn)

    def test_refers_to_nothing_outside(self):
        links = re.findall(r"""(?:href|src|url)\b[=(]["']?([^"')]{0,22})""", self.drawn)
        self.assertEqual(links, ["data:image/png;base64,"])
        self.assertEqual(re.findall(r"<(script|style|foreignObject|use)\b", self.drawn), [])

    def test_tells_every_command_of_the_session(self):
        for step in picture.SESSION:
            self.assertIn(step.command, texts(self.drawn))


if __name__ == "__main__":
    unittest.main()
