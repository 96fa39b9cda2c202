// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The platform's accessory service, as a client finds it.

#include "emulator/phone/neighbours/Accessory.h"

#include <gmock/gmock.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <thread>
#include <vector>

#include <vendor/qmx/hardware/accessory/1.1/IAccessory.h>

#include "tests/support/PhoneTest.h"

namespace {

using android::sp;
using neighbours::Accessory;
using neighbours::AccessoryState;
using phone::Kind;
using vendor::qmx::hardware::accessory::V1_1::IAccessory;

class AccessoryTest : public support::PhoneTest {
  protected:
    // The state that a client gets from the service.
    static AccessoryState ask() {
        AccessoryState told = {99, 99};
        const sp<IAccessory> service = IAccessory::getService();
        EXPECT_NE(service, nullptr);
        if (service == nullptr) return told;
        const auto result = service->getAccessoryState([&told](uint32_t type, uint32_t state) {
            told = {type, state};
        });
        EXPECT_TRUE(result.isOk());
        return told;
    }

    Accessory accessory{phone};
};

TEST_F(AccessoryTest, IsAbsentUntilItIsServed) {
    EXPECT_FALSE(accessory.isServed());
    EXPECT_EQ(IAccessory::getService(), nullptr);
    accessory.serve();
    EXPECT_TRUE(accessory.isServed());
    EXPECT_NE(IAccessory::getService(), nullptr);
}

TEST_F(AccessoryTest, FollowsTheCover) {
    accessory.serve();
    EXPECT_EQ(ask(), (AccessoryState{0, 0}));
    phone.cover.attach();
    EXPECT_EQ(ask(), (AccessoryState{0, neighbours::kAttached}));
    phone.cover.detach();
    EXPECT_EQ(ask(), (AccessoryState{0, 0}));
}

TEST_F(AccessoryTest, GivesTheStateThatItIsTold) {
    accessory.serve();
    phone.cover.attach();
    accessory.setState(AccessoryState{3, 1});
    EXPECT_EQ(ask(), (AccessoryState{3, 1}));
    accessory.setState(std::nullopt);
    EXPECT_EQ(ask(), (AccessoryState{0, 3}));
}

TEST_F(AccessoryTest, CanGoAndComeBack) {
    for (int i = 0; i < 5; ++i) {
        accessory.serve();
        accessory.serve();
        EXPECT_EQ(ask(), AccessoryState{});
        accessory.withdraw();
        accessory.withdraw();
        EXPECT_EQ(IAccessory::getService(), nullptr);
    }
}

TEST_F(AccessoryTest, HoldsItsClientsWhileItIsDeclaredAndNotUp) {
    accessory.serve();
    accessory.declare();
    EXPECT_TRUE(accessory.isDeclared());
    EXPECT_FALSE(accessory.isServed());
    EXPECT_EQ(IAccessory::tryGetService(), nullptr);
    phone.cover.attach();
    AccessoryState told;
    std::thread client([&told] { told = ask(); });
    accessory.serve();
    client.join();
    EXPECT_EQ(told, (AccessoryState{0, neighbours::kAttached}));
    EXPECT_FALSE(accessory.isDeclared());
    accessory.withdraw();
    EXPECT_EQ(IAccessory::getService(), nullptr) << "undeclared since it was served";
}

TEST_F(AccessoryTest, LeavesNoDeclarationBehind) {
    const std::string file = std::string(getenv("HIDL_SOCKET_DIR")) + "/declared";
    auto gone = std::make_unique<Accessory>(phone);
    gone->declare();
    EXPECT_TRUE(std::filesystem::exists(file));
    gone.reset();
    EXPECT_FALSE(std::filesystem::exists(file));
}

TEST_F(AccessoryTest, TakesBackTheDeclarationOfAnEmulatorThatWasKilled) {
    std::ofstream(std::string(getenv("HIDL_SOCKET_DIR")) + "/declared")
            << "vendor.qmx.hardware.accessory@1.1::IAccessory/default\n";
    accessory.serve();
    accessory.withdraw();
    EXPECT_EQ(IAccessory::getService(), nullptr);
}

TEST_F(AccessoryTest, WhoHoldsItIsAnsweredAlthoughItIsGone) {
    phone.cover.attach();
    auto gone = std::make_unique<Accessory>(phone);
    gone->serve();
    const sp<IAccessory> service = IAccessory::getService();
    gone.reset();
    uint32_t told = 99;
    const auto result =
            service->getAccessoryState([&told](uint32_t, uint32_t state) { told = state; });
    EXPECT_TRUE(result.isOk());
    EXPECT_EQ(told, 0u);
}

TEST_F(AccessoryTest, EveryAnswerIsInTheJournalBehindWhatWasWrittenBefore) {
    accessory.serve();
    accessory.setState(AccessoryState{1, 2});
    {
        std::FILE* node = std::fopen(phone::kPowerNode, "w");
        ASSERT_NE(node, nullptr);
        std::fputs("1 0", node);
        std::fclose(node);
    }
    ask();
    const std::vector<phone::Entry> entries = journal.since(first);
    ASSERT_GE(entries.size(), 2u);
    EXPECT_EQ(entries[1].bytes, "1 0");
    EXPECT_EQ(entries.back().kind, Kind::HidlCall);
    EXPECT_EQ(entries.back().path, "IAccessory.getAccessoryState");
    EXPECT_EQ(entries.back().note, "1,2");
}

TEST_F(AccessoryTest, RegistryThatCannotBeUsedIsReported) {
    phone.files.set("/data/file", "");
    const std::string folder = getenv("HIDL_SOCKET_DIR");
    setenv("HIDL_SOCKET_DIR", "/data/file", 1);
    EXPECT_THROW(accessory.serve(), phone::Error);
    EXPECT_FALSE(accessory.isServed());
    EXPECT_THROW(accessory.declare(), phone::Error);
    EXPECT_FALSE(accessory.isDeclared());
    setenv("HIDL_SOCKET_DIR", folder.c_str(), 1);
}

TEST_F(AccessoryTest, AnswersManyClientsWhileTheCoverComesAndGoes) {
    accessory.serve();
    std::vector<std::thread> clients;
    for (int i = 0; i < 3; ++i) {
        clients.emplace_back([] {
            for (int k = 0; k < 50; ++k) EXPECT_THAT(ask().state, testing::AnyOf(0u, 3u));
        });
    }
    for (int i = 0; i < 20; ++i) {
        phone.cover.attach();
        phone.cover.detach();
    }
    for (std::thread& client : clients) client.join();
}

}  // namespace
