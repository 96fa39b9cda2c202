// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Writing to a descriptor that a client handed over. Whatever its kind, the service goes on.
#pragma once

#include <string_view>

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

// Writes the text. Any thread, holding no lock. A reader that leaves a pipe, a socket or a terminal
// full loses what it has not taken after two seconds. Failures are logged and raise no signal. The
// descriptor keeps its flags, which the client shares.
void writeDump(int fd, std::string_view text);

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
