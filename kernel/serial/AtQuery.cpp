#include "kernel/serial/AtQuery.h"

#include <cstdio>

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

AtQuery<> queryAndLog(Bivista& service, const char* function, const char* cmd) {
    AtQuery<> query(service, cmd);
    if (!query.failed()) LOG_DEBUG("%s: %s", function, query.text());
    return query;
}

Status sendAndLog(Bivista& service, const char* function, const std::string& cmd) {
    char text[1024];
    // Meant: a command that is cut loses its "\r", and the transport refuses it.
    snprintf(text, sizeof(text), "%s", cmd.c_str());
    const AtQuery<> query(service, text);
    if (!query.failed()) LOG_DEBUG("%s: %s %s", function, text, query.text());
    return query.status();
}

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
