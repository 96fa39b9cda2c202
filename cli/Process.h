// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// What a program does before anything else.
#pragma once

namespace cli {

// Makes the program independent of how it was started. To be called first in main().
// - Takes the numbers of standard descriptors that the caller has closed. A connection that got one
//   of them would receive what is printed. Using them fails as before.
// - SIGINT and SIGTERM end the program again where the caller had them ignored or blocked, as for a
//   job in the background of a script.
void beginProcess();

}  // namespace cli
