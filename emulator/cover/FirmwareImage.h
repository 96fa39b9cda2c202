// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Images of the cover's firmware on the phone, by their file names.
//
// Versions look like "LINE-KEY_rest": the text before the first "-" is the hardware line, the text
// before the first "_" the version key; without the sign, the whole text. An image's name is the
// version that it holds, and ".dfu".
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace cover {

// The version that an image holds; nothing when this is not the name of an image.
std::optional<std::string> versionOfImage(std::string_view fileName);

// The image that the phone's kernel driver writes into a cover of this version: of the cover's
// hardware line the one with the greatest key, as bytes, be it newer than the cover's or not; of
// equal keys the greatest name. Nothing when none is of that line.
std::optional<std::string> chooseImage(const std::vector<std::string>& fileNames,
                                       std::string_view version);

}  // namespace cover
