// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "tools/session/Bind.h"

#include <utility>

#include "tools/ExitStatus.h"

namespace session {
namespace {

using bivistactl::Failure;
using bivistactl::Method;
using bivistactl::Parameter;

std::vector<std::string> namesOf(const Method& method) {
    std::vector<std::string> names;
    for (const Parameter& parameter : method.parameters) names.push_back(parameter.name);
    return names;
}

Json describe(const Method& method) {
    Json parameters = Json::array();
    for (const Parameter& parameter : method.parameters) {
        parameters.push_back({{"name", parameter.name}, {"type", parameter.jsonType}});
    }
    return {{"name", method.name},
            {"parameters", parameters},
            {"status", method.hasStatus},
            {"value", bivistactl::orNull(method.valueType)}};
}

}  // namespace

bivistactl::Call toCall(const Method& method, Json params) {
    const std::vector<std::string> names = namesOf(method);
    try {
        return method.bindJson(arrange(method.name, names, names.size(), std::move(params)));
    } catch (const Failure& failure) {
        throw RpcError(INVALID_PARAMS, failure.what());
    }
}

Json describeMethods() {
    Json methods = Json::array();
    for (const Method& method : bivistactl::methods()) methods.push_back(describe(method));
    return methods;
}

}  // namespace session
