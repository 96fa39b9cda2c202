// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The process between the phone and its program: the keeper. Whatever the program starts is below
// it, also after its own parents have ended, and ends with the program. When the phone is killed,
// the keeper ends the program too. When the keeper is killed, the program dies, and the phone ends
// the rest.
#pragma once

#include <sys/types.h>

namespace phone {

// Blocks the signals that attend() takes, in this thread and those that it starts later.
void blockAttendedSignals();

// Waits for the end of `child`, passes on the signals that reach this process in the meantime, and
// reaps all that ends. Returns the wait status: SIGKILL's when a keeper's phone is gone.
int attend(pid_t child);

// Kills and reaps the children of this process until it has none. Main thread only: it is the one
// that the kernel gives orphans to. A kernel that does not list children leaves them alone.
void endChildren();

// Makes the calling process, a child of `phone`, a keeper. To be called before it has a child.
void becomeKeeper(pid_t phone);
// Ends as `program` does, with nothing left below. Keeps no descriptor open.
[[noreturn]] void keep(pid_t program);

}  // namespace phone
