// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "tools/text/Json.h"

#include <stdio.h>
#include <vendor/qmx/hardware/bivista/1.1/types.h>
#include <nlohmann/json.hpp>

#include "tools/text/Text.h"

namespace bivistactl {
namespace {

using ::vendor::qmx::hardware::bivista::V1_0::BivistaStatus;
using ::vendor::qmx::hardware::bivista::V1_0::ScreenMode;
using ::vendor::qmx::hardware::bivista::V1_0::Status;
using ::vendor::qmx::hardware::bivista::V1_0::SubScreenInfo;
using ::vendor::qmx::hardware::bivista::V1_0::SubScreenState;

void appendEscaped(std::string* text, unsigned unit) {
    char escape[8];
    snprintf(escape, sizeof(escape), "\\u%04x", unit);
    text->append(escape);
}

void appendCharacter(std::string* text, char character) {
    // The characters that JSON has a letter for, and the letters.
    constexpr std::string_view kEscaped = "\"\\\n\r\t";
    constexpr std::string_view kLetters = "\"\\nrt";
    const size_t at = kEscaped.find(character);
    if (at != std::string_view::npos) {
        text->append({'\\', kLetters[at]});
    } else if (static_cast<uint8_t>(character) < 32) {
        appendEscaped(text, static_cast<uint8_t>(character));
    } else {
        text->push_back(character);
    }
}

// The name of a number in an enum of the interface. For a number without a name, hidl-gen returns
// the number itself.
template <typename Enum>
Json nameOf(Enum value) {
    for (Enum known : ::android::hardware::hidl_enum_range<Enum>()) {
        if (known == value) return toString(value);
    }
    return nullptr;
}

}  // namespace

std::string quote(std::string_view bytes) {
    std::string text = "\"";
    while (!bytes.empty()) {
        size_t length = utf8Length(bytes);
        if (length == 0) {
            appendEscaped(&text, 0xdc00u | static_cast<uint8_t>(bytes[0]));
            length = 1;
        } else if (length == 1) {
            appendCharacter(&text, bytes[0]);
        } else {
            text.append(bytes.substr(0, length));
        }
        bytes.remove_prefix(length);
    }
    return text + '"';
}

std::string toLine(const Json& value) {
    if (value.is_string()) return quote(value.get_ref<const std::string&>());
    if (!value.is_structured()) return value.dump();
    std::string line;
    for (const auto& [key, member] : value.items()) {
        if (!line.empty()) line += ',';
        if (value.is_object()) line += quote(key) + ':';
        line += toLine(member);
    }
    return value.is_object() ? '{' + line + '}' : '[' + line + ']';
}

Json parseShallow(std::string_view text) {
    // Sections, rows, members, the numbers of a list.
    constexpr int kMostDepth = 4;
    const auto isShallow = [](int depth, Json::parse_event_t, Json&) {
        return depth <= kMostDepth;
    };
    return Json::parse(text, isShallow, false);
}

const Json* memberOf(const Json& object, const char* name) {
    const auto found = object.is_object() ? object.find(name) : object.end();
    return found == object.end() ? nullptr : &*found;
}

std::optional<int64_t> numberOf(const Json* value) {
    constexpr uint64_t kMostNumber = uint64_t{1} << 53;
    if (value == nullptr || !value->is_number_integer()) return std::nullopt;
    // Above INT64_MAX it is an unsigned one.
    if (value->is_number_unsigned() && value->get<uint64_t>() > kMostNumber) return std::nullopt;
    const auto number = value->get<int64_t>();
    return number < -static_cast<int64_t>(kMostNumber) ? std::nullopt : std::optional(number);
}

std::optional<std::string> textOf(const Json* value) {
    if (value == nullptr || !value->is_string()) return std::nullopt;
    return value->get<std::string>();
}

Json orNull(const std::string& text) {
    return text.empty() ? Json() : Json(text);
}

Json toJson(Status status) {
    Json name = nameOf(status);
    // No version of the service answers with another number, but a caller should still see one.
    return name.is_null() ? Json(static_cast<int32_t>(status)) : name;
}

Json toJson(const std::string& text) {
    return text;
}

Json toJson(const BivistaStatus& state) {
    return {{"connected", state.connected}};
}

Json toJson(const SubScreenInfo& info) {
    return {{"x", info.x}, {"y", info.y}, {"format", info.format}};
}

Json toJson(SubScreenState state) {
    return {{"state", nameOf(state)}, {"code", static_cast<int32_t>(state)}};
}

Json eventName(int32_t status) {
    using ::vendor::qmx::hardware::bivista::V1_1::LpwgEventStatus;
    return nameOf(static_cast<LpwgEventStatus>(status));
}

Json screenModeName(int32_t mode) {
    return nameOf(static_cast<ScreenMode>(mode));
}

}  // namespace bivistactl
