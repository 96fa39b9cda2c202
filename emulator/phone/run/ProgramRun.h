// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// What the commands have in common that run a program on a phone of this process.
#pragma once

#include <functional>
#include <string>

#include <sys/types.h>

#include "emulator/phone/backend/Backend.h"

namespace phone {
class Journal;
}  // namespace phone

namespace run {

// How these commands name themselves on standard error.
inline constexpr char kProgram[] = "bivista-emulator";

// What a phone stands on.
struct Ground {
    // Takes this process there, while it has one thread. Throws phone::Error when that cannot be.
    std::function<void()> enter;
    // The phone's devices there.
    phone::MakeBackend makeBackend;
};

// Exit status of a run whose phone could not be made, or failed.
inline constexpr int kPhoneFailed = 125;
// Exit status when the program could not be started.
inline constexpr int kProgramFailed = 127;

// Throws phone::Error when the world hides a path that is to be used in it; "" is none. `what` is
// as in "the journal".
void refuseHidden(const std::string& path, const char* what);
// The same for a program, whose bare name is looked up in PATH.
void refuseHiddenProgram(const std::string& program);

// Takes this process into a world of its own. Signals are attended to from then on, and what the
// program leaves behind comes to this process. Throws phone::Error when that is forbidden here.
void enterWorld();

// What the program inherits: the registry's folder, and no properties but the phone's.
void setEnvironment(const std::string& registry);

// Starts the program with `spawn`, waits for its end and ends what it leaves. Returns its exit
// status (128 + signal when one ended it), or kProgramFailed, which standard error explains.
// `started` is called in between, with its keeper; `ended` after its end, before all other children
// of this process are killed.
int runProgram(const std::function<pid_t()>& spawn, const std::function<void(pid_t)>& started,
               const std::function<void()>& ended);

// Says so when the journal's file is not whole.
void tellOfLostJournal(const phone::Journal& journal, const std::string& file);

// Does the work, and returns its result; or kPhoneFailed when it throws, also on another thread,
// which standard error explains. Once a process.
int guard(const std::function<int()>& work);

}  // namespace run
