// bivistactl firmware: the cover's firmware, the phone's images of it, and upgrades.

#include <string>

#include "tools/Ask.h"
#include "tools/Command.h"
#include "tools/Json.h"
#include "tools/Methods.h"
#include "tools/Output.h"
#include "tools/Text.h"

namespace bivistactl {
namespace {

using ::vendor::qmx::hardware::bivista::V1_0::Status;

constexpr const char* kHelp = R"(
An upgrade is carried out by the phone's kernel: the cover leaves, comes back as a loader,
and at last with its new firmware. The service cancels it whenever the cover's serial port
goes; up to when that counts is the kernel's matter.

Examples:
  bivistactl firmware version
  bivistactl firmware check
  bivistactl firmware cancel)";

constexpr const char* kVersionHelp = R"(
The hardware line stands before the first "-", the version before the first "_".

Examples:
  bivistactl firmware version
  bivistactl firmware version --json)";

constexpr const char* kCheckHelp = R"(
Compares the cover's version with the phone's images of its hardware line, and has an
upgrade started when one is newer. Prints both:
  cover         LINE-1_a
  image         LINE-1_b.dfu
  result        the cover is current
The service answers FAIL when the check failed, but also when it started an upgrade. Which
of the two are possible is told then; "bivistactl firmware version" tells later what the
cover runs. Versions are compared as texts: LINE-10 is older than LINE-9.

--json has the image null where there is none, and tells by "mayHaveStarted" whether an
upgrade can have been started. Where nothing was checked it prints nothing.

Examples:
  bivistactl firmware check
  bivistactl firmware check --json)";

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

constexpr char kNoControlFile[] =
        "the phone's kernel does not take orders for upgrades. The service's log tells why.";
constexpr char kNotChecked[] =
        "nothing was checked: no cover is attached, it does not answer, or it rejected the "
        "question for its version. The service's log tells which.";
constexpr char kNotStarted[] =
        "the check failed, and no upgrade was started: the phone has only images of other hardware "
        "lines, they cannot be listed, or the cover did not answer. The service's log tells which.";
constexpr char kStartedOrFailed[] =
        "either an upgrade to this image was started, or the check failed: the cover did not "
        "answer, or the phone's images cannot be listed, and the image is that of an earlier "
        "check. The service's log tells which; \"bivistactl firmware version\" tells later what "
        "the cover runs.";

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

std::string hardwareLine(const std::string& version) {
    return version.substr(0, version.find('-'));
}

// An upgrade is started to an image of the cover's own line alone, and that is the last one then.
// An empty version is that of a cover which hung up, and may have told it by the time of the check.
bool mayHaveStarted(const std::string& version, const std::string& image) {
    if (image.empty()) return false;
    return version.empty() || hardwareLine(image) == hardwareLine(version);
}

std::string checkInWords(Status checked, const std::string& version, const std::string& image) {
    std::string table = row("cover", spellControls(version)) +
                        row("image", image.empty() ? "none" : spellControls(image));
    if (checked == Status::OK) {
        table += row("result", image.empty() ? "the phone has no image" : "the cover is current");
    }
    return table;
}

std::string checkInJson(Status checked, const std::string& version, const std::string& image,
                        bool mayHaveStarted) {
    return toLine({{"cover", version},
                   {"image", image.empty() ? Json() : Json(image)},
                   {"status", toJson(checked)},
                   {"mayHaveStarted", mayHaveStarted}}) +
           "\n";
}

int reportCheck(Status checked, const std::string& version, const std::string& image, bool json) {
    const bool started = checked != Status::OK && mayHaveStarted(version, image);
    printOrFail(json ? checkInJson(checked, version, image, started)
                     : checkInWords(checked, version, image));
    return reportStatus(checked, started ? kStartedOrFailed : kNotStarted);
}

int check(bool json) {
    const auto service = findService();
    // Asked first: an upgrade takes the cover away.
    const TextAnswer version = askForText(service, "getFirmwareVersion");
    if (version.status != Status::OK) return reportStatus(version.status, kNotChecked);
    const Status checked = ask(service, "checkFirmwareVersion").status.value();
    const TextAnswer image = askForText(service, "getFirmwareFile");
    if (image.status != Status::OK) return reportStatus(image.status, kRefused);
    return reportCheck(checked, version.text, image.text, json);
}

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
    addPrintingCommand(firmware, "check", "Upgrade it when the phone has a newer image", kCheckHelp,
                       check);
    addQuery(firmware, {"file", "Print the image that was checked last", kFileHelp,
                        "getFirmwareFile", kRefused});
    for (const Entry& order : kOrders) {
        addPrintingCommand(firmware, order.name, order.about, order.help, [&order](bool json) {
            return carryOut({order.method, {}, order.failure}, json);
        });
    }
}

}  // namespace bivistactl
