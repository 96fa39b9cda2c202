// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/cover/LogStream.h"

#include <algorithm>
#include <utility>

namespace cover {

bool LogStream::add(std::string_view line, Time now) {
    if (!mState.streamsLog() || mWaiting.size() == kWaitingLimit) return false;
    if (mWaiting.empty()) mWaitingSince = now;
    mWaiting.push_back(std::string(line) + "\r\n");
    return true;
}

void LogStream::setChatter(std::optional<Chatter> chatter, Time now) {
    mChatter = std::move(chatter);
    mChatterDue = now;
    mChatterNumber = 0;
}

void LogStream::announceReply(Time now) {
    if (mChatter && mState.streamsLog()) add(chatterLine(), now);
}

std::optional<Time> LogStream::waitingSince() const {
    if (mWaiting.empty()) return std::nullopt;
    return mWaitingSince;
}

std::string LogStream::takeWaiting() {
    std::string bytes;
    for (const std::string& line : mWaiting) bytes += line;
    mState.logLines += mWaiting.size();
    mWaiting.clear();
    return bytes;
}

std::optional<Time> LogStream::chatterDue() const {
    if (!mChatter || !mState.streamsLog()) return std::nullopt;
    return mChatterDue;
}

std::string LogStream::takeChatter(Time now) {
    mChatterDue = std::max(mChatterDue, now) + mChatter->gap;
    std::string bytes;
    do {
        bytes += chatterLine() + "\r\n";
        ++mState.logLines;
    } while (mChatter->gap == Time::zero() && bytes.size() + mChatter->text.size() < kChunk);
    return bytes;
}

std::string LogStream::chatterLine() {
    return mChatter->text + ' ' + std::to_string(++mChatterNumber);
}

}  // namespace cover
