// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The service's threads, each with what it did, in its order.
#pragma once

#include <cstddef>
#include <deque>
#include <map>
#include <optional>
#include <string_view>
#include <vector>

#include "emulator/phonelog/Exchange.h"

namespace phonelog {

enum class Role { Client, Notify, Usb, Brightness, SerialLog, Uevent, Update };

// A line, or an exchange that begins there.
struct Step {
    size_t line = 0;
    const Exchange* exchange = nullptr;

    size_t last() const { return exchange != nullptr ? exchange->last : line; }
};

struct Thread {
    int tid = 0;
    Role role = Role::Client;
    std::vector<Step> steps;  // without the votes on USB suspend
};

// Threads point into the exchanges.
struct Threads {
    std::deque<Exchange> exchanges;
    std::deque<Thread> threads;
};

Threads readThreads(Draft& draft);

}  // namespace phonelog
