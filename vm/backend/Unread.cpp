// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "vm/backend/Unread.h"

#include <algorithm>

namespace vm {

void Unread::fetch(uint64_t total) {
    const size_t count = std::min<uint64_t>(total - mFetched, mOnTheWay.size());
    for (const char byte : mOnTheWay.substr(0, count)) {
        if (byte != '\r') ++mPartial;
        if (byte != '\n') continue;
        mLines += mPartial;
        mPartial = 0;
    }
    mOnTheWay.erase(0, count);
    mFetched = total;
}

void Unread::drop() {
    mLines = 0;
    mPartial = 0;
    mRead = 0;
}

}  // namespace vm
