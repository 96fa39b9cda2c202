// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Kernel events of the cover, through the kernel's netlink, and what reaches the cover, the
// kernel's parameter, the LPWG service and the client.
#include "display/UeventMonitor.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <future>
#include <ostream>

#include <unistd.h>

#include "tests/display/FakeLpwg.h"
#include "tests/display/WorkerTest.h"
#include "tests/kernel/DumpReader.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {
namespace {

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

constexpr char kOurs[] = "SUBSYSTEM=QMX_BV2";

class UeventMonitorTest : public WorkerTest {
  protected:
    void SetUp() override {
        start();
        client = new LpwgClient1_1;
    }
    // With a cover, and the client registered.
    void attachAndRegister() {
        attach();
        registerClient(client);
    }
    sp<LpwgClient1_1> client;
};

// One that is busy with its first event until it is released.
class BusyClient : public LpwgClient1_1 {
  public:
    Return<void> onLpwgEvent_1_1(V1_1::LpwgEventStatus status, int32_t result) override {
        LpwgClient1_1::onLpwgEvent_1_1(status, result);
        mReleased.wait();
        return Void();
    }
    void release() { mRelease.set_value(); }

  private:
    std::promise<void> mRelease;
    const std::shared_future<void> mReleased = mRelease.get_future().share();
};

struct Token {
    std::string name;
    int32_t status;
    int32_t result;
};
void PrintTo(const Token& token, std::ostream* out) {
    *out << token.name;
}

class ClientEventTest : public UeventMonitorTest, public testing::WithParamInterface<Token> {};

TEST_P(ClientEventTest, ReachesAClientOfVersion1_1) {
    registerClient(client);
    raiseEvent(GetParam().name);
    handled();
    EXPECT_THAT(client->calls(), ElementsAre(LpwgCall{1, GetParam().status, GetParam().result}));
}

TEST_P(ClientEventTest, ReachesAClientOfVersion1_0) {
    const sp<LpwgClient1_0> older = new LpwgClient1_0;
    registerClient(older);
    raiseEvent(GetParam().name);
    handled();
    EXPECT_THAT(older->calls(), ElementsAre(LpwgCall{0, GetParam().status, GetParam().result}));
}

INSTANTIATE_TEST_SUITE_P(Names, ClientEventTest,
                         testing::Values(Token{"WAKEUP", 0, 0}, Token{"BV_PEN_WAKEUP", 1, 0},
                                         Token{"BV_PEN_WAKEUP_BTN", 2, 0},
                                         Token{"BV_PEN_DETECTION", 3, 0},
                                         Token{"SWITCH_AES_TO_3", -1, -1}, Token{"", -1, -1},
                                         Token{"WAKEUP\n", -1, -1}),
                         [](const auto& info) { return "Nr" + std::to_string(info.index); });

// The kernel drops what the worker's buffer does not hold; nothing tells of it.
TEST_F(UeventMonitorTest, LosesTheLaterEventsOfABurstAndServesTheNextOne) {
    const sp<BusyClient> busy = new BusyClient;
    registerClient(busy);
    constexpr size_t kSent = 1000;
    raiseEvent("WAKEUP");
    busy->waitFor(1);
    phone.uevents.burst(phone::touchEventMessage("WAKEUP"), kSent);
    busy->release();
    const LpwgCall next = {1, 3, 0};
    // It is lost too as long as the buffer is full.
    while (busy->calls().back() != next) {
        raiseEvent("BV_PEN_DETECTION");
        usleep(1000);
    }
    EXPECT_GT(std::ranges::count(busy->calls(), LpwgCall{1, 0, 0}), 100);
    EXPECT_LT(std::ranges::count(busy->calls(), LpwgCall{1, 0, 0}), 250);
}

TEST_F(UeventMonitorTest, LogsEachStepAsAnError) {
    registerClient(client);
    raiseEvent("WAKEUP");
    EXPECT_THAT(handled(), ElementsAre("uevent received SUBSYSTEM=QMX_BV2",
                                       "cp1 = TOUCH_GESTURE_WAKEUP=WAKEUP", "Uevent_msg = WAKEUP"));
    for (const support::LogLine& line : log.lines()) {
        if (line.text.rfind("usb", 0) != 0)
            EXPECT_EQ(line.priority, ANDROID_LOG_ERROR) << line.text;
    }
}

TEST_F(UeventMonitorTest, SaysThatItsThreadIsThere) {
    service->setLpwgCallback(client);
    log.waitFor(ANDROID_LOG_ERROR, "creating thread");
}

TEST_F(UeventMonitorTest, IsCalledByItsWork) {
    registerClient(client);
    EXPECT_THAT(threadNamesOf(*service), Contains("uevent-worker"));
}

TEST_F(UeventMonitorTest, IgnoresOtherSubsystems) {
    registerClient(client);
    raise({"SUBSYSTEM=usb", "TOUCH_GESTURE_WAKEUP=WAKEUP"});
    EXPECT_THAT(handled(), IsEmpty());
    EXPECT_THAT(client->calls(), IsEmpty());
}

TEST_F(UeventMonitorTest, TakesTheSubsystemForOursWhateverStandsAroundIt) {
    registerClient(client);
    raise({"xSUBSYSTEM=QMX_BV2_x", "TOUCH_GESTURE_WAKEUP=WAKEUP"});
    EXPECT_THAT(handled(), Contains("uevent received xSUBSYSTEM=QMX_BV2_x"));
    EXPECT_THAT(client->calls(), ElementsAre(LpwgCall{1, 0, 0}));
}

// The kernel's number takes the place of the NUL that is missing.
TEST_F(UeventMonitorTest, ASubsystemInTheLastStringIsOnlyLogged) {
    registerClient(client);
    phone::UeventSender().throughKernel(kOurs);
    EXPECT_THAT(handled(), ElementsAre(StartsWith("uevent received SUBSYSTEM=QMX_BV2SEQNUM=")));
    EXPECT_THAT(client->calls(), IsEmpty());
}

// Meant: the worker looks only at the string after the subsystem.
TEST_F(UeventMonitorTest, AnEventFurtherBehindIsNotSeen) {
    registerClient(client);
    raise({kOurs, "DEVNAME=bv2", "TOUCH_GESTURE_WAKEUP=WAKEUP"});
    EXPECT_THAT(handled(), ElementsAre("uevent received SUBSYSTEM=QMX_BV2", "cp1 = DEVNAME=bv2"));
    EXPECT_THAT(client->calls(), IsEmpty());
}

TEST_F(UeventMonitorTest, ASecondSubsystemBringsASecondEvent) {
    registerClient(client);
    raise({kOurs, "TOUCH_GESTURE_WAKEUP=WAKEUP", kOurs, "TOUCH_GESTURE_WAKEUP=BV_PEN_WAKEUP"});
    handled();
    EXPECT_THAT(client->calls(), ElementsAre(LpwgCall{1, 0, 0}, LpwgCall{1, 1, 0}));
}

// The walk goes on with the event's own string.
TEST_F(UeventMonitorTest, ASubsystemInsideAnEventCounts) {
    registerClient(client);
    raise({kOurs, "TOUCH_GESTURE_WAKEUP=SUBSYSTEM=QMX_BV2", "TOUCH_GESTURE_WAKEUP=WAKEUP"});
    EXPECT_THAT(handled(), ElementsAre("uevent received SUBSYSTEM=QMX_BV2",
                                       "cp1 = TOUCH_GESTURE_WAKEUP=SUBSYSTEM=QMX_BV2",
                                       "Uevent_msg = SUBSYSTEM=QMX_BV2",
                                       "uevent received TOUCH_GESTURE_WAKEUP=SUBSYSTEM=QMX_BV2",
                                       "cp1 = TOUCH_GESTURE_WAKEUP=WAKEUP", "Uevent_msg = WAKEUP"));
    EXPECT_THAT(client->calls(), ElementsAre(LpwgCall{1, -1, -1}, LpwgCall{1, 0, 0}));
}

TEST_F(UeventMonitorTest, TheEventTextBeginsBehindTheKeyWhereverThatIs) {
    registerClient(client);
    raise({kOurs, "xTOUCH_GESTURE_WAKEUP=WAKEUP"});
    handled();
    EXPECT_THAT(client->calls(), ElementsAre(LpwgCall{1, 0, 0}));
}

TEST_F(UeventMonitorTest, TheLongestEventOfTheKernelIsHandled) {
    registerClient(client);
    std::string event = std::string(kOurs) + '\0' + "TOUCH_GESTURE_WAKEUP=";
    event += std::string(phone::kLongestUevent - event.size() - 1, 'x') + '\0';
    phone::UeventSender().throughKernel(event);
    handled();
    EXPECT_THAT(client->calls(), ElementsAre(LpwgCall{1, -1, -1}));
}

TEST_F(UeventMonitorTest, AnEventOfAnotherProcessIsIgnored) {
    registerClient(client);
    const std::string event = std::string(kOurs) + '\0' + "TOUCH_GESTURE_WAKEUP=WAKEUP" + '\0';
    ASSERT_TRUE(phone::UeventSender().asProcess(event, 0, 1));
    EXPECT_THAT(handled(), IsEmpty());
    EXPECT_THAT(client->calls(), IsEmpty());
}

TEST_F(UeventMonitorTest, ABurstArrivesWholeAndInOrder) {
    registerClient(client);
    const char* const names[] = {"WAKEUP", "BV_PEN_WAKEUP", "BV_PEN_WAKEUP_BTN",
                                 "BV_PEN_DETECTION"};
    std::vector<LpwgCall> expected;
    for (int i = 0; i < 100; ++i) {
        raiseEvent(names[i % 4]);
        expected.push_back({1, i % 4, 0});
    }
    client->waitFor(100);
    handled();
    EXPECT_EQ(client->calls(), expected);
}

TEST_F(UeventMonitorTest, ReportsAClientThatDiedAndGoesOn) {
    registerClient(new DeadLpwgClient);
    raise({kOurs, "TOUCH_GESTURE_WAKEUP=WAKEUP", kOurs, "TOUCH_GESTURE_WAKEUP=WAKEUP"});
    const std::vector<std::string> lines = handled();
    EXPECT_EQ(std::count_if(lines.begin(), lines.end(),
                            [](const std::string& line) { return line.rfind("error ", 0) == 0; }),
              2);
    EXPECT_THAT(lines, Contains(AllOf(StartsWith("error "), HasSubstr("DEAD_OBJECT"))));
    // The next client takes over.
    service->setLpwgCallback(client);
    raiseEvent("WAKEUP");
    handled();
    EXPECT_THAT(client->calls(), ElementsAre(LpwgCall{1, 0, 0}));
}

TEST_F(UeventMonitorTest, PenMode1GoesToTheCoverThenToTheKernel) {
    attachAndRegister();
    phone.files.set(phone::kAesMode, "7\n");
    raiseEvent("SWITCH_AES_TO_1");
    const std::vector<std::string> lines = handled();
    EXPECT_THAT(lines, Contains("status = 0"));
    // Meant: mode 1 is 0 to the parameter.
    EXPECT_THAT(told(from), ElementsAre("AT%TCHNOTIFY=SWTICH_AES,1\r", "aes_mode=0"));
    EXPECT_TRUE(log.contains(ANDROID_LOG_ERROR, "status = 0"));
    EXPECT_TRUE(log.contains(ANDROID_LOG_ERROR, std::string("Writing 0 to ") + phone::kAesMode));
    EXPECT_THAT(client->calls(), IsEmpty());
}

TEST_F(UeventMonitorTest, PenMode2GoesToTheCoverThenToTheKernel) {
    attachAndRegister();
    raiseEvent("SWITCH_AES_TO_2");
    handled();
    EXPECT_THAT(told(from), ElementsAre("AT%TCHNOTIFY=SWTICH_AES,2\r", "aes_mode=2"));
    EXPECT_TRUE(log.contains(ANDROID_LOG_ERROR, std::string("Writing 2 to ") + phone::kAesMode));
    EXPECT_THAT(client->calls(), IsEmpty());
}

TEST_F(UeventMonitorTest, PenModeBothIsManagedAndWrittenOnce) {
    const sp<FakeLpwg> lpwg = serveLpwg();
    attachAndRegister();
    raiseEvent("SWITCH_AES_BOTH");
    EXPECT_THAT(handled(), Contains("status = 0"));
    EXPECT_THAT(lpwg->modes, ElementsAre(0));
    EXPECT_THAT(told(from), ElementsAre("AT%TCHNOTIFY=SWTICH_AES,2\r", "aes_mode=2"));
    // The worker itself writes nothing.
    EXPECT_FALSE(log.contains(ANDROID_LOG_ERROR, std::string("Writing 2 to ") + phone::kAesMode));
    EXPECT_TRUE(log.contains(ANDROID_LOG_DEBUG, std::string("Writing 2 to ") + phone::kAesMode));
    EXPECT_THAT(client->calls(), IsEmpty());
}

TEST_F(UeventMonitorTest, TheKernelKeepsItsPenModeWhenTheCoverRefuses) {
    attachAndRegister();
    phone.faults.set("on AT%TCHNOTIFY error");
    raiseEvent("SWITCH_AES_TO_1");
    raiseEvent("SWITCH_AES_TO_2");
    EXPECT_THAT(handled(), Contains("status = 1").Times(2));
    EXPECT_THAT(told(from), Not(Contains(StartsWith("aes_mode="))));
}

TEST_F(UeventMonitorTest, TheKernelKeepsItsPenModeWithoutACover) {
    registerClient(client);
    raiseEvent("SWITCH_AES_TO_2");
    EXPECT_THAT(handled(), Contains("status = 1"));
    EXPECT_THAT(told(from), IsEmpty());
}

// A hang-up counts as the cover's consent.
TEST_F(UeventMonitorTest, TheKernelGetsThePenModeOfACoverThatHungUp) {
    attachAndRegister();
    phone.faults.set("on AT%TCHNOTIFY hangup");
    raiseEvent("SWITCH_AES_TO_2");
    EXPECT_THAT(handled(), Contains("status = 0"));
    EXPECT_THAT(told(from), Contains("aes_mode=2"));
}

TEST_F(UeventMonitorTest, AMissingPenParameterIsReportedAndTheCoverTold) {
    attachAndRegister();
    phone.files.remove(phone::kAesMode);
    raiseEvent("SWITCH_AES_TO_1");
    handled();
    EXPECT_THAT(told(from), ElementsAre("AT%TCHNOTIFY=SWTICH_AES,1\r"));
    EXPECT_TRUE(log.contains(ANDROID_LOG_ERROR, std::string("Writing 0 to ") + phone::kAesMode));
    EXPECT_TRUE(
            log.contains(ANDROID_LOG_ERROR, std::string("Cannot open path: ") + phone::kAesMode));
    EXPECT_FALSE(phone.files.get(phone::kAesMode).has_value());
}

TEST_F(UeventMonitorTest, TheTouchUpdateStateGoesToTheCover) {
    attachAndRegister();
    phone.files.set(phone::kUpdateState, "4 5\n");
    raiseEvent("BV_UPDATE_STATE");
    EXPECT_THAT(handled(), Contains("status = 0"));
    EXPECT_THAT(told(from), ElementsAre("AT%TCHUPDATE=UPDATE_STATE,4,5\r"));
    EXPECT_TRUE(log.contains(ANDROID_LOG_ERROR, "status = 0"));
    EXPECT_THAT(client->calls(), IsEmpty());
}

TEST_F(UeventMonitorTest, ATouchUpdateStateThatCannotBeReadIsReported) {
    attachAndRegister();
    phone.files.remove(phone::kUpdateState);
    raiseEvent("BV_UPDATE_STATE");
    EXPECT_THAT(handled(), Contains("status = 1"));
    EXPECT_THAT(told(from), IsEmpty());
}

class OwnEventTest : public UeventMonitorTest, public testing::WithParamInterface<const char*> {};

TEST_P(OwnEventTest, EndsItsMessage) {
    registerClient(client);
    raise({kOurs, std::string("TOUCH_GESTURE_WAKEUP=") + GetParam(), kOurs,
           "TOUCH_GESTURE_WAKEUP=WAKEUP"});
    EXPECT_THAT(handled(), Contains("uevent received SUBSYSTEM=QMX_BV2").Times(1));
    EXPECT_THAT(client->calls(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Names, OwnEventTest,
                         testing::Values("SWITCH_AES_BOTH", "SWITCH_AES_TO_1", "SWITCH_AES_TO_2",
                                         "BV_UPDATE_STATE"),
                         [](const auto& info) { return std::string(info.param); });

class LpwgEventsTest : public UeventMonitorTest {
  protected:
    // Since the registration: what became of the events.
    std::vector<std::string> events() {
        handled();
        std::vector<std::string> all = eventsOf(*service);
        std::erase_if(all, [](const std::string& text) {
            return !text.starts_with("lpwgEvent") && !text.starts_with("callback");
        });
        return all;
    }
};

TEST_F(LpwgEventsTest, TellWhatBecameOfThem) {
    attachAndRegister();
    raiseEvent("WAKEUP");
    raiseEvent("NONSENSE");
    raiseEvent("SWITCH_AES_TO_2");
    EXPECT_THAT(events(), ElementsAre("callback lpwg registered", "lpwgEvent WAKEUP [0] delivered",
                                      "lpwgEvent NONSENSE [-1] delivered",
                                      "lpwgEvent SWITCH_AES_TO_2 [0] carried out"));
}

TEST_F(LpwgEventsTest, TellOfWhatTheServiceCouldNotCarryOut) {
    registerClient(client);
    raiseEvent("SWITCH_AES_TO_1");
    raiseEvent("BV_UPDATE_STATE");
    EXPECT_THAT(events(),
                ElementsAre("callback lpwg registered", "lpwgEvent SWITCH_AES_TO_1 [0] failed",
                            "lpwgEvent BV_UPDATE_STATE [0] failed"));
}

TEST_F(LpwgEventsTest, TellOnceOfAClientThatDied) {
    registerClient(new DeadLpwgClient);
    raiseEvent("WAKEUP");
    raiseEvent("WAKEUP");
    EXPECT_THAT(events(),
                ElementsAre("callback lpwg registered", "callback lpwg died",
                            "lpwgEvent WAKEUP [0] failed", "lpwgEvent WAKEUP [0] failed"));
}

}  // namespace
}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
