// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The record of what the phone's software does with a device's tty. Emulator thread only.
#pragma once

#include <algorithm>
#include <optional>
#include <string>

#include "emulator/phone/Journal.h"
#include "emulator/phone/backend/Device.h"

namespace phone {

class TtyRecorder : public TtyListener {
  public:
    explicit TtyRecorder(Journal& journal) : mRecord(journal) {}

    // Of itself a device takes all bytes.
    std::optional<cover::Time> ttyOpened(const std::string& node,
                                         const std::string& flags) override {
        mRecord.add(Kind::TtyOpen, node, {}, flags);
        return std::nullopt;
    }
    // One entry a command ("\r" ends it) or less.
    size_t ttyReceived(const std::string& node, const std::string& bytes) override {
        for (size_t at = 0; at < bytes.size();) {
            const size_t end = std::min(bytes.find('\r', at), bytes.size() - 1) + 1;
            mRecord.add(Kind::TtyRx, node, bytes.substr(at, end - at));
            at = end;
        }
        return bytes.size();
    }
    void ttyLost(const std::string& node, const std::string& bytes) override {
        mRecord.add(Kind::TtyLost, node, bytes);
    }
    // Of itself a device does not look at it.
    void dtrSet(const std::string& /*node*/, bool /*raised*/) override {}

  private:
    Journal& mRecord;
};

}  // namespace phone
