// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/ui/Routes.h"

#include <algorithm>
#include <memory>
#include <string>

#include "emulator/phone/control/Ability.h"
#include "emulator/phone/control/Routes.h"
#include "emulator/ui/EventStream.h"
#include "emulator/ui/Export.h"
#include "emulator/ui/PageFile.h"

namespace ui {

namespace {

using httplib::Request;
using httplib::Response;
using Verdict = httplib::Server::HandlerResponse;

constexpr int kBadRequest = 400;
constexpr int kForbidden = 403;
constexpr int kUnsupported = 415;

void refuse(Response& response, int status, const std::string& why) {
    control::reply(response, status, {{"error", why}});
}

// Before the library reads a body, which it would unpack.
Verdict admit(const Address& address, const Request& request, Response& response) {
    const std::string refusal = address.refusal(request);
    if (!refusal.empty()) {
        response.status = kForbidden;
        response.set_content(refusal + "\n", "text/plain; charset=utf-8");
        return Verdict::Handled;
    }
    const std::string type = request.get_header_value("Content-Type");
    const bool isJson = type == "application/json" || type.starts_with("application/json;");
    if (request.method == "POST" && (!isJson || request.has_header("Content-Encoding"))) {
        refuse(response, kUnsupported, "send a body of application/json, not encoded");
        return Verdict::Handled;
    }
    return Verdict::Unhandled;
}

void answer(Response& response, const Answer& answer) {
    response.status = answer.status;
    response.set_content(answer.body, "application/json");
}

bool isOfTable(const std::string& method, const std::string& path) {
    for (const control::Ability& ability : control::abilities()) {
        for (const control::Request& request : ability.requests) {
            if (request.method == method && request.path == path) return true;
        }
    }
    return false;
}

// Passes a request of the page on to the emulator.
void forward(const Emulator& emulator, const Request& request, Response& response) {
    const Json asked = emulator::parseJson(request.body);
    const auto isText = [&](const char* name) {
        return asked.contains(name) && asked[name].is_string();
    };
    if (!asked.is_object() || asked.size() != 3 || !isText("method") || !isText("path") ||
        !asked.contains("values") || !asked["values"].is_object()) {
        return refuse(response, kBadRequest,
                      R"(send {"method":"PUT","path":"/v1/...","values":{...}}, and nothing else)");
    }
    const std::string method = asked["method"];
    const std::string path = asked["path"];
    if (!isOfTable(method, path)) {
        return refuse(response, kBadRequest, "no such ability: " + method + " " + path);
    }
    answer(response, emulator.ask(method, path, asked["values"]));
}

void giveEntries(const Emulator& emulator, const Request& request, Response& response) {
    Json values = Json::object();
    for (const auto& [name, value] : request.params) {
        if (name != "since" && name != "limit") {
            return refuse(response, kBadRequest, "no such parameter: " + name);
        }
        values[name] = value;
    }
    answer(response, emulator.ask("GET", "/v1/journal", values));
}

void addFiles(PageServer& server, const Address& address) {
    for (const PageFile& file : pageFiles()) {
        const auto give = [&file](const Request&, Response& response) {
            response.set_header("Content-Encoding", "gzip");
            response.set_content(file.compressed.data(), file.compressed.size(), file.type());
        };
        server.Get(address.base() + (file.name == "index.html" ? "" : file.name), give);
    }
}

void addEvents(PageServer& server, const Address& address, Store& store, Feed& feed) {
    server.Get(address.base() + "events", [&store, &feed](const Request&, Response& response) {
        const auto stream = std::make_shared<EventStream>(store, feed, PageServer::connection());
        response.set_chunked_content_provider("text/event-stream",
                                              [stream](size_t /*offset*/, httplib::DataSink& sink) {
                                                  return stream->pass(sink);
                                              });
    });
}

}  // namespace

void addRoutes(PageServer& server, const Address& address, const Emulator& emulator, Store& store,
               Feed& feed) {
    const std::string base = address.base();
    control::explainErrors(server, [&address](const Request& request, Response& response) {
        return admit(address, request, response);
    });
    addFiles(server, address);
    addEvents(server, address, store, feed);
    server.Get(base + "abilities", [](const Request&, Response& response) {
        control::reply(response, 200, control::describeAbilities());
    });
    server.Get(base + "entries", [&emulator](const Request& request, Response& response) {
        giveEntries(emulator, request, response);
    });
    server.Post(base + "request", [&emulator](const Request& request, Response& response) {
        forward(emulator, request, response);
    });
    server.Get(base + "export", [&emulator](const Request& request, Response& response) {
        exportJournal(emulator, request, response);
    });
}

}  // namespace ui
