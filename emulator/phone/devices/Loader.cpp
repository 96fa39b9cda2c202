// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/phone/devices/Loader.h"

#include "emulator/phone/Error.h"
#include "emulator/phone/devices/Cover.h"

namespace phone {

namespace {

// The loader's serial number where no firmware can be started.
constexpr char kErrorSerial[] = "00000000001B";

}  // namespace

void Loader::attach(const std::string& serial, const std::string& product) {
    call([&] {
        const cover::Options& options = mCover.controller().options();
        plug({options.loaderVendor, options.loaderProduct, product, serial});
    });
}

void Loader::plug(const cover::UsbIdentity& identity) {
    if (mDevice) throw Error("the loader is attached already: detach it first");
    mIsCover = !mCover.isAttached();
    if (mIsCover) {
        mCover.controller().powerUpInLoader(identity.serial == kErrorSerial
                                                    ? cover::LoaderEntry::Error
                                                    : cover::LoaderEntry::OnRequest,
                                            EventLoop::now());
    }
    mIdentity = identity;
    const DeviceDescription description = {.identity = identity};
    mDevice = mBackend.make(description);
    recordAttach(mDevice->name(), description, describe(identity));
    try {
        mDevice->publish();
    } catch (...) {
        detach();
        throw;
    }
}

void Loader::unplug() {
    mJournal.add(Kind::Detach, mDevice->name());
    mDevice.reset();
}

void Loader::detach() {
    call([&] {
        mCover.stayAway();
        if (!mDevice) throw Error("no loader is attached");
        const bool wasCover = mIsCover;
        unplug();
        if (wasCover) mCover.controller().powerDown();
    });
}

void Loader::enter(cover::LoaderEntry entry) {
    call([&] {
        if (mDevice) throw Error("the loader is attached already: detach it first");
        mCover.stayAway();
        if (mCover.isAttached()) mCover.detach();
        mCover.controller().powerUpInLoader(entry, EventLoop::now());
        plug(mCover.controller().usbIdentity());
    });
}

std::optional<LoaderState> Loader::state() const {
    return call([&] {
        if (!mDevice) return std::optional<LoaderState>();
        return std::optional(LoaderState{mIdentity, mIsCover, mIdentity.serial == kErrorSerial});
    });
}

void Loader::leave() {
    call([&] {
        if (!isCover()) throw Error("the cover is not in its loader");
        detach();
        mCover.attachAgain();
    });
}

}  // namespace phone
