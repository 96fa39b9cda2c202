// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "tests/sub_display/PanelCalls.h"

#include <atomic>
#include <condition_variable>
#include <cstdarg>
#include <cstdint>
#include <optional>
#include <utility>

#include <linux/hidraw.h>
#include <sys/ioctl.h>
#include <unistd.h>
#include <utils/Mutex.h>

namespace support {

namespace {

// Never destroyed: the service's threads outlive main.
android::Mutex& sLock = *new android::Mutex;
std::condition_variable_any& sChanged = *new std::condition_variable_any;
std::optional<HidCall> sHolding GUARDED_BY(sLock);
bool sHeld GUARDED_BY(sLock) = false;
std::string* sReports GUARDED_BY(sLock) = nullptr;
long sClaim GUARDED_BY(sLock) = 0;

std::atomic<unsigned long> sRequest = 0;

void pass(HidCall call) {
    const android::AutoMutex guard(sLock);
    if (sHolding != call) return;
    sHeld = true;
    sChanged.notify_all();
    while (sHolding) sChanged.wait(sLock);
    sHeld = false;
}

std::optional<ssize_t> takeReport(const void* bytes, size_t size) {
    const android::AutoMutex guard(sLock);
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
    const android::AutoMutex guard(sLock);
    sHolding = call;
}

void awaitHeld() {
    const android::AutoMutex guard(sLock);
    while (!sHeld) sChanged.wait(sLock);
}

void release() {
    const android::AutoMutex guard(sLock);
    sHolding.reset();
    sChanged.notify_all();
}

unsigned long lastRequest() {
    return sRequest;
}

void takeWrites(std::string* reports, long claim) {
    const android::AutoMutex guard(sLock);
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
