// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Why no picture is on the sub display: docs/troubleshooting.md has the same answers.
#include "tools/doctor/Checks.h"

namespace doctor {
namespace {

constexpr char kCheck[] = "picture";
constexpr char kMethod[] = "drawSubDisplay";

const bivistactl::DumpMember kState = {"subDisplay", "state"};
const bivistactl::DumpMember kAttached = {"subDisplay", "attached"};

// Drawings that the service did not take.
void examineDrawings(const Account& account, Findings* findings) {
    struct Cause {
        const char* cause;
        const char* what;
        const char* remedy;
    };
    const Cause causes[] = {
            {"Sub Panel is not ready state", "a client drew while the sub display was not on",
             "bivistactl sub on, and draw again."},
            {"Input buffer size is overflow", "a client drew a frame that is too large",
             "A frame has exactly width times height words: bivistactl sub info"},
            {"Input buffer size is underflow", "a client drew a frame that is too small",
             "A frame has exactly width times height words: bivistactl sub info"},
            {"There is no Writable Buffer", "both frame buffers were in use",
             "The panel takes data slowly: draw again later."},
            {"There is no Palette Buffer", "there were no frame buffers",
             "The panel's attach failed: pull the cover off and put it back."},
    };
    for (const Cause& cause : causes) {
        const Which which = {"failure", kMethod, cause.cause};
        if (account.count(which) == 0) continue;
        findings->push_back(
                problem(kCheck, cause.what, cause.remedy,
                        account.lines({"panel"}) + account.lines(which) + account.line(kState)));
    }
}

// Frames that the service took and the panel never got.
void examineFrames(const Account& account, Findings* findings) {
    Lines refused;
    Lines replaced;
    for (const Event& event : account.history.events()) {
        if (event.kind != "frameDropped") continue;
        const bool isUsual = event.cause == "replaced" || event.cause == "freed";
        (isUsual ? replaced : refused).push_back(inWords(event));
    }
    if (!refused.empty()) {
        findings->push_back(problem(
                kCheck, "the service gave up a frame, since the panel refused its data",
                "It sends a refused frame again, but six times in its life at most: bivistactl "
                "sub off, bivistactl sub on; or pull the cover off and put it back. Then draw "
                "again.",
                Lines{refused.back()} + account.lines({"failure", "hidDisplayPalette"}) +
                        account.logLines("Could not send palette data.")));
    }
    if (!replaced.empty()) {
        findings->push_back(note(kCheck,
                                 "a frame was replaced by a newer one, or freed by a power-off or "
                                 "a detach, before it was sent",
                                 "When the last one does not show, draw it again.",
                                 Lines{replaced.back()} + account.line({"frames", "dropped"})));
    }
}

void examinePanel(const Account& account, Findings* findings) {
    const Lines steps = Account::lines(account.last({"attach", "panel"})) +
                        Account::lines(account.last({"detach", "panel"}));
    if (account.dump.flag(kAttached) == false) {
        findings->push_back(note(kCheck, "there is no panel",
                                 "Attach the cover. When it is: sudo dmesg, and CONFIG_HIDRAW.",
                                 steps + account.line(kAttached)));
        return;
    }
    const Which unknown = {"failure", "hidDisplayGetInfo"};
    if (account.count(unknown) > 0) {
        findings->push_back(problem(kCheck, "the panel did not tell its size",
                                    "Pull the cover off and put it back.",
                                    steps + account.lines(unknown)));
    }
    const auto state = account.dump.text(kState);
    if (state && *state != "ON") {
        findings->push_back(note(kCheck, "the sub display is not on: " + *state,
                                 "bivistactl sub on, and draw again.",
                                 account.lines({"setting", "subDisplay.power"}) +
                                         account.lines({"panel"}) + account.line(kState)));
    }
    const Event* const level = account.last({"setting", "subDisplay.brightness"});
    if (level != nullptr && level->values == std::vector<int64_t>{0}) {
        findings->push_back(note(kCheck, "the sub display's brightness is 0",
                                 "bivistactl sub brightness 128", Account::lines(level)));
    }
}

}  // namespace

Findings examinePicture(const Account& account) {
    if (!account.history.fault().empty()) return {};
    Findings findings;
    examineDrawings(account, &findings);
    examineFrames(account, &findings);
    examinePanel(account, &findings);
    if (!findings.empty()) return findings;
    const Lines drawn = account.line({"frames", "drawn"}) + account.line({"frames", "sent"});
    if (account.dump.number({"frames", "sent"}).value_or(0) == 0) {
        return {note(kCheck, "the sub display is on, and no client has drawn", "", drawn)};
    }
    return {fine(kCheck, "the panel has taken every frame that was drawn", drawn)};
}

}  // namespace doctor
