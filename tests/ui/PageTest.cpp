// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// What the page's server answers: files, abilities, requests, entries, exports.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "tests/ui/Browser.h"

namespace ui_test {
namespace {

namespace fs = std::filesystem;

using testing::HasSubstr;
using testing::StartsWith;

class PageTest : public UiTest {
  protected:
    void expectRefused(const httplib::Result& answer, int status, const std::string& why) const {
        ASSERT_TRUE(answer) << why;
        EXPECT_EQ(answer->status, status) << why;
        EXPECT_EQ(answer->get_header_value("Content-Type"), "application/json");
        EXPECT_EQ(answer->body, json({{"error", why}}).dump() + "\n");
    }
};

// A build that is older than a file of the page would differ.
TEST_F(PageTest, EveryFileOfThePageIsInTheProgram) {
    const Ui ui;
    const std::map<std::string, std::string> types = {{".css", "text/css; charset=utf-8"},
                                                      {".html", "text/html; charset=utf-8"},
                                                      {".js", "text/javascript; charset=utf-8"}};
    size_t count = 0;
    for (const auto& file : fs::directory_iterator(BIVISTA_SOURCE_DIR "/emulator/ui/page")) {
        const std::string name = file.path().filename();
        const auto answer = ui.get(name == "index.html" ? "" : name);
        ASSERT_TRUE(answer) << name;
        EXPECT_EQ(answer->status, 200) << name;
        EXPECT_EQ(answer->get_header_value("Content-Encoding"), "gzip") << name;
        EXPECT_EQ(answer->get_header_value("Content-Type"), types.at(file.path().extension()));
        // The client has unpacked it.
        EXPECT_EQ(answer->body, contentOf(file.path())) << name;
        ++count;
    }
    EXPECT_GT(count, 3U);
    EXPECT_THAT(ui.get("chart.js")->body, HasSubstr("Released under the MIT License"));
}

TEST_F(PageTest, OtherNamesAreNoFiles) {
    const Ui ui;
    for (const std::string& name : {"none.js", "index.html", "../Routes.cpp", "page.js/", "."}) {
        EXPECT_EQ(ui.get(name)->status, 404) << name;
    }
    expectRefused(ui.get("none.js"), 404, "no such request: GET " + ui.path("none.js"));
}

TEST_F(PageTest, AbilitiesAreThoseOfTheEmulator) {
    const auto emulator = startEmulator();
    const Ui ui;
    httplib::Client control(mFolder + "/hidl/emulator.sock");
    control.set_address_family(AF_UNIX);
    EXPECT_EQ(ui.get("abilities")->body, control.Get("/v1/abilities")->body);
}

TEST_F(PageTest, ARequestReachesTheEmulator) {
    const auto emulator = startEmulator();
    const Ui ui;
    auto answer = ui.post(R"({"method":"PUT","path":"/v1/subdisplay","values":{"width":96}})");
    EXPECT_EQ(answer->status, 200);
    EXPECT_EQ(answer->body, "{}\n");
    EXPECT_EQ(json::parse(invoke({"ctl", "show", "--json"}).out)["sub_display"]["width"], 96);
    answer = ui.post(
            R"({"method":"GET","path":"/v1/node","values":{"path":"/sys/power/wake_lock"}})",
            "application/json; charset=utf-8");
    EXPECT_EQ(
            answer->body,
            "{\"path\":\"/sys/power/wake_lock\",\"bytes\":\"PowerManagerService.Display\\\\n\"}\n");
}

TEST_F(PageTest, TheEmulatorsRefusalReachesThePage) {
    const auto emulator = startEmulator();
    const Ui ui;
    httplib::Client control(mFolder + "/hidl/emulator.sock");
    control.set_address_family(AF_UNIX);
    const auto own = control.Put("/v1/subdisplay", R"({"width":-1})", "application/json");
    const auto passed =
            ui.post(R"({"method":"PUT","path":"/v1/subdisplay","values":{"width":-1}})");
    EXPECT_EQ(passed->status, 400);
    EXPECT_EQ(passed->body, own->body);
    ctl({"detach"});
    const auto refused = ui.post(R"({"method":"GET","path":"/v1/snapshot","values":{}})");
    expectRefused(refused, 409, "no sub display is attached");
}

TEST_F(PageTest, NonsenseIsRefusedWithItsReason) {
    const auto emulator = startEmulator();
    const Ui ui;
    const std::string shape =
            R"(send {"method":"PUT","path":"/v1/...","values":{...}}, and nothing else)";
    for (const std::string& body :
         {std::string(), std::string("nonsense"), std::string("[]"), std::string("{}"),
          std::string(R"({"method":"PUT","path":"/v1/subdisplay"})"),
          std::string(R"({"method":1,"path":"/v1/subdisplay","values":{}})"),
          std::string(R"({"method":"PUT","path":"/v1/subdisplay","values":[]})"),
          std::string(R"({"method":"PUT","path":"/v1/subdisplay","values":{},"more":1})"),
          std::string(100'000, '['), std::string("\xff\xfe")}) {
        expectRefused(ui.post(body), 400, shape);
    }
    expectRefused(ui.post(R"({"method":"GET","path":"/v1/subdisplay","values":{}})"), 400,
                  "no such ability: GET /v1/subdisplay");
    expectRefused(ui.post(R"({"method":"PUT","path":"/v1/../etc","values":{}})"), 400,
                  "no such ability: PUT /v1/../etc");
    expectRefused(ui.post("{}", "text/plain"), 415, "send a body of application/json, not encoded");
    expectRefused(ui.post(std::string((1 << 20) + 1, ' ')), 413,
                  "the body is too long: at most 1048576 bytes are taken");
    expectRefused(ui.get("export"), 400, "format is journal or perfetto");
    expectRefused(ui.get("entries?wait_ms=30000"), 400, "no such parameter: wait_ms");
}

TEST_F(PageTest, AnEncodedBodyIsNotUnpacked) {
    const Ui ui;
    const auto answer = httplib::Client("127.0.0.1", ui.port())
                                .Post(ui.path("request"),
                                      {{"Origin", ui.origin()}, {"Content-Encoding", "gzip"}},
                                      "\x1f\x8b", "application/json");
    expectRefused(answer, 415, "send a body of application/json, not encoded");
}

TEST_F(PageTest, PartsOfAnAnswerAreNotGiven) {
    const Ui ui;
    EXPECT_THAT(ui.rawGet(ui.path(""), "Range: bytes=0-1\r\n"),
                StartsWith("HTTP/1.1 416 Range Not Satisfiable\r\n"));
}

TEST_F(PageTest, WithoutAnEmulatorRequestsAreAnsweredWithTheReason) {
    const Ui ui;
    const std::string why = "no emulator answers on " + mFolder +
                            "/hidl/emulator.sock: start one with \"bivista-emulator run\" "
                            "(HIDL_SOCKET_DIR must be the same for both)";
    expectRefused(ui.post(R"({"method":"POST","path":"/v1/detach","values":{}})"), 503, why);
    expectRefused(ui.get("entries"), 503, why);
    EXPECT_EQ(ui.get("abilities")->status, 200);
    expectRefused(ui.get("export?format=journal"), 503, why);
    expectRefused(ui.get("export?format=perfetto"), 503, why);
}

TEST_F(PageTest, EntriesAreThoseOfTheJournal) {
    const auto emulator = startEmulator();
    const Ui ui;
    ctl({"detach"});
    httplib::Client control(mFolder + "/hidl/emulator.sock");
    control.set_address_family(AF_UNIX);
    const auto answer = ui.get("entries?since=1&limit=2");
    EXPECT_EQ(answer->status, 200);
    EXPECT_EQ(answer->body, control.Get("/v1/journal?since=1&limit=2")->body);
    EXPECT_EQ(ui.get("entries?since=x")->status, 400);
}

TEST_F(PageTest, ExportsTheJournal) {
    const auto emulator = startEmulator();
    const Ui ui;
    ctl({"uevent", "change@/x\\x00", "--burst", "3000"});
    const auto answer = ui.get("export?format=journal");
    EXPECT_EQ(answer->status, 200);
    EXPECT_EQ(answer->get_header_value("Content-Disposition"),
              "attachment; filename=\"journal.jsonl\"");
    EXPECT_EQ(answer->body, invoke({"ctl", "journal"}).out);
    EXPECT_GT(std::count(answer->body.begin(), answer->body.end(), '\n'), 3000);
}

TEST_F(PageTest, ExportsTheTrace) {
    const auto emulator = startEmulator();
    const Ui ui;
    ctl({"uevent", "change@/x\\x00", "--burst", "3000"});
    const auto answer = ui.get("export?format=perfetto");
    EXPECT_EQ(answer->status, 200);
    EXPECT_EQ(answer->get_header_value("Content-Disposition"),
              "attachment; filename=\"trace.json\"");
    EXPECT_GT(json::parse(answer->body)["traceEvents"].size(), 3000U);
    EXPECT_EQ(answer->body, invoke({"ctl", "journal", "--format", "perfetto"}).out);
}

// Each of the folders has its emulator and its page.
TEST_F(PageTest, SeveralEmulatorsEachHaveTheirs) {
    const auto first = startEmulator();
    const Ui ui;
    setenv("HIDL_SOCKET_DIR", (mFolder + "/other").c_str(), 1);
    const auto second = startEmulator();
    const Ui other;
    EXPECT_EQ(other.post(R"({"method":"POST","path":"/v1/detach","values":{}})")->status, 200);
    EXPECT_EQ(ui.post(R"({"method":"GET","path":"/v1/snapshot","values":{}})")->status, 200);
    EXPECT_EQ(other.post(R"({"method":"GET","path":"/v1/snapshot","values":{}})")->status, 409);
    EXPECT_THAT(contentOf(mFolder + "/other/ui.html"), HasSubstr(other.line()));
    EXPECT_THAT(contentOf(door()), HasSubstr(ui.line()));
}

}  // namespace
}  // namespace ui_test
