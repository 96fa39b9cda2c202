// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Raw and delta frames of the touch panel, which reach people through the log alone.

#include "display/TouchFrame.h"

#include <cstdlib>

#include "kernel/Bivista.h"
#include "kernel/serial/AtQuery.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

namespace {

Status logFrame(Bivista& service, const char* function, const char* cmd) {
    const AtQuery<4096> query(service, cmd);
    if (query.failed()) return Status::FAIL;
    std::string_view frame = query.text();
    while (!frame.empty()) {
        const std::string_view line = takeFrameLine(&frame);
        LOG_DEBUG("%s: %.*s", function, static_cast<int>(line.size()), line.data());
    }
    return Status::OK;
}

}  // namespace

std::string_view takeFrameLine(std::string_view* text) {
    const size_t end = text->find('\n');
    const std::string_view line = text->substr(0, end == std::string_view::npos ? end : end + 1);
    // Meant: no frame has such a line, so what sent it is not to be trusted.
    if (line.size() > kFrameLineLimit) abort();
    text->remove_prefix(line.size());
    return line;
}

Return<Status> Bivista::DoRawdata() {
    return logFrame(*this, __func__, "AT%TCHDEBUG=RAWDATA\r");
}

Return<Status> Bivista::DoDelta() {
    return logFrame(*this, __func__, "AT%TCHDEBUG=DELTA\r");
}

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
