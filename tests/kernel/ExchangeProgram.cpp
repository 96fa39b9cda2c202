// One AT exchange between two marks that a system call tracer sees. Main thread only: the phone's
// and the service's other threads are not traced.
#include <cstdio>

#include <android/log.h>
#include <unistd.h>

#include "emulator/phone/Phone.h"
#include "emulator/phone/world/World.h"
#include "kernel/Bivista.h"
#include "tests/support/Trace.h"
#include "tests/support/Watch.h"

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
    phone.cover.attach();
    // The last command of the attach; the exchange behind it waits for its end.
    phone.journal().waitFor(phone::beginsWith(phone::Kind::TtyRx, "AT%TCHUPDATE="));
    if (service->serialAtCmd("AT%SWV\r", nullptr, 0, nullptr) < 0) return 1;
    // Before it watches, the log's thread takes the lock of an exchange once.
    support::awaitWatch("/sys/power/wake_lock");

    char answer[1025] = {};
    support::markTrace();
    const int stored = service->serialAtCmd("AT%SWV\r", answer, 1024, nullptr);
    support::markTrace();
    _exit(stored == 20 ? 0 : 1);
}
