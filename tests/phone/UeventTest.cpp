// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Uevents of the phone's kernel, as its listeners receive them.

#include "emulator/phone/devices/Uevents.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <string>
#include <vector>

#include <linux/netlink.h>
#include <sys/socket.h>

#include <android-base/unique_fd.h>
#include "tests/support/PhoneTest.h"

namespace {

using phone::Kind;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

struct Heard {
    uint32_t sender = 0;  // 0: the kernel
    std::string message;
};

class UeventTest : public support::PhoneTest {
  protected:
    UeventTest() : mSocket(socket(PF_NETLINK, SOCK_DGRAM | SOCK_CLOEXEC, NETLINK_KOBJECT_UEVENT)) {
        sockaddr_nl address = {};
        address.nl_family = AF_NETLINK;
        address.nl_groups = 1;
        EXPECT_EQ(bind(mSocket.get(), reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
    }

    // The next message, waited for.
    Heard hear() const {
        char buffer[4096];
        sockaddr_nl sender = {};
        socklen_t size = sizeof(sender);
        const ssize_t count = recvfrom(mSocket.get(), buffer, sizeof(buffer), 0,
                                       reinterpret_cast<sockaddr*>(&sender), &size);
        EXPECT_GT(count, 0);
        return {sender.nl_pid, std::string(buffer, static_cast<size_t>(count))};
    }

    void limitBuffer(int bytes) const {
        EXPECT_EQ(setsockopt(mSocket.get(), SOL_SOCKET, SO_RCVBUF, &bytes, sizeof(bytes)), 0);
    }

    // The number that the kernel has given to a message.
    static uint64_t numberOf(const std::string& message) {
        const std::string key = "SEQNUM=";
        return std::stoull(message.substr(message.rfind(key) + key.size()));
    }

    // The numbers of the messages that wait, after the news that others are lost.
    std::vector<uint64_t> drainNumbers() const {
        char buffer[4096];
        EXPECT_EQ(recv(mSocket.get(), buffer, sizeof(buffer), MSG_DONTWAIT), -1);
        EXPECT_EQ(errno, ENOBUFS);
        std::vector<uint64_t> numbers;
        for (;;) {
            const ssize_t count = recv(mSocket.get(), buffer, sizeof(buffer), MSG_DONTWAIT);
            if (count < 0) return numbers;
            numbers.push_back(numberOf({buffer, static_cast<size_t>(count)}));
        }
    }

  private:
    const android::base::unique_fd mSocket;
};

TEST_F(UeventTest, TouchEventsHaveTheFormOfTheirDriver) {
    const std::string device = "/devices/virtual/bivista/bv2";
    EXPECT_EQ(phone::touchEventMessage("BV_PEN_WAKEUP"),
              "change@" + device + std::string(1, '\0') + "ACTION=change" + '\0' +
                      "DEVPATH=" + device + '\0' + "SUBSYSTEM=QMX_BV2" + '\0' +
                      "TOUCH_GESTURE_WAKEUP=BV_PEN_WAKEUP" + '\0');
}

TEST_F(UeventTest, ComesFromTheKernelWithItsNumberBehindIt) {
    phone.uevents.raiseTouch("WAKEUP");
    const Heard heard = hear();
    EXPECT_EQ(heard.sender, 0u);
    EXPECT_THAT(heard.message, StartsWith(phone::touchEventMessage("WAKEUP") + "SEQNUM="));
}

TEST_F(UeventTest, CarriesAnyBytes) {
    const std::string message("a\0\xff\n\0", 5);
    phone.uevents.raise(message);
    EXPECT_THAT(hear().message, StartsWith(message));
}

TEST_F(UeventTest, IsRecordedBeforeItIsHeard) {
    phone.uevents.raiseTouch("WAKEUP");
    hear();
    EXPECT_THAT(journal.list(Kind::Uevent, first), ElementsAre(phone::touchEventMessage("WAKEUP")));
}

TEST_F(UeventTest, ThatIsForgedComesFromAProcess) {
    const std::string message = phone::touchEventMessage("WAKEUP");
    phone.uevents.forge(message);
    const Heard heard = hear();
    EXPECT_NE(heard.sender, 0u);
    EXPECT_EQ(heard.message, message);
    const phone::Entry entry = journal.since(first).back();
    EXPECT_EQ(entry.kind, Kind::Uevent);
    EXPECT_EQ(entry.bytes, message);
    EXPECT_EQ(entry.note, "forged");
}

TEST_F(UeventTest, OfWrongLengthIsRefusedAndNotRecorded) {
    EXPECT_THROW(phone.uevents.raise(""), phone::Error);
    EXPECT_THROW(phone.uevents.forge(""), phone::Error);
    EXPECT_THROW(phone.uevents.raise(std::string(phone::kLongestUevent + 1, 'x')), phone::Error);
    EXPECT_THROW(phone.uevents.forge(std::string(phone::kLongestUevent + 1, 'x')), phone::Error);
    EXPECT_THROW(phone.uevents.raiseTouch(std::string(phone::kLongestUevent, 'x')), phone::Error);
    EXPECT_THAT(journal.list(Kind::Uevent, first), IsEmpty());
    phone.uevents.raise(std::string(phone::kLongestUevent, 'x'));
    EXPECT_THAT(hear().message, StartsWith(std::string(phone::kLongestUevent, 'x') + "SEQNUM="));
}

TEST_F(UeventTest, ComesToAListenerWithTimeHoweverManyThereAre) {
    for (int i = 0; i < 300; ++i) {
        phone.uevents.raiseTouch("WAKEUP");
        ASSERT_THAT(hear().message, StartsWith(phone::touchEventMessage("WAKEUP")));
    }
}

// The kernel drops what does not fit into a listener's buffer: the first read says so with ENOBUFS,
// then come those that did fit. What is raised later is heard again.
TEST_F(UeventTest, BurstOverflowsTheBufferOfAListenerThatDoesNotRead) {
    limitBuffer(64 << 10);
    constexpr int kSent = 300;
    phone.uevents.burst(phone::touchEventMessage("WAKEUP"), kSent);
    EXPECT_EQ(journal.list(Kind::Uevent, first).size(), size_t{kSent});
    const std::vector<uint64_t> heard = drainNumbers();
    EXPECT_GT(heard.size(), 100u);
    EXPECT_LT(heard.size(), 250u);
    phone.uevents.raiseTouch("BV_PEN_WAKEUP");
    const std::string message = hear().message;
    EXPECT_THAT(message, StartsWith(phone::touchEventMessage("BV_PEN_WAKEUP")));
    // The kernel counts the lost ones too, and those of other phones on this machine.
    EXPECT_GT(numberOf(message) - heard.back(), kSent - heard.size()) << "the later ones are lost";
}

TEST_F(UeventTest, BurstOfAWrongSizeIsRefused) {
    for (const int count : {-1, 0, phone::Uevents::kMostInBurst + 1}) {
        EXPECT_THROW(phone.uevents.burst("change@/x", count), phone::Error);
    }
    EXPECT_THROW(phone.uevents.burst("", 2), phone::Error);
    EXPECT_THAT(journal.list(Kind::Uevent, first), IsEmpty());
}

using UnheardUeventTest = support::PhoneTest;

TEST_F(UnheardUeventTest, IsRaisedAllTheSame) {
    for (int i = 0; i < 3; ++i) phone.uevents.raiseTouch("WAKEUP");
    EXPECT_EQ(journal.list(Kind::Uevent, first).size(), 3u);
}

}  // namespace
