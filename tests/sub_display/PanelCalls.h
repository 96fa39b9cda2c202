// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Calls of the panel's node that a test looks at, holds, as a slow device does, or answers in the
// place of the panel. The calls of a program that links target panel-calls go through
// PanelCalls.cpp (linker option --wrap).
#pragma once

#include <string>

namespace support {

enum class HidCall { SetFeature, Write };

// The calls of this kind wait before the kernel sees them, until release(). awaitHeld() returns
// when one does.
void hold(HidCall call);
void awaitHeld();
void release();

// Number of the last feature report's request.
unsigned long lastRequest();

// From now on the node appends each output report to this text and claims to have taken all of it:
// the first time so many bytes, if not 0. Null: the panel takes reports again. Call it while no
// thread writes.
void takeWrites(std::string* reports, long claim = 0);

}  // namespace support
