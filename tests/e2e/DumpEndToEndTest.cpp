// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The debug dump, as a person asks for it, against the journal of the emulated phone.
#include <algorithm>
#include <map>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/e2e/Programs.h"

namespace e2e {
namespace {

using nlohmann::json;

class DumpEndToEndTest : public ProgramsTest {
  protected:
    // Puts the cover on for the n-th time and waits until all of the attach is done. Nobody asks
    // for the cover meanwhile: that would be counted, or not, as it came.
    void attach(size_t times) {
        ctl({"attach"});
        awaitAttached(times);
    }
    void awaitAttached(size_t times) const {
        awaitLog("status = ", times);
        await([&] { return count(journal(), "AT%LOGSAVE=3") >= times; });
        awaitLog("setSubDisplayPowerState --", times);
    }
    void detach() {
        ctl({"detach"});
        awaitLog("bv2_display_deinit --");
        awaitLog("deinitSubDisplay -- ");
    }

    Outcome type(std::vector<std::string> words) const {
        words.insert(words.begin(), bin("bivistactl"));
        return run(words);
    }
    void expect(int status, const std::vector<std::string>& words) const {
        const Outcome outcome = type(words);
        EXPECT_EQ(outcome.status, status) << words.front() << ": " << outcome.err;
    }
    json dump() const {
        const Outcome outcome = type({"dump", "--json"});
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        return json::parse(outcome.out);
    }

    // How often the cover received each command, by its name; those of the touch panel have one for
    // each argument.
    std::map<std::string, uint64_t> received() const {
        std::string bytes;
        for (const JournalEntry& entry : entries()) {
            if (entry.kind == "tty-rx") bytes += entry.bytes;
        }
        std::map<std::string, uint64_t> counts;
        for (size_t at = 0, end; (end = bytes.find("\\r", at)) != std::string::npos; at = end + 2) {
            const bool isTouch = bytes.compare(at, 13, "AT%TCHNOTIFY=") == 0;
            const size_t arguments = bytes.find(isTouch ? ',' : '=', at);
            ++counts[bytes.substr(at, std::min(arguments, end) - at)];
        }
        return counts;
    }
    // The same as the dump has it.
    static std::map<std::string, uint64_t> counted(const json& dump) {
        std::map<std::string, uint64_t> counts;
        for (const json& row : dump["commands"]) counts[row["name"]] = row["count"];
        return counts;
    }

    template <typename Match>
    size_t countEntries(const Match& match) const {
        const std::vector<JournalEntry> all = entries();
        return static_cast<size_t>(std::count_if(all.begin(), all.end(), match));
    }
    size_t deeds(const std::string& deed) const {
        return countEntries([&](const JournalEntry& entry) { return entry.deed() == deed; });
    }
    size_t rejections() const {
        return countEntries([](const JournalEntry& entry) {
            return entry.kind == "tty-tx" && entry.bytes.find("ERROR\\r") != std::string::npos;
        });
    }
    // Output reports that the panel took, or did not.
    size_t reports(bool taken) const {
        return countEntries([&](const JournalEntry& entry) {
            return entry.kind == "hid-write" && entry.note.empty() == taken;
        });
    }

    // A cover that falls silent once, is pulled off and put back; its screen and its panel.
    void playTour() {
        startPhone({"--no-cover"});
        attach(1);
        ctl({"fault", "on AT%SWV silent times 1"});
        expect(1, {"at", "AT%SWV"});
        awaitAttached(2);
        detach();
        expect(1, {"at", "AT%SWV"});
        attach(3);
        expect(0, {"at", "AT%SWV"});
        expect(1, {"at", "AT%NONSENSE=1"});
        expect(0, {"power", "on"});
        for (const char* level : {"0", "64", "128", "255"}) expect(0, {"brightness", level});
        await([this] { return deeds("AT%DB=255\\r") == 1; });
        expect(0, {"colour", "mode", "MODE_1"});
        expect(0, {"touch", "selftest"});
        expect(0, {"call", "setAesMode", "1"});
        draw();
        // An exchange that began earlier has ended when this one has.
        expect(0, {"at", "AT"});
    }
    // Three frames, of which the panel refuses the second.
    void draw() {
        expect(0, {"sub", "test-pattern"});
        awaitLog("write Palette done", 1);
        ctl({"fault", "hid write error EIO"});
        expect(0, {"sub", "clear"});
        awaitLog("Could not send palette data.");
        ctl({"fault", "--clear"});
        expect(0, {"sub", "text", "12:45"});
        awaitLog("write Palette done", 2);
    }
};

TEST_F(DumpEndToEndTest, AgreesWithTheJournal) {
    playTour();
    const json dump = this->dump();

    EXPECT_EQ(counted(dump), received());
    EXPECT_EQ(dump["at"]["recoveries"], 1);
    EXPECT_EQ(dump["at"]["recoveries"], deeds("bv2_recovery=Y"));
    EXPECT_EQ(dump["at"]["timeouts"], 1) << "one command was left without an answer";
    EXPECT_GE(rejections(), 1u);
    EXPECT_EQ(dump["at"]["failures"], rejections() + 1);
    EXPECT_EQ(dump["at"]["refused"], 1) << "one was sent without a cover";
    for (const char* member : {"exchanges", "failures", "timeouts"}) {
        uint64_t sum = 0;
        for (const json& row : dump["commands"]) {
            sum += row[member == std::string("exchanges") ? "count" : member].get<uint64_t>();
        }
        EXPECT_EQ(dump["at"][member], sum) << member;
    }

    EXPECT_EQ(dump["frames"], json({{"drawn", 3}, {"sent", 2}, {"dropped", 1}, {"retries", 6}}));
    EXPECT_EQ(reports(true), 4u * 2) << "each frame that was sent is four reports";
    EXPECT_EQ(reports(false), 6u + 1) << "each retry, and the attempt before, failed in its first";
}

TEST_F(DumpEndToEndTest, TellsTheState) {
    playTour();
    const json dump = this->dump();
    EXPECT_EQ(dump["usb"],
              json({{"attached", true}, {"loader", false}, {"watched", true}, {"votes", 1}}));
    EXPECT_EQ(dump["serial"], json({{"attached", true},
                                    {"path", "/dev/ttyACM0"},
                                    {"logAsked", true},
                                    {"logRunning", false}}));
    EXPECT_EQ(dump["display"], json({{"initialized", true}, {"screenOn", true}}));
    EXPECT_EQ(dump["brightness"]["value"], 255);
    EXPECT_EQ(dump["brightness"]["queued"], 0);
    EXPECT_EQ(dump["colour"][2]["values"], json::array({1}));
    EXPECT_EQ(dump["subDisplay"]["state"], "ON");
}

TEST_F(DumpEndToEndTest, WithoutAReaderLeavesTheServiceRunning) {
    startPhone();
    for (int i = 0; i < 5; ++i) {
        const std::string command = bin("bivistactl") + " dump | :";
        EXPECT_EQ(run({"/bin/sh", "-c", command}).status, 0);
    }
    EXPECT_EQ(dump()["serial"]["attached"], true);
}

}  // namespace
}  // namespace e2e
