#include "display/Cutout.h"

#include <atomic>

#include "kernel/Bivista.h"
#include "kernel/base/Mutex.h"
#include "kernel/serial/AtQuery.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

namespace {

// Set under sTextLock, with the text.
std::atomic<bool> sFetched = false;

// Leaf lock, held only to copy.
Mutex sTextLock;
AtQuery<> sText GUARDED_BY(sTextLock);

AtQuery<> copyText() {
    const LeafLock lock(sTextLock);
    return sText;
}

// An attach and a client may ask at the same time. What was fetched stays, whatever the other query
// brings: it may have begun with the text before, and failed.
void keepText(const AtQuery<>& query, bool fetched) {
    const LeafLock lock(sTextLock);
    if (sFetched) return;
    sText = query;
    sFetched = fetched;
}

}  // namespace

bool isCutoutFetched() {
    return sFetched;
}

bool fetchCutout(Bivista* service, const char* function) {
    // Meant: the answer goes over the text of an earlier attempt.
    AtQuery<> query = copyText();
    query.send(*service, "AT%GETBVCUTOUT\r");
    // Meant: a hang-up counts as success, and may keep an empty text for good.
    const bool fetched = !query.failed();
    keepText(query, fetched);
    if (fetched) {
        LOG_DEBUG("%s: %s", function, query.text());
    } else {
        LOG_ERROR("%s: CUTOUT info: %s: ret:%d", function, query.text(), query.result());
    }
    return fetched;
}

void clearCutout() {
    keepText({}, false);
}

Return<void> Bivista::getCoverDisplayCutout(getCoverDisplayCutout_cb cb) {
    const bool known = isCutoutFetched() || fetchCutout(this, __func__);
    // Meant: also after a failure, with what the text holds.
    cb(known ? Status::OK : Status::FAIL, copyText().text());
    return Void();
}

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
