#include "tools/Command.h"

#include <memory>

#include "tools/Failure.h"
#include "tools/Output.h"

namespace bivistactl {

using ::vendor::qmx::hardware::bivista::V1_0::Status;

void addPlainCommand(CLI::App& parent, const char* name, const char* about, const char* help,
                     Action& chosen, const Action& action) {
    CLI::App* command = parent.add_subcommand(name, about);
    command->footer(help);
    command->callback([action, &chosen] { chosen = action; });
}

void addPrintingCommand(CLI::App& parent, const char* name, const char* about, const char* help,
                        Action& chosen, const std::function<int(bool json)>& action) {
    CLI::App* command = parent.add_subcommand(name, about);
    auto json = std::make_shared<bool>(false);
    addJsonFlag(*command, json.get());
    command->footer(help);
    command->callback(
            [action, json, &chosen] { chosen = [action, json] { return action(*json); }; });
}

void addJsonFlag(CLI::App& command, bool* json) {
    command.add_flag("--json", *json, "Print one JSON object on one line");
}

int reportStatus(Status answered, const std::string& failure) {
    if (answered == Status::OK) return EXIT_ANSWERED_OK;
    complain("FAIL: " + failure);
    return EXIT_ANSWERED_FAIL;
}

int reportCall(const ::android::hardware::Return<Status>& answered, const std::string& failure) {
    requireDelivered(answered);
    return reportStatus(answered, failure);
}

}  // namespace bivistactl
