#include "display/Cutout.h"

#include <atomic>
#include <cstring>
#include <mutex>
#include <string>

#include "kernel/Bivista.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

namespace {

constexpr size_t kCapacity = 1024;

std::atomic<bool> sFetched = false;

// Leaf lock, held only to copy. Guards sText. The text has one byte more than the transport is
// told, since a failed command may leave its answer without a NUL.
std::mutex sTextLock;
char sText[kCapacity + 1] = {};

void copyText(char (&text)[kCapacity + 1]) {
    const std::lock_guard<std::mutex> lock(sTextLock);
    memcpy(text, sText, sizeof(text));
}

void keepText(const char (&text)[kCapacity + 1]) {
    const std::lock_guard<std::mutex> lock(sTextLock);
    memcpy(sText, text, sizeof(sText));
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
    keepText(text);
    // Meant: a hang-up counts as success, and may keep an empty text for good.
    if (result == -1) {
        LOG_ERROR("%s: CUTOUT info: %s: ret:%d", function, text, result);
        return false;
    }
    LOG_DEBUG("%s: %s", function, text);
    sFetched = true;
    return true;
}

void clearCutout() {
    keepText({});
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
