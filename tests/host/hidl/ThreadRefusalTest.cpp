// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// What the transport does where no thread can be made.
#include <filesystem>
#include <system_error>

#include "Processes.h"
#include "host/hidl/RpcThreads.h"
#include "tests/support/ThreadRefusal.h"

namespace {

using namespace hidltest;

constexpr char kName[] = "vendor.qmx.hardware.bivista@1.1::IBivista";

TEST(WithoutThreads, RegistrationFailsAndLeavesNoName) {
    ServiceDirectory directory;
    support::refuseThreads();
    const sp<IBivista> service = new FakeBivista;
    testing::internal::CaptureStderr();
    EXPECT_EQ(service->registerAsService(), ::android::NO_MEMORY);
    EXPECT_EQ(service->registerAsService(), ::android::NO_MEMORY);
    const std::string log = testing::internal::GetCapturedStderr();
    EXPECT_NE(log.find("Cannot register a service: Cannot start the thread of the HIDL sockets: "
                       "Resource temporarily unavailable"),
              std::string::npos)
            << log;
    EXPECT_FALSE(std::filesystem::exists(directory.path() + "/" + kName));
    EXPECT_EQ(IBivista::getService(), nullptr);
}

TEST(WithoutThreads, ALookUpThrows) {
    ServiceDirectory directory;
    ServiceChild child([] { return sp<IBivista>(new FakeBivista); });
    support::refuseThreads();
    EXPECT_THROW(IBivista::getService(), std::system_error);
    EXPECT_THROW(IBivista::tryGetService(), std::system_error);
}

TEST(WithoutThreads, EachJobOfThePoolAsksForOneAnew) {
    using namespace ::android::hardware;
    RpcThreads::get().start();
    support::refuseThreads();
    EXPECT_THROW(RpcThreads::get().run([] {}), std::system_error);
    EXPECT_THROW(RpcThreads::get().run([] {}), std::system_error);
}

}  // namespace
