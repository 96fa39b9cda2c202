// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The journal of the running emulator, page by page.
#pragma once

#include <cstdint>
#include <optional>

#include "emulator/phone/Entry.h"
#include "emulator/phone/program/Session.h"

namespace emulator {

class JournalPages {
  public:
    // From the entry with this number on.
    JournalPages(Session& session, uint64_t since) : mSession(session), mSince(since) {}

    // The next entries, a list of objects. Empty at the present end, or none within half a minute
    // for one that waits. None after a failure, which the session has reported. Throws
    // ForeignAnswer for other answers.
    std::optional<Json> next(bool waits);

  private:
    Session& mSession;
    uint64_t mSince;
};

// Throws ForeignAnswer for an object that is none.
phone::Entry entryOf(const Json& object);

}  // namespace emulator
