// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The cover display's cutout description, read from the cover once.
#pragma once

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

class Bivista;

// The description has been read; from then on it is served from memory, for good. Any thread.
bool isCutoutFetched();

// Asks the cover and keeps its answer; `function` is the name to log with. False when the command
// failed; the text is then what came of the answer. Any thread; waits for the AT exchange.
bool fetchCutout(Bivista& service, const char* function);

// Empties the text, unless another thread has fetched it meanwhile. Any thread.
void clearCutout();

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
