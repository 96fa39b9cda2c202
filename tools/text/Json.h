// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stdint.h>
#include <vendor/qmx/hardware/bivista/1.0/types.h>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <string_view>

namespace bivistactl {

// Members keep the order in which they were added. Files that make or read a member include
// <nlohmann/json.hpp>, which takes long to compile.
using Json = nlohmann::ordered_json;

// The value on one line. Strings may hold any bytes, and none is lost: a byte that is no part of
// valid UTF-8 becomes the escape \udcXX, XX being the byte (Python's surrogateescape).
std::string toLine(const Json& value);

// The JSON string, quotes included, for any bytes; see toLine().
std::string quote(std::string_view bytes);

// What any program may have written.
//
// The text's value, without members that lie deeper than those of a dump. Discarded when the text
// is no JSON.
Json parseShallow(std::string_view text);
// The member, or nullptr when there is none; also for what is no object.
const Json* memberOf(const Json& object, const char* name);
// Each is none for nullptr and for another type. A number above 2^53 or below its negative is none,
// so that numbers can be added.
std::optional<int64_t> numberOf(const Json* value);
std::optional<std::string> textOf(const Json* value);

// null for an empty text.
Json orNull(const std::string& text);

// How the results of the interface look in JSON. A number without a name has null for it.
Json toJson(::vendor::qmx::hardware::bivista::V1_0::Status status);
Json toJson(const std::string& text);
Json toJson(const ::vendor::qmx::hardware::bivista::V1_0::BivistaStatus& state);
Json toJson(const ::vendor::qmx::hardware::bivista::V1_0::SubScreenInfo& info);
Json toJson(::vendor::qmx::hardware::bivista::V1_0::SubScreenState state);
// The name of an event's number, of version 1.1 of the interface.
Json eventName(int32_t status);
// The name of a colour mode's number.
Json screenModeName(int32_t mode);

}  // namespace bivistactl
