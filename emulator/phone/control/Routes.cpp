#include "emulator/phone/control/Routes.h"

namespace control {

using phone::Phone;

namespace {

Json describe(const std::exception& error) {
    return {{"error", error.what()}};
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

// For requests without a body, that only do something.
Action plain(void (*work)(Phone&)) {
    return [work](Phone& phone, const httplib::Request& /*request*/) {
        work(phone);
        return Json::object();
    };
}

}  // namespace control
