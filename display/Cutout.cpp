// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "display/Cutout.h"

#include <atomic>

#include "kernel/Bivista.h"
#include "kernel/serial/AtQuery.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

namespace {

// Set under sQueryLock, with the query.
std::atomic<bool> sFetched = false;

// Leaf lock, held only to copy.
Mutex sQueryLock;
AtQuery<> sQuery GUARDED_BY(sQueryLock);

AtQuery<> lastQuery() {
    const LeafLock lock(sQueryLock);
    return sQuery;
}

// An attach and a client may ask at the same time. What was fetched stays, whatever the other query
// brings: it may have begun with the text before, and failed.
void keepQuery(const AtQuery<>& query, bool fetched) {
    const LeafLock lock(sQueryLock);
    if (sFetched) return;
    sQuery = query;
    sFetched = fetched;
}

}  // namespace

bool isCutoutFetched() {
    return sFetched;
}

bool fetchCutout(Bivista& service, const char* function) {
    // Meant: quirk answer-over-the-text.
    AtQuery<> query = lastQuery();
    query.send(service, "AT%GETBVCUTOUT\r");
    // Meant: quirk hang-up-is-success.
    const bool fetched = !query.failed();
    keepQuery(query, fetched);
    if (fetched) {
        LOG_DEBUG("%s: %s", function, query.text());
    } else {
        LOG_ERROR("%s: CUTOUT info: %s: ret:%d", function, query.text(), query.result());
    }
    return fetched;
}

void clearCutout() {
    keepQuery({}, false);
}

Return<void> Bivista::getCoverDisplayCutout(getCoverDisplayCutout_cb cb) {
    const bool known = isCutoutFetched() || fetchCutout(*this, __func__);
    // Meant: quirk text-with-fail.
    cb(known ? Status::OK : Status::FAIL, lastQuery().text());
    return Void();
}

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
