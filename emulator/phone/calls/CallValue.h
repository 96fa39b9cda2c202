// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Values of HIDL types out of JSON: the other direction of CallText.h.
#pragma once

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include <vendor/qmx/hardware/bivista/1.1/IBivistaLpwgCallback.h>

#include "cli/Suggestion.h"
#include "emulator/phone/Error.h"
#include "emulator/phone/calls/CallTable.h"
#include "emulator/phone/calls/CallText.h"

namespace calls {

// A short word for an error: what has members or elements may be long.
inline std::string wordFor(const Json& json) {
    if (json.is_structured()) return json.is_array() ? "a list" : "an object";
    if (json.is_string()) {
        const size_t size = json.get_ref<const std::string&>().size();
        if (size > 60) return "a text of " + std::to_string(size) + " bytes";
    }
    return json.dump(-1, ' ', true, Json::error_handler_t::replace);
}

[[noreturn]] inline void refuse(const Json& json, const std::string& wanted) {
    throw phone::Error(wordFor(json) + " is not " + wanted);
}

// --- callbacks that do nothing ---

namespace V1_0 = ::vendor::qmx::hardware::bivista::V1_0;
namespace V1_1 = ::vendor::qmx::hardware::bivista::V1_1;
using android::hardware::Return;

class SilentAt : public V1_0::IBivistaAtCallback {
    Return<void> onAtResponse(const hidl_string&) override { return {}; }
};
class SilentSubDisplay : public V1_0::IBivistaSubDisplayCallback {
    Return<void> onSubDisplayStateChanged(V1_0::SubScreenState) override { return {}; }
};
class SilentLpwg : public V1_0::IBivistaLpwgCallback {
    Return<void> onLpwgEvent(V1_0::LpwgEventStatus, int32_t) override { return {}; }
};
class SilentNewerLpwg : public V1_1::IBivistaLpwgCallback {
    Return<void> onLpwgEvent(V1_0::LpwgEventStatus, int32_t) override { return {}; }
    Return<void> onLpwgEvent_1_1(V1_1::LpwgEventStatus, int32_t) override { return {}; }
};

inline void make(bool, sp<V1_0::IBivistaAtCallback>& callback) {
    callback = new SilentAt;
}
inline void make(bool, sp<V1_0::IBivistaSubDisplayCallback>& callback) {
    callback = new SilentSubDisplay;
}
inline void make(bool isNewer, sp<V1_0::IBivistaLpwgCallback>& callback) {
    if (isNewer) {
        callback = new SilentNewerLpwg;
    } else {
        callback = new SilentLpwg;
    }
}

// --- parse(json, value) sets the value, or throws phone::Error ---

inline void parse(const Json& json, bool& value) {
    if (!json.is_boolean()) refuse(json, "true or false");
    value = json.get<bool>();
}

inline void parse(const Json& json, hidl_string& value) {
    if (!json.is_string()) refuse(json, "a text");
    const auto bytes = cover::unescape(json.get_ref<const std::string&>());
    if (!bytes) refuse(json, "a text: a backslash begins none of \\r \\n \\t \\\\ \\\" \\xHH");
    value = hidl_string(bytes->data(), bytes->size());
}

template <typename Value>
requires std::is_integral_v<Value>
void parse(const Json& json, Value& value) {
    using Limits = std::numeric_limits<Value>;
    const bool fits = json.is_number_unsigned() ? std::in_range<Value>(json.get<uint64_t>())
                                                : json.is_number_integer() &&
                                                          std::in_range<Value>(json.get<int64_t>());
    if (!fits) {
        refuse(json, "a whole number from " + std::to_string(Limits::min()) + " to " +
                             std::to_string(Limits::max()));
    }
    value = json.get<Value>();
}

// By its name or its number; a number may be of no enumerator.
template <typename Value>
requires std::is_enum_v<Value>
void parse(const Json& json, Value& value) {
    if (!json.is_string()) {
        std::underlying_type_t<Value> number;
        parse(json, number);
        value = static_cast<Value>(number);
        return;
    }
    std::vector<std::string> names;
    std::string list;
    for (const Value known : android::hardware::hidl_enum_range<Value>()) {
        names.push_back(toString(known));
        if (names.back() == json.get_ref<const std::string&>()) {
            value = known;
            return;
        }
        list += (list.empty() ? "" : ", ") + names.back();
    }
    refuse(json, "one of " + list + cli::suggest(json.get<std::string>(), names));
}

template <typename Callback>
void parse(const Json& json, sp<Callback>& value) {
    if (json.is_null()) {
        value = nullptr;
    } else if (json == "callback" || json == "callback-1.0") {
        make(json == "callback", value);
    } else {
        refuse(json, "callback, callback-1.0 or null");
    }
}

template <typename Value>
void parse(const Json& json, hidl_vec<Value>& values) {
    if (!json.is_array()) refuse(json, "a list");
    values.resize(json.size());
    for (size_t i = 0; i < values.size(); ++i) {
        within("element " + std::to_string(i + 1), [&] { parse(json[i], values[i]); });
    }
}

template <typename Structure>
requires std::is_class_v<Structure>
void parse(const Json& json, Structure& value) {
    std::vector<std::string> names;
    Members<Structure>::visit(value, [&](const char* name, auto&) { names.push_back(name); });
    std::string list;
    for (const std::string& name : names) list += (list.empty() ? "" : ", ") + name;
    if (!json.is_object()) refuse(json, "an object with " + list);
    for (const auto& member : json.items()) {
        if (std::find(names.begin(), names.end(), member.key()) != names.end()) continue;
        throw phone::Error("there is no member " + wordFor(Json(member.key())) +
                           cli::suggest(member.key(), names));
    }
    Members<Structure>::visit(value, [&](const char* name, auto& member) {
        if (!json.contains(name)) throw phone::Error("there is no " + std::string(name));
        within(name, [&] { parse(json[name], member); });
    });
}

}  // namespace calls
