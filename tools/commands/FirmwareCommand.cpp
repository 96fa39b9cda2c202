// bivistactl firmware: the cover's firmware, the phone's images of it, and upgrades.

#include <string>

#include "tools/client/Ask.h"
#include "tools/commands/Command.h"
#include "tools/commands/Firmware.h"

namespace bivistactl {
namespace {

constexpr const char* kHelp = R"(
An upgrade is carried out by the phone's kernel: the cover leaves, comes back as a loader,
and at last with its new firmware. The service cancels it whenever the cover's serial port
goes; up to when that counts is the kernel's matter.

Examples:
  bivistactl firmware version
  bivistactl firmware check
  bivistactl firmware check --wait
  bivistactl firmware cancel)";

constexpr const char* kVersionHelp = R"(
The hardware line stands before the first "-", the version before the first "_".

Examples:
  bivistactl firmware version
  bivistactl firmware version --json)";

constexpr const char* kFileHelp = R"(
Prints the name of the image that the last check chose or, when none was of the cover's
hardware line, of the last one that it saw. No check by now, or no image: prints nothing.

Examples:
  bivistactl firmware file)";

constexpr const char* kUpgradeHelp = R"(
Has the kernel start an upgrade, whatever the versions are; "bivistactl firmware check"
compares them. "bivistactl firmware version" tells later what the cover runs.

Examples:
  bivistactl firmware upgrade)";

constexpr const char* kCancelHelp = R"(
Harmless when no upgrade is running. Up to when an upgrade can be cancelled is the kernel's
matter.

Examples:
  bivistactl firmware cancel)";

constexpr const char* kDloadHelp = R"(
The cover leaves, and comes back as a loader, which serves no other command of this program.

Examples:
  bivistactl firmware dload)";

constexpr const char* kStmDloadHelp = R"(
The cover leaves, and its STM microcontroller comes back as a loader, which serves no other
command of this program.

Examples:
  bivistactl firmware stm-dload)";

// A command that calls one method without arguments.
struct Entry {
    const char* name;
    const char* about;
    const char* help;
    const char* method;
    const char* failure;
};

constexpr Entry kOrders[] = {
        {"upgrade", "Start an upgrade", kUpgradeHelp, "doFirmwareUpgrade", kNoControlFile},
        {"cancel", "Cancel an upgrade", kCancelHelp, "cancelFirmwareUpgrade", kNoControlFile},
        {"dload", "Restart the cover into its loader", kDloadHelp, "goDload", kNotAnswered},
        {"stm-dload", "Restart its STM microcontroller into its loader", kStmDloadHelp,
         "goSTMDload", kNotAnswered},
};

void addQuery(cli::Command& firmware, const Entry& query) {
    addPrintingCommand(firmware, query.name, query.about, query.help, [query](bool json) {
        return json ? printJson(query.method, {}, query.failure)
                    : printAnswer(query.method, query.failure);
    });
}

}  // namespace

void addFirmwareCommand(cli::Command& program) {
    cli::Command& firmware = program.add("firmware", "Tell and upgrade the cover's firmware");
    firmware.setHelp(kHelp);
    addQuery(firmware,
             {"version", "Print its version", kVersionHelp, "getFirmwareVersion", kNotAnswered});
    addFirmwareCheck(firmware);
    addQuery(firmware, {"file", "Print the image that was checked last", kFileHelp,
                        "getFirmwareFile", kRefused});
    for (const Entry& order : kOrders) {
        addPrintingCommand(firmware, order.name, order.about, order.help, [&order](bool json) {
            return carryOut({order.method, {}, order.failure}, json);
        });
    }
}

}  // namespace bivistactl
