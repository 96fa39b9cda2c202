// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Uevents of the kernel, raised from outside of it.
#pragma once

#include <cstdint>
#include <string>

#include <android-base/unique_fd.h>

namespace phone {

class UeventSender {
  public:
    // Throws phone::Error when there can be no netlink socket.
    UeventSender();

    // Makes the kernel broadcast the event in this network namespace, followed by "SEQNUM=<n>" and
    // a NUL; returns when it has. A listener with a full buffer misses it. Throws phone::Error when
    // the kernel refuses. One thread at a time.
    void throughKernel(const std::string& event) const;

    // Sends the bytes to the kernel's listeners as any process may. Throws phone::Error.
    void forge(const std::string& event) const;

    // Sends the bytes to a group or a port as any process may; false, errno set, on failure.
    bool asProcess(const std::string& bytes, uint32_t port, uint32_t group) const;

  private:
    android::base::unique_fd mSocket;
};

}  // namespace phone
