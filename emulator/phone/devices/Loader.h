// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The cover's loader on the USB bus.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "emulator/cover/Types.h"
#include "emulator/phone/devices/Subject.h"

namespace phone {

class Cover;

struct LoaderState {
    cover::UsbIdentity identity;
    bool isCover = false;  // the emulator's own cover, not a device beside it
    bool isError = false;  // by its serial number: there is no firmware
};

class Loader : public Subject {
  public:
    Loader(const Surroundings& surroundings, Cover& cover) : Subject(surroundings), mCover(cover) {}

    // Serial "00000000001A" (sent there) or "00000000001B" (no firmware), product "TQC330R" and the
    // like. An empty text: the device has no such string.
    void attach(const std::string& serial = "00000000001A", const std::string& product = "TQC330R");
    void detach();
    // The cover itself comes up in its loader, attached or not; throws when a loader is there.
    void enter(cover::LoaderEntry entry);
    // It comes back as itself, as it was put on last; throws when it is not in its loader.
    void leave();
    // None when it is not on the bus.
    std::optional<LoaderState> state() const;

    // Emulator thread.
    bool isAttached() const { return mDevice != nullptr; }
    // What is attached is the cover itself.
    bool isCover() const { return mDevice != nullptr && mIsCover; }
    void plug(const cover::UsbIdentity& identity);
    // The microcontroller keeps its power.
    void unplug();
    void reset() {
        if (mDevice) detach();
    }

  private:
    Cover& mCover;
    std::unique_ptr<Device> mDevice;  // emulator thread, as the rest
    cover::UsbIdentity mIdentity;
    bool mIsCover = false;
};

}  // namespace phone
