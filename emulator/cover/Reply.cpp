// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/cover/Reply.h"

#include <utility>

namespace cover {

Reply makeReply(std::string echo, const Answer& answer) {
    Reply reply;
    reply.echo = std::move(echo);
    reply.delay = answer.delay;
    // One blank line only: readers take any further one for a line of the answer.
    reply.head = "\r\n";
    for (const std::string& line : answer.lines) reply.head += line + "\r\n";
    reply.tail = answer.ok ? "OK\r\n" : "ERROR\r\n";
    return reply;
}

}  // namespace cover
