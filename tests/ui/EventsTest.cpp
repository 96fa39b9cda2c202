// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// What open pages hear, over the lives of pages and emulators.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <sstream>

#include "tests/ui/Browser.h"

namespace ui_test {
namespace {

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

class EventsTest : public UiTest {
  protected:
    static std::string ending(const std::string& message) {
        return "event: ended\ndata: " + json({{"message", message}}).dump() + "\n\n";
    }
    std::string noEmulator() const {
        return ending("no emulator answers on " + mFolder +
                      "/hidl/emulator.sock: start one with \"bivista-emulator run\" "
                      "(HIDL_SOCKET_DIR must be the same for both)");
    }
    // The first event of this name after `from`.
    static json dataOf(const std::string& text, const std::string& name, size_t from = 0) {
        const std::string begin = "event: " + name + "\ndata: ";
        const size_t at = text.find(begin, from);
        if (at == std::string::npos) return nullptr;
        const size_t data = at + begin.size();
        return json::parse(text.substr(data, text.find("\n\n", data) - data), nullptr, false);
    }
};

TEST_F(EventsTest, APageHearsWhatIsKeptThenWhatHappens) {
    const auto emulator = startEmulator();
    const Ui ui;
    const auto page = ui.listen();
    const std::string first = page->waitFor("event: loaded");
    EXPECT_THAT(first, StartsWith("HTTP/1.1 200 OK\r\n"));
    EXPECT_THAT(first, HasSubstr("Content-Type: text/event-stream\r\n"));
    EXPECT_EQ(dataOf(first, "hello")["folder"], mFolder + "/hidl");
    const json entry = json::parse(ui.get("entries?limit=1")->body)["entries"][0];
    EXPECT_EQ(dataOf(first, "hello")["start_wall_us"],
              entry["wall_us"].get<int64_t>() - entry["time_us"].get<int64_t>());
    EXPECT_EQ(dataOf(first, "state")["attached"], true);
    EXPECT_EQ(dataOf(first, "snapshot")["width"], 128);
    EXPECT_EQ(dataOf(first, "items")[0][0], 1);
    ctl({"detach"});
    page->waitFor("event: snapshot\ndata: null\n\n");
    page->waitFor(",\"usb\",\"detach\",");
    page->waitFor("event: state\ndata: {\"attached\":false,");
}

TEST_F(EventsTest, TwoPagesAndCtlAtOnceAllHearEverything) {
    const auto emulator = startEmulator();
    const Ui ui;
    const auto first = ui.listen();
    const auto second = ui.listen();
    first->waitFor("event: loaded");
    second->waitFor("event: loaded");
    Process follower(UiTest::emulator({"ctl", "journal", "--follow"}));
    for (int i = 0; i < 20; ++i) {
        const std::string text = "MARK=" + std::to_string(i) + ".\\x00";
        if (i % 2 == 0) {
            ctl({"uevent", text});
        } else {
            const json request = {
                    {"method", "POST"}, {"path", "/v1/uevent"}, {"values", {{"bytes", text}}}};
            EXPECT_EQ(ui.post(request.dump())->status, 200);
        }
    }
    for (int i = 0; i < 20; ++i) {
        const std::string text = "MARK=" + std::to_string(i) + ".";
        first->waitFor(text);
        second->waitFor(text);
        follower.waitFor(text);
    }
}

TEST_F(EventsTest, WithoutAPageTheEmulatorIsAskedNothing) {
    const auto emulator = startEmulator();
    Ui ui;
    EXPECT_EQ(requestsOf(ui.process()), 0U);
    auto page = ui.listen();
    page->waitFor("event: loaded");
    await([&] { return requestsOf(ui.process()) == 1; });
    page.reset();
    await([&] { return requestsOf(ui.process()) == 0; });
    ctl({"detach"});
    EXPECT_EQ(requestsOf(ui.process()), 0U);
    // What happened meanwhile is there for the next page.
    page = ui.listen();
    const std::string text = page->waitFor("\"detach\"");
    EXPECT_THAT(page->waitFor("\"attached\":false"), Not(HasSubstr("event: ended")));
}

TEST_F(EventsTest, APageThatGoesInTheMiddleOfAnAnswerDisturbsNobody) {
    const auto emulator = startEmulator();
    Ui ui;
    ctl({"uevent", "change@/x\\x00", "--burst", "10000"});
    const auto stays = ui.listen();
    for (int i = 0; i < 20; ++i) {
        ui.listen()->waitFor("event: hello");
        Connection going(ui.port());
        going.send("GET " + ui.path("export?format=journal") + " HTTP/1.1\r\nHost: " + ui.host() +
                   "\r\n\r\n");
        going.waitFor("HTTP/1.1 200 OK");
    }
    stays->waitFor("event: loaded");
    ctl({"uevent", "LAST\\x00"});
    stays->waitFor("LAST");
    EXPECT_TRUE(ui.process().isRunning());
}

// It lags, and neither the other pages nor the emulator wait for it.
TEST_F(EventsTest, APageThatReadsNothingHoldsNobodyUp) {
    const auto emulator = startEmulator();
    const Ui ui;
    const auto slow = ui.listen();
    const auto page = ui.listen();
    page->waitFor("event: loaded");
    for (int i = 0; i < 5; ++i)
        ctl({"uevent", std::string(1500, 'x') + "\\x00", "--burst", "10000"});
    ctl({"uevent", "LAST\\x00"});
    page->waitFor("LAST");
    slow->waitFor("LAST");
}

TEST_F(EventsTest, AnEmulatorThatEndsIsToldAndTheNextOneGreeted) {
    auto emulator = startEmulator();
    const Ui ui;
    const auto page = ui.listen();
    page->waitFor("event: loaded");
    ctl({"detach"});
    page->waitFor("event: snapshot\ndata: null");
    emulator->wait();
    const size_t ended = page->waitFor("event: ended").size();
    emulator = startEmulator();
    ctl({"uevent", "NEXT\\x00"});
    const std::string text = page->waitFor("NEXT").substr(ended);
    EXPECT_EQ(dataOf(text, "hello")["folder"], mFolder + "/hidl");
    EXPECT_EQ(dataOf(text, "state")["attached"], true);
    EXPECT_EQ(dataOf(text, "items")[0][0], 1);
}

TEST_F(EventsTest, AnEmulatorThatIsKilledIsTold) {
    auto emulator = startEmulator();
    const Ui ui;
    const auto page = ui.listen();
    page->waitFor("event: loaded");
    emulator->kill(SIGKILL);
    page->waitFor("event: ended");
    emulator = startEmulator();
    ctl({"uevent", "NEXT\\x00"});
    page->waitFor("NEXT");
}

// Two emulators that nobody saw, and a third.
TEST_F(EventsTest, AnEmulatorThatCameWhileNoPageWasOpenIsNotTakenForTheLast) {
    auto emulator = startEmulator();
    const Ui ui;
    ctl({"uevent", "FIRST\\x00"});
    ui.listen()->waitFor("FIRST");
    emulator->wait();
    emulator = startEmulator();
    const auto page = ui.listen();
    ctl({"uevent", "NEXT\\x00"});
    const std::string text = page->waitFor("NEXT");
    const size_t hello = text.rfind("event: hello");
    EXPECT_THAT(text.substr(hello), Not(HasSubstr("FIRST")));
}

TEST_F(EventsTest, APageWaitsForTheFirstEmulator) {
    const Ui ui;
    const auto page = ui.listen();
    EXPECT_THAT(page->waitFor(noEmulator()), Not(HasSubstr("event: hello")));
    const auto emulator = startEmulator();
    page->waitFor("event: hello");
    page->waitFor("event: loaded");
}

}  // namespace
}  // namespace ui_test
