#include "tools/Command.h"

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
