// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "tools/session/Session.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "kernel/base/Version.h"
#include "tools/client/Call.h"
#include "tools/client/Dump.h"
#include "tools/session/Bind.h"
#include "tools/text/JsonArguments.h"

namespace session {
namespace {

using ::android::sp;
using bivistactl::BadArgument;
using bivistactl::Failure;
using bivistactl::NoService;
using ::vendor::qmx::hardware::bivista::V1_1::implementation::kVersion;

ErrorCode codeOf(NoService::Cause cause) {
    switch (cause) {
        case NoService::ABSENT:
            return SERVICE_ABSENT;
        case NoService::DIED:
            return SERVICE_DIED;
        case NoService::TOO_OLD:
            return SERVICE_TOO_OLD;
        default:
            return CALL_REFUSED;
    }
}

std::string withoutLineFeed(std::string line) {
    line.pop_back();
    return line;
}

std::vector<std::string> textsFrom(const Json& values) {
    if (values.is_null()) return {"--json"};
    if (!values.is_array()) throw BadArgument("the options are not an array of texts");
    std::vector<std::string> texts;
    std::transform(values.begin(), values.end(), std::back_inserter(texts), bivistactl::textFrom);
    return texts;
}

// A dump in JSON as what it says, every other one as a text.
Json valueOf(const std::string& dump) {
    try {
        Json value = parseJson(dump);
        if (value.is_object()) return value;
    } catch (const RpcError&) {
    }
    return dump;
}

// Runs what carries a request out; what it throws becomes an error of the session.
template <typename Action>
std::string withErrors(const Action& action) {
    try {
        return action();
    } catch (const NoService& failure) {
        throw RpcError(codeOf(failure.cause), failure.what());
    } catch (const Failure& failure) {
        const bool isDump = failure.code == bivistactl::EXIT_ANSWERED_FAIL;
        throw RpcError(isDump ? NO_DUMP : INTERNAL_ERROR, failure.what());
    } catch (const BadArgument& bad) {
        throw RpcError(INVALID_PARAMS, bad.what());
    }
}

// What the action does with the service. A dead one is not asked again.
template <typename Action>
auto onService(ServiceLink& link, const Action& action) {
    const sp<BivistaV1_0> service = link.service();
    try {
        return action(service);
    } catch (const NoService& failure) {
        if (failure.cause == NoService::DIED) link.lose(service);
        throw;
    }
}

}  // namespace

Session::Session(std::shared_ptr<Outbox> outbox)
    : mLink(new ServiceLink(
              {.returned =
                       [outbox] {
                           outbox->tell(notificationLine("serviceReturned", Json::object()));
                       },
               .died =
                       [this, outbox] {
                           mSubscriptions->lose();
                           outbox->tell(notificationLine("serviceDied", Json::object()));
                       }})),
      mSubscriptions(std::make_unique<Subscriptions>(outbox, mLink)) {
    mLink->begin();
}

Session::~Session() {
    mLink->end();
}

std::string Session::answer(const Line& line) {
    if (line.isTooLong) {
        return errorLine("null", {PARSE_ERROR, "parse error: a line of more than " +
                                                       std::to_string(kMostLineBytes) + " bytes"});
    }
    if (line.text.find_first_not_of(" \t\r") == std::string::npos) return "";
    Message message = readMessage(line.text);
    std::string answers;
    for (Entry& entry : message.entries) {
        const std::string answer = answerEntry(entry);
        if (!answer.empty() && !answers.empty()) answers += ',';
        answers += answer;
    }
    return message.isBatch && !answers.empty() ? "[" + answers + "]" : answers;
}

std::string Session::answerEntry(Entry& entry) {
    if (const auto* malformed = std::get_if<Malformed>(&entry)) {
        return errorLine(malformed->id, malformed->error);
    }
    auto& request = std::get<Request>(entry);
    try {
        const std::string result = withErrors([&] { return carryOut(request); });
        return request.id ? resultLine(*request.id, result) : "";
    } catch (const RpcError& error) {
        return request.id ? errorLine(*request.id, error) : "";
    }
}

std::string Session::carryOut(Request& request) {
    struct Own {
        const char* name;
        std::string (Session::*carryOut)(const Json& params);
    };
    static constexpr Own kOwn[] = {
            {"subscribe", &Session::subscribe}, {"unsubscribe", &Session::unsubscribe},
            {"dump", &Session::dump},           {"session", &Session::describe},
            {"methods", &Session::methods},     {"sendAtCommand", &Session::sendAtCommand},
    };
    for (const Own& own : kOwn) {
        if (request.method == own.name) return (this->*own.carryOut)(request.params);
    }
    return callMethod(request);
}

std::string Session::callMethod(Request& request) {
    const bivistactl::Method* const method = bivistactl::findMethod(request.method);
    if (method == nullptr) {
        throw RpcError(METHOD_NOT_FOUND, "there is no method " +
                                                 bivistactl::quote(request.method.substr(0, 60)) +
                                                 "; \"methods\" lists them");
    }
    const bivistactl::Call call = toCall(*method, std::move(request.params));
    return withoutLineFeed(onService(*mLink, call).line);
}

std::string Session::subscribe(const Json& params) {
    const std::vector<Json> values = arrange("subscribe", {"callback", "version"}, 1, params);
    mSubscriptions->subscribe(bivistactl::textFrom(values[0]),
                              values[1].is_null() ? "1.1" : bivistactl::textFrom(values[1]));
    return subscriptionsLine();
}

std::string Session::unsubscribe(const Json& params) {
    const std::vector<Json> values = arrange("unsubscribe", {"callback"}, 1, params);
    mSubscriptions->unsubscribe(bivistactl::textFrom(values[0]));
    return subscriptionsLine();
}

// Hands the session's own callback over where one is wanted.
std::string Session::sendAtCommand(const Json& params) {
    const std::vector<Json> values = arrange("sendAtCommand", {"cmd", "cb"}, 1, params);
    bivistactl::requireNull(values[1]);
    const std::string command = bivistactl::textFrom(values[0]);
    const auto answer = bivistactl::call<&BivistaV1_0::sendAtCommand>(mLink->service(), command,
                                                                      mSubscriptions->atCallback());
    return withoutLineFeed(bivistactl::toLine("sendAtCommand", answer));
}

std::string Session::dump(const Json& params) {
    const std::vector<Json> values = arrange("dump", {"options"}, 0, params);
    const std::vector<std::string> options = textsFrom(values[0]);
    const std::string text = onService(*mLink, [&](const sp<BivistaV1_0>& service) {
        return bivistactl::readDump(service, options);
    });
    if (text.empty()) throw RpcError(NO_DUMP, "the service has no debug dump");
    return bivistactl::toLine(Json{{"method", "dump"}, {"value", valueOf(text)}});
}

std::string Session::describe(const Json& params) {
    arrange("session", {}, 0, params);
    Json service;
    try {
        service = {{"interfaces", onService(*mLink, bivistactl::interfacesOf)}};
    } catch (const NoService&) {
    }
    return bivistactl::toLine(Json{{"version", kVersion},
                                   {"service", service},
                                   {"subscriptions", mSubscriptions->names()}});
}

std::string Session::methods(const Json& params) {
    arrange("methods", {}, 0, params);
    return bivistactl::toLine(describeMethods());
}

std::string Session::subscriptionsLine() {
    return bivistactl::toLine(Json{{"subscriptions", mSubscriptions->names()}});
}

}  // namespace session
