// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The real service on the emulated phone, spoken to with bivistactl.
#include <csignal>
#include <filesystem>
#include <fstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "tests/e2e/Programs.h"

namespace e2e {
namespace {

using testing::ContainsRegex;
using testing::HasSubstr;

constexpr char kVersionResult[] =
        "{\"method\":\"sendAtCommand\",\"status\":\"OK\",\"value\":\"BV330-V10k_20210312\"}\n";

// A line of the service's log.
std::string lineOf(char priority, const std::string& text) {
    return std::string("bivista@1\\.1-service ") + priority + " [-0-9:. ]+ " + text;
}

class ServiceEndToEndTest : public ProgramsTest {
  protected:
    Outcome version() const { return call({"sendAtCommand", "AT%SWV", "null"}); }
};

TEST_F(ServiceEndToEndTest, IsMissedWhenItIsNotThere) {
    const Outcome outcome = version();
    EXPECT_EQ(outcome.status, 3);
    EXPECT_EQ(outcome.out, "");
    EXPECT_THAT(outcome.err, HasSubstr("service"));
}

// Its clients here never wait for it, whatever is declared.
TEST_F(ServiceEndToEndTest, IsMissedAlthoughItIsDeclared) {
    std::ofstream(folder + "/registry/declared")
            << "vendor.qmx.hardware.bivista@1.0::IBivista/default\n"
            << "vendor.qmx.hardware.bivista@1.1::IBivista/default\n";
    EXPECT_EQ(version().status, 3);
    EXPECT_EQ(run({bin("bivistactl"), "status"}).status, 3);
    EXPECT_EQ(run({bin("bivistactl"), "doctor"}).status, 1);
    startPhone();
    EXPECT_EQ(version().out, kVersionResult);
}

TEST_F(ServiceEndToEndTest, ASecondServiceCannotRegister) {
    startPhone({"--no-cover"});
    const Outcome second = run({bin(kService)});
    EXPECT_EQ(second.status, 1);
    EXPECT_THAT(second.err, ContainsRegex(lineOf('E', "Cannot register Bivsita HAL service")));
    EXPECT_THAT(second.err, testing::Not(HasSubstr("Bivista HAL Ready.")));
    EXPECT_THAT(second.err, testing::Not(HasSubstr("Exiting Bivista")));
    EXPECT_EQ(call({"getBV2Connect"}).status, 0) << "the first one serves on";
}

TEST_F(ServiceEndToEndTest, NeedsARegistryFolderThatItCanWrite) {
    setenv("HIDL_SOCKET_DIR", "/proc/registry", 1);
    const Outcome outcome = run({bin(kService)});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.err, HasSubstr("/proc/registry"));
    EXPECT_THAT(outcome.err, ContainsRegex(lineOf('E', "Cannot register Bivsita HAL service")));
}

TEST_F(ServiceEndToEndTest, EndsWhenItsTransportCanStartNoThread) {
    const Outcome outcome = run({WITHOUT_THREADS, bin(kService)});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.err, ContainsRegex(lineOf('E', "Cannot register Bivsita HAL service\n")));
    EXPECT_THAT(outcome.err, ContainsRegex(lineOf('E', "Exiting Bivista\n$")));
    EXPECT_THAT(outcome.err, HasSubstr("Cannot start the thread of the HIDL sockets: "
                                       "Resource temporarily unavailable"));
    EXPECT_THAT(outcome.err, testing::Not(HasSubstr("terminate")));
    EXPECT_TRUE(std::filesystem::is_empty(folder + "/registry"));
}

TEST_F(ServiceEndToEndTest, ComesBackOverItsStaleSocket) {
    startPhone();
    ASSERT_EQ(kill(servicePid(), SIGKILL), 0);
    phone->wait();
    EXPECT_EQ(version().status, 3);
    startPhone();
    EXPECT_EQ(version().out, kVersionResult);
}

TEST_F(ServiceEndToEndTest, TellsAClientThatItDiedDuringTheCall) {
    startPhone();
    ctl({"fault", "on AT%SWV late 3600s"});
    Process client({bin("bivistactl"), "call", "sendAtCommand", "AT%SWV", "null"});
    awaitLog("serialAtCmd: wr: [AT%SWV]");
    ASSERT_EQ(kill(servicePid(), SIGKILL), 0);
    const Outcome outcome = client.outcome();
    EXPECT_EQ(outcome.status, 3);
    EXPECT_EQ(outcome.out, "");
    EXPECT_NE(outcome.err, "");
}

// A client whose callback hangs, and with it the RPC thread: the client was stopped during its
// command, and then a line came.
class HangingClientTest : public ServiceEndToEndTest {
  protected:
    void SetUp() override {
        startPhone();
        // A thread that still attaches would wait for the AT channel, and see no detach.
        awaitAttachDone();
        ctl({"fault", R"(on AT%SWV answer "" times 1)"});
        hanging = std::make_unique<Process>(
                std::vector<std::string>{bin("bivistactl"), "at", "AT%SWV"});
        awaitLog("serialAtCmd: wr: [AT%SWV]");
        hanging->kill(SIGSTOP);
        ctl({"send", "\\r\\none\\r\\nOK\\r\\n"});
        awaitLog("serialAtCmd: rd: [one]");
    }

    // Starts a client, and waits until the service has accepted it.
    std::unique_ptr<Process> connect(std::vector<std::string> arguments) const {
        const size_t before = serviceSockets();
        arguments.insert(arguments.begin(), {bin("bivistactl"), "call"});
        auto client = std::make_unique<Process>(arguments);
        await([&] { return serviceSockets() > before; });
        return client;
    }

    // Two clients wait for the service; no answer and no other command passes.
    void expectThatOthersWait() {
        const size_t received = count(journal(), "\"tty-rx\"");
        waiting = connect({"getBV2Connect"});
        commanding = connect({"sendAtCommand", "AT%SWV", "null"});
        // Time enough for an answer: a whole exchange with the emulator.
        ctl({"show"});
        EXPECT_TRUE(waiting->isRunning());
        EXPECT_TRUE(commanding->isRunning());
        EXPECT_EQ(waiting->out() + commanding->out(), "");
        EXPECT_EQ(count(journal(), "\"tty-rx\""), received);
    }

    void expectThatOthersAreAnswered() {
        EXPECT_EQ(waiting->wait(), 0);
        EXPECT_EQ(commanding->outcome().out, kVersionResult);
        EXPECT_EQ(version().out, kVersionResult);
    }

    std::unique_ptr<Process> hanging;
    std::unique_ptr<Process> waiting;
    std::unique_ptr<Process> commanding;

  private:
    size_t serviceSockets() const {
        size_t sockets = 0;
        const std::string fds = "/proc/" + std::to_string(servicePid()) + "/fd";
        for (const auto& entry : std::filesystem::directory_iterator(fds)) {
            std::error_code gone;
            const auto target = std::filesystem::read_symlink(entry, gone).string();
            if (target.rfind("socket:", 0) == 0) ++sockets;
        }
        return sockets;
    }
};

TEST_F(HangingClientTest, HoldsTheServiceUntilItGoesOn) {
    expectThatOthersWait();
    hanging->kill(SIGCONT);
    EXPECT_EQ(hanging->outcome().out, "one\n");
    expectThatOthersAreAnswered();
}

TEST_F(HangingClientTest, HoldsTheServiceUntilItDies) {
    expectThatOthersWait();
    hanging->kill(SIGKILL);
    hanging->wait();
    expectThatOthersAreAnswered();
}

// A detach and the next attach wait for the AT channel, and happen when it is free.
TEST_F(HangingClientTest, HoldsTheAtChannel) {
    ctl({"detach"});
    ctl({"attach"});
    awaitLog("serialDeviceRemoved: attached:1");
    awaitLog("========== Bivista Attached", 2);
    EXPECT_EQ(count(log(), "========== ttyACM0 create"), 1u);
    hanging->kill(SIGCONT);
    EXPECT_EQ(hanging->wait(), 0);
    awaitLog("========== ttyACM0 create", 2);
    awaitCover();
    EXPECT_EQ(version().out, kVersionResult);
}

TEST_F(ServiceEndToEndTest, CarriesOnWhenAClientDiesDuringItsCommand) {
    startPhone();
    ctl({"fault", "on AT%SWV late 500ms times 1"});
    Process client({bin("bivistactl"), "at", "AT%SWV"});
    awaitLog("serialAtCmd: wr: [AT%SWV]");
    client.kill(SIGKILL);
    client.wait();
    EXPECT_EQ(version().out, kVersionResult);
}

TEST_F(ServiceEndToEndTest, ServesSeveralClientsAtOnce) {
    startPhone();
    std::vector<std::unique_ptr<Process>> clients;
    for (int i = 0; i < 6; ++i) {
        clients.push_back(std::make_unique<Process>(std::vector<std::string>{
                bin("bivistactl"), "call", "sendAtCommand", "AT%SWV", "null"}));
    }
    for (const auto& client : clients) EXPECT_EQ(client->outcome().out, kVersionResult);
}

}  // namespace
}  // namespace e2e
