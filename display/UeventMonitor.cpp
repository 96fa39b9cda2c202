// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "display/UeventMonitor.h"

#include <cerrno>
#include <optional>
#include <string>
#include <string_view>

#include <cutils/uevent.h>
#include <fcntl.h>

#include "diagnostics/Statistics.h"
#include "display/Lpwg.h"
#include "display/LpwgEvent.h"
#include "display/UeventWalk.h"
#include "kernel/Bivista.h"
#include "kernel/base/Descriptor.h"
#include "kernel/base/KernelNode.h"
#include "kernel/base/KernelPaths.h"
#include "kernel/base/StopSignal.h"
#include "kernel/base/ThreadName.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

std::atomic<bool> sWorkerExit = false;

namespace {

constexpr int kReceiveBufferSize = 0x10000;
constexpr int kEvents = 64;
// A message of this size may have been cut.
constexpr ssize_t kMessageLimit = 2048;

using Handler = void (*)(uint32_t events, data* record);

Status logStatus(Status status) {
    LOG_ERROR("status = %d", static_cast<int>(status));
    return status;
}

// Carries out what the service does by itself. Nothing for an event that is the client's.
std::optional<Status> handleInService(Bivista& service, LpwgEventStatus event) {
    Status status = Status::FAIL;
    switch (event) {
        case LpwgEventStatus::SWITCH_AES_BOTH:
            // Meant: no write here, since manageAesMode makes it.
            return logStatus(service.manageAesMode(2));
        case LpwgEventStatus::SWITCH_AES_TO_1:
            status = logStatus(service.setAesMode(1));
            // Meant: quirk pen-parameter-zero.
            if (status == Status::OK) writeNode(kAesModePath, "0");
            return status;
        case LpwgEventStatus::SWITCH_AES_TO_2:
            status = logStatus(service.setAesMode(2));
            if (status == Status::OK) writeNode(kAesModePath, "2");
            return status;
        case LpwgEventStatus::BV_UPDATE_STATE:
            return logStatus(service.bv_update_state());
        default:
            return std::nullopt;
    }
}

// False when the client did not take it.
bool tellClient(const sp<V1_0::IBivistaLpwgCallback>& callback,
                const sp<V1_1::IBivistaLpwgCallback>& newer, LpwgEventStatus status,
                int32_t result) {
    const Return<void> told =
            newer != nullptr
                    ? newer->onLpwgEvent_1_1(status, result)
                    : callback->onLpwgEvent(static_cast<V1_0::LpwgEventStatus>(status), result);
    if (told.isOk()) return true;
    LOG_ERROR("error %s", told.description().c_str());
    if (told.isDeadObject()) sStatistics.recordDeath(ClientCallback::kLpwg);
    return false;
}

void recordEvent(std::string_view name, int32_t result, const char* outcome) {
    sStatistics.record(EventKind::kLpwgEvent, name, {result}, outcome);
}

// An event that finds no callback is looked at for the history alone.
void recordMissed(UeventWalk walk) {
    const char* const next = walk.next();
    const char* const text = next == nullptr ? nullptr : findEventText(next);
    if (text == nullptr) return;
    std::string token = text;
    LpwgEventStatus status = LpwgEventStatus::UNKNOWN;
    recordEvent(token, getLpwgStatusHelper_1_1(status, token), "no callback");
}

void handleMessage(Bivista& service, const char* message) {
    UeventWalk walk(message);
    while (const char* subsystem = walk.findSubsystem()) {
        LOG_ERROR("uevent received %s", subsystem);
        // Copied once: a client may replace it meanwhile.
        const sp<V1_0::IBivistaLpwgCallback> callback = service.lpwgCallback();
        // Meant: quirk no-client-no-event.
        if (callback == nullptr) return recordMissed(walk);
        const sp<V1_1::IBivistaLpwgCallback> newer = asVersion1_1(callback);
        const char* cp1 = walk.next();
        if (cp1 == nullptr) return;
        LOG_ERROR("cp1 = %s", cp1);
        const char* text = findEventText(cp1);
        // Meant: quirk event-in-the-next-string. The walk goes on with that string.
        if (text == nullptr) continue;
        LOG_ERROR("Uevent_msg = %s", text);
        std::string token = text;
        LpwgEventStatus status = LpwgEventStatus::UNKNOWN;
        const int32_t result = getLpwgStatusHelper_1_1(status, token);
        if (const auto done = handleInService(service, status)) {
            recordEvent(token, result, *done == Status::OK ? "carried out" : "failed");
            return;
        }
        const bool delivered = tellClient(callback, newer, status, result);
        recordEvent(token, result, delivered ? "delivered" : "failed");
    }
}

// The SIGUSR1 handler may run here, and only here.
int waitForEvents(int epoll, epoll_event (&events)[kEvents]) {
    const sigset_t signals = stopSignalOpen();
    return epoll_pwait(epoll, events, kEvents, -1, &signals);
}

void serveEvents(int epoll, data* record) {
    while (!sWorkerExit) {
        epoll_event events[kEvents] = {};
        const int ready = waitForEvents(epoll, events);
        if (ready == -1 && errno != EINTR) {
            LOG_ERROR("lpwg epoll_wait failed; errno=%d", errno);
            break;
        }
        for (int i = 0; i < ready; ++i) {
            const auto handler = reinterpret_cast<Handler>(events[i].data.ptr);
            if (handler != nullptr) handler(events[i].events, record);
        }
    }
    LOG_INFO("exiting worker thread");
}

}  // namespace

void uevent_event(uint32_t /*events*/, data* record) {
    // Room for the two NULs that end the message.
    char message[kMessageLimit + 2] = {};
    const ssize_t count = uevent_kernel_multicast_recv(record->fd, message, kMessageLimit);
    if (count < 1 || count >= kMessageLimit) return;
    message[count] = '\0';
    message[count + 1] = '\0';
    handleMessage(*record->service, message);
}

void* work(void* service) {
    nameThread("uevent-worker");
    // Meant: quirk events-are-errors, here and below.
    LOG_ERROR("creating thread");
    const Descriptor socket(uevent_open_socket(kReceiveBufferSize, true));
    if (!socket.isOpen()) {
        LOG_ERROR("uevent_init: uevent_open_socket failed\n");
        return nullptr;
    }
    if (fcntl(socket.get(), F_SETFL, O_NONBLOCK) == -1) {
        LOG_ERROR("fcntl failed\n");
        return nullptr;
    }
    data record = {socket.get(), static_cast<Bivista*>(service), {}};
    record.registration.events = EPOLLIN;
    record.registration.data.ptr = reinterpret_cast<void*>(uevent_event);
    const Descriptor epoll(epoll_create(kEvents));
    if (!epoll.isOpen()) {
        LOG_ERROR("epoll_create failed; errno=%d", errno);
        return nullptr;
    }
    if (epoll_ctl(epoll.get(), EPOLL_CTL_ADD, socket.get(), &record.registration) == -1) {
        LOG_ERROR("epoll_ctl failed; errno=%d", errno);
        return nullptr;
    }
    serveEvents(epoll.get(), &record);
    return nullptr;
}

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
