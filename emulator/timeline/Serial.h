// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The exchanges on one tty, as the service's own reader cuts them: an answer begins with its blank
// line or the echo, and ends with a line "OK" or "ERROR". Lines before its begin answer nothing.
#pragma once

#include <chrono>
#include <deque>
#include <optional>
#include <string>
#include <string_view>

#include "emulator/timeline/Changes.h"

namespace timeline {

class Serial {
  public:
    explicit Serial(Changes& changes) : mChanges(&changes) {}

    void receive(const phone::Entry& entry);  // tty-rx
    void send(const phone::Entry& entry);     // tty-tx
    void strike(const phone::Entry& entry);   // fault-met
    // The tty has gone, or what follows is not known.
    void cutOff(const phone::Entry& entry);

    // Commands that have ended and are not answered yet.
    size_t waiting() const;

  private:
    // As many commands wait in the cover while it answers one.
    static constexpr size_t kMostOpen = 65;

    struct Exchange {
        Item item;
        std::string command{};
        std::chrono::nanoseconds heard{};  // when its last byte so far came
        bool isWhole = false;              // the "\r" came
        bool isAnswered = false;           // the answer has begun
        bool isSlow = false;               // a fault makes its answer take long
    };

    void beginCommand(const phone::Entry& entry);
    void endUnanswered(const phone::Entry& entry);
    bool mayBeAnswered(const Exchange& exchange, const phone::Entry& next) const;
    void markFaulty(Exchange& exchange, const phone::Entry& fault);
    void takeStrikes(Exchange& exchange);
    // The exchange that is answered now.
    Exchange* front();
    void endLine(const phone::Entry& entry);
    void stray(std::string_view line, const phone::Entry& entry);
    void settleStray(const phone::Entry& entry);
    void dropPartial(const phone::Entry& entry);
    void finish(const char* verdict, const phone::Entry& entry);

    Changes* mChanges;
    std::deque<Exchange> mOpen;
    std::deque<phone::Entry> mStrikes;  // of commands that come next
    std::string mPartial;               // of a line that the cover sends; its first bytes
    std::optional<Item> mPartialBegin;
    std::optional<Item> mStray;
    bool mLogs = false;  // the cover sends its log
};

}  // namespace timeline
