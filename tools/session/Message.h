// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// JSON-RPC 2.0 as text: what a line asks for, and how it is answered. Pure: no service, no files.
#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "tools/text/Json.h"

namespace session {

using bivistactl::Json;

// The standard's numbers, and those of this session.
enum ErrorCode {
    PARSE_ERROR = -32700,
    INVALID_REQUEST = -32600,
    METHOD_NOT_FOUND = -32601,
    INVALID_PARAMS = -32602,
    INTERNAL_ERROR = -32603,
    // No service is registered, or it does not answer. The call was not made.
    SERVICE_ABSENT = -32000,
    // It died during the call, which it may have carried out.
    SERVICE_DIED = -32001,
    // The transport refused the call.
    CALL_REFUSED = -32002,
    // The service serves only version 1.0 of its interface.
    SERVICE_TOO_OLD = -32003,
    // The service has no dump, or one that does not end or is too long.
    NO_DUMP = -32004,
};

// Answered with an error.
class RpcError : public std::runtime_error {
  public:
    RpcError(ErrorCode code, const std::string& message)
        : std::runtime_error(message), code(code) {}

    const ErrorCode code;
};

struct Request {
    // As JSON; nothing for a notification, which gets no answer.
    std::optional<std::string> id;
    std::string method;
    // An array or an object.
    Json params;
};

// A part of a line that is no request.
struct Malformed {
    // As JSON: its id where it has a good one, else null.
    std::string id;
    RpcError error;
};

using Entry = std::variant<Request, Malformed>;

struct Message {
    bool isBatch = false;
    std::vector<Entry> entries;
};

inline constexpr int kMostDepth = 32;
inline constexpr size_t kMostInBatch = 100;

// The value of a text. Throws RpcError: not JSON, or deeper than kMostDepth.
Json parseJson(std::string_view text);

// What a line asks for. Every line has a message: one that is nothing else has one malformed entry.
Message readMessage(std::string_view line);

// Lines without their line feeds. `id` and `result` are JSON already.
std::string resultLine(const std::string& id, const std::string& result);
std::string errorLine(const std::string& id, const RpcError& error);
std::string notificationLine(const std::string& method, const Json& params);

// The parameters in their order, by position or by name; null for one that is not given, which only
// those after the first `required` may be. Throws RpcError.
std::vector<Json> arrange(const std::string& method, const std::vector<std::string>& names,
                          size_t required, Json params);

}  // namespace session
