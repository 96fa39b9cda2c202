// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/cover/LogService.h"

#include "emulator/cover/Integers.h"

namespace cover {

std::vector<Route> LogService::routes() {
    return {{"AT%LOGSAVE=", Route::Arguments::Some,
             [this](std::string_view arguments) { return setMode(arguments); }}};
}

Answer LogService::setMode(std::string_view arguments) {
    const std::optional<int> mode = parseInteger<int>(arguments);
    if (!mode || *mode < 0 || *mode > 3) return refused();
    mState.logSave = *mode;
    return ok();
}

}  // namespace cover
