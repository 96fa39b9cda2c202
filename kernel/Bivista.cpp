// Life of the service object: construction, the SIGUSR1 handler, destruction.

#include "kernel/Bivista.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>

#include <sys/eventfd.h>

#include "kernel/base/Descriptor.h"
#include "kernel/base/StopSignal.h"
#include "kernel/base/ThreadName.h"
#include "kernel/usb/UsbMonitor.h"

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

// Nobody joins it.
void startStopSignalThread() {
    pthread_t thread;
    const int result = pthread_create(&thread, nullptr, stopSignalThread, nullptr);
    if (result == 0) {
        pthread_detach(thread);
    } else {
        LOG_ERROR("Failed to create stop signal pthread: %s", strerror(result));
    }
}

}  // namespace

// Tells the USB notify thread to stop.
std::atomic<bool> sDestroy = false;

Bivista::Bivista() {
    LOG_DEBUG("================================================");
    LOG_DEBUG("========== Bivista HAL Constructor ==========");
    LOG_DEBUG("================================================");
    {
        const MutexLock lock(sInstanceLock, "Bivista");
        sInstance = this;
    }
    sDestroy = false;
    blockStopSignal();
    signal(SIGUSR1, sighandler);
    mStopFd = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    // Without it the threads could never be joined, and the handler would hang for good.
    if (mStopFd < 0) giveUp("Failed to create usb stop eventfd: %s", errno);
    startThread(usbNotifyThread, "Failed to create usb notify pthread: %s");
    startThread(usbThread, "Failed to create usb pthread: %s");
    // Meant: without it the service goes on.
    startStopSignalThread();
}

// Meant: joins no thread and closes no descriptor. The members release the two callbacks.
Bivista::~Bivista() = default;

void Bivista::startThread(void* (*body)(void*), const char* failure) {
    pthread_t thread;
    const int result = pthread_create(&thread, nullptr, body, this);
    // Meant: a positive error number counts as success.
    if (result < 0) giveUp(failure, result);
}

void Bivista::giveUp(const char* failure, int error) {
    LOG_ERROR(failure, strerror(error));
    sDestroy = true;
    usbThreadJoin();
    LOG_ERROR("Exiting Bivista");
    exit(1);
}

void Bivista::sighandler(int signal) {
    if (signal != SIGUSR1) {
        ::signal(SIGUSR1, sighandler);
        return;
    }
    const ErrnoKeeper keeper;
    sDestroy = true;
    sInstance.load()->usbThreadJoin();
    LOG_DEBUG("destroy set");
}

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
