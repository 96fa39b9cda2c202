// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/phonelog/Import.h"

#include <utility>

#include "emulator/phonelog/Calls.h"
#include "emulator/phonelog/Events.h"
#include "emulator/phonelog/Nodes.h"
#include "emulator/phonelog/Panel.h"
#include "emulator/phonelog/Prelude.h"
#include "emulator/phonelog/Redact.h"

namespace phonelog {

namespace {

void addUntold(Draft& draft) {
    draft.missing(
            "Calls that the service neither logs nor sends anything for are missing: colours "
            "set while the screen is off, levels that were overtaken, questions that it "
            "answers from memory.");
    draft.missing(
            "The phone's properties and control files are known as far as the service logged "
            "them; others are as on the emulated phone.");
}

}  // namespace

Imported importLog(const ServiceLog& log, bool redacts) {
    Draft draft(log, redacts);
    const Devices devices = addDevices(draft);
    const Threads threads = readThreads(draft);
    for (const Exchange& exchange : threads.exchanges) {
        addExchange(draft, exchange, devices.ttyAt(exchange.first));
    }
    addNodes(draft);
    addLostVotes(draft);
    addContents(draft);
    addImages(draft);
    const PanelStates panel = addPanel(draft, threads, devices);
    const Calls calls = addCalls(draft, threads, panel);
    addBrightness(draft, threads, calls);
    if (calls.subCallback != SIZE_MAX) addPanelCallbacks(draft, panel, calls.subCallback);
    addUevents(draft, threads);
    addPenCalls(draft);
    addCoverLog(draft, threads, devices);
    if (!calls.clearsLpwg) addSignals(draft);
    addPrelude(draft, devices, calls);
    addUntold(draft);
    Imported imported;
    imported.recording = draft.finish();
    imported.findings = draft.takeFindings();
    if (redacts) redact(imported.recording);
    return imported;
}

}  // namespace phonelog
