// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Callbacks for touch and pen events. No test clears them: that call would not return, and the
// service would serve no later one.
#include "BivistaTest.h"

#include <vendor/qmx/hardware/bivista/1.1/IBivistaLpwgCallback.h>

namespace bivista_vts {
namespace {

struct Event {
    int minor;  // of the version whose method was called
    int32_t status;
    int32_t result;
};
bool operator==(const Event& one, const Event& other) {
    return one.minor == other.minor && one.status == other.status && one.result == other.result;
}
void PrintTo(const Event& event, std::ostream* out) {
    *out << "1." << event.minor << " (" << event.status << ", " << event.result << ")";
}
using Events = std::vector<Event>;

// Any thread.
class EventRecorder {
  public:
    Events events() const EXCLUDES(mLock) {
        const android::AutoMutex lock(mLock);
        return mEvents;
    }

  protected:
    Return<void> add(int minor, int32_t status, int32_t result) EXCLUDES(mLock) {
        const android::AutoMutex lock(mLock);
        mEvents.push_back({minor, status, result});
        return Void();
    }

  private:
    mutable android::Mutex mLock;
    Events mEvents GUARDED_BY(mLock);
};

class Client1_0 : public V1_0::IBivistaLpwgCallback, public EventRecorder {
  public:
    Return<void> onLpwgEvent(V1_0::LpwgEventStatus status, int32_t result) override {
        return add(0, static_cast<int32_t>(status), result);
    }
};

class Client1_1 : public V1_1::IBivistaLpwgCallback, public EventRecorder {
  public:
    Return<void> onLpwgEvent(V1_0::LpwgEventStatus status, int32_t result) override {
        return add(0, static_cast<int32_t>(status), result);
    }
    Return<void> onLpwgEvent_1_1(V1_1::LpwgEventStatus status, int32_t result) override {
        return add(1, static_cast<int32_t>(status), result);
    }
};

class LpwgTest : public BivistaTest {};

TEST_P(LpwgTest, CallbacksOfBothVersionsAreTakenAndReplaced) {
    const sp<Client1_0> old = new Client1_0;
    const sp<Client1_1> newer = new Client1_1;
    expectDone(service->setLpwgCallback(old));
    expectDone(service->setLpwgCallback(old));
    expectDone(service->setLpwgCallback(newer));
    expectDone(service->setLpwgCallback(old));
    expectDone(service->ping());
}

// Needs a command that makes the phone report events.
class EventTest : public LpwgTest {
  protected:
    void SetUp() override {
        LpwgTest::SetUp();
        if (HasFatalFailure()) return;
        needCommand(kEvents, options().eventCommand);
    }

    // Whether the event has reached the client as its `count`th.
    static bool report(const std::string& name, const EventRecorder& client, size_t count) {
        return runCommand(options().eventCommand, name) &&
               await([&] { return client.events().size() >= count; });
    }

    template <typename Client>
    void expectEvents(int minor) {
        const sp<Client> client = new Client;
        expectDone(service->setLpwgCallback(client));
        Events expected;
        for (const auto& [name, status, result] : kDelivered) {
            expected.push_back({minor, status, result});
            ASSERT_TRUE(report(name, *client, expected.size())) << name;
        }
        // Events come one at a time: when the next client has one, none is under way to this.
        const sp<Client> next = new Client;
        expectDone(service->setLpwgCallback(next));
        ASSERT_TRUE(report("WAKEUP", *next, 1));
        EXPECT_EQ(client->events(), expected);
    }

    struct Delivered {
        const char* name;
        int32_t status;
        int32_t result;
    };
    static constexpr Delivered kDelivered[] = {
            {"WAKEUP", 0, 0},
            {"BV_PEN_WAKEUP", 1, 0},
            {"BV_PEN_WAKEUP_BTN", 2, 0},
            {"BV_PEN_DETECTION", 3, 0},
            // An unknown name is reported as unknown, however much it resembles a known one.
            {"SWITCH_AES_TO_3", -1, -1},
            {"wakeup", -1, -1},
            {"PEN_WAKEUP", -1, -1},
            {"WAKEUP", 0, 0},
    };
};

TEST_P(EventTest, ReachesAClientOfVersion1_0Once) {
    expectEvents<Client1_0>(0);
}

TEST_P(EventTest, ReachesAClientOfVersion1_1ByItsNewMethodAlone) {
    expectEvents<Client1_1>(1);
}

TEST_P(EventTest, ThatTheServiceCarriesOutReachesNobody) {
    const sp<Client1_1> client = new Client1_1;
    expectDone(service->setLpwgCallback(client));
    // The last one leaves pen mode 2.
    for (const char* name :
         {"SWITCH_AES_TO_1", "BV_UPDATE_STATE", "SWITCH_AES_TO_2", "SWITCH_AES_BOTH"}) {
        ASSERT_TRUE(runCommand(options().eventCommand, name));
    }
    ASSERT_TRUE(report("BV_PEN_DETECTION", *client, 1));
    EXPECT_EQ(client->events(), (Events{Event{1, 3, 0}}));
}

BIVISTA_PER_INSTANCE(LpwgTest);
BIVISTA_PER_INSTANCE(EventTest);

}  // namespace
}  // namespace bivista_vts
