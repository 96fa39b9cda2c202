// Writing to a descriptor that a client handed over: whatever it is, the service goes on.
#pragma once

#include <string_view>

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

// Writes the text. Any thread, holding no lock. A reader that leaves a pipe, a socket or a terminal
// full loses what it has not taken after two seconds. What goes wrong is logged; no signal is
// raised, and the descriptor's flags, which the client shares, stay.
void writeDump(int fd, std::string_view text);

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
