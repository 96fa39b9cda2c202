// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Life of the service object: construction, the SIGUSR1 handler, destruction. Its access to kernel
// nodes.

#include "kernel/Bivista.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>

#include "diagnostics/Statistics.h"
#include "kernel/base/Descriptor.h"
#include "kernel/base/KernelNode.h"
#include "kernel/base/StopSignal.h"
#include "kernel/base/ThreadName.h"
#include "kernel/base/TraceSlice.h"
#include "kernel/base/Version.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

namespace {

Mutex sInstanceLock;
// The service object. Written once, before any thread that could take the signal exists; so the
// handler reads it without the lock.
std::atomic<Bivista*> sInstance = nullptr;

// Takes the signal when it is sent to the process, as long as the process lives.
void* stopSignalThread(void* /*unused*/) {
    nameThread("stop-signal");
    const sigset_t signals = stopSignal();
    int signal = 0;
    while (sigwait(&signals, &signal) == 0) Bivista::sighandler(signal);
    return nullptr;
}

// No thread joins it: it waits for the signal until the process is gone.
void startStopSignalThread() {
    pthread_t thread;
    const int result = pthread_create(&thread, nullptr, stopSignalThread, nullptr);
    if (result == 0) {
        pthread_detach(thread);
    } else {
        LOG_ERROR("Failed to create stop signal pthread: %s", strerror(result));
    }
}

[[noreturn]] void giveUp(Bivista& service, const char* failure, int error) {
    LOG_ERROR(failure, strerror(error));
    sDestroy = true;
    service.usbThreadJoin();
    LOG_ERROR("Exiting Bivista");
    exit(1);
}

void startThread(Bivista& service, void* (*body)(void*), const char* failure) {
    pthread_t thread;
    const int result = pthread_create(&thread, nullptr, body, &service);
    // Meant: quirk negative-only.
    if (result < 0) giveUp(service, failure, result);
}

}  // namespace

Bivista::Bivista() {
    LOG_DEBUG("================================================");
    LOG_DEBUG("========== Bivista HAL Constructor ==========");
    LOG_DEBUG("================================================");
    {
        const MutexLock lock(sInstanceLock, "Bivista");
        sInstance = this;
    }
    TraceSlice::prepare();
    sStatistics.record(EventKind::kStart, kVersion);
    sDestroy = false;
    blockStopSignal();
    signal(SIGUSR1, sighandler);
    // Without the eventfd no thread could be ended, and the signal handler would hang in its join.
    if (!mUsbWatches.prepare()) giveUp(*this, "Failed to create usb stop eventfd: %s", errno);
    startThread(*this, usbNotifyThread, "Failed to create usb notify pthread: %s");
    startThread(*this, usbThread, "Failed to create usb pthread: %s");
    // Meant: without this thread the service goes on, and a worker's wait takes the signal.
    startStopSignalThread();
}

// Meant: joins no thread and closes no descriptor, since only a signal ends the threads. The
// members release the two callbacks.
Bivista::~Bivista() = default;

void Bivista::sighandler(int signal) {
    if (signal != SIGUSR1) {
        ::signal(SIGUSR1, sighandler);
        return;
    }
    const ErrnoKeeper keeper;
    sStatistics.recordStopSignal();
    sDestroy = true;
    sInstance.load()->usbThreadJoin();
    LOG_DEBUG("destroy set");
}

void Bivista::usbThreadJoin() {
    mUsbWatches.join(__func__);
}

bool Bivista::isExist(const std::string& path) {
    return node::isExist(path);
}

bool Bivista::isReadable(const std::string& path) {
    return node::isReadable(path);
}

int32_t Bivista::readString(const std::string& path, std::string& out) {
    return node::readString(path, out);
}

int32_t Bivista::writeInt32(const std::string& path, int32_t value) {
    return node::writeInt32(path, value);
}

bool Bivista::writeString(const std::string& path, const std::string& value) {
    return node::writeString(path, value);
}

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
