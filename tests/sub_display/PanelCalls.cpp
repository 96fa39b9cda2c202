#include "tests/sub_display/PanelCalls.h"

#include <atomic>
#include <condition_variable>
#include <cstdarg>
#include <cstdint>
#include <mutex>
#include <optional>
#include <utility>

#include <linux/hidraw.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace support {

namespace {

std::mutex sLock;  // guards what follows
std::condition_variable sChanged;
std::optional<HidCall> sHolding;
bool sHeld = false;
std::string* sReports = nullptr;
long sClaim = 0;

std::atomic<unsigned long> sRequest = 0;

void pass(HidCall call) {
    std::unique_lock guard(sLock);
    if (sHolding != call) return;
    sHeld = true;
    sChanged.notify_all();
    sChanged.wait(guard, [] { return !sHolding; });
    sHeld = false;
}

std::optional<ssize_t> takeReport(const void* bytes, size_t size) {
    const std::lock_guard guard(sLock);
    if (sReports == nullptr) return {};
    sReports->append(static_cast<const char*>(bytes), size);
    const long claim = std::exchange(sClaim, 0);
    return claim != 0 ? claim : static_cast<ssize_t>(size);
}

bool isOutputReport(const void* bytes, size_t size) {
    constexpr size_t kHeaderSize = 7;
    constexpr uint8_t kReportId = 2;
    return size >= kHeaderSize && *static_cast<const uint8_t*>(bytes) == kReportId;
}

void noteRequest(unsigned long request) {
    if (_IOC_TYPE(request) == 'H') sRequest = request;
}

}  // namespace

void hold(HidCall call) {
    const std::lock_guard guard(sLock);
    sHolding = call;
}

void awaitHeld() {
    std::unique_lock guard(sLock);
    sChanged.wait(guard, [] { return sHeld; });
}

void release() {
    const std::lock_guard guard(sLock);
    sHolding.reset();
    sChanged.notify_all();
}

unsigned long lastRequest() {
    return sRequest;
}

void takeWrites(std::string* reports, long claim) {
    const std::lock_guard guard(sLock);
    sReports = reports;
    sClaim = claim;
}

}  // namespace support

extern "C" {

ssize_t __real_write(int fd, const void* bytes, size_t size);
ssize_t __wrap_write(int fd, const void* bytes, size_t size) {
    if (!support::isOutputReport(bytes, size)) return __real_write(fd, bytes, size);
    support::pass(support::HidCall::Write);
    const std::optional<ssize_t> claim = support::takeReport(bytes, size);
    return claim ? *claim : __real_write(fd, bytes, size);
}

int __real_ioctl(int fd, unsigned long request, ...);
int __wrap_ioctl(int fd, unsigned long request, ...) {
    va_list arguments;
    va_start(arguments, request);
    void* const argument = va_arg(arguments, void*);
    va_end(arguments);
    support::noteRequest(request);
    if (request == HIDIOCSFEATURE(3)) support::pass(support::HidCall::SetFeature);
    return __real_ioctl(fd, request, argument);
}
}
