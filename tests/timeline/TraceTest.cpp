// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The trace, held to what its format's description demands.

#include "emulator/timeline/Trace.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "tests/timeline/Entries.h"

namespace timeline {
namespace {

using Json = nlohmann::ordered_json;
using phone::Kind;
using testing::ElementsAre;
using testing::Pair;

Json traceOf(const std::vector<phone::Entry>& entries, const Filter& filter = {}) {
    std::string text;
    Trace trace([&text](std::string_view piece) { text += piece; }, filter);
    for (const phone::Entry& entry : entries) trace.add(entry);
    trace.end();
    return Json::parse(text);
}

void expectSlice(const Json& event) {
    EXPECT_TRUE(event.at("ts").is_number_integer()) << event;
    EXPECT_TRUE(event.at("dur").is_number_unsigned()) << event;
    EXPECT_TRUE(event.at("tid").is_number_unsigned()) << event;
    EXPECT_TRUE(event.at("cat").is_string()) << event;
}

void expectOfPhase(const Json& event) {
    const std::string phase = event.at("ph");
    if (phase == "X") {
        expectSlice(event);
    } else if (phase == "i") {
        EXPECT_TRUE(event.at("ts").is_number_integer()) << event;
        EXPECT_TRUE(event.at("tid").is_number_unsigned()) << event;
        EXPECT_EQ(event.at("s"), "t") << event;
    } else if (phase == "C") {
        EXPECT_TRUE(event.at("ts").is_number_integer()) << event;
        EXPECT_TRUE(event.at("args").at("value").is_number_integer()) << event;
    } else {
        EXPECT_EQ(phase, "M") << event;
        const std::string name = event.at("name");
        const bool isIndex = name == "thread_sort_index";
        EXPECT_TRUE(isIndex || name == "process_name" || name == "thread_name") << event;
        EXPECT_TRUE(event.at("args").contains(isIndex ? "sort_index" : "name")) << event;
    }
}

// Every event has the members of its phase; every track has a name, and no two slices overlap on
// it.
void expectValid(const Json& trace) {
    ASSERT_TRUE(trace.at("traceEvents").is_array());
    EXPECT_TRUE(trace.at("otherData").is_object());
    std::map<int, std::vector<std::pair<int64_t, int64_t>>> slices;
    std::map<int, std::string> names;
    for (const Json& event : trace.at("traceEvents")) {
        EXPECT_TRUE(event.at("name").is_string()) << event;
        EXPECT_EQ(event.at("pid"), 1) << event;
        expectOfPhase(event);
        if (event.at("name") == "thread_name") names[event.at("tid")] = event["args"]["name"];
        if (event.at("ph") != "X" && event.at("ph") != "i") continue;
        EXPECT_TRUE(names.contains(event.at("tid"))) << event;
        if (event.at("ph") != "X") continue;
        const int64_t begin = event["ts"];
        slices[event.at("tid")].emplace_back(begin, begin + event["dur"].get<int64_t>());
    }
    for (auto& [track, list] : slices) {
        std::sort(list.begin(), list.end());
        for (size_t i = 1; i < list.size(); ++i) {
            EXPECT_LE(list[i - 1].second, list[i].first) << names[track];
        }
    }
}

// The name of the event's track.
std::string trackOf(const Json& trace, const Json& event) {
    for (const Json& each : trace["traceEvents"]) {
        if (each["name"] == "thread_name" && each["tid"] == event["tid"]) {
            return each["args"]["name"];
        }
    }
    return "";
}

// "at X AT%SWV 1000+2000 verdict", but for names and counters.
std::vector<std::string> eventsOf(const Json& trace) {
    std::vector<std::string> lines;
    for (const Json& event : trace["traceEvents"]) {
        const std::string phase = event["ph"];
        if (phase != "X" && phase != "i") continue;
        std::string line = trackOf(trace, event) + " " + phase + " " +
                           event["name"].get<std::string>() + " " + event["ts"].dump();
        if (phase == "X") line += "+" + event["dur"].dump();
        if (event["args"].contains("verdict")) {
            line += " " + event["args"]["verdict"].get<std::string>();
        }
        lines.push_back(line);
    }
    return lines;
}

using Steps = std::vector<std::pair<int64_t, int64_t>>;

Steps counted(const Json& trace, const char* counter) {
    Steps steps;
    for (const Json& event : trace["traceEvents"]) {
        if (event["ph"] == "C" && event["name"] == counter) {
            steps.emplace_back(event["ts"], event["args"]["value"]);
        }
    }
    return steps;
}

// What an emulated phone wrote, some lines of it; with a client that draws.
constexpr const char* kJournal[] = {
        R"({"seq":1,"time_us":1099,"wall_us":1790000000001099,"kind":"attach","path":"1-1","note":"3e91:6a2f TQC330R BV33021030001"})",
        R"({"seq":2,"time_us":61616,"wall_us":1790000000061616,"kind":"node-write","path":"/sys/devices/platform/soc/usb1/1-1/power/control","bytes":"on"})",
        R"({"seq":3,"time_us":620774,"wall_us":1790000000620774,"kind":"tty-rx","path":"/dev/ttyACM0","bytes":"AT%SWV\\r"})",
        R"({"seq":4,"time_us":620787,"wall_us":1790000000620787,"kind":"tty-tx","path":"/dev/ttyACM0","bytes":"\\r\\nBV330-V10k_20210312\\r\\nOK\\r\\n"})",
        R"({"seq":5,"time_us":620900,"wall_us":1790000000620900,"kind":"node-write","path":"/sys/devices/platform/soc/usb1/1-1/power/control","bytes":"auto"})",
        R"({"seq":6,"time_us":631000,"wall_us":1790000000631000,"kind":"hid-open","path":"/dev/hidraw0","note":"O_WRONLY"})",
        R"({"seq":7,"time_us":631100,"wall_us":1790000000631100,"kind":"hid-write","path":"/dev/hidraw0","bytes":"\\x02\\x01\\x00\\x00\\x00\\x00\\x00\\xff"})",
        R"({"seq":8,"time_us":631400,"wall_us":1790000000631400,"kind":"hid-write","path":"/dev/hidraw0","bytes":"\\x02\\x00\\x00\\x00\\x00\\x00\\x00"})",
        R"({"seq":9,"time_us":630500,"wall_us":1790000000630500,"kind":"client-call","path":"IBivista.drawSubDisplay","bytes":"[{\"length\":65536,\"crc32\":\"01234567\"}]","note":"[\"OK\"]","duration_us":1200})"};

TEST(TraceTest, HasAJournalOnOneClock) {
    std::vector<phone::Entry> entries;
    for (const char* const line : kJournal) {
        const auto entry = phone::fromJson(Json::parse(line));
        ASSERT_TRUE(entry) << line;
        entries.push_back(*entry);
    }
    const Json trace = traceOf(entries);
    expectValid(trace);
    EXPECT_EQ(trace["otherData"]["start_wall_us"], 1'790'000'000'000'000);
    EXPECT_THAT(eventsOf(trace),
                ElementsAre("usb i attach 1-1 1099", "nodes i power/control <- on 61616",
                            "at X AT%SWV 620774+13 OK", "nodes i power/control <- auto 620900",
                            "panel X frame 631100+300 drawn",
                            R"(calls X drawSubDisplay({"length":65536,"crc32":"01234567"}) )"
                            "630500+1200 OK"));
    EXPECT_THAT(counted(trace, "USB votes"), ElementsAre(Pair(61616, 1), Pair(620900, 0)));
    EXPECT_THAT(counted(trace, "commands waiting"), ElementsAre(Pair(620774, 1), Pair(620787, 0)));
}

TEST(TraceTest, HasATrackForEveryLane) {
    const Json trace = traceOf({});
    expectValid(trace);
    std::vector<std::string> names;
    for (const Json& event : trace["traceEvents"]) {
        if (event["name"] == "thread_name") names.push_back(event["args"]["name"]);
    }
    EXPECT_THAT(names, ElementsAre("at", "panel", "nodes", "uevents", "usb", "calls", "emulator"));
}

TEST(TraceTest, CountsBrightness) {
    Entries entries;
    entries.rx(1, "AT%DB=5\r").tx(2, "\r\nOK\r\n").rx(3, "AT%DB=999\r").tx(4, "\r\nERROR\r\n");
    entries.rx(5, "AT%DB=x\r").tx(6, "\r\nOK\r\n").rx(7, "AT%DB=64\r").tx(8, "\r\nOK\r\n");
    entries.add(9, Kind::HidSet, kPanel, "\x03\x02Z")
            .add(10, Kind::HidSet, kPanel, "\x03\x02Y", "EIO");
    entries.add(11, Kind::Attach, "1-2", "", "/dev/ttyACM7").add(12, Kind::Detach, "1-2");
    entries.detach(13);
    const Json trace = traceOf(entries.list());
    expectValid(trace);
    EXPECT_THAT(counted(trace, "cover brightness"),
                ElementsAre(Pair(2000, 5), Pair(8000, 64), Pair(13000, 0)));
    EXPECT_THAT(counted(trace, "sub display brightness"),
                ElementsAre(Pair(9000, 90), Pair(13000, 0)));
}

TEST(TraceTest, GivesSlicesThatOverlapTracksOfTheirOwn) {
    Entries entries;
    for (int i = 0; i < 3; ++i) {
        entries.lasting(1 + i, 10, Kind::ClientCall, "f" + std::to_string(i), "[]", "[]");
    }
    entries.lasting(11, 1, Kind::ClientCallback, "g", "[]", "[]");
    const Json trace = traceOf(entries.list());
    expectValid(trace);
    EXPECT_THAT(eventsOf(trace),
                ElementsAre("calls X f0() 1000+10000 OK", "calls 2 X f1() 2000+10000 OK",
                            "calls 3 X f2() 3000+10000 OK", "calls X g() 11000+1000 OK"));
}

// Each call lasts longer than all before it.
TEST(TraceTest, HasABoundedNumberOfTracks) {
    Entries entries;
    for (int i = 0; i < 1000; ++i) {
        entries.lasting(1000 - i, 2 * i + 1, Kind::ClientCall, "f", "[]", "[]");
    }
    const Json trace = traceOf(entries.list());
    expectValid(trace);
    size_t slices = 0;
    for (const Json& event : trace["traceEvents"]) slices += event["ph"] == "X" ? 1 : 0;
    EXPECT_EQ(slices, 64u);
    EXPECT_EQ(eventsOf(trace).size(), 1000u);
}

TEST(TraceTest, HasWhatIsOpenUpToItsEnd) {
    const Json trace = traceOf(Entries()
                                       .rx(1, "AT\r")
                                       .add(2, Kind::NodeOpen, "a")
                                       .add(5, Kind::Mark, "", "the \"end\"")
                                       .list());
    expectValid(trace);
    EXPECT_THAT(eventsOf(trace),
                ElementsAre("emulator i the \"end\" 5000", "at X AT 1000+4000 open"));
}

// The exchange that was over after the time is whole, and counters have the values of that time.
TEST(TraceTest, BeginsAtATime) {
    Entries entries;
    entries.rx(1, "AT%DB=5\r").tx(2, "\r\nOK\r\n").rx(3, "AT%SWV\r").tx(6, "\r\nx\r\nOK\r\n");
    entries.rx(7, "AT%DB=6\r").tx(8, "\r\nOK\r\n").add(9, Kind::Mark, "", "here");
    const Json trace = traceOf(entries.list(), {.sinceWallUs = kWallUs + 4000});
    expectValid(trace);
    EXPECT_THAT(eventsOf(trace), ElementsAre("at X AT%SWV 3000+3000 OK", "at X AT%DB 7000+1000 OK",
                                             "emulator i here 9000"));
    EXPECT_THAT(counted(trace, "cover brightness"), ElementsAre(Pair(6000, 5), Pair(8000, 6)));
    EXPECT_THAT(eventsOf(traceOf(entries.list(), {.kinds = {"mark"}})),
                ElementsAre("emulator i here 9000"));
}

TEST(TraceTest, MarksWhatAFaultStruck) {
    const Json trace = traceOf(Entries()
                                       .fault(1, kTty, "on AT error", "AT")
                                       .rx(1, "AT\r")
                                       .tx(2, "\r\nERROR\r\n")
                                       .list());
    expectValid(trace);
    int faulty = 0;
    for (const Json& event : trace["traceEvents"]) {
        if (!event["args"].contains("faulty")) continue;
        EXPECT_EQ(event["name"], "AT");
        ++faulty;
    }
    EXPECT_EQ(faulty, 1);
}

TEST(TraceTest, PassesOnPieceByPiece) {
    size_t longest = 0;
    size_t size = 0;
    Trace trace([&](std::string_view piece) {
        longest = std::max(longest, piece.size());
        size += piece.size();
    });
    phone::Entry entry = {.kind = Kind::Mark, .bytes = "a"};
    for (int i = 0; i < 200'000; ++i) {
        ++entry.seq;
        trace.add(entry);
    }
    trace.end();
    EXPECT_GT(size, size_t{200'000} * 80);
    EXPECT_LT(longest, 1000u);
}

}  // namespace
}  // namespace timeline
