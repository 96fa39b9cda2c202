// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Words of "ctl" as requests to the emulator, which are not sent.
#pragma once

#include <string>
#include <vector>

#include "emulator/phone/control/Argument.h"

namespace emulator {

struct MadeRequest {
    std::string method;
    std::string path;
    control::Json values;  // of the query for a DELETE, else of the body
};

struct Requests {
    std::vector<MadeRequest> requests;
    std::string error;  // what ctl would say; nothing when there are requests
};

// `words`: as after "bivista-emulator ctl". To ask only for what is shown is an error, too.
Requests requestsOf(const std::vector<std::string>& words);

}  // namespace emulator
