// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Answers of the touch panel as they pass the tty: long ones, and ones that take their time.

#include <gmock/gmock.h>

#include <chrono>
#include <string>

#include <fcntl.h>
#include <unistd.h>

#include <android-base/unique_fd.h>
#include "tests/support/PhoneTest.h"

namespace {

using android::base::unique_fd;
using phone::Kind;

class TouchTest : public support::PhoneTest {
  protected:
    template <typename Change>
    void change(Change change) {
        cover::Options options = phone.cover.options();
        change(options);
        phone.cover.setOptions(options);
    }

    // Opens the tty as the service does, with the cover's echo off.
    unique_fd openTty() {
        phone.cover.attach(support::withoutPanel());
        unique_fd tty(open("/dev/ttyACM0", O_RDWR | O_NOCTTY));
        support::setLines(tty);
        send(tty, "ATE0\r");
        readAnswer(tty);
        return tty;
    }

    static void send(const unique_fd& tty, const std::string& command) {
        ASSERT_EQ(write(tty.get(), command.data(), command.size()),
                  static_cast<ssize_t>(command.size()));
    }

    // All up to the "OK", line ends included.
    static std::string readAnswer(const unique_fd& tty) {
        std::string answer;
        while (!answer.ends_with("\nOK\n")) {
            char line[4096];
            const ssize_t count = read(tty.get(), line, sizeof(line));
            if (count <= 0) {
                ADD_FAILURE() << "the tty ends behind " << answer;
                return answer;
            }
            answer.append(line, static_cast<size_t>(count));
        }
        return answer;
    }
};

TEST_F(TouchTest, ResultsOf40KilobytesArriveWhole) {
    change([](cover::Options& options) { options.selfTestReportSize = 40960; });
    const unique_fd tty = openTty();
    send(tty, "AT%TCHNOTIFY=PULL_SD_RESULT\r");
    const std::string answer = readAnswer(tty);
    EXPECT_EQ(answer.size(), 1 + 40960 + 3u);
    EXPECT_THAT(answer, testing::StartsWith("\nTOUCH FW: "));
}

TEST_F(TouchTest, LinesOf4000CharactersArriveWhole) {
    change([](cover::Options& options) { options.touchSize = {3, 800}; });
    const unique_fd tty = openTty();
    send(tty, "AT%TCHDEBUG=RAWDATA\r");
    EXPECT_EQ(readAnswer(tty).size(), 1 + 3 * 4001 + 3u);
}

TEST_F(TouchTest, UpgradeIsAnsweredWhenItIsDone) {
    constexpr std::chrono::milliseconds kTime(150);
    change([&](cover::Options& options) { options.touchUpgradeTime = kTime; });
    const unique_fd tty = openTty();
    const uint64_t from = journal.next();
    send(tty, "AT%TCHNOTIFY=FW_UPGRADE\r");
    EXPECT_EQ(readAnswer(tty), "\nOK\n");
    const phone::Entry asked =
            journal.waitFor(phone::is(Kind::TtyRx, "AT%TCHNOTIFY=FW_UPGRADE\r"), from);
    const phone::Entry answered = journal.waitFor(phone::is(Kind::TtyTx, "\r\nOK\r\n"), from);
    EXPECT_GE(answered.time - asked.time, kTime);
    EXPECT_EQ(phone.cover.state().touch.upgrades, 1u);
}

}  // namespace
