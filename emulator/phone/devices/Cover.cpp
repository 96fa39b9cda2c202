// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/phone/devices/Cover.h"

#include <cstdio>

#include "emulator/phone/Error.h"
#include "emulator/phone/devices/Loader.h"
#include "emulator/phone/devices/Panel.h"
#include "emulator/phone/devices/UsbPower.h"

namespace phone {

namespace {

void refuseLineEnds(const std::string& line, const std::string& what = "a line of the log") {
    if (line.find_first_of("\r\n") == std::string::npos) return;
    throw Error(what + " holds no line ends");
}

std::optional<int> numberIf(bool wanted, int number) {
    return wanted ? std::optional(number) : std::nullopt;
}

}  // namespace

std::string describe(const cover::UsbIdentity& identity) {
    char ids[10];
    snprintf(ids, sizeof(ids), "%04x:%04x", identity.vendor, identity.product);
    std::string text = ids;
    if (!identity.productName.empty()) text += " " + identity.productName;
    if (!identity.serial.empty()) text += " " + identity.serial;
    return text;
}

void Cover::attach(const CoverOptions& options) {
    call([&] {
        if (mDevice) throw Error("the cover is attached already: detach it first");
        DeviceDescription description = {.vendorText = options.idVendorText,
                                         .productText = options.idProductText,
                                         .onBus = options.withUsb,
                                         .tty = numberIf(options.withTty, options.tty),
                                         .ttyListener = this,
                                         .hidraw = numberIf(options.withHid, options.hid),
                                         .hidListener = &mPanel};
        mBackend.checkFree(description);
        stayAway();
        if (mLoader.isCover()) mLoader.detach();
        mActions.clear();
        mOptions = options;
        mController->powerUp(EventLoop::now());
        description.identity = mController->usbIdentity();
        // Firmware that was cut short does not start.
        if (mController->state().power == cover::Power::Loader) {
            return mLoader.plug(description.identity);
        }
        mDevice = mBackend.make(description);
        recordAttach(mDevice->name(), description, describe(description.identity));
        if (options.withHid) mPanel.plug();
        // It waits for the first open of the tty, which is not there yet.
        const std::string& banner = mController->options().banner;
        if (options.withTty && !banner.empty()) transmit(banner + "\r\n");
        try {
            mDevice->publish();
            if (options.withUsb) mPower.plug(mDevice->name());
        } catch (...) {
            detach();
            throw;
        }
    });
}

void Cover::unplug() {
    const auto begin = std::chrono::steady_clock::now();
    const std::unique_ptr<Device> device = std::move(mDevice);
    mActions.clear();
    mLeaveLimit.reset();
    mPower.unplug();
    device->hangUp();
    mPanel.unplug();
    for (std::promise<void>& departure : mDepartures) departure.set_value();
    mDepartures.clear();
    // Last: the entry wakes who waits for the departure.
    recordDetach(device->name(), begin);
}

void Cover::requireAttached() const {
    if (!mDevice) throw Error("no cover is attached");
}

void Cover::detach(Unread unread) {
    if (unread == Unread::Read) return detachWhenRead().get();
    call([&] {
        stayAway();
        requireAttached();
        unplug();
        mController->powerDown();
    });
}

void Cover::reattach() {
    call([&] {
        requireAttached();
        detach();
        attachAgain();
    });
}

bool Cover::isAttached() const {
    return call([&] { return mDevice != nullptr; });
}

cover::State Cover::state() const {
    return call([&] { return mController->state(); });
}

std::vector<std::pair<std::string, std::string>> Cover::listState() const {
    return call([&] { return mController->listState(); });
}

cover::Upgrade Cover::upgrade() const {
    return call([&] { return mController->upgrade(); });
}

cover::Options Cover::options() const {
    return call([&] { return mController->options(); });
}

void Cover::setOptions(cover::Options options) {
    refuseLineEnds(options.banner, "a banner");
    call([&] { mController->setOptions(std::move(options)); });
}

cover::Time Cover::closingWait() const {
    return call([&] { return mClosingWait; });
}

void Cover::setClosingWait(cover::Time wait) {
    call([&] { mClosingWait = wait; });
}

void Cover::send(const std::string& bytes) {
    call([&] {
        if (!hasTty()) throw Error("the cover has no tty: attach it first");
        transmit(bytes);
    });
}

bool Cover::log(const std::string& line) {
    refuseLineEnds(line);
    return call([&] {
        if (!mController->log(line, EventLoop::now())) return false;
        // So that the next reader of the tty finds it.
        turn();
        return true;
    });
}

void Cover::setChatter(std::optional<cover::Chatter> chatter) {
    if (chatter) refuseLineEnds(chatter->text);
    if (chatter && chatter->gap < cover::Time::zero()) {
        throw Error("the time between two lines is not negative");
    }
    call([&] { mController->setChatter(std::move(chatter), EventLoop::now()); });
}

std::optional<cover::Chatter> Cover::chatter() const {
    return call([&] { return mController->chatter(); });
}

void Cover::reset() {
    stayAway();
    if (mDevice) detach();
    mController = std::make_unique<cover::Microcontroller>();
    mOptions = {};
    mClosingWait = kClosingWait;
}

void Cover::transmit(const std::string& bytes) {
    // First the record: the phone's software may act on the bytes at once.
    mJournal.add(Kind::TtyTx, ttyNode(mOptions.tty), bytes);
    mPower.use();
    mDevice->send(bytes);
}

cover::Time Cover::wake() {
    return mPower.use();
}

std::optional<cover::Time> Cover::ttyOpened(const std::string& node, const std::string& flags) {
    TtyRecorder::ttyOpened(node, flags);
    return mController->mayBeDeaf() ? std::optional(mClosingWait) : std::nullopt;
}

size_t Cover::ttyReceived(const std::string& node, const std::string& bytes) {
    mPower.use();
    size_t taken = mController->state().deaf ? 0 : bytes.size();
    if (mDevice) taken = mController->receive(bytes, EventLoop::now());
    TtyRecorder::ttyReceived(node, bytes.substr(0, taken));
    recordStrikes(node, mController->faults().takeStrikes());
    return taken;
}

void Cover::dtrSet(const std::string& node, bool raised) {
    if (!mDevice || mController->state().dtr == raised) return;
    mJournal.add(Kind::Dtr, node, {}, raised ? "raised" : "lowered");
    mController->setDtr(raised);
}

void Cover::recover() {
    if (mDevice) mController->recover(EventLoop::now());
}

}  // namespace phone
