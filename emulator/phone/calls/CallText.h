// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Values of HIDL types, out of the words of a recorded Parcel, as JSON texts.
#pragma once

#include <string>
#include <type_traits>
#include <vector>

#include <hidl/HidlBinderSupport.h>
#include <nlohmann/json.hpp>

#include "emulator/cover/Text.h"

namespace calls {

using android::sp;
using android::hardware::hidl_string;
using android::hardware::hidl_vec;
using android::hardware::Parcel;

// --- print(value, text) appends the value's JSON text ---

// The byte itself: one from a Parcel may be neither 0 nor 1.
inline void print(const bool& value, std::string& text) {
    text += *reinterpret_cast<const uint8_t*>(&value) != 0 ? "true" : "false";
}

// Text as everywhere in the journal, so that any byte comes back.
inline void print(const hidl_string& value, std::string& text) {
    text += nlohmann::json(cover::escape({value.c_str(), value.size()})).dump();
}

// A number, or the name of an enumerator.
template <typename Value>
requires(std::is_integral_v<Value> || std::is_enum_v<Value>) void print(const Value& value,
                                                                        std::string& text) {
    if constexpr (std::is_enum_v<Value>) {
        for (const Value known : android::hardware::hidl_enum_range<Value>()) {
            if (known != value) continue;
            text += '"' + toString(value) + '"';
            return;
        }
        text += std::to_string(static_cast<std::underlying_type_t<Value>>(value));
    } else {
        text += std::to_string(value);
    }
}

// The members of a structure: visit(value, visit) calls visit(name, member) for each, in their
// order. Specialised for each structure.
template <typename Structure>
struct Members;

template <typename Structure>
requires std::is_class_v<Structure>
void print(const Structure& value, std::string& text) {
    text += '{';
    const char* separator = "";
    Members<Structure>::visit(value, [&](const char* name, const auto& member) {
        text += separator + ('"' + std::string(name)) + "\":";
        print(member, text);
        separator = ",";
    });
    text += '}';
}

template <typename Value>
void print(const hidl_vec<Value>& values, std::string& text) {
    text += '[';
    for (size_t i = 0; i < values.size(); ++i) {
        if (i > 0) text += ',';
        print(values[i], text);
    }
    text += ']';
}

// --- reading: as the generated code does, in the same order ---

template <typename Type>
inline constexpr bool kIsObject = false;
template <typename Type>
inline constexpr bool kIsObject<sp<Type>> = true;
template <typename Type>
inline constexpr bool kIsVec = false;
template <typename Type>
inline constexpr bool kIsVec<hidl_vec<Type>> = std::is_trivially_copyable_v<Type>;

// The next value's JSON text; false when the Parcel does not hold it.
template <typename Value>
bool read(const Parcel& parcel, std::string& text) {
    if constexpr (std::is_integral_v<Value> || std::is_enum_v<Value> || kIsObject<Value>) {
        uint64_t word;
        if (parcel.readUint64(&word) != android::OK) return false;
        if constexpr (kIsObject<Value>) {
            // Which of the call's objects it is; these are not recorded.
            text = word == 0 ? "null" : "\"callback\"";
        } else {
            print(static_cast<Value>(word), text);
        }
        return true;
    } else {
        size_t handle;
        const void* data;
        if (parcel.readBuffer(sizeof(Value), &handle, &data) != android::OK) return false;
        const auto& value = *static_cast<const Value*>(data);
        if constexpr (std::is_same_v<Value, hidl_string>) {
            if (readEmbeddedFromParcel(value, parcel, handle, 0) != android::OK) return false;
        } else if constexpr (kIsVec<Value>) {
            size_t child;
            if (readEmbeddedFromParcel(value, parcel, handle, 0, &child) != android::OK) {
                return false;
            }
        } else {
            static_assert(std::is_trivially_copyable_v<Value>, "it would hold addresses");
        }
        print(value, text);
        return true;
    }
}

// The next values' texts, in their order.
template <typename... Values>
bool readAll(const Parcel& parcel, std::vector<std::string>* texts) {
    return (... && read<Values>(parcel, texts->emplace_back()));
}

}  // namespace calls
