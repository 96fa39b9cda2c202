// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// How the kernel suspends the cover's USB device and wakes it.

#include "emulator/phone/devices/UsbPower.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

#include <android-base/unique_fd.h>
#include "tests/support/PhoneTest.h"

namespace {

using android::base::unique_fd;
using phone::Entry;
using phone::Kind;
using std::chrono::hours;
using std::chrono::milliseconds;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr char kTty[] = "/dev/ttyACM0";
constexpr char kPanel[] = "/dev/hidraw0";
constexpr char kControl[] = "/sys/class/tty/ttyACM0/device/../power/control";
constexpr char kFolder[] = "/sys/bus/usb/devices/1-1/power/";

class UsbPowerTest : public support::PhoneTest {
  protected:
    // A cover that is suspended as soon as it is idle and may be.
    UsbPowerTest() {
        setPower({milliseconds(0), milliseconds(0)});
        phone.cover.attach();
    }

    void setPower(const phone::PowerOptions& options) const { phone.usbPower.setOptions(options); }

    static void control(const char* value) {
        const unique_fd file(open(kControl, O_WRONLY | O_CLOEXEC));
        ASSERT_EQ(write(file.get(), value, strlen(value)), static_cast<ssize_t>(strlen(value)));
    }

    void awaitSuspended() const {
        journal.waitFor([](const Entry& e) { return e.note == "suspended"; }, first);
    }

    // With a time to wake that a test notices.
    void givenSuspended(milliseconds wakeTime) const {
        setPower({milliseconds(0), wakeTime});
        control("auto");
        awaitSuspended();
    }

    // What the journal holds of it from entry `from` on.
    std::vector<std::string> changes(uint64_t from) const {
        std::vector<std::string> notes;
        for (const Entry& entry : journal.since(from)) {
            if (entry.kind != Kind::UsbPower) continue;
            EXPECT_EQ(entry.path, "1-1");
            notes.push_back(entry.note);
        }
        return notes;
    }

    std::string file(const char* name) const {
        return *phone.files.get(kFolder + std::string(name));
    }

    // From the moment at which it began to wake to the end of the entry of this kind.
    milliseconds wakingBefore(Kind kind) const {
        const auto woken =
                journal.waitFor([](const Entry& e) { return e.note == "resumed"; }, first);
        const auto then =
                journal.waitFor([&](const Entry& e) { return e.kind == kind; }, woken.seq);
        const auto end = then.time + then.duration.value_or(milliseconds(0));
        return std::chrono::duration_cast<milliseconds>(end - woken.time);
    }
};

TEST_F(UsbPowerTest, NobodyIsSuspendedBeforeThatWasAllowed) {
    EXPECT_EQ(phone.usbPower.status(), "active");
    EXPECT_EQ(file("control"), "on\n");
    EXPECT_EQ(file("runtime_status"), "active\n");
    EXPECT_EQ(file("autosuspend_delay_ms"), "0\n");
    EXPECT_THAT(changes(first), IsEmpty());
}

TEST_F(UsbPowerTest, AutoSuspendsAnIdleDeviceAndOnWakesIt) {
    control("auto");
    awaitSuspended();
    EXPECT_EQ(phone.usbPower.status(), "suspended");
    EXPECT_EQ(file("runtime_status"), "suspended\n");
    control("on\n");
    EXPECT_THAT(changes(first), ElementsAre("suspended", "resumed"));
    EXPECT_EQ(file("runtime_status"), "active\n");
    phone.cover.send("x");
    EXPECT_EQ(phone.usbPower.status(), "active");
}

TEST_F(UsbPowerTest, OtherWordsChangeNothing) {
    for (const char* word : {"onto", "off", "", "\n"}) control(word);
    EXPECT_EQ(phone.usbPower.status(), "active");
    control("auto");
    awaitSuspended();
    control("onto");
    EXPECT_EQ(phone.usbPower.status(), "suspended");
}

TEST_F(UsbPowerTest, ADelayBeginsAtTheLastUse) {
    setPower({milliseconds(200), milliseconds(0)});
    control("auto");
    const uint64_t from = journal.next();
    phone.cover.send("x");
    awaitSuspended();
    const auto sent = journal.waitFor(phone::is(Kind::TtyTx, "x"), from);
    const auto suspended =
            journal.waitFor([](const Entry& e) { return e.note == "suspended"; }, from);
    EXPECT_GE(suspended.time - sent.time, milliseconds(199));
}

TEST_F(UsbPowerTest, ThatIsNeverSuspendedWakes) {
    givenSuspended(milliseconds(0));
    setPower({});
    EXPECT_EQ(phone.usbPower.status(), "active");
    EXPECT_EQ(file("autosuspend_delay_ms"), "-1000\n");
    phone.cover.send("x");
    EXPECT_EQ(phone.usbPower.status(), "active");
}

TEST_F(UsbPowerTest, AnOpenOfTheTtyWaitsUntilItIsAwake) {
    givenSuspended(milliseconds(20));
    EXPECT_TRUE(unique_fd(open(kTty, O_RDWR | O_NOCTTY | O_CLOEXEC)).ok());
    EXPECT_GE(wakingBefore(Kind::TtyOpen), milliseconds(20));
}

TEST_F(UsbPowerTest, AnOpenOfThePanelWaitsUntilItIsAwake) {
    givenSuspended(milliseconds(20));
    EXPECT_TRUE(unique_fd(open(kPanel, O_RDWR | O_CLOEXEC)).ok());
    EXPECT_GE(wakingBefore(Kind::HidOpen), milliseconds(20));
}

// The kernel wakes it for what is written to an open tty, and the cover wakes it by itself.
TEST_F(UsbPowerTest, WhatGoesOverAnOpenTtyWakesItToo) {
    const unique_fd tty(open(kTty, O_RDWR | O_NOCTTY | O_CLOEXEC));
    givenSuspended(milliseconds(0));
    uint64_t from = journal.next();
    ASSERT_EQ(write(tty.get(), "\r", 1), 1);
    journal.waitFor([](const Entry& e) { return e.note == "resumed"; }, from);
    journal.waitFor([](const Entry& e) { return e.note == "suspended"; }, from);
    from = journal.next();
    phone.cover.send("x");
    journal.waitFor([](const Entry& e) { return e.note == "resumed"; }, from);
}

TEST_F(UsbPowerTest, OthersGoOnWhileAnOpenWaitsAndAnUnpluggingEndsItsWait) {
    phone.cover.detach();
    phone.cover.attach(support::withoutPanel());
    setPower({milliseconds(0), hours(1)});
    control("auto");
    awaitSuspended();
    int error = 0;
    std::thread opener([&] {
        errno = 0;
        const unique_fd tty(open(kTty, O_RDWR | O_NOCTTY | O_CLOEXEC));
        error = errno;
    });
    journal.waitFor([](const Entry& e) { return e.note == "resumed"; }, first);
    EXPECT_TRUE(unique_fd(open(phone::kHalReady, O_WRONLY | O_CLOEXEC)).ok());
    phone.cover.detach();
    opener.join();
    EXPECT_EQ(error, ENODEV);
    EXPECT_THAT(journal.list(Kind::TtyOpen, first), IsEmpty());
}

TEST_F(UsbPowerTest, StartsAwakeAgainAfterAReplug) {
    givenSuspended(hours(1));
    phone.cover.reattach();
    EXPECT_EQ(phone.usbPower.status(), "active");
    EXPECT_TRUE(unique_fd(open(kTty, O_RDWR | O_NOCTTY | O_CLOEXEC)).ok());
    phone.cover.detach();
    EXPECT_EQ(phone.usbPower.status(), std::nullopt);
}

TEST_F(UsbPowerTest, IsNoneOfACoverThatIsNotOnTheBus) {
    phone.cover.detach();
    phone::CoverOptions options;
    options.withUsb = false;
    phone.cover.attach(options);
    control("auto");
    EXPECT_EQ(phone.usbPower.status(), std::nullopt);
    EXPECT_THAT(changes(first), IsEmpty());
}

TEST_F(UsbPowerTest, ResetBringsTheFirstOptionsBack) {
    phone.usbPower.setFirstOptions(phone::kKernelPower);
    setPower({});
    phone.reset();
    EXPECT_EQ(phone.usbPower.options().autosuspendDelay, milliseconds(2000));
    EXPECT_EQ(phone.usbPower.options().wakeTime, milliseconds(70));
    phone.usbPower.setFirstOptions({});
}

}  // namespace
