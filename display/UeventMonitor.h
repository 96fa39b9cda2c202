// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The worker that turns the cover's kernel events into calls: on the service itself for the pen
// mode and the touch update state, on the client's callback for all others.
#pragma once

#include <atomic>
#include <cstdint>

#include <sys/epoll.h>

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

class Bivista;

// Ends the worker after its next wait; cleared when the worker is started.
// Meant: quirk clearing-never-returns.
extern std::atomic<bool> sWorkerExit;

// What the worker hands to its event handler; lives on the worker's stack.
struct data {
    int32_t fd;                // of the uevent socket, non-blocking
    Bivista* service;          // outlives the worker
    epoll_event registration;  // of the socket; its user word is the handler
};

// Body of the worker; `service` is the Bivista object. Returns null when it cannot listen to the
// kernel or its wait fails, and leaves the client's callback as it is. Takes no lock of the service
// but in the calls that it makes. The SIGUSR1 handler may run in its wait.
void* work(void* service);

// Handles one message of the socket, if there is one. Worker.
void uevent_event(uint32_t events, data* record);

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
