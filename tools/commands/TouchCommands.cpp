// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// bivistactl touch, pen, lpwg: the cover's touch panel, its pen and its wake gestures.

#include <string>

#include "tools/ExitStatus.h"
#include "tools/commands/Command.h"

namespace bivistactl {
namespace {

using ::vendor::qmx::hardware::bivista::V1_0::LpwgStatus;

constexpr char kTouchHelp[] = R"(
Texts are printed as the cover sent them; on a terminal, control characters are spelled
(<ESC>). Text that the cover sent before it refused is printed too.

The self tests, the fetching of their results and the upgrade take as long as the cover
takes; meanwhile no other call of the service is served. The others have 5 seconds for
each line of the answer.

Examples:
  bivistactl touch fwver
  bivistactl touch selftest
  bivistactl touch perf on)";

constexpr char kSelfTestHelp[] = R"(
Waits for the cover without a time limit. Prints at most 1024 bytes of its verdict; the
results in full are fetched by "bivistactl touch results".

Examples:
  bivistactl touch selftest && bivistactl touch results)";

constexpr char kLpwgSelfTestHelp[] = R"(
Waits for the cover without a time limit. Prints at most 1024 bytes of its verdict.

Examples:
  bivistactl touch lpwg-selftest)";

constexpr char kRawdataHelp[] = R"(
The frame reaches the log of the service alone, line by line after "DoRawdata:", at debug
level.

Examples:
  bivistactl touch rawdata)";

constexpr char kDeltaHelp[] = R"(
The frame reaches the log of the service alone, line by line after "DoDelta:", at debug
level.

Examples:
  bivistactl touch delta)";

constexpr char kUpgradeHelp[] = R"(
Waits without a time limit until the cover reports success.

Examples:
  bivistactl touch upgrade && bivistactl touch fwver)";

constexpr char kResultsHelp[] = R"(
Appends them, at most 40 KB, to /data/vendor/touch/touch_module_self_test.txt on the phone.
Waits for the cover without a time limit.

Examples:
  bivistactl touch results)";

constexpr char kPenHelp[] = R"(
Pen events are printed by "bivistactl watch lpwg".

Examples:
  bivistactl pen aes 1
  bivistactl watch lpwg)";

constexpr char kAesHelp[] = R"(
Switches the three places that hold the mode: the cover, the phone's kernel and the
phone's LPWG service. The answer is the cover's; the other two are switched also when the
cover refuses. --cover-only switches the cover alone.

Examples:
  bivistactl pen aes 1
  bivistactl pen aes --cover-only 2)";

constexpr char kLpwgHelp[] = R"(
The gestures themselves are printed by "bivistactl watch lpwg", the cover's test of them
by "bivistactl touch lpwg-selftest".

Examples:
  bivistactl lpwg status 1 0
  bivistactl watch lpwg)";

constexpr char kStatusHelp[] = R"(
The two numbers go to the cover as they are; what they mean is its firmware's matter.

Examples:
  bivistactl lpwg status 1 0
  bivistactl lpwg status 2 -1)";

constexpr char kNotFetched[] =
        "no cover is attached, it rejected the command, or the phone's file for the results cannot "
        "be opened. The service's log tells which.";

// As order(). On OK it also prints where a person finds the result.
template <auto method>
int orderAndSay(bool json, const char* failure, const char* where) {
    const int code = order<method>(json, failure);
    if (code == EXIT_ANSWERED_OK) remark(where);
    return code;
}

int logRawdata(bool json, const char* failure) {
    return orderAndSay<&BivistaV1_0::DoRawdata>(
            json, failure, "the frame is in the service's log, after \"DoRawdata:\"");
}

int logDelta(bool json, const char* failure) {
    return orderAndSay<&BivistaV1_0::DoDelta>(
            json, failure, "the frame is in the service's log, after \"DoDelta:\"");
}

int fetchResults(bool json, const char* failure) {
    return orderAndSay<&BivistaV1_0::getTestResults>(
            json, failure,
            "appended to /data/vendor/touch/touch_module_self_test.txt on the phone");
}

constexpr Plain kTouch[] = {
        {"fwver", "Print the version of its firmware",
         "\nExamples:\n  bivistactl touch fwver\n  bivistactl touch fwver --json",
         printText<&BivistaV1_0::getTouchFirmwareVersion>},
        {"gpio", "Print the state of its GPIO pins", "\nExamples:\n  bivistactl touch gpio",
         printText<&BivistaV1_0::getGpiopin>},
        {"selftest", "Run its self test", kSelfTestHelp, printText<&BivistaV1_0::getSelfTest>},
        {"lpwg-selftest", "Run the self test of its wake gestures", kLpwgSelfTestHelp,
         printText<&BivistaV1_0::getLPWGSelfTest>},
        {"rawdata", "Have a frame of raw data logged", kRawdataHelp, logRawdata},
        {"delta", "Have a frame of delta data logged", kDeltaHelp, logDelta},
        {"reset", "Reset its controller", "\nExamples:\n  bivistactl touch reset",
         order<&BivistaV1_0::DoTouchReset>},
        {"results", "Fetch the results of the last self test", kResultsHelp, fetchResults,
         kNotFetched},
        {"upgrade", "Upgrade its firmware", kUpgradeHelp,
         order<&BivistaV1_0::DoTouchFirmwareUpgrade>},
};

uint32_t parseAesMode(const std::string& text) {
    const uint32_t mode = parseUint32(text);
    // The service would take any other number for 2.
    if (mode == 1 || mode == 2) return mode;
    throw BadArgument("\"" + text + "\" is neither 1 nor 2");
}

void addPen(cli::Command& program) {
    cli::Command& pen = program.add("pen", "Set the pen's mode", kPenHelp);
    cli::Command& command = pen.add("aes", "Set the AES mode", kAesHelp);
    const auto mode = addArgument(command, "MODE", "1 or 2", parseAesMode);
    const auto coverOnly = addFlag(command, "--cover-only", "Switch the cover alone");
    addPrinting(command, [mode, coverOnly](bool json) {
        return *coverOnly ? order<&BivistaV1_1::setAesMode>(json, kNotAnswered, *mode)
                          : order<&BivistaV1_1::manageAesMode>(json, kNotAnswered, *mode);
    });
}

void addLpwg(cli::Command& program) {
    cli::Command& lpwg = program.add("lpwg", "Set the low-power wake gestures", kLpwgHelp);
    cli::Command& command = lpwg.add("status", "Pass a setting to the cover", kStatusHelp);
    const auto type = addArgument(command, "TYPE", "Any 32-bit number", parseInt32);
    const auto value = addArgument(command, "VALUE", "Any 32-bit number", parseInt32);
    addPrinting(command, [type, value](bool json) {
        return order<&BivistaV1_0::setStatus>(json, kNotAnswered, LpwgStatus{*type, *value});
    });
}

}  // namespace

void addTouchCommands(cli::Command& program) {
    cli::Command& touch =
            program.add("touch", "Test and maintain the cover's touch panel", kTouchHelp);
    for (const Plain& command : kTouch) addPlain(touch, command);
    addSetting<&BivistaV1_1::set_touch_perf>(
            touch.add("perf", "Switch its performance mode",
                      "\nExamples:\n  bivistactl touch perf on\n  bivistactl touch perf off"),
            "STATE", "on or off", parseSwitch, kNotAnswered);
    addPen(program);
    addLpwg(program);
}

}  // namespace bivistactl
