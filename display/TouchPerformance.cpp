// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The touch performance mode of the cover.

#include "diagnostics/Statistics.h"
#include "display/Display.h"
#include "kernel/Bivista.h"
#include "kernel/serial/AtQuery.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

Return<Status> Bivista::set_touch_perf(bool enable) {
    sStatistics.record(EventKind::kSetting, "touchPerformance", {enable});
    if (!bv2_initialized) {
        sStatistics.recordFailure(__func__, kDisplayNotInitialized);
        LOG_ERROR("%s: bv2 not initialized, enable:%d", __func__, enable);
        return Status::FAIL;
    }
    const AtQuery<> query(*this, enable ? "AT%TCPERF=1\r" : "AT%TCPERF=0\r");
    LOG_INFO("%s: Bivista send TCPERF: %s, ret:%d", __func__, query.text(), query.result());
    // Meant: quirk any-negative.
    if (query.result() >= 0) return Status::OK;
    LOG_ERROR("%s: enable:%d, buf:%s, ret: %d", __func__, enable, query.text(), query.result());
    return Status::FAIL;
}

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
