// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/play/Nearest.h"

#include <gtest/gtest.h>

namespace play {
namespace {

using phone::Entry;
using phone::Kind;

constexpr char kNode[] = "/sys/class/bivista/bv2/bv2_pd";

Entry entry(Kind kind, std::string path, std::string bytes, std::string note = "") {
    return {.kind = kind,
            .path = std::move(path),
            .bytes = std::move(bytes),
            .note = std::move(note)};
}

Stream<Entry> streamOf(const std::vector<Entry>& entries) {
    Stream<Entry> stream;
    for (const Entry& each : entries) stream.add(each, 0);
    return stream;
}

Pattern is(const std::string& text) {
    return {Pattern::How::Is, text};
}

TEST(TakesTest, AnEntryByItsKindAndSpelling) {
    const Entry command = entry(Kind::TtyRx, "/dev/ttyACM0", "AT\r");
    EXPECT_TRUE(takes(EntryPattern{"tty-rx", {}, {}, {}}, command));
    EXPECT_TRUE(takes(EntryPattern{"tty-rx", {}, is("AT\\r"), {}}, command));
    EXPECT_FALSE(takes(EntryPattern{"tty-rx", {}, is("AT"), {}}, command));
    EXPECT_FALSE(takes(EntryPattern{"tty-tx", {}, {}, {}}, command));
    EXPECT_FALSE(takes(EntryPattern{"tty-rx", is("/dev/ttyACM1"), {}, {}}, command));
    EXPECT_FALSE(takes(EntryPattern{"tty-rx", {}, {}, is("note")}, command));
}

TEST(TakesTest, ALineByItsPriorityAndText) {
    const LogLine line = {'D', "tag", "text"};
    EXPECT_TRUE(takes(LogPattern{'D', is("text")}, line));
    EXPECT_TRUE(takes(LogPattern{std::nullopt, is("text")}, line));
    EXPECT_FALSE(takes(LogPattern{'W', is("text")}, line));
    EXPECT_FALSE(takes(LogPattern{'D', is("tex")}, line));
}

TEST(InWordsTest, AreThoseOfScenarios) {
    EXPECT_EQ(inWords(entry(Kind::TtyRx, "/dev/ttyACM0", "AT%BV=1\r")), "at: AT%BV=1");
    EXPECT_EQ(inWords(entry(Kind::TtyTx, "/dev/ttyACM0", "\r\nOK\r\n")), "answer: \\r\\nOK\\r\\n");
    EXPECT_EQ(inWords(entry(Kind::NodeWrite, kNode, "1 0")), "node: {bv2_pd: 1 0}");
    EXPECT_EQ(inWords(entry(Kind::ClientCallback, "IBivistaLpwgCallback.onEvent", "[1,\"X\"]")),
              "callback: {onEvent: [1,\"X\"]}");
    EXPECT_EQ(inWords(entry(Kind::HidSet, "/dev/hidraw0", "\x01\x02", "EPIPE")),
              "journal: {kind: hid-set, path: /dev/hidraw0, bytes: \\x01\\x02, note: EPIPE}");
    EXPECT_EQ(inWords(LogLine{'W', "tag", "a\x01"}), "log: {W: a\\x01}");
    EXPECT_LT(inWords(entry(Kind::HidWrite, "", std::string(16'384, 'x'))).size(), 300u);
}

TEST(TellNearestTest, EntriesOfThePathFirst) {
    const Stream<Entry> entries = streamOf(
            {entry(Kind::NodeWrite, kNode, "0 0"), entry(Kind::NodeWrite, "/sys/other", "1 0"),
             entry(Kind::NodeWrite, kNode, "1 0"), entry(Kind::TtyRx, "", "1 1\r")});
    const EntryPattern pattern = {"node-write", is(kNode), is("1 1"), {}};
    EXPECT_EQ(tellNearest(pattern, entries, 0), "node: {bv2_pd: 0 0}\nnode: {bv2_pd: 1 0}");
    EXPECT_EQ(tellNearest(pattern, entries, 1), "node: {bv2_pd: 1 0}");
    EXPECT_EQ(tellNearest(pattern, entries, 3), "no node-write");
    const EntryPattern elsewhere = {"node-write", is("/sys/none"), is("1 1"), {}};
    EXPECT_EQ(tellNearest(elsewhere, entries, 1), "node: {other: 1 0}\nnode: {bv2_pd: 1 0}");
}

TEST(TellNearestTest, TheMostAlikeOfManyInTheirOrder) {
    std::vector<Entry> entries;
    for (int i = 0; i < 100; ++i) {
        entries.push_back(entry(Kind::TtyRx, "", "AT%DB=" + std::to_string(i) + "\r"));
    }
    EXPECT_EQ(tellNearest(EntryPattern{"tty-rx", {}, is("AT%DB=300\\r"), {}}, streamOf(entries), 0),
              "100 tty-rx, the nearest:\nat: AT%DB=30\nat: AT%DB=36\nat: AT%DB=37\nat: AT%DB=38\n"
              "at: AT%DB=39");
}

TEST(TellNearestTest, ALineOfAnotherPriority) {
    Stream<LogLine> lines;
    lines.add({' ', "", "text"}, 0);
    lines.add({'I', "t", "te"}, 0);
    lines.add({'D', "t", "text"}, 0);
    for (int i = 0; i < 10; ++i) lines.add({'D', "t", "x"}, 0);
    const std::string told = tellNearest(LogPattern{'W', is("text")}, lines, 0);
    EXPECT_EQ(told,
              "12 log lines, the nearest:\nlog: {I: te}\nlog: {D: text}\nlog: {D: x}\n"
              "log: {D: x}\nlog: {D: x}");
    EXPECT_EQ(tellNearest(LogPattern{'W', is("text")}, lines, 13), "no log lines");
}

}  // namespace
}  // namespace play
