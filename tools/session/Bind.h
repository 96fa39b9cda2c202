// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// A request as a call of the interface.
#pragma once

#include "tools/commands/Methods.h"
#include "tools/session/Message.h"

namespace session {

// A call of the method with the request's parameters, of which all must be given. Throws RpcError.
bivistactl::Call toCall(const bivistactl::Method& method, Json params);

// The interface's methods as JSON, one an element: {"name":...,"parameters":[{"name":...,
// "type":...}],"status":B,"value":T}, T the type of the answer's value, or null for none.
Json describeMethods();

}  // namespace session
