// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/cover/FirmwareService.h"

#include <algorithm>

namespace cover {
namespace {

constexpr size_t kModelLimit = 32;

bool isModelLetter(char c) {
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '-' ||
           c == '_';
}

Answer leaveToLoader() {
    return {.leaveTo = LoaderEntry::OnRequest};
}

}  // namespace

std::vector<Route> FirmwareService::routes() {
    using enum Route::Arguments;
    return {
            {"AT%SWV", None, [this](std::string_view) { return version(); }},
            {"AT%MODEL=", Some, [this](std::string_view model) { return setModel(model); }},
            {"AT%GODLOAD", None, [](std::string_view) { return leaveToLoader(); }},
            {"AT%GOSTMDLOAD", None, [](std::string_view) { return leaveToLoader(); }},
    };
}

Answer FirmwareService::version() const {
    return mOptions.version.empty() ? ok() : ok({mOptions.version});
}

Answer FirmwareService::setModel(std::string_view arguments) {
    if (arguments.empty() || arguments.size() > kModelLimit ||
        !std::all_of(arguments.begin(), arguments.end(), isModelLetter)) {
        return refused();
    }
    mState.model = arguments;
    return ok();
}

}  // namespace cover
