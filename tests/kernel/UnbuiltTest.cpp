// Methods whose subject is not built yet refuse, and touch neither the cover nor the kernel.
#include <functional>

#include "tests/kernel/ServiceTest.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {
namespace {

using testing::IsEmpty;

struct Outcome {
    Status status = Status::OK;
    int results = 0;
    bool delivered = false;
};

Outcome of(const Return<Status>& result) {
    // A plain result cannot be delivered twice.
    return {result, 1, result.isOk()};
}

struct Method {
    const char* name;
    std::function<Outcome(Bivista&)> call;
};

#define PLAIN(name, ...)                                                       \
    {                                                                          \
#name, [](Bivista & service) { return of(service.name(__VA_ARGS__)); } \
    }

#define WITH_CALLBACK(name)                                                              \
    {                                                                                    \
#name, [](Bivista& service) {                                                          \
            Outcome outcome;                                                               \
            const Return<void> done = service.name([&](Status status, const auto&) {       \
                outcome.status = status;                                                   \
                ++outcome.results;                                                         \
            });                                                                            \
            outcome.delivered = done.isOk();                                               \
            return outcome;                                                                \
        } \
    }

const std::vector<Method> kMethods = {
        PLAIN(setSubDisplayBrightness, 1),      PLAIN(setSubDisplayPowerState, true),
        WITH_CALLBACK(getSubDisplayInfo),       PLAIN(drawSubDisplay, hidl_vec<uint32_t>{1, 2}),
        WITH_CALLBACK(getSubDisplayPowerState),
};

class UnbuiltTest : public ServiceTest {
  protected:
    void SetUp() override {
        start();
        attach();
        EXPECT_EQ(send("AT\r").value, 0);
    }
};

TEST_F(UnbuiltTest, EveryMethodRefusesOnce) {
    const uint64_t from = journal.next();
    for (const Method& method : kMethods) {
        const Outcome outcome = method.call(*service);
        EXPECT_TRUE(outcome.delivered) << method.name;
        EXPECT_EQ(outcome.status, Status::FAIL) << method.name;
        EXPECT_EQ(outcome.results, 1) << method.name;
    }
    EXPECT_THAT(commands(from), IsEmpty());
    EXPECT_THAT(nodeWrites(from), IsEmpty());
}

TEST_F(UnbuiltTest, ACallbackIsTakenWithoutComplaint) {
    EXPECT_TRUE(service->setSubDisplayCallback(nullptr).isOk());
}

}  // namespace
}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
