#pragma once

#include <functional>
#include <string>

#include "cli/Command.h"
#include "tools/client/Service.h"
#include "tools/text/Arguments.h"

namespace bivistactl {

// Runs a command and returns how the program ends. May throw Failure.
using Action = cli::Command::Action;

// Each adds its commands to the program, in the file of its name.
void addCallCommand(cli::Command& program);
void addFirmwareCommand(cli::Command& program);
void addTouchCommand(cli::Command& program);
void addPenCommand(cli::Command& program);
void addLpwgCommand(cli::Command& program);
void addAtCommand(cli::Command& program);
void addWatchCommand(cli::Command& program);
void addDumpCommand(cli::Command& program);
void addStatusCommand(cli::Command& program);
void addDoctorCommand(cli::Command& program);
void addPowerCommand(cli::Command& program);
void addBrightnessCommands(cli::Command& program);
void addColourCommand(cli::Command& program);
void addCutoutCommand(cli::Command& program);
void addSubCommand(cli::Command& program);
// The commands of the sub display that draw; `sub` is its command.
void addSubDrawing(cli::Command& sub);

// Adds an argument that the command line must have. `parse` reads it; a text for which it throws
// BadArgument is wrong usage. `value` must live as long as the program.
template <typename T>
void addArgument(cli::Command& command, const std::string& name, const std::string& help,
                 T (*parse)(const std::string& text), T* value) {
    const auto take = [parse, value](const std::string& text) -> std::string {
        try {
            *value = parse(text);
        } catch (const BadArgument& bad) {
            return bad.what();
        }
        return "";
    };
    command.takeParsed(name, take, help).required();
}

// Runs the command; told whether to print JSON.
using PrintingAction = std::function<int(bool json)>;

// Adds --json to a command, and has it run the action.
void addPrinting(cli::Command& command, const PrintingAction& action);
// Adds a command without arguments to its parent, in the same way.
void addPrintingCommand(cli::Command& parent, const char* name, const char* about, const char* help,
                        const PrintingAction& action);
// Adds --json to a command.
void addJsonFlag(cli::Command& command, bool* json);
// The same for a command that prints JSON in any case.
void addIdleJsonFlag(cli::Command& command);

// Runs the action, tells people what it throws, and returns how the program ends: with the code of
// a Failure, else with EXIT_NO_OUTPUT.
int runToExitStatus(const Action& action);

// For std::set_terminate(): ends the program in the same way for what a thread throws, such as the
// HIDL transport's when it can start no other.
[[noreturn]] void endOnUncaughtException();

// Has the command print the states of the sub display as they come, until ended by a signal.
void addSubDisplayWatch(cli::Command& command);

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
