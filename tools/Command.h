#pragma once

#include <CLI/CLI.hpp>
#include <functional>

namespace bivistactl {

// What the command line asks for: runs the command and returns how the program ends. May throw
// Failure.
using Action = std::function<int()>;

// Each adds its commands to the program, in the file of its name. The one that the command line
// names stores its action.
void addCallCommand(CLI::App& program, Action& chosen);
void addAtCommand(CLI::App& program, Action& chosen);
void addWatchCommand(CLI::App& program, Action& chosen);
void addStatusCommand(CLI::App& program, Action& chosen);

}  // namespace bivistactl
