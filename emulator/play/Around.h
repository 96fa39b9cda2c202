// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The timeline around a failure.
#pragma once

#include <string>

#include "emulator/play/Streams.h"

namespace play {

// The items since the entry with this number, and those right before it: a line each, about a
// dozen. Empty when nothing has happened.
std::string tellAround(const Stream<phone::Entry>& entries, size_t since);

}  // namespace play
