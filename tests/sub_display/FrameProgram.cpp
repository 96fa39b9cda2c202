// One frame and its end between two marks that a system call tracer sees. The node is an ordinary
// file, which takes whatever is written.
#include <cstdio>

#include <android/log.h>
#include <unistd.h>

#include "emulator/phone/Phone.h"
#include "emulator/phone/World.h"
#include "kernel/Bivista.h"
#include "tests/support/HidNode.h"
#include "tests/support/Trace.h"

using vendor::qmx::hardware::bivista::V1_1::implementation::Bivista;

int main() {
    if (const std::string error = phone::enterWorld(); !error.empty()) {
        std::fprintf(stderr, "%s\n", error.c_str());
        return 1;
    }
    __android_log_set_minimum_priority(ANDROID_LOG_SILENT);
    phone::Phone phone;
    const android::sp<Bivista> service = new Bivista();
    service->incStrong(nullptr);
    support::createHidNode(phone, 0);
    static const uint8_t frame[8192] = {};
    while (service->hidDisplayPalette(8192, 0, frame) < 0) usleep(1000);

    support::markTrace();
    const bool sent = service->hidDisplayPalette(8192, 0, frame) == 8192 &&
                      service->hidDisplayPalette(0, 0, nullptr) == 0;
    support::markTrace();
    _exit(sent ? 0 : 1);
}
