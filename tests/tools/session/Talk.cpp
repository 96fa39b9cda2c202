// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "tests/tools/session/Talk.h"

#include <sys/stat.h>

#include <fstream>
#include <nlohmann/json.hpp>

void TalkTest::request(int id, const std::string& method, const std::string& params) const {
    say(R"({"jsonrpc":"2.0","id":)" + std::to_string(id) + R"(,"method":")" + method +
        R"(","params":)" + params + "}");
}

Json TalkTest::heard() const {
    return Json::parse(session->line());
}

std::string TalkTest::told() const {
    Json message = heard();
    EXPECT_EQ("2.0", message["jsonrpc"]);
    message.erase("jsonrpc");
    return message.dump();
}

Json TalkTest::ask(const std::string& method, const std::string& params) const {
    request(7, method, params);
    Json message = heard();
    EXPECT_EQ(7, message["id"]) << message;
    return message.contains("result") ? message["result"] : message["error"];
}

int TalkTest::errorOf(const std::string& method, const std::string& params) const {
    const Json answer = ask(method, params);
    return answer.contains("code") ? answer["code"].get<int>() : 0;
}

std::string TalkTest::givenPipe() const {
    std::string pipe = mFolder + "/pipe";
    EXPECT_EQ(0, mkfifo(pipe.c_str(), 0600));
    return pipe;
}

void TalkTest::release(const std::string& pipe) {
    std::ofstream(pipe) << "g" << std::flush;
}
