// What the service has counted, and what state it is in.
#include <algorithm>
#include <exception>
#include <string>
#include <thread>
#include <vector>

#include "tools/client/Dump.h"
#include "tools/doctor/Checks.h"
#include "tools/doctor/Patience.h"
#include "tools/doctor/Words.h"

namespace doctor {
namespace {

using ::bivistactl::Dump;
using ::bivistactl::DumpMember;

constexpr char kCheck[] = "dump";

constexpr DumpMember kTimeouts = {"at", "timeouts"};
constexpr DumpMember kExchanges = {"at", "exchanges"};
constexpr DumpMember kFailures = {"at", "failures"};
constexpr DumpMember kRecoveries = {"at", "recoveries"};
constexpr DumpMember kRefused = {"at", "refused"};
constexpr DumpMember kVotes = {"usb", "votes"};
constexpr DumpMember kScreenOn = {"display", "screenOn"};
constexpr DumpMember kDropped = {"frames", "dropped"};
constexpr DumpMember kRetries = {"frames", "retries"};
constexpr DumpMember kOffset = {"brightness", "offset"};

constexpr const DumpMember* kNumbers[] = {&kTimeouts,   &kExchanges, &kFailures,
                                          &kRecoveries, &kRefused,   &kVotes,
                                          &kDropped,    &kRetries,   &kOffset};

constexpr char kForget[] = " What was counted until now is forgotten by: bivistactl dump --reset";

Dump askForDump() {
    try {
        return Dump::of(bivistactl::findService());
    } catch (const std::exception& failure) {
        return Dump::unknown(failure.what());
    }
}

// "1 command", "2 commands"
std::string counted(int64_t number, const std::string& noun) {
    return std::to_string(number) + " " + noun + (number == 1 ? "" : "s");
}

// ": AT%SWV, AT%DB"
std::string namesOf(const std::vector<std::string>& commands) {
    return commands.empty() ? "" : ": " + listed(commands);
}

int64_t valueOf(const Dump& dump, const DumpMember& member) {
    return dump.number(member).value_or(0);
}

// Votes that nobody will withdraw, as far as one look tells: the screen has one while it is on.
int64_t votesLeft(const Dump& dump) {
    return valueOf(dump, kVotes) - (dump.flag(kScreenOn).value_or(false) ? 1 : 0);
}

// An exchange that is under way has a vote too: a vote that is left is there at every look.
int64_t votesLeaked(const Dump& first, std::chrono::milliseconds patience) {
    constexpr int kLooks = 5;
    constexpr std::chrono::milliseconds kPause(50);
    int64_t left = votesLeft(first);
    for (int look = 1; look < kLooks && left > 0; ++look) {
        std::this_thread::sleep_for(kPause);
        const auto next = within(patience, askForDump);
        if (!next || !next->fault().empty()) break;
        left = std::min(left, votesLeft(*next));
    }
    return left;
}

void examineExchanges(const Dump& dump, Findings* findings) {
    if (const int64_t timeouts = valueOf(dump, kTimeouts); timeouts > 0) {
        findings->push_back(problem(
                "timeouts",
                std::to_string(timeouts) + " of " + counted(valueOf(dump, kExchanges), "command") +
                        " had no answer in time" + namesOf(dump.commandsWith("timeouts")),
                "Another program takes the answers, or the cover's firmware hangs: end that "
                "program, or pull the cover off and put it back." +
                        std::string(kForget)));
    }
    if (const int64_t recoveries = valueOf(dump, kRecoveries); recoveries > 0) {
        findings->push_back(problem(
                "recoveries",
                "the kernel was asked " + counted(recoveries, "time") + " to reset the cover",
                "The cover comes back by itself after each. When it does not: sudo dmesg tells "
                "what the kernel did, and the service's log whether it could be asked." +
                        std::string(kForget)));
    }
    if (const int64_t failed = valueOf(dump, kFailures) - valueOf(dump, kTimeouts); failed > 0) {
        findings->push_back(note("failures",
                                 counted(failed, "command") + " failed, time-outs apart" +
                                         namesOf(dump.commandsWith("failures", "timeouts")),
                                 "The cover answered ERROR, since its firmware does not know the "
                                 "command or its argument, or the tty failed: lines of "
                                 "serialAtCmd in the service's log tell which."));
    }
    if (const int64_t refused = valueOf(dump, kRefused); refused > 0) {
        findings->push_back(
                note("refused", counted(refused, "command") + " did not get as far as the cover",
                     "Without a cover that is as it should be. Else the command was malformed, or "
                     "the tty could not be opened: lines of serialAtCmd in the service's "
                     "log tell which."));
    }
}

void examineVotes(const Dump& dump, std::chrono::milliseconds patience, Findings* findings) {
    const int64_t leaked = votesLeaked(dump, patience);
    if (leaked <= 0) return;
    findings->push_back(note(
            "votes", "nobody withdrew " + counted(leaked, "vote") + " to keep USB awake",
            "The cover no longer sleeps, which costs power. A time-out leaves one, and so does "
            "switching on a screen that is on. To end it, pull the cover off and put it back."));
}

void examineFrames(const Dump& dump, Findings* findings) {
    const int64_t dropped = valueOf(dump, kDropped);
    if (dropped <= 0) return;
    const std::string what = counted(dropped, "drawing") + " never came to the sub display";
    const int64_t retries = valueOf(dump, kRetries);
    if (retries > 0) {
        findings->push_back(
                problem("frames", what + ", and its panel refused data " + counted(retries, "time"),
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

void examineOffset(const Dump& dump, Findings* findings) {
    const int64_t offset = valueOf(dump, kOffset);
    if (offset == 0) return;
    findings->push_back(note("offset",
                             "a brightness offset of " + std::to_string(offset) +
                                     " is in force: the cover gets other levels than were set",
                             "When nobody wants it: bivistactl offset 0"));
}

// What this program looks for and the dump does not have.
std::vector<std::string> missingFrom(const Dump& dump) {
    std::vector<std::string> missing;
    for (const DumpMember* member : kNumbers) {
        if (dump.number(*member)) continue;
        missing.push_back(std::string(member->section) + "." + member->name);
    }
    return missing;
}

}  // namespace

Findings examineDump(std::chrono::milliseconds patience) {
    constexpr char kNewer[] =
            "Start the service that belongs to this program. Time-outs, recoveries, votes, refused "
            "commands and drops are in its log alone until then.";
    const auto asked = within(patience, askForDump);
    if (!asked) return {note(kCheck, "the service has become busy, and does not print it", "")};
    const Dump& dump = *asked;
    if (!dump.fault().empty()) {
        return {note(kCheck, dump.fault() + ": what it has counted is not known", kNewer)};
    }
    Findings findings;
    if (const auto missing = missingFrom(dump); !missing.empty()) {
        findings.push_back(note(
                kCheck, "the service's dump is of another version, and lacks " + listed(missing),
                kNewer));
    }
    examineExchanges(dump, &findings);
    examineVotes(dump, patience, &findings);
    examineFrames(dump, &findings);
    examineOffset(dump, &findings);
    if (!findings.empty()) return findings;
    return {fine(kCheck, "of " + counted(valueOf(dump, kExchanges), "command") +
                                 " none failed; nothing was refused or dropped, no vote is left "
                                 "behind, and no brightness offset is in force")};
}

}  // namespace doctor
