// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The record of what the phone's software does with a device's hidraw node. Emulator thread only.
#pragma once

#include <string>

#include "emulator/phone/Journal.h"
#include "emulator/phone/backend/Device.h"

namespace phone {

class HidRecorder : public HidListener {
  public:
    explicit HidRecorder(Journal& journal) : mRecord(journal) {}

    void hidRefused(const std::string& node, const HidRequest& request, int error) override;
    void hidClosed(const std::string& node) override;

    // The kind of the entry of such a request.
    static Kind kindOf(const HidRequest& request);

  protected:
    // `held`: until now; the entry's begin is when the call came.
    void recordOpen(const std::string& node, const HidOpen& open, const HidAnswer& answer,
                    cover::Time held);
    void recordRequest(const std::string& node, const HidRequest& request, const HidAnswer& answer,
                       cover::Time held);

  private:
    void record(Kind kind, const std::string& node, const std::string& bytes,
                const std::string& note, cover::Time held);

    Journal& mRecord;
};

}  // namespace phone
