// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/cover/Faults.h"

#include <algorithm>
#include <utility>

#include "emulator/cover/Text.h"

namespace cover {
namespace {

void garble(std::string& text) {
    for (char& c : text) {
        if (c != '\r' && c != '\n') c = static_cast<char>(c | 0x80);
    }
}

// Keeps the answer up to the middle of its first line that is not blank.
void halve(Reply& reply) {
    const std::string answer = reply.head + reply.tail;
    const size_t begin = std::min(answer.find_first_not_of("\r\n"), answer.size());
    const size_t end = std::min(answer.find_first_of("\r\n", begin), answer.size());
    reply.head = answer.substr(0, begin + (end - begin) / 2);
    reply.tail.clear();
    reply.after.clear();
    reply.floodLines = 0;
    reply.floodForever = false;
}

void silence(Reply& reply) {
    const auto hangUpAfter = reply.hangUpAfter;
    reply = {};
    reply.hangUpAfter = hangUpAfter;
}

// A line that the cover's firmware would never send there: after the answer's first line end.
void intrude(Reply& reply, const std::string& line) {
    const size_t start = reply.head.find('\n');
    reply.head.insert(start == std::string::npos ? 0 : start + 1, line + "\r\n");
}

void flood(Reply& reply, std::optional<uint64_t> lines) {
    reply.floodLines = lines.value_or(0);
    reply.floodForever = !lines;
}

void replace(Reply& reply, const std::string& bytes) {
    reply.echo.clear();
    reply.head = bytes;
    reply.tail.clear();
}

bool isDeaf(const Fault& fault) {
    return fault.effect == Fault::Effect::Deaf;
}

void applyOne(const Fault& fault, Reply& reply) {
    switch (fault.effect) {
        case Fault::Effect::Silent:
            return silence(reply);
        case Fault::Effect::Late:
            reply.delay += fault.time;
            return;
        case Fault::Effect::Split:
            reply.gap = fault.time;
            return;
        case Fault::Effect::Garble:
            garble(reply.head);
            if (fault.all) garble(reply.tail);
            return;
        case Fault::Effect::Error:
            return;  // the answer is ERROR already: the firmware was not asked
        case Fault::Effect::Deaf:
            return;  // never with a reply: such a command is not taken
        case Fault::Effect::Before:
            reply.before += fault.text + "\r\n";
            return;
        case Fault::Effect::After:
            reply.after += fault.text + "\r\n";
            return;
        case Fault::Effect::Inside:
            return intrude(reply, fault.text);
        case Fault::Effect::HangUp:
            reply.hangUpAfter = fault.count.value_or(0);
            return;
        case Fault::Effect::Answer:
            return replace(reply, fault.text);
        case Fault::Effect::Half:
            return halve(reply);
        case Fault::Effect::Flood:
            return flood(reply, fault.count);
    }
}

}  // namespace

std::vector<Fault> Faults::take(std::string_view command) {
    std::vector<Fault> taken;
    for (size_t i = 0; i < mFaults.size(); ++i) {
        const Fault& fault = mFaults[i];
        if (isDeaf(fault) || !startsWithNoCase(command, fault.prefix)) continue;
        taken.push_back(fault);
        meet(i, command);
    }
    dropUsedUp();
    return taken;
}

bool Faults::takeDeaf(std::string_view beginning) {
    const auto fault = std::find_if(mFaults.begin(), mFaults.end(), [beginning](const Fault& f) {
        return isDeaf(f) && startsWithNoCase(beginning, f.prefix);
    });
    if (fault == mFaults.end()) return false;
    meet(static_cast<size_t>(fault - mFaults.begin()), beginning);
    dropUsedUp();
    return true;
}

bool Faults::hasDeaf() const {
    return std::any_of(mFaults.begin(), mFaults.end(), isDeaf);
}

bool refuses(const std::vector<Fault>& faults) {
    return std::any_of(faults.begin(), faults.end(),
                       [](const Fault& fault) { return fault.effect == Fault::Effect::Error; });
}

void apply(const std::vector<Fault>& faults, Reply& reply) {
    for (const Fault& fault : faults) applyOne(fault, reply);
}

}  // namespace cover
