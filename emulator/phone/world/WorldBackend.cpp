// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/phone/world/WorldBackend.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <set>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <sys/resource.h>
#include <unistd.h>

#include "emulator/phone/Error.h"
#include "emulator/phone/Paths.h"
#include "emulator/phone/world/Files.h"
#include "emulator/phone/world/Program.h"

namespace phone {

using android::base::unique_fd;

namespace fs = std::filesystem;

namespace {

constexpr int kMaxTty = 255;
// Number 1 is the bus itself.
constexpr int kMinUsbNumber = 2;
constexpr int kMaxUsbNumber = 127;

// Some descriptors have high numbers in the phone's software, which inherits this limit.
void allowDescriptors() {
    rlimit limit = {};
    getrlimit(RLIMIT_NOFILE, &limit);
    constexpr rlim_t kEnd = kTtyNumbers.end;
    if (limit.rlim_cur >= kEnd) return;
    const rlimit wanted = {kEnd, std::max(limit.rlim_max, kEnd)};
    if (setrlimit(RLIMIT_NOFILE, &wanted) == 0) return;
    const std::string needed = std::to_string(kEnd);
    throw Error("the phone's software needs " + needed + " descriptors, and " +
                std::to_string(limit.rlim_max) +
                " is the most that is allowed here: allow more with \"ulimit -Hn " + needed +
                "\" as root, or start the container with \"--ulimit nofile=" + needed + "\"");
}

void makeFolders() {
    for (const char* folder : {kFirmwareFolder, kTouchFolder, "/data/property", "/sys/class/tty",
                               "/sys/class/hidraw", "/sys/bus/usb/devices", "/dev/bus/usb/001"}) {
        fs::create_directories(folder);
    }
}

}  // namespace

WorldBackend::WorldBackend(EventLoop& loop) : mLoop(loop), mFiles(loop), mHidraw(loop) {
    refuseSupervised();
    allowDescriptors();
    makeFolders();
}

void WorldBackend::checkFree(const DeviceDescription& description) const {
    if (description.tty) {
        const int number = *description.tty;
        if (number < 0 || number > kMaxTty) {
            throw Error("a tty's number is 0 to " + std::to_string(kMaxTty));
        }
        if (std::any_of(mDevices.begin(), mDevices.end(),
                        [number](const PluggedDevice* d) { return d->hasTty(number); })) {
            throw Error("ttyACM" + std::to_string(number) + " is there already: detach it first");
        }
    }
    if (description.hidraw) Hidraw::checkNumber(*description.hidraw);
}

std::unique_ptr<Device> WorldBackend::make(const DeviceDescription& description) {
    std::set<int> ports;
    std::set<int> numbers;
    for (const PluggedDevice* device : mDevices) {
        ports.insert(device->usb().port());
        numbers.insert(device->usb().number());
    }
    int port = 1;
    while (ports.count(port) != 0) ++port;
    do {
        mLastUsbNumber = mLastUsbNumber == kMaxUsbNumber ? kMinUsbNumber : mLastUsbNumber + 1;
    } while (numbers.count(mLastUsbNumber) != 0);
    auto device = std::make_unique<PluggedDevice>(*this, port, mLastUsbNumber, description);
    mDevices.push_back(device.get());
    return device;
}

void WorldBackend::forget(const PluggedDevice& device) {
    std::erase(mDevices, &device);
}

PluggedDevice* WorldBackend::findTty(const std::string& path) const {
    const auto device = std::find_if(mDevices.begin(), mDevices.end(),
                                     [&](const auto* d) { return d->hasTty(path); });
    return device == mDevices.end() ? nullptr : *device;
}

void WorldBackend::putFile(const fs::path& path, std::string_view content) {
    phone::putFile(path, content);
}

void WorldBackend::removeFile(const fs::path& path) {
    removeTree(path);
}

std::optional<std::string> WorldBackend::readFile(const fs::path& path) const {
    return takeFile(path);
}

std::vector<File> WorldBackend::listFiles(const fs::path& folder) const {
    return phone::listFiles(folder);
}

fs::path WorldBackend::resolveFile(const std::string& path) const {
    return resolveInWorld(path);
}

void WorldBackend::clearFolder(const fs::path& folder) {
    removeTree(folder);
    fs::create_directories(folder);
}

void WorldBackend::restart() {
    for (const char* folder : {"/sys", "/data", "/system_ext"}) emptyFolder(folder);
    makeFolders();
}

void WorldBackend::forgeUevent(const std::string& event) {
    mUevents.forge(event);
}

void WorldBackend::drainFiles() {
    mFiles.drain();
    mHidraw.drain();
}

void WorldBackend::drain() {
    drainFiles();
    for (PluggedDevice* device : mDevices) device->readTty();
}

std::optional<cover::Time> WorldBackend::turn() {
    std::optional<cover::Time> next;
    for (auto& [fd, supervisor] : mSupervisors) {
        supervisor.decideWaiting(EventLoop::now());
        const std::optional<cover::Time> due = supervisor.nextDeadline();
        if (due) next = std::min(next.value_or(*due), *due);
    }
    return next;
}

void WorldBackend::decideWaiting() {
    for (auto& [fd, supervisor] : mSupervisors) supervisor.decideWaiting(cover::Time::max());
}

void WorldBackend::answerCalls(cover::Time time) {
    std::vector<pollfd> listeners;
    for (const auto& [fd, supervisor] : mSupervisors) listeners.push_back({fd, POLLIN, 0});
    const cover::Time end = EventLoop::now() + time;
    while (!listeners.empty() && EventLoop::now() < end) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - EventLoop::now());
        if (poll(listeners.data(), listeners.size(), static_cast<int>(left.count())) <= 0) return;
        // The loop takes leave of one that has lost its programs.
        std::erase_if(listeners, [](const pollfd& listener) {
            return listener.revents != 0 && (listener.revents & POLLIN) == 0;
        });
        for (const pollfd& listener : listeners) {
            if ((listener.revents & POLLIN) != 0) mSupervisors.at(listener.fd).answer();
        }
    }
}

void WorldBackend::superviseThisThread() {
    unique_fd listener = superviseCaller();
    mLoop.call([&] { supervise(std::move(listener)); });
}

pid_t WorldBackend::spawn(const std::vector<std::string>& command) {
    Program program(command);
    mLoop.call([&] {
        supervise(program.takeListener());
        mProgram = program.takeProcess();
    });
    return program.keeper();
}

void WorldBackend::signal(int number) {
    signalProgram(mProgram, number);
}

void WorldBackend::supervise(unique_fd listener) {
    const int fd = listener.get();
    mSupervisors.try_emplace(fd, std::move(listener), [this](const Call& call, bool waited) {
        return std::visit([&](const auto& c) { return decide(c, waited); }, call);
    });
    mLoop.watch(fd, POLLIN, [this, fd](short events) {
        if ((events & POLLIN) != 0) {
            mSupervisors.at(fd).answer();
            return;
        }
        // No program that it supervises is left.
        mLoop.unwatch(fd);
        mSupervisors.erase(fd);
    });
}

Verdict WorldBackend::decide(const OpenCall& call, bool waited) {
    if (!isOfWorld(call.path)) return {};
    // What the caller wrote before comes first.
    drain();
    try {
        Verdict verdict = mFiles.decide(call);
        if (verdict.error != 0 || verdict.replacement.ok() || call.isTest) return verdict;
        const std::string path = resolveFolder(call.path);
        std::optional<Verdict> ofPanel = mHidraw.open(path, call, waited);
        if (ofPanel) return *std::move(ofPanel);
        PluggedDevice* device = findTty(path);
        // O_PATH names the node and opens no tty.
        if (device == nullptr || (call.flags & O_PATH) != 0) return verdict;
        if (device->hasHungUp()) {
            verdict.error = ENODEV;
            return verdict;
        }
        return device->openTty(call, waited);
    } catch (const std::exception&) {
        // Out of descriptors or memory: so is the phone's kernel.
        Verdict verdict;
        verdict.error = ENFILE;
        return verdict;
    }
}

// A pty knows no modem lines; the tty of an ACM device does.
Verdict WorldBackend::decide(const IoctlCall& call, bool /*waited*/) {
    PluggedDevice* device = findTty(call.file);
    if (device == nullptr || device->hasHungUp()) return {};
    // What the caller wrote before comes first.
    drain();
    return device->controlModem(call);
}

Verdict WorldBackend::decide(const CloseCall& call, bool waited) {
    PluggedDevice* const device = findTty(call.file);
    Verdict verdict;
    if (device == nullptr) return verdict;
    // What the caller wrote before comes first.
    drain();
    verdict.askAgainAfter = device->closeTty(call, waited);
    return verdict;
}

Verdict WorldBackend::decide(const ReportCall& call, bool waited) {
    // What the caller wrote before comes first.
    drain();
    return mHidraw.decide(call, waited);
}

std::unique_ptr<Backend> makeWorldBackend(EventLoop& loop) {
    return std::make_unique<WorldBackend>(loop);
}

}  // namespace phone
