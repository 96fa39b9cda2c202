// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// What a service of today does otherwise than the recorded one.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "emulator/recording/Recording.h"

namespace recording {
namespace {

using namespace std::chrono_literals;
using phone::Entry;
using phone::Kind;
using testing::IsEmpty;
using testing::SizeIs;

constexpr char kTty[] = "/dev/ttyACM0";
constexpr char kNode[] = "/sys/class/bivista/bv2/bv2_pd";
constexpr char kPanel[] = "/dev/hidraw0";

// Entries a millisecond apart.
class Entries {
  public:
    Entries& add(Kind kind, std::string path, std::string bytes = "", std::string note = "") {
        Entry entry;
        entry.seq = mList.size() + 1;
        entry.time = std::chrono::milliseconds(entry.seq);
        entry.kind = kind;
        entry.path = std::move(path);
        entry.bytes = std::move(bytes);
        entry.note = std::move(note);
        mList.push_back(std::move(entry));
        return *this;
    }
    Entries& rx(std::string bytes) { return add(Kind::TtyRx, kTty, std::move(bytes)); }
    Entries& node(std::string bytes) { return add(Kind::NodeWrite, kNode, std::move(bytes)); }

    const std::vector<Entry>& list() const { return mList; }
    Recording recording(const std::string& source = "phone") const {
        Recording recording;
        recording.header.source = source;
        recording.entries = mList;
        return recording;
    }

  private:
    std::vector<Entry> mList;
};

TEST(ComparisonTest, OfACallbackTheClientsEndDoesNotCount) {
    const std::string path = "IBivistaLpwgCallback.onLpwgEvent_1_1";
    const Recording dead =
            Entries().add(Kind::ClientCallback, path, R"(["WAKEUP",0])", "DEAD_OBJECT").recording();
    const Entries alive = Entries().add(Kind::ClientCallback, path, R"(["WAKEUP",0])");
    EXPECT_THAT(compare(dead, alive.list()).differences, IsEmpty());
    const Entries another = Entries().add(Kind::ClientCallback, path, R"(["UNKNOWN",-1])");
    EXPECT_THAT(compare(dead, another.list()).differences, SizeIs(1));
}

TEST(ComparisonTest, OrderCountsWithinALaneOnly) {
    const Recording recorded = Entries().rx("a\r").node("1").rx("b\r").node("2").recording();
    const Entries otherwise = Entries().node("1").node("2").rx("a\r").rx("b\r");
    const Comparison comparison = compare(recorded, otherwise.list());
    EXPECT_THAT(comparison.differences, IsEmpty());
    EXPECT_EQ(comparison.compared, 4);
    EXPECT_EQ(sideBySide(comparison, recorded, otherwise.list(), 80), "");

    const Entries wrong = Entries().rx("b\r").rx("a\r").node("1").node("2");
    const Comparison second = compare(recorded, wrong.list());
    ASSERT_THAT(second.differences, SizeIs(1));
    EXPECT_EQ(second.differences[0].lane, "tty");
    EXPECT_EQ(second.differences[0].recorded, &recorded.entries[0]);
    EXPECT_EQ(second.differences[0].replayed, &wrong.list()[0]);
}

TEST(ComparisonTest, WhatHappensToTheServiceIsNotCompared) {
    const Recording recorded = Entries().rx("a\r").recording();
    const Entries more = Entries()
                                 .add(Kind::Attach, "1-1", "", "x")
                                 .rx("a\r")
                                 .add(Kind::TtyTx, kTty, "\r\nOK\r\n")
                                 .add(Kind::Control, "POST /v1/detach")
                                 .add(Kind::Mark, "", "x")
                                 .add(Kind::UsbPower, "1-1", "", "suspended")
                                 .add(Kind::ClientCall, "", "", "3 calls are missing");
    EXPECT_THAT(compare(recorded, more.list()).differences, IsEmpty());
}

TEST(ComparisonTest, ADeedLessOrMoreIsADifference) {
    const Recording recorded = Entries().rx("a\r").rx("b\r").recording();
    const Entries less = Entries().rx("a\r");
    const Comparison first = compare(recorded, less.list());
    ASSERT_THAT(first.differences, SizeIs(1));
    EXPECT_EQ(first.differences[0].recorded, &recorded.entries[1]);
    EXPECT_EQ(first.differences[0].replayed, nullptr);

    const Entries more = Entries().rx("a\r").rx("b\r").node("1");
    const Comparison second = compare(recorded, more.list());
    ASSERT_THAT(second.differences, SizeIs(1));
    EXPECT_EQ(second.differences[0].lane, std::string("node ") + kNode);
    EXPECT_EQ(second.differences[0].recorded, nullptr);
    EXPECT_EQ(second.differences[0].replayed, &more.list()[2]);
}

TEST(ComparisonTest, TheFirstDifferenceOfEachLaneComesInTheOrderOfTheRecording) {
    const Recording recorded =
            Entries().rx("a\r").node("1").add(Kind::HidSet, kPanel, "x").rx("b\r").recording();
    const Entries wrong =
            Entries()
                    .rx("a\r")
                    .node("2")
                    .add(Kind::ClientCallback, "IBivistaAtCallback.onAtResponse", "[]")
                    .add(Kind::HidSet, kPanel, "x")
                    .rx("c\r")
                    .rx("d\r");
    const Comparison comparison = compare(recorded, wrong.list());
    ASSERT_THAT(comparison.differences, SizeIs(3));
    EXPECT_EQ(comparison.differences[0].lane, std::string("node ") + kNode);
    EXPECT_EQ(comparison.differences[1].lane, "callback IBivistaAtCallback.onAtResponse");
    EXPECT_EQ(comparison.differences[2].lane, "tty");
}

TEST(ComparisonTest, OnlyLanesThatTheRecordingHoldsAreCompared) {
    Recording recorded = Entries().rx("a\r").node("1").recording();
    recorded.header.lanes = {"node"};
    const Comparison comparison = compare(recorded, Entries().rx("b\r").node("1").list());
    EXPECT_THAT(comparison.differences, IsEmpty());
    EXPECT_EQ(comparison.compared, 1);
    EXPECT_THAT(compare(recorded, Entries().node("2").list()).differences, SizeIs(1));
}

TEST(ComparisonTest, WhatALogDoesNotTellIsNotCompared) {
    const Entries told = Entries().add(Kind::ClientCall, "IBivista.setBrightness", "[128]", "");
    const Entries made =
            Entries().add(Kind::ClientCall, "IBivista.setBrightness", "[128]", "[\"OK\"]");
    EXPECT_THAT(compare(told.recording("log"), made.list()).differences, IsEmpty());
    EXPECT_THAT(compare(told.recording("phone"), made.list()).differences, SizeIs(1));
}

TEST(ComparisonTest, SideBySideShowsTheNeighbourhood) {
    const Recording recorded =
            Entries().rx("a\r").rx("b\r").rx("c\r").rx("d\r").rx("e\r").node("1 0").recording();
    const Entries wrong =
            Entries().rx("a\r").rx("b\r").rx("c\r").rx("d\r").rx("E\r").rx("f\r").node("1 0");
    EXPECT_EQ(sideBySide(compare(recorded, wrong.list()), recorded, wrong.list(), 60),
              R"(recorded                       replayed

tty, deed 5
0.002 b\r                      0.002 b\r
0.003 c\r                      0.003 c\r
0.004 d\r                      0.004 d\r
0.005 e\r                    ! 0.005 E\r
  bytes at 0: "e\r"          !   bytes at 0: "E\r"
(nothing)                      0.006 f\r
)");
}

TEST(ComparisonTest, SideBySideShowsWhereLongTextsDiffer) {
    std::string frame(4000, 'x');
    const Recording recorded = Entries().add(Kind::HidWrite, kPanel, frame).recording();
    frame[3000] = 'y';
    const Entries wrong = Entries().add(Kind::HidWrite, kPanel, frame);
    const std::string text =
            sideBySide(compare(recorded, wrong.list()), recorded, wrong.list(), 80);
    EXPECT_THAT(text, testing::HasSubstr("bytes at 3000: \"xxxxxx"));
    EXPECT_THAT(text, testing::HasSubstr("bytes at 3000: \"xxxxyx"));
    for (size_t at = 0; at < text.size();) {
        const size_t end = text.find('\n', at);
        EXPECT_LE(end - at, 80U);
        at = end + 1;
    }
}

// Other threads of the service do these, and nothing promises their order.
TEST(ComparisonTest, ThreadsHaveLanesOfTheirOwn) {
    const auto lane = [](Kind kind, const std::string& path, const std::string& bytes = "",
                         const std::string& note = "") {
        return laneOf(Entries().add(kind, path, bytes, note).list()[0]);
    };
    EXPECT_EQ(lane(Kind::TtyRx, kTty, "AT%BV=1\r"), "tty");
    EXPECT_EQ(lane(Kind::TtyRx, kTty, "AT%DB=7\r"), "tty brightness");
    EXPECT_EQ(lane(Kind::TtyOpen, kTty), std::string("tty-open ") + kTty);
    EXPECT_EQ(lane(Kind::HidSet, kPanel), "hidraw");
    EXPECT_EQ(lane(Kind::HidGet, kPanel), "hidraw");
    EXPECT_EQ(lane(Kind::HidWrite, kPanel), "hidraw frames");
    EXPECT_EQ(lane(Kind::HidOpen, kPanel, "", "O_RDWR|O_CLOEXEC"), "");
    EXPECT_EQ(lane(Kind::HidOpen, kPanel, "", "O_RDWR|O_CLOEXEC ENODEV"), "hidraw opens");
    EXPECT_EQ(lane(Kind::NodeOpen, kNode), std::string("node ") + kNode);
    EXPECT_EQ(lane(Kind::NodeRefused, kNode), std::string("node ") + kNode);
    EXPECT_EQ(lane(Kind::KernelLog, "/dev/kmsg"), "klog");
    EXPECT_EQ(lane(Kind::HidlCall, "ILpwg.setAesModeToLpwg"), "neighbour ILpwg.setAesModeToLpwg");
    EXPECT_EQ(lane(Kind::HidlCall, "IBivistaLpwgCallback.onLpwgCallback"), "");
    EXPECT_EQ(lane(Kind::ClientCallback, "IBivistaLpwgCallback.onLpwgCallback"),
              "callback IBivistaLpwgCallback.onLpwgCallback");
}

TEST(ComparisonTest, StimuliAreWhatAReplayBringsAbout) {
    const auto isOne = [](Kind kind, const std::string& path, const std::string& note = "") {
        return isStimulus(Entries().add(kind, path, "", note).list()[0]);
    };
    EXPECT_TRUE(isOne(Kind::Attach, "1-1"));
    EXPECT_TRUE(isOne(Kind::ClientCall, "IBivista.getBV2Connect"));
    EXPECT_FALSE(isOne(Kind::ClientCall, "", "3 calls are missing"));
    EXPECT_TRUE(isOne(Kind::Control, "PUT /v1/accessory"));
    EXPECT_FALSE(isOne(Kind::Control, "PUT /v1/accessory", "refused"));
    EXPECT_FALSE(isOne(Kind::Control, "POST /v1/attach"));
    EXPECT_TRUE(isOne(Kind::Control, "PUT /v1/cover"));
    EXPECT_FALSE(isOne(Kind::Control, "PUT /v1/cover", "refused"));
    EXPECT_TRUE(isOne(Kind::Signal, ""));
    EXPECT_FALSE(isOne(Kind::TtyRx, kTty));
    EXPECT_FALSE(isOne(Kind::TtyTx, kTty));
}

}  // namespace
}  // namespace recording
