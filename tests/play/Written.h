// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Scenarios that a test writes.
#pragma once

#include <filesystem>
#include <string>

#include "emulator/play/Scenario.h"

namespace play {

// A folder of its own, which goes at the end.
class Folder {
  public:
    Folder();
    ~Folder();
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;

    std::filesystem::path write(const std::string& name, const std::string& bytes) const;
    const std::filesystem::path& path() const { return mPath; }

  private:
    std::filesystem::path mPath;
};

// A scenario of one step or several, each with its "- ".
std::string withSteps(const std::string& steps);

// What the reader makes of the file "s.yaml" with these bytes. The second: its error, without the
// folder; nothing when there is none.
Scenario readText(const std::string& bytes);
std::string errorOf(const std::string& bytes);
// As errorOf(withSteps(steps)); the steps' first line is line 4.
std::string errorOfSteps(const std::string& steps);

}  // namespace play
