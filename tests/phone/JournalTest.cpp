// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The journal on its own.

#include "emulator/phone/Journal.h"

#include <gmock/gmock.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <thread>

#include <unistd.h>

namespace {

using phone::Entry;
using phone::Journal;
using phone::Kind;
using testing::ElementsAre;
using testing::IsEmpty;

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

// What lasted has the clocks of its begin. The memory keeps the short texts, the file the whole.
TEST(JournalTest, AddsWhatIsOver) {
    using std::chrono::milliseconds;
    const std::string path =
            std::filesystem::temp_directory_path() / ("journal-past-" + std::to_string(getpid()));
    Journal journal;
    ASSERT_TRUE(journal.writeTo(path));
    const auto begin = std::chrono::steady_clock::now();
    journal.add(Kind::TtyRx, "/dev/x", "a\r");
    journal.add({.kind = Kind::ClientCall,
                 .begin = begin,
                 .duration = milliseconds(3),
                 .path = "IBivista.sendAtCommand",
                 .bytes = "short",
                 .note = "[\"OK\"]",
                 .wholeBytes = "whole"});
    // One that began before the journal.
    journal.add({.kind = Kind::ClientCallback, .begin = begin - std::chrono::hours(1)});
    const std::vector<Entry> entries = journal.since(1);
    ASSERT_EQ(entries.size(), 3u);
    EXPECT_EQ(entries[1].seq, 2u);
    EXPECT_LE(entries[1].time, entries[0].time);
    EXPECT_EQ(entries[1].duration, milliseconds(3));
    EXPECT_EQ(entries[1].bytes, "short");
    EXPECT_EQ(entries[2].time, milliseconds(0));
    EXPECT_FALSE(entries[0].duration);
    std::ifstream file(path);
    std::string line;
    std::getline(file, line);
    std::getline(file, line);
    EXPECT_THAT(line,
                testing::HasSubstr(R"("bytes":"whole","note":"[\\\"OK\\\"]","duration_us":3000})"));
    std::filesystem::remove(path);
}

TEST(JournalTest, WallClockIsThatOfTheMoment) {
    Journal journal;
    const auto now = [] { return std::chrono::system_clock::now().time_since_epoch(); };
    const auto before = now();
    journal.add(Kind::TtyRx, "/dev/x", "a\r");
    EXPECT_GE(journal.since(1)[0].wall, before);
    EXPECT_LE(journal.since(1)[0].wall, now());
}

TEST(JournalTest, FileThatCannotBeMadeIsReported) {
    Journal journal;
    EXPECT_FALSE(journal.writeTo("/nowhere/journal"));
    EXPECT_EQ(errno, ENOENT);
}

constexpr std::chrono::hours kLong(1);
const auto kNotOver = [] { return false; };

TEST(JournalTest, AwaitsTheNextEntry) {
    Journal journal;
    std::thread writer([&journal] { journal.add(Kind::TtyRx, {}, "a"); });
    EXPECT_TRUE(journal.await(1, kLong, kNotOver));
    writer.join();
    EXPECT_TRUE(journal.await(1, std::chrono::milliseconds(0), kNotOver));
    EXPECT_FALSE(journal.await(2, std::chrono::milliseconds(1), kNotOver));
    EXPECT_FALSE(journal.await(2, kLong, [] { return true; }));
}

// A lost wake-up would let the test hang.
TEST(JournalTest, AwaitingEndsWhenItIsWoken) {
    Journal journal;
    for (int i = 0; i < 2000; ++i) {
        std::atomic<bool> isOver = false;
        std::thread reader([&] {
            EXPECT_FALSE(journal.await(1, kLong, [&isOver] { return isOver.load(); }));
        });
        isOver = true;
        journal.wake();
        reader.join();
    }
}

TEST(JournalTest, AwaitingSleeps) {
    Journal journal;
    std::atomic<int> looks = 0;
    std::thread reader([&] {
        journal.await(1, kLong, [&looks] {
            ++looks;
            looks.notify_one();
            return false;
        });
    });
    looks.wait(0);
    // Woken once by this, and not by itself.
    journal.wake();
    journal.add(Kind::TtyRx, {}, "a");
    reader.join();
    EXPECT_LE(looks, 2);
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

// The wall clock, in the resolution of an entry.
std::chrono::nanoseconds wallNow() {
    return std::chrono::system_clock::now().time_since_epoch();
}

TEST(JournalTest, EntriesTellTheWallClock) {
    Journal journal;
    const auto before = wallNow();
    journal.add(Kind::Mark, "", "text");
    const auto after = wallNow();
    const Entry entry = journal.since(1).at(0);
    EXPECT_LE(before, entry.wall);
    EXPECT_LE(entry.wall, after);
    EXPECT_FALSE(entry.duration);
}

TEST(JournalTest, WhatIsOverStandsAtItsBegin) {
    const auto early = std::chrono::steady_clock::now() - std::chrono::hours(1);
    Journal journal;
    journal.add(Kind::Mark, "", "first");
    const auto wallBegin = wallNow();
    const auto begin = std::chrono::steady_clock::now();
    journal.add(Kind::Mark, "", "during");
    journal.add({.begin = begin, .duration = std::chrono::microseconds(7), .path = "past"});
    journal.add({.begin = early, .path = "early"});
    const std::vector<Entry> entries = journal.since(1);
    ASSERT_EQ(entries.size(), 4u);
    EXPECT_LE(entries[0].time, entries[2].time);
    EXPECT_LE(entries[2].time, entries[1].time);
    EXPECT_EQ(entries[2].duration, std::chrono::microseconds(7));
    EXPECT_LE(wallBegin, entries[2].wall);
    // The journal was not there yet; the clock was.
    EXPECT_EQ(entries[3].time.count(), 0);
    EXPECT_LE(entries[3].wall, wallNow() - std::chrono::hours(1));
}

TEST(JournalTest, ItsFileHasLongTextsWhole) {
    const std::string path = "/tmp/journal-" + std::to_string(getpid());
    Journal journal;
    ASSERT_TRUE(journal.writeTo(path));
    journal.add({.bytes = "short", .note = "brief", .wholeBytes = "whole", .wholeNote = "all"});
    EXPECT_EQ(journal.since(1).at(0).bytes, "short");
    EXPECT_EQ(journal.since(1).at(0).note, "brief");
    std::ifstream file(path);
    const std::string line{std::istreambuf_iterator<char>(file), {}};
    EXPECT_THAT(line, testing::HasSubstr(R"("bytes":"whole","note":"all")"));
    std::filesystem::remove(path);
}

}  // namespace
