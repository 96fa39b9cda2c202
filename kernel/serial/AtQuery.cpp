// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "kernel/serial/AtQuery.h"

#include "kernel/Bivista.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

int sendAtCmd(Bivista& service, const char* cmd, char* resp, size_t respCount, AtLineCallback cb) {
    return service.serialAtCmd(cmd, resp, respCount, cb);
}

AtQuery<> queryAndLog(Bivista& service, const char* function, const char* cmd) {
    AtQuery<> query(service, cmd);
    if (!query.failed()) LOG_DEBUG("%s: %s", function, query.text());
    return query;
}

Status sendAndLog(Bivista& service, const char* function, const std::string& cmd) {
    // Meant: a command that is cut loses its "\r", so the transport refuses it.
    const std::string text = cmd.substr(0, 1023);
    const AtQuery<> query(service, text.c_str());
    if (!query.failed()) LOG_DEBUG("%s: %s %s", function, text.c_str(), query.text());
    return query.status();
}

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
