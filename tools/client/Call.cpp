// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "tools/client/Call.h"

#include <nlohmann/json.hpp>

#include "tools/text/Json.h"

namespace bivistactl {

using ::vendor::qmx::hardware::bivista::V1_0::BivistaStatus;
using ::vendor::qmx::hardware::bivista::V1_0::SubScreenInfo;
using ::vendor::qmx::hardware::bivista::V1_0::SubScreenState;

template <typename T>
std::string toLine(const std::string& method, const T& answer) {
    Json line = {{"method", method}};
    if constexpr (std::is_same_v<T, Status>) line["status"] = toJson(answer);
    if constexpr (std::is_same_v<T, bool>) line["value"] = answer;
    if constexpr (requires { answer.status; }) {
        line["status"] = toJson(answer.status);
        line["value"] = toJson(answer.value);
    }
    return toLine(line) + "\n";
}

template std::string toLine(const std::string&, const Nothing&);
template std::string toLine(const std::string&, const Status&);
template std::string toLine(const std::string&, const bool&);
template std::string toLine(const std::string&, const Answer<std::string>&);
template std::string toLine(const std::string&, const Answer<BivistaStatus>&);
template std::string toLine(const std::string&, const Answer<SubScreenInfo>&);
template std::string toLine(const std::string&, const Answer<SubScreenState>&);

}  // namespace bivistactl
