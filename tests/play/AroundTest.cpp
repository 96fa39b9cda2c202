// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/play/Around.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>

namespace play {
namespace {

using phone::Entry;
using phone::Kind;

class AroundTest : public testing::Test {
  protected:
    AroundTest() {
        setenv("TZ", "UTC", 1);
        tzset();
    }

    void add(Kind kind, const std::string& path, const std::string& bytes,
             const std::string& note = "") {
        Entry entry = {.kind = kind, .path = path, .bytes = bytes, .note = note};
        entry.seq = mEntries.end() + 1;
        entry.time = std::chrono::milliseconds(entry.seq);
        entry.wall = entry.time;
        mEntries.add(entry, 0);
    }
    void mark(size_t from, size_t to) {
        for (size_t i = from; i < to; ++i) add(Kind::Mark, "", "m" + std::to_string(i));
    }
    // The marks that are told, and what stands between them.
    std::string told(size_t since) const {
        std::string text = tellAround(mEntries, since);
        std::string marks;
        for (size_t at = 0; at < text.size(); at = text.find('\n', at) + 1) {
            const std::string line = text.substr(at, text.find('\n', at) - at);
            marks += line.substr(line.starts_with("...") ? 0 : line.rfind(' ') + 1) + " ";
        }
        return marks;
    }

    Stream<Entry> mEntries;
};

TEST_F(AroundTest, IsEmptyWhereNothingHappened) {
    EXPECT_EQ(tellAround(mEntries, 0), "");
}

TEST_F(AroundTest, HasALineForEachItem) {
    add(Kind::NodeWrite, "/sys/class/bivista/bv2/bv2_pd", "1 0");
    EXPECT_EQ(tellAround(mEntries, 0), "00:00:00.001  nodes     bv2_pd <- 1 0\n");
}

TEST_F(AroundTest, FewItemsStandAfterThoseBefore) {
    mark(0, 20);
    EXPECT_EQ(told(18), "m8 m9 m10 m11 m12 m13 m14 m15 m16 m17 m18 m19 ");
    EXPECT_EQ(told(20), "m8 m9 m10 m11 m12 m13 m14 m15 m16 m17 m18 m19 ");
}

TEST_F(AroundTest, OfManyItemsTheFirstAndTheLast) {
    mark(0, 100);
    EXPECT_EQ(told(50), "m50 m51 m52 m53 ... 38 more ... m92 m93 m94 m95 m96 m97 m98 m99 ");
}

TEST_F(AroundTest, LeavesOutWhatSaysNothing) {
    const auto ask = [&](const char* note) {
        add(Kind::ClientCall, "IBivista.getBV2Connect", "[]", note);
    };
    add(Kind::TtyOpen, "/dev/ttyACM0", "", "O_RDWR");
    add(Kind::NodeWrite, "/sys/bus/usb/devices/1-1/power/control", "on");
    ask("[true]");
    ask("[true]");
    ask("[false]");
    ask("[true]");
    EXPECT_EQ(told(0), "OK OK OK ");
}

}  // namespace
}  // namespace play
