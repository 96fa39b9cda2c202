// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The platform's accessory service, IAccessory 1.1 "default", which answers whether the cover is
// attached.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include "emulator/phone/Phone.h"

namespace neighbours {

// What getAccessoryState() gives.
struct AccessoryState {
    uint32_t type = 0;
    uint32_t state = 0;  // kAttached while the cover is on

    bool operator==(const AccessoryState&) const = default;
};

inline constexpr uint32_t kAttached = 3;

// Any thread may use it.
class Accessory {
  public:
    // Absent at first. `otherwise` is asked for each answer for which there is no setState(); not
    // after the destruction, but perhaps during it.
    Accessory(phone::Journal& journal, std::function<AccessoryState()> otherwise);
    explicit Accessory(phone::Phone& phone)
        : Accessory(phone.journal(), [&phone] {
              return AccessoryState{.state = phone.cover.isAttached() ? kAttached : 0};
          }) {}
    // Absent from then on.
    ~Accessory();
    Accessory(const Accessory&) = delete;
    Accessory& operator=(const Accessory&) = delete;

    // Registers it in the registry of this process (HIDL_SOCKET_DIR), if it is not up. A look-up
    // in this process finds the object itself. Throws phone::Error when it cannot be registered.
    void serve();
    // Declared, and not up: a client that looks it up waits until it is served or withdrawn. Throws
    // phone::Error when it cannot be declared.
    void declare();
    // Takes it back, its declaration too: looking it up finds nothing.
    void withdraw();
    bool isServed() const;
    bool isDeclared() const;

    // What it answers from now on; none: with a phone, state 3 while the cover is attached, 0
    // otherwise.
    void setState(std::optional<AccessoryState> state);
    AccessoryState state() const;

  private:
    class Service;
    struct Parts;
    std::unique_ptr<Parts> mParts;
};

}  // namespace neighbours
