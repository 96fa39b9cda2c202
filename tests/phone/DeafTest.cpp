// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// A cover that takes no bytes, as the phone's software meets it: the kernel takes a write into its
// own buffers, and the last close waits until they have left.

#include <gmock/gmock.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>

#include <fcntl.h>
#include <poll.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <android-base/unique_fd.h>
#include "tests/support/Asleep.h"
#include "tests/support/PhoneTest.h"

namespace {

using android::base::unique_fd;
using phone::Kind;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr char kTty[] = "/dev/ttyACM0";
constexpr cover::Time kSoon = std::chrono::milliseconds(50);

class DeafTest : public support::PhoneTest {
  protected:
    void SetUp() override {
        phone.cover.attach();
        // A fresh tty would send back what the cover says.
        const unique_fd tty = openTty();
        termios settings = {};
        cfmakeraw(&settings);
        ASSERT_EQ(tcsetattr(tty.get(), TCSANOW, &settings), 0);
    }

    static unique_fd openTty() {
        unique_fd tty(open(kTty, O_RDWR | O_NOCTTY | O_CLOEXEC));
        EXPECT_TRUE(tty.ok());
        return tty;
    }
    static void send(const unique_fd& tty, const std::string& text) {
        ASSERT_EQ(write(tty.get(), text.data(), text.size()), static_cast<ssize_t>(text.size()));
    }
    // A port on which a deaf cover was sent this.
    unique_fd openAndSend(const std::string& text) const {
        unique_fd tty = openTty();
        send(tty, text);
        return tty;
    }
    std::vector<std::string> received() const { return journal.list(Kind::TtyRx, first); }
    std::vector<std::string> lost() const { return journal.list(Kind::TtyLost, first); }
};

// A close that another thread makes.
class Closing {
  public:
    explicit Closing(unique_fd tty)
        : mThread([this, fd = tty.release()] {
              mTask = gettid();
              mResult = close(fd);
              mIsDone = true;
          }) {}
    ~Closing() { mThread.join(); }

    bool isDone() const { return mIsDone; }
    // Waits until the close has been answered or waits for the cover.
    void awaitWaiting() const {
        while (!mIsDone && !(mTask != 0 && support::isAsleepIn(mTask, SYS_close))) {
            std::this_thread::yield();
        }
    }
    int result() {
        while (!mIsDone) std::this_thread::yield();
        return mResult;
    }

  private:
    std::atomic<pid_t> mTask = 0;
    std::atomic<int> mResult = -1;
    std::atomic<bool> mIsDone = false;
    std::thread mThread;
};

TEST_F(DeafTest, AWriteSucceedsAndIsNotAnswered) {
    phone.cover.setClosingWait({});
    phone.faults.set("on * deaf");
    const unique_fd tty = openAndSend("AT%SWV\r");
    EXPECT_THAT(received(), IsEmpty());
    EXPECT_TRUE(phone.cover.state().deaf);
    pollfd state = {tty.get(), POLLIN, 0};
    EXPECT_EQ(poll(&state, 1, 10), 0);
}

TEST_F(DeafTest, TheLastCloseWaitsUntilTheBytesHaveLeft) {
    phone.faults.set("on * deaf");
    Closing closing(openAndSend("AT%SWV\r"));
    closing.awaitWaiting();
    phone.cover.state();
    EXPECT_FALSE(closing.isDone());
    EXPECT_THAT(received(), IsEmpty());
    phone.faults.clear();
    EXPECT_EQ(closing.result(), 0);
    EXPECT_THAT(received(), ElementsAre("AT%SWV\r"));
    EXPECT_THAT(lost(), IsEmpty());
}

TEST_F(DeafTest, AnUnpluggingEndsTheCloseAtOnce) {
    phone.faults.set("on * deaf");
    Closing closing(openAndSend("AT%SWV\r"));
    closing.awaitWaiting();
    EXPECT_FALSE(closing.isDone());
    phone.cover.detach();
    EXPECT_EQ(closing.result(), 0);
    EXPECT_THAT(received(), IsEmpty());
}

TEST_F(DeafTest, AfterItsTimeTheCloseGivesTheBytesUp) {
    phone.cover.setClosingWait(kSoon);
    phone.faults.set("on * deaf");
    unique_fd tty = openAndSend("AT%SWV\r");
    send(tty, "AT%HPD\r");
    const cover::Time begin = phone::EventLoop::now();
    tty.reset();
    EXPECT_GE(phone::EventLoop::now() - begin, kSoon);
    EXPECT_THAT(lost(), ElementsAre("AT%SWV\rAT%HPD\r"));
    // They do not come later either.
    phone.faults.clear();
    openAndSend("AT\r");
    EXPECT_THAT(received(), ElementsAre("AT\r"));
}

TEST_F(DeafTest, ByDefaultTheCloseWaitsAsLongAsAKernels) {
    EXPECT_EQ(phone.cover.closingWait(), std::chrono::seconds(30));
    phone.cover.setClosingWait(kSoon);
    phone.reset();
    EXPECT_EQ(phone.cover.closingWait(), std::chrono::seconds(30));
}

TEST_F(DeafTest, ACloseThatIsNotTheLastDoesNotWait) {
    phone.faults.set("on * deaf");
    unique_fd log = openTty();
    openAndSend("AT%SWV\r").reset();
    // The bytes are still on their way, and it is for the last close to wait for them.
    EXPECT_THAT(lost(), IsEmpty());
    Closing closing(std::move(log));
    closing.awaitWaiting();
    EXPECT_FALSE(closing.isDone());
    phone.faults.clear();
    EXPECT_EQ(closing.result(), 0);
    EXPECT_THAT(received(), ElementsAre("AT%SWV\r"));
}

TEST_F(DeafTest, ADescriptorThatWasOpenBeforeMakesACloseNotTheLast) {
    const unique_fd log = openTty();
    phone.faults.set("on * deaf");
    openAndSend("AT%SWV\r").reset();
    EXPECT_THAT(lost(), IsEmpty());
}

TEST_F(DeafTest, ADuplicateMakesACloseNotTheLast) {
    phone.faults.set("on * deaf");
    unique_fd tty = openAndSend("AT%SWV\r");
    const unique_fd copy(dup(tty.get()));
    tty.reset();
    EXPECT_THAT(lost(), IsEmpty());
}

// The kernel would wait there too, but for a program that was killed.
TEST_F(DeafTest, TheLastCloseOfADuplicateLosesTheBytesAtOnce) {
    phone.faults.set("on * deaf");
    unique_fd tty = openAndSend("AT%SWV\r");
    unique_fd copy(dup(tty.get()));
    tty.reset();
    copy.reset();
    EXPECT_THAT(lost(), ElementsAre("AT%SWV\r"));
}

TEST_F(DeafTest, ACloseWithNothingToSendDoesNotWait) {
    phone.faults.set("on AT%SWV deaf");
    openTty().reset();
    openAndSend("AT\r").reset();
    EXPECT_THAT(received(), ElementsAre("AT\r"));
}

TEST_F(DeafTest, FlushingDoesNotShortenTheClose) {
    phone.faults.set("on * deaf");
    unique_fd tty = openAndSend("AT%SWV\r");
    EXPECT_THAT(received(), IsEmpty());
    EXPECT_EQ(tcflush(tty.get(), TCOFLUSH), 0);
    Closing closing(std::move(tty));
    closing.awaitWaiting();
    EXPECT_FALSE(closing.isDone());
    phone.faults.clear();
    EXPECT_EQ(closing.result(), 0);
}

TEST_F(DeafTest, WhatWasWrittenMeanwhileIsTakenInItsOrder) {
    phone.faults.set("on AT%SWV deaf");
    const unique_fd tty = openAndSend("AT\rAT%SWV\r");
    EXPECT_THAT(received(), ElementsAre("AT\r"));
    send(tty, "AT%HPD\r");
    EXPECT_THAT(received(), ElementsAre("AT\r"));
    phone.faults.clear();
    EXPECT_THAT(received(), ElementsAre("AT\r", "AT%SWV\r", "AT%HPD\r"));
}

TEST_F(DeafTest, ANonBlockingWriteEndsWhenTheBuffersAreFull) {
    phone.faults.set("on * deaf");
    phone.cover.setClosingWait({});
    const unique_fd tty(open(kTty, O_RDWR | O_NOCTTY | O_NONBLOCK));
    const std::string much(4096, 'x');
    size_t taken = 0;
    for (ssize_t count; (count = write(tty.get(), much.data(), much.size())) > 0;) {
        taken += static_cast<size_t>(count);
        ASSERT_LT(taken, 1u << 20);
        phone.cover.state();
    }
    EXPECT_EQ(errno, EAGAIN);
}

TEST_F(DeafTest, ThePowerUpAfterAnUnpluggingEndsIt) {
    phone.faults.set("on AT%SWV deaf times 1");
    const unique_fd tty = openAndSend("AT%SWV\r");
    EXPECT_THAT(received(), IsEmpty());
    EXPECT_TRUE(phone.cover.state().deaf);
    phone.cover.reattach();
    openAndSend("AT%SWV\r").reset();
    EXPECT_THAT(received(), ElementsAre("AT%SWV\r"));
}

// Its close is the kernel's alone, and finds the bytes taken.
TEST_F(DeafTest, APortThatWasOpenBeforeTheFaultHasNothingLeftToSend) {
    unique_fd tty = openAndSend("AT%SWV\r");
    EXPECT_THAT(received(), ElementsAre("AT%SWV\r"));
    phone.faults.set("on * deaf");
    tty.reset();
    EXPECT_THAT(lost(), IsEmpty());
}

TEST_F(DeafTest, DescriptorsOfOtherPortsHaveLowNumbers) {
    EXPECT_LT(openTty().get(), 960);
    phone.faults.set("on AT%SWV deaf");
    EXPECT_GE(openTty().get(), 1008);
    phone.faults.clear();
    EXPECT_LT(openTty().get(), 960);
}

TEST_F(DeafTest, TheFlagsOfTheOpenAreKept) {
    phone.faults.set("on * deaf");
    const unique_fd tty(open(kTty, O_RDONLY | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
    EXPECT_EQ(fcntl(tty.get(), F_GETFL) & (O_ACCMODE | O_NONBLOCK), O_RDONLY | O_NONBLOCK);
    EXPECT_EQ(fcntl(tty.get(), F_GETFD), FD_CLOEXEC);
    const unique_fd kept(open(kTty, O_WRONLY | O_NOCTTY));
    EXPECT_EQ(fcntl(kept.get(), F_GETFL) & (O_ACCMODE | O_NONBLOCK), O_WRONLY);
    EXPECT_EQ(fcntl(kept.get(), F_GETFD), 0);
}

}  // namespace
