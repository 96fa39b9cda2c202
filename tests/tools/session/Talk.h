// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <string>

#include "tests/tools/Cli.h"

using Json = nlohmann::ordered_json;

// A fixture that talks to a session.
class TalkTest : public CliTest {
  protected:
    void startSession() { session = start({"session"}); }

    // Sends a line as it is.
    void say(const std::string& line) const { session->send(line + "\n"); }
    // Sends a request; `params` is JSON.
    void request(int id, const std::string& method, const std::string& params = "[]") const;
    // The next line of the session, as JSON.
    Json heard() const;
    // The same without the member "jsonrpc", which must be right.
    std::string told() const;
    // Sends a request, and returns what its result or its error is.
    Json ask(const std::string& method, const std::string& params = "[]") const;
    // The number of its error; 0 for a result.
    int errorOf(const std::string& method, const std::string& params = "[]") const;

    // A named pipe for a call of the fake service that is held.
    std::string givenPipe() const;
    // Lets one held call go on.
    static void release(const std::string& pipe);

    std::unique_ptr<Process> session;
};
