// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Fixture: the service on the emulated phone, seen from its cover display.
#pragma once

#include <string>
#include <thread>
#include <vector>

#include "display/Brightness.h"
#include "display/Color.h"
#include "tests/kernel/ServiceTest.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

// The log line of a BrightnessThread that has nothing to send.
inline constexpr char kRestLine[] =
        "BrightnessThread: br_arr empty. wait signal, set br_offset_count 0";

class DisplayTest : public ServiceTest {
  protected:
    ~DisplayTest() override;

    // Starts the service, puts a cover on and waits until all of it rests. Then mark().
    void bringUp();
    // From here on `from`, commands() and lines() count.
    void mark();
    uint64_t from = 0;

    // Since mark(): what the cover and the control files got.
    std::vector<std::string> commands() const { return ServiceTest::commands(from); }
    std::vector<std::string> nodeWrites() const { return ServiceTest::nodeWrites(from); }
    // Since mark(): the log without the lines of the transport, the votes and the attachment.
    std::vector<support::LogLine> lines() const;
    // Of these, those that begin so.
    std::vector<support::LogLine> lines(const std::string& prefix) const;

    // How many polls are answered "Off" when the screen is switched on.
    void setHotPlugPolls(int polls);
    // Switches the screen on, confirmed by the first poll, and marks.
    void powerOn();

    // Waits until the worker has sent this level (since mark()) and has nothing left to send.
    void awaitSent(int level) const;
    // Keeps the link busy until freeLink(): no other command gets through.
    void blockLink();
    void freeLink();
    // Has the worker wait for the busy link with this level in hand. Then mark().
    void blockWorkerWith(int level);

    static std::vector<int32_t> queue();
    // Puts levels into the queue without waking the worker, as if setBrightness had taken them.
    static void fillQueue(const std::vector<int32_t>& levels);
    static int32_t lastBrightness();

    // All elements, the flag included.
    template <size_t kSize>
    static std::vector<int32_t> elements(const ColorGroup<kSize>& group) {
        std::vector<int32_t> all;
        for (size_t i = 0; i < kSize; ++i) all.push_back(group[i]);
        return all;
    }

  private:
    std::thread mBlocker;
};

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
