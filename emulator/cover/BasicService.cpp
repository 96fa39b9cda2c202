// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/cover/BasicService.h"

namespace cover {

std::vector<Route> BasicService::routes() {
    const auto echo = [this](bool on) {
        return [this, on](std::string_view) {
            mState.echo = on;
            return ok();
        };
    };
    return {
            {"AT", Route::Arguments::None, [](std::string_view) { return ok(); }},
            {"ATE0", Route::Arguments::None, echo(false)},
            {"ATE1", Route::Arguments::None, echo(true)},
    };
}

}  // namespace cover
