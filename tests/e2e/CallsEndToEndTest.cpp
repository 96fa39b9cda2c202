// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The calls of clients, in the journal among what the service did for them.
#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <zlib.h>
#include <nlohmann/json.hpp>

#include "tests/e2e/Programs.h"

namespace e2e {
namespace {

using nlohmann::json;
using testing::ElementsAre;
using testing::HasSubstr;

std::string describe(const json& entry) {
    return entry.value("kind", "") + " " + entry.value("path", "") + " " +
           entry.value("bytes", "") + " -> " + entry.value("note", "");
}

class CallsEndToEndTest : public ProgramsTest {
  protected:
    // Nobody reads the journal but who asks for it.
    void startUnwatched(const std::vector<std::string>& options = {"--no-cover"},
                        const std::vector<std::string>& program = {bin(kService)}) {
        std::vector<std::string> command = {bin("bivista-emulator"), "run"};
        command.insert(command.end(), options.begin(), options.end());
        command.emplace_back("--");
        command.insert(command.end(), program.begin(), program.end());
        phone = std::make_unique<Process>(command);
        awaitService();
    }
    void awaitService() const {
        await([this] { return call({"getBV2Connect"}).status == 0; });
    }

    // What ctl prints now; by its time.
    std::vector<json> asked() const {
        return parse(run({bin("bivista-emulator"), "ctl", "journal", "--raw"}).out);
    }
    static std::vector<json> parse(const std::string& text) {
        std::vector<json> entries;
        std::istringstream lines(text);
        for (std::string line; std::getline(lines, line);) entries.push_back(json::parse(line));
        std::stable_sort(entries.begin(), entries.end(), [](const json& left, const json& right) {
            return left.at("time_us") < right.at("time_us");
        });
        return entries;
    }

    // Those of a method, in short.
    std::vector<std::string> of(const std::string& method) const {
        std::vector<std::string> found;
        for (const json& entry : asked()) {
            if (entry.value("path", "") == method) found.push_back(describe(entry));
        }
        return found;
    }

    // How often the emulator's own thread has gone to sleep, and so was woken.
    size_t sleeps() const {
        for (const auto& task : std::filesystem::directory_iterator(
                     "/proc/" + std::to_string(phone->pid()) + "/task")) {
            std::ifstream status(task.path() / "status");
            std::string text{std::istreambuf_iterator<char>(status), {}};
            if (!text.starts_with("Name:\temulator\n")) continue;
            constexpr std::string_view kCount = "\nvoluntary_ctxt_switches:\t";
            return std::stoul(text.substr(text.find(kCount) + kCount.size()));
        }
        ADD_FAILURE() << "no thread of the emulator";
        return 0;
    }
};

TEST_F(CallsEndToEndTest, AReaderFindsEachCallThatHasEnded) {
    startUnwatched();
    for (int value = 1; value <= 3; ++value) {
        EXPECT_EQ(call({"setBVBrightnessOffset", std::to_string(value)}).status, 0);
        EXPECT_EQ(of("IBivista.setBVBrightnessOffset").size(), static_cast<size_t>(value));
    }
    EXPECT_THAT(of("IBivista.setBVBrightnessOffset"),
                ElementsAre("client-call IBivista.setBVBrightnessOffset [1] -> [\\\"OK\\\"]",
                            "client-call IBivista.setBVBrightnessOffset [2] -> [\\\"OK\\\"]",
                            "client-call IBivista.setBVBrightnessOffset [3] -> [\\\"OK\\\"]"));
    EXPECT_EQ(call({"setSubDisplayCallback", "null"}).status, 0);
    EXPECT_THAT(of("IBivista.setSubDisplayCallback"),
                ElementsAre("client-call IBivista.setSubDisplayCallback [null] -> "));
}

TEST_F(CallsEndToEndTest, ACallStandsAroundWhatItDid) {
    startPhone();
    awaitAttachDone();
    ctl({"mark", "before"});
    EXPECT_EQ(run({bin("bivistactl"), "at", "AT%SWV"}).status, 0);
    ctl({"mark", "after"});
    std::vector<std::string> kinds;
    int64_t begin = 0;
    int64_t end = 0;
    bool isBetween = false;
    for (const json& entry : asked()) {
        const std::string kind = entry.at("kind");
        if (kind == "mark") isBetween = entry.at("bytes") == "before";
        if (!isBetween) continue;
        if (kind == "client-call" && entry.at("path") == "IBivista.sendAtCommand") {
            EXPECT_EQ(entry.at("bytes"), R"([\"AT%SWV\",\"callback\"])");
            EXPECT_EQ(entry.at("note"), R"([\"OK\",\"BV330-V10k_20210312\"])");
            begin = entry.at("time_us");
            end = begin + entry.at("duration_us").get<int64_t>();
        } else if (kind == "client-callback") {
            EXPECT_EQ(entry.at("path"), "IBivistaAtCallback.onAtResponse");
            EXPECT_THAT(entry.at("bytes").get<std::string>(), HasSubstr("BV330-V10k_20210312"));
            EXPECT_LE(entry.at("time_us").get<int64_t>() + entry.at("duration_us").get<int64_t>(),
                      end);
        } else if (!kind.starts_with("tty-")) {
            continue;
        }
        kinds.push_back(kind);
    }
    // The call is first although it was written last; the port is opened and closed in it.
    EXPECT_GT(begin, 0);
    ASSERT_FALSE(kinds.empty());
    EXPECT_EQ(kinds.front(), "client-call");
    std::erase(kinds, "tty-open");
    EXPECT_EQ(std::count(kinds.begin(), kinds.end(), "tty-tx"), 1);
    EXPECT_LT(std::find(kinds.begin(), kinds.end(), "tty-rx"),
              std::find(kinds.begin(), kinds.end(), "tty-tx"));
    EXPECT_LT(std::find(kinds.begin(), kinds.end(), "tty-tx"),
              std::find(kinds.begin(), kinds.end(), "client-callback"));
}

TEST_F(CallsEndToEndTest, AFrameIsWholeInTheFileAndDigestedInMemory) {
    startPhone();
    await([this] { return call({"getSubDisplayInfo"}).out.find("128") != std::string::npos; });
    EXPECT_EQ(run({bin("bivistactl"), "sub", "test-pattern"}).status, 0);
    std::string digest;
    for (const json& entry : asked()) {
        if (entry.value("path", "") == "IBivista.drawSubDisplay") digest = entry.at("bytes");
    }
    std::string whole;
    for (const JournalEntry& entry : entries()) {
        if (entry.path == "IBivista.drawSubDisplay") whole = entry.bytes;
    }
    const std::string frame = whole.substr(1, whole.size() - 2);
    EXPECT_EQ(json::parse(whole).at(0).size(), 128u * 128u);
    char crc[9];
    snprintf(crc, sizeof(crc), "%08lx",
             crc32_z(0, reinterpret_cast<const Bytef*>(frame.data()), frame.size()));
    EXPECT_EQ(digest, R"([{\"length\":)" + std::to_string(frame.size()) + R"(,\"crc32\":\")" + crc +
                              R"(\"}])");
}

TEST_F(CallsEndToEndTest, TwoClientsAtOnceAreBothThere) {
    startUnwatched();
    const auto client = [](int first) {
        std::string script;
        for (int i = first; i < first + 10; ++i) {
            script += bin("bivistactl") + " call setBVBrightnessOffset " + std::to_string(i) + ";";
        }
        return std::vector<std::string>{"/bin/sh", "-c", script};
    };
    Process first(client(100));
    Process second(client(200));
    first.wait();
    second.wait();
    EXPECT_EQ(of("IBivista.setBVBrightnessOffset").size(), 20u);
}

TEST_F(CallsEndToEndTest, AFollowerHasACallWhenItEnds) {
    startUnwatched();
    Process follower({bin("bivista-emulator"), "ctl", "journal", "--follow"});
    follower.waitFor("IBivista.getBV2Connect");
    call({"setBVBrightnessOffset", "42"});
    // Nobody else asks for the journal.
    follower.waitFor(R"("path":"IBivista.setBVBrightnessOffset","bytes":"[42]")");
    follower.kill(SIGTERM);
}

TEST_F(CallsEndToEndTest, NobodyWakesTheEmulatorWhereNobodyLooks) {
    startUnwatched();
    constexpr size_t kCalls = 40;
    const size_t before = sleeps();
    for (size_t i = 0; i < kCalls; ++i) {
        EXPECT_EQ(call({"setBVBrightnessOffset", "1"}).status, 0);
    }
    EXPECT_LT(sleeps() - before, kCalls / 2);
    EXPECT_EQ(of("IBivista.setBVBrightnessOffset").size(), kCalls);
}

TEST_F(CallsEndToEndTest, AKilledServiceLeavesItsCallsAndANewOneAddsItsOwn) {
    startUnwatched({"--no-cover"}, {"/bin/sh", "-c", bin(kService) + "; " + bin(kService)});
    call({"setBVBrightnessOffset", "1"});
    const pid_t first = servicePid();
    kill(first, SIGKILL);
    await([&] { return servicePid() != first && servicePid() > 0; });
    awaitService();
    call({"setBVBrightnessOffset", "2"});
    EXPECT_THAT(of("IBivista.setBVBrightnessOffset"),
                ElementsAre("client-call IBivista.setBVBrightnessOffset [1] -> [\\\"OK\\\"]",
                            "client-call IBivista.setBVBrightnessOffset [2] -> [\\\"OK\\\"]"));
}

TEST_F(CallsEndToEndTest, AnEventForAClientIsThere) {
    startPhone();
    awaitAttachDone();
    Process watch({bin("bivistactl"), "watch", "lpwg"});
    await([&] { return watch.err().find("watching") != std::string::npos; });
    // An event before the service has its socket is lost.
    await([&] {
        ctl({"gesture", "WAKEUP"});
        return !of("IBivistaLpwgCallback.onLpwgEvent_1_1").empty();
    });
    EXPECT_EQ(of("IBivistaLpwgCallback.onLpwgEvent_1_1").at(0),
              "client-callback IBivistaLpwgCallback.onLpwgEvent_1_1 [\\\"WAKEUP\\\",0] -> ");
}

// The cover's service alone: what the neighbours answer stands there as it did.
TEST_F(CallsEndToEndTest, CallsOfNeighboursStandOnce) {
    startPhone();
    EXPECT_EQ(call({"getBV2Status"}).status, 0);
    size_t calls = 0;
    for (const json& entry : asked()) {
        const std::string kind = entry.at("kind");
        const std::string path = entry.value("path", "");
        if (kind.starts_with("client-")) EXPECT_TRUE(path.starts_with("IBivista")) << path;
        calls += kind == "hidl-call" ? 1 : 0;
    }
    EXPECT_GT(calls, 0u);
}

TEST_F(CallsEndToEndTest, TheLastCallsAreInTheFile) {
    startPhone({"--no-cover"});
    call({"setBVBrightnessOffset", "7"});
    kill(servicePid(), SIGTERM);
    phone->wait();
    const std::vector<JournalEntry> all = entries();
    EXPECT_TRUE(std::any_of(all.begin(), all.end(), [](const JournalEntry& entry) {
        return entry.kind == "client-call" && entry.bytes == "[7]";
    }));
}

}  // namespace
}  // namespace e2e
