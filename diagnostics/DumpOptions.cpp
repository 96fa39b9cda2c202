// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "diagnostics/DumpOptions.h"

#include <charconv>
#include <system_error>

#include "diagnostics/DumpText.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

using ::android::hardware::hidl_string;
using ::android::hardware::hidl_vec;

namespace {

constexpr char kHelp[] =
        "Prints what the service knows of cover, panel and phone, and what it has counted since\n"
        "its start or the last reset. Asks nothing of the cover.\n"
        "\n"
        "  --json     one JSON object on one line\n"
        "  --reset    set the counters to 0 when they are printed\n"
        "  --events   print the last events instead, 256 at most\n"
        "  --since N  print the events above number N instead\n"
        "  --help     this text\n";

struct Flag {
    const char* name;
    bool DumpOptions::*member;
};
constexpr Flag kFlags[] = {{"--json", &DumpOptions::json},
                           {"--reset", &DumpOptions::reset},
                           {"--events", &DumpOptions::events}};

bool takeFlag(const std::string& text, DumpOptions* options) {
    for (const Flag& flag : kFlags) {
        if (text != flag.name) continue;
        options->*flag.member = true;
        return true;
    }
    return false;
}

// Digits alone, of a 64-bit number.
bool readNumber(const std::string& text, uint64_t* number) {
    const char* const end = text.data() + text.size();
    const auto read = std::from_chars(text.data(), end, *number);
    return read.ec == std::errc() && read.ptr == end;
}

}  // namespace

DumpOptions readOptions(const hidl_vec<hidl_string>& words) {
    DumpOptions options;
    bool isHelp = false;
    for (size_t i = 0; i < words.size(); ++i) {
        const std::string text(words[i].c_str(), words[i].size());
        if (text == "--help") {
            isHelp = true;
        } else if (text == "--since") {
            const std::string number = ++i < words.size() ? std::string(words[i]) : "";
            options.events = true;
            if (readNumber(number, &options.since)) continue;
            options.answer = "--since takes the number of an event, not \"" + spelled(number) +
                             "\"; --help lists the options.\n";
            return options;
        } else if (!takeFlag(text, &options)) {
            options.answer = "Unknown option " + spelled(text) + "; --help lists them.\n";
            return options;
        }
    }
    if (isHelp) {
        options.answer = kHelp;
    } else if (options.events && options.reset) {
        // Counters that nobody has read must not be forgotten.
        options.answer = "--reset prints the counters, --events does not: give one of them.\n";
    }
    return options;
}

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
