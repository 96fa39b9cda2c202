// What a request says: the members of its JSON object.
#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <type_traits>

#include <nlohmann/json.hpp>

#include "emulator/cover/Text.h"

namespace control {

using Json = nlohmann::ordered_json;

// The request itself is wrong, whatever the state of the phone.
class BadRequest : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// Members of a request's JSON object; those that nobody asked for are refused.
class Members {
  public:
    explicit Members(const std::string& body) {
        mObject = body.empty() ? Json::object() : Json::parse(body, nullptr, false);
        if (!mObject.is_object()) throw BadRequest("the body must be a JSON object");
    }

    template <typename Value>
    std::optional<Value> take(const char* name) {
        mKnown.insert(name);
        const auto member = mObject.find(name);
        if (member == mObject.end() || member->is_null()) return std::nullopt;
        if (!isA<Value>(*member)) throw BadRequest(wrongType<Value>(name));
        return member->get<Value>();
    }

    bool isText(const char* name) const {
        return mObject.contains(name) && mObject[name].is_string();
    }

    template <typename Value>
    Value need(const char* name) {
        std::optional<Value> value = take<Value>(name);
        if (!value) throw BadRequest(std::string("\"") + name + "\" is missing");
        return *std::move(value);
    }

    // A text that spells bytes.
    std::string needBytes(const char* name) { return spelt(name, need<std::string>(name)); }
    std::optional<std::string> takeBytes(const char* name) {
        const std::optional<std::string> text = take<std::string>(name);
        if (!text) return std::nullopt;
        return spelt(name, *text);
    }

    // To be called when all that is known was taken.
    void refuseOthers() const {
        for (const auto& [name, value] : mObject.items()) {
            if (mKnown.count(name) == 0) throw BadRequest("unknown member \"" + name + "\"");
        }
    }

  private:
    template <typename Value>
    static bool isA(const Json& member) {
        if constexpr (std::is_same_v<Value, bool>) return member.is_boolean();
        if constexpr (std::is_same_v<Value, int>) {
            return member.is_number_integer() && member >= INT32_MIN && member <= INT32_MAX;
        }
        if constexpr (std::is_same_v<Value, uint32_t>) {
            return member.is_number_unsigned() && member <= UINT32_MAX;
        }
        return member.is_string();
    }

    static std::string spelt(const char* name, const std::string& text) {
        std::optional<std::string> bytes = cover::unescape(text);
        if (!bytes) {
            throw BadRequest(std::string("\"") + name +
                             "\" has a wrong escape: write \\\\ for a backslash, \\xHH for a byte");
        }
        return *std::move(bytes);
    }

    template <typename Value>
    static std::string wrongType(const char* name) {
        const char* type = std::is_same_v<Value, bool>       ? "true or false"
                           : std::is_same_v<Value, int>      ? "an integer"
                           : std::is_same_v<Value, uint32_t> ? "an integer from 0 to 4294967295"
                                                             : "a text";
        return std::string("\"") + name + "\" must be " + type;
    }

    Json mObject;
    std::set<std::string> mKnown;
};

}  // namespace control
