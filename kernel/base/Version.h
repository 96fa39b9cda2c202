// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The version of the project. CMakeLists.txt reads it here: programs, packages and the debug dump
// have the same one.
#pragma once

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

inline constexpr char kVersion[] = "1.1.0";

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
