// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/cover/Dispatcher.h"

#include <iterator>
#include <utility>

#include "emulator/cover/Text.h"

namespace cover {

void Dispatcher::add(std::vector<Route> routes) {
    std::move(routes.begin(), routes.end(), std::back_inserter(mRoutes));
}

Answer Dispatcher::dispatch(std::string_view command) const {
    const Route* found = nullptr;
    for (const Route& route : mRoutes) {
        if (!startsWithNoCase(command, route.prefix)) continue;
        if (!found || route.prefix.size() > found->prefix.size()) found = &route;
    }
    if (!found) return refused();
    const std::string_view arguments = command.substr(found->prefix.size());
    if (found->arguments == Route::Arguments::None && !arguments.empty()) return refused();
    return found->handler(arguments);
}

Answer ok() {
    return {};
}

Answer ok(std::vector<std::string> lines) {
    return {.lines = std::move(lines)};
}

Answer refused() {
    return {.ok = false};
}

}  // namespace cover
