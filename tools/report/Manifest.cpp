// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "tools/report/Manifest.h"

#include <pwd.h>
#include <sys/utsname.h>
#include <time.h>
#include <unistd.h>

#include <fstream>
#include <nlohmann/json.hpp>

#include "kernel/base/Version.h"
#include "tools/report/Archive.h"
#include "tools/text/Json.h"

namespace report {
namespace {

using ::bivistactl::Json;
using ::bivistactl::memberOf;
using ::bivistactl::numberOf;
using ::bivistactl::orNull;
using ::bivistactl::textOf;
using ::vendor::qmx::hardware::bivista::V1_1::implementation::kVersion;

int64_t microsOf(clockid_t clock) {
    timespec now = {};
    clock_gettime(clock, &now);
    return int64_t{now.tv_sec} * 1'000'000 + now.tv_nsec / 1000;
}

// PRETTY_NAME="Debian GNU/Linux 12 (bookworm)"
std::string distribution() {
    constexpr std::string_view kKey = "PRETTY_NAME=";
    std::ifstream file("/etc/os-release");
    for (std::string line; std::getline(file, line);) {
        if (!line.starts_with(kKey)) continue;
        line.erase(0, kKey.size());
        std::erase(line, '"');
        return line + ", ";
    }
    return "";
}

Machine describeMachine() {
    utsname names = {};
    uname(&names);
    const passwd* const user = getpwuid(geteuid());
    return {distribution() + names.sysname + " " + names.release + " " + names.machine,
            names.nodename, user == nullptr ? std::to_string(geteuid()) : user->pw_name};
}

std::string textIn(const Json* object, const char* name) {
    return object == nullptr ? "" : textOf(memberOf(*object, name)).value_or("");
}

std::vector<Missing> readMissing(const Json* list) {
    std::vector<Missing> missing;
    if (list == nullptr || !list->is_array()) return missing;
    for (const Json& row : *list) {
        missing.push_back({textIn(&row, "name"), textIn(&row, "why"), textIn(&row, "detail")});
    }
    return missing;
}

Json toJson(const Missing& missing) {
    Json row = {{"name", missing.name}, {"why", missing.why}};
    if (!missing.detail.empty()) row["detail"] = missing.detail;
    return row;
}

}  // namespace

std::string inWords(const Missing& missing) {
    const std::string detail = missing.detail.empty() ? "" : " (" + missing.detail + ")";
    return missing.name + ": " + missing.why + detail;
}

Manifest makeManifest() {
    Manifest manifest;
    manifest.program = "bivistactl";
    manifest.version = kVersion;
    manifest.wallMicros = microsOf(CLOCK_REALTIME);
    manifest.monotonicMicros = microsOf(CLOCK_MONOTONIC);
    manifest.machine = describeMachine();
    return manifest;
}

std::string toText(const Manifest& manifest) {
    Json missing = Json::array();
    for (const Missing& each : manifest.missing) missing.push_back(toJson(each));
    const Json machine = {{"system", orNull(manifest.machine.system)},
                          {"host", orNull(manifest.machine.host)},
                          {"user", orNull(manifest.machine.user)}};
    return bivistactl::toLine({{"format", manifest.format},
                               {"program", manifest.program},
                               {"version", manifest.version},
                               {"wallMicros", manifest.wallMicros},
                               {"monotonicMicros", manifest.monotonicMicros},
                               {"redacted", manifest.redacted},
                               {"machine", machine},
                               {"missing", missing}}) +
           "\n";
}

Manifest readManifest(std::string_view text) {
    const Json json = ::bivistactl::parseShallow(text);
    Manifest manifest;
    const auto format = numberOf(memberOf(json, "format"));
    if (!format || *format < 1) {
        throw BadReport("its " + std::string(kManifest) + " cannot be understood");
    }
    manifest.format = *format;
    manifest.program = textIn(&json, "program");
    manifest.version = textIn(&json, "version");
    if (manifest.format > kFormat) {
        throw BadReport(
                "it is of a later version, format " + std::to_string(manifest.format) +
                ": read it with the bivistactl of version " +
                (manifest.version.empty() ? "that made it" : manifest.version + " or later"));
    }
    manifest.wallMicros = numberOf(memberOf(json, "wallMicros")).value_or(0);
    manifest.monotonicMicros = numberOf(memberOf(json, "monotonicMicros")).value_or(0);
    const Json* const redacted = memberOf(json, "redacted");
    manifest.redacted = redacted != nullptr && *redacted == true;
    const Json* const machine = memberOf(json, "machine");
    manifest.machine = {textIn(machine, "system"), textIn(machine, "host"),
                        textIn(machine, "user")};
    manifest.missing = readMissing(memberOf(json, "missing"));
    return manifest;
}

}  // namespace report
