// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The methods of the cover's interfaces, made of hidl-gen's code.
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include <vendor/qmx/hardware/bivista/1.1/IBivista.h>
#include <nlohmann/json.hpp>

#include "emulator/phone/Error.h"

namespace calls {

using Json = nlohmann::ordered_json;

// Calls the body; an error of it is thrown with this before it.
template <typename Body>
void within(const std::string& place, Body body) {
    try {
        body();
    } catch (const phone::Error& error) {
        throw phone::Error(place + ": " + error.what());
    }
}

// Texts of values out of a Parcel, in their order; false when it does not hold them.
using ReadTexts = bool (*)(const android::hardware::Parcel& parcel,
                           std::vector<std::string>* texts);

// The service that is called; without `newer` it serves only version 1.0.
struct Callee {
    android::sp<vendor::qmx::hardware::bivista::V1_0::IBivista> service;
    android::sp<vendor::qmx::hardware::bivista::V1_1::IBivista> newer;
};
using Keep = std::function<void(const android::sp<android::RefBase>& object)>;

struct Method {
    const char* descriptor;  // of the interface
    uint32_t code;
    const char* name;
    ReadTexts readArguments;
    ReadTexts readResults;
    bool hasResults;
    // Throws phone::Error when the arguments do not fit. Both are null for a callback's method.
    void (*check)(const Json& arguments);
    // Returns the results' texts. The objects that it makes of the arguments are kept before it
    // calls. Throws phone::Error when the arguments do not fit or there is no result.
    std::vector<std::string> (*invoke)(const Callee& callee, const Json& arguments,
                                       const Keep& keep);
};

// Of version 1.0 first; each version has the inherited methods again.
std::span<const Method> methods();

}  // namespace calls
