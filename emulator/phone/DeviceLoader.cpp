// The cover's loader on the bus.

#include "emulator/phone/Devices.h"

namespace phone {

namespace {

// The loader's serial number where no firmware can be started.
constexpr char kErrorSerial[] = "00000000001B";

}  // namespace

void Devices::attachLoader(const cover::UsbIdentity& identity) {
    if (mLoader) throw Error("the loader is attached already: detach it first");
    mLoaderIsCover = !mCover;
    if (mLoaderIsCover) {
        mController->powerUpInLoader(identity.serial == kErrorSerial
                                             ? cover::LoaderEntry::Error
                                             : cover::LoaderEntry::OnRequest,
                                     EventLoop::now());
    }
    mLoader = makeUsb(identity);
    mJournal.add(Kind::Attach, mLoader->name(), {}, UsbDevice::describe(identity));
    try {
        mLoader->publish();
    } catch (...) {
        detachLoader();
        throw;
    }
}

void Devices::unplugLoader() {
    mJournal.add(Kind::Detach, mLoader->name());
    mLoader.reset();
    mLoaderIsCover = false;
}

void Devices::detachLoader() {
    mReturn.reset();
    if (!mLoader) throw Error("no loader is attached");
    const bool wasCover = mLoaderIsCover;
    unplugLoader();
    if (wasCover) mController->powerDown();
}

void Devices::sendToLoader(cover::LoaderEntry entry) {
    if (mLoader) throw Error("the loader is attached already: detach it first");
    mReturn.reset();
    if (mCover) detachCover();
    mController->powerUpInLoader(entry, EventLoop::now());
    attachLoader(mController->usbIdentity());
}

void Devices::leaveLoader() {
    if (!mLoaderIsCover) throw Error("the cover is not in its loader");
    detachLoader();
    attachCover(mLastOptions);
}

}  // namespace phone
