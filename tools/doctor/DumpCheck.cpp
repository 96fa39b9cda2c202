// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The service's counts and state.
#include <algorithm>
#include <exception>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "tools/client/Dump.h"
#include "tools/doctor/Checks.h"
#include "tools/doctor/Patience.h"
#include "tools/doctor/ShellWord.h"

namespace doctor {
namespace {

using ::bivistactl::Dump;

constexpr char kCheck[] = "dump";

// What this program looks for in a dump; 0 for what that lacks.
struct Counts {
    explicit Counts(const Dump& dump) : dump(dump) {}

    int64_t number(const char* section, const char* name) {
        const auto number = dump.number({section, name});
        if (!number) missing.push_back(std::string(section) + "." + name);
        return number.value_or(0);
    }

    const Dump& dump;
    // "at.timeouts".
    std::vector<std::string> missing;
    const int64_t timeouts = number("at", "timeouts");
    const int64_t exchanges = number("at", "exchanges");
    const int64_t failures = number("at", "failures");
    const int64_t recoveries = number("at", "recoveries");
    const int64_t refused = number("at", "refused");
    const int64_t votes = number("usb", "votes");
    const int64_t dropped = number("frames", "dropped");
    const int64_t retries = number("frames", "retries");
    const int64_t offset = number("brightness", "offset");
    // Votes that nothing will withdraw, as far as one dump shows: a screen that is on has one.
    const int64_t votesLeft = votes - (dump.flag({"display", "screenOn"}).value_or(false) ? 1 : 0);
};

constexpr char kForget[] = " What was counted until now is forgotten by: bivistactl dump --reset";

Dump askForDump() {
    try {
        return Dump::of(bivistactl::findService());
    } catch (const std::exception& failure) {
        return Dump::unknown(failure.what());
    }
}

// ": AT%SWV, AT%DB"
std::string namesOf(const std::vector<std::string>& commands) {
    return commands.empty() ? "" : ": " + listed(commands);
}

// How long the service may take for another dump; none when there is no service to ask.
using Patience = std::optional<std::chrono::milliseconds>;

// An exchange that is under way has a vote too. A vote that is left shows in every dump.
int64_t votesLeaked(int64_t left, const Patience& patience) {
    constexpr int kLooks = 5;
    constexpr std::chrono::milliseconds kPause(50);
    for (int look = 1; look < kLooks && left > 0 && patience; ++look) {
        std::this_thread::sleep_for(kPause);
        const auto next = within(*patience, askForDump);
        if (!next || !next->fault().empty()) break;
        left = std::min(left, Counts(*next).votesLeft);
    }
    return left;
}

void examineExchanges(const Counts& counts, Findings* findings) {
    if (counts.timeouts > 0) {
        findings->push_back(problem(
                "timeouts",
                std::to_string(counts.timeouts) + " of " + counted(counts.exchanges, "command") +
                        " had no answer in time" + namesOf(counts.dump.commandsWith("timeouts")),
                "Another program takes the answers, or the cover's firmware hangs: end that "
                "program, or pull the cover off and put it back." +
                        std::string(kForget)));
    }
    if (counts.recoveries > 0) {
        findings->push_back(problem(
                "recoveries",
                "the kernel was asked " + counted(counts.recoveries, "time") +
                        " to reset the cover",
                "The cover comes back by itself after each. When it does not: sudo dmesg tells "
                "what the kernel did, and the service's log whether it could be asked." +
                        std::string(kForget)));
    }
    if (const int64_t failed = counts.failures - counts.timeouts; failed > 0) {
        findings->push_back(note("failures",
                                 counted(failed, "command") + " failed, time-outs apart" +
                                         namesOf(counts.dump.commandsWith("failures", "timeouts")),
                                 "The cover answered ERROR, since its firmware does not know the "
                                 "command or its argument, or the tty failed: lines of "
                                 "serialAtCmd in the service's log tell which."));
    }
    if (counts.refused > 0) {
        findings->push_back(note(
                "refused", counted(counts.refused, "command") + " did not get as far as the cover",
                "Without a cover that is as it should be. Else the command was malformed, or "
                "the tty could not be opened: lines of serialAtCmd in the service's "
                "log tell which."));
    }
}

void examineVotes(const Counts& counts, const Patience& patience, Findings* findings) {
    const int64_t leaked = votesLeaked(counts.votesLeft, patience);
    if (leaked <= 0) return;
    findings->push_back(note(
            "votes", "nobody withdrew " + counted(leaked, "vote") + " to keep USB awake",
            "The cover no longer sleeps, which costs power. A time-out leaves one, and so does "
            "switching on a screen that is on. To end it, pull the cover off and put it back."));
}

void examineFrames(const Counts& counts, Findings* findings) {
    if (counts.dropped <= 0) return;
    const std::string what = counted(counts.dropped, "drawing") + " never came to the sub display";
    if (counts.retries > 0) {
        findings->push_back(problem(
                "frames", what + ", and its panel refused data " + counted(counts.retries, "time"),
                "It may have been pulled off meanwhile. When what is drawn does not show: "
                "bivistactl sub off, bivistactl sub on; or pull the cover off and put it "
                "back." +
                        std::string(kForget)));
        return;
    }
    findings->push_back(
            note("frames", what,
                 "A newer one replaced it, or the sub display was switched off or pulled off "
                 "before it was sent. When the last one does not show, draw it again."));
}

void examineOffset(const Counts& counts, Findings* findings) {
    if (counts.offset == 0) return;
    findings->push_back(note("offset",
                             "a brightness offset of " + std::to_string(counts.offset) +
                                     " is in force: the cover gets other levels than were set",
                             "When nobody wants it: bivistactl offset 0"));
}

Findings examineCounts(const Dump& dump, const Patience& patience) {
    constexpr char kNewer[] =
            "Start the service that belongs to this program. Time-outs, recoveries, votes, refused "
            "commands and drops are in its log alone until then.";
    if (!dump.fault().empty()) {
        return {note(kCheck, dump.fault() + ": what it has counted is not known", kNewer)};
    }
    const Counts counts(dump);
    Findings findings;
    if (!counts.missing.empty()) {
        findings.push_back(note(
                kCheck,
                "the service's dump is of another version, and lacks " + listed(counts.missing),
                kNewer));
    }
    examineExchanges(counts, &findings);
    examineVotes(counts, patience, &findings);
    examineFrames(counts, &findings);
    examineOffset(counts, &findings);
    if (!findings.empty()) return findings;
    return {fine(kCheck, "of " + counted(counts.exchanges, "command") +
                                 " none failed; nothing was refused or dropped, no vote is left "
                                 "behind, and no brightness offset is in force")};
}

}  // namespace

Findings examineDump(std::chrono::milliseconds patience) {
    const auto asked = within(patience, askForDump);
    if (!asked) return {note(kCheck, "the service has become busy, and does not print it", "")};
    return examineCounts(*asked, patience);
}

Findings examineDump(const Dump& dump) {
    return examineCounts(dump, std::nullopt);
}

bool isOfDump(const std::string& check) {
    static const std::set<std::string> kChecks = {kCheck,    "timeouts", "recoveries", "failures",
                                                  "refused", "votes",    "frames",     "offset"};
    return kChecks.count(check) > 0;
}

}  // namespace doctor
