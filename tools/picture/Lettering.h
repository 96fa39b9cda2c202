// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

#include "tools/picture/Picture.h"

namespace picture {

// DejaVu Sans, where Debian's package fonts-dejavu-core puts it.
inline constexpr char kDefaultFont[] = "/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf";

// The text in one line, white on black and centred: as large as the width allows, but at most a
// third of the height. Letters stand side by side as they come, so a script that joins or reorders
// them looks wrong. Throws NoPicture for a text that would not be legible in that size, and for a
// font file that cannot be used. When the font lacks a letter, NoPicture names the letter.
Picture letter(std::u32string_view text, const std::string& font, Size size);

}  // namespace picture
