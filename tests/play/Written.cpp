// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "tests/play/Written.h"

#include <stdlib.h>

#include <fstream>

namespace play {

Folder::Folder() {
    std::string name = (std::filesystem::temp_directory_path() / "play.XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("no folder");
    mPath = name;
}

Folder::~Folder() {
    std::error_code ignored;
    std::filesystem::remove_all(mPath, ignored);
}

std::filesystem::path Folder::write(const std::string& name, const std::string& bytes) const {
    std::ofstream(mPath / name, std::ios::binary) << bytes;
    return mPath / name;
}

std::string withSteps(const std::string& steps) {
    return "scenario: One\nabout: Shows it.\nsteps:\n" + steps;
}

Scenario readText(const std::string& bytes) {
    const Folder folder;
    return read(folder.write("s.yaml", bytes));
}

std::string errorOf(const std::string& bytes) {
    const Folder folder;
    try {
        read(folder.write("s.yaml", bytes));
        return "";
    } catch (const Wrong& wrong) {
        const std::string what = wrong.what();
        const std::string start = folder.path().string() + "/";
        return what.starts_with(start) ? what.substr(start.size()) : what;
    }
}

std::string errorOfSteps(const std::string& steps) {
    return errorOf(withSteps(steps));
}

}  // namespace play
