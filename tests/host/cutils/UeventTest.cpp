// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include <cutils/uevent.h>

#include <errno.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/netlink.h>
#include <string.h>
#include <sys/socket.h>
#include <unistd.h>

#include <string>

#include "emulator/phone/world/UeventSender.h"
#include "tests/host/cutils/PrivateWorld.h"

using namespace std::string_literals;

namespace {

const std::string kEvent = "change@/bv2\0SUBSYSTEM=QMX_BV2\0"s;

class UeventTest : public testing::Test {
  protected:
    explicit UeventTest(bool credentials = true) : mFd(uevent_open_socket(0x10000, credentials)) {
        EXPECT_GE(mFd, 0) << strerror(errno);
    }
    ~UeventTest() override { close(mFd); }

    // The event, empty when the call failed.
    std::string receive(size_t length = 2048) {
        std::string buffer(length, '#');
        ssize_t count = uevent_kernel_multicast_recv(mFd, buffer.data(), length);
        return count < 0 ? "" : buffer.substr(0, static_cast<size_t>(count));
    }

    void expectDropped() {
        std::string buffer(256, '#');
        errno = 0;
        EXPECT_EQ(-1, uevent_kernel_multicast_recv(mFd, buffer.data(), buffer.size()));
        EXPECT_EQ(EIO, errno);
        EXPECT_EQ(std::string(256, '\0'), buffer);
    }

    uint32_t port() const {
        sockaddr_nl address = {};
        socklen_t length = sizeof(address);
        EXPECT_EQ(0, getsockname(mFd, reinterpret_cast<sockaddr*>(&address), &length));
        return address.nl_pid;
    }

    int receiveBufferSize() const {
        int size = 0;
        socklen_t length = sizeof(size);
        EXPECT_EQ(0, getsockopt(mFd, SOL_SOCKET, SO_RCVBUF, &size, &length));
        return size;
    }

    const int mFd;
    const phone::UeventSender mSender;
};

class UeventWithoutCredentialsTest : public UeventTest {
  protected:
    UeventWithoutCredentialsTest() : UeventTest(false) {}
};

}  // namespace

TEST_F(UeventTest, AKernelEventArrivesWhole) {
    mSender.throughKernel(kEvent);
    std::string event = receive();
    EXPECT_EQ(kEvent, event.substr(0, kEvent.size()));
    // The kernel appends its own number.
    EXPECT_EQ(0u, event.find("SEQNUM=", kEvent.size()) - kEvent.size());
    EXPECT_EQ('\0', event.back());
}

TEST_F(UeventTest, EventsArriveInOrder) {
    mSender.throughKernel("one\0"s);
    mSender.throughKernel("two\0"s);
    EXPECT_EQ("one", receive().substr(0, 3));
    EXPECT_EQ("two", receive().substr(0, 3));
}

TEST_F(UeventTest, AProcessThatSpeaksToTheGroupIsDropped) {
    ASSERT_TRUE(mSender.asProcess(kEvent, 0, 1)) << strerror(errno);
    expectDropped();
}

TEST_F(UeventTest, AProcessThatSpeaksToTheSocketIsDropped) {
    ASSERT_TRUE(mSender.asProcess(kEvent, port(), 0)) << strerror(errno);
    expectDropped();
}

TEST_F(UeventTest, TheKernelsAnswerToTheSocketAloneIsDropped) {
    // A request of ours is acknowledged to us, and broadcast as well.
    nlmsghdr request = {};
    request.nlmsg_len = NLMSG_HDRLEN + 4;
    request.nlmsg_type = NLMSG_MIN_TYPE;
    request.nlmsg_flags = NLM_F_REQUEST | NLM_F_ACK;
    std::string message(reinterpret_cast<const char*>(&request), sizeof(request));
    message += "one\0"s;
    ASSERT_EQ(static_cast<ssize_t>(message.size()), send(mFd, message.data(), message.size(), 0));
    EXPECT_EQ("one", receive().substr(0, 3));
    expectDropped();
}

TEST_F(UeventTest, AfterADroppedMessageTheKernelIsHeard) {
    ASSERT_TRUE(mSender.asProcess(kEvent, 0, 1));
    mSender.throughKernel(kEvent);
    expectDropped();
    EXPECT_EQ(kEvent, receive().substr(0, kEvent.size()));
}

TEST_F(UeventWithoutCredentialsTest, NoEventPasses) {
    mSender.throughKernel(kEvent);
    expectDropped();
}

TEST_F(UeventTest, ALongMessageIsCutToTheBuffer) {
    mSender.throughKernel(kEvent);
    mSender.throughKernel("two\0"s);
    EXPECT_EQ(kEvent.substr(0, 8), receive(8));
    EXPECT_EQ("two", receive().substr(0, 3));
}

TEST_F(UeventTest, ANonBlockingSocketWithoutEventSaysSo) {
    ASSERT_EQ(0, fcntl(mFd, F_SETFL, O_NONBLOCK));
    char buffer[] = "untouched";
    EXPECT_EQ(-1, uevent_kernel_multicast_recv(mFd, buffer, sizeof(buffer)));
    EXPECT_EQ(EAGAIN, errno);
    EXPECT_STREQ("untouched", buffer);
}

TEST_F(UeventTest, ABadDescriptorIsReported) {
    char buffer[16];
    EXPECT_EQ(-1, uevent_kernel_multicast_recv(-1, buffer, sizeof(buffer)));
    EXPECT_EQ(EBADF, errno);
}

TEST_F(UeventTest, TheReceiveBufferHasTheSizeAskedFor) {
    // The kernel doubles it for its bookkeeping.
    EXPECT_EQ(2 * 0x10000, receiveBufferSize());
}

TEST_F(UeventTest, ABufferAboveTheSystemsLimitIsCutAndNoFailure) {
    // Root of a user namespace may not force the size.
    int fd = uevent_open_socket(1 << 30, true);
    EXPECT_GE(fd, 0);
    close(fd);
}

TEST_F(UeventTest, ProgramsThatAreStartedDoNotInheritTheSocket) {
    EXPECT_EQ(FD_CLOEXEC, fcntl(mFd, F_GETFD));
}

TEST_F(UeventTest, WithoutDescriptorsLeftOpeningFails) {
    NoDescriptorsLeft limit;
    EXPECT_EQ(-1, uevent_open_socket(0x10000, true));
    EXPECT_EQ(EMFILE, errno);
}
