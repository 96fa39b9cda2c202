// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/recording/EntryCheck.h"

#include "emulator/cover/Text.h"

namespace recording {

namespace {

// Of time_us and duration_us.
std::string checkTime(const Json& value, const std::string& name) {
    constexpr auto kMost = std::chrono::microseconds(kLongestTime).count();
    if (!value.is_number_unsigned()) {
        return "the entry's \"" + name + "\" must be microseconds, 0 or more";
    }
    if (value.get<uint64_t>() > uint64_t{kMost}) {
        return "the entry's \"" + name + "\" is longer than a year";
    }
    return "";
}

std::string checkText(const Json& value, const std::string& name) {
    if (!value.is_string()) return "the entry's \"" + name + "\" must be a text";
    if (!cover::unescape(value.get_ref<const std::string&>())) {
        return "the entry's \"" + name + "\" has a backslash that spells no byte";
    }
    return "";
}

}  // namespace

std::string whyNoEntry(const Json& object) {
    if (!object.is_object()) return "is no entry of a journal: it must be an object";
    for (const char* name : {"seq", "kind", "time_us"}) {
        if (!object.contains(name)) {
            return std::string("is no entry of a journal: it has no \"") + name + "\"";
        }
    }
    const Json& seq = object["seq"];
    if (!seq.is_number_unsigned() || seq == 0) return "the entry's \"seq\" must be 1 or more";
    if (!object["kind"].is_string()) return "the entry's \"kind\" must be a text";
    for (const char* name : {"time_us", "duration_us"}) {
        if (!object.contains(name)) continue;
        std::string wrong = checkTime(object[name], name);
        if (!wrong.empty()) return wrong;
    }
    for (const char* name : {"path", "bytes", "note"}) {
        if (!object.contains(name)) continue;
        std::string wrong = checkText(object[name], name);
        if (!wrong.empty()) return wrong;
    }
    return "";
}

}  // namespace recording
