// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Bytes that no client of ours would send. The service stays as it was.
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>
#include <random>
#include <thread>

#include "Processes.h"

namespace {

using namespace hidltest;

void sendBytes(int fd, const std::vector<uint8_t>& bytes) {
    // The service may hang up before it has all.
    (void)!send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL);
}

// A message of one segment of `words` words, filled by `random`, or with a header that lies.
std::vector<uint8_t> garbage(std::mt19937& random) {
    const uint32_t words = random() % 64;
    std::vector<uint8_t> bytes(8 + words * 8);
    for (uint8_t& byte : bytes) byte = static_cast<uint8_t>(random());
    if (random() % 4 != 0) {
        const uint32_t header[2] = {0, random() % 8 == 0 ? 0x7fffffff : words};
        memcpy(bytes.data(), header, sizeof(header));
    }
    // Small numbers are more likely to mean something.
    for (size_t i = 8; i < bytes.size(); ++i) {
        if (random() % 2 == 0) bytes[i] = static_cast<uint8_t>(random() % 8);
    }
    return bytes;
}

class HostilePeer : public testing::Test {
  protected:
    HostilePeer() : mChild([] { return sp<IBivista>(new FakeBivista); }), mService(getService()) {
        EXPECT_EQ(static_cast<Status>(mService->setBrightness(1)), Status::OK);
        mThreads = threadsOf(mChild.pid());
        mDescriptors = descriptorsOf(mChild.pid());
    }
    void expectUnharmed() {
        EXPECT_EQ(static_cast<Status>(mService->setBrightness(1)), Status::OK);
        waitUntil([this] { return descriptorsOf(mChild.pid()) == mDescriptors; });
        waitUntil([this] { return threadsOf(mChild.pid()) == mThreads; });
    }

    ServiceDirectory mDirectory;
    ServiceChild mChild;
    const sp<IBivista> mService;
    size_t mThreads = 0;
    size_t mDescriptors = 0;
};

TEST_F(HostilePeer, ThousandConnectionsOfGarbage) {
    std::mt19937 random(1);
    for (int i = 0; i < 1000; ++i) {
        const int fd = connectToService(mDirectory);
        sendBytes(fd, garbage(random));
        close(fd);
    }
    expectUnharmed();
}

TEST_F(HostilePeer, ManyConnectionsAtOnce) {
    std::mt19937 random(2);
    std::vector<int> connections;
    for (int i = 0; i < 600; ++i) {
        connections.push_back(connectToService(mDirectory));
        if (i % 2 == 0) sendBytes(connections.back(), garbage(random));
    }
    EXPECT_EQ(static_cast<Status>(mService->setBrightness(1)), Status::OK);
    for (int fd : connections) close(fd);
    expectUnharmed();
}

TEST_F(HostilePeer, HalfAMessage) {
    const int fd = connectToService(mDirectory);
    const uint32_t header[2] = {0, 64};
    std::vector<uint8_t> bytes(8 + 32);
    memcpy(bytes.data(), header, sizeof(header));
    sendBytes(fd, bytes);
    EXPECT_EQ(static_cast<Status>(mService->setBrightness(1)), Status::OK);
    close(fd);
    expectUnharmed();
}

TEST_F(HostilePeer, MessageLargerThanAnyIsRefused) {
    const int fd = connectToService(mDirectory);
    const uint32_t header[2] = {0, 0x10000000};
    std::vector<uint8_t> bytes(8);
    memcpy(bytes.data(), header, sizeof(header));
    sendBytes(fd, bytes);
    char byte;
    // It may say why, and then hangs up, without waiting for the rest.
    while (read(fd, &byte, 1) > 0) {
    }
    close(fd);
    expectUnharmed();
}

}  // namespace
