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

void checkFault(const std::string& text) {
    if (isNodeFault(text)) {
        parseNodeFault(text);
    } else if (cover::isPanelFault(text)) {
        need(cover::parsePanelFault(text));
    } else {
        need(cover::parseFault(text));
    }
}

void Faults::addPanelFault(const cover::PanelFault& fault) {
    const bool strikesOpens =
            fault.call == cover::PanelCall::Open || fault.call == cover::PanelCall::Any;
    if (strikesOpens && mBackend.opensHidraw()) {
        throw Error("a real kernel opens hidraw nodes itself: name info, config or write");
    }
    mPanel.faults().add(fault);
}

void Faults::set(const std::string& text) {
    call([&] {
        if (isNodeFault(text)) {
            cover::FaultList<NodeFault> faults = mNodeFaults;
            faults.add(parseNodeFault(text));
            apply(faults.list());
            mNodeFaults = std::move(faults);
        } else if (cover::isPanelFault(text)) {
            addPanelFault(need(cover::parsePanelFault(text)));
        } else {
            mCover.controller().faults().add(need(cover::parseFault(text)));
        }
        mJournal.add(Kind::Fault, {}, text);
    });
}

void Faults::apply(const std::vector<NodeFault>& faults) {
    const auto met = [this](size_t fault, const std::string& path, const std::string& call) {
        mNodeFaults.meet(fault, call);
        recordStrikes(path, mNodeFaults.takeStrikes());
    };
    mBackend.setNodeFaults(faults, met);
}

std::vector<SetFault> Faults::listMet() const {
    return call([&] {
        std::vector<SetFault> all;
        const auto append = [&](const auto& faults) {
            for (const auto& fault : faults.list()) all.push_back({toText(fault), fault.met});
        };
        append(mCover.controller().faults());
        append(mNodeFaults);
        append(mPanel.faults());
        return all;
    });
}

std::vector<std::string> Faults::list() const {
    std::vector<std::string> texts;
    for (SetFault& fault : listMet()) texts.push_back(std::move(fault.text));
    return texts;
}

bool Faults::removeOne(std::string& text) {
    if (isNodeFault(text)) {
        text = toText(parseNodeFault(text));
        if (!mNodeFaults.remove(text)) return false;
        apply(mNodeFaults.list());
        return true;
    }
    if (cover::isPanelFault(text)) {
        text = toText(need(cover::parsePanelFault(text)));
        return mPanel.faults().remove(text).has_value();
    }
    text = toText(need(cover::parseFault(text)));
    return mCover.controller().removeFault(text);
}

void Faults::remove(const std::string& text) {
    call([&] {
        std::string listed = text;
        if (!removeOne(listed)) throw Error("no such fault is set: " + listed);
        mJournal.add(Kind::Fault, {}, listed, "removed");
        goOn();
    });
}

void Faults::clear() {
    call([&] {
        mCover.controller().clearFaults();
        mPanel.faults().clear();
        if (!mNodeFaults.list().empty()) apply({});
        mNodeFaults.clear();
        mJournal.add(Kind::Fault, {});
        goOn();
    });
}

void Faults::goOn() {
    mBackend.drain();
    mBackend.decideWaiting();
}

}  // namespace phone
