// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Parses the lines that the cover sends while a command runs. Reads no port.
#pragma once

#include <cstddef>

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

class AtAnswer {
  public:
    enum class Line {
        kStray,    // before the answer began: not part of it, unless no start ever comes
        kStart,    // blank line or echo of the command: the answer begins after it
        kContent,  // a line of the answer
        kEnd,      // "OK" or "ERROR": the command is over
    };

    // `cmd` ends in "\r". `resp` takes up to `respCount` bytes; may be null. Both must outlive
    // this object.
    AtAnswer(const char* cmd, char* resp, size_t respCount);

    // Returns what a line is. The start of the answer drops the stray lines that were stored.
    // `line` is NUL-terminated. `count` is the number of bytes read, with the "\n" of a whole line.
    Line take(const char* line, size_t count);

    // Appends a stray or content line to what is stored, as far as there is room.
    void store(const char* line, size_t count);

    // The answer began, so stray lines can no longer come.
    bool started() const { return mStarted; }

    // Ends the stored text: the last stored byte becomes NUL. Returns the number of bytes stored.
    size_t finish();

  private:
    bool isStart(const char* line, size_t count) const;

    const char* const mCmd;
    const size_t mCmdLength;
    char* const mResp;
    const size_t mCapacity;
    size_t mStored = 0;
    bool mStarted = false;
};

// Whether the line that ended a command is the cover's rejection: it begins with "E", in either
// case.
bool isRejection(const char* line);

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
