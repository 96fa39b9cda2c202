#include "emulator/phone/Devices.h"

#include <algorithm>
#include <filesystem>
#include <set>

#include "emulator/phone/Files.h"

namespace phone {

using std::chrono::milliseconds;
using std::chrono::seconds;

namespace fs = std::filesystem;

namespace {

// From leaving the bus to being back on it.
constexpr cover::Time kAwayTime = milliseconds(50);
// How long a departure waits for the phone to read, and how often it looks.
constexpr cover::Time kReadLimit = seconds(3);
constexpr cover::Time kReadCheck = milliseconds(1);
// Actions of the cover in one turn of the loop; others get their turn in between.
constexpr int kActionsPerTurn = 16;

constexpr int kMaxTty = 255;
// Number 1 is the bus itself.
constexpr int kMinUsbNumber = 2;
constexpr int kMaxUsbNumber = 127;

}  // namespace

Devices::Devices(EventLoop& loop, Journal& journal)
    : mLoop(loop),
      mJournal(journal),
      mFiles(loop, journal,
             [this](const std::string& path, const std::string& bytes) {
                 nodeWritten(path, bytes);
             }),
      mHidraw(loop, journal,
              [this] {
                  if (mCover) detachCover();
              }),
      mController(std::make_unique<cover::Microcontroller>()) {
    makeFiles();
}

Devices::~Devices() = default;

void Devices::reset() {
    mReturn.reset();
    if (mCover) detachCover();
    while (!mForeign.empty()) detachForeignTty(mForeign.begin()->first);
    if (mLoader) detachLoader();
    clearFaults();
    if (!mProperties.empty()) clearProperties();
    mController = std::make_unique<cover::Microcontroller>();
    mLastOptions = {};
    panel() = cover::Panel();
    for (const char* folder : {"/sys", "/data", "/system_ext"}) {
        for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
            // The sockets of the services of this phone.
            if (entry.path() != "/data/hidl") removeTree(entry.path());
        }
    }
    makeFiles();
}

std::optional<cover::Time> Devices::turn() {
    decideWaiting(EventLoop::now());
    std::optional<cover::Time> next = turnCover();
    for (const auto& [fd, supervisor] : mSupervisors) {
        const std::optional<cover::Time> due = supervisor.nextDeadline();
        if (due && (!next || *due < *next)) next = due;
    }
    return next;
}

std::optional<cover::Time> Devices::turnCover() {
    if (mReturn && EventLoop::now() >= mReturn->due) comeBack();
    // Whoever asked it to leave waits, whatever else is still to be sent.
    if (!mDepartures.empty() && EventLoop::now() >= *mLeaveLimit) detachCover();
    bool waits = false;
    for (int i = 0; i < kActionsPerTurn && !waits; ++i) {
        if (mActions.empty()) {
            for (cover::Action& action : mController->poll(EventLoop::now())) {
                mActions.push_back(std::move(action));
            }
            if (mActions.empty()) break;
        }
        const cover::Action action = mActions.front();
        waits = !perform(action);
        if (!waits && !mActions.empty()) mActions.pop_front();
    }
    if (mLeaveLimit) return std::min(EventLoop::now() + kReadCheck, *mLeaveLimit);
    // A full pty tells when there is room; other actions that are left go on at once.
    std::optional<cover::Time> next;
    if (!mActions.empty()) {
        if (!waits) next = EventLoop::now();
    } else {
        next = mController->nextDeadline();
    }
    if (mReturn && (!next || mReturn->due < *next)) next = mReturn->due;
    return next;
}

bool Devices::perform(const cover::Action& action) {
    switch (action.kind) {
        case cover::Action::Kind::Send:
            if (!mCover || !mCover->tty) return true;
            if (!mCover->tty->isFlushed()) return false;
            send(*mCover->tty, action.bytes);
            return true;
        case cover::Action::Kind::Progress:
            noteUpgrade(std::to_string(action.percent) + "%");
            return true;
        case cover::Action::Kind::HangUp:
        case cover::Action::Kind::Reenumerate:
            return leave(action);
    }
    return true;
}

bool Devices::leave(const cover::Action& action) {
    if (mLoaderIsCover) {
        unplugLoader();
        mReturn = {EventLoop::now() + kAwayTime, action.identity, mLastOptions};
        return true;
    }
    if (!mCover) return true;
    const CoverOptions options = mCover->options;
    const bool returns = action.kind == cover::Action::Kind::Reenumerate;
    const cover::UsbIdentity identity = action.identity;
    // A recovery resets the device: it waits for nobody.
    const bool isReset = returns && identity == mController->options().usb;
    if (!isReset && !mayLeave()) return false;
    unplugCover();
    if (returns) {
        mReturn = {EventLoop::now() + kAwayTime, identity, options};
    } else {
        mController->powerDown();
    }
    return true;
}

bool Devices::mayLeave() {
    const cover::Time now = EventLoop::now();
    const Tty* tty = mCover->tty.get();
    if (tty == nullptr || (tty->isFlushed() && !tty->hasUnread())) return true;
    if (!mLeaveLimit) mLeaveLimit = now + kReadLimit;
    return now >= *mLeaveLimit;
}

void Devices::comeBack() {
    const Return back = *std::exchange(mReturn, std::nullopt);
    try {
        if (back.identity == mController->options().usb) {
            attachCover(back.options);
        } else {
            // Another may have come meanwhile.
            if (mLoader) unplugLoader();
            attachLoader(back.identity);
        }
    } catch (const std::exception& error) {
        // Its node is taken, or the phone is out of descriptors: nobody waits for an answer here.
        mController->powerDown();
        mJournal.add(Kind::Detach, {}, {}, std::string("does not come back: ") + error.what());
    }
}

std::unique_ptr<UsbDevice> Devices::makeUsb(const cover::UsbIdentity& identity) {
    std::set<int> ports;
    std::set<int> numbers;
    const auto take = [&](const UsbDevice* device) {
        if (device == nullptr) return;
        ports.insert(device->port());
        numbers.insert(device->number());
    };
    take(mLoader.get());
    if (mCover) take(mCover->usb.get());
    for (const auto& [number, foreign] : mForeign) take(foreign->usb.get());
    int port = 1;
    while (ports.count(port) != 0) ++port;
    do {
        mLastUsbNumber = mLastUsbNumber == kMaxUsbNumber ? kMinUsbNumber : mLastUsbNumber + 1;
    } while (numbers.count(mLastUsbNumber) != 0);
    return std::make_unique<UsbDevice>(port, mLastUsbNumber, identity);
}

void Devices::checkTtyNumber(int number) const {
    if (number < 0 || number > kMaxTty) {
        throw Error("a tty's number is 0 to " + std::to_string(kMaxTty));
    }
    const bool taken =
            mForeign.count(number) != 0 || (mCover && mCover->tty && mCover->options.tty == number);
    if (taken) {
        throw Error("ttyACM" + std::to_string(number) + " is there already: detach it first");
    }
}

void Devices::checkNumbers(const CoverOptions& options) const {
    if (options.withTty) checkTtyNumber(options.tty);
    if (options.withHid) Hidraw::checkNumber(options.hid);
}

void Devices::attachCover(const CoverOptions& options) {
    if (mCover) throw Error("the cover is attached already: detach it first");
    checkNumbers(options);
    mReturn.reset();
    if (mLoader && mLoaderIsCover) detachLoader();
    mActions.clear();
    mLastOptions = options;
    mController->powerUp(EventLoop::now());
    const cover::UsbIdentity identity = mController->usbIdentity();
    // Firmware that was cut short does not start.
    if (mController->state().power == cover::Power::Loader) return attachLoader(identity);

    auto device = std::make_unique<Plugged>();
    device->options = options;
    device->usb = makeUsb(identity);
    device->usb->setIds(options.idVendorText.value_or(UsbDevice::idText(identity.vendor)),
                        options.idProductText.value_or(UsbDevice::idText(identity.product)));
    mJournal.add(Kind::Attach, device->usb->name(), {}, UsbDevice::describe(identity));
    mCover = std::move(device);
    try {
        plug(options);
    } catch (...) {
        detachCover();
        throw;
    }
}

void Devices::plug(const CoverOptions& options) {
    if (options.withTty) {
        mCover->tty = std::make_unique<Tty>(options.tty);
        mCover->usb->addTty(options.tty);
        watch(*mCover->tty);
    }
    if (options.withHid) mCover->usb->addHidraw(options.hid);
    // In the order of the device's interfaces, as the kernel does.
    if (options.withUsb) mCover->usb->publish();
    if (options.withTty) mCover->tty->publish();
    if (!options.withHid) return;
    mHidraw.plug(options.hid);
    mCover->hasHidraw = true;
}

void Devices::detachCover() {
    mReturn.reset();
    if (!mCover) throw Error("no cover is attached");
    unplugCover();
    mController->powerDown();
}

void Devices::reattachCover() {
    if (!mCover) throw Error("no cover is attached");
    const CoverOptions options = mCover->options;
    detachCover();
    attachCover(options);
}

std::future<void> Devices::detachCoverWhenRead() {
    if (!mCover) throw Error("no cover is attached");
    mDepartures.emplace_back();
    mLeaveLimit = EventLoop::now() + kReadLimit;
    cover::Action leave;
    leave.kind = cover::Action::Kind::HangUp;
    mActions.push_back(leave);
    return mDepartures.back().get_future();
}

void Devices::unplug(std::unique_ptr<Plugged> device) {
    if (device->tty) {
        readTty(*device->tty);
        mLoop.unwatch(device->tty->master());
        device->tty.reset();
    }
    if (device->hasHidraw) {
        mHidraw.unplug();
        // Transfers that are under way end here.
        decideWaiting();
    }
    mJournal.add(Kind::Detach, device->usb->name());
    device->usb.reset();
}

void Devices::unplugCover() {
    std::unique_ptr<Plugged> device = std::move(mCover);
    mActions.clear();
    mLeaveLimit.reset();
    unplug(std::move(device));
    for (std::promise<void>& departure : mDepartures) departure.set_value();
    mDepartures.clear();
}

void Devices::sendFromCover(const std::string& bytes) {
    if (!mCover || !mCover->tty) throw Error("the cover has no tty: attach it first");
    send(*mCover->tty, bytes);
}

bool Devices::logFromCover(const std::string& line) {
    if (line.find_first_of("\r\n") != std::string::npos) {
        throw Error("a line of the log holds no line ends");
    }
    if (!mController->log(line, EventLoop::now())) return false;
    // So that who reads the tty next finds it.
    turn();
    return true;
}

void Devices::setChatter(std::optional<cover::Chatter> chatter) {
    if (chatter && chatter->text.find_first_of("\r\n") != std::string::npos) {
        throw Error("a line of the log holds no line ends");
    }
    if (chatter && chatter->gap < cover::Time::zero()) {
        throw Error("the time between two lines is not negative");
    }
    mController->setChatter(std::move(chatter), EventLoop::now());
}

void Devices::attachForeignTty(int number, const std::string& vendorText,
                               const std::string& productText) {
    checkTtyNumber(number);
    auto device = std::make_unique<Plugged>();
    device->usb = makeUsb({});
    device->usb->setIds(vendorText, productText);
    device->usb->addTty(number);
    device->tty = std::make_unique<Tty>(number);
    mJournal.add(Kind::Attach, device->usb->name(), {}, device->tty->node());
    watch(*device->tty);
    Tty& tty = *device->tty;
    mForeign[number] = std::move(device);
    try {
        tty.publish();
    } catch (...) {
        detachForeignTty(number);
        throw;
    }
}

void Devices::detachForeignTty(int number) {
    const auto device = mForeign.find(number);
    if (device == mForeign.end()) {
        throw Error("there is no foreign ttyACM" + std::to_string(number));
    }
    std::unique_ptr<Plugged> gone = std::move(device->second);
    mForeign.erase(device);
    unplug(std::move(gone));
}

}  // namespace phone
