// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Access to kernel attribute files. Any thread; no lock, no retry. The functions differ in their
// checks, in the priority of their log lines and in their results.
#pragma once

#include <cstdint>
#include <string>

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

// The work of Bivista's members of the same names. kernel/Bivista.h lists results and errors.
namespace node {

bool isExist(const std::string& path);
bool isReadable(const std::string& path);
int32_t readString(const std::string& path, std::string& out);
int32_t writeInt32(const std::string& path, int32_t value);
bool writeString(const std::string& path, const std::string& value);

}  // namespace node

// As node::writeString, but logs its line as an error.
bool writeNode(const std::string& path, const std::string& value);

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
