// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// What holds for all items.

#include "emulator/timeline/Timeline.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <set>
#include <string>

#include "tests/timeline/Entries.h"

namespace timeline {
namespace {

using phone::Entry;
using phone::Kind;
using testing::ElementsAre;
using testing::IsEmpty;

// Of every kind, of several devices, with bytes that begin and end anything anywhere.
Entries manyEntries() {
    constexpr const char* kPieces[] = {"AT%SWV\r",       "AT",    "\r",   "\n",     "\r\nOK\r\n",
                                       "log\r\n",        "\r\nx", "O",    "K",      "\r\n\xff",
                                       "AT%LOGSAVE=0\r", "[1]",   "100%", "started"};
    constexpr const char* kPaths[] = {kTty, "/dev/ttyACM1", kPanel, "1-1", "1-2", ""};
    Entries entries;
    uint32_t state = 1;
    const auto random = [&state](uint32_t below) {
        state = state * 1664525 + 1013904223;
        return (state >> 8) % below;
    };
    for (int i = 0; i < 5000; ++i) {
        const bool isTty = random(2) == 0;
        const auto kind = isTty ? (random(3) == 0 ? Kind::TtyRx : Kind::TtyTx)
                                : static_cast<Kind>(random(29));
        entries.add(i + random(3), kind, kPaths[random(std::size(kPaths))],
                    kPieces[random(std::size(kPieces))], kPieces[random(std::size(kPieces))]);
        if (random(500) == 0) entries.skip(3);
    }
    return entries;
}

std::map<uint64_t, Item> inBatches(const Entries& entries, size_t size) {
    Timeline timeline;
    std::map<uint64_t, Item> items;
    const auto take = [&] {
        for (Item& item : timeline.take()) {
            const auto known = items.find(item.id);
            EXPECT_TRUE(known == items.end() || known->second.open) << describeItem(item);
            items[item.id] = std::move(item);
        }
    };
    size_t count = 0;
    for (const Entry& entry : entries.list()) {
        timeline.add(entry);
        if (++count % size == 0) take();
    }
    timeline.end();
    take();
    return items;
}

TEST(TimelineTest, GivesTheSameItemsWhateverTheBatches) {
    const Entries entries = manyEntries();
    const std::map<uint64_t, Item> items = inBatches(entries, SIZE_MAX);
    EXPECT_GT(items.size(), 1000u);
    for (const size_t size : {1, 2, 7, 1000}) EXPECT_EQ(inBatches(entries, size), items) << size;
    for (const auto& [id, item] : items) {
        EXPECT_FALSE(item.open) << describeItem(item);
        EXPECT_GE(item.durationUs, 0) << describeItem(item);
        EXPECT_GE(item.last, item.id) << describeItem(item);
        EXPECT_EQ(item.wallUs, kWallUs + item.beginUs) << describeItem(item);
    }
}

TEST(TimelineTest, GivesAnItemAgainOnlyWhenItHasChanged) {
    Timeline timeline;
    const Entries entries = Entries().rx(1, "AT\r").add(2, Kind::Mark, "", "a").tx(3, "\r\nOK\r\n");
    timeline.add(entries.list()[0]);
    EXPECT_THAT(describeAll(timeline.take()), ElementsAre(R"(exchange 1 "AT", open)"));
    EXPECT_EQ(timeline.waiting(), 1u);
    timeline.add(entries.list()[1]);
    EXPECT_THAT(describeAll(timeline.take()), ElementsAre(R"(mark 2 "a")"));
    timeline.add(entries.list()[2]);
    EXPECT_THAT(describeAll(timeline.take()), ElementsAre(R"(exchange 1-3 "AT" OK 2 ms)"));
    EXPECT_EQ(timeline.waiting(), 0u);
    timeline.add(entries.list()[0]);
    EXPECT_THAT(timeline.take(), IsEmpty());
}

TEST(TimelineTest, EndsWhatIsOpen) {
    Entries entries;
    entries.rx(1, "AT\r").report(2, 0, 9).add(3, Kind::Upgrade, "a.dfu", "", "started");
    entries.add(4, Kind::Mark, "", "last");
    EXPECT_THAT(describeAll(itemsOf(entries, true)),
                ElementsAre(R"(exchange 1 "AT" cut off 3 ms)",
                            R"(frame 2 "frame" "9 bytes in 1 report" cut off 2 ms)",
                            R"(upgrade 3 "a.dfu" "started" cut off 1 ms)", R"(mark 4 "last")"));
}

// A call is in the journal when it is over.
TEST(TimelineTest, TakesACallThatBeganBeforeTheEntriesBeforeIt) {
    Entries entries;
    entries.rx(5, "AT\r").tx(6, "\r\nOK\r\n").lasting(4, 3, Kind::ClientCall, "f", "[]", "[]");
    const auto items = itemsOf(entries);
    EXPECT_THAT(describeAll(items),
                ElementsAre(R"(exchange 1-2 "AT" OK 1 ms)", R"t(call 3 "f()" OK 3 ms)t"));
    EXPECT_EQ(items[1].beginUs, 4000);
}

TEST(TimelineTest, TellsOnceOfARequestWhoseEffectHasTheSameWords) {
    Entries entries;
    entries.add(1, Kind::Control, "POST /v1/faults", R"({"text":"on AT deaf"})")
            .add(1, Kind::Fault, "", "on AT deaf")
            .add(2, Kind::Control, "PUT /v1/properties", R"({"key":"a","value":"b"})")
            .add(2, Kind::Property, "a", "b")
            .add(3, Kind::Control, "POST /v1/attach", "{}")
            .attach(3)
            .add(4, Kind::Control, "POST /v1/faults", R"({"text":"on"})")
            .add(4, Kind::Control, "POST /v1/faults", R"({"text":"on"})", "no fault");
    EXPECT_THAT(describeAll(itemsOf(entries)),
                ElementsAre(R"(fault 2 "fault on AT deaf")", R"(property 4 "a = b")",
                            R"(control 5 "POST /v1/attach" "{}")",
                            R"(attach 6 "attach 1-1" "3e91:6a2f TQC330R BV33021030001")",
                            R"(control 8 "POST /v1/faults" "{"text":"on"} | no fault" refused)"));
}

TEST(TimelineTest, HoldsNoMoreThanTheCoverDoes) {
    Timeline timeline;
    Entry entry = {.seq = 0, .kind = Kind::TtyRx, .path = kTty, .bytes = "AT\r"};
    // All at one moment, as of one write; then of a thousand ttys and panels.
    for (int i = 0; i < 300'000; ++i) {
        ++entry.seq;
        if (i >= 150'000) {
            entry.kind = i % 2 == 0 ? Kind::TtyRx : Kind::HidWrite;
            entry.path = "/dev/" + std::to_string(i % 1000);
        }
        timeline.add(entry);
        size_t open = 0;
        for (const Item& item : timeline.take()) open += item.open ? 1 : 0;
        ASSERT_LE(open, 2u);
        ASSERT_LE(timeline.waiting(), size_t{16} * 65);
    }
}

TEST(TimelineTest, HoldsNoMoreOfACommandOrALineThatNeverEnds) {
    Timeline timeline;
    Entry entry = {.seq = 0, .kind = Kind::TtyRx, .path = kTty, .bytes = std::string(4096, 'x')};
    for (int i = 0; i < 20'000; ++i) {
        if (i == 10'000) entry.kind = Kind::TtyTx;
        ++entry.seq;
        timeline.add(entry);
    }
    timeline.end();
    for (const Item& item : timeline.take()) {
        EXPECT_LE(item.title.size(), kLongestText + 3);
        EXPECT_LE(item.detail.size(), kLongestText + 3);
    }
}

TEST(TimelineTest, PrintsAnItemAsAnArray) {
    Item item = {.id = 7,
                 .last = 9,
                 .lane = Lane::At,
                 .kind = "exchange",
                 .beginUs = 5,
                 .durationUs = 6,
                 .wallUs = kWallUs,
                 .title = "AT\"",
                 .detail = "d",
                 .verdict = "OK"};
    EXPECT_EQ(toJson(item), R"([7,9,"at","exchange",5,6,1790000000000000,"AT\"","d","OK",0])");
    item.faulty = true;
    EXPECT_TRUE(toJson(item).ends_with(",1]"));
    item.open = true;
    EXPECT_TRUE(toJson(item).ends_with(",3]"));
    item.faulty = false;
    EXPECT_TRUE(toJson(item).ends_with(",2]"));
}

TEST(TimelineTest, NamesItsLanes) {
    std::vector<std::string_view> names;
    for (const Lane lane : kLanes) names.push_back(name(lane));
    EXPECT_THAT(names, ElementsAre("at", "panel", "nodes", "uevents", "usb", "calls", "emulator"));
    EXPECT_TRUE(isBackground("node-open"));
    EXPECT_FALSE(isBackground("node-write"));
}

}  // namespace
}  // namespace timeline
