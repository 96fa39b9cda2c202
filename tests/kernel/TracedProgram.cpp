// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// One AT exchange, or one frame, between two marks that a system call tracer sees. Main thread
// only: the phone's and the service's other threads are not traced.
#include <atomic>
#include <cstdio>
#include <cstring>

#include <android/log.h>
#include <unistd.h>

#include "emulator/phone/Phone.h"
#include "emulator/phone/world/World.h"
#include "kernel/Bivista.h"
#include "tests/support/HidNode.h"
#include "tests/support/Trace.h"
#include "tests/support/Watch.h"

using vendor::qmx::hardware::bivista::V1_1::implementation::Bivista;

namespace {

// The notify thread has asked the panel's node for its info, in vain.
std::atomic<bool> sAsked = false;

void watchLog(const __android_logger_data* /*data*/, const char* message) {
    if (strncmp(message, "hidDisplayGetInfo: ", strlen("hidDisplayGetInfo: ")) == 0) sAsked = true;
}

bool exchange(phone::Phone& phone, Bivista& service) {
    phone.cover.attach();
    // The last command of the attach; the exchange after it waits for its end.
    phone.journal().waitFor(phone::beginsWith(phone::Kind::TtyRx, "AT%TCHUPDATE="));
    if (service.serialAtCmd("AT%SWV\r", nullptr, 0, nullptr) < 0) return false;
    // Before it watches, the log's thread takes the lock of an exchange once.
    support::awaitWatch("/sys/power/wake_lock");

    char answer[1025] = {};
    support::markTrace();
    const int stored = service.serialAtCmd("AT%SWV\r", answer, 1024, nullptr);
    support::markTrace();
    return stored == 20;
}

// The node is an ordinary file, which takes whatever is written.
bool sendFrame(phone::Phone& phone, Bivista& service) {
    support::createHidNode(phone, 0);
    static const uint8_t frame[8192] = {};
    while (!sAsked) usleep(1000);
    // Waits for the lock, if that thread still holds it.
    if (service.hidDisplayPalette(8192, 0, frame) < 0) return false;

    support::markTrace();
    const bool sent = service.hidDisplayPalette(8192, 0, frame) == 8192 &&
                      service.hidDisplayPalette(0, 0, nullptr) == 0;
    support::markTrace();
    return sent;
}

}  // namespace

int main(int argc, char** argv) {
    if (const std::string error = phone::enterWorld(); !error.empty()) {
        std::fprintf(stderr, "%s\n", error.c_str());
        return 1;
    }
    __android_log_set_logger(watchLog);
    phone::Phone phone;
    const android::sp<Bivista> service = new Bivista();
    service->incStrong(nullptr);
    const bool isFrame = argc > 1 && strcmp(argv[1], "frame") == 0;
    _exit((isFrame ? sendFrame : exchange)(phone, *service) ? 0 : 1);
}
