// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The lines of a text of any length, in memory of one line; a line's bytes may be any.
#pragma once

#include <cstddef>
#include <istream>
#include <string>
#include <string_view>

namespace phonelog {

class LineFile {
  public:
    // Of a longer line the rest is left out. A phone's logger writes 4,068 bytes.
    static constexpr size_t kLongestLine = 64 << 10;

    explicit LineFile(std::istream& file) : mFile(file) {}

    // False at the end of the text.
    bool next();

    size_t number() const { return mNumber; }  // from 1
    // Without its line end, "\n" or "\r\n".
    std::string_view text() const { return mText; }
    // The line was too long, or the text ends in it.
    bool isCut() const { return mIsCut; }

  private:
    bool fill();

    std::istream& mFile;
    std::string mBuffer;
    size_t mAt = 0;
    std::string mText;
    size_t mNumber = 0;
    bool mIsCut = false;
};

}  // namespace phonelog
