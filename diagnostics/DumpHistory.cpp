// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "diagnostics/DumpHistory.h"

#include <vector>

#include <unistd.h>

#include "diagnostics/ProgramBuild.h"
#include "diagnostics/Statistics.h"
#include "kernel/base/Version.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

namespace {

DumpValue textOrNull(const char* text) {
    return text == nullptr || *text == '\0' ? DumpValue(nullptr) : DumpValue(text);
}

DumpRow describeEvent(const Event& event) {
    const auto begin = event.values.begin();
    return {{"number", event.number},
            {"wallMicros", event.at.wallMicros},
            {"monotonicMicros", event.at.monotonicMicros},
            {"kind", nameOf(event.kind)},
            {"what", textOrNull(event.what)},
            {"values", std::vector<int64_t>(begin, begin + event.valueCount)},
            {"cause", textOrNull(textOf(event.cause))},
            {"repeats", event.repeats}};
}

}  // namespace

void describeService(DumpText* dump) {
    const Moment& start = sStatistics.start();
    const Moment now = Moment::now();
    dump->add("service",
              {{"version", kVersion},
               {"build", textOrNull(programBuild().c_str())},
               {"pid", getpid()},
               {"startedWallMicros", start.wallMicros},
               {"uptimeSeconds", (now.monotonicMicros - start.monotonicMicros) / 1'000'000},
               {"wallMicros", now.wallMicros},
               {"monotonicMicros", now.monotonicMicros}});
    const CallbackVersions versions = sStatistics.callbacks();
    const auto versionOf = [&](ClientCallback which) {
        return versions[static_cast<size_t>(which)];
    };
    dump->add("callbacks", {{"lpwg", textOrNull(versionOf(ClientCallback::kLpwg))},
                            {"subDisplay", versionOf(ClientCallback::kSubDisplay) != nullptr},
                            {"at", versionOf(ClientCallback::kAt) != nullptr}});
}

void describeEvents(uint64_t since, DumpText* dump) {
    const EventList list = sStatistics.eventsSince(since);
    dump->add("history", {{"first", list.first}, {"last", list.last}, {"lost", list.lost}});
    std::vector<DumpRow> rows;
    for (const Event& event : list.events) rows.push_back(describeEvent(event));
    dump->addList("events", rows);
}

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
