# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
"""Tests of hal.py."""
import pathlib
import re
import unittest

import hal

ROOT = pathlib.Path(__file__).resolve().parents[2]
OLD = "interfaces/cover/1.0/ICover.hal"
NEW = "interfaces/cover/1.1/ICover.hal"
TYPES = "interfaces/cover/1.0/types.hal"
TEXTS = {
    OLD: """package vendor.qmx.hardware.cover@1.0;

import ICallback;

/**
 * The cover. See <b>below</b>.
 *
 * It has a *lid*.
 */
interface ICover {
    /**
     * Opens the lid.
     *
     * @param far how far it opens, after
     *     closeLid of another client.
     * @return status OK | FAIL.
     */
    openLid(uint32_t far, vec<Lid> lids)
        generates (Status status, string text);

    oneway closeLid();
};
""",
    NEW: """package vendor.qmx.hardware.cover@1.1;
import @1.0::ICover;
interface ICover extends @1.0::ICover {
    /** As openLid, at once. */
    tearLid();
};
""",
    TYPES: """// Not a comment of anything.
package vendor.qmx.hardware.cover@1.0;
/** What came of it. */
enum Status : int32_t {
    /** Good. */
    OK = 0,
    FAIL
};
/** A lid. */
struct Lid {
    /** In mm. */
    uint16_t width;
    Status status;
};
""",
}


class HalTest(unittest.TestCase):
    maxDiff = None

    def pages(self, **texts):
        return hal.pages(TEXTS, {**TEXTS, **texts}.get)

    def test_a_page_has_each_version_of_a_package(self):
        self.assertEqual(list(self.pages()), ["api/cover-1.0.md", "api/cover-1.1.md"])

    def test_interfaces_methods_and_types_are_shown_with_comment_and_line(self):
        self.assertEqual(self.pages()["api/cover-1.0.md"], r"""# vendor.qmx.hardware.cover@1.0

Made of the `.hal` files in `interfaces/cover/1.0/`.

## interface ICover

The cover. See \<b>below\</b>.

It has a \*lid\*.

<a href="../source/interfaces/cover/1.0/ICover.hal.html#line-10">interfaces/cover/1.0/ICover.hal, line 10</a>

### openLid

```cpp
openLid(uint32_t far, vec<Lid> lids) generates (Status status, string text);
```

Opens the lid.

- takes **far** (`uint32_t`): how far it opens, after [`closeLid`](cover-1.0.md#closelid) of another client.
- takes **lids** ([`vec<Lid>`](cover-1.0.md#struct-lid))
- gives **status** ([`Status`](cover-1.0.md#enum-status)): OK | FAIL.
- gives **text** (`string`)

<a href="../source/interfaces/cover/1.0/ICover.hal.html#line-18">interfaces/cover/1.0/ICover.hal, line 18</a>

### closeLid

```cpp
oneway closeLid();
```




<a href="../source/interfaces/cover/1.0/ICover.hal.html#line-21">interfaces/cover/1.0/ICover.hal, line 21</a>

## enum Status

What came of it.

Numbers are `int32_t`.

<a href="../source/interfaces/cover/1.0/types.hal.html#line-4">interfaces/cover/1.0/types.hal, line 4</a>

| value | number | what it means |
|---|---|---|
| `OK` | 0 | Good. |
| `FAIL` |  |  |

## struct Lid

A lid.

<a href="../source/interfaces/cover/1.0/types.hal.html#line-10">interfaces/cover/1.0/types.hal, line 10</a>

| field | type | what it is |
|---|---|---|
| `width` | `uint16_t` | In mm. |
| `status` | [`Status`](cover-1.0.md#enum-status) |  |
""")

    def test_a_later_version_leads_to_the_older_one(self):
        page = self.pages()["api/cover-1.1.md"]
        self.assertIn("Extends [`@1.0::ICover`](cover-1.0.md#interface-icover).", page)
        self.assertIn("As [`openLid`](cover-1.0.md#openlid), at once.", page)

    def test_what_is_not_understood_is_refused_with_its_line(self):
        for text, finding in (
                ("package a.b@1.0;\ntypedef int32_t Number;\n", f"{OLD}:2: typedef int32_t Number;"),
                ("interface ICover {\n    int32_t x;\n};", f"{OLD}:2: int32_t x;"),
                ("interface ICover {\n", f"{OLD}: ICover has no end"),
                ("interface ICover {\n/** @return text It. */\nopenLid();\n};", f"{OLD}:3: openLid has no text"),
                ("interface ICover {\n/** @param text It. */\nopenLid(string other);\n};", f"{OLD}:3: openLid has no text")):
            with self.subTest(text=text), self.assertRaises(hal.Unknown) as raised:
                self.pages(**{OLD: text})
            self.assertEqual(str(raised.exception), finding)

    def test_the_reference_has_every_name_of_the_interfaces(self):
        paths = sorted(str(path.relative_to(ROOT)) for path in (ROOT / "interfaces").rglob("*.hal"))
        pages = hal.pages(paths, lambda path: (ROOT / path).read_text(encoding="utf-8"))
        self.assertTrue(paths)
        for path in paths:
            code = re.sub(r"/\*.*?\*/", "", (ROOT / path).read_text(encoding="utf-8"), flags=re.DOTALL)
            page = pages[hal.page_name(*hal.version_of(path))]
            names = re.findall(r"^    (?:oneway )?(\w+)\(", code, re.MULTILINE)
            self.assertEqual([name for name in names if f"\n### {name}\n" not in page], [], path)
            for name in re.findall(r"^    (\w+) = |^    [\w<>]+ (\w+);", code, re.MULTILINE):
                self.assertIn(f"\n| `{''.join(name)}` | ", page)
            for name in re.findall(r"^((?:interface|enum|struct|union) \w+)", code, re.MULTILINE):
                self.assertIn(f"\n## {name}\n", page)


if __name__ == "__main__":
    unittest.main()
