// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Calls of the service by the interface's own types: a misspelt method is a compile error.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>

#include "tools/client/Service.h"
#include "tools/text/Spinner.h"

namespace bivistactl {

using ::vendor::qmx::hardware::bivista::V1_0::Status;

// The answer of a method with a status and a value.
template <typename T>
struct Answer {
    Status status = Status::FAIL;
    T value = {};
};

// The answer of a method without results.
struct Nothing {};

// The last parameter of a method that answers by a callback.
template <typename T>
struct ResultCallback : std::false_type {};
template <typename T>
struct ResultCallback<std::function<void(Status, T)>> : std::true_type {
    using Value = std::decay_t<T>;
};
template <>
struct ResultCallback<std::function<void(Status, const ::android::hardware::hidl_string&)>>
    : std::true_type {
    using Value = std::string;
};

// The parts of a method's type.
template <typename Method>
struct Signature;
template <typename I, typename R, typename... P>
struct Signature<::android::hardware::Return<R> (I::*)(P...)> {
    using Interface = I;
    using Result = R;
    // The last parameter; void when there is none.
    using Last = std::tuple_element_t<sizeof...(P), std::tuple<void, P...>>;
    // The parameters that a caller gives, as values.
    using Inputs = decltype(std::tuple_cat(
            std::declval<std::conditional_t<ResultCallback<P>::value, std::tuple<>,
                                            std::tuple<std::decay_t<P>>>>()...));
};

// "setBrightness" for &IBivista::setBrightness.
template <auto method>
std::string methodName() {
    // The compiler ends its name of this function with "[method = &...::IBivista::setBrightness]".
    std::string_view name = __PRETTY_FUNCTION__;
    name.remove_prefix(name.rfind(':') + 1);
    name.remove_suffix(1);
    return std::string(name);
}

// Returns what the method answers: a Status, a bool, an Answer or Nothing. Throws Failure when the
// service does not carry the call out.
template <auto method, typename... Inputs>
auto call(const ::android::sp<BivistaV1_0>& service, const Inputs&... inputs) {
    using Called = Signature<decltype(method)>;
    const auto object = as<typename Called::Interface>(service);
    if constexpr (ResultCallback<typename Called::Last>::value) {
        Answer<typename ResultCallback<typename Called::Last>::Value> answer;
        requireDelivered(((*object).*method)(inputs..., [&](Status status, const auto& value) {
            answer = {status, value};
        }));
        return answer;
    } else {
        const auto result = ((*object).*method)(inputs...);
        requireDelivered(result);
        if constexpr (std::is_void_v<typename Called::Result>) {
            return Nothing();
        } else {
            return static_cast<typename Called::Result>(result);
        }
    }
}

// As call(), for methods that may wait for the cover: a spinner shows that the program is alive.
template <auto method, typename... Inputs>
auto ask(const ::android::sp<BivistaV1_0>& service, const Inputs&... inputs) {
    const Spinner spinner;
    return call<method>(service, inputs...);
}

// The status of an answer; OK for a method that has none.
template <typename T>
Status statusOf(const T& answer) {
    if constexpr (std::is_same_v<T, Status>) return answer;
    if constexpr (requires { answer.status; }) return answer.status;
    return Status::OK;
}

// An answer to the method as JSON on one line, with a line feed: {"method":M,"status":S,"value":V}.
// A status or a value that the method does not have is left out. Takes every type of answer.
template <typename T>
std::string toLine(const std::string& method, const T& answer);

}  // namespace bivistactl
