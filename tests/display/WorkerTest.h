// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Fixture: a service with a client for touch and pen events, and a kernel that raises them.
#pragma once

#include <string>
#include <vector>

#include "emulator/phone/world/UeventSender.h"
#include "tests/display/LpwgClients.h"
#include "tests/kernel/ServiceTest.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

class WorkerTest : public ServiceTest {
  protected:
    // Registers the client and waits until the worker listens; forgets the log so far.
    void registerClient(const sp<V1_0::IBivistaLpwgCallback>& client);

    // Makes the kernel raise an event of these strings. The kernel appends the event's number.
    void raise(const std::vector<std::string>& strings);
    // A touch or pen event of the cover.
    void raiseEvent(const std::string& name);

    // Waits until the worker is done with what was raised so far. Its log lines since it started to
    // listen, or since the last call.
    std::vector<std::string> handled();

    // What the cover and the kernel's pen parameter received from journal entry `from` on, in
    // order: commands, and "aes_mode=2".
    std::vector<std::string> told(uint64_t from) const;

    // After the registration of the client.
    uint64_t from = 0;

  private:
    // An event that the worker logs, and does nothing about.
    std::string raiseMarker(const std::string& name);

    const phone::UeventSender mKernel;
    int mMarkers = 0;
    size_t mHandled = 0;
};

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
