// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/phone/control/Routes.h"

#include <algorithm>
#include <string>

#include "emulator/phone/Digest.h"

namespace control {

namespace {

Json describe(const std::exception& error) {
    return {{"error", error.what()}};
}

std::string explain(const httplib::Request& request, int status) {
    switch (status) {
        case 400:
            return "malformed HTTP: send a request line, headers, an empty line, and a body as the "
                   "headers announce it";
        case 404:
            return "no such request: " + request.method + " " + request.path;
        case 413:
            return "the body is too long: at most " + std::to_string(kMaxBody) + " bytes are taken";
        case 414:
            return "the request line is too long: at most 8192 bytes are taken";
        case 416:
            return "parts of an answer are not given: leave the Range header out";
        default:
            return "the HTTP library answers " + std::to_string(status);
    }
}

using Handler = httplib::Server::Handler;

// Answers the handler's exceptions.
Handler guard(const Handler& handler) {
    return [handler](const httplib::Request& request, httplib::Response& response) {
        try {
            handler(request, response);
        } catch (const BadRequest& error) {
            reply(response, 400, describe(error));
        } catch (const phone::Error& error) {
            reply(response, 409, describe(error));
        } catch (const Ending& error) {
            reply(response, 410, describe(error));
        } catch (const Busy& error) {
            reply(response, 503, describe(error));
        } catch (const std::exception& error) {
            reply(response, 500, describe(error));
        }
    };
}

// Carries out a request that changes something, which the journal tells.
Json change(const Emulator& emulator, const Request& request, const Json& given) {
    const auto record = [&](const std::string& error) {
        if (request.told == Told::ByEffect) return;
        phone::Journal& journal = emulator.phone.journal();
        journal.sync();
        journal.add(phone::Kind::Control, request.method + " " + request.path,
                    phone::shorten(print(request.arguments, given)), error);
    };
    if (request.told == Told::Before) record("");
    try {
        Json answer = request.action(emulator, given);
        if (request.told == Told::After) record("");
        return answer;
    } catch (const std::exception& error) {
        record(error.what());
        throw;
    }
}

// Answers a request of the table.
Handler makeHandler(const Emulator& emulator, const Request& request, bool hasBody) {
    return guard([emulator, &request, hasBody](const httplib::Request& asked,
                                               httplib::Response& response) {
        const Json given = hasBody ? readBody(request.arguments, asked.body)
                                   : readQuery(request.arguments, asked.params);
        if (request.reply) {
            request.reply(emulator, given, response);
        } else if (request.method == "GET") {
            reply(response, 200, request.action(emulator, given));
        } else {
            reply(response, 200, change(emulator, request, given));
        }
    });
}

void addRoute(httplib::Server& server, const Emulator& emulator, const Request& request) {
    if (!request.action && !request.reply) return;
    const std::string method = request.method;
    const Handler handler = makeHandler(emulator, request, method == "POST" || method == "PUT");
    if (method == "GET") server.Get(request.path, handler);
    if (method == "POST") server.Post(request.path, handler);
    if (method == "PUT") server.Put(request.path, handler);
    if (method == "DELETE") server.Delete(request.path, handler);
}

}  // namespace

void reply(httplib::Response& response, int status, const Json& body) {
    response.status = status;
    response.set_content(body.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n",
                         "application/json");
}

void explainErrors(httplib::Server& server, httplib::Server::HandlerWithResponse first) {
    // The library would cut every answer to the range, also an error.
    server.set_pre_routing_handler(
            [first](const httplib::Request& request, httplib::Response& response) {
                using Verdict = httplib::Server::HandlerResponse;
                if (first && first(request, response) == Verdict::Handled) {
                    return Verdict::Handled;
                }
                if (request.ranges.empty()) return Verdict::Unhandled;
                response.status = 416;
                return Verdict::Handled;
            });
    // The library calls its error handler before it has found all errors.
    server.set_post_routing_handler(
            [](const httplib::Request& request, httplib::Response& response) {
                if (response.status < 400 || !response.body.empty()) return;
                reply(response, response.status, {{"error", explain(request, response.status)}});
                response.headers.erase("Content-Length");
                response.set_header("Content-Length", std::to_string(response.body.size()));
            });
}

void addRoutes(httplib::Server& server, const Emulator& emulator) {
    for (const Ability& ability : abilities()) {
        for (const Request& request : ability.requests) addRoute(server, emulator, request);
    }
    server.Get("/v1/abilities", [](const httplib::Request&, httplib::Response& response) {
        reply(response, 200, describeAbilities());
    });
    explainErrors(server);
}

}  // namespace control
