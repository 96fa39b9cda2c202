// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// bivistactl firmware check: asks for an upgrade of the cover when the phone has a newer image, and
// follows the upgrade.

#include <math.h>
#include <stdio.h>

#include <chrono>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include "tools/ExitStatus.h"
#include "tools/client/Dump.h"
#include "tools/commands/Command.h"
#include "tools/commands/UpgradeWait.h"
#include "tools/text/Text.h"

namespace bivistactl {
namespace {

using ::android::sp;
using std::chrono::seconds;

constexpr char kHelp[] = R"(
Compares the cover's version with the phone's images of its hardware line, and has an
upgrade started when one is newer. Prints both:
  cover         LINE-1_a
  image         LINE-1_b.dfu
  result        the upgrade was started
Ends with 0 when the upgrade was started, and when the cover is current. The service itself
answers FAIL also when it started an upgrade, which --json shows. This command reads from
the service's debug dump which of both it was. Versions are compared as texts: LINE-10 is
older than LINE-9.

--wait follows the upgrade, with the seconds since its start:
  started       0.0 s
  cover gone    1.2 s
  loader seen   1.8 s
  cover back    34.5 s, LINE-1_b
A phase that passes unseen is left out. The command ends with 1 when the cover is not back
in time, or came back with the version that it had. It waits for 300 seconds, which should
do for any upgrade, unless --timeout gives another time. Ctrl-C ends the wait, not the
upgrade.

With --json, "image" is null where there is none, and "started" is null where the dump does
not show it. With --wait the object is printed at the end, with the phases, also when the
service dies. Where nothing was checked, nothing is printed.

Examples:
  bivistactl firmware check
  bivistactl firmware check --wait --timeout 600
  bivistactl firmware check --wait --json)";

constexpr char kNotChecked[] =
        "nothing was checked: no cover is attached, it does not answer, its port hung up, or it "
        "rejected the question for its version. The service's log tells which.";
constexpr char kNotStarted[] =
        "the check failed, and no upgrade was started: the phone has only images of other hardware "
        "lines, they cannot be listed, or the cover did not answer. The service's log tells which.";
constexpr char kStartedOrFailed[] =
        "either an upgrade was started, or the check failed: the service's dump does not tell "
        "which. Its log does; \"bivistactl firmware version\" tells later what the cover runs.";

constexpr int kDay = 24 * 60 * 60;

enum class Outcome { CURRENT, STARTED, NOT_ORDERED, REFUSED, UNKNOWN };

// The result of a check, from the service's answer and its dumps.
struct Check {
    std::string version;
    std::string image;
    Status answered;
    Outcome outcome;
    // The dump of when the check was over; none when the cover is current.
    std::optional<Dump> dump;
};

// The upgrade, if any, that the service ordered during a check that it answered with FAIL. One dump
// is from before the check, the other from after it.
Outcome outcomeOf(const Dump& before, const Dump& after) {
    constexpr DumpMember kOrders = {"upgrade", "orders"};
    const std::optional<int64_t> first = before.number(kOrders);
    const std::optional<int64_t> last = after.number(kOrders);
    if (!first || !last) return Outcome::UNKNOWN;
    if (*first == *last) return Outcome::NOT_ORDERED;
    // Another order came since, such as a cancel.
    if (after.text({"upgrade", "order"}) != "UPGRADE") return Outcome::UNKNOWN;
    return after.text({"upgrade", "status"}) == "OK" ? Outcome::STARTED : Outcome::REFUSED;
}

Check checkAndExplain(const sp<BivistaV1_0>& service, const std::string& version) {
    Check check = {version, "", Status::FAIL, Outcome::CURRENT, {}};
    const Dump before = Dump::of(service);
    check.answered = ask<&BivistaV1_0::checkFirmwareVersion>(service);
    if (check.answered != Status::OK) {
        check.dump = Dump::of(service);
        check.outcome = outcomeOf(before, *check.dump);
    }
    const auto image = ask<&BivistaV1_0::getFirmwareFile>(service);
    if (image.status != Status::OK) throw Failure(EXIT_ANSWERED_FAIL, kRefused);
    check.image = image.value;
    return check;
}

std::string inWords(const Check& check) {
    std::string table = row("cover", spellControls(check.version)) +
                        row("image", check.image.empty() ? "none" : spellControls(check.image));
    if (check.outcome == Outcome::STARTED) table += row("result", "the upgrade was started");
    if (check.outcome == Outcome::CURRENT) {
        table += row("result",
                     check.image.empty() ? "the phone has no image" : "the cover is current");
    }
    return table;
}

Json describe(const Check& check) {
    const bool unknown = check.outcome == Outcome::UNKNOWN;
    return {{"cover", check.version},
            {"image", check.image.empty() ? Json() : Json(check.image)},
            {"status", toJson(check.answered)},
            {"started", unknown ? Json() : Json(check.outcome == Outcome::STARTED)}};
}

std::string inWords(const Phase& phase) {
    char time[32];
    snprintf(time, sizeof(time), "%.1f s", phase.seconds);
    return row(phase.name,
               phase.version.empty() ? time : time + (", " + spellControls(phase.version)));
}

Json describe(const Phase& phase) {
    Json object = {{"phase", phase.name}, {"seconds", round(phase.seconds * 1000) / 1000}};
    if (!phase.version.empty()) object["version"] = phase.version;
    return object;
}

int reportOutcome(Outcome outcome) {
    switch (outcome) {
        case Outcome::CURRENT:
        case Outcome::STARTED:
            return EXIT_ANSWERED_OK;
        case Outcome::NOT_ORDERED:
            return reportStatus(Status::FAIL, kNotStarted);
        case Outcome::REFUSED:
            return reportStatus(Status::FAIL,
                                std::string("no upgrade was started: ") + kNoControlFile);
        case Outcome::UNKNOWN:
            break;
    }
    return reportStatus(Status::FAIL, kStartedOrFailed);
}

// The exit status after a wait for an upgrade from this version.
int reportWait(const Waited& waited, const std::string& version, int timeout) {
    if (waited.isBack()) {
        if (waited.last.version != version) return EXIT_ANSWERED_OK;
        complain("the cover came back with the version that it had: it was not upgraded.");
        return EXIT_ANSWERED_FAIL;
    }
    complain(std::string(waited.silent ? "the cover came back, but did not tell its version"
                                       : "the cover did not come back") +
             " within " + std::to_string(timeout) +
             " s; the last phase that was reached: " + waited.last.name +
             ". The upgrade may still go on: \"bivistactl firmware version\" tells later what the "
             "cover runs.");
    return EXIT_ANSWERED_FAIL;
}

struct Options {
    bool wait = false;
    int timeout = 300;
};

// Follows the upgrade that `check` started. Adds the phases to the object.
int follow(const sp<BivistaV1_0>& service, const Check& check, int timeout, bool json,
           Json* object) {
    remark("waiting for the cover, " + std::to_string(timeout) +
           " s at most; Ctrl-C ends the wait, not the upgrade");
    const Waited waited =
            waitForUpgrade(service, *check.dump, seconds(timeout), [&](const Phase& phase) {
                (*object)["phases"].push_back(describe(phase));
                if (!json) printOrFail(inWords(phase));
            });
    return reportWait(waited, check.version, timeout);
}

int run(const Options& options, bool json) {
    const auto service = findService();
    // Before the check, since an upgrade takes the cover away.
    const auto version = ask<&BivistaV1_0::getFirmwareVersion>(service);
    // The text is empty when the cover hung up.
    if (version.status != Status::OK || version.value.empty()) {
        return reportStatus(Status::FAIL, kNotChecked);
    }
    const Check check = checkAndExplain(service, version.value);
    Json object = describe(check);
    if (options.wait) object["phases"] = Json::array();
    const auto printObject = [&] {
        if (json) printOrFail(toLine(object) + "\n");
    };
    if (!json) printOrFail(inWords(check));
    int code = reportOutcome(check.outcome);
    if (options.wait && check.outcome == Outcome::STARTED) {
        try {
            code = follow(service, check, options.timeout, json, &object);
        } catch (const Failure&) {
            printObject();
            throw;
        }
    }
    printObject();
    return code;
}

}  // namespace

void addFirmwareCheck(cli::Command& firmware) {
    cli::Command& command =
            firmware.add("check", "Upgrade it when the phone has a newer image", kHelp);
    auto options = std::make_shared<Options>();
    addPrinting(command, [options](bool json) { return run(*options, json); });
    const cli::Option wait =
            command.flag("--wait", &options->wait, "Follow an upgrade until the cover is back");
    command.take("--timeout", &options->timeout, "How long to wait, in seconds")
            .range(1, kDay)
            .showDefault()
            .needs(wait);
}

}  // namespace bivistactl
