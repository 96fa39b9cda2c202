// Writing to a descriptor that a client handed over: whatever it is, the service goes on.
#pragma once

#include <string_view>

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

// Writes the text, in pieces that fit into a pipe with room. Gives up, logged, when the descriptor
// fails, or is a pipe, socket or terminal that has taken nothing for two seconds. A reader that has
// gone raises no SIGPIPE.
void writeDump(int fd, std::string_view text);

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
