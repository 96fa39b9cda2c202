// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/phone/Phone.h"

#include <algorithm>
#include <initializer_list>
#include <iterator>

#include "emulator/phone/world/WorldBackend.h"

namespace phone {

namespace {

std::optional<cover::Time> earliest(std::initializer_list<std::optional<cover::Time>> times) {
    std::optional<cover::Time> first;
    for (const std::optional<cover::Time>& time : times) {
        if (time) first = std::min(first.value_or(*time), *time);
    }
    return first;
}

}  // namespace

Phone::Phone() : Phone(makeWorldBackend) {}

Phone::Phone(const MakeBackend& makeBackend)
    : mBackend(makeBackend(mLoop)),
      files(mSurroundings,
            [this](const std::string& path, const std::string& bytes) {
                if (path == kFirmwareWrite) firmware.control(bytes);
                // As the driver: the first byte counts.
                if (path == kRecovery && bytes[0] == 'Y') cover.recover();
                usbPower.control(path, bytes);
            }),
      panel(mSurroundings, usbPower, [this] {
          if (cover.isAttached()) cover.detach();
      }) {
    mJournal.setSync([this] { mLoop.call([this] { mBackend->drain(); }); });
    mLoop.start([this] {
        // Carried out in this order.
        return earliest({mBackend->turn(), cover.turn(), usbPower.turn()});
    });
}

Phone::~Phone() {
    // Nothing that was written is missing in the journal.
    mJournal.sync();
    mLoop.stop();
}

void Phone::signal(const std::string& name) {
    const auto known = std::ranges::find(kSignals, name, &Signal::name);
    if (known == std::end(kSignals)) throw Error("there is no signal " + name);
    mLoop.call([&] {
        // What the program did before stands before it, and what it does then after it.
        mBackend->drain();
        mBackend->signal(known->number);
        mJournal.add(Kind::Signal, {}, name);
    });
}

void Phone::reset() {
    mLoop.call([this] {
        cover.reset();
        foreignTtys.reset();
        loader.reset();
        faults.clear();
        properties.reset();
        usbPower.reset();
        panel.reset();
        files.reset();
    });
}

}  // namespace phone
