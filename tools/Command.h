#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <string>
#include <utility>

#include "tools/Arguments.h"
#include "tools/Service.h"

namespace bivistactl {

// What the command line asks for: runs the command and returns how the program ends. May throw
// Failure.
using Action = std::function<int()>;

// Each adds its commands to the program, in the file of its name. The one that the command line
// names stores its action.
void addCallCommand(CLI::App& program, Action& chosen);
void addFirmwareCommand(CLI::App& program, Action& chosen);
void addTouchCommand(CLI::App& program, Action& chosen);
void addPenCommand(CLI::App& program, Action& chosen);
void addLpwgCommand(CLI::App& program, Action& chosen);
void addAtCommand(CLI::App& program, Action& chosen);
void addWatchCommand(CLI::App& program, Action& chosen);
void addDumpCommand(CLI::App& program, Action& chosen);
void addStatusCommand(CLI::App& program, Action& chosen);
void addDoctorCommand(CLI::App& program, Action& chosen);
void addPowerCommand(CLI::App& program, Action& chosen);
void addBrightnessCommands(CLI::App& program, Action& chosen);
void addColourCommand(CLI::App& program, Action& chosen);
void addCutoutCommand(CLI::App& program, Action& chosen);
void addSubCommand(CLI::App& program, Action& chosen);
// The commands of the sub display that draw; `sub` is its command.
void addSubDrawing(CLI::App& sub, Action& chosen);

// Adds an argument that the command line must have. `parse` reads it; a text for which it throws
// BadArgument is wrong usage. `value` must live as long as the program.
template <typename T>
void addArgument(CLI::App& command, const std::string& name, const std::string& help,
                 T (*parse)(const std::string& text), T* value) {
    CLI::callback_t take = [name, parse, value](const CLI::results_t& texts) {
        try {
            *value = parse(texts.front());
        } catch (const BadArgument& bad) {
            throw CLI::ValidationError(name, bad.what());
        }
        return true;
    };
    command.add_option(name, std::move(take), help)->required();
}

// Runs the command; told whether to print JSON.
using PrintingAction = std::function<int(bool json)>;

// Adds --json to a command, and has it run the action.
void addPrinting(CLI::App& command, Action& chosen, const PrintingAction& action);
// Adds a command without arguments to its parent, in the same way.
void addPrintingCommand(CLI::App& parent, const char* name, const char* about, const char* help,
                        Action& chosen, const PrintingAction& action);
// Adds --json to a command.
void addJsonFlag(CLI::App& command, bool* json);
// The same for a command that prints JSON in any case.
void addIdleJsonFlag(CLI::App& command);

// Runs the action, tells people what it throws, and returns how the program ends: with the code of
// a Failure, else with EXIT_NO_OUTPUT.
int runToExitStatus(const Action& action);

// Has the command print the states of the sub display as they come, until ended by a signal.
void addSubDisplayWatch(CLI::App& command, Action& chosen);

// For answers of FAIL that the service's interface does not provide for.
inline constexpr char kRefused[] = "the service refused. Its log tells why.";
// For FAIL to what is a command to the cover.
inline constexpr char kNotAnswered[] =
        "no cover is attached, it does not answer, or it rejected the command. The service's log "
        "tells which.";

// How a command ends that asked the service for one thing: silently on OK; on FAIL with `failure`
// on standard error, which tells people what that means and what to do.
int reportStatus(::vendor::qmx::hardware::bivista::V1_0::Status answered,
                 const std::string& failure);

}  // namespace bivistactl
