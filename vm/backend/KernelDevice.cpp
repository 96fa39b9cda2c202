// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "vm/backend/KernelDevice.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <linux/serial.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include "emulator/cover/Integers.h"
#include "emulator/phone/Error.h"
#include "emulator/phone/world/Files.h"
#include "vm/backend/KernelBackend.h"
#include "vm/backend/Names.h"
#include "vm/backend/Vhci.h"

namespace vm {

namespace fs = std::filesystem;

namespace {

// What a device holds for a host that does not ask, as that of Linux's own serial gadget.
constexpr size_t kDeviceBuffer = 8192;
// How long a device waits for programs that have an earlier one of its nodes open.
constexpr cover::Time kOldNodes = std::chrono::seconds(3);
// How often a device that wants to wake the bus looks whether it has.
constexpr cover::Time kWakeCheck = std::chrono::milliseconds(20);

// A message of USB/IP at least.
constexpr size_t kMessage = 48;
// What a device says first comes while the open of its tty still waits for an answer: so long does
// the kernel need to take it, and to echo it.
constexpr cover::Time kFirstWords = std::chrono::milliseconds(20);
// Of a serial_struct.
constexpr cover::Time kClosingWaitUnit = std::chrono::milliseconds(10);

bool isNode(const std::string& path) {
    struct stat status;
    return stat(path.c_str(), &status) == 0 && S_ISCHR(status.st_mode);
}

// The names of what is in the folder and begins so.
std::vector<std::string> namesIn(const fs::path& folder, const std::string& start) {
    std::vector<std::string> names;
    std::error_code error;
    for (fs::directory_iterator entry(folder, error), end; entry != end && !error;
         entry.increment(error)) {
        const std::string name = entry->path().filename();
        if (name.starts_with(start)) names.push_back(name);
    }
    return names;
}

// The tty of the device in this folder of sysfs; empty when there is none yet.
std::string ttyIn(const fs::path& folder, const std::string& device) {
    for (const std::string& interface : namesIn(folder, device + ":")) {
        for (const std::string& tty : namesIn(folder / interface / "tty", "ttyACM")) return tty;
    }
    return {};
}

std::string hidrawIn(const fs::path& folder, const std::string& device) {
    for (const std::string& interface : namesIn(folder, device + ":")) {
        for (const std::string& hid : namesIn(folder / interface, "0003:")) {
            for (const std::string& node : namesIn(folder / interface / hid / "hidraw", "hidraw")) {
                return node;
            }
        }
    }
    return {};
}

int numberIn(const fs::path& file) {
    std::string text = phone::takeFile(file).value_or("");
    std::erase(text, '\n');
    return cover::parseInteger<int>(text).value_or(0);
}

// The bus's node of the device in this folder of sysfs.
std::string busNode(const fs::path& folder) {
    char node[64];
    snprintf(node, sizeof(node), "/dev/bus/usb/%03d/%03d", numberIn(folder / "busnum"),
             numberIn(folder / "devnum"));
    return node;
}

}  // namespace

bool isReady(const std::future<void>& done) {
    return done.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
}

KernelDevice::KernelDevice(KernelBackend& backend, int port,
                           const phone::DeviceDescription& description)
    : mBackend(backend),
      mPort(port),
      mName("1-" + std::to_string(port + 1)),
      mDescription(description),
      mGadget(description) {}

fs::path KernelDevice::folder() const {
    return fs::path(kBus) / mName;
}

bool KernelDevice::hasNodes() const {
    const fs::path folder = this->folder();
    // Its configuration is chosen.
    if (namesIn(folder, mName + ":").empty() || !isNode(busNode(folder))) return false;
    if (mDescription.tty) {
        const std::string tty = ttyIn(folder, mName);
        if (tty.empty() || !isNode("/dev/" + tty)) return false;
    }
    if (mDescription.hidraw) {
        const std::string hidraw = hidrawIn(folder, mName);
        if (hidraw.empty() || !isNode("/dev/" + hidraw)) return false;
    }
    return true;
}

void KernelDevice::checkNames() const {
    const auto check = [](const std::string& wanted, const std::string& given) {
        if (wanted == given) return;
        throw phone::Error("the kernel has named the new device " + given + " and not " + wanted +
                           ", which a program has open still");
    };
    if (mDescription.tty) {
        check(phone::ttyNode(*mDescription.tty), "/dev/" + ttyIn(folder(), mName));
    }
    if (mDescription.hidraw) {
        check(phone::hidrawNode(*mDescription.hidraw), "/dev/" + hidrawIn(folder(), mName));
    }
}

void KernelDevice::publish() {
    mBackend.awaitClosed(mDescription, kOldNodes);
    mSocket = plugIn(mPort);
    mBackend.loop().watch(mSocket.get(), POLLIN, [&backend = mBackend](short) { backend.drain(); });
    try {
        mBackend.serveUntil([this] { return hasNodes(); }, "make the nodes of " + mName);
        checkNames();
    } catch (...) {
        unplug();
        throw;
    }
}

void KernelDevice::serve() {
    char buffer[16384];
    ssize_t count = -1;
    while (mSocket.ok()) {
        const bool speaksFirst = !mIsTtyOpen && mGadget.waiting() > 0;
        count = recv(mSocket.get(), buffer, speaksFirst ? kMessage : sizeof(buffer), MSG_DONTWAIT);
        if (count <= 0) break;
        const uint64_t fetched = mGadget.fetched();
        mGadget.receive({buffer, static_cast<size_t>(count)});
        for (gadget::Event& event : mGadget.takeEvents()) mEvents.push_back(std::move(event));
        sendOutput();
        if (speaksFirst && mGadget.fetched() > fetched) std::this_thread::sleep_for(kFirstWords);
    }
    // The kernel has let it go by itself.
    if (count == 0) mBackend.loop().unwatch(mSocket.get());
}

void KernelDevice::sendOutput() {
    const std::string output = mGadget.takeOutput();
    for (size_t sent = 0; mSocket.ok() && sent < output.size();) {
        const ssize_t count =
                ::send(mSocket.get(), output.data() + sent, output.size() - sent, MSG_NOSIGNAL);
        if (count <= 0) return;
        sent += static_cast<size_t>(count);
    }
    mUnread.fetch(mGadget.fetched());
}

bool KernelDevice::tellNext() {
    if (mEvents.empty()) return false;
    const gadget::Event event = std::move(mEvents.front());
    mEvents.pop_front();
    std::visit([this](const auto& what) { take(what); }, event);
    return true;
}

void KernelDevice::take(const gadget::LineState& state) {
    mHeldDtr = state.dtr && !mIsTtyOpen;
    if (!mHeldDtr) mDescription.ttyListener->dtrSet(phone::ttyNode(*mDescription.tty), state.dtr);
}

void KernelDevice::tellLine() {
    if (!std::exchange(mHeldDtr, false)) return;
    mDescription.ttyListener->dtrSet(phone::ttyNode(*mDescription.tty), true);
}

void KernelDevice::ttyOpened(const std::string& flags) {
    mIsTtyOpen = true;
    const std::optional<cover::Time> wait =
            mDescription.ttyListener->ttyOpened(phone::ttyNode(*mDescription.tty), flags);
    tellLine();
    if (wait && *wait != mClosingWait) setClosingWait(*wait);
}

void KernelDevice::setClosingWait(cover::Time wait) {
    mClosingWait = wait;
    mSetter = std::async(std::launch::async, [node = phone::ttyNode(*mDescription.tty), wait] {
        const android::base::unique_fd tty(open(node.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC));
        serial_struct settings = {};
        if (!tty.ok() || ioctl(tty.get(), TIOCGSERIAL, &settings) != 0) return;
        settings.closing_wait = static_cast<unsigned short>(wait / kClosingWaitUnit);
        ioctl(tty.get(), TIOCSSERIAL, &settings);
    });
}

void KernelDevice::ttyClosed() {
    mIsTtyOpen = false;
    mUnread.drop();
}

void KernelDevice::take(const gadget::Written& written) {
    tellLine();
    mWritten.push_back(written);
    offer();
}

void KernelDevice::offer() {
    while (!mWritten.empty()) {
        const gadget::Written written = mWritten.front();
        const size_t taken = mDescription.ttyListener->ttyReceived(
                phone::ttyNode(*mDescription.tty), written.bytes);
        // The listener may have unplugged the device.
        if (mWritten.empty()) return;
        if (taken < written.bytes.size()) {
            mWritten.front().bytes.erase(0, taken);
            return;
        }
        mWritten.pop_front();
        mGadget.complete(written.id);
        sendOutput();
    }
}

void KernelDevice::take(const gadget::TakenBack& transfer) {
    for (auto written = mWritten.begin(); written != mWritten.end(); ++written) {
        if (written->id != transfer.id) continue;
        const std::string lost = written->bytes;
        mWritten.erase(written);
        mDescription.ttyListener->ttyLost(phone::ttyNode(*mDescription.tty), lost);
        return;
    }
    for (auto waiting = mWaiting.begin(); waiting != mWaiting.end(); ++waiting) {
        if (waiting->report.id != transfer.id) continue;
        const Waiting late = *waiting;
        mWaiting.erase(waiting);
        return refuse(late, ETIMEDOUT);
    }
}

void KernelDevice::take(const gadget::Report& report) {
    ask({.report = report, .came = phone::EventLoop::now()}, false);
}

void KernelDevice::ask(Waiting waiting, bool waited) {
    const cover::Time now = phone::EventLoop::now();
    gadget::Report& report = waiting.report;
    report.request.held = waited ? now - waiting.came : cover::Time::zero();
    const phone::HidAnswer answer = mDescription.hidListener->hidRequested(
            phone::hidrawNode(*mDescription.hidraw), report.request, waited);
    if (answer.askAgainAfter) {
        waiting.due = now + *answer.askAgainAfter;
        mWaiting.push_back(std::move(waiting));
        return;
    }
    mGadget.complete(report.id, answer);
    sendOutput();
}

void KernelDevice::refuse(Waiting waiting, int error) {
    waiting.report.request.held = phone::EventLoop::now() - waiting.came;
    mDescription.hidListener->hidRefused(phone::hidrawNode(*mDescription.hidraw),
                                         waiting.report.request, error);
}

void KernelDevice::askAgain(cover::Time now) {
    std::vector<Waiting> due;
    std::erase_if(mWaiting, [&](Waiting& waiting) {
        if (waiting.due > now) return false;
        due.push_back(waiting);
        return true;
    });
    for (Waiting& waiting : due) ask(std::move(waiting), true);
}

std::optional<cover::Time> KernelDevice::nextDeadline() const {
    std::optional<cover::Time> next;
    for (const Waiting& waiting : mWaiting) {
        next = std::min(next.value_or(waiting.due), waiting.due);
    }
    if (mGadget.mayWake() && mGadget.waiting() > 0) {
        const cover::Time check = phone::EventLoop::now() + kWakeCheck;
        next = std::min(next.value_or(check), check);
    }
    return next;
}

void KernelDevice::send(std::string_view bytes) {
    mUnread.send(bytes);
    mGadget.send(bytes);
    sendOutput();
    wake();
}

bool KernelDevice::hasRoom() const {
    return mGadget.waiting() < kDeviceBuffer;
}

// vhci_hcd knows no remote wake-up; an open of the device's node on the bus wakes it as well.
void KernelDevice::wake() {
    if (!mSocket.ok() || !mGadget.mayWake() || mGadget.waiting() == 0) return;
    if (mWaker.valid() && !isReady(mWaker)) return;
    // The open waits for the device, which this thread plays.
    mWaker = std::async(std::launch::async, [node = busNode(folder())] {
        const android::base::unique_fd fd(open(node.c_str(), O_RDWR | O_CLOEXEC));
    });
}

void KernelDevice::hangUp() {
    mBackend.drainRecords();
    serve();
    std::deque<gadget::Event> last = std::exchange(mEvents, {});
    for (const gadget::Event& event : last) {
        if (const auto* report = std::get_if<gadget::Report>(&event)) {
            mWaiting.push_back({.report = *report, .came = phone::EventLoop::now()});
        } else {
            std::visit([this](const auto& what) { take(what); }, event);
        }
    }
    mWritten.clear();
    // As a USB host ends the transfers of a device that goes; vhci_hcd leaves a control transfer to
    // its time limit.
    for (const Waiting& waiting : std::exchange(mWaiting, {})) {
        refuse(waiting, ESHUTDOWN);
        mGadget.complete(waiting.report.id, {.result = -ESHUTDOWN});
    }
    sendOutput();
    unplug();
    mBackend.drainRecords();
}

void KernelDevice::unplug() {
    if (!mSocket.ok()) return;
    mBackend.loop().unwatch(mSocket.get());
    pullOut(mSocket.get());
    mEvents.clear();
    mWritten.clear();
    mWaiting.clear();
    const auto isGone = [this] {
        std::error_code error;
        const std::vector<int> free = freePorts();
        return !fs::exists(folder(), error) &&
               std::find(free.begin(), free.end(), mPort) != free.end();
    };
    mBackend.serveUntil(isGone, "let go of " + mName);
    mSocket.reset();
    mUnread = {};
}

}  // namespace vm
