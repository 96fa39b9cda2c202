// bivistactl cutout: the outline of the cover screen's cutout.

#include <string>

#include "tools/Command.h"
#include "tools/Failure.h"
#include "tools/Output.h"

namespace bivistactl {
namespace {

using ::android::hardware::hidl_string;
using ::vendor::qmx::hardware::bivista::V1_0::Status;

constexpr const char* kHelp = R"(
Prints the text as the cover gave it; on a terminal, control characters are spelled
(<ESC>). The cover is asked once in the service's life, as a rule when it is attached;
the service tells what it has kept also when the cover is off.

Examples:
  bivistactl cutout)";

constexpr char kUnknown[] =
        "the cover is not attached, or did not answer yet. See \"bivistactl status\", and try "
        "again.";

int show() {
    Status status = Status::FAIL;
    std::string text;
    const auto result =
            findService()->getCoverDisplayCutout([&](Status answered, const hidl_string& cutout) {
                status = answered;
                text.assign(cutout.c_str(), cutout.size());
            });
    requireDelivered(result);
    if (status == Status::OK) printCoverText(text);
    return reportStatus(status, kUnknown);
}

}  // namespace

void addCutoutCommand(CLI::App& program, Action& chosen) {
    CLI::App* command =
            program.add_subcommand("cutout", "Print the outline of the cover screen's cutout");
    command->footer(kHelp);
    command->callback([&chosen] { chosen = show; });
}

}  // namespace bivistactl
