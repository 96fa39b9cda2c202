// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/phonelog/LineFile.h"

#include <algorithm>

namespace phonelog {

bool LineFile::fill() {
    constexpr size_t kPiece = 1 << 20;
    mBuffer.resize(kPiece);
    mFile.read(mBuffer.data(), kPiece);
    mBuffer.resize(static_cast<size_t>(mFile.gcount()));
    mAt = 0;
    return !mBuffer.empty();
}

bool LineFile::next() {
    mText.clear();
    mIsCut = false;
    bool hasBegun = false;
    for (;;) {
        if (mAt == mBuffer.size() && !fill()) {
            mIsCut = true;
            mNumber += hasBegun ? 1 : 0;
            return hasBegun;
        }
        hasBegun = true;
        const size_t end = std::min(mBuffer.find('\n', mAt), mBuffer.size());
        const size_t room = kLongestLine - mText.size();
        if (end - mAt > room) mIsCut = true;
        mText.append(mBuffer, mAt, std::min(end - mAt, room));
        mAt = end;
        if (mAt == mBuffer.size()) continue;
        ++mAt;
        ++mNumber;
        if (mText.ends_with('\r')) mText.pop_back();
        return true;
    }
}

}  // namespace phonelog
