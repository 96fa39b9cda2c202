// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/phonelog/Prelude.h"

#include <cstdlib>

#include "emulator/phone/Paths.h"
#include "emulator/phonelog/Names.h"

namespace phonelog {

using phone::Kind;

namespace {

constexpr size_t npos = std::string_view::npos;

// All of it stands before the first line, in the order in which it is added.
class Prelude {
  public:
    Prelude(Draft& draft, const Devices& devices) : mDraft(draft), mDevices(devices) {}

    void addAttach();
    void addPanel();
    void addScreen();
    void addCallback();

  private:
    Place next() { return {0, mOrder++}; }
    void vote(const char* value) { mDraft.addWrite(next(), kControl, value, false); }
    void exchange(const std::string& command, const std::string& answer);

    Draft& mDraft;
    const Devices& mDevices;
    int mOrder = -1000;
};

void Prelude::exchange(const std::string& command, const std::string& answer) {
    vote("on");
    mDraft.add(next(), Kind::TtyRx, mDevices.ttyAt(0), command + "\r");
    mDraft.add(next(), Kind::TtyTx, mDevices.ttyAt(0), answer);
    vote("auto");
}

void Prelude::addAttach() {
    vote("auto");
    exchange("ATE0", "ATE0\r\r\nOK\r\n");
    exchange("AT%GETBVCUTOUT", "\r\nM 0,0 Z\r\nOK\r\n");
    mDraft.addWrite(next(), phone::kHalReady, "Y", false);
    const bool captures =
            mDraft.header().properties.contains("persist.vendor.qmx.service.kernel.enable");
    exchange(captures ? "AT%LOGSAVE=0" : "AT%LOGSAVE=3", "\r\nOK\r\n");
    mDraft.header().files.try_emplace(phone::kUpdateState, "0 0 0\n");
    std::string values;
    for (const char sign : mDraft.header().files[phone::kUpdateState]) {
        if (sign != '\n') values += sign == ' ' ? ',' : sign;
    }
    exchange("AT%TCHUPDATE=UPDATE_STATE," + values, "\r\nOK\r\n");
}

void Prelude::addPanel() {
    const std::string path = mDevices.hidAt(0);
    mDraft.add(next(), Kind::HidOpen, path);
    mDraft.add(next(), Kind::HidGet, path, std::string("\2\x80\0\x80\0\4\1", 7));
    mDraft.add(next(), Kind::HidClose, path);
    mDraft.add(next(), Kind::HidOpen, path);
    mDraft.add(next(), Kind::HidSet, path, "\3\2Z");
    mDraft.add(next(), Kind::HidClose, path);
}

void Prelude::addScreen() {
    mDraft.add(next(), Kind::ClientCall, "IBivista.setPowerStatus", "[true,false]", R"(["OK"])");
    exchange("AT%LOGSAVE=3", "\r\nOK\r\n");
    exchange("AT%BV=1", "\r\nOK\r\n");
    exchange("AT%HPD", "\r\nOn\r\nOK\r\n");
    mDraft.addWrite(next(), phone::kPowerNode, "1 0", true);
    vote("on");
}

void Prelude::addCallback() {
    mDraft.add(next(), Kind::ClientCall, "IBivista.setLpwgCallback", R"(["callback"])");
}

}  // namespace

bool beginsWithScreen(const Draft& draft) {
    if (draft.log().hasStart) return false;
    constexpr std::string_view kVote = "usbAutoSuspend: suspend:0 vote:1 disableVote:";
    for (const Line& line : draft.log().lines) {
        if (line.text.starts_with("bv2_display_deinit")) return false;
        if (!line.text.starts_with(kVote)) continue;
        return std::atoi(line.text.c_str() + kVote.size()) > 0;
    }
    return false;
}

void addPrelude(Draft& draft, const Devices& devices, const Calls& calls) {
    if (draft.log().hasStart || devices.stays.empty() || devices.stays.front().begin != 0) return;
    if (draft.text(0).find(" create") != npos || draft.text(0).find("mask:") != npos) return;
    Prelude prelude(draft, devices);
    prelude.addAttach();
    prelude.addPanel();
    if (beginsWithScreen(draft)) {
        prelude.addScreen();
        draft.missing(0,
                      "the screen was on before the log begins: a call that switches it on is "
                      "put before it");
    }
    bool hasEvents = false;
    for (const Line& line : draft.log().lines) hasEvents |= line.text.starts_with("cp1 = ");
    if (!hasEvents || calls.hasLpwgCallback) return;
    prelude.addCallback();
    draft.missing(0,
                  "a client must have registered for events before the log begins: put before "
                  "it");
}

}  // namespace phonelog
