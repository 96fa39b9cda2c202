// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "vm/gadget/Control.h"

#include <linux/hid.h>
#include <linux/usb/cdc.h>
#include <linux/usb/ch9.h>

namespace gadget {

using phone::HidRequest;

namespace {

constexpr uint8_t kGetLineCoding = 0x21;
constexpr uint8_t kSetLineCoding = 0x20;
constexpr size_t kLineCodingSize = 7;

// Which function of the device a request is for.
enum class Target { Device, Tty, Hid };

// Types of requests.
constexpr uint8_t kFromDevice = USB_DIR_IN | USB_RECIP_DEVICE;
constexpr uint8_t kToDevice = USB_DIR_OUT | USB_RECIP_DEVICE;
constexpr uint8_t kToEndpoint = USB_DIR_OUT | USB_RECIP_ENDPOINT;
constexpr uint8_t kFromInterface = USB_DIR_IN | USB_RECIP_INTERFACE;
constexpr uint8_t kFromClass = USB_DIR_IN | USB_TYPE_CLASS | USB_RECIP_INTERFACE;
constexpr uint8_t kToClass = USB_DIR_OUT | USB_TYPE_CLASS | USB_RECIP_INTERFACE;

uint8_t lowOf(uint16_t value) {
    return static_cast<uint8_t>(value & 0xFF);
}

uint8_t highOf(uint16_t value) {
    return static_cast<uint8_t>(value >> 8);
}

// As SET_REPORT and GET_REPORT have it; the kernel's own numbers of the types are one less.
hid_report_type reportTypeOf(const Setup& setup) {
    return static_cast<hid_report_type>(highOf(setup.value) - 1);
}

}  // namespace

struct Control::Row {
    uint8_t type;
    uint8_t request;
    Target target;
    ControlOutcome (Control::*handle)(const Setup& setup, const std::string& data);
};

const Control::Row Control::kRows[] = {
        {kFromDevice, USB_REQ_GET_STATUS, Target::Device, &Control::getStatus},
        {kToDevice, USB_REQ_SET_FEATURE, Target::Device, &Control::changeFeature},
        {kToDevice, USB_REQ_CLEAR_FEATURE, Target::Device, &Control::changeFeature},
        {kToEndpoint, USB_REQ_CLEAR_FEATURE, Target::Device, &Control::clearHalt},
        {kFromDevice, USB_REQ_GET_DESCRIPTOR, Target::Device, &Control::getDescriptor},
        {kFromInterface, USB_REQ_GET_DESCRIPTOR, Target::Hid, &Control::getDescriptor},
        {kToDevice, USB_REQ_SET_CONFIGURATION, Target::Device, &Control::setConfiguration},
        {kFromClass, kGetLineCoding, Target::Tty, &Control::getLineCoding},
        {kToClass, kSetLineCoding, Target::Tty, &Control::setLineCoding},
        {kToClass, USB_CDC_REQ_SET_CONTROL_LINE_STATE, Target::Tty, &Control::setLineState},
        {kToClass, HID_REQ_SET_IDLE, Target::Hid, &Control::setIdle},
        {kFromClass, HID_REQ_GET_REPORT, Target::Hid, &Control::getReport},
        {kToClass, HID_REQ_SET_REPORT, Target::Hid, &Control::setReport},
};

ControlOutcome Control::handle(const Setup& setup, const std::string& data) {
    const auto isFor = [&](Target target) {
        if (target == Target::Device) return true;
        const std::optional<int> interface =
                target == Target::Tty ? mDescriptors.ttyInterface() : mDescriptors.hidInterface();
        return interface == setup.index;
    };
    for (const Row& row : kRows) {
        if (row.type == setup.type && row.request == setup.request && isFor(row.target)) {
            return (this->*row.handle)(setup, data);
        }
    }
    return Stalled{};
}

ControlOutcome Control::getStatus(const Setup&, const std::string&) {
    const int status = 1 << USB_DEVICE_SELF_POWERED | int{mMayWake} << USB_DEVICE_REMOTE_WAKEUP;
    return std::string({static_cast<char>(status), '\0'});
}

ControlOutcome Control::changeFeature(const Setup& setup, const std::string&) {
    if (setup.value != USB_DEVICE_REMOTE_WAKEUP) return Stalled{};
    mMayWake = setup.request == USB_REQ_SET_FEATURE;
    return std::string();
}

// Nothing is ever halted here; a host's driver clears what it has seen stall.
ControlOutcome Control::clearHalt(const Setup& setup, const std::string&) {
    const bool isOurs = setup.value == USB_ENDPOINT_HALT && highOf(setup.index) == 0 &&
                        mDescriptors.hasEndpoint(lowOf(setup.index));
    return isOurs ? ControlOutcome(std::string()) : Stalled{};
}

ControlOutcome Control::getDescriptor(const Setup& setup, const std::string&) {
    std::optional<std::string> descriptor =
            mDescriptors.find(highOf(setup.value), lowOf(setup.value));
    if (!descriptor) return Stalled{};
    return *std::move(descriptor);
}

// A reset of the device ends with it.
ControlOutcome Control::setConfiguration(const Setup& setup, const std::string&) {
    if (setup.value > 1) return Stalled{};
    mMayWake = false;
    return std::string();
}

ControlOutcome Control::getLineCoding(const Setup&, const std::string&) {
    return mLineCoding;
}

ControlOutcome Control::setLineCoding(const Setup&, const std::string& data) {
    if (data.size() != kLineCodingSize) return Stalled{};
    mLineCoding = data;
    return std::string();
}

ControlOutcome Control::setLineState(const Setup& setup, const std::string&) {
    return LineState{.dtr = (setup.value & 1) != 0, .rts = (setup.value & 2) != 0};
}

// No report ever comes of its own accord, at whatever rate.
ControlOutcome Control::setIdle(const Setup&, const std::string&) {
    return std::string();
}

// The number 0 stands in a program's buffer, but not on the wire.
ControlOutcome Control::getReport(const Setup& setup, const std::string&) {
    if (reportTypeOf(setup) != HID_FEATURE_REPORT) return Stalled{};
    const uint8_t number = lowOf(setup.value);
    HidRequest request = {.kind = HidRequest::Kind::GetFeature, .size = setup.length, .bytes = {}};
    request.bytes = {static_cast<char>(number)};
    if (number == 0) ++request.size;
    return request;
}

ControlOutcome Control::setReport(const Setup& setup, const std::string& data) {
    const hid_report_type type = reportTypeOf(setup);
    if (type != HID_FEATURE_REPORT && type != HID_OUTPUT_REPORT) return Stalled{};
    HidRequest request = {.kind = HidRequest::Kind::SetFeature, .size = 0, .bytes = data};
    if (type == HID_OUTPUT_REPORT) request.kind = HidRequest::Kind::Write;
    if (lowOf(setup.value) == 0) request.bytes.insert(0, 1, '\0');
    request.size = request.bytes.size();
    return request;
}

}  // namespace gadget
