#pragma once

#include <functional>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "tools/client/Service.h"
#include "tools/text/Json.h"

namespace bivistactl {

struct Parameter {
    std::string name;
    std::string type;
};

// What a method answered. Methods without a status or a value leave it out.
struct Answer {
    std::optional<::vendor::qmx::hardware::bivista::V1_0::Status> status;
    std::optional<Json> value;
};

// A call with its arguments; throws Failure when the service does not carry it out.
using Call = std::function<Answer(const ::android::sp<BivistaV1_0>& service)>;

struct Method {
    std::string name;
    std::vector<Parameter> parameters;
    // Makes a call out of one text for each parameter. Throws Failure with EXIT_USAGE for a text
    // that is not of the parameter's type.
    std::function<Call(const std::vector<std::string>& texts)> bind;

    // "setPowerStatus enable uevent"
    std::string synopsis() const;
};

// All methods of IBivista 1.0 and 1.1, in the interface's order.
const std::vector<Method>& methods();

// What a call answered as JSON on one line, with a line feed: {"method":M,"status":S,"value":V}.
std::string toLine(const std::string& method, const Answer& answer);

// Null when there is no method of that name.
const Method* findMethod(const std::string& name);

}  // namespace bivistactl
