// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// bivistactl sub: the sub display, its power, brightness and state.

#include <nlohmann/json.hpp>
#include <string>

#include "tools/commands/Command.h"

namespace bivistactl {
namespace {

constexpr char kHelp[] = R"(
The small panel of the cover. The service switches it on when the cover is attached, and
what is drawn stays until the next picture.

Examples:
  bivistactl sub show picture.png
  bivistactl sub text "12:45"
  bivistactl sub brightness 200
  bivistactl sub off)";

constexpr char kOnHelp[] = R"(
Takes half a second, and sets the brightness to 90. The service answers FAIL when the
panel is on already.

Examples:
  bivistactl sub on)";

constexpr char kOffHelp[] = R"(
Takes half a second. A picture that was not sent yet is lost. The service answers FAIL
when the panel is off already.

Examples:
  bivistactl sub off)";

constexpr char kBrightnessHelp[] = R"(
Counts until the panel is switched on again, which sets 90.

Examples:
  bivistactl sub brightness 200)";

constexpr char kInfoHelp[] = R"(
Prints width and height in pixels, and the panel's own number for its pixel format.

Examples:
  bivistactl sub info
  bivistactl sub info --json)";

constexpr char kStateHelp[] = R"(
Prints UNINITIALIZED without a panel, INITIALIZED while it was not switched yet, then ON
or OFF.

Examples:
  bivistactl sub state
  bivistactl sub state --json)";

constexpr char kWatchHelp[] = R"(
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

int switchOn(bool json, const char* failure) {
    return order<&BivistaV1_0::setSubDisplayPowerState>(json, failure, true);
}

int switchOff(bool json, const char* failure) {
    return order<&BivistaV1_0::setSubDisplayPowerState>(json, failure, false);
}

// As printText(), but prints nothing on FAIL: the value is then an earlier one.
template <auto method, std::string (*inWords)(const Json&)>
int printInWords(bool json, const char* failure) {
    const auto answer = ask<method>(findService());
    if (!json && answer.status == Status::OK) printOrFail(inWords(toJson(answer.value)) + "\n");
    return reportAnswer<method>(answer, json, failure);
}

}  // namespace

void addSubCommand(cli::Command& program) {
    cli::Command& sub = program.add("sub", "Use the sub display, the cover's small panel", kHelp);
    addPlain(sub, {"on", "Switch it on", kOnHelp, switchOn, kNotSwitchedOn});
    addPlain(sub, {"off", "Switch it off", kOffHelp, switchOff, kNotSwitchedOff});
    addSetting<&BivistaV1_0::setSubDisplayBrightness>(
            sub.add("brightness", "Set its brightness", kBrightnessHelp), "LEVEL", "0 to 255",
            parseLevel, kNotDimmed);
    addPlain(sub, {"info", "Print its size and format", kInfoHelp,
                   printInWords<&BivistaV1_0::getSubDisplayInfo, panelInWords>, kNoPanel});
    addPlain(sub, {"state", "Print its state", kStateHelp,
                   printInWords<&BivistaV1_0::getSubDisplayPowerState, stateInWords>, kRefused});
    addSubDrawing(sub);
    addSubDisplayWatch(sub.add("watch", "Print its state whenever it changes", kWatchHelp));
}

}  // namespace bivistactl
