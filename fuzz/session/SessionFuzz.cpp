// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The input is what a client sends to a session, in pieces: whatever it holds, each line becomes
// requests or faults, each request a call or an error, and each answer is one line of JSON.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "tools/session/Bind.h"
#include "tools/session/LineSplitter.h"
#include "tools/session/Message.h"

namespace {

using session::Json;

void require(bool condition) {
    if (!condition) std::abort();
}

// What a client reads.
void requireAnswer(const std::string& line) {
    require(line.find('\n') == std::string::npos);
    const Json answer = session::parseJson(line);
    require(answer["jsonrpc"] == "2.0" && answer.contains("id"));
    require(answer.contains("result") != answer.contains("error"));
}

void answerRequest(const session::Request& request) {
    const std::string id = request.id.value_or("null");
    const bivistactl::Method* const method = bivistactl::findMethod(request.method);
    if (method == nullptr) return;
    try {
        require(session::toCall(*method, request.params) != nullptr);
        requireAnswer(session::resultLine(id, "{}"));
    } catch (const session::RpcError& error) {
        requireAnswer(session::errorLine(id, error));
    }
}

void answer(const session::Line& line) {
    const session::Message message = session::readMessage(line.text);
    require(!message.entries.empty());
    for (const session::Entry& entry : message.entries) {
        if (const auto* malformed = std::get_if<session::Malformed>(&entry)) {
            requireAnswer(session::errorLine(malformed->id, malformed->error));
        } else {
            answerRequest(std::get<session::Request>(entry));
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string_view rest(reinterpret_cast<const char*>(data), size);
    // The first byte is the length of the pieces in which the rest arrives.
    const size_t piece = rest.empty() ? 1 : static_cast<uint8_t>(rest[0]) + 1u;
    rest.remove_prefix(std::min<size_t>(rest.size(), 1));
    session::LineSplitter lines;
    while (!rest.empty()) {
        lines.feed(rest.substr(0, piece));
        rest.remove_prefix(std::min(rest.size(), piece));
        while (const auto line = lines.next()) answer(*line);
    }
    if (const auto line = lines.last()) answer(*line);
    return 0;
}
