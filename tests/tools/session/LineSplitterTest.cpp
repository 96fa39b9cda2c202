// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "tools/session/LineSplitter.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using session::kMostLineBytes;
using session::Line;
using session::LineSplitter;

namespace {

// The lines of a text that arrives in pieces of this length; "<too long>" for one that is.
std::vector<std::string> split(const std::string& text, size_t piece) {
    LineSplitter splitter;
    std::vector<std::string> lines;
    const auto keep = [&](const std::optional<Line>& line) {
        if (line) lines.push_back(line->isTooLong ? "<too long>" : line->text);
        return line.has_value();
    };
    for (size_t at = 0; at < text.size(); at += piece) {
        splitter.feed(text.substr(at, piece));
        while (keep(splitter.next())) {
        }
    }
    keep(splitter.last());
    return lines;
}

using Lines = std::vector<std::string>;

}  // namespace

TEST(LineSplitterTest, SplitsInTheSameWayHoweverTheBytesArrive) {
    const std::string text("one\n\n\xff\0three\r\n", 14);
    for (size_t piece = 1; piece <= text.size(); ++piece) {
        EXPECT_EQ((Lines{"one", "", std::string("\xff\0three\r", 8)}), split(text, piece)) << piece;
    }
}

TEST(LineSplitterTest, TheEndEndsTheLastLine) {
    EXPECT_EQ((Lines{"one", "half"}), split("one\nhalf", 3));
    EXPECT_EQ((Lines{"one"}), split("one\n", 3));
    EXPECT_EQ(Lines{}, split("", 1));
}

TEST(LineSplitterTest, ALineIsAsLongAsItMayBeAndNoLonger) {
    const std::string longest(kMostLineBytes, 'a');
    for (const size_t piece : {size_t{1} << 16, kMostLineBytes * 2}) {
        EXPECT_EQ((Lines{longest, "b"}), split(longest + "\nb\n", piece));
        EXPECT_EQ((Lines{"<too long>", "b"}), split(longest + "a\nb\n", piece));
        EXPECT_EQ((Lines{"<too long>", "b"}), split(longest + longest + "\nb\n", piece));
        EXPECT_EQ((Lines{"b", "<too long>"}), split("b\n" + longest + "a", piece));
    }
}
