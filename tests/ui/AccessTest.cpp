// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Who gets at the page, and who does not.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>

#include <sys/stat.h>
#include <unistd.h>

#include "tests/ui/Browser.h"

namespace ui_test {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

constexpr char kForbidden[] = "HTTP/1.1 403 Forbidden\r\n";

constexpr char kWrongAddress[] =
        "this is not the address of a page of the program that runs here; each start has a new "
        "address: open the one that \"bivista-emulator ui\" or \"run --ui\" has printed, or "
        "ui.html "
        "in the emulator's socket folder\n";

class AccessTest : public UiTest {
  protected:
    static void expectForbidden(const std::string& answer, const std::string& why) {
        EXPECT_THAT(answer, StartsWith(kForbidden));
        EXPECT_EQ(body(answer), why);
    }
};

TEST_F(AccessTest, EveryStartHasATokenOfItsOwn) {
    const Ui first;
    const Ui second;
    EXPECT_NE(first.token(), second.token());
    EXPECT_EQ(second.rawGet(second.path(""), "").substr(0, 17), "HTTP/1.1 200 OK\r\n");
}

TEST_F(AccessTest, WithoutTheTokenNothingIsServed) {
    const Ui ui;
    std::string other = ui.token();
    other.back() = other.back() == '0' ? '1' : '0';
    for (const std::string& path :
         {std::string("/"), std::string("/events"), "/" + other + "/", "/" + other + "/events",
          "/" + ui.token(), "/" + ui.token().substr(0, 31) + "/", "/" + ui.token() + "0/",
          "//" + ui.token() + "/", "/x/../" + ui.token() + "/", "/?" + ui.token() + "/"}) {
        expectForbidden(ui.rawGet(path), kWrongAddress);
    }
}

// As a page that was left open while the program was started anew on its port.
TEST_F(AccessTest, AnOldPageIsToldWhereTheNewOneIs) {
    auto old = std::make_unique<Ui>();
    const std::string port = std::to_string(old->port());
    const std::string path = old->path("request");
    old.reset();
    const Ui ui({"--port", port});
    const std::string values = R"({"method":"POST","path":"/v1/detach","values":{}})";
    const std::string answer = ui.raw("POST " + path + " HTTP/1.1\r\nHost: " + ui.host() +
                                      "\r\nOrigin: " + ui.origin() +
                                      "\r\nContent-Type: application/json\r\nContent-Length: " +
                                      std::to_string(values.size()) + "\r\n\r\n" + values);
    expectForbidden(answer, kWrongAddress);
}

// A name server that gives its own name this machine's address makes a browser send that name.
TEST_F(AccessTest, OtherHostsAreRefused) {
    const Ui ui;
    const std::string port = std::to_string(ui.port());
    const std::string why =
            "this page is at 127.0.0.1:" + port + " and localhost:" + port + " alone\n";
    const std::string line = "GET " + ui.path("") + " HTTP/1.1\r\n";
    for (const std::string& host :
         {"evil.example:" + port, std::string("evil.example"), std::string("127.0.0.1"),
          std::string("localhost"), "127.0.0.1:" + port + ".evil.example", "127.0.0.1:1" + port,
          "[::1]:" + port, std::string(), "evil.example:" + port + "\r\nHost: " + ui.host(),
          ui.host() + "\r\nHost: evil.example:" + port}) {
        expectForbidden(ui.raw(line + "Host: " + host + "\r\n\r\n"), why);
    }
    expectForbidden(ui.raw(line + "\r\n"), why);
    for (const std::string& host : {ui.host(), "localhost:" + port, "LocalHost:" + port}) {
        EXPECT_THAT(ui.raw(line + "Host: " + host + "\r\n\r\n"), StartsWith("HTTP/1.1 200 OK\r\n"));
    }
}

TEST_F(AccessTest, PagesOfOtherOriginsAreRefused) {
    const Ui ui;
    const std::string port = std::to_string(ui.port());
    for (const std::string& origin :
         {std::string("http://evil.example"), "http://evil.example:" + port, std::string("null"),
          "https://127.0.0.1:" + port, std::string("http://127.0.0.1"), "http://localhost:" + port,
          ui.origin() + "\r\nOrigin: http://evil.example"}) {
        expectForbidden(ui.rawGet(ui.path(""), "Origin: " + origin + "\r\n"),
                        "requests of other pages are refused\n");
    }
    EXPECT_THAT(ui.rawGet(ui.path(""), "Origin: " + ui.origin() + "\r\n"),
                StartsWith("HTTP/1.1 200 OK\r\n"));
}

TEST_F(AccessTest, AChangeNeedsTheOrigin) {
    const auto emulator = startEmulator();
    const Ui ui;
    const std::string values = R"({"method":"POST","path":"/v1/detach","values":{}})";
    for (const std::string& method : {"POST", "PUT", "DELETE", "OPTIONS", "PATCH"}) {
        expectForbidden(
                ui.raw(method + " " + ui.path("request") + " HTTP/1.1\r\nHost: " + ui.host() +
                       "\r\nContent-Type: application/json\r\nContent-Length: " +
                       std::to_string(values.size()) + "\r\n\r\n" + values),
                "a request that changes something must name the page's origin: send an Origin "
                "header with http://" +
                        ui.host() + "\n");
    }
    EXPECT_THAT(invoke({"ctl", "journal"}).out, Not(HasSubstr("\"kind\":\"detach\"")));
}

TEST_F(AccessTest, NothingIsChangedByGet) {
    const auto emulator = startEmulator();
    const Ui ui;
    const auto answer = ui.get("request?method=POST&path=/v1/detach");
    EXPECT_EQ(answer->status, 404);
    EXPECT_EQ(answer->body, "{\"error\":\"no such request: GET " + ui.path("request") + "\"}\n");
    EXPECT_THAT(invoke({"ctl", "journal"}).out, Not(HasSubstr("\"kind\":\"detach\"")));
}

TEST_F(AccessTest, EveryAnswerHasTheHeadersThatGuardThePage) {
    const Ui ui;
    const std::string guarded = "POST " + ui.path("request") + " HTTP/1.1\r\nHost: " + ui.host() +
                                "\r\nOrigin: " + ui.origin() + "\r\n";
    for (const std::string& answer :
         {ui.rawGet(ui.path("")), ui.rawGet(ui.path("page.js")), ui.rawGet(ui.path("abilities")),
          ui.rawGet(ui.path("entries")), ui.rawGet("/"), ui.rawGet(ui.path("none")),
          ui.raw("nonsense\r\n\r\n"), ui.raw(guarded + "\r\n"),
          ui.rawGet(ui.path(""), "Range: bytes=0-1\r\n"),
          ui.raw("HEAD " + ui.path("") + " HTTP/1.1\r\nHost: " + ui.host() + "\r\n\r\n")}) {
        EXPECT_THAT(answer,
                    HasSubstr("\r\nContent-Security-Policy: default-src 'none'; script-src 'self'; "
                              "style-src 'self'; img-src 'self' data: blob:; connect-src 'self'; "
                              "base-uri 'none'; form-action 'none'; frame-ancestors 'none'\r\n"));
        EXPECT_THAT(answer, HasSubstr("\r\nX-Content-Type-Options: nosniff\r\n"));
        EXPECT_THAT(answer, HasSubstr("\r\nReferrer-Policy: no-referrer\r\n"));
        EXPECT_THAT(answer, HasSubstr("\r\nCache-Control: no-store\r\n"));
        EXPECT_THAT(answer, HasSubstr("\r\nCross-Origin-Resource-Policy: same-origin\r\n"));
        EXPECT_THAT(answer, Not(HasSubstr("Access-Control")));
    }
}

TEST_F(AccessTest, ListensOnTheLoopbackInterfaceAlone) {
    const Ui ui;
    EXPECT_TRUE(Connection(ui.port()).isConnected());
    // An address of the same machine that is another than the server's.
    EXPECT_FALSE(Connection(ui.port(), "127.0.0.2").isConnected());
}

TEST_F(AccessTest, TheFileThatLeadsToThePageIsForItsUserAlone) {
    Ui ui;
    struct stat status = {};
    ASSERT_EQ(stat(door().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode, mode_t{S_IFREG | 0600});
    EXPECT_EQ(contentOf(door()), "<!doctype html>\n<meta http-equiv=\"refresh\" content=\"0; url=" +
                                         ui.line() + "\">\n");
    if (geteuid() == 0) {
        chmod(mFolder.c_str(), 0777);
        chmod((mFolder + "/hidl").c_str(), 0755);
        const auto becomeNobody = [] {
            constexpr uid_t kNobody = 65534;
            if (setuid(kNobody) != 0) _exit(126);
        };
        Process other({"/bin/cat", door()}, {.before = becomeNobody});
        EXPECT_EQ(other.wait(), 1);
        EXPECT_THAT(other.err(), EndsWith("Permission denied\n"));
        EXPECT_EQ(other.out(), "");
    }
    ui.process().kill(SIGTERM);
    EXPECT_EQ(ui.process().wait(), 0);
    EXPECT_FALSE(std::filesystem::exists(door()));
}

TEST_F(AccessTest, TheTokenStandsInNoProgramsArguments) {
    const std::string tool = mFolder + "/xdg-open";
    std::ofstream(tool) << "#!/bin/sh\necho \"$# $1\" > " + mFolder + "/opened\n";
    std::filesystem::permissions(tool, std::filesystem::perms::owner_all);
    setenv("PATH", (mFolder + ":" + getenv("PATH")).c_str(), 1);
    Ui ui({"--open"});
    const std::string opened = mFolder + "/opened";
    await([&] { return contentOf(opened).ends_with("\n"); });
    EXPECT_EQ(contentOf(opened), "1 " + door() + "\n");
    const std::string own = "/proc/" + std::to_string(ui.process().pid());
    EXPECT_THAT(contentOf(own + "/cmdline"), Not(HasSubstr(ui.token())));
    EXPECT_THAT(contentOf(own + "/environ"), Not(HasSubstr(ui.token())));
}

// This program waits for signals, which the browser must not inherit as blocked.
TEST_F(AccessTest, TheBrowserCanBeEndedBySignals) {
    const std::string tool = mFolder + "/xdg-open";
    // A shell would unblock them by itself.
    std::ofstream(tool) << R"(#!/usr/bin/awk -f
BEGIN { while ((getline line < "/proc/self/status") > 0) if (line ~ /SigBlk/) print line > ")" +
                                   mFolder + "/opened\" }\n";
    std::filesystem::permissions(tool, std::filesystem::perms::owner_all);
    setenv("PATH", (mFolder + ":" + getenv("PATH")).c_str(), 1);
    const Ui ui({"--open"});
    const std::string opened = mFolder + "/opened";
    await([&] { return contentOf(opened).ends_with("\n"); });
    EXPECT_EQ(contentOf(opened), "SigBlk:\t0000000000000000\n");
}

TEST_F(AccessTest, SaysThatThereIsNoBrowser) {
    setenv("PATH", mFolder.c_str(), 1);
    Ui ui({"--open"});
    await([&] { return !ui.process().err().empty(); });
    EXPECT_EQ(ui.process().err(),
              "bivista-emulator: no browser could be opened (xdg-open): open the address by "
              "hand\n");
    EXPECT_EQ(ui.get("abilities")->status, 200);
}

TEST_F(AccessTest, LeavesTheFileOfAnotherProgram) {
    Ui first;
    const Ui second;
    first.process().kill(SIGINT);
    EXPECT_EQ(first.process().wait(), 0);
    EXPECT_THAT(contentOf(door()), HasSubstr(second.line()));
}

TEST_F(AccessTest, RefusesAFolderWhereOthersCanWrite) {
    const std::string folder = mFolder + "/hidl";
    ASSERT_EQ(chmod(folder.c_str(), 0777), 0);
    const Outcome outcome = invoke({"ui"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err, "bivista-emulator: " + folder +
                                   " can be written by others: \"chmod 700\" it, or choose another "
                                   "folder with HIDL_SOCKET_DIR\n");
    EXPECT_EQ(outcome.out, "");
}

}  // namespace
}  // namespace ui_test
