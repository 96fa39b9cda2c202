// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// What the sub display shows, as the control interface gives it.
#pragma once

#include "emulator/cover/Panel.h"
#include "emulator/phone/program/Session.h"

namespace emulator {

// The picture in the answer to GET /v1/snapshot; without pixels when there is none. Throws
// ForeignAnswer or Json::exception for other answers.
cover::Picture readPicture(const Json& snapshot);

}  // namespace emulator
