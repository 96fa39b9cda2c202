// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/phone/calls/CallTable.h"

#include <functional>
#include <tuple>
#include <type_traits>

#include "emulator/phone/calls/CallText.h"
#include "emulator/phone/calls/CallValue.h"

namespace calls {
namespace {

// What a C++ method of an interface takes and gives: results are what it returns, or what it hands
// to the function that is its last argument.
template <typename... Values>
struct Types {
    using Tuple = std::tuple<std::remove_cvref_t<Values>...>;
    static constexpr ReadTexts kRead = readAll<std::remove_cvref_t<Values>...>;
    static constexpr bool kIsEmpty = sizeof...(Values) == 0;
};
template <typename Read, typename... Left>
struct Split {
    using Arguments = Read;
    using Results = Types<>;
    static constexpr bool kTakesFunction = false;
};
template <typename... Read, typename Next, typename... Left>
struct Split<Types<Read...>, Next, Left...> : Split<Types<Read..., Next>, Left...> {};
template <typename... Read, typename... Given>
struct Split<Types<Read...>, std::function<void(Given...)>> {
    using Arguments = Types<Read...>;
    using Results = Types<Given...>;
    static constexpr bool kTakesFunction = true;
};

template <typename Pointer>
struct Signature;
template <typename Called, typename... Taken>
struct Signature<android::hardware::Return<void> (Called::*)(Taken...)> : Split<Types<>, Taken...> {
    using Interface = Called;
};
template <typename Result, typename Called, typename... Taken>
struct Signature<android::hardware::Return<Result> (Called::*)(Taken...)> {
    using Interface = Called;
    using Arguments = Types<Taken...>;
    using Results = Types<Result>;
    static constexpr bool kTakesFunction = false;
};

// --- calling ---

template <typename Tuple>
Tuple parseAll(const Json& arguments) {
    constexpr size_t count = std::tuple_size_v<Tuple>;
    if (!arguments.is_array()) refuse(arguments, "a list of arguments");
    if (arguments.size() != count) {
        throw phone::Error("needs " + std::to_string(count) + " argument" +
                           (count == 1 ? "" : "s") + ", not " + std::to_string(arguments.size()));
    }
    Tuple values;
    [[maybe_unused]] const auto parseOne = [&](size_t at, auto& value) {
        within("argument " + std::to_string(at + 1), [&] { parse(arguments[at], value); });
    };
    [[maybe_unused]] size_t at = 0;
    std::apply([&](auto&... each) { (parseOne(at++, each), ...); }, values);
    return values;
}

template <typename Tuple>
void check(const Json& arguments) {
    parseAll<Tuple>(arguments);
}

template <typename Value>
void keepObject(const Value& value, const Keep& keep) {
    if constexpr (kIsObject<Value>) {
        if (value != nullptr) keep(value);
    }
}

void requireDelivered(const android::hardware::details::return_status& result) {
    if (result.isOk()) return;
    throw phone::Error((result.isDeadObject()
                                ? "the service died before it answered: "
                                : "the call did not reach the service or was refused: ") +
                       result.description());
}

template <typename... Values>
std::vector<std::string> textsOf(const Values&... values) {
    std::vector<std::string> texts;
    (print(values, texts.emplace_back()), ...);
    return texts;
}

template <auto pointer, typename Interface>
std::vector<std::string> invokeOn(const sp<Interface>& service, const Json& arguments,
                                  const Keep& keep) {
    using Of = Signature<decltype(pointer)>;
    const auto values = parseAll<typename Of::Arguments::Tuple>(arguments);
    return std::apply(
            [&](const auto&... each) {
                (keepObject(each, keep), ...);
                std::vector<std::string> texts;
                if constexpr (Of::kTakesFunction) {
                    requireDelivered((service.get()->*pointer)(
                            each..., [&](const auto&... given) { texts = textsOf(given...); }));
                } else {
                    const auto result = (service.get()->*pointer)(each...);
                    requireDelivered(result);
                    if constexpr (!Of::Results::kIsEmpty) {
                        using Result = std::tuple_element_t<0, typename Of::Results::Tuple>;
                        texts = textsOf(static_cast<Result>(result));
                    }
                }
                return texts;
            },
            values);
}

template <auto pointer>
std::vector<std::string> invoke(const Callee& callee, const Json& arguments, const Keep& keep) {
    using Interface = typename Signature<decltype(pointer)>::Interface;
    if constexpr (std::is_same_v<Interface, V1_0::IBivista>) {
        return invokeOn<pointer>(callee.service, arguments, keep);
    } else {
        if (callee.newer == nullptr) {
            throw phone::Error("the service serves only version 1.0 of its interface");
        }
        return invokeOn<pointer>(callee.newer, arguments, keep);
    }
}

// --- the table ---

template <auto pointer>
constexpr Method method(const char* descriptor, uint32_t code, const char* name) {
    using Of = Signature<decltype(pointer)>;
    Method made = {.descriptor = descriptor,
                   .code = code,
                   .name = name,
                   .readArguments = Of::Arguments::kRead,
                   .readResults = Of::Results::kRead,
                   .hasResults = !Of::Results::kIsEmpty,
                   .check = nullptr,
                   .invoke = nullptr};
    if constexpr (std::is_base_of_v<V1_0::IBivista, typename Of::Interface>) {
        made.check = check<typename Of::Arguments::Tuple>;
        made.invoke = invoke<pointer>;
    }
    return made;
}

}  // namespace

#include "CallTable.inc"

std::span<const Method> methods() {
    return kMethods;
}

}  // namespace calls
