// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// What the page's server answers. README.md lists it.
#pragma once

#include "emulator/ui/Address.h"
#include "emulator/ui/Emulator.h"
#include "emulator/ui/Feed.h"
#include "emulator/ui/PageServer.h"
#include "emulator/ui/Store.h"

namespace ui {

// All must live as long as the server.
void addRoutes(PageServer& server, const Address& address, const Emulator& emulator, Store& store,
               Feed& feed);

}  // namespace ui
