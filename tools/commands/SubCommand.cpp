// bivistactl sub: the sub display, its power, brightness and state.

#include <memory>
#include <nlohmann/json.hpp>
#include <string>

#include "tools/Failure.h"
#include "tools/client/Ask.h"
#include "tools/commands/Command.h"
#include "tools/commands/SubDisplay.h"
#include "tools/text/Output.h"

namespace bivistactl {
namespace {

using ::vendor::qmx::hardware::bivista::V1_0::Status;
using ::vendor::qmx::hardware::bivista::V1_0::SubScreenInfo;
using ::vendor::qmx::hardware::bivista::V1_0::SubScreenState;

constexpr const char* kHelp = R"(
The small panel of the cover. The service switches it on when the cover is attached, and
what is drawn stays until the next picture.

Examples:
  bivistactl sub show picture.png
  bivistactl sub text "12:45"
  bivistactl sub brightness 200
  bivistactl sub off)";

constexpr const char* kOnHelp = R"(
Takes half a second, and sets the brightness to 90. The service answers FAIL when the
panel is on already.

Examples:
  bivistactl sub on)";

constexpr const char* kOffHelp = R"(
Takes half a second. A picture that was not sent yet is lost. The service answers FAIL
when the panel is off already.

Examples:
  bivistactl sub off)";

constexpr const char* kBrightnessHelp = R"(
Counts until the panel is switched on again, which sets 90.

Examples:
  bivistactl sub brightness 200)";

constexpr const char* kInfoHelp = R"(
Prints width and height in pixels, and the panel's own number for its pixel format.

Examples:
  bivistactl sub info
  bivistactl sub info --json)";

constexpr const char* kStateHelp = R"(
Prints UNINITIALIZED without a panel, INITIALIZED while it was not switched yet, then ON
or OFF.

Examples:
  bivistactl sub state
  bivistactl sub state --json)";

constexpr const char* kWatchHelp = R"(
The same as "bivistactl watch sub": one JSON object for each change, until Ctrl-C.

Examples:
  bivistactl sub watch | jq --unbuffered .state)";

constexpr char kNotSwitchedOn[] =
        "there is no panel, it refused, or it is on already. See \"bivistactl sub state\"; the "
        "service's log tells which.";
constexpr char kNotSwitchedOff[] =
        "there is no panel, it refused, or it is off already. See \"bivistactl sub state\"; the "
        "service's log tells which.";
constexpr char kNotDimmed[] =
        "there is no panel, or it refused. See \"bivistactl sub state\"; the service's log tells "
        "which.";

int switchPanel(bool on, bool json) {
    return carryOut(
            {"setSubDisplayPowerState", {formatBool(on)}, on ? kNotSwitchedOn : kNotSwitchedOff},
            json);
}

int printInfo(bool json) {
    if (json) return printJson("getSubDisplayInfo", {}, kNoPanel);
    Status status = Status::FAIL;
    Json info;
    requireDelivered(
            findService()->getSubDisplayInfo([&](Status answered, const SubScreenInfo& panel) {
                status = answered;
                info = toJson(panel);
            }));
    // With FAIL comes the panel that was there before.
    if (status == Status::OK) printOrFail(panelInWords(info) + "\n");
    return reportStatus(status, kNoPanel);
}

int printState(bool json) {
    if (json) return printJson("getSubDisplayPowerState", {}, kRefused);
    Status status = Status::FAIL;
    Json state;
    requireDelivered(
            findService()->getSubDisplayPowerState([&](Status answered, SubScreenState current) {
                status = answered;
                state = toJson(current);
            }));
    if (status == Status::OK) printOrFail(stateInWords(state) + "\n");
    return reportStatus(status, kRefused);
}

void addBrightness(cli::Command& sub) {
    cli::Command& command = sub.add("brightness", "Set its brightness");
    auto level = std::make_shared<int32_t>();
    addArgument(command, "LEVEL", "0 to 255", parseLevel, level.get());
    command.setHelp(kBrightnessHelp);
    addOrder(command, [level] {
        return Order{"setSubDisplayBrightness", {std::to_string(*level)}, kNotDimmed};
    });
}

}  // namespace

void addSubCommand(cli::Command& program) {
    cli::Command& sub = program.add("sub", "Use the sub display, the cover's small panel");
    sub.setHelp(kHelp);
    addPrintingCommand(sub, "on", "Switch it on", kOnHelp,
                       [](bool json) { return switchPanel(true, json); });
    addPrintingCommand(sub, "off", "Switch it off", kOffHelp,
                       [](bool json) { return switchPanel(false, json); });
    addBrightness(sub);
    addPrintingCommand(sub, "info", "Print its size and format", kInfoHelp, printInfo);
    addPrintingCommand(sub, "state", "Print its state", kStateHelp, printState);
    addSubDrawing(sub);
    cli::Command& watch = sub.add("watch", "Print its state whenever it changes");
    watch.setHelp(kWatchHelp);
    addSubDisplayWatch(watch);
}

}  // namespace bivistactl
