// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Faults of control files: "node PATH missing|unreadable|unwritable|eio|read-eio".
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace phone {

enum class NodeEffect { Missing, Unreadable, Unwritable, Eio, ReadEio };

struct NodeFault {
    std::string path;
    NodeEffect effect = NodeEffect::Missing;
    uint64_t met = 0;  // opens and access tests that it has struck; no part of its text
};

// Whether the text is meant for a node; otherwise it is one of the cover's.
bool isNodeFault(std::string_view text);

// Throws phone::Error when the text is wrong. PATH may be in double quotes, as in "a b".
NodeFault parseNodeFault(std::string_view text);

std::string toText(const NodeFault& fault);

}  // namespace phone
