// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// How much of what a tty's device has sent the phone's software has not read. A reader of lines
// gets them without carriage returns, and nothing of a line without its end.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace vm {

class Unread {
  public:
    // Bytes are on their way to the kernel.
    void send(std::string_view bytes) { mOnTheWay += bytes; }
    // The kernel has fetched so many bytes since the device came.
    void fetch(uint64_t total);
    // A read() of the phone's software returned so many bytes.
    void read(uint64_t count) { mRead += count; }
    // The last close of the tty drops what the kernel holds.
    void drop();

    bool any() const { return !mOnTheWay.empty() || mRead < mLines; }

  private:
    std::string mOnTheWay;
    uint64_t mFetched = 0;  // since the device came
    uint64_t mLines = 0;    // bytes of whole lines since the last drop
    uint64_t mPartial = 0;  // those of the line that is not whole
    uint64_t mRead = 0;     // since the last drop
};

}  // namespace vm
