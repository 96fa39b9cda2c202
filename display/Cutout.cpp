#include "display/Cutout.h"

#include <atomic>
#include <cstring>
#include <string>

#include "kernel/Bivista.h"
#include "kernel/base/Mutex.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

namespace {

constexpr size_t kCapacity = 1024;

// Set under sTextLock, with the text.
std::atomic<bool> sFetched = false;

// Leaf lock, held only to copy.
Mutex sTextLock;
// One byte more than the transport is told: a failed command may leave its answer without a NUL.
char sText[kCapacity + 1] GUARDED_BY(sTextLock) = {};

void copyText(char (&text)[kCapacity + 1]) {
    const LeafLock lock(sTextLock);
    memcpy(text, sText, sizeof(text));
}

// An attach and a client may ask at the same time. What was fetched stays, whatever the other query
// brings: it may have begun with the text before, and failed.
void keepText(const char (&text)[kCapacity + 1], bool fetched) {
    const LeafLock lock(sTextLock);
    if (sFetched) return;
    memcpy(sText, text, sizeof(sText));
    sFetched = fetched;
}

}  // namespace

bool isCutoutFetched() {
    return sFetched;
}

bool fetchCutout(Bivista* service, const char* function) {
    // Meant: the answer goes over the text of an earlier attempt.
    char text[kCapacity + 1];
    copyText(text);
    const int result = service->serialAtCmd("AT%GETBVCUTOUT\r", text, kCapacity, nullptr);
    // Meant: a hang-up counts as success, and may keep an empty text for good.
    const bool fetched = result != -1;
    keepText(text, fetched);
    if (fetched) {
        LOG_DEBUG("%s: %s", function, text);
    } else {
        LOG_ERROR("%s: CUTOUT info: %s: ret:%d", function, text, result);
    }
    return fetched;
}

void clearCutout() {
    keepText({}, false);
}

Return<void> Bivista::getCoverDisplayCutout(getCoverDisplayCutout_cb cb) {
    const bool known = isCutoutFetched() || fetchCutout(this, __func__);
    char text[kCapacity + 1];
    copyText(text);
    // Meant: also after a failure, with what the text holds.
    cb(known ? Status::OK : Status::FAIL, text);
    return Void();
}

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
