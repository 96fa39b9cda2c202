// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// What a filter takes of the journal.

#include "emulator/timeline/Filter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "tests/timeline/Entries.h"

namespace timeline {
namespace {

using phone::Kind;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::IsSupersetOf;

const Entries& journal() {
    static const Entries kEntries =
            Entries()
                    .add(1, Kind::NodeOpen, "/sys/bv2_pd", "", "O_WRONLY")
                    .add(1, Kind::NodeWrite, "/sys/bv2_pd", "1 0")
                    .rx(2, "AT%SWV\r")
                    .tx(5, "\r\nBV330-V10k\r\nOK\r\n")
                    .report(6, 0, 0)
                    .lasting(0, 7, Kind::ClientCall, "IBivista.getFirmwareVersion", "[]",
                             R"(["OK","BV330"])")
                    .add(8, Kind::Mark, "", "here");
    return kEntries;
}

std::vector<uint64_t> itemsWith(const Filter& filter) {
    std::vector<uint64_t> numbers;
    for (const Item& item : itemsOf(journal())) {
        if (filter.takes(item)) numbers.push_back(item.id);
    }
    return numbers;
}

std::vector<uint64_t> entriesWith(const Filter& filter) {
    std::vector<uint64_t> numbers;
    for (const phone::Entry& entry : journal().list()) {
        if (filter.takes(entry)) numbers.push_back(entry.seq);
    }
    return numbers;
}

TEST(FilterTest, WithoutAWishLeavesOutOpensAndClosesOfItemsAlone) {
    EXPECT_TRUE(Filter().isEmpty());
    EXPECT_THAT(itemsWith({}), ElementsAre(2, 3, 5, 6, 7));
    EXPECT_THAT(entriesWith({}), ElementsAre(1, 2, 3, 4, 5, 6, 7));
}

TEST(FilterTest, TakesKindsOfItemsAndOfEntriesForBoth) {
    for (const char* const word : {"exchange", "tty-rx", "at"}) {
        EXPECT_THAT(itemsWith({.kinds = {word}}), ElementsAre(3)) << word;
    }
    EXPECT_THAT(entriesWith({.kinds = {"exchange"}}), ElementsAre(3, 4));
    EXPECT_THAT(entriesWith({.kinds = {"tty-rx"}}), ElementsAre(3));
    EXPECT_THAT(entriesWith({.kinds = {"at"}}), ElementsAre(3, 4));
    EXPECT_THAT(itemsWith({.kinds = {"call", "frame", "mark"}}), ElementsAre(5, 6, 7));
    EXPECT_THAT(entriesWith({.kinds = {"call", "frame", "mark"}}), ElementsAre(5, 6, 7));
}

TEST(FilterTest, TakesOpensAndClosesThatAreNamed) {
    EXPECT_THAT(itemsWith({.kinds = {"nodes"}}), ElementsAre(2));
    EXPECT_THAT(entriesWith({.kinds = {"nodes"}}), ElementsAre(1, 2));
    EXPECT_THAT(itemsWith({.kinds = {"node-open"}}), ElementsAre(1));
}

TEST(FilterTest, TakesATextInEitherCase) {
    EXPECT_THAT(itemsWith({.text = "bv330"}), ElementsAre(3, 6));
    EXPECT_THAT(itemsWith({.text = "DRAWN"}), ElementsAre(5));
    EXPECT_THAT(entriesWith({.text = "bv330-v10k\\r"}), ElementsAre(4));
    EXPECT_THAT(entriesWith({.text = "o_wronly"}), ElementsAre(1));
    EXPECT_THAT(entriesWith({.text = "BV2_pd"}), ElementsAre(1, 2));
    EXPECT_THAT(itemsWith({.kinds = {"call"}, .text = "nowhere"}), IsEmpty());
}

// An exchange that began before it and was over after it is taken whole.
TEST(FilterTest, TakesWhatWasOverNoEarlier) {
    const Filter filter = {.sinceWallUs = kWallUs + 4000};
    EXPECT_FALSE(filter.isEmpty());
    EXPECT_THAT(itemsWith(filter), ElementsAre(3, 5, 6, 7));
    EXPECT_THAT(entriesWith(filter), ElementsAre(4, 5, 6, 7));
}

TEST(FilterTest, TakesWhatIsNotOverYet) {
    const std::vector<Item> items = itemsOf(Entries().rx(1, "AT%SWV\r"));
    ASSERT_EQ(items.size(), 1u);
    EXPECT_TRUE(Filter{.sinceWallUs = kWallUs + 4000}.takes(items[0]));
}

TEST(FilterTest, HasAWordForEveryKind) {
    const std::set<std::string> words(kindWords().begin(), kindWords().end());
    EXPECT_EQ(words.size(), kindWords().size());
    EXPECT_THAT(words,
                IsSupersetOf({"at", "emulator", "attach", "control", "fault-met", "exchange", "log",
                              "unsolicited", "frame", "call", "callback", "neighbour-call"}));
}

}  // namespace
}  // namespace timeline
