// One frame and its end between two marks that a system call tracer sees. The node is an ordinary
// file, which takes whatever is written.
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

using vendor::qmx::hardware::bivista::V1_1::implementation::Bivista;

namespace {

// The notify thread has asked the node for its info, in vain.
std::atomic<bool> sAsked = false;

void watchLog(const __android_logger_data* /*data*/, const char* message) {
    if (strncmp(message, "hidDisplayGetInfo: ", strlen("hidDisplayGetInfo: ")) == 0) sAsked = true;
}

}  // namespace

int main() {
    if (const std::string error = phone::enterWorld(); !error.empty()) {
        std::fprintf(stderr, "%s\n", error.c_str());
        return 1;
    }
    __android_log_set_logger(watchLog);
    phone::Phone phone;
    const android::sp<Bivista> service = new Bivista();
    service->incStrong(nullptr);
    support::createHidNode(phone, 0);
    static const uint8_t frame[8192] = {};
    while (!sAsked) usleep(1000);
    // Waits for the lock, if that thread still holds it.
    if (service->hidDisplayPalette(8192, 0, frame) < 0) return 1;

    support::markTrace();
    const bool sent = service->hidDisplayPalette(8192, 0, frame) == 8192 &&
                      service->hidDisplayPalette(0, 0, nullptr) == 0;
    support::markTrace();
    _exit(sent ? 0 : 1);
}
