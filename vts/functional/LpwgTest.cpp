// Callbacks for touch and pen events. Never cleared: the call would not return, and no later one
// would be served.
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
    Events events() const {
        const std::lock_guard<std::mutex> lock(mLock);
        return mEvents;
    }

  protected:
    Return<void> add(int minor, int32_t status, int32_t result) {
        const std::lock_guard<std::mutex> lock(mLock);
        mEvents.push_back({minor, status, result});
        return Void();
    }

  private:
    mutable std::mutex mLock;  // guards mEvents
    Events mEvents;
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

// Needs somebody who makes gestures.
class GestureTest : public LpwgTest {
  protected:
    static constexpr size_t kGestures = 3;

    void SetUp() override {
        LpwgTest::SetUp();
        if (HasFatalFailure()) return;
        if (options().eventCommand.empty()) miss(kEvents, "--event-command was not given");
    }

    // Whether the gesture has reached the client as its `count`th event.
    static bool gesture(const EventRecorder& client, size_t count) {
        return runCommand(options().eventCommand, "WAKEUP") &&
               await([&] { return client.events().size() >= count; });
    }

    template <typename Client>
    void expectGestures(int minor) {
        const sp<Client> client = new Client;
        expectDone(service->setLpwgCallback(client));
        for (size_t i = 1; i <= kGestures; ++i) ASSERT_TRUE(gesture(*client, i)) << i;
        // Events come one at a time: when the next client has one, none is under way to this.
        const sp<Client> next = new Client;
        expectDone(service->setLpwgCallback(next));
        ASSERT_TRUE(gesture(*next, 1));
        EXPECT_EQ(client->events(), Events(kGestures, Event{minor, 0, 0}));
    }
};

TEST_P(GestureTest, ReachesAClientOfVersion1_0Once) {
    expectGestures<Client1_0>(0);
}

TEST_P(GestureTest, ReachesAClientOfVersion1_1ByItsNewMethodAlone) {
    expectGestures<Client1_1>(1);
}

BIVISTA_PER_INSTANCE(LpwgTest);
BIVISTA_PER_INSTANCE(GestureTest);

}  // namespace
}  // namespace bivista_vts
