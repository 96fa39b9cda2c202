// bivistactl doctor: what keeps the cover from working, and what to do about it.

#include <stdlib.h>

#include <algorithm>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>

#include "cli/Colour.h"
#include "tools/Command.h"
#include "tools/Failure.h"
#include "tools/Json.h"
#include "tools/Output.h"
#include "tools/Text.h"
#include "tools/doctor/Checks.h"

namespace bivistactl {
namespace {

using ::doctor::Finding;
using ::doctor::Findings;
using ::doctor::Tree;
using ::doctor::User;

constexpr const char* kHelp = R"(
Examines the service, the folder where it registers, the cover's USB device and nodes, who
else has these open, and whether a modem daemon would. Prints a line for each, with what
to do below a problem. Changes nothing, and asks nothing of the cover. Where the service
runs on an emulated phone, that phone's devices are examined.

Ends with 0 when all is well, and with 1 when there is a problem. Run it as the service's
user; only root sees what the programs of other users have open.

Examples:
  bivistactl doctor
  bivistactl doctor --json
  sudo bivistactl doctor --user alice)";

struct Options {
    bool json = false;
    std::string root;
    std::string user;
    // Longer than a cover that is silent keeps the service waiting.
    int patience = 6000;
};

User parseUser(const std::string& text) {
    return text.empty() ? User() : User(text);
}

// The service's own, which on an emulated phone is another than this program's.
std::string worldOf(pid_t service) {
    const std::string root = "/proc/" + std::to_string(service) + "/root";
    return service != 0 && Tree(root).exists() ? root : "/";
}

void append(Findings* findings, const Findings& more) {
    findings->insert(findings->end(), more.begin(), more.end());
}

Findings examine(const Options& options) {
    pid_t service = 0;
    Findings findings =
            doctor::examineService(std::chrono::milliseconds(options.patience), &service);
    append(&findings, doctor::examineRegistry());
    const User user = parseUser(options.user);
    const Tree machine(options.root.empty() ? "/" : options.root);
    const Tree world(options.root.empty() ? worldOf(service) : options.root);
    append(&findings, doctor::examineCover({machine, world, user, service}));
    findings.push_back(doctor::examineModemDaemon(machine));
    return findings;
}

std::string verdict(bool ok) {
    return ok ? cli::inColour(cli::Colour::GOOD, "ok", STDOUT_FILENO) + "       "
              : cli::inColour(cli::Colour::BAD, "problem", STDOUT_FILENO) + "  ";
}

std::string inWords(const Findings& findings) {
    std::string text;
    for (const Finding& finding : findings) {
        text += verdict(finding.ok) + finding.check + ": " + spellControls(finding.what) + "\n";
        if (!finding.ok) text += "         " + spellControls(finding.remedy) + "\n";
    }
    return text;
}

std::string inJson(const Findings& findings, bool healthy) {
    Json list = Json::array();
    for (const Finding& finding : findings) {
        Json entry = {{"check", finding.check}, {"ok", finding.ok}, {"what", finding.what}};
        if (!finding.ok) entry["remedy"] = finding.remedy;
        list.push_back(entry);
    }
    return toLine({{"ok", healthy}, {"findings", list}}) + "\n";
}

int report(const Options& options) {
    const Findings findings = examine(options);
    const bool healthy = std::all_of(findings.begin(), findings.end(),
                                     [](const Finding& finding) { return finding.ok; });
    printOrFail(options.json ? inJson(findings, healthy) : inWords(findings));
    return healthy ? EXIT_ANSWERED_OK : EXIT_ANSWERED_FAIL;
}

// A thread may still wait for the service, also when the report failed.
[[noreturn]] int reportAndEnd(const Options& options) {
    quick_exit(runToExitStatus([&] { return report(options); }));
}

}  // namespace

void addDoctorCommand(cli::Command& program) {
    cli::Command& command =
            program.add("doctor", "Find out what is wrong, and what to do about it");
    auto options = std::make_shared<Options>();
    addJsonFlag(command, &options->json);
    command.take("--user", &options->user,
                 "Whose rights to the nodes count, by name or number; yours by default")
            .check([](const std::string& text) -> std::string {
                try {
                    parseUser(text);
                    return "";
                } catch (const BadArgument& bad) {
                    return bad.what();
                }
            });
    // For tests.
    command.take("--root", &options->root, "").hidden();
    command.take("--patience-ms", &options->patience, "").hidden();
    command.setHelp(kHelp);
    command.setAction([options] { return reportAndEnd(*options); });
}

}  // namespace bivistactl
