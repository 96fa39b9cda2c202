// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The listener's end of the ring, when the other end is no recorder.
#include "host/hidl/CallRing.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>
#include <random>
#include <vector>

#include "Processes.h"
#include "RingByHand.h"

namespace {

using android::base::unique_fd;
using namespace android::hardware::calls;
using namespace hidltest;

// A ring whose memory the test writes by hand.
class CallRingTest : public testing::Test {
  protected:
    // A record with words that count from 1.
    void write(uint32_t requestWords, uint32_t replyWords) {
        RecordHead head = {};
        head.requestWords = requestWords;
        head.replyWords = replyWords;
        head.code = 7;
        put(&head, sizeof(head));
        for (uint64_t word = 1; word <= requestWords + replyWords; ++word) put(&word, sizeof(word));
    }
    void put(const void* from, size_t size) {
        for (size_t i = 0; i < size; ++i) {
            memory().bytes[written++ % kRingBytes] = static_cast<const uint8_t*>(from)[i];
        }
        memory().written = written;
    }
    RingMemory& memory() { return *theirs.memory(); }

    const unique_fd fd = makeMemory();
    Mapping theirs{fd.get()};
    CallRing ring{Mapping(fd.get())};
    uint64_t written = 0;
};

TEST_F(CallRingTest, GivesRecordsInTheirOrder) {
    write(2, 1);
    write(0, 0);
    const std::vector<CallRecord> records = ring.take();
    ASSERT_EQ(records.size(), 2u);
    EXPECT_EQ(records[0].code, 7u);
    EXPECT_THAT(records[0].request, testing::ElementsAre(1, 2));
    EXPECT_THAT(records[0].reply, testing::ElementsAre(3));
    EXPECT_TRUE(records[1].request.empty());
    EXPECT_EQ(memory().read, written);
}

TEST_F(CallRingTest, AHeadBeyondTheRingBreaksIt) {
    for (const uint64_t end : {uint64_t{kRingBytes + 8}, UINT64_MAX}) {
        CallRing fresh{Mapping(fd.get())};
        memory().written = end;
        EXPECT_TRUE(fresh.take().empty());
        EXPECT_TRUE(fresh.isBroken());
    }
}

// A process that takes back what was read gets nothing twice.
TEST_F(CallRingTest, AHeadThatGoesBackBreaksIt) {
    write(1, 1);
    EXPECT_EQ(ring.take().size(), 1u);
    memory().written = 0;
    memory().read = 0;
    EXPECT_TRUE(ring.take().empty());
    EXPECT_TRUE(ring.isBroken());
    memory().written = written;
    EXPECT_TRUE(ring.take().empty());
}

TEST_F(CallRingTest, ARecordThatIsNotWholeBreaksIt) {
    struct Cut {
        uint32_t requestWords;
        uint32_t replyWords;
        uint64_t end;
    };
    constexpr uint64_t kHead = sizeof(RecordHead);
    for (const Cut& cut :
         {Cut{0, 0, 1}, Cut{0, 0, kHead - 1}, Cut{1, 0, kHead}, Cut{0, 1, kHead + 7},
          Cut{UINT32_MAX, UINT32_MAX, kRingBytes}, Cut{200'000, 0, kRingBytes}}) {
        const RecordHead head = {.requestWords = cut.requestWords, .replyWords = cut.replyWords};
        memcpy(memory().bytes, &head, sizeof(head));
        memory().written = cut.end;
        CallRing fresh{Mapping(fd.get())};
        EXPECT_TRUE(fresh.take().empty()) << cut.end;
        EXPECT_TRUE(fresh.isBroken()) << cut.end;
    }
}

TEST_F(CallRingTest, TimesAreOfThePast) {
    constexpr int64_t kTimes[][2] = {
            {INT64_MIN, INT64_MAX}, {INT64_MAX, INT64_MIN}, {-1, -1}, {5, 3}, {3, 5}};
    for (const auto& [begin, end] : kTimes) {
        const RecordHead head = {.beginNs = begin, .endNs = end};
        put(&head, sizeof(head));
    }
    const std::vector<CallRecord> records = ring.take();
    ASSERT_EQ(records.size(), std::size(kTimes));
    for (const CallRecord& record : records) {
        EXPECT_LE(0, record.beginNs);
        EXPECT_LE(record.beginNs, record.endNs);
        EXPECT_LE(record.endNs, nowNs());
    }
    EXPECT_EQ(records.back().beginNs, 3);
    EXPECT_EQ(records.back().endNs, 5);
}

TEST_F(CallRingTest, AnyBytesAreReadInBounds) {
    std::mt19937_64 random(1);
    for (int round = 0; round < 2000; ++round) {
        CallRing fresh{Mapping(fd.get())};
        written = 0;
        while (written < 1000) write(random() % 8, random() % 8);
        for (int change = 0; change < 4; ++change) {
            memory().bytes[random() % written] = static_cast<uint8_t>(random());
        }
        if (round % 4 == 0) memory().written = random() % (2 * written);
        size_t bytes = 0;
        for (const CallRecord& record : fresh.take()) {
            bytes += sizeof(RecordHead) + 8 * (record.request.size() + record.reply.size());
        }
        EXPECT_LE(bytes, memory().written);
        EXPECT_TRUE(fresh.isBroken() || memory().written == bytes);
    }
}

// What comes with the first byte of a connection.
class ReceiveTest : public testing::Test {
  protected:
    ReceiveTest() {
        int fds[2];
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, fds), 0);
        theirs.reset(fds[0]);
        ours.reset(fds[1]);
    }
    void send(const std::vector<int>& fds) const { sendDescriptors(theirs.get(), fds); }
    bool isReceived() const { return CallRing::receive(ours.get()).has_value(); }

    unique_fd theirs;
    unique_fd ours;
};

TEST_F(ReceiveTest, TakesMemoryThatCannotShrink) {
    send({makeMemory().get()});
    EXPECT_TRUE(isReceived());
}

TEST_F(ReceiveTest, DoesNotWait) {
    EXPECT_FALSE(isReceived());
}

TEST_F(ReceiveTest, TakesNothingElse) {
    EXPECT_EQ(::send(theirs.get(), "", 1, 0), 1);
    EXPECT_FALSE(isReceived());
    for (const off_t size :
         {off_t{0}, off_t{sizeof(RingMemory)} - 1, off_t{sizeof(RingMemory)} + 1, off_t{1} << 40}) {
        send({makeMemory(size).get()});
        EXPECT_FALSE(isReceived()) << size;
    }
    send({makeMemory(sizeof(RingMemory), F_SEAL_GROW).get()});
    EXPECT_FALSE(isReceived());
    // The listener's own notes would not be taken.
    send({makeMemory(sizeof(RingMemory), kSeals | F_SEAL_WRITE).get()});
    EXPECT_FALSE(isReceived());
    const unique_fd file(open("/dev/zero", O_RDWR | O_CLOEXEC));
    send({file.get()});
    EXPECT_FALSE(isReceived());
    theirs.reset();
    EXPECT_FALSE(isReceived());
}

// Of several descriptors one is taken, and none stays open.
TEST_F(ReceiveTest, KeepsNoDescriptor) {
    const unique_fd memory = makeMemory();
    for (size_t count = 1; count <= 4; ++count) {
        const size_t before = descriptorsOf(getpid());
        send(std::vector<int>(count, memory.get()));
        EXPECT_TRUE(isReceived());
        EXPECT_EQ(descriptorsOf(getpid()), before) << count;
    }
}

}  // namespace
