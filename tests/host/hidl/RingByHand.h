// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// What a recorder hands to its listener, made by hand.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>
#include <vector>

#include "host/hidl/CallRing.h"

namespace hidltest {

inline constexpr int kSeals = F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_SEAL;

inline android::base::unique_fd makeMemory(
        off_t size = sizeof(android::hardware::calls::RingMemory), int seals = kSeals) {
    android::base::unique_fd memory(memfd_create("ring", MFD_CLOEXEC | MFD_ALLOW_SEALING));
    EXPECT_EQ(ftruncate(memory.get(), size), 0);
    EXPECT_EQ(fcntl(memory.get(), F_ADD_SEALS, seals), 0);
    return memory;
}

// With one byte.
inline void sendDescriptors(int socket, const std::vector<int>& fds) {
    char byte = 0;
    iovec part = {&byte, 1};
    std::vector<uint64_t> control(CMSG_SPACE(fds.size() * sizeof(int)) / sizeof(uint64_t));
    msghdr message = {};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    message.msg_control = control.data();
    message.msg_controllen = control.size() * sizeof(uint64_t);
    cmsghdr* const header = CMSG_FIRSTHDR(&message);
    *header = {CMSG_LEN(fds.size() * sizeof(int)), SOL_SOCKET, SCM_RIGHTS};
    memcpy(CMSG_DATA(header), fds.data(), fds.size() * sizeof(int));
    EXPECT_EQ(sendmsg(socket, &message, 0), 1);
}

}  // namespace hidltest
