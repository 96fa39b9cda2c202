// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The cover's sub display behind its hidraw node.
#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>

#include "emulator/cover/Panel.h"
#include "emulator/cover/PanelFaults.h"
#include "emulator/phone/devices/HidRecorder.h"
#include "emulator/phone/devices/Subject.h"
#include "emulator/phone/devices/UsbPower.h"

namespace phone {

class Panel : public Subject, public HidRecorder {
  public:
    // `pullOff`: a fault takes the cover off; it leads to unplug().
    Panel(const Surroundings& surroundings, UsbPower& power, std::function<void()> pullOff)
        : Subject(surroundings),
          HidRecorder(surroundings.journal),
          mPower(power),
          mPullOff(std::move(pullOff)) {}

    // From the panel's plugging in on.
    cover::PanelState state() const;
    bool isAttached() const;
    cover::PanelOptions options() const;
    // Take effect with its next report.
    void setOptions(const cover::PanelOptions& options);
    // How long an open takes while nobody has the node open: the kernel's driver waits so long for
    // what the device may still send. No other call waits with it.
    cover::Time openTime() const;
    void setOpenTime(cover::Time time);
    // What it shows (cover::Panel::picture()); none without a panel too.
    std::optional<cover::Picture> picture() const;

    // Emulator thread. Its supply; a panel that was never plugged may be unplugged.
    void plug();
    void unplug();
    cover::PanelFaults& faults() { return mFaults; }
    void reset();

    HidAnswer hidOpened(const std::string& node, const HidOpen& open, bool waited) override;
    HidAnswer hidRequested(const std::string& node, const HidRequest& request,
                           bool waited) override;

  private:
    // Of usbhid.
    static constexpr cover::Time kKernelOpenTime = std::chrono::milliseconds(50);

    // What faults make of a call that takes `time` without them: its error, or 0 and how much
    // passes if not all; it may have to wait. One of them may pull the cover off.
    HidAnswer begin(const std::string& node, cover::PanelCall call, cover::Time time, bool waited,
                    std::optional<uint64_t>* pass);
    // How long a call has lasted that came then, for its record.
    cover::Time heldOf(cover::Time came, cover::Time held) const;
    // What becomes of a transfer that no fault has stopped.
    HidAnswer transfer(const HidRequest& request, std::optional<uint64_t> pass);

    UsbPower& mPower;
    const std::function<void()> mPullOff;
    cover::Panel mPanel;
    cover::PanelFaults mFaults;
    bool mIsPlugged = false;
    cover::Time mOpenTime = kKernelOpenTime;
};

}  // namespace phone
