// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "tools/commands/Methods.h"

#include <initializer_list>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <tuple>
#include <type_traits>

#include "tools/ExitStatus.h"
#include "tools/client/Call.h"
#include "tools/text/Arguments.h"
#include "tools/text/JsonArguments.h"

namespace bivistactl {
namespace {

using ::android::sp;
using ::android::hardware::hidl_string;
using ::android::hardware::hidl_vec;
using ::vendor::qmx::hardware::bivista::V1_0::BivistaStatus;
using ::vendor::qmx::hardware::bivista::V1_0::LpwgStatus;
using ::vendor::qmx::hardware::bivista::V1_0::ScreenMode;
using ::vendor::qmx::hardware::bivista::V1_0::SubScreenInfo;
using ::vendor::qmx::hardware::bivista::V1_0::SubScreenState;

// For each type of the interface: its name in the help and in JSON, and how a text, or a value of
// JSON, becomes a value of it.
template <typename T>
struct Type;
template <>
struct Type<int32_t> {
    static constexpr char name[] = "int32";
    static constexpr char jsonName[] = "int32";
    static int32_t parse(const std::string& text) { return parseInt32(text); }
    static int32_t parse(const Json& value) { return int32From(value); }
};
template <>
struct Type<uint32_t> {
    static constexpr char name[] = "uint32";
    static constexpr char jsonName[] = "uint32";
    static uint32_t parse(const std::string& text) { return parseUint32(text); }
    static uint32_t parse(const Json& value) { return uint32From(value); }
};
template <>
struct Type<bool> {
    static constexpr char name[] = "true|false";
    static constexpr char jsonName[] = "bool";
    static bool parse(const std::string& text) { return parseBool(text); }
    static bool parse(const Json& value) { return boolFrom(value); }
};
template <>
struct Type<hidl_string> {
    static constexpr char name[] = "text";
    static constexpr char jsonName[] = "string";
    static hidl_string parse(const std::string& text) { return text; }
    static hidl_string parse(const Json& value) { return textFrom(value); }
};
template <>
struct Type<hidl_vec<uint32_t>> {
    static constexpr char name[] = "@FILE|uint32,...";
    static constexpr char jsonName[] = "uint32[]";
    static hidl_vec<uint32_t> parse(const std::string& text) { return parseWords(text); }
    static hidl_vec<uint32_t> parse(const Json& value) { return wordsFrom(value); }
};
template <>
struct Type<ScreenMode> : Type<int32_t> {
    template <typename Value>
    static ScreenMode parse(const Value& value) {
        return static_cast<ScreenMode>(Type<int32_t>::parse(value));
    }
};
template <typename Callback>
struct Type<sp<Callback>> {
    static constexpr char name[] = "null";
    static constexpr char jsonName[] = "null";
    static sp<Callback> parse(const std::string& text) {
        parseNull(text);
        return nullptr;
    }
    static sp<Callback> parse(const Json& value) {
        requireNull(value);
        return nullptr;
    }
};

// The names of the types of values in answers.
template <typename T>
constexpr char kValueType[] = "";
template <>
constexpr char kValueType<std::string>[] = "string";
template <>
constexpr char kValueType<BivistaStatus>[] = "BivistaStatus";
template <>
constexpr char kValueType<SubScreenInfo>[] = "SubScreenInfo";
template <>
constexpr char kValueType<SubScreenState>[] = "SubScreenState";

// Describes what call() returns.
template <typename T>
void describeAnswer(Method* method) {
    if constexpr (std::is_same_v<T, Status>) method->hasStatus = true;
    if constexpr (std::is_same_v<T, bool>) method->valueType = "bool";
    if constexpr (requires(T answer) { answer.status; }) {
        method->hasStatus = true;
        method->valueType = kValueType<decltype(T::value)>;
    }
}

using Names = std::initializer_list<const char*>;

void requireCount(const Method& method, size_t count) {
    if (count == method.parameters.size()) return;
    throw Failure(EXIT_USAGE, method.name + " takes " + std::to_string(method.parameters.size()) +
                                      " arguments, not " + std::to_string(count) +
                                      ": bivistactl call " + method.synopsis());
}

template <typename T, typename Value>
T parse(const Method& method, const std::vector<Value>& values, size_t at) {
    try {
        return Type<T>::parse(values[at]);
    } catch (const BadArgument& bad) {
        throw Failure(EXIT_USAGE,
                      method.name + ", " + method.parameters[at].name + ": " + bad.what() + ".");
    }
}

// Makes a call out of texts or values of JSON. `invoke` calls the method with these inputs.
template <typename Value, typename Invoke, typename... Inputs>
Call bindAll(std::tuple<Inputs...>*, const Method& method, Invoke invoke,
             const std::vector<Value>& values) {
    requireCount(method, values.size());
    [[maybe_unused]] size_t at = 0;
    // Braces evaluate the elements in order.
    const std::tuple<Inputs...> inputs{parse<Inputs>(method, values, at++)...};
    return [name = method.name, inputs, invoke](const sp<BivistaV1_0>& service) -> Called {
        const auto answer =
                std::apply([&](const Inputs&... each) { return invoke(service, each...); }, inputs);
        return {statusOf(answer), toLine(name, answer)};
    };
}

template <auto called, typename Invoke, typename... Inputs>
Method describe(std::tuple<Inputs...>* types, Invoke invoke, Names names) {
    if (names.size() != sizeof...(Inputs)) throw std::logic_error("a parameter without a name");
    Method method = {.name = methodName<called>()};
    [[maybe_unused]] auto name = names.begin();
    (method.parameters.push_back({*name++, Type<Inputs>::name, Type<Inputs>::jsonName}), ...);
    describeAnswer<std::invoke_result_t<Invoke, const sp<BivistaV1_0>&, const Inputs&...>>(&method);
    const auto bind = [method, invoke, types](const auto& values) {
        return bindAll(types, method, invoke, values);
    };
    method.bind = bind;
    method.bindJson = bind;
    return method;
}

template <auto called>
Method method(Names names = {}) {
    const auto invoke = [](const sp<BivistaV1_0>& service, const auto&... inputs) {
        return call<called>(service, inputs...);
    };
    typename Signature<decltype(called)>::Inputs* const inputs = nullptr;
    return describe<called>(inputs, invoke, names);
}

// The text's two numbers are the members of one argument.
Method setStatus() {
    const auto invoke = [](const sp<BivistaV1_0>& service, int32_t type, int32_t value) {
        return call<&BivistaV1_0::setStatus>(service, LpwgStatus{type, value});
    };
    std::tuple<int32_t, int32_t>* const inputs = nullptr;
    return describe<&BivistaV1_0::setStatus>(inputs, invoke, {"type", "value"});
}

std::vector<Method> makeTable() {
    return {
            method<&BivistaV1_0::getFirmwareVersion>(),
            method<&BivistaV1_0::checkFirmwareVersion>(),
            method<&BivistaV1_0::getFirmwareFile>(),
            method<&BivistaV1_0::doFirmwareUpgrade>(),
            method<&BivistaV1_0::goDload>(),
            method<&BivistaV1_0::goSTMDload>(),
            method<&BivistaV1_0::cancelFirmwareUpgrade>(),
            method<&BivistaV1_0::getTouchFirmwareVersion>(),
            method<&BivistaV1_0::DoRawdata>(),
            method<&BivistaV1_0::DoDelta>(),
            method<&BivistaV1_0::DoTouchReset>(),
            method<&BivistaV1_0::getGpiopin>(),
            setStatus(),
            method<&BivistaV1_0::DoTouchFirmwareUpgrade>(),
            method<&BivistaV1_0::getSelfTest>(),
            method<&BivistaV1_0::getLPWGSelfTest>(),
            method<&BivistaV1_0::getTestResults>(),
            method<&BivistaV1_0::setLpwgCallback>({"callback"}),
            method<&BivistaV1_0::setBrightness>({"value"}),
            method<&BivistaV1_0::setPowerStatus>({"enable", "uevent"}),
            method<&BivistaV1_0::getCoverDisplayCutout>(),
            method<&BivistaV1_0::setRgbTune>({"value1", "value2", "value3", "value4"}),
            method<&BivistaV1_0::setScreenMode>({"mode"}),
            method<&BivistaV1_0::setScreenTune>({"value1", "value2", "value3", "ignored"}),
            method<&BivistaV1_0::setBVBrightnessOffset>({"value"}),
            method<&BivistaV1_0::getBV2Status>(),
            method<&BivistaV1_0::setSubDisplayBrightness>({"value"}),
            method<&BivistaV1_0::setSubDisplayPowerState>({"enable"}),
            method<&BivistaV1_0::getSubDisplayInfo>(),
            method<&BivistaV1_0::drawSubDisplay>({"frame"}),
            method<&BivistaV1_0::getSubDisplayPowerState>(),
            method<&BivistaV1_0::setSubDisplayCallback>({"callback"}),
            method<&BivistaV1_0::getBV2Connect>(),
            method<&BivistaV1_0::sendAtCommand>({"cmd", "cb"}),
            method<&BivistaV1_1::setAesMode>({"mode"}),
            method<&BivistaV1_1::manageAesMode>({"mode"}),
            method<&BivistaV1_1::bv_update_state>(),
            method<&BivistaV1_1::set_touch_perf>({"enable"}),
    };
}

}  // namespace

std::string Method::synopsis() const {
    std::string text = name;
    for (const Parameter& parameter : parameters) text += " " + parameter.name;
    return text;
}

const std::vector<Method>& methods() {
    static const std::vector<Method> table = makeTable();
    return table;
}

const Method* findMethod(const std::string& name) {
    for (const Method& method : methods()) {
        if (method.name == name) return &method;
    }
    return nullptr;
}

}  // namespace bivistactl
