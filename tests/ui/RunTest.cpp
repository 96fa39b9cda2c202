// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The life of the page's server: by itself, and with run --ui.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>

#include "tests/ui/Browser.h"

namespace ui_test {
namespace {

namespace fs = std::filesystem;

using testing::HasSubstr;
using testing::StartsWith;

class UiRunTest : public UiTest {
  protected:
    // Waits for the line of the page's address on standard error.
    static std::string addressOf(const Process& phone) {
        await([&] { return phone.err().find('\n') != std::string::npos; });
        return phone.err().substr(0, phone.err().find('\n'));
    }
    static int portOf(const std::string& address) {
        constexpr std::string_view kBegin = "http://127.0.0.1:";
        EXPECT_THAT(address, StartsWith(std::string(kBegin)));
        return std::stoi(address.substr(kBegin.size()));
    }
    // A phone that lives as long as the object, with its page.
    static std::vector<std::string> stayingUpWithUi() {
        std::vector<std::string> command = stayingUp();
        command.insert(command.begin() + 2, "--ui");
        return command;
    }
};

TEST_F(UiRunTest, PrintsItsAddressAndServesUntilASignal) {
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        Ui ui;
        const auto page = ui.listen();
        page->waitFor("event: ended");
        ui.process().kill(number);
        EXPECT_EQ(ui.process().wait(), 0);
        EXPECT_EQ(ui.process().out(), ui.line() + "\n");
        EXPECT_EQ(ui.process().err(), "");
        EXPECT_FALSE(fs::exists(door()));
        EXPECT_FALSE(Connection(ui.port()).isConnected());
    }
}

TEST_F(UiRunTest, EndsThoughRequestsWait) {
    const auto emulator = startEmulator();
    Ui ui;
    Connection waiting(ui.port());
    const std::string values =
            R"({"method":"GET","path":"/v1/journal","values":{"since":1000,"wait_ms":30000}})";
    waiting.send("POST " + ui.path("request") + " HTTP/1.1\r\nHost: " + ui.host() + "\r\nOrigin: " +
                 ui.origin() + "\r\nContent-Type: application/json\r\nContent-Length: " +
                 std::to_string(values.size()) + "\r\n\r\n" + values);
    await([&] { return requestsOf(ui.process()) == 1; });
    ui.process().kill(SIGINT);
    EXPECT_EQ(ui.process().wait(), 0);
}

TEST_F(UiRunTest, RefusesWrongArguments) {
    expectUsageErrors({{"ui", "--port", "65536"},
                       {"ui", "--port", "-1"},
                       {"ui", "--port", "http"},
                       {"ui", "--port"},
                       {"ui", "more"},
                       {"ui", "--close"},
                       {"run", "--open", "--", "/bin/true"}});
}

TEST_F(UiRunTest, SaysThatThePortIsTaken) {
    const Ui ui;
    const std::string port = std::to_string(ui.port());
    const Outcome outcome = invoke({"ui", "--port", port});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err, "bivista-emulator: cannot serve the page on port " + port +
                                   " of 127.0.0.1 (choose another with --port): Address already in "
                                   "use\n");
    EXPECT_EQ(outcome.out, "");
    // The file leads to the page that is there.
    EXPECT_THAT(contentOf(door()), HasSubstr(ui.line()));
}

TEST_F(UiRunTest, SaysThatItsAddressCannotBePrinted) {
    Process ui({"/bin/sh", "-c", "exec " + program::kEmulator + " ui > /dev/full"});
    EXPECT_EQ(ui.wait(), 4);
    EXPECT_EQ(ui.err(),
              "bivista-emulator: cannot write to standard output: No space left on device\n");
    EXPECT_FALSE(fs::exists(door()));
}

TEST_F(UiRunTest, TheHelpTellsAboutIt) {
    EXPECT_THAT(invoke({"ui", "--help"}).out, HasSubstr("Exit status: 0 ended by Ctrl-C; 1 the "));
    EXPECT_THAT(invoke({"run", "--help"}).out, HasSubstr("--ui"));
}

TEST_F(UiRunTest, RunServesThePageOfItsPhone) {
    Process phone(emulator({"run", "--ui", "--", "/bin/sh", "-c", "echo up; read line || exit 3"}));
    phone.waitFor("up\n");
    const std::string address = addressOf(phone);
    httplib::Client client("127.0.0.1", portOf(address));
    const std::string path = address.substr(address.find('/', 8));
    EXPECT_EQ(client.Get(path + "entries")->status, 200);
    EXPECT_TRUE(fs::exists(door()));
    // Before run has ended, the page's server has.
    EXPECT_EQ(phone.wait(), 3);
    EXPECT_EQ(phone.out(), "up\n");
    EXPECT_FALSE(fs::exists(door()));
    EXPECT_FALSE(Connection(portOf(address)).isConnected());
}

TEST_F(UiRunTest, ThePageEndsWithARunThatIsKilled) {
    Process phone(stayingUpWithUi());
    phone.waitFor("up\n");
    const int port = portOf(addressOf(phone));
    EXPECT_TRUE(Connection(port).isConnected());
    phone.kill(SIGKILL);
    await([&] { return !Connection(port).isConnected(); });
    await([&] { return !fs::exists(door()); });
}

TEST_F(UiRunTest, APageThatEndsLeavesThePhoneAlone) {
    Process phone(stayingUpWithUi());
    phone.waitFor("up\n");
    addressOf(phone);
    std::ifstream children("/proc/" + std::to_string(phone.pid()) + "/task/" +
                           std::to_string(phone.pid()) + "/children");
    pid_t page = 0;
    children >> page;
    ASSERT_THAT(contentOf("/proc/" + std::to_string(page) + "/cmdline"),
                std::string("bivista-emulator\0ui\0", 20));
    kill(page, SIGKILL);
    await([&] { return kill(page, 0) != 0; });
    EXPECT_EQ(invoke({"ctl", "show"}).status, 0);
    EXPECT_EQ(phone.wait(), 0);
}

TEST_F(UiRunTest, RunOpensThePage) {
    const std::string tool = mFolder + "/xdg-open";
    std::ofstream(tool) << "#!/bin/sh\necho \"$# $1\" > " + mFolder + "/opened\n";
    fs::permissions(tool, fs::perms::owner_all);
    setenv("PATH", (mFolder + ":" + getenv("PATH")).c_str(), 1);
    Process phone(
            emulator({"run", "--ui", "--open", "--", "/bin/sh", "-c", "read line || exit 0"}));
    await([&] { return contentOf(mFolder + "/opened") == "1 " + door() + "\n"; });
    // The page's program removes its file before "run" returns, and so before the folder goes.
    EXPECT_EQ(phone.wait(), 0);
}

}  // namespace
}  // namespace ui_test
