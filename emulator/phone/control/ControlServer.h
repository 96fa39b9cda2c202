// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The emulator's control interface: HTTP and JSON on a Unix socket. README.md describes it.
#pragma once

#include <memory>
#include <string>

#include "emulator/phone/Phone.h"
#include "emulator/phone/neighbours/Neighbours.h"

namespace control {

class ControlServer {
  public:
    // Serves `phone` and its neighbours on <folder>/emulator.sock until destroyed. Replaces a
    // socket on which no program answers. Throws phone::Error when another emulator answers there,
    // or the socket cannot be made.
    ControlServer(phone::Phone& phone, neighbours::Neighbours& neighbours,
                  const std::string& folder);
    ~ControlServer();
    ControlServer(const ControlServer&) = delete;
    ControlServer& operator=(const ControlServer&) = delete;

  private:
    class Impl;
    std::unique_ptr<Impl> mImpl;
};

}  // namespace control
