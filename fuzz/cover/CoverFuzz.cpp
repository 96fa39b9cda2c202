// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Feeds the cover model what a hostile phone and a careless person could: the input's lines up to
// the first empty one are read as faults, the rest is written to the cover, cut at each 0xff.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "emulator/cover/Microcontroller.h"
#include "emulator/cover/Text.h"

namespace {

using namespace std::chrono_literals;

constexpr size_t kFaults = 16;
constexpr int kPolls = 200;  // a flood or a chatter without end must not keep the fuzzer

void require(bool condition) {
    if (!condition) std::abort();
}

std::string_view cutAt(std::string_view& rest, char end) {
    const size_t at = rest.find(end);
    const std::string_view piece = rest.substr(0, at);
    rest.remove_prefix(at == std::string_view::npos ? rest.size() : at + 1);
    return piece;
}

void addFaults(cover::Microcontroller& controller, std::string_view& input) {
    for (;;) {
        const std::string_view line = cutAt(input, '\n');
        if (line.empty()) return;
        require(cover::unescape(cover::escape(line)) == line);
        const cover::ParsedFault parsed = cover::parseFault(line);
        require(parsed.fault.has_value() == parsed.error.empty());
        if (!parsed.fault) continue;
        require(cover::parseFault(cover::toText(*parsed.fault)).fault == parsed.fault);
        if (controller.faults().list().size() < kFaults) controller.faults().add(*parsed.fault);
    }
}

void play(cover::Microcontroller& controller, cover::Time& now) {
    for (int poll = 0; poll < kPolls; ++poll) {
        const std::optional<cover::Time> deadline = controller.nextDeadline();
        if (!deadline) return;
        now = std::max(now, *deadline);
        for (const cover::Action& action : controller.poll(now)) {
            require(action.bytes.empty() == (action.kind != cover::Action::Kind::Send));
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string_view input(reinterpret_cast<const char*>(data), size);
    cover::Microcontroller controller;
    cover::Time now = 0s;
    controller.powerUp(now);
    controller.setChatter(cover::Chatter{"chatter", 1ms}, now);
    addFaults(controller, input);
    while (!input.empty()) {
        controller.setDtr(true);
        controller.receive(cutAt(input, '\xff'), now);
        controller.log("log", now);
        play(controller, now);
        if (controller.state().power != cover::Power::Running) controller.powerUp(now);
    }
    for (const auto& [name, value] : controller.listState()) {
        require(cover::escape(name) == name);
        require(value.find_first_of("\r\n") == std::string::npos);
    }
    return 0;
}
