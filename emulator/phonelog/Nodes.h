// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The control files that the service wrote, and those that it read.
#pragma once

#include "emulator/phonelog/Draft.h"

namespace phonelog {

// Of all lines but those of exchanges' answers.
void addNodes(Draft& draft);
// The writes whose lines are lost, but not those of their votes.
void addLostVotes(Draft& draft);
// Properties and the touch update state, as far as the service told what it read.
void addContents(Draft& draft);

}  // namespace phonelog
