// bivista-emulator ctl: speaks to the control interface of a running emulator.
#pragma once

#include <string>
#include <vector>

#include <CLI/CLI.hpp>

namespace emulator {

// Exit statuses of ctl.
inline constexpr int kRefused = 1;  // the emulator said no
inline constexpr int kUsage = 2;
inline constexpr int kNoEmulator = 3;  // there is none, or it ended

// Adds the "ctl" command with its own commands to `app`. The one that was chosen runs as soon as
// the arguments are parsed; its exit status is stored in *status.
void addCtl(CLI::App& app, int* status);

}  // namespace emulator
