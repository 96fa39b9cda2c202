// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// What a follower of the emulator needs: the state, an entry for each of its changes, and the table
// of abilities.

#include <gmock/gmock.h>

#include <algorithm>
#include <thread>
#include <tuple>

#include <fcntl.h>
#include <unistd.h>

#include "emulator/phone/Digest.h"
#include "tests/phone/ControlTest.h"

namespace {

using nlohmann::json;
using phone::Kind;
using support::ControlTest;
using support::Reply;
using testing::ElementsAre;
using testing::IsEmpty;

class ControlStateTest : public ControlTest {
  protected:
    // "kind path bytes note" of all entries.
    std::vector<std::string> record(uint64_t from) const {
        std::vector<std::string> lines;
        for (const phone::Entry& entry : journal.since(from)) {
            lines.push_back(std::string(name(entry.kind)) + " " + entry.path + " " + entry.bytes +
                            " " + entry.note);
        }
        return lines;
    }
    json state() { return get("/v1/state").body; }
};

TEST_F(ControlStateTest, ARequestStandsBeforeWhatItCauses) {
    EXPECT_EQ(put("/v1/properties", {{"key", "a"}, {"value", "x\\xff"}}).status, 200);
    EXPECT_EQ(post("/v1/uevent", {{"bytes", "b\\x00"}}).status, 200);
    EXPECT_EQ(remove("/v1/properties").status, 200);
    EXPECT_THAT(record(first),
                ElementsAre(R"(control PUT /v1/properties {"key":"a","value":"x\\xff"} )",
                            "property a x\xff ",
                            R"(control POST /v1/uevent {"bytes":"b\\x00","forged":false} )",
                            std::string("uevent  b\0 ", 11), "control DELETE /v1/properties {} ",
                            "property   cleared"));
}

TEST_F(ControlStateTest, ARequestWhoseEffectHasNoEntryStandsAfterIt) {
    const std::tuple<const char*, const char*, const char*> requests[] = {
            {"PUT", "/v1/cover", R"({"cutout":"M 0,0"})"},
            {"PUT", "/v1/subdisplay", R"({"width":2})"},
            {"PUT", "/v1/chatter", R"({"text":"t","gap_us":7})"},
            {"DELETE", "/v1/chatter", "{}"},
            {"PUT", "/v1/accessory", R"({"state":7})"},
            {"PUT", "/v1/accessory/declared", "{}"},
            {"DELETE", "/v1/accessory", "{}"},
            {"PUT", "/v1/lpwg", R"({"result":7})"},
            {"PUT", "/v1/lpwg/declared", "{}"},
            {"DELETE", "/v1/lpwg", "{}"},
    };
    for (const auto& [method, path, body] : requests) {
        const json before = state();
        const uint64_t from = journal.next();
        EXPECT_EQ(request(method, path, std::string(method) == "PUT" ? body : "").status, 200);
        const auto lines = record(from);
        EXPECT_THAT(lines,
                    ElementsAre("control " + std::string(method) + " " + path + " " + body + " "));
        EXPECT_NE(state(), before) << path;
    }
}

TEST_F(ControlStateTest, AMarkIsItsOwnEntry) {
    EXPECT_EQ(post("/v1/mark", {{"text", "here"}}).status, 200);
    EXPECT_EQ(post("/v1/mark", {{"text", ""}}).status, 400);
    EXPECT_THAT(record(first), ElementsAre("mark  here "));
}

TEST_F(ControlStateTest, AfterTheEntryOfAQuietRequestTheStateIsAnother) {
    std::thread follower([this] {
        uint64_t since = first;
        for (int width = 1; width <= 50; ++width) {
            const phone::Entry entry = journal.waitFor(
                    [](const phone::Entry& each) { return each.kind == Kind::Control; }, since);
            since = entry.seq + 1;
            EXPECT_GE(phone.panel.options().width, width);
        }
    });
    for (int width = 1; width <= 50; ++width) put("/v1/subdisplay", {{"width", width}});
    follower.join();
}

TEST_F(ControlStateTest, ARefusedRequestComesWithTheError) {
    EXPECT_EQ(post("/v1/detach").status, 409);
    EXPECT_EQ(put("/v1/cover", {{"banner", "a\\n"}}).status, 409);
    EXPECT_EQ(post("/v1/uevent", {{"bytes", "a"}, {"burst", 2}, {"forged", true}}).status, 400);
    const std::string uevent = R"(control POST /v1/uevent {"bytes":"a","forged":true,"burst":2} )";
    EXPECT_THAT(
            record(first),
            ElementsAre(R"(control POST /v1/detach {"unread":"lost"} )",
                        R"(control POST /v1/detach {"unread":"lost"} no cover is attached)",
                        R"(control PUT /v1/cover {"banner":"a\\n"} )"
                        "a banner holds no line ends",
                        uevent,
                        uevent + "a burst is of the kernel's own events: leave out \"forged\""));
}

TEST_F(ControlStateTest, WhatIsMalformedOrOnlyAsksLeavesNoEntry) {
    EXPECT_EQ(put("/v1/cover", {{"banner", 7}}).status, 400);
    EXPECT_EQ(put("/v1/nothing", {{"banner", 7}}).status, 404);
    for (const char* path : {"/v1/state", "/v1/faults", "/v1/journal", "/v1/abilities"}) {
        EXPECT_EQ(get(path).status, 200);
    }
    EXPECT_THAT(record(first), IsEmpty());
}

TEST_F(ControlStateTest, LongValuesAreShownByTheirDigest) {
    const std::string values = R"({"path":"/sys/x","bytes":")" + std::string(300, 'x') + "\"}";
    EXPECT_EQ(request("PUT", "/v1/node", values).status, 200);
    EXPECT_EQ(journal.since(first)[0].bytes, phone::shorten(values));
    EXPECT_EQ(journal.since(first)[0].bytes.substr(0, 22), R"({"length":328,"crc32":)");
}

TEST_F(ControlStateTest, AResetIsToldAtItsEnd) {
    put("/v1/subdisplay", {{"width", 7}});
    remove("/v1/lpwg");
    const uint64_t from = journal.next();
    EXPECT_EQ(post("/v1/reset").status, 200);
    EXPECT_THAT(record(from), ElementsAre("control POST /v1/reset {} ", "fault   "));
}

TEST_F(ControlStateTest, ShowsTheCutout) {
    EXPECT_EQ(state()["cutout"], "M 0,0 H -36 V 60 H 36 V 0 H 0 Z");
    put("/v1/cover", {{"cutout", ""}});
    EXPECT_EQ(state()["cutout"], "");
}

TEST_F(ControlStateTest, ShowsAnUpgrade) {
    EXPECT_TRUE(state()["upgrade"].is_null());
    put("/v1/cover", {{"upgrade_delay_ms", 86400000}, {"upgrade_ms", 86400000}});
    put("/v1/firmware", {{"name", "BV330-V20k_x.dfu"}});
    phone.cover.attach();
    const auto tellDriver = [this](const char* number, const std::string& note) {
        const android::base::unique_fd node(open(phone::kFirmwareWrite, O_WRONLY));
        EXPECT_EQ(write(node.get(), number, 1), 1);
        journal.waitFor([&](const phone::Entry& entry) { return entry.note == note; }, first);
    };
    tellDriver("1", "started");
    EXPECT_EQ(state()["upgrade"],
              json({{"phase", "planned"}, {"version", "BV330-V20k_x"}, {"percent", 0}}));
    tellDriver("0", "cancelled");
    EXPECT_TRUE(state()["upgrade"].is_null());
    EXPECT_EQ(put("/v1/loader", {{"mode", "normal"}}).status, 200);
    tellDriver("6", "0%");
    EXPECT_EQ(state()["upgrade"],
              json({{"phase", "writing"}, {"version", "BV330-V20k_x"}, {"percent", 0}}));
    EXPECT_EQ(remove("/v1/loader").status, 200);
    EXPECT_TRUE(state()["upgrade"].is_null());
}

TEST_F(ControlStateTest, ShowsTheLoader) {
    EXPECT_TRUE(state()["loader"].is_null());
    phone.cover.attach();
    EXPECT_EQ(post("/v1/loader", {{"product", "x\xc3\xa9"}}).status, 200);
    EXPECT_EQ(state()["loader"], json({{"error", false},
                                       {"cover", false},
                                       {"product", "x\\xc3\\xa9"},
                                       {"serial", "00000000001A"}}));
    remove("/v1/loader");
    EXPECT_TRUE(state()["loader"].is_null());
    put("/v1/loader", {{"mode", "error"}});
    EXPECT_EQ(state()["loader"], json({{"error", true},
                                       {"cover", true},
                                       {"product", "TQC330R"},
                                       {"serial", "00000000001B"}}));
    put("/v1/loader", {{"mode", "leave"}});
    EXPECT_TRUE(state()["loader"].is_null());
}

TEST_F(ControlStateTest, ShowsTheWakeLock) {
    EXPECT_EQ(state()["wakelock"], true);
    put("/v1/wakelock", {{"held", false}});
    EXPECT_EQ(state()["wakelock"], false);
    phone.files.set(phone::kWakeLock, "other PowerManagerService.Display");
    EXPECT_EQ(state()["wakelock"], true);
    phone.files.remove(phone::kWakeLock);
    EXPECT_EQ(state()["wakelock"], false);
}

TEST_F(ControlStateTest, ShowsTheFirmwareImages) {
    EXPECT_EQ(state()["firmware"], json::array());
    put("/v1/firmware", {{"name", "b"}, {"size", 3}});
    EXPECT_EQ(state()["firmware"], get("/v1/firmware").body["files"]);
    EXPECT_EQ(state()["firmware"], json({{{"name", "b"}, {"size", 3}}}));
}

TEST_F(ControlStateTest, ShowsHowOftenFaultsWereMet) {
    EXPECT_EQ(state()["faults_met"], json::array());
    const std::string node = "node \"/sys/x\" missing";
    post("/v1/faults", {{"text", "on AT silent times 1"}});
    post("/v1/faults", {{"text", node}});
    for (int i = 0; i < 2; ++i) EXPECT_NE(access("/sys/x", F_OK), 0);
    const json met = {{{"fault", "on AT silent times 1"}, {"met", 0}},
                      {{"fault", node}, {"met", 2}}};
    const json faults = {"on AT silent times 1", node};
    EXPECT_EQ(state()["faults_met"], met);
    EXPECT_EQ(state()["faults"], faults);
    EXPECT_EQ(get("/v1/faults").body, json({{"faults", faults}, {"faults_met", met}}));
}

TEST_F(ControlStateTest, TakesOneFaultAway) {
    post("/v1/faults", {{"text", "on AT silent"}});
    post("/v1/faults", {{"text", "on AT%SWV late 1s"}});
    EXPECT_EQ(remove("/v1/faults?text=on%20AT%20silent").status, 200);
    EXPECT_THAT(phone.faults.list(), ElementsAre("on AT%SWV late 1s"));
    Reply reply = remove("/v1/faults?text=on%20AT%20silent");
    EXPECT_EQ(reply.status, 409);
    EXPECT_EQ(reply.body, json({{"error", "no such fault is set: on AT silent"}}));
    EXPECT_EQ(remove("/v1/faults?text=").status, 409);
    EXPECT_EQ(remove("/v1/faults?text=nonsense").status, 409);
    EXPECT_THAT(phone.faults.list(), ElementsAre("on AT%SWV late 1s"));
    EXPECT_EQ(remove("/v1/faults").status, 200);
    EXPECT_THAT(phone.faults.list(), IsEmpty());
}

// The table, by which a page makes forms and spells ctl's commands.
class AbilitiesTest : public ControlStateTest {
  protected:
    json requestsOf(const std::string& name) {
        const json abilities = get("/v1/abilities").body["abilities"];
        for (const json& ability : abilities) {
            if (ability["name"] == name) return ability["requests"];
        }
        ADD_FAILURE() << name;
        return json();
    }
    json argumentOf(const std::string& ability, size_t request, const std::string& name) {
        const json arguments = requestsOf(ability)[request]["arguments"];
        for (const json& argument : arguments) {
            if (argument["name"] == name) return argument;
        }
        ADD_FAILURE() << name;
        return json();
    }
};

TEST_F(AbilitiesTest, AnOptionIsSpeltAsCtlTakesIt) {
    EXPECT_EQ(argumentOf("subdisplay", 0, "open_ms")["option"], "--open-ms");
    EXPECT_EQ(argumentOf("cover", 0, "version")["option"], "--firmware-version");
    EXPECT_EQ(argumentOf("property", 0, "key")["option"], "KEY");
}

TEST_F(AbilitiesTest, AFlagHasItsValue) {
    EXPECT_EQ(argumentOf("attach", 0, "with_tty")["flag"], false);
    EXPECT_EQ(argumentOf("listen", 0, "version")["flag"], "1.0");
    EXPECT_FALSE(argumentOf("wakelock", 0, "held").contains("flag"));
}

TEST_F(AbilitiesTest, SeveralWordsAreToldFromOne) {
    EXPECT_EQ(argumentOf("fault", 0, "text")["many"], true);
    EXPECT_EQ(argumentOf("pen", 0, "name")["many"], true);
    EXPECT_EQ(argumentOf("attach", 0, "tty")["many"], false);
}

TEST_F(AbilitiesTest, WhatIsOfOneSideAloneIsMarked) {
    EXPECT_EQ(argumentOf("attach", 0, "id_vendor")["in_ctl"], false);
    EXPECT_EQ(argumentOf("attach", 0, "tty")["in_ctl"], true);
    const json snapshot = requestsOf("snapshot")[0];
    EXPECT_EQ(snapshot["arguments"], json::array());
    ASSERT_EQ(snapshot["ctl_arguments"].size(), 1u);
    EXPECT_EQ(snapshot["ctl_arguments"][0]["option"], "FILE");
    EXPECT_EQ(snapshot["ctl_arguments"][0]["required"], true);
    EXPECT_FALSE(requestsOf("attach")[0].contains("ctl_arguments"));
}

TEST_F(AbilitiesTest, BytesThatCtlTakesAsTheyAreAreMarked) {
    EXPECT_EQ(argumentOf("property", 0, "value")["verbatim"], true);
    EXPECT_FALSE(argumentOf("node", 0, "bytes").contains("verbatim"));
}

TEST_F(AbilitiesTest, ARequestTellsWhetherCtlPrintsItsAnswer) {
    EXPECT_EQ(requestsOf("show")[0]["show"], true);
    EXPECT_EQ(requestsOf("attach")[0]["show"], false);
    const json faults = requestsOf("fault");
    ASSERT_EQ(faults.size(), 4u);
    EXPECT_EQ(faults[1]["choice"], "--clear");
    EXPECT_EQ(faults[1]["arguments"], json::array());
    EXPECT_EQ(faults[2]["choice"], "--remove");
    EXPECT_EQ(faults[2]["arguments"][0]["required"], true);
    EXPECT_EQ(faults[3]["show"], true);
}

}  // namespace
