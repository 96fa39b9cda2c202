// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#pragma once

#include <filesystem>

namespace phone {

// How many descriptors of all processes are open on this file of a devpts, duplicates included.
// Looks through /proc, so it is for rare occasions.
int countDescriptors(const std::filesystem::path& pty);

}  // namespace phone
