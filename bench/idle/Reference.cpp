// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The least that a program of this kind costs: five threads that wait, linked with the libraries of
// the service, ready when it says so.
#include <thread>

#include <android/log.h>
#include <kj/async-io.h>
#include <unistd.h>
#include <utils/RefBase.h>

namespace {

struct Object : android::RefBase {};

[[noreturn]] void waitForEver() {
    for (;;) pause();
}

// A loop that waits, as that of the transport.
[[noreturn]] void runLoop() {
    auto io = kj::setupAsyncIo();
    kj::Promise<void>(kj::NEVER_DONE).wait(io.waitScope);
    waitForEver();
}

}  // namespace

int main() {
    // Draws libutils in.
    (new Object)->incStrong(nullptr);
    for (int i = 0; i < 3; ++i) std::thread(waitForEver).detach();
    std::thread(runLoop).detach();
    __android_log_print(ANDROID_LOG_INFO, "reference", "Bivista HAL Ready.");
    waitForEver();
}
