// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// What a session answers to a line: the interface's methods, and the session's own.
#pragma once

#include <memory>
#include <string>

#include "tools/session/LineSplitter.h"
#include "tools/session/Message.h"
#include "tools/session/Subscriptions.h"

namespace session {

class Session {
  public:
    explicit Session(std::shared_ptr<Outbox> outbox);
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    // Carries out what the line asks for. Returns the answer, without its line feed; empty when the
    // line gets none.
    std::string answer(const Line& line);

  private:
    std::string answerEntry(Entry& entry);
    // The result, as JSON. Takes the parameters out of the request. Throws RpcError.
    std::string carryOut(Request& request);
    std::string callMethod(Request& request);
    std::string subscribe(const Json& params);
    std::string unsubscribe(const Json& params);
    std::string sendAtCommand(const Json& params);
    std::string dump(const Json& params);
    std::string describe(const Json& params);
    std::string methods(const Json& params);
    std::string subscriptionsLine();

    ::android::sp<ServiceLink> mLink;
    std::unique_ptr<Subscriptions> mSubscriptions;
};

}  // namespace session
