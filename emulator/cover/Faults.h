// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The faults in force. They stand between the dispatcher, which makes an answer, and the channel,
// which sends it.
#pragma once

#include <string_view>
#include <vector>

#include "emulator/cover/FaultLanguage.h"
#include "emulator/cover/FaultList.h"
#include "emulator/cover/Reply.h"

namespace cover {

// They are applied in the order of list().
class Faults : public FaultList<Fault> {
  public:
    // The faults that alter the reply to `command` (without its "\r"), each used once.
    std::vector<Fault> take(std::string_view command);

    // Whether one of them makes the cover deaf to a command that begins so; the first is used once.
    bool takeDeaf(std::string_view beginning);
    // Whether there is one at all.
    bool hasDeaf() const;
};

// Whether one of `faults` keeps the firmware from carrying out the command.
bool refuses(const std::vector<Fault>& faults);

// Alters `reply` as `faults` say, one after the other.
void apply(const std::vector<Fault>& faults, Reply& reply);

}  // namespace cover
