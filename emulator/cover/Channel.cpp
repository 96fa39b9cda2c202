// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/cover/Channel.h"

#include <algorithm>
#include <utility>

namespace cover {

void Channel::reset() {
    mPartial.clear();
    mTooLong = false;
    mWaiting.clear();
}

uint64_t Channel::receive(std::string_view bytes, Time now) {
    uint64_t lost = 0;
    for (;;) {
        const size_t end = bytes.find('\r');
        append(bytes.substr(0, end));
        if (end == std::string_view::npos) return lost;
        if (!endLine(now)) ++lost;
        bytes.remove_prefix(end + 1);
    }
}

CommandLine Channel::takeLine() {
    CommandLine line = std::move(mWaiting.front());
    mWaiting.pop_front();
    return line;
}

void Channel::append(std::string_view bytes) {
    if (mPartial.empty()) {
        // A terminal that ends its lines with "\r\n" must not spoil the next command.
        bytes.remove_prefix(std::min(bytes.find_first_not_of('\n'), bytes.size()));
    }
    const size_t room = kLineLimit - mPartial.size();
    if (bytes.size() > room) mTooLong = true;
    mPartial.append(bytes.substr(0, room));
}

// Returns false when the line is lost.
bool Channel::endLine(Time now) {
    CommandLine line{std::exchange(mPartial, {}), std::exchange(mTooLong, false), now};
    if (line.text.empty()) return true;
    if (mWaiting.size() == kWaitingLimit) return false;
    mWaiting.push_back(std::move(line));
    return true;
}

}  // namespace cover
