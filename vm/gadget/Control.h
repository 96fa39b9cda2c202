// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Endpoint 0: what the kernel asks of the device as a whole, of its line and of its reports.
#pragma once

#include <string>
#include <variant>

#include "emulator/phone/backend/Device.h"
#include "vm/gadget/Descriptors.h"
#include "vm/gadget/Event.h"
#include "vm/gadget/Wire.h"

namespace gadget {

struct Stalled {};

// What becomes of a request: a stall; an answer, with the bytes that it asks for; an answer without
// any, and a word to the tty's device; or the panel answers it.
using ControlOutcome = std::variant<Stalled, std::string, LineState, phone::HidRequest>;

class Control {
  public:
    // The descriptors outlive it.
    explicit Control(const Descriptors& descriptors) : mDescriptors(descriptors) {}

    // `data` are those of a request to the device.
    ControlOutcome handle(const Setup& setup, const std::string& data);
    // Whether the kernel has set the feature of remote wake-up.
    bool mayWake() const { return mMayWake; }

  private:
    struct Row;
    static const Row kRows[];

    ControlOutcome getStatus(const Setup& setup, const std::string& data);
    ControlOutcome changeFeature(const Setup& setup, const std::string& data);
    ControlOutcome clearHalt(const Setup& setup, const std::string& data);
    ControlOutcome getDescriptor(const Setup& setup, const std::string& data);
    ControlOutcome setConfiguration(const Setup& setup, const std::string& data);
    ControlOutcome getLineCoding(const Setup& setup, const std::string& data);
    ControlOutcome setLineCoding(const Setup& setup, const std::string& data);
    ControlOutcome setLineState(const Setup& setup, const std::string& data);
    ControlOutcome setIdle(const Setup& setup, const std::string& data);
    ControlOutcome getReport(const Setup& setup, const std::string& data);
    ControlOutcome setReport(const Setup& setup, const std::string& data);

    const Descriptors& mDescriptors;
    bool mMayWake = false;
    std::string mLineCoding = std::string("\x80\x25\0\0\0\0\x08", 7);  // 9600 baud, 8 data bits
};

}  // namespace gadget
