// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Values of JSON as arguments of the interface's methods. All throw BadArgument for a value of
// another type, or out of range.
#pragma once

#include <stdint.h>

#include <string>
#include <vector>

#include "tools/text/Arguments.h"
#include "tools/text/Json.h"

namespace bivistactl {

// Whole numbers, without a fraction or an exponent.
int32_t int32From(const Json& value);
uint32_t uint32From(const Json& value);
bool boolFrom(const Json& value);
std::string textFrom(const Json& value);
// An array of such numbers, at most 1 MiB, as much as a call carries.
std::vector<uint32_t> wordsFrom(const Json& value);
void requireNull(const Json& value);

}  // namespace bivistactl
