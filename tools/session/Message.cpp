// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "tools/session/Message.h"

#include <algorithm>
#include <utility>

namespace session {
namespace {

const std::string kNull = "null";

// The parser does not recurse, but what it makes is printed level by level, and takes far more
// memory than the text. Right up to the text's first fault, where the parser ends.
void requireShallow(std::string_view text) {
    int depth = 0;
    bool isInString = false;
    for (size_t at = 0; at < text.size(); ++at) {
        const char byte = text[at];
        if (isInString && byte == '\\') {
            ++at;
        } else if (byte == '"') {
            isInString = !isInString;
        } else if (!isInString && (byte == '[' || byte == '{')) {
            ++depth;
        } else if (!isInString && (byte == ']' || byte == '}')) {
            --depth;
        }
        if (depth > kMostDepth) {
            throw RpcError(PARSE_ERROR, "parse error: nested deeper than " +
                                                std::to_string(kMostDepth) + " levels");
        }
    }
}

// Whether the number comes back as it was: one of 64 bits, or one that a double holds.
bool isKept(const Json& number) {
    constexpr double kMostExact = 9007199254740992.0;
    return number.is_number_integer() ||
           (number.is_number_float() && std::abs(number.get<double>()) < kMostExact);
}

// As JSON; nothing when it can be none.
std::optional<std::string> idFrom(const Json& value) {
    if (value.is_null() || value.is_string() || isKept(value)) return bivistactl::toLine(value);
    return std::nullopt;
}

// The fault of a request, for people; empty when it has none.
std::string faultOf(const Json& request, bool hasGoodId) {
    if (!request.is_object()) return "a request is an object";
    const auto version = request.find("jsonrpc");
    if (version == request.end() || *version != "2.0") return "\"jsonrpc\" is not \"2.0\"";
    const auto method = request.find("method");
    if (method == request.end() || !method->is_string()) return "\"method\" is not a text";
    const auto params = request.find("params");
    if (params != request.end() && !params->is_structured()) {
        return "\"params\" is neither an array nor an object";
    }
    return hasGoodId ? "" : "\"id\" is not a text, null, or a number of 64 bits";
}

Entry readRequest(Json& request) {
    std::optional<std::string> id;
    bool hasGoodId = true;
    if (request.is_object() && request.contains("id")) {
        id = idFrom(request["id"]);
        hasGoodId = id.has_value();
    }
    const std::string fault = faultOf(request, hasGoodId);
    if (!fault.empty()) {
        return Malformed{id.value_or(kNull),
                         RpcError(INVALID_REQUEST, "invalid request: " + fault)};
    }
    Json params = request.contains("params") ? std::move(request["params"]) : Json::array();
    return Request{id, request["method"], std::move(params)};
}

Message malformed(const RpcError& error) {
    Message message;
    message.entries.push_back(Malformed{kNull, error});
    return message;
}

Message readBatch(Json& batch) {
    if (batch.empty()) return malformed({INVALID_REQUEST, "invalid request: an empty batch"});
    if (batch.size() > kMostInBatch) {
        return malformed({INVALID_REQUEST, "invalid request: a batch of more than " +
                                                   std::to_string(kMostInBatch) + " requests"});
    }
    Message message;
    message.isBatch = true;
    for (Json& request : batch) message.entries.push_back(readRequest(request));
    return message;
}

std::string inWords(const std::vector<std::string>& names) {
    std::string text;
    for (const std::string& name : names) text += (text.empty() ? " (" : ", ") + name;
    return text.empty() ? text : text + ")";
}

[[noreturn]] void refuseCount(const std::string& method, const std::vector<std::string>& names,
                              size_t count) {
    throw RpcError(INVALID_PARAMS, method + " takes " + std::to_string(names.size()) +
                                           " parameters" + inWords(names) + ", not " +
                                           std::to_string(count));
}

std::vector<Json> byName(const std::string& method, const std::vector<std::string>& names,
                         size_t required, Json& params) {
    for (const auto& [name, value] : params.items()) {
        if (std::find(names.begin(), names.end(), name) != names.end()) continue;
        throw RpcError(INVALID_PARAMS,
                       method + " has no parameter " + bivistactl::quote(name) + inWords(names));
    }
    std::vector<Json> values;
    for (const std::string& name : names) {
        const auto given = params.find(name);
        if (given == params.end() && values.size() < required) {
            throw RpcError(INVALID_PARAMS, method + " lacks its parameter \"" + name + "\"");
        }
        values.push_back(given == params.end() ? Json() : std::move(*given));
    }
    return values;
}

}  // namespace

Json parseJson(std::string_view text) {
    requireShallow(text);
    try {
        return Json::parse(text);
    } catch (const Json::parse_error& error) {
        throw RpcError(PARSE_ERROR,
                       "parse error: no JSON in UTF-8 from byte " + std::to_string(error.byte));
    } catch (const Json::out_of_range&) {
        throw RpcError(PARSE_ERROR, "parse error: a number that is too large");
    }
}

Message readMessage(std::string_view line) {
    try {
        Json value = parseJson(line);
        if (value.is_array()) return readBatch(value);
        Message message;
        message.entries.push_back(readRequest(value));
        return message;
    } catch (const RpcError& error) {
        return malformed(error);
    }
}

std::string resultLine(const std::string& id, const std::string& result) {
    return R"({"jsonrpc":"2.0","id":)" + id + R"(,"result":)" + result + "}";
}

std::string errorLine(const std::string& id, const RpcError& error) {
    const Json members = {{"code", static_cast<int>(error.code)}, {"message", error.what()}};
    return R"({"jsonrpc":"2.0","id":)" + id + R"(,"error":)" + bivistactl::toLine(members) + "}";
}

std::string notificationLine(const std::string& method, const Json& params) {
    return bivistactl::toLine(Json{{"jsonrpc", "2.0"}, {"method", method}, {"params", params}});
}

std::vector<Json> arrange(const std::string& method, const std::vector<std::string>& names,
                          size_t required, Json params) {
    if (params.is_object()) return byName(method, names, required, params);
    const size_t count = params.size();
    if (count < required || count > names.size()) refuseCount(method, names, count);
    std::vector<Json> values(std::make_move_iterator(params.begin()),
                             std::make_move_iterator(params.end()));
    values.resize(names.size());
    return values;
}

}  // namespace session
