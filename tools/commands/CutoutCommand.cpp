// bivistactl cutout: the outline of the cover screen's cutout.

#include "tools/client/Ask.h"
#include "tools/commands/Command.h"
#include "tools/text/Output.h"

namespace bivistactl {
namespace {

using ::vendor::qmx::hardware::bivista::V1_0::Status;

constexpr const char* kHelp = R"(
Prints the text as the cover gave it; on a terminal, control characters are spelled
(<ESC>). The cover is asked once in the service's life, as a rule when it is attached;
the service tells what it has kept also when the cover is off.

Examples:
  bivistactl cutout
  bivistactl cutout --json)";

constexpr char kUnknown[] =
        "the cover is not attached, or did not answer yet. See \"bivistactl status\", and try "
        "again.";

int show(bool json) {
    if (json) return printJson("getCoverDisplayCutout", {}, kUnknown);
    const TextAnswer cutout = askForText(findService(), "getCoverDisplayCutout");
    if (cutout.status == Status::OK) printCoverText(cutout.text);
    return reportStatus(cutout.status, kUnknown);
}

}  // namespace

void addCutoutCommand(cli::Command& program) {
    addPrintingCommand(program, "cutout", "Print the outline of the cover screen's cutout", kHelp,
                       show);
}

}  // namespace bivistactl
