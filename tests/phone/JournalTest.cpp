// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The journal on its own.

#include "emulator/phone/Journal.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <set>
#include <thread>

#include <unistd.h>
#include <nlohmann/json.hpp>

#include "emulator/cover/Text.h"

namespace {

using phone::Entry;
using phone::Journal;
using phone::Kind;
using testing::ElementsAre;
using testing::IsEmpty;

std::string everyByte() {
    std::string bytes;
    for (int i = 0; i < 256; ++i) bytes.push_back(static_cast<char>(i));
    return bytes;
}

TEST(JournalTest, NumbersEntriesFromOneInOrderOfTime) {
    Journal journal;
    EXPECT_EQ(journal.next(), 1u);
    journal.add(Kind::TtyRx, "/dev/ttyACM0", "a");
    journal.add(Kind::TtyTx, "/dev/ttyACM0", "b");
    const std::vector<Entry> entries = journal.since(1);
    ASSERT_EQ(entries.size(), 2u);
    EXPECT_EQ(entries[0].seq, 1u);
    EXPECT_EQ(entries[1].seq, 2u);
    EXPECT_LE(entries[0].time, entries[1].time);
    EXPECT_EQ(journal.next(), 3u);
}

TEST(JournalTest, GivesEntriesFromANumberOn) {
    Journal journal;
    for (const char* text : {"a", "b", "c"}) journal.add(Kind::TtyRx, {}, text);
    EXPECT_THAT(journal.list(Kind::TtyRx, 2), ElementsAre("b", "c"));
    EXPECT_THAT(journal.list(Kind::TtyRx, 0), ElementsAre("a", "b", "c"));
    EXPECT_THAT(journal.list(Kind::TtyRx, 4), IsEmpty());
    EXPECT_THAT(journal.list(Kind::TtyRx, 1000), IsEmpty());
    EXPECT_THAT(journal.list(Kind::TtyTx), IsEmpty());
    EXPECT_EQ(journal.joined(Kind::TtyRx), "abc");
}

TEST(JournalTest, GivesNoMoreThanAsked) {
    Journal journal;
    for (const char* text : {"a", "b", "c"}) journal.add(Kind::TtyRx, "12345", text);
    const auto count = [&](size_t most, size_t bytes) {
        return journal.since(1, most, bytes).size();
    };
    EXPECT_EQ(count(2, SIZE_MAX), 2u);
    EXPECT_EQ(count(0, SIZE_MAX), 0u);
    EXPECT_EQ(count(SIZE_MAX, 1), 1u);
    EXPECT_EQ(count(SIZE_MAX, 6), 1u);
    EXPECT_EQ(count(SIZE_MAX, 7), 2u);
    EXPECT_EQ(journal.since(3, 2, 6).front().bytes, "c");
}

TEST(JournalTest, JsonBringsEveryByteBack) {
    const Entry entry = {
            7, std::chrono::microseconds(12), Kind::NodeWrite, "/sys/\xff", everyByte(), "a\nb"};
    const std::string line = toJson(entry);
    EXPECT_EQ(line.find('\n'), std::string::npos);
    const nlohmann::json json = nlohmann::json::parse(line);
    EXPECT_EQ(json.at("seq"), 7);
    EXPECT_EQ(json.at("time_us"), 12);
    EXPECT_EQ(json.at("kind"), "node-write");
    EXPECT_EQ(cover::unescape(json.at("bytes").get<std::string>()), everyByte());
    EXPECT_EQ(cover::unescape(json.at("path").get<std::string>()), "/sys/\xff");
    EXPECT_EQ(cover::unescape(json.at("note").get<std::string>()), "a\nb");
}

TEST(JournalTest, JsonLeavesOutWhatIsEmpty) {
    EXPECT_EQ(toJson(Entry{1, {}, Kind::Fault, "", "", ""}),
              R"({"seq":1,"time_us":0,"kind":"fault"})");
}

TEST(JournalTest, WaitsForAnEntryThatComesLater) {
    Journal journal;
    std::thread writer([&] {
        for (const char* text : {"a", "b", "c"}) journal.add(Kind::TtyRx, "/dev/x", text);
    });
    EXPECT_EQ(journal.waitFor(phone::is(Kind::TtyRx, "c")).seq, 3u);
    EXPECT_EQ(journal.waitFor(phone::isOn(Kind::TtyRx, "/dev/x", "b"), 2).seq, 2u);
    writer.join();
}

TEST(JournalTest, GivesUpWaitingAtTheLimit) {
    Journal journal;
    journal.add(Kind::TtyRx, {}, "a");
    const auto match = phone::is(Kind::TtyRx, "a");
    EXPECT_TRUE(journal.waitFor(match, 1, std::chrono::milliseconds(0)));
    EXPECT_FALSE(journal.waitFor(match, 2, std::chrono::milliseconds(1)));
}

TEST(JournalTest, DropsTheOldestBeyondItsBounds) {
    Journal journal;
    const std::string megabyte(1 << 20, 'x');
    for (int i = 0; i < 70; ++i) journal.add(Kind::TtyTx, {}, megabyte);
    const std::vector<Entry> entries = journal.since(1);
    EXPECT_LT(entries.size(), 65u);
    EXPECT_GT(entries.size(), 60u);
    EXPECT_EQ(entries.back().seq, 70u);
    EXPECT_EQ(entries.front().seq, 71u - entries.size());
}

// A text may hold more memory than it has bytes.
TEST(JournalTest, BoundsTheMemoryThatTextsHold) {
    Journal journal;
    for (int i = 0; i < 70; ++i) {
        std::string roomy = "x";
        roomy.reserve(1 << 20);
        journal.add(Kind::TtyTx, {}, std::move(roomy));
    }
    EXPECT_LT(journal.since(1).size(), 65u);
}

TEST(JournalTest, WritesEachEntryToItsFile) {
    const std::string path =
            std::filesystem::temp_directory_path() / ("journal-" + std::to_string(getpid()));
    {
        Journal journal;
        ASSERT_TRUE(journal.writeTo(path));
        journal.add(Kind::TtyRx, "/dev/x", "a\r");
        journal.add(Kind::Detach, "1-1");
        std::ifstream file(path);
        for (const Entry& entry : journal.since(1)) {
            std::string line;
            ASSERT_TRUE(std::getline(file, line));
            EXPECT_EQ(line, toJson(entry));
        }
    }
    std::filesystem::remove(path);
}

TEST(JournalTest, FileThatCannotBeMadeIsReported) {
    Journal journal;
    EXPECT_FALSE(journal.writeTo("/nowhere/journal"));
    EXPECT_EQ(errno, ENOENT);
}

TEST(JournalTest, NamesOfKindsDiffer) {
    std::set<std::string_view> names;
    for (int kind = 0; kind <= static_cast<int>(Kind::UsbPower); ++kind) {
        names.insert(name(static_cast<Kind>(kind)));
    }
    EXPECT_EQ(names.size(), static_cast<size_t>(Kind::UsbPower) + 1);
    EXPECT_EQ(names.count("unknown"), 0u);
}

TEST(JournalTest, ManyThreadsWriteAndWait) {
    Journal journal;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&journal, i] {
            for (int k = 0; k < 100; ++k) journal.add(Kind::TtyRx, {}, std::to_string(i));
        });
        threads.emplace_back(
                [&journal, i] { journal.waitFor(phone::is(Kind::TtyRx, std::to_string(i))); });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(journal.since(1).size(), 400u);
}

}  // namespace
