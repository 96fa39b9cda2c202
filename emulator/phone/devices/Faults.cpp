// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/phone/devices/Faults.h"

#include <utility>

#include "emulator/phone/Error.h"
#include "emulator/phone/devices/Cover.h"
#include "emulator/phone/devices/Panel.h"

namespace phone {

namespace {

// The fault that was parsed; throws its error when there is none.
template <typename Parsed>
auto need(Parsed parsed) {
    if (!parsed.fault) throw Error(parsed.error);
    return *std::move(parsed.fault);
}

}  // namespace

void Faults::set(const std::string& text) {
    call([&] {
        if (isNodeFault(text)) {
            std::vector<NodeFault> faults = mNodeFaults;
            faults.push_back(parseNodeFault(text));
            mBackend.setNodeFaults(faults);
            mNodeFaults = std::move(faults);
        } else if (cover::isPanelFault(text)) {
            mPanel.faults().add(need(cover::parsePanelFault(text)));
        } else {
            mCover.controller().faults().add(need(cover::parseFault(text)));
        }
        mJournal.add(Kind::Fault, {}, text);
    });
}

std::vector<std::string> Faults::list() const {
    return call([&] {
        std::vector<std::string> texts;
        const auto append = [&](const auto& faults) {
            for (const auto& fault : faults) texts.push_back(toText(fault));
        };
        append(mCover.controller().faults().list());
        append(mNodeFaults);
        append(mPanel.faults().list());
        return texts;
    });
}

void Faults::clear() {
    call([&] {
        mCover.controller().clearFaults();
        mPanel.faults().clear();
        if (!mNodeFaults.empty()) mBackend.setNodeFaults({});
        mNodeFaults.clear();
        mJournal.add(Kind::Fault, {});
        // What a fault held up goes on.
        mBackend.drain();
        mBackend.decideWaiting();
    });
}

}  // namespace phone
