# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
"""Tests of headers.py."""
import os
import pathlib
import unittest

import headers

ROOT = pathlib.Path(__file__).resolve().parents[2]
TEXT = """// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The lid of the cover.
//
// It has <one> hinge_pin.
#pragma once

#include <string>

namespace cover {

// Both open the lid.
void openLid();
void tearLid();  // at once

class Lid {
  public:
    // Its width
    // in mm.
    int width();

  private:
    // Of the hinge.
    int mState;

    bool mOpen;
};

}  // namespace cover
"""
START = """## cover/Lid.h

The lid of the cover.

It has \\<one> hinge\\_pin.

Both open the lid.

```cpp
void openLid();
void tearLid();  // at once

class Lid {
  public:
```

<a href="../source/host/include/cover/Lid.h.html#line-12">host/include/cover/Lid.h, line 12</a>

Its width
in mm.

```cpp
"""


class HeadersTest(unittest.TestCase):
    maxDiff = None

    def section(self, text):
        return "\n\n".join(headers.section("host/include/cover/Lid.h", text))

    def test_comments_are_text_and_declarations_code(self):
        self.assertEqual(self.section(TEXT), START + """  int width();

private:
```

<a href="../source/host/include/cover/Lid.h.html#line-19">host/include/cover/Lid.h, line 19</a>

Of the hinge.

```cpp
    int mState;

    bool mOpen;
};
```

<a href="../source/host/include/cover/Lid.h.html#line-23">host/include/cover/Lid.h, line 23</a>""")

    def test_a_client_sees_no_private_member(self):
        self.assertEqual(self.section(headers.without_private(TEXT)), START + """    int width();

};
```

<a href="../source/host/include/cover/Lid.h.html#line-19">host/include/cover/Lid.h, line 19</a>""")

    def test_every_header_of_a_group_has_a_section(self):
        os.chdir(ROOT)
        pages = headers.pages(lambda path: (ROOT / path).read_text(encoding="utf-8"))
        self.assertEqual(list(pages), ["api/headers-client.md", "api/headers-host.md", "api/headers-service.md"])
        self.assertEqual([text.count("\n## ") for text in pages.values()],
                         [len(headers.listed(patterns)) for _, _, patterns, _ in headers.GROUPS])
        self.assertEqual(len(headers.listed(headers.CLIENT)), len(headers.CLIENT))
        self.assertIn("\n## kernel/base/Mutex.h\n", pages["api/headers-service.md"])


if __name__ == "__main__":
    unittest.main()
