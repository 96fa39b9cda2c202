// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Why the cover's screen is dark: docs/troubleshooting.md has the same answers.
#include "tools/doctor/Checks.h"

namespace doctor {
namespace {

constexpr char kCheck[] = "screen";
constexpr char kMethod[] = "setPowerStatus";
constexpr char kCommand[] = "AT%BV";

const bivistactl::DumpMember kScreenOn = {"display", "screenOn"};

bool asksFor(const Event* power, int64_t state) {
    return power != nullptr && !power->values.empty() && power->values.front() == state;
}

Findings examineLitScreen(const Account& account) {
    const Event* const level = account.last({"setting", "brightness"});
    if (level != nullptr && level->values == std::vector<int64_t>{0}) {
        return {note(kCheck, "the screen is on, with brightness 0", "bivistactl brightness 128",
                     Account::lines(level) + account.line(kScreenOn))};
    }
    return {fine(kCheck, "the screen is on", account.line(kScreenOn))};
}

// The failures of the last order to switch it on.
Findings examineFailures(const Account& account, const Event& power) {
    struct Cause {
        Which which;
        const char* what;
        const char* remedy;
        // Of the log, which tells more.
        const char* log;
    };
    const int64_t after = power.number;
    const Cause causes[] = {
            {{"failure", kMethod, "HPD Status failed", after},
             "the cover took the command, and its screen did not come up within ten polls",
             "The screen's cable or its hot-plug line: bivistactl at 'AT%HPD' asks for it.",
             "HPD Status failed"},
            {{"failure", kMethod, "bv2 not initialized", after},
             "there is no cover, or its attach did not reach the display side",
             "Attach the cover; the events of its attach tell how far that came.",
             "bv2 not initialized"},
            {{"failure", kCommand, {}, after},
             "the cover refused to switch its screen on",
             "Its firmware does not take the command now: an upgrade or an error of its own.",
             "setPowerStatus: "},
            {{"timeout", kCommand, {}, after},
             "the cover did not answer to the order to switch its screen on",
             "The kernel is asked to reset it: switch the screen on once the cover is back.",
             "setPowerStatus: "},
            {{"refused", kCommand, {}, after},
             "the order to switch the screen on did not get as far as the cover",
             "Attach the cover.",
             "setPowerStatus: "},
    };
    Findings findings;
    for (const Cause& cause : causes) {
        if (account.count(cause.which) == 0) continue;
        findings.push_back(problem(
                kCheck, cause.what, cause.remedy,
                Account::lines(&power) + account.lines(cause.which) + account.logLines(cause.log)));
    }
    return findings;
}

Findings examineDarkScreen(const Account& account) {
    const Event* const power = account.last({"setting", "power"});
    if (power == nullptr) {
        return {note(kCheck, "no client has switched the screen on in the events that are kept",
                     "bivistactl power on", account.line(kScreenOn))};
    }
    if (asksFor(power, 0)) {
        return {note(kCheck, "a client has switched the screen off", "bivistactl power on",
                     Account::lines(power) + account.line(kScreenOn))};
    }
    Findings findings = examineFailures(account, *power);
    if (!findings.empty()) return findings;
    if (const Event* const off = account.last({"detach", {}, {}, power->number})) {
        return {note(kCheck, "the cover was pulled off after its screen was switched on",
                     "A client must switch it on again after the next attach.",
                     Account::lines(power) + Account::lines(off) + account.line(kScreenOn))};
    }
    return {note(kCheck, "the screen is off, though a client switched it on",
                 "The service's log tells more.", Account::lines(power) + account.line(kScreenOn))};
}

}  // namespace

Findings examineScreen(const Account& account) {
    if (!account.history.fault().empty()) return {};
    const bool isOn = account.dump.flag(kScreenOn).value_or(false);
    return isOn ? examineLitScreen(account) : examineDarkScreen(account);
}

}  // namespace doctor
