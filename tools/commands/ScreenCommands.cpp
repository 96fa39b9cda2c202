// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// bivistactl power, brightness, offset, colour, cutout: the cover screen.

#include <strings.h>

#include <string>

#include "tools/commands/Command.h"

namespace bivistactl {
namespace {

using ::android::hardware::hidl_enum_range;
using ::vendor::qmx::hardware::bivista::V1_0::ScreenMode;

constexpr char kPowerHelp[] = R"(
Switching on waits until the cover reports its screen, half a second at most; longer
when the cover answers late. A request is carried out also when the screen is in that
state already.

Examples:
  bivistactl power on
  bivistactl power off --uevent)";

constexpr char kBrightnessHelp[] = R"(
The service queues the level and answers at once, also without a cover, and also for a
level that it then drops, which is why others than these are refused here. Of a burst it
sends the newest 20. An offset in force changes what is sent ("bivistactl offset").

Examples:
  bivistactl brightness 128
  for level in 0 64 128 192 255; do bivistactl brightness $level; done)";

constexpr char kOffsetHelp[] = R"(
Shifts the brightness of the cover screen by twice N, within 10 to 255, and sends the
current level again. A positive offset counts for that one level; a negative one stays
in force, with low levels compressed instead of cut. 0 is no offset.

100 is no offset but a one-shot command: the next level is shifted in full by the offset
in force, and nothing is sent now. It is that only while the screen is on; otherwise 100
is kept as an offset like any other number.

Examples:
  bivistactl offset -20
  bivistactl offset 100
  bivistactl offset 0)";

constexpr char kColourHelp[] = R"(
What differs from the setting before is sent to the cover: at once while its screen is
on, else when it is switched on. The service answers OK either way.

Examples:
  bivistactl colour mode MODE_1
  bivistactl colour rgb 2 0 0 0
  bivistactl colour tune 2 2 2)";

constexpr char kModeHelp[] = R"(
Names: DEFAULT, MODE_1, MODE_2, MODE_3, in any case. Other numbers go to the cover as
they are.

Examples:
  bivistactl colour mode MODE_2
  bivistactl colour mode 7)";

constexpr char kRgbHelp[] = R"(
The numbers go to the cover as they are; after attachment it has 2 0 0 0. A change of D
alone is not sent when the screen is switched on.

Examples:
  bivistactl colour rgb 1 20 30 40
  bivistactl colour rgb 2 0 0 0)";

constexpr char kTuneHelp[] = R"(
The numbers go to the cover as they are; after attachment it has 2 2 2.

Examples:
  bivistactl colour tune 1 2 3
  bivistactl colour tune 2 2 2)";

constexpr char kCutoutHelp[] = R"(
Prints the text as the cover gave it; on a terminal, control characters are spelled
(<ESC>). The service asks the cover once in its life, as a rule when the cover is
attached, and prints the kept text also when the cover is off.

Examples:
  bivistactl cutout
  bivistactl cutout --json)";

constexpr char kNotSwitchedOn[] =
        "the cover refused, is not attached, or its screen did not come up. See \"bivistactl "
        "status\"; the service's log tells which.";
constexpr char kNotSwitchedOff[] =
        "the cover refused, or is not attached. See \"bivistactl status\"; the service's log tells "
        "which.";
constexpr char kScreenOff[] =
        "the cover screen is off. The offset is kept, for the levels to come; switch the screen on "
        "with \"bivistactl power on\".";
constexpr char kNoCutout[] =
        "the cover is not attached, or did not answer yet. See \"bivistactl status\", and try "
        "again.";

void addPower(cli::Command& program) {
    cli::Command& command = program.add("power", "Switch the cover screen on or off", kPowerHelp);
    const auto on = addArgument(command, "STATE", "on or off", parseSwitch);
    const auto uevent = addFlag(command, "--uevent",
                                "Report to the phone's display driver that a uevent asked for it");
    addPrinting(command, [on, uevent](bool json) {
        return order<&BivistaV1_0::setPowerStatus>(json, *on ? kNotSwitchedOn : kNotSwitchedOff,
                                                   *on, *uevent);
    });
}

ScreenMode parseMode(const std::string& text) {
    std::string names;
    for (const ScreenMode mode : hidl_enum_range<ScreenMode>()) {
        const std::string name = toString(mode);
        if (strcasecmp(text.c_str(), name.c_str()) == 0) return mode;
        names += (names.empty() ? "" : ", ") + name;
    }
    try {
        return static_cast<ScreenMode>(parseInt32(text));
    } catch (const BadArgument& bad) {
        throw BadArgument(bad.what() + (", nor a name: " + names));
    }
}

// A number that only the cover's firmware understands: the service passes it on.
auto addNumber(cli::Command& command, const char* name) {
    return addArgument(command, name, "0 to 4294967295", parseUint32);
}

void addRgb(cli::Command& colour) {
    cli::Command& command = colour.add("rgb", "Set the colour tuning", kRgbHelp);
    const auto a = addNumber(command, "A");
    const auto b = addNumber(command, "B");
    const auto c = addNumber(command, "C");
    const auto d = addNumber(command, "D");
    addPrinting(command, [=](bool json) {
        return order<&BivistaV1_0::setRgbTune>(json, kRefused, *a, *b, *c, *d);
    });
}

void addTune(cli::Command& colour) {
    cli::Command& command = colour.add("tune", "Set the screen tuning", kTuneHelp);
    const auto a = addNumber(command, "A");
    const auto b = addNumber(command, "B");
    const auto c = addNumber(command, "C");
    addPrinting(command, [=](bool json) {
        // The service ignores the fourth.
        return order<&BivistaV1_0::setScreenTune>(json, kRefused, *a, *b, *c, 0u);
    });
}

int printCutout(bool json, const char* failure) {
    const auto cutout = ask<&BivistaV1_0::getCoverDisplayCutout>(findService());
    if (!json && cutout.status == Status::OK) printCoverText(cutout.value);
    return reportAnswer<&BivistaV1_0::getCoverDisplayCutout>(cutout, json, failure);
}

}  // namespace

void addScreenCommands(cli::Command& program) {
    addPower(program);
    addSetting<&BivistaV1_0::setBrightness>(
            program.add("brightness", "Set the brightness of the cover screen", kBrightnessHelp),
            "LEVEL", "0 to 255", parseLevel, kRefused);
    addSetting<&BivistaV1_0::setBVBrightnessOffset>(
            program.add("offset", "Shift the cover screen's brightness relative to the phone's",
                        kOffsetHelp),
            "N", "Any 32-bit number; 100 is a command of its own", parseInt32, kScreenOff);
    cli::Command& colour = program.add("colour", "Set the cover screen's colours", kColourHelp);
    colour.alias("color");
    addSetting<&BivistaV1_0::setScreenMode>(colour.add("mode", "Set the colour mode", kModeHelp),
                                            "MODE", "Name or number of the mode", parseMode,
                                            kRefused);
    addRgb(colour);
    addTune(colour);
    addPlain(program, {"cutout", "Print the outline of the cover screen's cutout", kCutoutHelp,
                       printCutout, kNoCutout});
}

}  // namespace bivistactl
