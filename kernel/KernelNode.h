// What the writers of kernel nodes share.
#pragma once

#include <string>

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

// Truncates or creates the file and writes the bytes in one go. False, logged, only when the file
// cannot be opened. Any thread.
bool writeWhole(const std::string& path, const std::string& value);

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
