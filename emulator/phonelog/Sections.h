// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The parts of a log: buffers of logcat, sections of a bugreport; and the logger's own lines.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "emulator/phonelog/ServiceLog.h"

namespace phonelog {

class Sections {
  public:
    // True for a line that is no message: a heading, or a line of a section that has none.
    bool take(size_t number, std::string_view line);

    // What follows is a log of this boot. Before any heading: yes.
    bool isLog() const { return mIsLog; }
    // Its bytes are escaped, as by logcat -v printable.
    bool isEscaped() const { return mIsEscaped; }
    const std::vector<Remark>& remarks() const { return mRemarks; }
    std::vector<Remark>& remarks() { return mRemarks; }

  private:
    void takeHeading(std::string_view line);
    void takeKernelLine(size_t number, std::string_view line);

    bool mIsLog = true;
    bool mIsKernel = false;
    bool mIsEscaped = false;
    bool mHasKernelLines = false;
    std::vector<Remark> mRemarks;
};

// What a line of the tag "chatty" stands for.
struct Chatty {
    size_t count = 0;          // of lines; 0: another line
    bool isIdentical = false;  // else they were dropped
};
Chatty parseChatty(std::string_view text);

// Takes back what logcat -v printable does to a text.
std::string unescapePrintable(std::string_view text);

}  // namespace phonelog
