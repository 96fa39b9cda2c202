// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "tools/session/LineSplitter.h"

#include <utility>

namespace session {

void LineSplitter::feed(std::string_view bytes) {
    mBytes.erase(0, mStart);
    mStart = 0;
    mBytes.append(bytes);
}

std::optional<Line> LineSplitter::next() {
    const size_t end = mBytes.find('\n', mStart);
    const size_t length = (end == std::string::npos ? mBytes.size() : end) - mStart;
    if (length > kMostLineBytes) mDrops = true;
    if (end == std::string::npos) {
        if (mDrops) mStart = mBytes.size();
        return std::nullopt;
    }
    Line line;
    line.isTooLong = std::exchange(mDrops, false);
    if (!line.isTooLong) line.text = mBytes.substr(mStart, length);
    mStart = end + 1;
    return line;
}

std::optional<Line> LineSplitter::last() {
    if (mStart == mBytes.size() && !mDrops) return std::nullopt;
    feed("\n");
    return next();
}

}  // namespace session
