// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Calls from one process to another: arguments, results, casts, identity, limits.
#include <fcntl.h>
#include <unistd.h>
#include <vendor/qmx/hardware/accessory/1.1/IAccessory.h>

#include <atomic>
#include <numeric>
#include <thread>

#include "Processes.h"

namespace {

using namespace hidltest;
using ::vendor::qmx::hardware::accessory::V1_1::IAccessory;
using IBivista10 = ::vendor::qmx::hardware::bivista::V1_0::IBivista;

// Answers with what it was given.
class EchoService : public FakeBivista {
  public:
    Return<Status> setStatus(const LpwgStatus& status) override {
        return status.type == -1 && status.value == INT32_MIN ? Status::OK : Status::FAIL;
    }
    Return<Status> setRgbTune(uint32_t red, uint32_t green, uint32_t blue,
                              uint32_t reserved) override {
        return red == 1 && green == 2 && blue == 3 && reserved == UINT32_MAX ? Status::OK
                                                                             : Status::FAIL;
    }
    Return<Status> drawSubDisplay(const hidl_vec<uint32_t>& frame) override {
        const uint64_t sum = std::accumulate(frame.begin(), frame.end(), uint64_t{0});
        return frame.size() == 16384 && sum == 16384ull * 16383 / 2 ? Status::OK : Status::FAIL;
    }
    Return<void> getSubDisplayInfo(getSubDisplayInfo_cb cb) override {
        cb(Status::FAIL, SubScreenInfo{256, 64, 4});
        return Void();
    }
    Return<void> getBV2Status(getBV2Status_cb cb) override {
        cb(Status::OK, BivistaStatus{true});
        return Void();
    }
    Return<void> debug(const hidl_handle& fd, const hidl_vec<hidl_string>& options) override {
        if (fd.getNativeHandle() != nullptr && fd->numFds == 1) {
            dprintf(fd->data[0], "%s", options[0].c_str());
        }
        return Void();
    }
};

sp<IBivista> makeEcho() {
    return new EchoService;
}

TEST(Call, CarriesEveryKindOfArgumentAndResult) {
    ServiceDirectory directory;
    ServiceChild child(makeEcho);
    const sp<IBivista> service = getService();
    ASSERT_TRUE(service->isRemote());

    EXPECT_EQ(static_cast<Status>(service->setStatus({-1, INT32_MIN})), Status::OK);
    EXPECT_EQ(static_cast<Status>(service->setRgbTune(1, 2, 3, UINT32_MAX)), Status::OK);
    EXPECT_TRUE(static_cast<bool>(service->getBV2Connect()));
    std::vector<uint32_t> frame(16384);
    std::iota(frame.begin(), frame.end(), 0);
    EXPECT_EQ(static_cast<Status>(service->drawSubDisplay(frame)), Status::OK);

    SubScreenInfo info{};
    Status status = Status::OK;
    EXPECT_TRUE(service->getSubDisplayInfo([&](Status s, const SubScreenInfo& i) {
                           status = s;
                           info = i;
                       })
                        .isOk());
    EXPECT_EQ(status, Status::FAIL);
    EXPECT_EQ(info, (SubScreenInfo{256, 64, 4}));
    const std::string text("AT\0\xff", 4);
    std::string answer;
    EXPECT_TRUE(
            service->sendAtCommand(text, nullptr,
                                   [&](Status, const hidl_string& response) { answer = response; })
                    .isOk());
    EXPECT_EQ(answer, text);
    bool connected = false;
    EXPECT_TRUE(service->getBV2Status([&](Status, const BivistaStatus& state) {
                           connected = state.connected;
                       })
                        .isOk());
    EXPECT_TRUE(connected);
}

TEST(Call, ReachesTheMethodsOfTheBase) {
    ServiceDirectory directory;
    ServiceChild child(makeEcho);
    const sp<IBivista> service = getService();
    EXPECT_TRUE(service->ping().isOk());
    std::string descriptor;
    EXPECT_TRUE(service->interfaceDescriptor([&](const hidl_string& d) { descriptor = d; }).isOk());
    EXPECT_EQ(descriptor, IBivista::descriptor);
    int pid = 0;
    uint64_t address = 1;
    EXPECT_TRUE(service->getDebugInfo([&](const auto& info) {
                           pid = info.pid;
                           address = info.ptr;
                       })
                        .isOk());
    EXPECT_EQ(pid, child.pid());
    EXPECT_EQ(address, 0u);
    size_t hashes = 0;
    EXPECT_TRUE(service->getHashChain([&](const auto& chain) { hashes = chain.size(); }).isOk());
    EXPECT_EQ(hashes, 3u);
}

TEST(Call, WithoutResultCallbackIsAnIllegalArgument) {
    ServiceDirectory directory;
    ServiceChild child(makeEcho);
    auto result = getService()->getFirmwareVersion(nullptr);
    EXPECT_FALSE(result.isOk());
    EXPECT_NE(result.description().find("EX_ILLEGAL_ARGUMENT"), std::string::npos);
}

TEST(Call, CarriesDescriptors) {
    ServiceDirectory directory;
    ServiceChild child(makeEcho);
    const sp<IBivista> service = getService();
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    native_handle_t* native = native_handle_create(1, 0);
    native->data[0] = ends[1];

    EXPECT_TRUE(service->debug(native, {"through the pipe"}).isOk());

    native_handle_close(native);
    native_handle_delete(native);
    std::string text;
    char byte;
    // Ends only when the service has closed its descriptor too.
    while (read(ends[0], &byte, 1) == 1) text += byte;
    EXPECT_EQ(text, "through the pipe");
    close(ends[0]);
}

TEST(Lookup, ServiceOfTheSameProcessIsItself) {
    ServiceDirectory directory;
    const sp<IBivista> service = new EchoService;
    ASSERT_EQ(service->registerAsService(), ::android::OK);
    EXPECT_EQ(IBivista::getService().get(), service.get());
    EXPECT_EQ(IBivista10::getService().get(), service.get());
    EXPECT_FALSE(IBivista::getService()->isRemote());
}

TEST(Lookup, AbsentServiceIsNull) {
    ServiceDirectory directory;
    EXPECT_EQ(IBivista::getService(), nullptr);
    EXPECT_EQ(IBivista::tryGetService("other"), nullptr);
    ServiceChild child(makeEcho);
    EXPECT_NE(IBivista::tryGetService(), nullptr);
    EXPECT_EQ(IBivista::tryGetService("other"), nullptr);
    EXPECT_EQ(IBivista::tryGetService("../" + std::string(IBivista::descriptor)), nullptr);
    EXPECT_EQ(IAccessory::getService(), nullptr);
}

TEST(Cast, FollowsTheInterfaceChain) {
    ServiceDirectory directory;
    ServiceChild child(makeEcho);
    const sp<IBivista10> old = IBivista10::getService();
    ASSERT_NE(old, nullptr);
    const sp<IBivista> service = IBivista::castFrom(old);
    ASSERT_NE(service, nullptr);
    EXPECT_EQ(static_cast<Status>(service->setAesMode(1)), Status::OK);
    const sp<IAccessory> stranger =
            IAccessory::castFrom(sp<::android::hidl::base::V1_0::IBase>(old));
    EXPECT_EQ(stranger, nullptr);
}

TEST(Cast, OfALocalObjectIsTheObject) {
    const sp<IBivista10> old = new EchoService;
    const sp<IBivista> service = IBivista::castFrom(old);
    EXPECT_EQ(service.get(), old.get());
    const sp<IBivista> none = IBivista::castFrom(sp<IBivista10>());
    EXPECT_EQ(none, nullptr);
}

TEST(Cast, AsksTheProcessOnlyOnce) {
    ServiceDirectory directory;
    ServiceChild child(makeEcho);
    const sp<IBivista10> old = IBivista10::getService();
    ASSERT_NE(sp<IBivista>(IBivista::castFrom(old)), nullptr);
    child.kill(SIGKILL);
    child.wait();
    EXPECT_FALSE(old->ping().isOk());
    EXPECT_NE(sp<IBivista>(IBivista::castFrom(old)), nullptr);
}

TEST(Identity, SameServiceIsTheSameObject) {
    ServiceDirectory directory;
    ServiceChild child(makeEcho);
    const sp<IBivista> first = getService();
    const sp<IBivista10> second = IBivista10::getService();
    EXPECT_TRUE(::android::hardware::interfacesEqual(first, second));
    EXPECT_EQ(::android::hardware::toBinder(first), ::android::hardware::toBinder(second));
    EXPECT_FALSE(::android::hardware::interfacesEqual(first, nullptr));
    EXPECT_FALSE(::android::hardware::interfacesEqual(first, new EchoService));
}

// Reports how often its service and it met.
class OnewayService : public FakeBivista {
  public:
    explicit OnewayService(int waitFor) : mWaitFor(waitFor) {}
    Return<Status> setBrightness(int32_t) override {
        char byte;
        return read(mWaitFor, &byte, 1) == 1 ? Status::OK : Status::FAIL;
    }
    Return<void> notifySyspropsChanged() override {
        ++mNotified;
        return Void();
    }
    Return<void> getFirmwareVersion(getFirmwareVersion_cb cb) override {
        cb(Status::OK, std::to_string(mNotified));
        return Void();
    }

  private:
    const int mWaitFor;
    int mNotified = 0;
};

TEST(Oneway, DoesNotWaitForTheService) {
    ServiceDirectory directory;
    int release[2];
    ASSERT_EQ(pipe2(release, O_CLOEXEC), 0);
    ServiceChild child([&] { return sp<IBivista>(new OnewayService(release[0])); });
    const sp<IBivista> service = getService();
    std::thread blocked(
            [&] { EXPECT_EQ(static_cast<Status>(service->setBrightness(1)), Status::OK); });
    // Would hang, since the one RPC thread of the service may be held now.
    for (int i = 0; i < 10; ++i) EXPECT_TRUE(service->notifySyspropsChanged().isOk());
    ASSERT_EQ(write(release[1], "x", 1), 1);
    blocked.join();
    waitUntil([&] {
        std::string count;
        EXPECT_TRUE(service->getFirmwareVersion([&](Status, const hidl_string& v) { count = v; })
                            .isOk());
        return count == "10";
    });
}

class LargeService : public FakeBivista {
  public:
    Return<void> getFirmwareVersion(getFirmwareVersion_cb cb) override {
        cb(Status::OK, std::string(1024 * 1024, 'x'));
        return Void();
    }
};

TEST(Limit, LargeCallIsRefused) {
    ServiceDirectory directory;
    ServiceChild child(makeEcho);
    const sp<IBivista> service = getService();
    auto refused = service->drawSubDisplay(std::vector<uint32_t>(256 * 1024));
    EXPECT_FALSE(refused.isOk());
    EXPECT_NE(refused.description().find("FAILED_TRANSACTION"), std::string::npos);
    auto fits = service->drawSubDisplay(std::vector<uint32_t>(256 * 1024 - 256));
    EXPECT_TRUE(fits.isOk()) << fits.description();
}

TEST(Limit, LargeReplyIsRefused) {
    ServiceDirectory directory;
    ServiceChild child([] { return sp<IBivista>(new LargeService); });
    const sp<IBivista> service = getService();
    auto refused = service->getFirmwareVersion([](Status, const hidl_string&) { FAIL(); });
    EXPECT_FALSE(refused.isOk());
    EXPECT_TRUE(service->ping().isOk());
}

TEST(Clients, ThreeAtOnceGetTheirOwnAnswers) {
    ServiceDirectory directory;
    auto body = [](int id) {
        return [id](const Child::Ready&) {
            const sp<IBivista> service = IBivista::getService();
            for (int i = 0; i < 200; ++i) {
                const std::string text = std::to_string(id) + ":" + std::to_string(i);
                std::string answer;
                auto result = service->sendAtCommand(
                        text, nullptr, [&](Status, const hidl_string& r) { answer = r; });
                if (!result.isOk() || answer != text) return 1;
            }
            return 0;
        };
    };
    ServiceChild child(makeEcho);
    Child first(body(1));
    Child second(body(2));
    Child third(body(3));
    EXPECT_EQ(first.wait(), 0);
    EXPECT_EQ(second.wait(), 0);
    EXPECT_EQ(third.wait(), 0);
}

}  // namespace
