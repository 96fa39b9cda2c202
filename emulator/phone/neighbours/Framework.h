// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The phone's framework, as far as it is a client of the cover's service: it hears of touch and pen
// events, and each is in the journal, in its place among what the service did.
#pragma once

#include <memory>

#include "emulator/phone/Phone.h"

namespace neighbours {

class PhoneLink;

// Any thread may use it.
class Framework {
  public:
    // The version of IBivistaLpwgCallback that it implements.
    enum class Version { V1_0, V1_1 };

    // Hears nothing at first.
    explicit Framework(phone::Phone& phone);
    // What it hears from then on is in no journal. The service keeps its callback, since clearing
    // it would stop the service.
    ~Framework();
    Framework(const Framework&) = delete;
    Framework& operator=(const Framework&) = delete;

    // Registers a callback with the service, in the place of any other client's. Waits until the
    // service is free. Throws phone::Error when there is no service, or it dies meanwhile.
    void listen(Version version);

  private:
    // Outlives the phone, as long as the service holds a callback.
    const std::shared_ptr<PhoneLink> mPhone;
};

}  // namespace neighbours
