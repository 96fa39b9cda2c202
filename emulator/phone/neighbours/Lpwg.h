// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The phone's LPWG service, ILpwg 1.3 "default", which holds the phone's side of the pen mode.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>

#include "emulator/phone/Phone.h"

namespace neighbours {

// Any thread may use it.
class Lpwg {
  public:
    // What setAesModeToLpwg(mode) answers.
    using Answer = std::function<int32_t(int32_t mode)>;

    // Absent at first. `answer`: none: the result.
    explicit Lpwg(phone::Journal& journal, Answer answer = {});
    explicit Lpwg(phone::Phone& phone) : Lpwg(phone.journal()) {}
    // Absent from then on.
    ~Lpwg();
    Lpwg(const Lpwg&) = delete;
    Lpwg& operator=(const Lpwg&) = delete;

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

    // What setAesModeToLpwg() answers from now on, where there is no Answer; 0 at first.
    void setResult(int32_t result);
    int32_t result() const;

  private:
    class Service;
    struct Parts;
    std::unique_ptr<Parts> mParts;
};

}  // namespace neighbours
