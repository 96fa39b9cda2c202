// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "kernel/serial/AtAnswer.h"

#include <algorithm>
#include <cstring>

#include <strings.h>

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

namespace {

bool isEnd(const char* line) {
    return strcasecmp(line, "OK\n") == 0 || strcasecmp(line, "ERROR\n") == 0;
}

}  // namespace

AtAnswer::AtAnswer(const char* cmd, char* resp, size_t respCount)
    : mCmd(cmd), mCmdLength(strlen(cmd)), mResp(resp), mCapacity(resp != nullptr ? respCount : 0) {}

AtAnswer::Line AtAnswer::take(const char* line, size_t count) {
    if (mStarted) return isEnd(line) ? Line::kEnd : Line::kContent;
    if (isStart(line, count)) {
        mStarted = true;
        // Stray lines must not show when the answer itself stores nothing.
        if (mStored > 0) memset(mResp, 0, mStored);
        mStored = 0;
        return Line::kStart;
    }
    return isEnd(line) ? Line::kEnd : Line::kStray;
}

bool AtAnswer::isStart(const char* line, size_t count) const {
    if (line[0] == '\n') return true;
    return count == mCmdLength && strncasecmp(line, mCmd, mCmdLength - 1) == 0;
}

void AtAnswer::store(const char* line, size_t count) {
    const size_t stored = std::min(mCapacity - mStored, count);
    if (stored == 0) return;
    memcpy(mResp + mStored, line, stored);
    mStored += stored;
}

size_t AtAnswer::finish() {
    if (mStored > 0) mResp[mStored - 1] = '\0';
    return mStored;
}

bool isRejection(const char* line) {
    return line[0] == 'E' || line[0] == 'e';
}

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
