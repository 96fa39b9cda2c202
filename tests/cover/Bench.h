// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// A cover on the bench: a microcontroller with a clock that moves only when the test moves it.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "emulator/cover/Microcontroller.h"

namespace cover {

using namespace std::chrono_literals;
using namespace std::string_literals;

class Bench {
  public:
    explicit Bench(Options options = {}) : controller(std::move(options)) {
        controller.powerUp(now);
    }

    void fault(std::string_view line) {
        ParsedFault parsed = parseFault(line);
        ASSERT_TRUE(parsed.fault) << parsed.error;
        controller.faults().add(*parsed.fault);
    }

    void write(std::string_view bytes) { controller.receive(bytes, now); }

    // Lets the time pass until nothing is due any more, and returns all that was sent meanwhile.
    // Other actions are kept in `others`.
    std::string drain() {
        std::string sent;
        while (const std::optional<Time> deadline = controller.nextDeadline()) {
            now = std::max(now, *deadline);
            for (Action& action : controller.poll(now)) {
                sent += action.bytes;
                if (action.kind != Action::Kind::Send) others.push_back(std::move(action));
            }
        }
        return sent;
    }

    std::string exchange(std::string_view bytes) {
        write(bytes);
        return drain();
    }

    // What is due at this very moment.
    std::vector<std::string> pieces() {
        std::vector<std::string> sent;
        for (const Action& action : controller.poll(now)) sent.push_back(action.bytes);
        return sent;
    }

    Time now = 1000s;
    Microcontroller controller;
    std::vector<Action> others;
};

// A bench whose cover has its echo off, as the phone leaves it after attaching.
class QuietBench : public Bench {
  public:
    explicit QuietBench(Options options = {}) : Bench(std::move(options)) { exchange("ATE0\r"); }
};

}  // namespace cover
