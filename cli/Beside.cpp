// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "cli/Beside.h"

#include <unistd.h>

#include <filesystem>

namespace cli {

std::string findBeside(const std::string& name, const std::vector<std::string>& folders) {
    const std::filesystem::path own = std::filesystem::read_symlink("/proc/self/exe").parent_path();
    for (const std::string& folder : folders) {
        const std::filesystem::path program = (own / folder / name).lexically_normal();
        if (access(program.c_str(), X_OK) == 0) return program;
    }
    return "";
}

}  // namespace cli
