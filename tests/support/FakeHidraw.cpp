#include "tests/support/FakeHidraw.h"

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstring>

#include <fcntl.h>
#include <linux/hidraw.h>
#include <linux/ioctl.h>
#include <sys/eventfd.h>
#include <sys/stat.h>
#include <unistd.h>

namespace support {

namespace {

constexpr size_t kHeaderSize = 7;

// Of an output report.
struct Header {
    uint8_t id = 0;
    uint16_t length = 0;
    uint32_t offset = 0;
} __attribute__((packed));
static_assert(sizeof(Header) == kHeaderSize);

}  // namespace

// Never destroyed: threads of the software under test may use it until the process ends.
FakeHidraw& FakeHidraw::instance() {
    static FakeHidraw& hidraw = *new FakeHidraw;
    return hidraw;
}

void FakeHidraw::plug(const PanelOptions& options) {
    const std::lock_guard guard(mLock);
    mOptions = options;
    mPlugged = true;
}

void FakeHidraw::unplug() {
    const std::lock_guard guard(mLock);
    mPlugged = false;
    mChanged.notify_all();
}

void FakeHidraw::refuse(HidCall call, int error, int times) {
    const std::lock_guard guard(mLock);
    mRefusals[call] = {error, times};
}

void FakeHidraw::allow(HidCall call) {
    const std::lock_guard guard(mLock);
    mRefusals.erase(call);
}

void FakeHidraw::answerWrites(std::vector<long> results) {
    const std::lock_guard guard(mLock);
    mWriteResults = std::move(results);
}

void FakeHidraw::hold(HidCall call) {
    const std::lock_guard guard(mLock);
    mHolding = true;
    mHeldCall = call;
}

void FakeHidraw::awaitHeld() {
    std::unique_lock guard(mLock);
    mChanged.wait(guard, [this] { return mHeld; });
}

void FakeHidraw::release() {
    const std::lock_guard guard(mLock);
    mHolding = false;
    mChanged.notify_all();
}

std::vector<Transfer> FakeHidraw::transfers(size_t from) const {
    const std::lock_guard guard(mLock);
    return {mTransfers.begin() + static_cast<std::ptrdiff_t>(from), mTransfers.end()};
}

std::vector<Transfer> FakeHidraw::transfers(HidCall call, size_t from) const {
    std::vector<Transfer> all = transfers(from);
    std::erase_if(all, [call](const Transfer& transfer) { return transfer.call != call; });
    return all;
}

size_t FakeHidraw::next() const {
    const std::lock_guard guard(mLock);
    return mTransfers.size();
}

std::vector<std::string> FakeHidraw::frames() const {
    return waitForFrames(0);
}

std::vector<std::string> FakeHidraw::waitForFrames(size_t count) const {
    std::unique_lock guard(mLock);
    mChanged.wait(guard, [&] { return mFrames.size() >= count; });
    return mFrames;
}

int FakeHidraw::begin(HidCall call, std::unique_lock<std::mutex>* lock) {
    if (mHolding && mHeldCall == call && mPlugged) {
        mHeld = true;
        mChanged.notify_all();
        mChanged.wait(*lock, [this] { return !mHolding || !mPlugged; });
        mHeld = false;
    }
    if (!mPlugged) return -ENODEV;
    const auto refusal = mRefusals.find(call);
    if (refusal == mRefusals.end() || refusal->second.times == 0) return 0;
    if (refusal->second.times > 0) --refusal->second.times;
    return -refusal->second.error;
}

void FakeHidraw::record(Transfer transfer) {
    mTransfers.push_back(std::move(transfer));
    mChanged.notify_all();
}

int FakeHidraw::open(const char* path, int flags) {
    std::unique_lock guard(mLock);
    if (!mPlugged || path != "/dev/hidraw" + std::to_string(mOptions.node)) return 0;
    int result = begin(HidCall::Open, &guard);
    if (result == 0) {
        result = eventfd(0, EFD_CLOEXEC);
        mOpen.insert(result);
    }
    record({HidCall::Open, static_cast<unsigned long>(flags), {}, result});
    return result;
}

bool FakeHidraw::owns(int fd) const {
    const std::lock_guard guard(mLock);
    return mOpen.count(fd) != 0;
}

int FakeHidraw::ioctl(unsigned long request, void* report) {
    const bool isGet = _IOC_NR(request) == _IOC_NR(HIDIOCGFEATURE(0));
    const size_t size = _IOC_SIZE(request);
    std::unique_lock guard(mLock);
    Transfer transfer = {isGet ? HidCall::GetFeature : HidCall::SetFeature, request,
                         std::string(static_cast<const char*>(report), size), 0};
    transfer.result = begin(transfer.call, &guard);
    if (transfer.result == 0 && isGet) {
        const uint8_t info[] = {2,
                                static_cast<uint8_t>(mOptions.x),
                                static_cast<uint8_t>(mOptions.x >> 8),
                                static_cast<uint8_t>(mOptions.y),
                                static_cast<uint8_t>(mOptions.y >> 8),
                                mOptions.format,
                                mOptions.ready};
        transfer.result = static_cast<long>(std::min(size, mOptions.infoSize));
        memcpy(report, info, static_cast<size_t>(transfer.result));
    } else if (transfer.result == 0) {
        transfer.result = static_cast<long>(size);
    }
    record(transfer);
    return static_cast<int>(transfer.result);
}

long FakeHidraw::write(const void* report, size_t size) {
    std::unique_lock guard(mLock);
    Transfer transfer = {HidCall::Write, 0, std::string(static_cast<const char*>(report), size), 0};
    transfer.result = begin(HidCall::Write, &guard);
    if (transfer.result == 0) {
        transfer.result = static_cast<long>(size);
        if (!mWriteResults.empty()) {
            transfer.result = mWriteResults.front();
            mWriteResults.erase(mWriteResults.begin());
        }
        if (transfer.result > 0) {
            store(transfer.bytes.substr(0, static_cast<size_t>(transfer.result)));
        }
    }
    record(transfer);
    return transfer.result;
}

void FakeHidraw::store(const std::string& report) {
    Header header;
    if (report.size() < sizeof(header)) return;
    memcpy(&header, report.data(), sizeof(header));
    if (header.length == 0) mFrames.push_back(mMemory);
    for (size_t i = sizeof(header); i < report.size(); ++i) {
        const uint64_t position = uint64_t{header.offset} + i - sizeof(header);
        if (position < mMemory.size()) mMemory[position] = report[i];
    }
}

void FakeHidraw::close(int fd) {
    const std::lock_guard guard(mLock);
    mOpen.erase(fd);
    record({HidCall::Close, 0, {}, 0});
}

namespace {

template <typename Result>
Result asSystemCall(Result result) {
    if (result >= 0) return result;
    errno = static_cast<int>(-result);
    return -1;
}

}  // namespace

}  // namespace support

using support::FakeHidraw;

extern "C" {

int __real_open(const char* path, int flags, ...);
int __wrap_open(const char* path, int flags, ...) {
    const int panel = FakeHidraw::instance().open(path, flags);
    if (panel != 0) return support::asSystemCall(panel);
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    return __real_open(path, flags, mode);
}

int __real_ioctl(int fd, unsigned long request, ...);
int __wrap_ioctl(int fd, unsigned long request, ...) {
    va_list arguments;
    va_start(arguments, request);
    void* const argument = va_arg(arguments, void*);
    va_end(arguments);
    if (!FakeHidraw::instance().owns(fd)) return __real_ioctl(fd, request, argument);
    return support::asSystemCall(FakeHidraw::instance().ioctl(request, argument));
}

ssize_t __real_write(int fd, const void* buffer, size_t size);
ssize_t __wrap_write(int fd, const void* buffer, size_t size) {
    if (!FakeHidraw::instance().owns(fd)) return __real_write(fd, buffer, size);
    return support::asSystemCall(FakeHidraw::instance().write(buffer, size));
}

int __real_close(int fd);
int __wrap_close(int fd) {
    if (FakeHidraw::instance().owns(fd)) FakeHidraw::instance().close(fd);
    return __real_close(fd);
}
}
