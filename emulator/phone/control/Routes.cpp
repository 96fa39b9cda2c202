#include "emulator/phone/control/Routes.h"

#include <string>

namespace control {

using phone::Phone;

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

}  // namespace

void reply(httplib::Response& response, int status, const Json& body) {
    response.status = status;
    response.set_content(body.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n",
                         "application/json");
}

httplib::Server::Handler makeHandler(const httplib::Server::Handler& action) {
    return [action](const httplib::Request& request, httplib::Response& response) {
        try {
            action(request, response);
        } catch (const BadRequest& error) {
            reply(response, 400, describe(error));
        } catch (const phone::Error& error) {
            reply(response, 409, describe(error));
        } catch (const Busy& error) {
            reply(response, 503, describe(error));
        } catch (const std::exception& error) {
            reply(response, 500, describe(error));
        }
    };
}

httplib::Server::Handler makeHandler(Phone& phone, const Action& action) {
    return makeHandler(
            [&phone, action](const httplib::Request& request, httplib::Response& response) {
                reply(response, 200, action(phone, request));
            });
}

void explainErrors(httplib::Server& server) {
    // The library would cut answers, those with errors too.
    server.set_pre_routing_handler(
            [](const httplib::Request& request, httplib::Response& response) {
                if (request.ranges.empty()) return httplib::Server::HandlerResponse::Unhandled;
                response.status = 416;
                return httplib::Server::HandlerResponse::Handled;
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

// For requests without a body, that only do something.
Action plain(void (*work)(Phone&)) {
    return [work](Phone& phone, const httplib::Request& /*request*/) {
        work(phone);
        return Json::object();
    };
}

}  // namespace control
