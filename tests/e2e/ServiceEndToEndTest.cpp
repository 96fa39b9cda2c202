// The real service on the emulated phone, spoken to with bivistactl.
#include <csignal>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/e2e/Programs.h"

namespace e2e {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

constexpr char kVersion[] = "BV330-V10k_20210312";
constexpr char kVersionResult[] =
        "{\"method\":\"sendAtCommand\",\"status\":\"OK\",\"value\":\"BV330-V10k_20210312\"}\n";

class ServiceEndToEndTest : public ProgramsTest {
  protected:
    Outcome version() const { return call({"sendAtCommand", "AT%SWV", "null"}); }
};

TEST_F(ServiceEndToEndTest, AnswersACommandThroughHidl) {
    startPhone();
    const Outcome outcome = version();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, kVersionResult);
    EXPECT_EQ(outcome.err, "");
}

TEST_F(ServiceEndToEndTest, PrintsTheLinesOfAnAnswer) {
    startPhone();
    const Outcome outcome = run({bin("bivistactl"), "at", "AT%SWV"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, std::string(kVersion) + "\n");
}

TEST_F(ServiceEndToEndTest, FailsWithoutACover) {
    startPhone({"--no-cover"});
    const Outcome outcome = version();
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.out, "{\"method\":\"sendAtCommand\",\"status\":\"FAIL\",\"value\":\"\"}\n");
}

TEST_F(ServiceEndToEndTest, IsMissedWhenItIsNotThere) {
    const Outcome outcome = version();
    EXPECT_EQ(outcome.status, 3);
    EXPECT_EQ(outcome.out, "");
    EXPECT_THAT(outcome.err, HasSubstr("service"));
}

TEST_F(ServiceEndToEndTest, FollowsTheCoverOffAndOn) {
    startPhone();
    ctl({"detach"});
    awaitNoCover();
    EXPECT_EQ(version().status, 1);
    ctl({"attach"});
    awaitCover();
    EXPECT_EQ(version().out, kVersionResult);
}

TEST_F(ServiceEndToEndTest, AnswersAfterAnUnplugInMidAnswer) {
    startPhone();
    ctl({"fault", "on AT%SWV late 3600s times 1"});
    Program client({bin("bivistactl"), "call", "sendAtCommand", "AT%SWV", "null"}, folder);
    awaitLog("serialAtCmd: wr: [AT%SWV]");
    ctl({"detach"});
    // A hang-up counts as success, with what was stored until then.
    EXPECT_EQ(client.wait().out,
              "{\"method\":\"sendAtCommand\",\"status\":\"OK\",\"value\":\"\"}\n");
    awaitNoCover();
    ctl({"attach"});
    awaitCover();
    EXPECT_EQ(version().out, kVersionResult);
}

TEST_F(ServiceEndToEndTest, RecoversACoverThatIsSilent) {
    startPhone();
    ctl({"fault", "on AT%SWV silent times 1"});
    EXPECT_EQ(version().status, 1);
    awaitLog("!!!!!!!!!! Bivista Recovery !!!!!!!!!!");
    // The cover comes back by itself, and the vote that the time-out left is forgotten.
    awaitLog("serialDeviceAdded: attached:0", 2);
    awaitCover();
    EXPECT_EQ(version().out, kVersionResult);
    EXPECT_THAT(journal(), HasSubstr("bv2_recovery"));
}

TEST_F(ServiceEndToEndTest, EscapesAnswersThatAreNotText) {
    startPhone();
    ctl({"fault", R"(on AT%SWV answer "\r\n\xff\xfe\r\nOK\r\n")"});
    const Outcome outcome = version();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.out, HasSubstr("\"value\":\"\\udcff\\udcfe\""));
}

TEST_F(ServiceEndToEndTest, TakesAPropertyThatIsLongerThanAndroidAllows) {
    startPhone({"--property", "ro.product.device=Q-71C" + std::string(500, 'x')});
    awaitLog("serialDeviceAdded: Set MODEL=DCM");
}

TEST_F(ServiceEndToEndTest, RefusesWhatIsNotBuiltYet) {
    startPhone();
    const std::vector<std::vector<std::string>> calls = {
            {"getFirmwareVersion"},
            {"setBrightness", "128"},
            {"setPowerStatus", "true", "false"},
            {"setRgbTune", "1", "2", "3", "4"},
            {"setStatus", "1", "0"},
            {"drawSubDisplay", "1,2"},
            {"getSubDisplayInfo"},
            {"setAesMode", "1"},
            {"bv_update_state"},
    };
    for (const auto& arguments : calls) {
        const Outcome outcome = call(arguments);
        EXPECT_EQ(outcome.status, 1) << arguments[0];
        EXPECT_THAT(outcome.out,
                    StartsWith("{\"method\":\"" + arguments[0] + "\",\"status\":\"FAIL\""));
    }
}

TEST_F(ServiceEndToEndTest, StopsWatchingOnItsSignal) {
    startPhone();
    const pid_t pid = servicePid();
    ASSERT_GT(pid, 0);
    ASSERT_EQ(kill(pid, SIGUSR1), 0);
    awaitLog("destroy set");
    awaitLog("usbNotifyThread: exiting");
    EXPECT_EQ(version().out, kVersionResult) << "calls are served as before";
}

TEST_F(ServiceEndToEndTest, TellsThatItIsReady) {
    startPhone();
    EXPECT_THAT(log(), HasSubstr("Bivista HAL Ready."));
    EXPECT_THAT(log(), HasSubstr("========== Bivista HAL Constructor =========="));
}

TEST_F(ServiceEndToEndTest, ASecondServiceCannotRegister) {
    startPhone({"--no-cover"});
    const Outcome second = run({bin(kService)});
    EXPECT_EQ(second.status, 1);
    EXPECT_THAT(second.err, HasSubstr("Cannot register Bivsita HAL service"));
    EXPECT_THAT(second.err, testing::Not(HasSubstr("Bivista HAL Ready.")));
    EXPECT_EQ(call({"getBV2Connect"}).status, 0) << "the first one serves on";
}

TEST_F(ServiceEndToEndTest, NeedsARegistryFolderThatItCanWrite) {
    setenv("HIDL_SOCKET_DIR", "/proc/registry", 1);
    const Outcome outcome = run({bin(kService)});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.err, HasSubstr("/proc/registry"));
    EXPECT_THAT(outcome.err, HasSubstr("Cannot register Bivsita HAL service"));
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
    Program client({bin("bivistactl"), "call", "sendAtCommand", "AT%SWV", "null"}, folder);
    awaitLog("serialAtCmd: wr: [AT%SWV]");
    ASSERT_EQ(kill(servicePid(), SIGKILL), 0);
    const Outcome outcome = client.wait();
    EXPECT_EQ(outcome.status, 3);
    EXPECT_EQ(outcome.out, "");
    EXPECT_NE(outcome.err, "");
}

// A callback that hangs holds the RPC thread and the AT channel; all goes on when it ends.
TEST_F(ServiceEndToEndTest, RecoversFromAClientThatHangsInItsCallback) {
    startPhone();
    ctl({"fault", R"(on AT%SWV answer "\r\none\r\n" times 1)"});
    Program hanging({bin("bivistactl"), "at", "AT%SWV"}, folder);
    await([&] { return hanging.out() == "one\n"; });
    hanging.signal(SIGSTOP);
    ctl({"send", "two\\r\\nOK\\r\\n"});
    Program waiting({bin("bivistactl"), "call", "getBV2Connect"}, folder);
    awaitLog("rd: [two]");
    EXPECT_TRUE(waiting.isRunning());
    hanging.signal(SIGKILL);
    EXPECT_EQ(waiting.wait().status, 0);
    EXPECT_EQ(version().out, kVersionResult);
}

TEST_F(ServiceEndToEndTest, CarriesOnWhenAClientDiesDuringItsCommand) {
    startPhone();
    ctl({"fault", "on AT%SWV late 500ms times 1"});
    Program client({bin("bivistactl"), "at", "AT%SWV"}, folder);
    awaitLog("serialAtCmd: wr: [AT%SWV]");
    client.signal(SIGKILL);
    client.wait();
    EXPECT_EQ(version().out, kVersionResult);
}

TEST_F(ServiceEndToEndTest, ServesSeveralClientsAtOnce) {
    startPhone();
    std::vector<std::unique_ptr<Program>> clients;
    for (int i = 0; i < 6; ++i) {
        clients.push_back(std::make_unique<Program>(
                std::vector<std::string>{bin("bivistactl"), "call", "sendAtCommand", "AT%SWV",
                                         "null"},
                folder));
    }
    for (const auto& client : clients) EXPECT_EQ(client->wait().out, kVersionResult);
}

}  // namespace
}  // namespace e2e
