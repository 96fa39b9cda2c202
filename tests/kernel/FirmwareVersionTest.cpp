// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The cover's firmware version against the images in the phone's folder.
#include <algorithm>
#include <filesystem>
#include <fstream>

#include "tests/kernel/ServiceTest.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {
namespace {

namespace fs = std::filesystem;

using testing::ElementsAre;

constexpr char kUpgradeWrite[] = "virtual_mcu_firmware_write=1";

class FirmwareVersionTest : public ServiceTest {
  protected:
    void SetUp() override {
        setVersion("AB-1_20210312");
        start();
        attach();
        from = journal.next();
        log.clear();
    }
    ~FirmwareVersionTest() override {
        fs::remove_all(phone::kFirmwareFolder);
        fs::create_directory(phone::kFirmwareFolder);
    }

    void setVersion(const std::string& version) {
        cover::Options options = phone.cover.options();
        options.version = version;
        // The cover stays, whatever is started.
        options.upgradeDelay = std::chrono::hours(1);
        phone.cover.setOptions(options);
    }
    static void addImage(const std::string& name) {
        ASSERT_TRUE(std::ofstream(fs::path(phone::kFirmwareFolder) / name).is_open()) << name;
    }
    Status check() { return service->checkFirmwareVersion(); }
    bool upgrades() const {
        const std::vector<std::string> writes = nodeWrites(from);
        return std::count(writes.begin(), writes.end(), kUpgradeWrite) == 1;
    }
    struct Text {
        Status status = Status::FAIL;
        std::string value;
    };
    Text version() {
        Text text;
        EXPECT_TRUE(service->getFirmwareVersion([&](Status status, const hidl_string& value) {
                               text = {status, value};
                           })
                            .isOk());
        return text;
    }
    std::string file() {
        Text text;
        EXPECT_TRUE(service->getFirmwareFile([&](Status status, const hidl_string& value) {
                               text = {status, value};
                           })
                            .isOk());
        EXPECT_EQ(text.status, Status::OK);
        EXPECT_TRUE(
                log.contains(ANDROID_LOG_DEBUG, "getFirmwareFile: mDfuFilePath = " + text.value));
        return text.value;
    }

    uint64_t from = 0;
};

TEST_F(FirmwareVersionTest, TellsTheCoversVersion) {
    const Text text = version();
    EXPECT_EQ(text.status, Status::OK);
    EXPECT_EQ(text.value, "AB-1_20210312");
    EXPECT_THAT(commands(from), ElementsAre("AT%SWV\r"));
    EXPECT_TRUE(log.contains(ANDROID_LOG_DEBUG, "getFirmwareVersion: AB-1_20210312"));
}

TEST_F(FirmwareVersionTest, JoinsTheLinesOfTheVersion) {
    phone.faults.set(R"(on AT%SWV answer "\r\nAB-1\r\n_2021\r\nOK\r\n")");
    EXPECT_EQ(version().value, "AB-1\n_2021");
}

// What came before the cover refused is no version.
TEST_F(FirmwareVersionTest, IsEmptyWhenTheCoverRefuses) {
    phone.faults.set(R"(on AT%SWV answer "\r\nAB-1\r\nERROR\r\n")");
    const Text text = version();
    EXPECT_EQ(text.status, Status::FAIL);
    EXPECT_EQ(text.value, "");
    EXPECT_FALSE(log.contains("getFirmwareVersion: AB-1\n"));
}

TEST_F(FirmwareVersionTest, IsEmptyWithoutACover) {
    detach();
    const Text text = version();
    EXPECT_EQ(text.status, Status::FAIL);
    EXPECT_EQ(text.value, "");
}

TEST_F(FirmwareVersionTest, TakesAHangUpForAnAnswer) {
    phone.faults.set("on AT%SWV hangup");
    const Text text = version();
    EXPECT_EQ(text.status, Status::OK);
    EXPECT_EQ(text.value, "");
}

TEST_F(FirmwareVersionTest, KnowsNoFileAtFirst) {
    EXPECT_EQ(file(), "");
}

TEST_F(FirmwareVersionTest, ANewerImageStartsAnUpgrade) {
    addImage("AB-2_20210401.dfu");
    // Meant: a started upgrade is reported as FAIL.
    EXPECT_EQ(check(), Status::FAIL);
    EXPECT_TRUE(upgrades());
    EXPECT_EQ(file(), "AB-2_20210401.dfu");
}

TEST_F(FirmwareVersionTest, LogsTheStartOfAnUpgrade) {
    addImage("AB-2_20210401.dfu");
    check();
    size_t at = log.waitFor(ANDROID_LOG_DEBUG, "checkFirmwareVersion: AB-1_20210312");
    at = log.waitFor(ANDROID_LOG_DEBUG, "getDFUFile: AB-2_20210401.dfu selected", at);
    at = log.waitFor(ANDROID_LOG_DEBUG, "checkFirmwareVersion: dfu_prebuilt = AB-2_20210401.dfu",
                     at);
    at = log.waitFor(ANDROID_LOG_DEBUG, "checkFirmwareVersion: doFirmwareUpgrade called", at);
    log.waitFor(ANDROID_LOG_DEBUG, std::string("Writing 1 to ") + phone::kFirmwareWrite, at);
}

// The folder, a tmpfs, lists its files in the order of their creation or from the last one back.
TEST_F(FirmwareVersionTest, LogsANewerImageBesideAnOlderOne) {
    for (const char* name : {"AB-2_a.dfu", "AB-3_b.dfu", "AB-2_c.dfu"}) addImage(name);
    check();
    EXPECT_TRUE(log.contains(ANDROID_LOG_DEBUG, "getDFUFile: AB-3_b.dfu change selected"));
    EXPECT_EQ(file(), "AB-3_b.dfu");
}

TEST_F(FirmwareVersionTest, ACoverThatIsCurrentIsLeftAlone) {
    addImage("AB-1_20210401.dfu");
    EXPECT_EQ(check(), Status::OK);
    EXPECT_FALSE(upgrades());
    EXPECT_EQ(file(), "AB-1_20210401.dfu");
    const size_t at = log.waitFor(ANDROID_LOG_DEBUG, "checkFirmwareVersion: dfu_prebuilt = AB-1");
    log.waitFor(ANDROID_LOG_DEBUG, "checkFirmwareVersion: doFirmwareUpgrade not called", at);
}

TEST_F(FirmwareVersionTest, ACoverThatIsNewerIsLeftAlone) {
    setVersion("AB-3_20210312");
    addImage("AB-2_x.dfu");
    EXPECT_EQ(check(), Status::OK);
    EXPECT_FALSE(upgrades());
    EXPECT_EQ(file(), "AB-2_x.dfu");
}

// Meant: the "_" is put back where the cover's key ends.
TEST_F(FirmwareVersionTest, AKeyOfAnotherLengthLeavesAWrongPath) {
    addImage("AB-20_x.dfu");
    EXPECT_EQ(check(), Status::FAIL);
    EXPECT_TRUE(upgrades());
    EXPECT_EQ(file(), "AB-2_");
    EXPECT_TRUE(log.contains("checkFirmwareVersion: dfu_prebuilt = AB-2_"));
}

TEST_F(FirmwareVersionTest, AnUpgradeThatCannotBeStartedIsReportedTheSame) {
    addImage("AB-2_x.dfu");
    phone.files.remove(phone::kFirmwareWrite);
    EXPECT_EQ(check(), Status::FAIL);
    EXPECT_FALSE(upgrades());
    EXPECT_TRUE(log.contains("checkFirmwareVersion: doFirmwareUpgrade called"));
    EXPECT_EQ(file(), "AB-2_x.dfu");
}

TEST_F(FirmwareVersionTest, AnEmptyFolderIsNoFailureAndEmptiesThePath) {
    addImage("AB-1_x.dfu");
    check();
    EXPECT_EQ(file(), "AB-1_x.dfu");
    fs::remove(fs::path(phone::kFirmwareFolder) / "AB-1_x.dfu");
    addImage("AB-2_x.dfu.bak");
    EXPECT_EQ(check(), Status::OK);
    EXPECT_FALSE(upgrades());
    EXPECT_EQ(file(), "");
    EXPECT_TRUE(log.contains("checkFirmwareVersion: dfu_prebuilt = "));
}

TEST_F(FirmwareVersionTest, ImagesOfAnotherLineFailAndLeaveTheirName) {
    addImage("AC-2_x.dfu");
    EXPECT_EQ(check(), Status::FAIL);
    EXPECT_FALSE(upgrades());
    const size_t at =
            log.waitFor(ANDROID_LOG_ERROR,
                        "getDFUFile: BV: AB-1_20210312 LOCAL: AC-2_x.dfu, firmware mismatch");
    log.waitFor(ANDROID_LOG_ERROR, "getDFUFile: There is no matching firmware", at);
    // Meant: overwritten although the check failed.
    EXPECT_EQ(file(), "AC-2_x.dfu");
}

TEST_F(FirmwareVersionTest, AMissingFolderFailsAndKeepsThePath) {
    addImage("AB-1_x.dfu");
    check();
    fs::remove_all(phone::kFirmwareFolder);
    EXPECT_EQ(check(), Status::FAIL);
    EXPECT_TRUE(log.contains(ANDROID_LOG_DEBUG, "DIR open fail"));
    EXPECT_EQ(file(), "AB-1_x.dfu");
}

TEST_F(FirmwareVersionTest, AFailedCommandLooksAtNoImage) {
    addImage("AB-2_x.dfu");
    phone.faults.set("on AT%SWV error");
    EXPECT_EQ(check(), Status::FAIL);
    EXPECT_TRUE(log.contains(ANDROID_LOG_DEBUG, "checkFirmwareVersion: AT command failed"));
    EXPECT_FALSE(upgrades());
    EXPECT_EQ(file(), "");
}

// A hang-up in an answer that fills the buffer leaves no room for a NUL.
TEST_F(FirmwareVersionTest, AVersionThatFillsTheBufferFails) {
    addImage("AB-2_x.dfu");
    const std::string line = std::string(1000, 'x') + "\\r\\n";
    phone.faults.set("on AT%SWV answer \"\\r\\n" + line + line + "\" times 1");
    phone.faults.set("on AT%SWV hangup after 2006 times 1");
    EXPECT_EQ(check(), Status::FAIL);
    log.waitFor("serialAtCmd: POLLHUP");
    EXPECT_FALSE(log.contains("checkFirmwareVersion: AT command failed"));
    EXPECT_FALSE(log.contains("getDFUFile: AB-2_x.dfu selected"));
    EXPECT_FALSE(upgrades());
}

TEST_F(FirmwareVersionTest, AFolderIsAsGoodAsAFile) {
    fs::create_directory(fs::path(phone::kFirmwareFolder) / "AB-2_x.dfu");
    EXPECT_EQ(check(), Status::FAIL);
    EXPECT_TRUE(upgrades());
    EXPECT_EQ(file(), "AB-2_x.dfu");
}

TEST_F(FirmwareVersionTest, TakesTheLongestNamesThatAFolderHolds) {
    const std::string name = "AB-2_" + std::string(246, 'x') + ".dfu";
    ASSERT_EQ(name.size(), 255u);
    addImage(name);
    EXPECT_EQ(check(), Status::FAIL);
    EXPECT_EQ(file(), name);
}

TEST_F(FirmwareVersionTest, FindsOneImageAmongTenThousandFiles) {
    for (int i = 0; i < 5000; ++i) addImage("note" + std::to_string(i) + ".txt");
    for (int i = 0; i < 5000; ++i) addImage("AC-" + std::to_string(i) + "_x.dfu");
    addImage("AB-2_x.dfu");
    EXPECT_EQ(check(), Status::FAIL);
    EXPECT_TRUE(upgrades());
    EXPECT_EQ(file(), "AB-2_x.dfu");
}

}  // namespace
}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
