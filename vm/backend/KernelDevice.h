// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// A USB device on the kernel's bus: a gadget behind a socket of vhci_hcd, and what its tty and its
// hidraw node tell their listeners. Emulator thread only.
#pragma once

#include <deque>
#include <filesystem>
#include <future>
#include <optional>
#include <string>
#include <vector>

#include <android-base/unique_fd.h>

#include "emulator/phone/backend/Device.h"
#include "emulator/phone/devices/Cover.h"
#include "vm/backend/Unread.h"
#include "vm/gadget/Gadget.h"

namespace vm {

class KernelBackend;

bool isReady(const std::future<void>& done);

class KernelDevice {
  public:
    // For a free port of vhci_hcd.
    KernelDevice(KernelBackend& backend, int port, const phone::DeviceDescription& description);
    KernelDevice(const KernelDevice&) = delete;
    KernelDevice& operator=(const KernelDevice&) = delete;

    // See phone::Device.
    const std::string& name() const { return mName; }
    void publish();
    void hangUp();
    void send(std::string_view bytes);
    bool hasRoom() const;
    bool hasUnread() const { return mUnread.any(); }
    // As hangUp(), without a word to the listeners.
    void unplug();

    int port() const { return mPort; }
    // Of a device that is not plugged: -1.
    int socket() const { return mSocket.get(); }

    // Takes what the kernel has sent, and answers what the gadget answers by itself; tells no
    // listener.
    void serve();
    // Tells a listener what comes next; false when nothing has come.
    bool tellNext();
    // Offers the tty's device again what it has not taken.
    void offer();
    // Asks again about the reports whose time has come by `now`.
    void askAgain(cover::Time now);
    // When it wants that.
    std::optional<cover::Time> nextDeadline() const;
    // Wakes the device that has something to say, as its remote wake-up would.
    void wake();

    // What the drivers record of its tty; `flags` as text.
    void ttyOpened(const std::string& flags);
    void ttyRead(uint64_t count) { mUnread.read(count); }
    // The last close.
    void ttyClosed();

    const phone::DeviceDescription& description() const { return mDescription; }

  private:
    // A report that waits for its answer.
    struct Waiting {
        gadget::Report report;
        cover::Time came{};
        cover::Time due{};
    };

    void take(const gadget::LineState& state);
    void take(const gadget::Written& written);
    void take(const gadget::Report& report);
    void take(const gadget::TakenBack& transfer);
    void ask(Waiting waiting, bool waited);
    // The kernel's driver gives up the reports that wait.
    void refuse(Waiting waiting, int error);
    void sendOutput();
    // How long the last close of the tty waits for bytes that its device does not take.
    void setClosingWait(cover::Time wait);
    void tellLine();
    // The names that the kernel has given.
    void checkNames() const;
    bool hasNodes() const;
    std::filesystem::path folder() const;

    KernelBackend& mBackend;
    const int mPort;
    const std::string mName;
    const phone::DeviceDescription mDescription;
    gadget::Gadget mGadget;
    android::base::unique_fd mSocket;
    std::deque<gadget::Event> mEvents;
    std::deque<gadget::Written> mWritten;  // not taken by the tty's device
    std::vector<Waiting> mWaiting;
    // The kernel raises DTR before its open has succeeded: held until the record of the open.
    bool mHeldDtr = false;
    bool mIsTtyOpen = false;
    Unread mUnread;
    cover::Time mClosingWait = phone::kClosingWait;  // as the kernel's driver begins
    // What the kernel does only while the device is played.
    std::future<void> mWaker;
    std::future<void> mSetter;
};

}  // namespace vm
