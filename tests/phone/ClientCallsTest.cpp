// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// What the journal tells of calls that are missing, and of those who hand out none.
#include "emulator/phone/calls/ClientCalls.h"

#include <gmock/gmock.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "tests/host/hidl/RingByHand.h"
#include "tests/support/PhoneTest.h"

namespace {

using android::base::unique_fd;
using android::hardware::calls::kRingBytes;
using android::hardware::calls::Mapping;
using testing::ElementsAre;
using testing::IsEmpty;

class ClientCallsTest : public support::PhoneTest {
  protected:
    ClientCallsTest() {
        char path[] = "/tmp/calls-XXXXXX";
        folder = mkdtemp(path);
        calls.emplace(phone, folder);
    }
    ~ClientCallsTest() override {
        calls.reset();
        EXPECT_TRUE(std::filesystem::is_empty(folder));
        std::filesystem::remove_all(folder);
    }

    unique_fd connectAsService() const {
        unique_fd socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
        sockaddr_un address = {AF_UNIX, {}};
        (folder + "/calls.sock").copy(address.sun_path, sizeof(address.sun_path) - 1);
        EXPECT_EQ(connect(socket.get(), reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
        return socket;
    }
    // Waits until the emulator has hung up.
    static bool isRefused(const unique_fd& service) {
        char byte;
        return recv(service.get(), &byte, 1, 0) <= 0;
    }
    std::vector<std::string> notes() const {
        std::vector<std::string> notes;
        for (const phone::Entry& entry : journal.since(first)) {
            if (entry.kind == phone::Kind::ClientCall) notes.push_back(entry.path + entry.note);
        }
        return notes;
    }

    void awaitNote(const std::string& note) const {
        journal.waitFor([&](const phone::Entry& entry) { return entry.note == note; }, first);
    }

    std::string folder;
    std::optional<calls::ClientCalls> calls;
};

TEST_F(ClientCallsTest, TellsOfLostCalls) {
    const unique_fd service = connectAsService();
    const unique_fd memory = hidltest::makeMemory();
    Mapping(memory.get()).memory()->lost = 3;
    hidltest::sendDescriptors(service.get(), {memory.get()});
    awaitNote("calls lost, since the ring was full: 3");
    EXPECT_THAT(notes(), ElementsAre("calls lost, since the ring was full: 3"));
}

TEST_F(ClientCallsTest, ARingThatNoRecorderWroteEndsThere) {
    const unique_fd service = connectAsService();
    const unique_fd memory = hidltest::makeMemory();
    Mapping(memory.get()).memory()->written = kRingBytes + 1;
    hidltest::sendDescriptors(service.get(), {memory.get()});
    EXPECT_TRUE(isRefused(service));
    EXPECT_THAT(notes(), ElementsAre("no more calls of this service: its ring is broken"));
}

TEST_F(ClientCallsTest, WhoHandsOutNothingIsLeft) {
    const unique_fd service = connectAsService();
    EXPECT_EQ(send(service.get(), "", 1, 0), 1);
    EXPECT_TRUE(isRefused(service));
    EXPECT_THAT(notes(), IsEmpty());
}

TEST_F(ClientCallsTest, TellsOfAServiceTooMany) {
    std::vector<unique_fd> services;
    for (int i = 0; i < 16; ++i) services.push_back(connectAsService());
    EXPECT_TRUE(isRefused(connectAsService()));
    EXPECT_THAT(notes(), ElementsAre("the calls of a service are missing: 16 others hand out "
                                     "theirs"));
}

}  // namespace
