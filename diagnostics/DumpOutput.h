// Writing to a descriptor that a client handed over: whatever it is, the service goes on.
#pragma once

#include <string>

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

// Writes the text to a duplicate of the descriptor, on a thread of its own, and waits two seconds
// for it at most: a full pipe, or a terminal that was stopped, may take it much later or never.
// What is not taken by then is written after the return; a reader that takes nothing for 30 seconds
// gets no more. There is one such thread at most: while it waits, further texts are dropped. What
// goes wrong is logged; no signal is raised.
void writeDump(int fd, std::string text);

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
