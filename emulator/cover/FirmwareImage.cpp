// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/cover/FirmwareImage.h"

#include <utility>

namespace cover {
namespace {

constexpr std::string_view kExtension = ".dfu";

std::string_view cutAt(std::string_view text, char sign) {
    return text.substr(0, text.find(sign));
}

}  // namespace

std::optional<std::string> versionOfImage(std::string_view fileName) {
    if (!fileName.ends_with(kExtension)) return std::nullopt;
    return std::string(fileName.substr(0, fileName.size() - kExtension.size()));
}

std::optional<std::string> chooseImage(const std::vector<std::string>& fileNames,
                                       std::string_view version) {
    const auto rank = [](std::string_view name) { return std::pair(cutAt(name, '_'), name); };
    const std::string* chosen = nullptr;
    for (const std::string& name : fileNames) {
        if (!versionOfImage(name) || cutAt(name, '-') != cutAt(version, '-')) continue;
        if (chosen == nullptr || rank(*chosen) < rank(name)) chosen = &name;
    }
    if (chosen == nullptr) return std::nullopt;
    return *chosen;
}

}  // namespace cover
