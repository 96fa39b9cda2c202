// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Words of a command line in one text.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace play {

// Split at blanks; '...' and "..." keep blanks, and may be empty. No other sign has a meaning, so
// that bytes are spelt as on any other line. Nothing when a quote does not end.
std::optional<std::vector<std::string>> split(const std::string& text);

}  // namespace play
