// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Clients that are too many, too slow or too long.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <list>

#include "tests/ui/Browser.h"

namespace ui_test {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

class LimitsTest : public UiTest {};

TEST_F(LimitsTest, TooManyConnectionsAreRefusedAndGivenBack) {
    const Ui ui;
    std::list<Connection> open;
    for (int i = 0; i < 64; ++i) {
        open.emplace_back(ui.port());
        open.back().send("GET " + ui.path("events") + " HTTP/1.1\r\nHost: " + ui.host() +
                         "\r\n\r\n");
        open.back().waitFor("event: ended");
    }
    const std::string answer = ui.rawGet(ui.path(""));
    EXPECT_THAT(answer, StartsWith("HTTP/1.1 503 Service Unavailable\r\n"));
    EXPECT_THAT(answer, HasSubstr("Content-Security-Policy: default-src 'none'"));
    EXPECT_EQ(body(answer), "64 connections are open already: close some of the pages\n");
    open.clear();
    await([&] { return ui.rawGet(ui.path("")).starts_with("HTTP/1.1 200 OK"); });
}

TEST_F(LimitsTest, ARequestThatDoesNotEndIsGivenUp) {
    const Ui ui;
    Connection slow(ui.port());
    slow.send("GET " + ui.path("") + " HTTP/1.1\r\nHost: ");
    const std::string answer = slow.all();
    EXPECT_THAT(answer, StartsWith("HTTP/1.1 408 Request Timeout\r\n"));
    EXPECT_EQ(body(answer), "the request did not come to its end in time, or is too long\n");
}

// A byte now and then does not prolong it.
TEST_F(LimitsTest, ARequestThatDripsIsGivenUp) {
    const Ui ui;
    Connection slow(ui.port());
    slow.send("GET " + ui.path("") + " HTTP/1.1\r\nX: ");
    // Nor does it hold the connection after the answer.
    std::thread drip([&] {
        while (slow.send("x")) std::this_thread::sleep_for(std::chrono::milliseconds(100));
    });
    EXPECT_THAT(slow.all(), StartsWith("HTTP/1.1 408 Request Timeout\r\n"));
    drip.join();
}

TEST_F(LimitsTest, HeadersWithoutEndAreGivenUp) {
    const Ui ui;
    Connection headers(ui.port());
    headers.send("GET " + ui.path("") + " HTTP/1.1\r\nHost: " + ui.host() + "\r\n");
    for (int i = 0; i < 3000; ++i) headers.send("X: " + std::string(1000, 'x') + "\r\n");
    EXPECT_THAT(headers.all(), StartsWith("HTTP/1.1 408 Request Timeout\r\n"));
    EXPECT_THAT(ui.rawGet(ui.path("")), StartsWith("HTTP/1.1 200 OK"));
}

TEST_F(LimitsTest, AChunkedBodyWithoutEndIsGivenUp) {
    const Ui ui;
    Connection sender(ui.port());
    sender.send("POST " + ui.path("request") + " HTTP/1.1\r\nHost: " + ui.host() +
                "\r\nOrigin: " + ui.origin() +
                "\r\nContent-Type: application/json\r\nTransfer-Encoding: chunked\r\n\r\n");
    for (int i = 0; i < 3000; ++i) sender.send("400\r\n" + std::string(1024, ' ') + "\r\n");
    sender.all();
    EXPECT_THAT(ui.rawGet(ui.path("")), StartsWith("HTTP/1.1 200 OK"));
}

TEST_F(LimitsTest, MalformedRequestsHaveAReason) {
    const Ui ui;
    for (const std::string& request :
         {std::string("nonsense\r\n\r\n"), std::string("GET\r\n\r\n"),
          "GET " + ui.path("") + " HTTP/9.9\r\n\r\n", std::string("\x16\x03\x01\x02\r\n\r\n")}) {
        const std::string answer = ui.raw(request);
        EXPECT_THAT(answer, StartsWith("HTTP/1.1 400 Bad Request\r\n")) << request;
        EXPECT_EQ(body(answer),
                  "{\"error\":\"malformed HTTP: send a request line, headers, an empty line, and "
                  "a body as the headers announce it\"}\n");
    }
    const std::string longest = ui.raw("GET /" + std::string(10'000, 'x') +
                                       " HTTP/1.1\r\nHost: " + ui.host() + "\r\n\r\n");
    EXPECT_THAT(longest, StartsWith("HTTP/1.1 414 "));
}

}  // namespace
}  // namespace ui_test
