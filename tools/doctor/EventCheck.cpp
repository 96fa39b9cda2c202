// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Why no touch or pen event came: docs/troubleshooting.md has the same answers.
#include "tools/doctor/Checks.h"

namespace doctor {
namespace {

constexpr char kCheck[] = "events";

const Which kCallbacks = {"callback", "lpwg"};
const bivistactl::DumpMember kCallback = {"callbacks", "lpwg"};

// Why nobody hears of an event; none when a client does.
Findings examineCallback(const Account& account) {
    const Event* const last = account.last(kCallbacks);
    if (last != nullptr && last->cause == "cleared") {
        return {problem(kCheck, "a client has cleared its callback, which stops the USB side too",
                        "Restart the service. A client that leaves must not clear its callback.",
                        Account::lines(last))};
    }
    if (last != nullptr && last->cause == "died") {
        return {problem(kCheck, "the client that had registered its callback has died",
                        "Start that client again, which registers anew.",
                        account.lines(kCallbacks))};
    }
    if (account.history.lpwgCallback().value_or("") != "") return {};
    return {note(kCheck,
                 "no client has registered an LPWG callback: the service reads no event before",
                 "A client calls setLpwgCallback; bivistactl watch lpwg does.",
                 account.line(kCallback) + account.lines(kCallbacks))};
}

void examineOutcomes(const Account& account, Findings* findings) {
    const Which failed = {"lpwgEvent", {}, "failed"};
    if (account.count(failed) > 0) {
        findings->push_back(problem(kCheck,
                                    "an event failed: the client did not take it, or the service "
                                    "could not act on it",
                                    "The service's log has the cause.", account.lines(failed)));
    }
    const Which missed = {"lpwgEvent", {}, "no callback"};
    if (account.count(missed) > 0) {
        findings->push_back(note(kCheck, "an event came when no client had a callback",
                                 "The event is gone.", account.lines(missed)));
    }
    const Which replaced = {"callback", "lpwg", "replaced"};
    if (account.count(replaced) > 0) {
        findings->push_back(note(kCheck,
                                 "another client has taken the callback: the service has one, and "
                                 "the client before hears nothing more",
                                 "Find the client that registered last, or register again.",
                                 account.lines(kCallbacks)));
    }
}

void examineSignal(const Account& account, Findings* findings) {
    const Which signal = {"signal"};
    if (account.count(signal) == 0) return;
    findings->push_back(problem(kCheck,
                                "a signal has ended the service's watch of USB: it sees no more "
                                "attach or detach",
                                "Restart the service.", account.lines(signal)));
}

Finding describeQuiet(const Account& account) {
    const Which any = {"lpwgEvent"};
    if (account.count(any) > 0) {
        return fine(kCheck, "the last event that the kernel reported was handled",
                    account.lines(any));
    }
    return note(kCheck, "a client has registered its callback, and the kernel reported no event",
                "Is the cover attached, and are its gestures switched on? The service logs each "
                "event that it receives.",
                Account::lines(account.last(kCallbacks)) + account.lines({"setting", "lpwg"}) +
                        account.line(kCallback));
}

}  // namespace

Findings examineEvents(const Account& account) {
    if (!account.history.fault().empty()) return {};
    Findings findings = examineCallback(account);
    examineOutcomes(account, &findings);
    examineSignal(account, &findings);
    if (findings.empty()) findings.push_back(describeQuiet(account));
    return findings;
}

}  // namespace doctor
