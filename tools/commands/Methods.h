// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The interface's methods by their names: what "bivistactl call" and "bivistactl session" call.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "tools/client/Service.h"
#include "tools/text/Json.h"

namespace bivistactl {

struct Parameter {
    std::string name;
    // As the help of "bivistactl call" writes it.
    std::string type;
    // In JSON: "int32", "uint32", "bool", "string", "uint32[]" or "null".
    std::string jsonType;
};

// The answer of a call.
struct Called {
    // OK for a method without a status.
    ::vendor::qmx::hardware::bivista::V1_0::Status status;
    // A JSON object, with a line feed.
    std::string line;
};

// A call with its arguments; throws Failure when the service does not carry it out.
using Call = std::function<Called(const ::android::sp<BivistaV1_0>& service)>;

struct Method {
    std::string name;
    std::vector<Parameter> parameters;
    // What the answer has.
    bool hasStatus = false;
    // "bool", "string", "BivistaStatus", "SubScreenInfo" or "SubScreenState"; empty for no value.
    std::string valueType;
    // Make a call out of one text, or one value of JSON, for each parameter. Throw Failure with
    // EXIT_USAGE for one that is not of the parameter's type.
    std::function<Call(const std::vector<std::string>& texts)> bind;
    std::function<Call(const std::vector<Json>& values)> bindJson;

    // "setPowerStatus enable uevent"
    std::string synopsis() const;
};

// All methods of IBivista 1.0 and 1.1, in the interface's order.
const std::vector<Method>& methods();

// Null when there is no method of that name.
const Method* findMethod(const std::string& name);

}  // namespace bivistactl
