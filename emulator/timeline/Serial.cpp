// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/timeline/Serial.h"

#include <algorithm>
#include <utility>

#include "emulator/cover/FaultLanguage.h"
#include "emulator/cover/Text.h"
#include "emulator/timeline/Spelling.h"

namespace timeline {

namespace {

using Effect = cover::Fault::Effect;

// Commands of one write come together; nobody who waits for an answer gives up so soon.
constexpr std::chrono::milliseconds kOneWrite(1);
// Of a line or a command; more is never shown.
constexpr size_t kKept = 4096;
constexpr size_t kMostStrikes = 64;

bool isSame(std::string_view a, std::string_view b) {
    return a.size() == b.size() && cover::startsWithNoCase(a, b);
}

std::optional<Effect> effectOf(const phone::Entry& fault) {
    const cover::ParsedFault parsed = cover::parseFault(fault.bytes);
    return parsed.fault ? std::optional(parsed.fault->effect) : std::nullopt;
}

std::string_view withoutEnd(std::string_view line) {
    while (line.ends_with('\r')) line.remove_suffix(1);
    return line;
}

}  // namespace

size_t Serial::waiting() const {
    return static_cast<size_t>(std::ranges::count(mOpen, true, &Exchange::isWhole));
}

// After a slow answer the cover answers the commands that came meanwhile, in their order.
bool Serial::mayBeAnswered(const Exchange& exchange, const phone::Entry& next) const {
    return exchange.isSlow || (!exchange.isAnswered && next.time - exchange.heard <= kOneWrite);
}

void Serial::endUnanswered(const phone::Entry& entry) {
    while (!mOpen.empty() && (!mayBeAnswered(mOpen.front(), entry) || mOpen.size() >= kMostOpen)) {
        dropPartial(entry);
        finish("no answer", entry);
    }
}

void Serial::beginCommand(const phone::Entry& entry) {
    endUnanswered(entry);
    mOpen.push_back({begin(entry)});
    mOpen.back().item.kind = "exchange";
    mOpen.back().item.open = true;
}

void Serial::receive(const phone::Entry& entry) {
    if (mOpen.empty() || mOpen.back().isWhole) beginCommand(entry);
    Exchange& exchange = mOpen.back();
    std::string_view bytes = entry.bytes;
    exchange.isWhole = bytes.ends_with('\r');
    if (exchange.isWhole) bytes.remove_suffix(1);
    // As the cover does, which a line end of "\r\n" must not spoil the next command for.
    if (exchange.command.empty()) {
        bytes.remove_prefix(std::min(bytes.find_first_not_of('\n'), bytes.size()));
    }
    exchange.command += bytes.substr(0, kKept - std::min(kKept, exchange.command.size()));
    exchange.heard = entry.time;
    if (exchange.command.empty()) {
        if (exchange.isWhole) mOpen.pop_back();
        return;
    }
    exchange.item.title = spell(exchange.command);
    extend(exchange.item, entry);
    takeStrikes(exchange);
    mChanges->put(exchange.item);
}

void Serial::markFaulty(Exchange& exchange, const phone::Entry& fault) {
    exchange.item.faulty = true;
    const std::optional<Effect> effect = effectOf(fault);
    exchange.isSlow = exchange.isSlow || effect == Effect::Late || effect == Effect::Split ||
                      effect == Effect::Flood;
}

// A fault may stand in the journal before the command that met it.
void Serial::strike(const phone::Entry& entry) {
    for (Exchange& exchange : mOpen) {
        if (!exchange.isWhole || !isSame(exchange.command, withoutEnd(entry.note))) continue;
        markFaulty(exchange, entry);
        mChanges->put(exchange.item);
        return;
    }
    // A deaf cover takes no command.
    if (effectOf(entry) == Effect::Deaf) return;
    mStrikes.push_back(entry);
    if (mStrikes.size() > kMostStrikes) mStrikes.pop_front();
}

void Serial::takeStrikes(Exchange& exchange) {
    if (!exchange.isWhole) return;
    std::erase_if(mStrikes, [&](const phone::Entry& fault) {
        if (!isSame(exchange.command, withoutEnd(fault.note))) return false;
        markFaulty(exchange, fault);
        return true;
    });
}

Serial::Exchange* Serial::front() {
    return mOpen.empty() || !mOpen.front().isWhole ? nullptr : &mOpen.front();
}

void Serial::send(const phone::Entry& entry) {
    std::string_view bytes = entry.bytes;
    while (!bytes.empty()) {
        if (!mPartialBegin) mPartialBegin = begin(entry);
        const size_t end = bytes.find('\n');
        const std::string_view piece = bytes.substr(0, end);
        mPartial += piece.substr(0, kKept - std::min(kKept, mPartial.size()));
        if (end == std::string_view::npos) break;
        endLine(entry);
        mPartial.clear();
        mPartialBegin.reset();
        bytes.remove_prefix(end + 1);
    }
    if (Exchange* const exchange = front(); exchange != nullptr && exchange->isAnswered) {
        extend(exchange->item, entry);
        mChanges->put(exchange->item);
    }
    settleStray(entry);
}

void Serial::endLine(const phone::Entry& entry) {
    const std::string_view line = withoutEnd(mPartial);
    Exchange* const exchange = front();
    if (exchange == nullptr) return stray(line, entry);
    for (const char* const verdict : {"OK", "ERROR"}) {
        if (!isSame(line, verdict)) continue;
        extend(exchange->item, entry);
        return finish(verdict, entry);
    }
    const bool begins = line.empty() || isSame(line, exchange->command);
    if (!exchange->isAnswered && !begins) return stray(line, entry);
    if (exchange->isAnswered) append(exchange->item.detail, spell(line));
    exchange->isAnswered = true;
}

// Several stray lines of one entry are one item, since its first entry's number is its own.
void Serial::stray(std::string_view line, const phone::Entry& entry) {
    if (line.empty()) return;
    if (!mStray) {
        mStray = mPartialBegin.value_or(begin(entry));
        mStray->kind = mLogs ? "log" : "unsolicited";
        mStray->open = true;
    }
    append(mStray->title, spell(line));
}

void Serial::settleStray(const phone::Entry& entry) {
    if (!mStray) return;
    extend(*mStray, entry);
    mStray->open = !mPartial.empty();
    mChanges->put(*mStray);
    if (!mStray->open) mStray.reset();
}

// What there is of a line when no more of it will come.
void Serial::dropPartial(const phone::Entry& entry) {
    const std::string line(withoutEnd(mPartial));
    mPartial.clear();
    if (Exchange* const exchange = front(); exchange != nullptr && exchange->isAnswered) {
        append(exchange->item.detail, spell(line));
    } else {
        stray(line, entry);
    }
    mPartialBegin.reset();
    if (!mStray) return;
    mStray->open = false;
    mChanges->put(*mStray);
    mStray.reset();
}

void Serial::finish(const char* verdict, const phone::Entry& entry) {
    Exchange exchange = std::move(mOpen.front());
    mOpen.pop_front();
    close(exchange.item, verdict, entry.time);
    mChanges->put(exchange.item);
    constexpr std::string_view kLogs = "AT%LOGSAVE=";
    if (exchange.item.verdict == "OK" && cover::startsWithNoCase(exchange.command, kLogs)) {
        const std::string mode = exchange.command.substr(kLogs.size());
        mLogs = mode == "0" || mode == "2";
    }
}

void Serial::cutOff(const phone::Entry& entry) {
    dropPartial(entry);
    while (!mOpen.empty()) finish("cut off", entry);
    mStrikes.clear();
    mLogs = false;
}

}  // namespace timeline
