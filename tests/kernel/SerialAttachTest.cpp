// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The serial side coming up when the cover's tty appears, and going down when it vanishes.
#include <cerrno>
#include <thread>

#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

#include "tests/kernel/ServiceTest.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {
namespace {

using phone::Kind;
using testing::_;
using testing::ElementsAre;
using testing::IsEmpty;

using SerialAttachTest = ServiceTest;

TEST_F(SerialAttachTest, SendsEchoOffBeforeAnythingElse) {
    start();
    attach();
    EXPECT_EQ(commands(first).at(0), "ATE0\r");
    EXPECT_FALSE(phone.cover.state().echo);
    EXPECT_TRUE(log.contains(ANDROID_LOG_DEBUG, "serialDeviceAdded: attached:0"));
    // The echo of this first command starts its answer.
    EXPECT_TRUE(log.contains(ANDROID_LOG_DEBUG, "serialAtCmd: eh: [ATE0]"));
}

TEST_F(SerialAttachTest, BringsUpTheDisplayTellsTheKernelThenStartsTheLogThenTellsTheCover) {
    start();
    attach();
    EXPECT_THAT(commands(first),
                ElementsAre("ATE0\r", "AT%GETBVCUTOUT\r", "AT%LOGSAVE=3\r", kUpdateStateCommand));
    EXPECT_THAT(nodeWrites(first), ElementsAre("control=auto",                  // allowed
                                               "control=on", "control=auto",    // echo off
                                               "control=on", "control=auto",    // cutout
                                               "bv2_hal_ready=Y",               //
                                               "control=on", "control=auto",    // log
                                               "control=on", "control=auto"));  // touch
    const size_t up = log.waitFor(ANDROID_LOG_INFO, "bv2_display_init --, bv2_initialized:1");
    log.waitFor(ANDROID_LOG_DEBUG, "serialLogEnable: 1", up);
}

TEST_F(SerialAttachTest, CancelsAnUpgradeTakesTheDisplayDownThenEndsTheLog) {
    start();
    attach();
    const size_t from = log.size();
    const uint64_t entry = journal.next();
    detach();
    const size_t cancelled =
            log.waitFor(std::string("Writing 0 to ") + phone::kFirmwareWrite, from);
    const size_t down =
            log.waitFor(ANDROID_LOG_INFO, "bv2_display_deinit --, bv2_initialized:0", cancelled);
    log.waitFor(ANDROID_LOG_DEBUG, "serialLogEnable: 0", down);
    EXPECT_THAT(commands(entry), IsEmpty());
}

TEST_F(SerialAttachTest, PassesOnTheTouchUpdateStateAtLast) {
    phone.files.set(phone::kUpdateState, "3 1 0\n");
    start();
    attach();
    EXPECT_EQ(commands(first).back(), "AT%TCHUPDATE=UPDATE_STATE,3,1,0\r");
    EXPECT_TRUE(log.contains(ANDROID_LOG_ERROR, "status = 0"));
}

TEST_F(SerialAttachTest, AttachesWithoutATouchUpdateState) {
    phone.files.remove(phone::kUpdateState);
    start();
    attach();
    EXPECT_TRUE(log.contains(ANDROID_LOG_ERROR, "status = 1"));
    EXPECT_EQ(send("AT%SWV\r").answer, "BV330-V10k_20210312");
}

TEST_F(SerialAttachTest, AppliesTheLineSettings) {
    start();
    attach();
    const int fd = open("/dev/ttyACM0", O_RDWR | O_NOCTTY);
    ASSERT_GE(fd, 0);
    termios settings;
    ASSERT_EQ(tcgetattr(fd, &settings), 0);
    close(fd);
    EXPECT_EQ(settings.c_iflag, static_cast<tcflag_t>(IGNPAR | IGNCR));
    EXPECT_EQ(settings.c_oflag, 0u);
    EXPECT_EQ(settings.c_cflag & static_cast<tcflag_t>(CSIZE | CREAD | CLOCAL | PARENB),
              static_cast<tcflag_t>(CS8 | CREAD | CLOCAL));
    EXPECT_EQ(settings.c_cflag & CRTSCTS, CRTSCTS);
    EXPECT_EQ(cfgetospeed(&settings), static_cast<speed_t>(B115200));
    EXPECT_EQ(settings.c_lflag, static_cast<tcflag_t>(ICANON));
    for (const cc_t control : settings.c_cc) EXPECT_EQ(control, 0);
}

struct Device {
    const char* name;
    const char* property;  // null: not set
    bool dcm;
};
class ModelTest : public ServiceTest, public testing::WithParamInterface<Device> {};

TEST_P(ModelTest, IsSentForDevicesOfTheLine) {
    if (GetParam().property != nullptr)
        phone.properties.set("ro.product.device", GetParam().property);
    start();
    attach();
    if (GetParam().dcm) {
        EXPECT_THAT(commands(first),
                    ElementsAre("ATE0\r", "AT%MODEL=DCM\r", _, _, kUpdateStateCommand));
        EXPECT_TRUE(log.contains(ANDROID_LOG_INFO, "serialDeviceAdded: Set MODEL=DCM"));
    } else {
        EXPECT_THAT(commands(first), ElementsAre("ATE0\r", _, _, kUpdateStateCommand));
    }
}

INSTANTIATE_TEST_SUITE_P(
        Devices, ModelTest,
        testing::Values(Device{"Exact", "Q-71C", true}, Device{"Longer", "Q-71C_plus", true},
                        Device{"Other", "Q-71D", false}, Device{"Shorter", "Q-71", false},
                        Device{"NotAtTheStart", "xQ-71C", false},
                        Device{"OtherCase", "q-71c", false}, Device{"Empty", "", false},
                        Device{"NotSet", nullptr, false}),
        [](const auto& info) { return info.param.name; });

TEST_F(SerialAttachTest, GoesOnWhenTheModelIsRejected) {
    phone.properties.set("ro.product.device", "Q-71C");
    phone.faults.set("on AT%MODEL error");
    start();
    attach();
    EXPECT_EQ(phone.files.get(phone::kHalReady), "Y");
}

// Meant: the port counts as attached although echo could not be switched off; nothing else runs.
TEST_F(SerialAttachTest, StopsWhenEchoOffFails) {
    phone.faults.set("on ATE0 error times 1");
    start();
    phone.cover.attach(support::withoutPanel());
    log.waitFor(ANDROID_LOG_ERROR,
                "serialDeviceAdded: failed to write ATE0: Protocol not supported");
    EXPECT_EQ(send("AT%SWV\r").answer, "BV330-V10k_20210312");
    EXPECT_THAT(nodeWrites(first), ElementsAre("control=auto", "control=on", "control=auto",
                                               "control=on", "control=auto"));
}

// A cover that says a line when it is attached. The kernel's settings at the first open send it
// back to the cover, whose ERROR comes before the answer to ATE0.
class BannerTest : public SerialAttachTest {
  protected:
    void SetUp() override {
        cover::Options options;
        options.banner = "mcu up";
        // Beyond any pause of this process between its first open and the close.
        options.bannerTime = std::chrono::seconds(1);
        phone.cover.setOptions(options);
        start();
        phone.cover.attach(support::withoutPanel());
    }
};

TEST_F(BannerTest, KeepsTheDisplaySideDown) {
    const size_t line = log.waitFor(
            ANDROID_LOG_ERROR, "serialDeviceAdded: failed to write ATE0: Protocol not supported");
    EXPECT_EQ(journal.joined(Kind::TtyRx, first), "mcu up\r\n\r\nATE0\r");
    // What the cover says of its banner is taken for the answer to ATE0.
    const std::vector<support::LogLine> lines = log.lines();
    const auto end = lines.begin() + static_cast<std::ptrdiff_t>(line);
    EXPECT_THAT(std::vector(end - 7, end - 3),
                ElementsAre(infoLine("mcu up\n"), infoLine("ERROR\n"),
                            debugLine("serialAtCmd: rd: [ERROR]"),
                            errorLine("serialAtCmd: Command not supported")));
    EXPECT_EQ(service->setPowerStatus(true, false), Status::FAIL);
    EXPECT_TRUE(log.contains(ANDROID_LOG_ERROR,
                             "setPowerStatus: bv2 not initialized, enable:1, uevent:0"));
}

// The kernel has forgotten the service's settings by then.
TEST_F(BannerTest, KeepsItDownAfterAReplugToo) {
    log.waitFor("serialDeviceAdded: failed to write ATE0: Protocol not supported");
    const size_t line = log.lines().size();
    phone.cover.reattach();
    log.waitFor("serialDeviceAdded: failed to write ATE0: Protocol not supported", line);
    EXPECT_EQ(service->setPowerStatus(true, false), Status::FAIL);
}

TEST_F(BannerTest, IsMissedByNobodyOnceTheCoverIsSilent) {
    log.waitFor("serialDeviceAdded: failed to write ATE0: Protocol not supported");
    phone.cover.setOptions({});
    const size_t line = log.lines().size();
    phone.cover.reattach();
    awaitAttached(line);
    EXPECT_EQ(service->setPowerStatus(true, false), Status::OK);
    EXPECT_EQ(send("AT%SWV\r").answer, "BV330-V10k_20210312");
}

TEST_F(SerialAttachTest, ACoverThatNeverAnswersIsRecoveredUntilItDoes) {
    phone.faults.set("on ATE0 silent times 1");
    start();
    phone.cover.attach(support::withoutPanel());
    log.waitFor("serialDeviceAdded: failed to write ATE0: Timer expired");
    journal.waitFor(phone::isOn(Kind::NodeWrite, phone::kRecovery, "Y"), first);
    // It comes back, and the second attach succeeds.
    awaitAttached();
    EXPECT_EQ(send("AT%SWV\r").answer, "BV330-V10k_20210312");
}

TEST_F(SerialAttachTest, ReportsATtyThatCannotBeOpened) {
    start();
    // A node whose ids are the cover's, but which leads nowhere.
    phone.files.set("/sys/class/tty/ttyACM7/idVendor", "3e91\n");
    phone.files.set("/sys/class/tty/ttyACM7/idProduct", "6a2f\n");
    phone.files.set("/sys/class/tty/ttyACM7/device/uevent", "");
    ASSERT_EQ(symlink("/dev/nothing", "/dev/ttyACM7"), 0);
    log.waitFor("serialDeviceAdded: failed to open \"/dev/ttyACM7\": No such file or directory");
    EXPECT_EQ(send("AT%SWV\r").error, ENODEV);
    // A failed attach leaves the way free for the next tty.
    attach();
    EXPECT_EQ(send("AT%SWV\r").answer, "BV330-V10k_20210312");
}

// Meant: the service ignores whether the kernel's control file took its notice.
TEST_F(SerialAttachTest, AttachesAlthoughTheKernelCannotBeTold) {
    phone.faults.set(std::string("node ") + phone::kHalReady + " missing");
    start();
    phone.cover.attach(support::withoutPanel());
    log.waitFor(ANDROID_LOG_ERROR, "usbReady: failed to open mode: No such file or directory");
    EXPECT_EQ(send("AT%SWV\r").answer, "BV330-V10k_20210312");
    detach();
    phone.faults.clear();
    attach();
    EXPECT_EQ(phone.files.get(phone::kHalReady), "Y");
}

TEST_F(SerialAttachTest, AnAttachWhileAttachedOnlyLogs) {
    start();
    attach();
    const uint64_t from = journal.next();
    log.clear();
    service->serialDeviceAdded();
    EXPECT_THAT(ownLines(), ElementsAre("serialDeviceAdded: attached:1"));
    EXPECT_THAT(commands(from), IsEmpty());
    EXPECT_THAT(nodeWrites(from), IsEmpty());
    EXPECT_EQ(send("AT%SWV\r").answer, "BV330-V10k_20210312");
}

TEST_F(SerialAttachTest, ADetachWhileDetachedOnlyLogs) {
    start();
    log.clear();
    service->serialDeviceRemoved();
    EXPECT_THAT(ownLines(), ElementsAre("serialDeviceRemoved: attached:0"));
    EXPECT_THAT(nodeWrites(first), IsEmpty());
    attach();
    EXPECT_EQ(send("AT%SWV\r").answer, "BV330-V10k_20210312");
}

TEST_F(SerialAttachTest, DetachMakesCommandsFail) {
    start();
    attach();
    phone.cover.detach();
    log.waitFor(ANDROID_LOG_INFO, "========== ttyACM0 delete");
    log.waitFor(ANDROID_LOG_DEBUG, "serialDeviceRemoved: attached:1");
    log.waitFor(ANDROID_LOG_DEBUG, "serialLogEnable: 0");
    EXPECT_EQ(send("AT%SWV\r").error, ENODEV);
}

TEST_F(SerialAttachTest, SurvivesAnUnplugInMidAnswerAndAnswersAfterTheNextPlug) {
    start();
    attach();
    phone.faults.set("on AT%SWV late 3600s times 1");
    const uint64_t from = journal.next();
    std::thread unplug([&] {
        journal.waitFor(phone::is(Kind::TtyRx, "AT%SWV\r"), from);
        phone.cover.detach();
    });
    EXPECT_EQ(send("AT%SWV\r").value, 1);
    unplug.join();
    log.waitFor("serialDeviceRemoved: attached:1");
    attach();
    EXPECT_EQ(send("AT%SWV\r").answer, "BV330-V10k_20210312");
}

TEST_F(SerialAttachTest, HandlesADetachAndAnAttachInOneReadInOrder) {
    start();
    attach();
    const size_t mark = log.size();
    phone.cover.reattach();
    awaitAttached(mark);
    const size_t removed = log.waitFor("========== ttyACM0 delete", mark);
    log.waitFor("========== ttyACM0 create", removed);
    EXPECT_EQ(send("AT%SWV\r").answer, "BV330-V10k_20210312");
}

}  // namespace
}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
