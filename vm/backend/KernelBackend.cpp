// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "vm/backend/KernelBackend.h"

#include <algorithm>
#include <future>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <unistd.h>

#include "emulator/phone/Error.h"
#include "emulator/phone/Paths.h"
#include "emulator/phone/world/Files.h"
#include "emulator/phone/world/Keeper.h"
#include "emulator/phone/world/Program.h"
#include "vm/backend/Description.h"
#include "vm/backend/Names.h"
#include "vm/backend/TouchEvent.h"
#include "vm/backend/Vhci.h"

namespace vm {

using android::base::unique_fd;
using phone::Error;
using phone::EventLoop;

namespace fs = std::filesystem;

namespace {

constexpr char kDriver[] = "/dev/bivista_phone";
// How long the kernel may take for a device, where a processor is emulated too.
constexpr cover::Time kPatience = std::chrono::seconds(60);
// How often it is looked whether it has.
constexpr int kLookMilliseconds = 2;

// The device as its owner has it.
class Handle : public phone::Device {
  public:
    Handle(KernelBackend& backend, std::shared_ptr<KernelDevice> device)
        : mBackend(backend), mDevice(std::move(device)) {}
    ~Handle() override {
        try {
            mDevice->unplug();
        } catch (const std::exception&) {
            // The kernel hangs on to it; nothing may leave a destructor.
        }
        mBackend.forget(*mDevice);
    }

    const std::string& name() const override { return mDevice->name(); }
    void publish() override { mDevice->publish(); }
    void hangUp() override { mDevice->hangUp(); }
    void send(std::string_view bytes) override { mDevice->send(bytes); }
    bool hasRoom() const override { return mDevice->hasRoom(); }
    bool hasUnread() const override { return mDevice->hasUnread(); }

  private:
    KernelBackend& mBackend;
    // Shared: a device may go while it tells a listener something.
    const std::shared_ptr<KernelDevice> mDevice;
};

bool isIn(const fs::path& path, const char* folder) {
    return path.native().starts_with(folder);
}

unique_fd openDriver() {
    unique_fd driver(open(kDriver, O_RDWR | O_NONBLOCK | O_CLOEXEC));
    if (!driver.ok()) phone::throwErrno(std::string("cannot open ") + kDriver);
    return driver;
}

void makeFolders() {
    for (const char* folder : {phone::kFirmwareFolder, phone::kTouchFolder, "/data/property"}) {
        fs::create_directories(folder);
    }
}

// As the phone's software finds them at its start.
void emptyFolders() {
    makeFolders();
    for (const char* folder : {"/data", "/system_ext"}) phone::emptyFolder(folder);
    makeFolders();
}

// The lowest number that no node in this class of sysfs has.
int nextNumber(const std::string& start) {
    int number = 0;
    while (fs::exists(start + std::to_string(number))) ++number;
    return number;
}

void checkNumber(const std::string& start, int number) {
    const int next = nextNumber(start);
    if (number == next) return;
    throw Error("the kernel numbers its nodes itself: the next one gets the number " +
                std::to_string(next));
}

}  // namespace

void enterMachine() {
    if (geteuid() != 0) throw Error("on a real kernel the phone needs root");
    if (!fs::exists(kBus)) {
        throw Error(
                "this kernel has no vhci_hcd on USB bus 1: the phone is made for the machine of "
                "vm/run.sh");
    }
    if (!fs::exists(kDriver)) {
        throw Error(std::string("this kernel has no ") + kDriver +
                    ": load the module of vm/module, as vm/run.sh does");
    }
    phone::blockAttendedSignals();
    prctl(PR_SET_CHILD_SUBREAPER, 1);
}

std::unique_ptr<phone::Backend> makeKernelBackend(EventLoop& loop) {
    return std::make_unique<KernelBackend>(loop);
}

KernelBackend::KernelBackend(EventLoop& loop) : mLoop(loop), mDriver(openDriver()) {
    emptyFolders();
    mLoop.watch(mDriver.get(), POLLIN, [this](short) { drain(); });
}

KernelBackend::~KernelBackend() {
    mLoop.unwatch(mDriver.get());
}

void KernelBackend::checkFree(const phone::DeviceDescription& description) const {
    onKernelBus(description);
    if (description.tty) checkNumber("/sys/class/tty/ttyACM", *description.tty);
    if (description.hidraw) checkNumber("/sys/class/hidraw/hidraw", *description.hidraw);
}

std::unique_ptr<phone::Device> KernelBackend::make(const phone::DeviceDescription& description) {
    std::vector<int> ports = freePorts();
    for (const auto& device : mDevices) std::erase(ports, device->port());
    if (ports.empty()) throw Error("vhci_hcd has no free port: detach a device first");
    mDevices.push_back(
            std::make_shared<KernelDevice>(*this, ports.front(), onKernelBus(description)));
    if (description.tty) {
        mTtys[phone::ttyNode(*description.tty)].listener = description.ttyListener;
    }
    if (description.hidraw) {
        mHidraws[phone::hidrawNode(*description.hidraw)].listener = description.hidListener;
    }
    return std::make_unique<Handle>(*this, mDevices.back());
}

void KernelBackend::forget(const KernelDevice& device) {
    std::erase_if(mDevices, [&](const auto& known) { return known.get() == &device; });
}

std::shared_ptr<KernelDevice> KernelBackend::findTty(const std::string& node) const {
    const auto found = std::find_if(mDevices.begin(), mDevices.end(), [&](const auto& device) {
        const std::optional<int>& tty = device->description().tty;
        return device->socket() >= 0 && tty && phone::ttyNode(*tty) == node;
    });
    return found == mDevices.end() ? nullptr : *found;
}

void KernelBackend::putFile(const fs::path& path, std::string_view content) {
    if (path == phone::kKernelLog) {
        if (content.empty()) return;
        throw Error("the kernel log is the kernel's: write to it as a program");
    }
    if (isIn(path, "/sys/")) return writeAttribute(kernelPath(path), content);
    if (isIn(path, "/dev/")) throw Error("the files in /dev are the kernel's");
    // Nobody watches the folder that is mounted.
    phone::putFile(path, content, "/" + path.relative_path().begin()->string());
}

void KernelBackend::writeAttribute(const std::string& path, std::string_view content) {
    if (content.empty()) throw Error(path + " is a kernel's file, which is never empty");
    work([path, text = std::string(content)] {
        const unique_fd file(open(path.c_str(), O_WRONLY | O_CLOEXEC));
        if (!file.ok()) phone::throwErrno("cannot open " + path);
        const ssize_t count = write(file.get(), text.data(), text.size());
        if (count < 0) phone::throwErrno("cannot write " + path);
        if (static_cast<size_t>(count) == text.size()) return;
        throw Error("the kernel takes " + std::to_string(count) + " bytes for " + path);
    });
}

void KernelBackend::work(std::function<void()> task) {
    std::packaged_task<void()> call(std::move(task));
    std::future<void> done = call.get_future();
    // Not joined: where the kernel keeps it for ever, this thread goes on.
    std::thread(std::move(call)).detach();
    serveUntil([&] { return isReady(done); }, "carry out a system call");
    done.get();
}

void KernelBackend::removeFile(const fs::path& path) {
    if (isIn(path, "/sys/") || isIn(path, "/dev/")) {
        throw Error("the files in /sys and /dev are the kernel's: they cannot be removed");
    }
    phone::removeTree(path);
}

std::optional<std::string> KernelBackend::readFile(const fs::path& path) const {
    return phone::takeFile(kernelPath(path));
}

std::vector<phone::File> KernelBackend::listFiles(const fs::path& folder) const {
    return phone::listFiles(kernelPath(folder));
}

fs::path KernelBackend::resolveFile(const std::string& path) const {
    return phonePath(phone::resolveInWorld(path.starts_with('/') ? kernelPath(path) : path));
}

void KernelBackend::clearFolder(const fs::path& folder) {
    removeFile(folder);
    fs::create_directories(folder);
}

void KernelBackend::restart() {
    emptyFolders();
}

void KernelBackend::setNodeFaults(const std::vector<phone::NodeFault>& faults,
                                  const NodeFaultMet& /*met*/) {
    if (faults.empty()) return;
    throw Error("the nodes are those of a real kernel: they have no faults");
}

void KernelBackend::raiseUevent(const std::string& event) {
    const std::optional<std::string> request = touchRequest(event);
    if (!request) return mUevents.throughKernel(event);
    if (write(mDriver.get(), request->data(), request->size()) < 0) {
        phone::throwErrno("the touch driver raises no uevent");
    }
}

void KernelBackend::forgeUevent(const std::string& event) {
    mUevents.forge(event);
}

void KernelBackend::serve() {
    for (const auto& device : mDevices) device->serve();
}

void KernelBackend::serveUntil(const std::function<bool()>& isDone, const std::string& what) {
    const cover::Time end = EventLoop::now() + kPatience;
    while (!isDone()) {
        if (EventLoop::now() >= end) throw Error("the kernel does not " + what);
        std::vector<pollfd> sockets;
        for (const auto& device : mDevices) sockets.push_back({device->socket(), POLLIN, 0});
        poll(sockets.data(), sockets.size(), kLookMilliseconds);
        serve();
    }
}

void KernelBackend::awaitClosed(const phone::DeviceDescription& description, cover::Time limit) {
    const cover::Time end = EventLoop::now() + limit;
    const auto isOver = [&] {
        drainRecords();
        const int ttys = description.tty ? mTtys[phone::ttyNode(*description.tty)].opens : 0;
        const int hidraws =
                description.hidraw ? mHidraws[phone::hidrawNode(*description.hidraw)].opens : 0;
        return ttys + hidraws == 0 || EventLoop::now() >= end;
    };
    serveUntil(isOver, "close nodes that have no device");
}

void KernelBackend::drain() {
    serve();
    tell();
}

// The records come first: a device is asked for something only after it was opened.
void KernelBackend::tell() {
    drainRecords();
    for (const auto& device : std::vector(mDevices)) {
        while (device->tellNext()) drainRecords();
        device->offer();
    }
}

std::optional<cover::Time> KernelBackend::turn() {
    drain();
    std::optional<cover::Time> next;
    for (const auto& device : std::vector(mDevices)) {
        device->askAgain(EventLoop::now());
        device->wake();
        const std::optional<cover::Time> due = device->nextDeadline();
        if (due) next = std::min(next.value_or(*due), *due);
    }
    return next;
}

void KernelBackend::decideWaiting() {
    for (const auto& device : std::vector(mDevices)) device->askAgain(cover::Time::max());
}

void KernelBackend::drainRecords() {
    for (Record& record : takeRecords(mDriver.get())) mRecords.push_back(std::move(record));
    // A listener may drain them too.
    while (!mRecords.empty()) {
        const Record record = std::move(mRecords.front());
        mRecords.pop_front();
        tell(record);
    }
}

void KernelBackend::tell(const Record& record) {
    using Kind = Record::Kind;
    const std::string path = phonePath(record.path);
    switch (record.kind) {
        case Kind::Open:
            return mFileListener->fileOpened(path, nameFlags(record.flags));
        case Kind::Write:
            return mFileListener->fileWritten(path, record.bytes);
        case Kind::Close:
            return mFileListener->fileClosed(path);
        case Kind::Refused:
            return mFileListener->fileRefused(path, static_cast<int>(record.number));
        case Kind::TtyOpen:
        case Kind::TtyRead:
        case Kind::TtyClose:
            return tellTty(record);
        case Kind::HidOpen:
        case Kind::HidClose:
            return tellHidraw(record);
        case Kind::Lost:
            throw Error("the phone's drivers have lost " + std::to_string(record.number) +
                        " records: the journal would not be whole");
    }
}

void KernelBackend::tellTty(const Record& record) {
    const auto known = mTtys.find(record.path);
    if (known == mTtys.end()) return;
    Tty& tty = known->second;
    const std::shared_ptr<KernelDevice> device = findTty(record.path);
    switch (record.kind) {
        case Record::Kind::TtyOpen:
            ++tty.opens;
            if (device) return device->ttyOpened(nameFlags(record.flags));
            tty.listener->ttyOpened(record.path, nameFlags(record.flags));
            return;
        case Record::Kind::TtyRead:
            if (device) device->ttyRead(static_cast<uint64_t>(record.number));
            return;
        default:
            tty.opens = std::max(tty.opens - 1, 0);
            if (device && tty.opens == 0) device->ttyClosed();
    }
}

void KernelBackend::tellHidraw(const Record& record) {
    const auto known = mHidraws.find(record.path);
    if (known == mHidraws.end()) return;
    Hidraw& hidraw = known->second;
    if (record.kind == Record::Kind::HidClose) {
        hidraw.opens = std::max(hidraw.opens - 1, 0);
        return hidraw.listener->hidClosed(record.path);
    }
    // The kernel's driver has refused it: there is no device any more.
    if (record.number < 0) return;
    const bool isFirst = hidraw.opens++ == 0;
    hidraw.listener->hidOpened(record.path, {nameFlags(record.flags), isFirst, record.duration},
                               true);
}

pid_t KernelBackend::spawn(const std::vector<std::string>& command) {
    phone::Program program(command, phone::Supervision::None);
    mLoop.call([&] { mProgram = program.takeProcess(); });
    return program.keeper();
}

void KernelBackend::signal(int number) {
    phone::signalProgram(mProgram, number);
}

}  // namespace vm
