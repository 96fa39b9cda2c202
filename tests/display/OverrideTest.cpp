// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The service calls its own interface methods through the interface, so a class that overrides one
// receives the calls. Built without RTTI, as the class is.
#include "tests/display/WorkerTest.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {
namespace {

using testing::ElementsAre;

struct OwnSetAesMode : Bivista {
    Return<Status> setAesMode(uint32_t mode) override {
        LOG_INFO("own setAesMode %u", mode);
        return Status::OK;
    }
};

struct OwnMethods : OwnSetAesMode {
    Return<Status> manageAesMode(uint32_t mode) override {
        LOG_INFO("own manageAesMode %u", mode);
        return Status::FAIL;
    }
    Return<Status> bv_update_state() override {
        LOG_INFO("own bv_update_state");
        return Status::OK;
    }
};

struct OwnUpgrades : Bivista {
    Return<Status> doFirmwareUpgrade() override {
        LOG_INFO("own doFirmwareUpgrade");
        return Status::OK;
    }
    Return<Status> cancelFirmwareUpgrade() override {
        LOG_INFO("own cancelFirmwareUpgrade");
        return Status::OK;
    }
};

class OverrideTest : public WorkerTest {
  protected:
    // The lines of the overriding methods and of the worker's verdicts.
    std::vector<std::string> said() const {
        std::vector<std::string> lines = log.texts();
        std::erase_if(lines, [](const std::string& line) {
            return line.rfind("own ", 0) != 0 && line.rfind("status", 0) != 0;
        });
        return lines;
    }
};

TEST_F(OverrideTest, ManagingThePenModeCallsTheOverriddenMethod) {
    start(new OwnSetAesMode);
    EXPECT_EQ(service->manageAesMode(1), Status::OK);
    EXPECT_EQ(service->manageAesMode(0), Status::OK);
    EXPECT_THAT(said(), ElementsAre("own setAesMode 1", "own setAesMode 2"));
}

TEST_F(OverrideTest, TheWorkerCallsOverriddenMethods) {
    start(new OwnMethods);
    registerClient(new LpwgClient1_1);
    for (const char* name :
         {"SWITCH_AES_BOTH", "SWITCH_AES_TO_1", "SWITCH_AES_TO_2", "BV_UPDATE_STATE"}) {
        raiseEvent(name);
    }
    handled();
    EXPECT_THAT(said(),
                ElementsAre("own manageAesMode 2", "status = 1", "own setAesMode 1", "status = 0",
                            "own setAesMode 2", "status = 0", "own bv_update_state", "status = 0"));
    EXPECT_THAT(told(from), ElementsAre("aes_mode=0", "aes_mode=2"));
}

TEST_F(OverrideTest, AnAttachCallsTheOverriddenMethod) {
    start(new OwnMethods);
    attach();
    EXPECT_THAT(said(), ElementsAre("own bv_update_state", "status = 0"));
}

TEST_F(OverrideTest, ACheckOfTheFirmwareAndADetachCallTheOverriddenMethods) {
    start(new OwnUpgrades);
    attach();
    phone.files.set(std::string(phone::kFirmwareFolder) + "/BV330-V9_x.dfu", "image");
    EXPECT_EQ(service->checkFirmwareVersion(), Status::FAIL);
    detach();
    EXPECT_THAT(said(),
                ElementsAre("status = 0", "own doFirmwareUpgrade", "own cancelFirmwareUpgrade"));
}

}  // namespace
}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
