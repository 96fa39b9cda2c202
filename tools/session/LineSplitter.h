// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Bytes into lines, of which only so much is kept as a line may be long.
#pragma once

#include <stddef.h>

#include <optional>
#include <string>
#include <string_view>

namespace session {

// A frame of as many words as a call carries, in the longest spelling that is usual.
inline constexpr size_t kMostLineBytes = 4 << 20;

struct Line {
    // Without its line feed; empty when it was too long.
    std::string text;
    bool isTooLong = false;
};

class LineSplitter {
  public:
    // Feed more only when next() has returned nothing.
    void feed(std::string_view bytes);
    // The next whole line.
    std::optional<Line> next();
    // At the end of all bytes: what stands after the last line feed.
    std::optional<Line> last();

  private:
    std::string mBytes;
    // Of mBytes: where the next line begins.
    size_t mStart = 0;
    // The line under way is too long. Its bytes are dropped.
    bool mDrops = false;
};

}  // namespace session
