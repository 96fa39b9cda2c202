// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The kernel's control file for firmware upgrades, and the cover's loaders.
#include <ostream>

#include "tests/kernel/ServiceTest.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {
namespace {

using phone::Kind;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

struct Upgrade {
    const char* name;
    Status (*call)(Bivista& service);
    std::string value;
};

void PrintTo(const Upgrade& upgrade, std::ostream* out) {
    *out << upgrade.name;
}

class UpgradeTest : public ServiceTest, public testing::WithParamInterface<Upgrade> {
  protected:
    void SetUp() override {
        start();
        log.clear();
    }
    Status call() { return GetParam().call(*service); }
};

TEST_P(UpgradeTest, WritesItsNumberAndNothingElse) {
    EXPECT_EQ(call(), Status::OK);
    EXPECT_THAT(nodeWrites(first), ElementsAre("virtual_mcu_firmware_write=" + GetParam().value));
    EXPECT_THAT(ownLines(),
                ElementsAre("Writing " + GetParam().value + " to " + phone::kFirmwareWrite));
}

TEST_P(UpgradeTest, FailsWithoutTheControlFileAndMakesNone) {
    phone.files.remove(phone::kFirmwareWrite);
    EXPECT_EQ(call(), Status::FAIL);
    EXPECT_FALSE(phone.files.get(phone::kFirmwareWrite).has_value());
    EXPECT_THAT(ownLines(),
                ElementsAre(std::string("File is not exist : ") + phone::kFirmwareWrite));
}

// Meant: the file must be readable although it is only written.
TEST_P(UpgradeTest, FailsWhenTheControlFileCannotBeRead) {
    phone.faults.set(std::string("node ") + phone::kFirmwareWrite + " unreadable");
    EXPECT_EQ(call(), Status::FAIL);
    EXPECT_THAT(nodeWrites(first), IsEmpty());
}

TEST_P(UpgradeTest, FailsWhenTheControlFileCannotBeOpened) {
    phone.faults.set(std::string("node ") + phone::kFirmwareWrite + " unwritable");
    EXPECT_EQ(call(), Status::FAIL);
    EXPECT_TRUE(log.contains(ANDROID_LOG_ERROR,
                             std::string("Cannot open path: ") + phone::kFirmwareWrite));
}

// Meant: the service ignores whether the kernel took the number.
TEST_P(UpgradeTest, DoesNotSeeAWriteThatFails) {
    phone.faults.set(std::string("node ") + phone::kFirmwareWrite + " eio");
    EXPECT_EQ(call(), Status::OK);
}

INSTANTIATE_TEST_SUITE_P(
        Calls, UpgradeTest,
        testing::Values(
                Upgrade{"Upgrade",
                        [](Bivista& service) -> Status { return service.doFirmwareUpgrade(); },
                        "1"},
                Upgrade{"Cancel",
                        [](Bivista& service) -> Status { return service.cancelFirmwareUpgrade(); },
                        "0"},
                Upgrade{"Recovery",
                        [](Bivista& service) -> Status { return service.doRecoveryUpgrade(); },
                        "6"}),
        [](const auto& info) { return info.param.name; });

using UpgradeOnDetachTest = ServiceTest;

TEST_F(UpgradeOnDetachTest, EveryDetachCancels) {
    start();
    for (int i = 0; i < 2; ++i) {
        attach();
        const uint64_t from = journal.next();
        phone.cover.detach();
        journal.waitFor(phone::isOn(Kind::NodeWrite, phone::kFirmwareWrite, "0"), from);
    }
}

TEST_F(UpgradeOnDetachTest, ADetachGoesOnWithoutTheControlFile) {
    phone.files.remove(phone::kFirmwareWrite);
    start();
    attach();
    phone.cover.detach();
    log.waitFor(std::string("File is not exist : ") + phone::kFirmwareWrite);
    attach();
    EXPECT_EQ(send("AT%SWV\r").answer, "BV330-V10k_20210312");
}

struct Download {
    const char* method;
    Status (*call)(Bivista& service);
    std::string cmd;
};

void PrintTo(const Download& download, std::ostream* out) {
    *out << download.method;
}

class DownloadTest : public ServiceTest, public testing::WithParamInterface<Download> {
  protected:
    Status call() { return GetParam().call(*service); }
};

TEST_P(DownloadTest, WritesThePowerNodeBeforeItSendsTheCommand) {
    start();
    attach();
    const uint64_t from = journal.next();
    EXPECT_EQ(call(), Status::OK);
    const phone::Entry write =
            journal.waitFor(phone::isOn(Kind::NodeWrite, phone::kPowerNode, "0 0"), from);
    const phone::Entry sent = journal.waitFor(phone::is(Kind::TtyRx, GetParam().cmd), from);
    EXPECT_LT(write.seq, sent.seq);
    EXPECT_TRUE(
            log.contains(ANDROID_LOG_DEBUG, std::string("Writing 0 0 to ") + phone::kPowerNode));
    EXPECT_TRUE(log.contains(ANDROID_LOG_DEBUG, std::string(GetParam().method) + ": "));
}

TEST_P(DownloadTest, BringsUpTheLoader) {
    start();
    attach();
    EXPECT_EQ(call(), Status::OK);
    log.waitFor(ANDROID_LOG_INFO, "usbDeviceAdded : normal dload mode");
    // The cover has left its tty: this detach cancels too.
    journal.waitFor(phone::isOn(Kind::NodeWrite, phone::kFirmwareWrite, "0"), first);
}

// Meant: the service writes the power node although no cover is there.
TEST_P(DownloadTest, WritesThePowerNodeWithoutACover) {
    start();
    EXPECT_EQ(call(), Status::FAIL);
    EXPECT_THAT(nodeWrites(first), ElementsAre("bv2_pd=0 0"));
    EXPECT_THAT(commands(first), IsEmpty());
    EXPECT_TRUE(log.contains("serialAtCmd: No such device"));
}

TEST_P(DownloadTest, FailsWhenTheCoverRefuses) {
    start();
    attach();
    phone.faults.set("on AT%GO error");
    EXPECT_EQ(call(), Status::FAIL);
    EXPECT_FALSE(log.contains(std::string(GetParam().method) + ": "));
}

TEST_P(DownloadTest, TakesAHangUpForSuccess) {
    start();
    attach();
    phone.faults.set("on AT%GO hangup");
    EXPECT_EQ(call(), Status::OK);
}

TEST_P(DownloadTest, GoesOnWithoutThePowerNode) {
    phone.faults.set(std::string("node ") + phone::kPowerNode + " missing");
    start();
    attach();
    EXPECT_EQ(call(), Status::OK);
    EXPECT_TRUE(
            log.contains(ANDROID_LOG_ERROR, std::string("Cannot open path: ") + phone::kPowerNode));
}

INSTANTIATE_TEST_SUITE_P(
        Loaders, DownloadTest,
        testing::Values(Download{"goDload",
                                 [](Bivista& service) -> Status { return service.goDload(); },
                                 "AT%GODLOAD\r"},
                        Download{"goSTMDload",
                                 [](Bivista& service) -> Status { return service.goSTMDload(); },
                                 "AT%GOSTMDLOAD\r"}),
        [](const auto& info) { return info.param.method; });

using RecoveryUpgradeTest = ServiceTest;

TEST_F(RecoveryUpgradeTest, StartsWhenTheLoaderFindsNoFirmware) {
    start();
    phone.loader.attach("00000000001B", "TQC330R");
    const size_t at = log.waitFor(ANDROID_LOG_INFO, "usbDeviceAdded : error dload mode");
    log.waitFor(ANDROID_LOG_DEBUG, "usbDeviceAdded: doRecoveryUpgrade called", at);
    EXPECT_THAT(nodeWrites(first), ElementsAre("virtual_mcu_firmware_write=6"));
}

TEST_F(RecoveryUpgradeTest, StartsAgainWithEachSuchLoader) {
    start();
    for (int i = 0; i < 2; ++i) {
        const uint64_t from = journal.next();
        phone.loader.attach("00000000001B", "TQB220R");
        journal.waitFor(phone::isOn(Kind::NodeWrite, phone::kFirmwareWrite, "6"), from);
        phone.loader.detach();
    }
}

TEST_F(RecoveryUpgradeTest, IsReportedAlsoWhenItCannotBeStarted) {
    phone.files.remove(phone::kFirmwareWrite);
    start();
    phone.loader.attach("00000000001B", "TQA110R");
    const size_t at = log.waitFor(std::string("File is not exist : ") + phone::kFirmwareWrite);
    log.waitFor("usbDeviceAdded: doRecoveryUpgrade called", at);
}

TEST_F(RecoveryUpgradeTest, StaysAwayFromOtherLoaders) {
    start();
    phone.loader.attach("00000000001A", "TQC330R");
    size_t at = log.waitFor("usbDeviceAdded : normal dload mode");
    phone.loader.detach();
    phone.loader.attach("00000000001B", "TQC330");
    at = log.waitFor("usbDeviceAdded : TQC330 recovery not supported", at);
    phone.loader.detach();
    phone.loader.attach("00000000001C", "TQC330R");
    log.waitFor("usbDeviceAdded : product_name is TQC330R", at);
    // The cover's attach stands after all of this on the USB thread.
    phone.cover.attach();
    log.waitFor("========== Bivista Attached", at);
    EXPECT_THAT(nodeWrites(first), Not(Contains("virtual_mcu_firmware_write=6")));
}

}  // namespace
}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
