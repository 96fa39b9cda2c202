// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace phone {

// The service that was built or installed with this program. Throws Error when there is none.
std::string findService();

}  // namespace phone
