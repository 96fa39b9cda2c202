// bivistactl touch: diagnostics and self tests of the cover's touch panel.

#include <memory>
#include <string>

#include "tools/Failure.h"
#include "tools/client/Ask.h"
#include "tools/commands/Command.h"
#include "tools/text/Output.h"

namespace bivistactl {
namespace {

constexpr const char* kHelp = R"(
Texts are printed as the cover sent them; on a terminal, control characters are spelled
(<ESC>). What the cover said before it refused is printed too.

The self tests, the fetching of their results and the upgrade take as long as the cover
takes; meanwhile no other call of the service is served. The others have 5 seconds for
each line of the answer.

Examples:
  bivistactl touch fwver
  bivistactl touch selftest
  bivistactl touch perf on)";

constexpr const char* kFwverHelp = R"(
Examples:
  bivistactl touch fwver
  bivistactl touch fwver --json)";

constexpr const char* kGpioHelp = R"(
Examples:
  bivistactl touch gpio)";

constexpr const char* kSelfTestHelp = R"(
Waits for the cover without a time limit. Prints at most 1024 bytes of its verdict; the
results in full are fetched by "bivistactl touch results".

Examples:
  bivistactl touch selftest && bivistactl touch results)";

constexpr const char* kLpwgSelfTestHelp = R"(
Waits for the cover without a time limit. Prints at most 1024 bytes of its verdict.

Examples:
  bivistactl touch lpwg-selftest)";

constexpr const char* kRawdataHelp = R"(
The frame reaches the log of the service alone, line by line behind "DoRawdata:", at debug
level.

Examples:
  bivistactl touch rawdata)";

constexpr const char* kDeltaHelp = R"(
The frame reaches the log of the service alone, line by line behind "DoDelta:", at debug
level.

Examples:
  bivistactl touch delta)";

constexpr const char* kResetHelp = R"(
Examples:
  bivistactl touch reset)";

constexpr const char* kUpgradeHelp = R"(
Waits without a time limit until the cover reports success.

Examples:
  bivistactl touch upgrade && bivistactl touch fwver)";

constexpr const char* kResultsHelp = R"(
Appends them, at most 40 KB, to /data/vendor/touch/touch_module_self_test.txt on the phone.
Waits for the cover without a time limit.

Examples:
  bivistactl touch results)";

constexpr const char* kPerfHelp = R"(
Examples:
  bivistactl touch perf on
  bivistactl touch perf off)";

constexpr char kInRawdataLog[] = "the frame is in the service's log, behind \"DoRawdata:\"";
constexpr char kInDeltaLog[] = "the frame is in the service's log, behind \"DoDelta:\"";
constexpr char kInFile[] = "appended to /data/vendor/touch/touch_module_self_test.txt on the phone";

constexpr char kNotFetched[] =
        "no cover is attached, it rejected the command, or the phone's file for the results cannot "
        "be opened. The service's log tells which.";

struct Query {
    const char* name;
    const char* about;
    const char* help;
    // Of the interface.
    const char* method;
};

constexpr Query kQueries[] = {
        {"fwver", "Print the version of its firmware", kFwverHelp, "getTouchFirmwareVersion"},
        {"gpio", "Print the state of its GPIO pins", kGpioHelp, "getGpiopin"},
        {"selftest", "Run its self test", kSelfTestHelp, "getSelfTest"},
        {"lpwg-selftest", "Run the self test of its wake gestures", kLpwgSelfTestHelp,
         "getLPWGSelfTest"},
};

struct Maintenance {
    const char* name;
    const char* about;
    const char* help;
    // Of the interface.
    const char* method;
    const char* failure;
    // Told on OK, where a person would look for something; null for nothing.
    const char* outcome;
};

constexpr Maintenance kMaintenance[] = {
        {"rawdata", "Have a frame of raw data logged", kRawdataHelp, "DoRawdata", kNotAnswered,
         kInRawdataLog},
        {"delta", "Have a frame of delta data logged", kDeltaHelp, "DoDelta", kNotAnswered,
         kInDeltaLog},
        {"reset", "Reset its controller", kResetHelp, "DoTouchReset", kNotAnswered, nullptr},
        {"results", "Fetch the results of the last self test", kResultsHelp, "getTestResults",
         kNotFetched, kInFile},
        {"upgrade", "Upgrade its firmware", kUpgradeHelp, "DoTouchFirmwareUpgrade", kNotAnswered,
         nullptr},
};

int ask(const Query& query, bool json) {
    return json ? printJson(query.method, {}, kNotAnswered)
                : printAnswer(query.method, kNotAnswered);
}

int maintain(const Maintenance& work, bool json) {
    const int code = carryOut({work.method, {}, work.failure}, json);
    if (code == EXIT_ANSWERED_OK && work.outcome != nullptr) remark(work.outcome);
    return code;
}

void addPerformance(cli::Command& touch) {
    cli::Command& command = touch.add("perf", "Switch its performance mode");
    auto on = std::make_shared<bool>();
    addArgument(command, "STATE", "on or off", parseSwitch, on.get());
    command.setHelp(kPerfHelp);
    addOrder(command, [on] { return Order{"set_touch_perf", {formatBool(*on)}, kNotAnswered}; });
}

}  // namespace

void addTouchCommand(cli::Command& program) {
    cli::Command& touch = program.add("touch", "Test and maintain the cover's touch panel");
    touch.setHelp(kHelp);
    for (const Query& query : kQueries) {
        addPrintingCommand(touch, query.name, query.about, query.help,
                           [&query](bool json) { return ask(query, json); });
    }
    for (const Maintenance& work : kMaintenance) {
        addPrintingCommand(touch, work.name, work.about, work.help,
                           [&work](bool json) { return maintain(work, json); });
    }
    addPerformance(touch);
}

}  // namespace bivistactl
