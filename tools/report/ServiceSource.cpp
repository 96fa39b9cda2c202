// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// What the service tells of itself: its dump and its history.
#include <exception>
#include <functional>
#include <optional>

#include "tools/client/Dump.h"
#include "tools/client/History.h"
#include "tools/doctor/Patience.h"
#include "tools/report/Gathering.h"

namespace report {
namespace {

using Words = std::vector<std::string>;

// What the service prints for these options of its dump, or why it prints nothing.
struct Told {
    std::string text;
    std::string fault;
};

Told ask(const Words& options) {
    try {
        return {::bivistactl::readDump(::bivistactl::findService(), options), ""};
    } catch (const std::exception& failure) {
        return {"", failure.what()};
    }
}

// False when the service does not answer.
bool gather(const char* name, const Words& options,
            const std::function<std::string(const std::string& text)>& faultOf,
            std::chrono::milliseconds patience, Gathering* gathering) {
    const auto told = doctor::within(patience, [options] { return ask(options); });
    if (!told) {
        gathering->miss(name,
                        "the service does not answer: it serves one call at a time, and one "
                        "goes on");
        return false;
    }
    if (!told->fault.empty()) {
        gathering->miss(name, "the service could not be asked", told->fault);
        return true;
    }
    const std::string fault = faultOf(told->text);
    if (fault.empty()) {
        gathering->add(name, told->text);
    } else {
        gathering->miss(name, fault);
    }
    return true;
}

}  // namespace

void gatherService(std::chrono::milliseconds patience, Gathering* gathering) {
    const auto ofDump = [](const std::string& text) { return bivistactl::Dump(text).fault(); };
    const auto ofEvents = [](const std::string& text) { return bivistactl::History(text).fault(); };
    if (!gather(kDump, {"--json"}, ofDump, patience, gathering)) {
        gathering->miss(kEvents, "the service does not answer");
        return;
    }
    gather(kEvents, {"--events", "--json"}, ofEvents, patience, gathering);
}

}  // namespace report
