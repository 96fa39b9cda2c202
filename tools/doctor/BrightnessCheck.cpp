// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Why the brightness did not change: docs/troubleshooting.md has the same answers.
#include "tools/doctor/Checks.h"

namespace doctor {
namespace {

constexpr char kCheck[] = "brightness";
constexpr char kCommand[] = "AT%DB";

const Which kLevels = {"setting", "brightness"};

// The levels that clients set, then what became of them.
Lines shownBy(const Account& account, const Which& outcome) {
    return Account::lines(account.last(kLevels)) + account.lines(outcome);
}

void examineSending(const Account& account, Findings* findings) {
    struct Outcome {
        const char* kind;
        const char* what;
        const char* remedy;
    };
    const Outcome outcomes[] = {
            {"failure", "the cover refused ",
             "setBrightness answers OK all the same, since the level is sent later. The cause "
             "below is the cover's: its firmware does not take this level, or not now."},
            {"timeout", "the cover did not answer to ",
             "The kernel is asked to reset the cover then, and the level is not sent again: set it "
             "again once the cover is back."},
            {"refused", "the service could not send ",
             "setBrightness answers OK without a cover, too. Set the level again once the cover is "
             "attached."},
    };
    for (const Outcome& outcome : outcomes) {
        const Which which = {outcome.kind, kCommand};
        const int64_t count = account.count(which);
        if (count == 0) continue;
        findings->push_back(problem(kCheck, outcome.what + counted(count, "level"), outcome.remedy,
                                    shownBy(account, which)));
    }
}

void examineValues(const Account& account, Findings* findings) {
    const Which invalid = {"failure", "setBrightness"};
    if (account.count(invalid) == 0) return;
    findings->push_back(problem(kCheck,
                                "a client set a level that is none, and the service answered OK",
                                "Levels are 0 to 255.", shownBy(account, invalid)));
}

void examineOffset(const Account& account, Findings* findings) {
    const auto offset = account.dump.number({"brightness", "offset"});
    if (offset.value_or(0) == 0) return;
    findings->push_back(
            note(kCheck,
                 "an offset of " + std::to_string(*offset) +
                         " is in force: the cover gets other levels than were set",
                 "When nobody wants it: bivistactl offset 0",
                 account.lines({"setting", "offset"}) + account.line({"brightness", "offset"})));
}

// A level that stays in the queue of a service with a cover waits for whoever keeps the worker.
void examineQueue(const Account& account, Findings* findings) {
    if (account.dump.number({"brightness", "queued"}).value_or(0) == 0) return;
    if (!account.dump.flag({"display", "initialized"}).value_or(false)) return;
    findings->push_back(note(
            kCheck, "a level still waited to be sent",
            "The worker waits for the cover's answer to the level before, or for the accessory "
            "service, when that is declared and not up.",
            Account::lines(account.last(kLevels)) + account.line({"brightness", "queued"}) +
                    account.logLines("Waiting for")));
}

void examinePower(const Account& account, Findings* findings) {
    const Event* const level = account.last(kLevels);
    const Event* const power = account.last({"setting", "power"});
    if (level == nullptr || power == nullptr || power->number < level->number) return;
    if (power->values.empty() || power->values.front() != 0) return;
    findings->push_back(note(kCheck,
                             "the screen was switched off after the level was set, which forgets "
                             "levels that wait",
                             "Set the level once the screen is on.",
                             Account::lines(level) + Account::lines(power)));
}

}  // namespace

Findings examineBrightness(const Account& account) {
    if (!account.history.fault().empty()) return {};
    Findings findings;
    examineSending(account, &findings);
    examineValues(account, &findings);
    examineOffset(account, &findings);
    examineQueue(account, &findings);
    examinePower(account, &findings);
    if (!findings.empty()) return findings;
    if (account.count(kLevels) == 0) {
        return {note(kCheck, "no client has set a brightness in the events that are kept", "")};
    }
    return {fine(kCheck, "the last level that a client set was sent as it is",
                 Account::lines(account.last(kLevels)))};
}

}  // namespace doctor
