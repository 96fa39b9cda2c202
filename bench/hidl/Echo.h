// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The same exchange over different carriers: a process sends `size` bytes to another, and gets a
// short answer. Each forks its server, so all are made before any of them is used.
#pragma once

#include <cstddef>
#include <memory>

namespace bench {

class Echo {
  public:
    virtual ~Echo() = default;
    // One exchange; 0 bytes is an empty call.
    virtual void exchange(size_t size) = 0;
};

constexpr size_t kLargest = 64 * 1024;

// A method of a HIDL service with a RPC thread pool of one. Recorded: somebody follows its calls,
// and does no more than to empty the ring when the bell rings.
std::unique_ptr<Echo> makeHidlEcho(bool isRecorded = false);
// Bytes through a connected pair of Unix sockets, answered by one byte.
std::unique_ptr<Echo> makeSocketEcho();
// A method call through a dbus-daemon of its own.
std::unique_ptr<Echo> makeDbusEcho();

}  // namespace bench
