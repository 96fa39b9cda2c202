// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "vm/gadget/Gadget.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include "vm/gadget/Control.h"
#include "vm/gadget/Descriptors.h"
#include "vm/gadget/Transfers.h"
#include "vm/gadget/Wire.h"

namespace gadget {

using phone::HidAnswer;
using phone::HidRequest;

struct Gadget::Parts {
    explicit Parts(const phone::DeviceDescription& description) : descriptors(description) {}

    void submit(const Submit& submit);
    void control(const Submit& submit);
    void report(const Submit& submit, const HidRequest& request);
    void unlink(const Unlink& unlink);
    // Keeps it until finish() or unlink().
    void wait(const Submit& submit, Transfer::Wait why, size_t unsent = 0);
    void answer(const Submit& submit, std::string_view data);
    void stall(const Submit& submit);
    void finish(uint32_t id, int64_t result, std::string_view report);
    // Gives the kernel what it has asked for, as far as there is any.
    void pass();

    const Descriptors descriptors;
    Control endpoint0{descriptors};
    CommandReader reader;
    Transfers transfers;
    std::vector<Event> events;
    std::string output;
    std::string forPhone;  // from the tty's device
    uint64_t fetched = 0;
};

namespace {

bool isIn(const Submit& submit) {
    return (submit.endpoint & 0x80) != 0;
}

}  // namespace

void Gadget::Parts::submit(const Submit& submit) {
    if ((submit.endpoint & 0x7F) == 0) return control(submit);
    if (!descriptors.hasEndpoint(submit.endpoint)) return stall(submit);
    switch (submit.endpoint) {
        case kTtyOut:
            wait(submit, Transfer::Wait::Device);
            events.push_back(Written{.id = submit.id, .bytes = submit.data});
            break;
        case kTtyIn:
            wait(submit, Transfer::Wait::Bytes);
            pass();
            break;
        case kReportOut:
            report(submit, {.size = submit.length, .bytes = submit.data});
            break;
        default:
            wait(submit, Transfer::Wait::ForEver);
    }
}

void Gadget::Parts::control(const Submit& submit) {
    const ControlOutcome outcome = endpoint0.handle(submit.setup, submit.data);
    if (std::holds_alternative<Stalled>(outcome)) return stall(submit);
    if (const auto* const request = std::get_if<HidRequest>(&outcome)) {
        return report(submit, *request);
    }
    if (const auto* const line = std::get_if<LineState>(&outcome)) events.push_back(*line);
    const auto* const data = std::get_if<std::string>(&outcome);
    answer(submit, data ? *data : std::string_view());
}

void Gadget::Parts::report(const Submit& submit, const HidRequest& request) {
    wait(submit, Transfer::Wait::Device, request.size - submit.length);
    events.push_back(Report{.id = submit.id, .request = request});
}

void Gadget::Parts::unlink(const Unlink& unlink) {
    const std::optional<Transfer> victim = transfers.take(unlink.victim);
    // One that is not there was answered before.
    output += toUnlinkAnswer(unlink.id, victim ? -ECONNRESET : 0);
    if (victim && victim->wait == Transfer::Wait::Device) {
        events.push_back(TakenBack{victim->id});
    }
}

void Gadget::Parts::wait(const Submit& submit, Transfer::Wait why, size_t unsent) {
    transfers.add({.id = submit.id,
                   .wait = why,
                   .isIn = isIn(submit),
                   .length = submit.length,
                   .unsent = unsent});
}

void Gadget::Parts::answer(const Submit& submit, std::string_view data) {
    const std::string_view passed = data.substr(0, submit.length);
    output += toSubmitAnswer(submit.id, 0, isIn(submit) ? passed.size() : submit.length, passed);
}

void Gadget::Parts::stall(const Submit& submit) {
    output += toSubmitAnswer(submit.id, -EPIPE, 0, {});
}

void Gadget::Parts::finish(uint32_t id, int64_t result, std::string_view report) {
    const std::optional<Transfer> transfer = transfers.take(id);
    if (!transfer) return;
    if (result < 0) {
        output += toSubmitAnswer(id, static_cast<int>(result), 0, {});
        return;
    }
    const auto unsent = static_cast<int64_t>(transfer->unsent);
    const auto passed =
            static_cast<size_t>(std::clamp<int64_t>(result - unsent, 0, transfer->length));
    std::string_view data;
    if (transfer->isIn) data = report.substr(std::min(transfer->unsent, report.size()), passed);
    output += toSubmitAnswer(id, 0, transfer->isIn ? data.size() : passed, data);
}

void Gadget::Parts::pass() {
    size_t passed = 0;
    while (passed < forPhone.size() && transfers.hasForBytes()) {
        const Transfer transfer = transfers.takeForBytes();
        const std::string_view data = std::string_view(forPhone).substr(passed, transfer.length);
        output += toSubmitAnswer(transfer.id, 0, data.size(), data);
        passed += data.size();
    }
    forPhone.erase(0, passed);
    fetched += passed;
}

Gadget::Gadget(const phone::DeviceDescription& description)
    : mParts(std::make_unique<Parts>(description)) {}

Gadget::~Gadget() = default;

void Gadget::receive(std::string_view bytes) {
    mParts->reader.add(bytes);
    while (const std::optional<Command> command = mParts->reader.next()) {
        if (const auto* const submit = std::get_if<Submit>(&*command)) {
            mParts->submit(*submit);
        } else {
            mParts->unlink(std::get<Unlink>(*command));
        }
    }
}

std::string Gadget::takeOutput() {
    return std::exchange(mParts->output, {});
}

std::vector<Event> Gadget::takeEvents() {
    return std::exchange(mParts->events, {});
}

void Gadget::complete(uint32_t id, const HidAnswer& answer) {
    mParts->finish(id, answer.result, answer.report);
}

void Gadget::complete(uint32_t id) {
    mParts->finish(id, kLongestTransfer, {});
}

void Gadget::send(std::string_view bytes) {
    mParts->forPhone += bytes;
    mParts->pass();
}

size_t Gadget::waiting() const {
    return mParts->forPhone.size();
}

uint64_t Gadget::fetched() const {
    return mParts->fetched;
}

bool Gadget::mayWake() const {
    return mParts->endpoint0.mayWake() && !mParts->forPhone.empty() &&
           !mParts->transfers.hasForBytes();
}

}  // namespace gadget
