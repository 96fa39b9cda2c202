// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The touch update state, which the phone's touch driver publishes and the cover has to know.

#include "display/TouchUpdateState.h"

#include <sstream>

#include "diagnostics/Statistics.h"
#include "kernel/Bivista.h"
#include "kernel/base/KernelPaths.h"
#include "kernel/serial/AtQuery.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

namespace {

size_t countWords(const std::string& text) {
    std::istringstream stream(text);
    size_t count = 0;
    for (std::string word; stream >> word;) ++count;
    return count;
}

}  // namespace

std::string makeUpdateStateCommand(const std::string& text) {
    hidl_vec<int32_t> values;
    values.resize(countWords(text));
    std::istringstream stream(text);
    size_t count = 0;
    while (count < values.size() && stream >> values[count]) ++count;

    std::string command = "AT%TCHUPDATE=UPDATE_STATE";
    for (size_t i = 0; i < count; ++i) command += "," + std::to_string(values[i]);
    return command + "\r";
}

Return<Status> Bivista::bv_update_state() {
    std::string text;
    const int32_t nodeError = readString(kUpdateStatePath, text);
    Status status = Status::FAIL;
    if (nodeError == 0) {
        status = sendAndLog(*this, __func__, makeUpdateStateCommand(text));
    } else {
        sStatistics.recordFailure(__func__, "the kernel's node cannot be read");
    }
    LOG_DEBUG("%s : ATCMD_Status : %d, sysNodeError : %d\n", __func__, static_cast<int>(status),
              nodeError);
    return status;
}

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
