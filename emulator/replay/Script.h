// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// A recording as a replay plays it: what happens to the service, what its devices answer, and what
// it did. A pure function of the recording.
#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "emulator/cover/Types.h"
#include "emulator/phone/backend/Device.h"
#include "emulator/recording/Recording.h"

namespace replay {

using cover::Time;

// What a device sent after a command.
struct Answer {
    Time delay{};     // since the command
    Time recorded{};  // when
    std::string bytes;
};

// A command of the service, with its "\r", and what came back until it was answered.
struct Exchange {
    std::string command;
    std::vector<Answer> answers{};
    bool isLost = false;  // the device did not take these bytes: a close gave them up
};

// A call on a hidraw node.
struct HidCall {
    phone::Kind kind = phone::Kind::HidWrite;
    Time held{};                       // until it was answered
    Time answered{};                   // when
    int error = 0;                     // errno, or 0
    std::optional<uint64_t> passed{};  // none: all
    std::string report{};              // of a feature report that was read
};

// One device from its coming to its going.
struct DeviceScript {
    const phone::Entry* attach = nullptr;
    phone::DeviceDescription description{};  // without listeners
    bool isCover = false;                    // has power to be managed
    std::vector<Exchange> exchanges{};
    std::vector<HidCall> hidCalls{};
};

// Something that happens to the service from outside.
struct Stimulus {
    const phone::Entry* entry = nullptr;
    std::optional<size_t> device{};  // of what a device does: its place in Script::devices
    std::string arguments{};         // of a client's call
};

// Something that the service did, or a device sent it.
struct Deed {
    Time time{};  // of its end
    std::string lane;
    bool isClosing = false;  // it comes by itself when the service ends
};

// Holds pointers to the recording's entries.
struct Script {
    std::vector<DeviceScript> devices;
    std::vector<Stimulus> stimuli;                           // in their order
    std::vector<Deed> deeds;                                 // in the order of their time
    std::map<std::string, std::deque<std::string>> answers;  // of neighbours, by method
    size_t bytes = 0;                                        // that all entries have
};

// As recording::laneOf(), with lanes for what is awaited, though not compared: the opens of
// the panel, and what devices sent.
std::string laneOf(const phone::Entry& entry);

Script makeScript(const recording::Recording& recording);

}  // namespace replay
