#include "tools/Command.h"

#include <exception>
#include <memory>
#include <string>

#include "tools/Failure.h"
#include "tools/Output.h"

namespace bivistactl {

using ::vendor::qmx::hardware::bivista::V1_0::Status;

void addPrinting(CLI::App& command, Action& chosen, const PrintingAction& action) {
    auto json = std::make_shared<bool>(false);
    addJsonFlag(command, json.get());
    command.callback(
            [action, json, &chosen] { chosen = [action, json] { return action(*json); }; });
}

void addPrintingCommand(CLI::App& parent, const char* name, const char* about, const char* help,
                        Action& chosen, const PrintingAction& action) {
    CLI::App* command = parent.add_subcommand(name, about);
    command->footer(help);
    addPrinting(*command, chosen, action);
}

void addJsonFlag(CLI::App& command, bool* json) {
    command.add_flag("--json", *json, "Print one JSON object on one line");
}

void addIdleJsonFlag(CLI::App& command) {
    command.add_flag("--json", "Changes nothing: JSON is printed in any case");
}

int runToExitStatus(const Action& action) {
    try {
        return action();
    } catch (const Failure& failure) {
        complain(failure.what());
        return failure.code;
    } catch (const std::exception& error) {
        complain(std::string("this program failed, not the service: ") + error.what() +
                 ". \"bivistactl status\" tells what was done until then.");
        return EXIT_NO_OUTPUT;
    }
}

int reportStatus(Status answered, const std::string& failure) {
    if (answered == Status::OK) return EXIT_ANSWERED_OK;
    complain("FAIL: " + failure);
    return EXIT_ANSWERED_FAIL;
}

}  // namespace bivistactl
