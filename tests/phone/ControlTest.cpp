// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The control interface: what each request does, and how wrong ones are answered.

#include <gmock/gmock.h>

#include <algorithm>
#include <deque>
#include <fstream>
#include <thread>

#include <fcntl.h>
#include <httplib.h>
#include <linux/hidraw.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>
#include <nlohmann/json.hpp>

#include <android-base/unique_fd.h>
#include "emulator/phone/control/ControlServer.h"
#include "emulator/phone/control/SocketFolder.h"
#include "emulator/phone/control/WaitingRoom.h"
#include "emulator/phone/devices/Uevents.h"
#include "tests/phone/ControlTest.h"
#include "tests/support/PhoneTest.h"

namespace {

using nlohmann::json;
using phone::Kind;
using support::ControlTest;
using support::Reply;
using support::WrongRequest;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

TEST_F(ControlTest, AttachesAndDetachesTheCover) {
    EXPECT_EQ(post("/v1/attach").status, 200);
    EXPECT_TRUE(phone.cover.isAttached());
    EXPECT_EQ(post("/v1/reattach").status, 200);
    EXPECT_EQ(post("/v1/detach").status, 200);
    EXPECT_FALSE(phone.cover.isAttached());
}

TEST_F(ControlTest, AttachesAsAsked) {
    EXPECT_EQ(post("/v1/attach", {{"tty", 3}, {"with_usb", false}, {"id_vendor", "zz\n"}}).status,
              200);
    EXPECT_EQ(access("/dev/ttyACM3", F_OK), 0);
    EXPECT_EQ(phone.files.get("/sys/class/tty/ttyACM3/device/../idVendor"), "zz\n");
    EXPECT_EQ(phone.files.get("/sys/class/tty/ttyACM3/device/../idProduct"), "6a2f\n");
    EXPECT_NE(access("/sys/bus/usb/devices/1-1", F_OK), 0);
    EXPECT_EQ(post("/v1/detach", {{"unread", "read"}}).status, 200);
    EXPECT_EQ(post("/v1/attach", {{"with_tty", false}, {"hid", 9}}).status, 200);
    EXPECT_EQ(access("/sys/bus/usb/devices/1-1", F_OK), 0);
    EXPECT_EQ(access("/dev/hidraw9", F_OK), 0);
    EXPECT_EQ(post("/v1/detach").status, 200);
    EXPECT_EQ(post("/v1/attach", {{"with_hid", false}}).status, 200);
    EXPECT_NE(access("/dev/hidraw0", F_OK), 0);
}

TEST_F(ControlTest, ChangesAndShowsTheSubDisplay) {
    EXPECT_EQ(put("/v1/subdisplay", {{"width", 2}, {"height", 65535}, {"format", 8}, {"ready", 0}})
                      .status,
              200);
    EXPECT_EQ(phone.panel.options(), (cover::PanelOptions{2, 65535, 8, 0}));
    EXPECT_EQ(put("/v1/subdisplay", {{"height", 1}}).status, 200);
    EXPECT_EQ(put("/v1/subdisplay", {{"open_ms", 7}}).status, 200);
    EXPECT_EQ(phone.panel.openTime(), std::chrono::milliseconds(7));
    EXPECT_EQ(put("/v1/subdisplay", {{"ready", 0}}).status, 200);
    EXPECT_EQ(phone.panel.openTime(), std::chrono::milliseconds(7));
    EXPECT_EQ(get("/v1/state").body["sub_display"]["attached"], false);
    phone.cover.attach();
    drawTwoPixels();
    EXPECT_EQ(get("/v1/state").body["sub_display"], json({{"attached", true},
                                                          {"on", true},
                                                          {"brightness", 90},
                                                          {"width", 2},
                                                          {"height", 1},
                                                          {"format", 8},
                                                          {"ready", 0},
                                                          {"frames", 1},
                                                          {"reports", 3},
                                                          {"refused", 0}}));
}

TEST_F(ControlTest, TakesASnapshotOfTheSubDisplay) {
    phone.panel.setOptions({2, 1, 4, 1});
    phone.cover.attach();
    drawTwoPixels();
    EXPECT_EQ(get("/v1/snapshot").body, json({{"width", 2}, {"height", 1}, {"levels", "a3"}}));
}

TEST_F(ControlTest, SaysWhyThereIsNoSnapshot) {
    Reply reply = get("/v1/snapshot");
    EXPECT_EQ(reply.status, 409);
    EXPECT_THAT(reply.body.value("error", ""), HasSubstr("no sub display"));
    phone.panel.setOptions({65535, 65535, 4, 1});
    phone.cover.attach();
    reply = get("/v1/snapshot");
    EXPECT_EQ(reply.status, 409);
    EXPECT_THAT(reply.body.value("error", ""), HasSubstr("more pixels"));
}

TEST_F(ControlTest, ShowsTheState) {
    phone.cover.attach();
    phone.properties.set("k", "v\xff");
    phone.faults.set("on AT silent");
    const json body = get("/v1/state").body;
    EXPECT_EQ(body["attached"], true);
    EXPECT_EQ(body["cover"]["power"], "running");
    EXPECT_EQ(body["properties"]["k"], "v\\xff");
    EXPECT_EQ(body["faults"], json(phone.faults.list()));
    EXPECT_EQ(body["screen"], json({{"on", false}}));
    EXPECT_TRUE(body["chatter"].is_null());
    EXPECT_EQ(body["accessory"], json({{"present", false}, {"declared", false}}));
    EXPECT_EQ(body["lpwg"], json({{"present", false}, {"declared", false}}));
}

TEST_F(ControlTest, ShowsWhatAPersonSeesOnTheScreen) {
    put("/v1/cover", {{"hot_plug_polls", 0}});
    phone.cover.attach();
    const android::base::unique_fd tty(open("/dev/ttyACM0", O_RDWR | O_NOCTTY));
    support::setLines(tty);
    const std::string commands = "ATE0\rAT%BV=1\rAT%DB=128\rAT%PRGB=1,2,3,4\rAT%SMODE=2\r";
    ASSERT_EQ(write(tty.get(), commands.data(), commands.size()),
              static_cast<ssize_t>(commands.size()));
    while (journal.list(Kind::TtyTx, first).size() < 5) {
    }
    EXPECT_EQ(get("/v1/state").body["screen"], json({{"on", true},
                                                     {"colour", {173, 174, 175}},
                                                     {"brightness", 128},
                                                     {"rgb", {1, 2, 3, 4}},
                                                     {"tune", {2, 2, 2}},
                                                     {"mode", 2}}));
    phone.cover.detach();
    EXPECT_EQ(get("/v1/state").body["screen"], json({{"on", false}}));
}

TEST_F(ControlTest, SetsListsAndClearsFaults) {
    EXPECT_EQ(post("/v1/faults", {{"text", "on AT silent"}}).status, 200);
    EXPECT_EQ(post("/v1/faults", {{"text", "node /sys/x missing"}}).status, 200);
    EXPECT_EQ(get("/v1/faults").body["faults"], json(phone.faults.list()));
    EXPECT_EQ(phone.faults.list().size(), 2u);
    EXPECT_EQ(remove("/v1/faults").status, 200);
    EXPECT_TRUE(phone.faults.list().empty());
}

TEST_F(ControlTest, SetsListsAndClearsProperties) {
    EXPECT_EQ(put("/v1/properties", {{"key", "a.b"}, {"value", "x\\xffy"}}).status, 200);
    EXPECT_EQ(phone.properties.list().at("a.b"), "x\xffy");
    EXPECT_EQ(get("/v1/properties").body["properties"]["a.b"], "x\\xffy");
    EXPECT_EQ(remove("/v1/properties").status, 200);
    EXPECT_TRUE(phone.properties.list().empty());
}

TEST_F(ControlTest, ReadsWritesAndRemovesFiles) {
    EXPECT_EQ(put("/v1/node", {{"path", "/sys/a b"}, {"bytes", "1\\n\\x00"}}).status, 200);
    EXPECT_EQ(phone.files.get("/sys/a b"), std::string("1\n\0", 3));
    const Reply reply = get("/v1/node?path=/sys/a%20b");
    EXPECT_EQ(reply.body["path"], "/sys/a b");
    EXPECT_EQ(reply.body["bytes"], "1\\n\\x00");
    EXPECT_EQ(remove("/v1/node?path=/sys/a%20b").status, 200);
    EXPECT_EQ(phone.files.get("/sys/a b"), std::nullopt);
}

TEST_F(ControlTest, BringsTheLoaderAndTakesItAway) {
    EXPECT_EQ(post("/v1/loader", {{"serial", "00000000001B"}, {"product", "TQB220R"}}).status, 200);
    EXPECT_EQ(phone.files.get("/sys/bus/usb/devices/1-1/product"), "TQB220R\n");
    EXPECT_EQ(remove("/v1/loader").status, 200);
    EXPECT_EQ(phone.files.get("/sys/bus/usb/devices/1-1/product"), std::nullopt);
    EXPECT_EQ(post("/v1/loader").status, 200);
    EXPECT_EQ(phone.files.get("/sys/bus/usb/devices/1-1/serial"), "00000000001A\n");
}

TEST_F(ControlTest, HoldsAndReleasesTheWakeLock) {
    EXPECT_EQ(put("/v1/wakelock", {{"held", false}}).status, 200);
    EXPECT_EQ(phone.files.get(phone::kWakeLock)->find("Display"), std::string::npos);
    EXPECT_EQ(put("/v1/wakelock", {{"held", true}}).status, 200);
    EXPECT_NE(phone.files.get(phone::kWakeLock)->find("Display"), std::string::npos);
}

TEST_F(ControlTest, ChangesAndSpeaksForTheCover) {
    EXPECT_EQ(put("/v1/cover", {{"version", "AB-1_x"}, {"hot_plug_polls", 5}}).status, 200);
    EXPECT_EQ(phone.cover.options().version, "AB-1_x");
    EXPECT_EQ(phone.cover.options().hotPlugPolls, 5);
    phone.cover.attach();
    EXPECT_EQ(post("/v1/send", {{"bytes", "x\\x00\\n"}}).status, 200);
    EXPECT_EQ(journal.joined(Kind::TtyTx, first), std::string("x\0\n", 3));
}

TEST_F(ControlTest, SuspendsTheIdleCoverAndShowsIt) {
    EXPECT_EQ(get("/v1/state").body["usb_power"], nullptr);
    EXPECT_EQ(put("/v1/cover", {{"autosuspend_ms", 0}, {"wake_ms", 70}}).status, 200);
    EXPECT_EQ(phone.usbPower.options().autosuspendDelay, std::chrono::milliseconds(0));
    EXPECT_EQ(phone.usbPower.options().wakeTime, std::chrono::milliseconds(70));
    phone.cover.attach();
    EXPECT_EQ(get("/v1/state").body["usb_power"], "active");
    std::ofstream("/sys/bus/usb/devices/1-1/power/control") << "auto";
    journal.waitFor([](const phone::Entry& entry) { return entry.note == "suspended"; }, first);
    EXPECT_EQ(get("/v1/state").body["usb_power"], "suspended");
    EXPECT_EQ(put("/v1/cover", {{"autosuspend_ms", "never"}}).status, 200);
    EXPECT_EQ(phone.usbPower.options().autosuspendDelay, std::nullopt);
    EXPECT_EQ(phone.usbPower.options().wakeTime, std::chrono::milliseconds(70));
    EXPECT_EQ(get("/v1/state").body["usb_power"], "active");
}

TEST_F(ControlTest, GivesTheCoverABannerAndTakesItAway) {
    EXPECT_EQ(get("/v1/state").body["banner"], "");
    EXPECT_EQ(put("/v1/cover", {{"banner", "mcu\\x00 up"}}).status, 200);
    EXPECT_EQ(get("/v1/state").body["banner"], "mcu\\x00 up");
    phone.cover.attach();
    EXPECT_EQ(journal.joined(Kind::TtyTx, first), std::string("mcu\0 up\r\n", 9));
    const Reply wrong = put("/v1/cover",
                            {{"banner", "two\\r\\nlines"}, {"version", "AB-1_x"}, {"wake_ms", 70}});
    EXPECT_EQ(wrong.status, 409);
    EXPECT_EQ(wrong.body["error"], "a banner holds no line ends");
    EXPECT_NE(phone.cover.options().version, "AB-1_x");
    EXPECT_EQ(phone.usbPower.options().wakeTime, std::chrono::milliseconds(0));
    EXPECT_EQ(put("/v1/cover", {{"banner", ""}}).status, 200);
    phone.cover.reattach();
    EXPECT_EQ(journal.joined(Kind::TtyTx, first), std::string("mcu\0 up\r\n", 9));
}

TEST_F(ControlTest, MakesTheCoverSayOnlineOrNeverComeUp) {
    EXPECT_EQ(put("/v1/cover", {{"hot_plug_answer", "Online"}}).status, 200);
    EXPECT_EQ(phone.cover.options().hotPlugAnswer, "Online");
    EXPECT_EQ(put("/v1/cover", {{"hot_plug_polls", "never"}}).status, 200);
    EXPECT_EQ(phone.cover.options().hotPlugPolls, std::nullopt);
    EXPECT_EQ(phone.cover.options().hotPlugAnswer, "Online");
}

TEST_F(ControlTest, SendsALineOfTheCoversLog) {
    const android::base::unique_fd tty = listenToTheLog();
    const uint64_t from = journal.next();
    EXPECT_EQ(post("/v1/log", {{"text", "a\\x00b"}}).status, 200);
    EXPECT_EQ(journal.joined(Kind::TtyTx, from), std::string("a\0b\r\n", 5));
}

TEST_F(ControlTest, SaysWhyTheCoversLogIsNotSent) {
    const auto refusal = [this] {
        const Reply reply = post("/v1/log", {{"text", "x"}});
        EXPECT_EQ(reply.status, 409);
        return reply.body.value("error", "");
    };
    EXPECT_THAT(refusal(), HasSubstr("no cover is attached"));
    phone.cover.attach();
    EXPECT_THAT(refusal(), HasSubstr("DTR is down"));
    const android::base::unique_fd tty(open("/dev/ttyACM0", O_RDWR | O_NOCTTY));
    EXPECT_THAT(refusal(), HasSubstr("AT%LOGSAVE= is 3"));
}

TEST_F(ControlTest, MakesTheCoverChatter) {
    const android::base::unique_fd tty = listenToTheLog();
    EXPECT_EQ(put("/v1/chatter", {{"text", "tick"}, {"gap_us", 1000}}).status, 200);
    EXPECT_EQ(get("/v1/state").body["chatter"], json({{"text", "tick"}, {"gap_us", 1000}}));
    journal.waitFor(phone::is(Kind::TtyTx, "tick 3\r\n"), first);
    EXPECT_EQ(remove("/v1/chatter").status, 200);
    EXPECT_TRUE(get("/v1/state").body["chatter"].is_null());
    EXPECT_EQ(put("/v1/chatter", json::object()).status, 200);
    EXPECT_EQ(phone.cover.chatter(), cover::Chatter{});
}

TEST_F(ControlTest, SetsTheAccessoryService) {
    EXPECT_EQ(put("/v1/accessory", json::object()).status, 200);
    EXPECT_EQ(get("/v1/state").body["accessory"],
              json({{"present", true}, {"type", 0}, {"state", 0}}));
    phone.cover.attach();
    EXPECT_EQ(get("/v1/state").body["accessory"]["state"], 3);
    EXPECT_EQ(put("/v1/accessory", {{"state", 4294967295u}, {"type", 7}}).status, 200);
    EXPECT_EQ(accessory.state(), (neighbours::AccessoryState{7, 4294967295u}));
    EXPECT_EQ(remove("/v1/accessory").status, 200);
    EXPECT_FALSE(accessory.isServed());
    EXPECT_EQ(get("/v1/state").body["accessory"], json({{"present", false}, {"declared", false}}));
}

TEST_F(ControlTest, SetsTheLpwgService) {
    EXPECT_EQ(put("/v1/lpwg", json::object()).status, 200);
    EXPECT_EQ(get("/v1/state").body["lpwg"], json({{"present", true}, {"result", 0}}));
    EXPECT_EQ(put("/v1/lpwg", {{"result", -7}}).status, 200);
    EXPECT_EQ(neighbours.lpwg.result(), -7);
    EXPECT_EQ(remove("/v1/lpwg").status, 200);
    EXPECT_FALSE(neighbours.lpwg.isServed());
    EXPECT_EQ(put("/v1/lpwg", json::object()).status, 200);
    EXPECT_EQ(get("/v1/state").body["lpwg"], json({{"present", true}, {"result", -7}}));
}

TEST_F(ControlTest, RaisesEventsOfTheTouchPanel) {
    EXPECT_EQ(post("/v1/event", {{"name", "WAKEUP"}}).status, 200);
    EXPECT_EQ(post("/v1/event", {{"name", "A\\xff"}}).status, 200);
    EXPECT_THAT(journal.list(Kind::Uevent, first),
                testing::ElementsAre(phone::touchEventMessage("WAKEUP"),
                                     phone::touchEventMessage("A\xff")));
}

TEST_F(ControlTest, RaisesABurst) {
    EXPECT_EQ(post("/v1/uevent", {{"bytes", "a"}, {"burst", 3}}).status, 200);
    EXPECT_THAT(journal.list(Kind::Uevent, first), testing::ElementsAre("a", "a", "a"));
}

TEST_F(ControlTest, RaisesEventsOfAnyBytes) {
    EXPECT_EQ(post("/v1/uevent", {{"bytes", "a\\x00b"}}).status, 200);
    EXPECT_EQ(post("/v1/uevent", {{"bytes", "c"}, {"forged", true}}).status, 200);
    const std::vector<phone::Entry> entries = journal.since(first);
    ASSERT_EQ(entries.size(), 4u);
    EXPECT_EQ(entries[1].bytes, std::string("a\0b", 3));
    EXPECT_EQ(entries[1].note, "");
    EXPECT_EQ(entries[3].note, "forged");
}

TEST_F(ControlTest, KeepsListsAndRemovesFirmwareImages) {
    EXPECT_EQ(put("/v1/firmware", {{"name", "AB-2_x.dfu"}, {"size", 3}}).status, 200);
    EXPECT_EQ(put("/v1/firmware", {{"name", "AB-1"}}).status, 200);
    EXPECT_EQ(get("/v1/firmware").body["files"],
              json({{{"name", "AB-1"}, {"size", 1024}}, {{"name", "AB-2_x.dfu"}, {"size", 3}}}));
    EXPECT_EQ(remove("/v1/firmware").status, 200);
    EXPECT_EQ(get("/v1/firmware").body["files"], json::array());
}

TEST_F(ControlTest, TakesTheCoverToItsLoaderAndBack) {
    phone.cover.attach();
    EXPECT_EQ(put("/v1/loader", {{"mode", "error"}}).status, 200);
    EXPECT_EQ(get("/v1/state").body["cover"]["serial"], "00000000001B");
    EXPECT_EQ(put("/v1/loader", {{"mode", "leave"}}).status, 200);
    EXPECT_TRUE(phone.cover.isAttached());
    EXPECT_EQ(put("/v1/loader", {{"mode", "normal"}}).status, 200);
    EXPECT_EQ(get("/v1/state").body["cover"]["serial"], "00000000001A");
}

TEST_F(ControlTest, MakesTheTouchPanelLargeAndSlow) {
    EXPECT_EQ(put("/v1/cover", {{"touch_version", "T9"},
                                {"touch_rows", 2},
                                {"touch_columns", 1000},
                                {"self_test_report_bytes", 40960},
                                {"touch_upgrade_ms", 86400000},
                                {"self_test_ms", 0},
                                {"upgrade_delay_ms", 1},
                                {"upgrade_ms", 2},
                                {"closing_wait_ms", 3}})
                      .status,
              200);
    const cover::Options options = phone.cover.options();
    EXPECT_EQ(options.touchVersion, "T9");
    EXPECT_EQ(options.touchSize, (cover::TouchSize{2, 1000}));
    EXPECT_EQ(options.selfTestReportSize, 40960u);
    EXPECT_EQ(options.touchUpgradeTime, std::chrono::hours(24));
    EXPECT_EQ(options.selfTestTime, std::chrono::seconds(0));
    EXPECT_EQ(options.upgradeDelay, std::chrono::milliseconds(1));
    EXPECT_EQ(options.upgradeTime, std::chrono::milliseconds(2));
    EXPECT_EQ(phone.cover.closingWait(), std::chrono::milliseconds(3));
    EXPECT_EQ(put("/v1/cover", {{"upgrade_ms", 4}}).status, 200);
    EXPECT_EQ(phone.cover.closingWait(), std::chrono::milliseconds(3));
}

TEST_F(ControlTest, ResetsThePhone) {
    phone.cover.attach();
    neighbours.lpwg.setResult(4);
    phone.faults.set("on AT silent");
    phone.cover.setChatter(cover::Chatter{});
    accessory.setState(neighbours::AccessoryState{0, 9});
    EXPECT_EQ(post("/v1/reset").status, 200);
    EXPECT_FALSE(phone.cover.isAttached());
    EXPECT_TRUE(phone.faults.list().empty());
    EXPECT_EQ(phone.cover.chatter(), std::nullopt);
    EXPECT_TRUE(accessory.isServed());
    EXPECT_EQ(accessory.state(), neighbours::AccessoryState{});
    EXPECT_TRUE(neighbours.lpwg.isServed());
    EXPECT_EQ(neighbours.lpwg.result(), 0);
}

TEST_F(ControlTest, DeclaresANeighbourThatIsNotUp) {
    for (const std::string name : {"accessory", "lpwg"}) {
        const std::string path = "/v1/" + name;
        EXPECT_EQ(put(path, json::object()).status, 200);
        EXPECT_EQ(put(path + "/declared", json::object()).status, 200);
        EXPECT_EQ(get("/v1/state").body[name], json({{"present", false}, {"declared", true}}));
        EXPECT_EQ(put(path, json::object()).status, 200);
        EXPECT_EQ(get("/v1/state").body[name]["present"], true);
        EXPECT_EQ(put(path + "/declared", json::object()).status, 200);
        EXPECT_EQ(remove(path).status, 200);
        EXPECT_EQ(get("/v1/state").body[name], json({{"present", false}, {"declared", false}}));
        EXPECT_EQ(put(path + "/declared", json::object()).status, 200);
    }
    EXPECT_EQ(post("/v1/reset").status, 200);
    EXPECT_TRUE(accessory.isServed());
    EXPECT_FALSE(accessory.isDeclared());
    EXPECT_TRUE(neighbours.lpwg.isServed());
    EXPECT_FALSE(neighbours.lpwg.isDeclared());
}

TEST_F(ControlTest, EndsAPageOfTheJournalAfterAMegabyte) {
    const std::string half(600'000, 'x');
    for (const char* path : {"/sys/a", "/sys/b", "/sys/c"}) phone.files.set(path, half);
    const json page = get("/v1/journal?since=" + std::to_string(first)).body;
    EXPECT_EQ(page["entries"].size(), 2u);
    EXPECT_EQ(page["next"], first + 2);
    const json rest = get("/v1/journal?since=" + std::to_string(first + 2)).body;
    ASSERT_EQ(rest["entries"].size(), 1u);
    EXPECT_EQ(rest["entries"][0]["bytes"], half);
}

TEST_F(ControlTest, PagesTheJournal) {
    const std::string since = "/v1/journal?since=" + std::to_string(first);
    for (const char* value : {"1", "2", "3"}) phone.properties.set("k", value);
    Reply reply = get(since + "&limit=2");
    EXPECT_EQ(reply.body["entries"].size(), 2u);
    EXPECT_EQ(reply.body["entries"][1]["bytes"], "2");
    EXPECT_EQ(reply.body["next"], first + 2);
    reply = get("/v1/journal?since=" + std::to_string(first + 3));
    EXPECT_EQ(reply.body["entries"].size(), 0u);
    EXPECT_EQ(reply.body["next"], first + 3);
}

TEST_F(ControlTest, WaitsForTheNextEntry) {
    std::thread other([this] { phone.properties.set("k", "v"); });
    const Reply reply = get("/v1/journal?wait_ms=30000&since=" + std::to_string(first));
    other.join();
    ASSERT_EQ(reply.body["entries"].size(), 1u);
    EXPECT_EQ(reply.body["entries"][0]["kind"], "property");
}

TEST_F(ControlTest, EndsWhileARequestWaits) {
    std::thread waiter([this] {
        httplib::Client client(mFolder + "/emulator.sock");
        client.set_address_family(AF_UNIX);
        client.set_read_timeout(60);
        client.Get("/v1/journal?wait_ms=30000&since=1000000");
    });
    get("/v1/state");
    server.reset();
    waiter.join();
    EXPECT_NE(access((mFolder + "/emulator.sock").c_str(), F_OK), 0);
}

// A request as it goes over the wire.
class RawRequest {
  public:
    explicit RawRequest(const std::string& text)
        : mSocket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        const sockaddr_un address = {AF_UNIX, "/data/hidl/emulator.sock"};
        EXPECT_EQ(connect(mSocket.get(), reinterpret_cast<const sockaddr*>(&address),
                          sizeof(address)),
                  0);
        EXPECT_EQ(write(mSocket.get(), text.data(), text.size()),
                  static_cast<ssize_t>(text.size()));
    }

    // The answer so far, once `end` is in it, or all of it.
    const std::string& readUntil(const std::string& end) {
        char buffer[4096];
        while (mAnswer.find(end) == std::string::npos) {
            const ssize_t count = read(mSocket.get(), buffer, sizeof(buffer));
            if (count <= 0) break;
            mAnswer.append(buffer, static_cast<size_t>(count));
        }
        return mAnswer;
    }

    bool hasMore() const {
        char byte;
        return recv(mSocket.get(), &byte, 1, MSG_PEEK | MSG_DONTWAIT) >= 0;
    }

  private:
    const android::base::unique_fd mSocket;
    std::string mAnswer;
};

// Waits for an entry that does not come.
constexpr char kWait[] = "GET /v1/journal?wait_ms=30000&since=1000000 HTTP/1.1\r\n\r\n";

class WaitingTest : public ControlTest {
  protected:
    // As many as have room. Each has a place when its answer has begun.
    void fill() {
        for (int i = 0; i < control::WaitingRoom::kPlaces; ++i) {
            waiting.emplace_back(kWait);
            ASSERT_THAT(waiting.back().readUntil("\r\n\r\n"), StartsWith("HTTP/1.1 200 OK\r\n"));
        }
    }

    std::deque<RawRequest> waiting;
};

TEST_F(WaitingTest, KeepsNoOtherRequestWaiting) {
    fill();
    for (int i = 0; i < 10; ++i) EXPECT_EQ(get("/v1/state").status, 200);
    EXPECT_EQ(get("/v1/journal?since=1000000").body["entries"], json::array());
    for (const RawRequest& request : waiting) EXPECT_FALSE(request.hasMore());
}

TEST_F(WaitingTest, OneMoreThanHaveRoomIsToldSo) {
    fill();
    phone.cover.attach();
    const char* error =
            "64 requests wait already, such as \"ctl journal --follow\": end one of them";
    const Reply journal = get("/v1/journal?wait_ms=30000&since=1000000");
    EXPECT_EQ(journal.status, 503);
    EXPECT_EQ(journal.body, json({{"error", error}}));
    EXPECT_EQ(post("/v1/detach", {{"unread", "read"}}).status, 503);
    EXPECT_TRUE(phone.cover.isAttached());
    EXPECT_EQ(post("/v1/detach").status, 200);
}

TEST_F(WaitingTest, AClientThatLeavesLeavesItsPlace) {
    fill();
    waiting.pop_front();
    int status = 503;
    while (status == 503) status = get("/v1/journal?wait_ms=1&since=1000000").status;
    EXPECT_EQ(status, 200);
}

TEST_F(WaitingTest, NothingWaitsOnceTheEmulatorEnds) {
    control::WaitingRoom room([] {});
    room.close();
    EXPECT_THROW(room.enter(), control::Ending);
}

// Nothing else would end this wait.
TEST_F(WaitingTest, TheEndWakesWhoeverWaits) {
    control::WaitingRoom room([this] { journal.wake(); });
    auto place = room.enter();
    std::thread waiter([&] {
        const auto isClosed = [&room] { return room.isClosed(); };
        EXPECT_FALSE(journal.await(UINT64_MAX, std::chrono::hours(1), isClosed));
        place.reset();
    });
    room.close();
    waiter.join();
}

TEST_F(WaitingTest, AllAreAnsweredWhenTheEmulatorEnds) {
    fill();
    server.reset();
    for (RawRequest& request : waiting) {
        EXPECT_THAT(request.readUntil("]}\n"), HasSubstr(R"({"next":1000000,"entries":[]})"));
    }
}

TEST_F(WaitingTest, AllAreAnsweredWhenAnEntryComes) {
    for (int i = 0; i < 3; ++i) {
        waiting.emplace_back("GET /v1/journal?wait_ms=30000&since=" + std::to_string(first) +
                             " HTTP/1.1\r\n\r\n");
        waiting.back().readUntil("\r\n\r\n");
    }
    phone.properties.set("k", "v");
    for (RawRequest& request : waiting) {
        EXPECT_THAT(request.readUntil("]}\n"), HasSubstr(R"("path":"k","bytes":"v"}]})"));
    }
}

// What the HTTP library refuses by itself.
TEST_F(ControlTest, WrongHttpIsRefusedWithTheReason) {
    const std::string malformed =
            "malformed HTTP: send a request line, headers, an empty line, and a body as the "
            "headers announce it";
    const std::string range = "parts of an answer are not given: leave the Range header out";
    struct Wrong {
        std::string request;
        std::string status;
        std::string error;
    };
    const Wrong all[] = {
            {"garbage\r\n\r\n", "400 Bad Request", malformed},
            {"\xff\r\n\r\n", "400 Bad Request", malformed},
            {"BREW /v1/state HTTP/1.1\r\n\r\n", "400 Bad Request", malformed},
            {"POST /v1/send HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\nzz\r\n",
             "400 Bad Request", malformed},
            {"GET /v1/nothing HTTP/1.1\r\n\r\n", "404 Not Found",
             "no such request: GET /v1/nothing"},
            {"POST /v1/send HTTP/1.1\r\nContent-Length: 1048577\r\n\r\n" +
                     std::string(1048577, 'x'),
             "413 Payload Too Large", "the body is too long: at most 1048576 bytes are taken"},
            {"GET /" + std::string(9000, 'x') + " HTTP/1.1\r\n\r\n", "414 URI Too Long",
             "the request line is too long: at most 8192 bytes are taken"},
            {"GET /v1/state HTTP/1.1\r\nRange: bytes=0-1\r\n\r\n", "416 Range Not Satisfiable",
             range},
            {"GET /v1/nothing HTTP/1.1\r\nRange: bytes=90000-90001\r\n\r\n",
             "416 Range Not Satisfiable", range},
            {"GET /v1/state HTTP/1.1\r\nRange: all\r\n\r\n", "416 Range Not Satisfiable", range},
    };
    for (const Wrong& wrong : all) {
        const std::string body = "{\"error\":\"" + wrong.error + "\"}\n";
        const std::string answer = RawRequest(wrong.request).readUntil(body);
        const std::string what = wrong.request.substr(0, 60) + answer;
        EXPECT_THAT(answer, StartsWith("HTTP/1.1 " + wrong.status + "\r\n")) << what;
        EXPECT_THAT(answer, EndsWith("\r\n\r\n" + body)) << what;
        EXPECT_THAT(answer, HasSubstr("Content-Length: " + std::to_string(body.size()) + "\r\n"))
                << what;
    }
    EXPECT_EQ(get("/v1/state").status, 200);
}

constexpr WrongRequest kWrongOfTheCover[] = {
        {"POST", "/v1/send", R"({"bytes":"x"})", 409},
        {"POST", "/v1/send", R"({"bytes":"\\q"})", 400},
        {"POST", "/v1/send", "", 400},
        {"PUT", "/v1/subdisplay", R"({"width":65536})", 400},
        {"PUT", "/v1/subdisplay", R"({"height":-1})", 400},
        {"PUT", "/v1/subdisplay", R"({"format":256})", 400},
        {"PUT", "/v1/subdisplay", R"({"ready":true})", 400},
        {"PUT", "/v1/subdisplay", R"({"depth":4})", 400},
        {"PUT", "/v1/subdisplay", R"({"open_ms":-1})", 400},
        {"PUT", "/v1/subdisplay", R"({"open_ms":86400001})", 400},
        {"PUT", "/v1/subdisplay", R"({"open_ms":0.5})", 400},
        {"PUT", "/v1/subdisplay", R"({"open_ms":"50"})", 400},
        {"POST", "/v1/attach", R"({"hid":64})", 409},
        {"POST", "/v1/attach", R"({"with_hid":1})", 400},
        {"PUT", "/v1/cover", R"({"hot_plug_polls":-1})", 400},
        {"PUT", "/v1/cover", R"({"hot_plug_polls":"often"})", 400},
        {"PUT", "/v1/cover", R"({"hot_plug_polls":true})", 400},
        {"PUT", "/v1/cover", R"({"hot_plug_answer":7})", 400},
        {"PUT", "/v1/cover", R"({"banner":true})", 400},
        {"PUT", "/v1/cover", R"({"banner":"\\q"})", 400},
        {"PUT", "/v1/cover", R"({"banner":"a\\n"})", 409},
        {"POST", "/v1/log", "", 400},
        {"POST", "/v1/log", R"({"text":"\\q"})", 400},
        {"POST", "/v1/log", R"({"text":"x","more":1})", 400},
        {"POST", "/v1/log", R"({"text":"a\\nb"})", 409},
        {"PUT", "/v1/chatter", R"({"gap_us":-1})", 409},
        {"PUT", "/v1/chatter", R"({"gap_us":"fast"})", 400},
        {"PUT", "/v1/chatter", R"({"text":"\\x0"})", 400},
        {"PUT", "/v1/chatter", R"({"text":"a\\rb"})", 409},
        {"PUT", "/v1/chatter", R"({"rate":1})", 400},
        {"PUT", "/v1/accessory", R"({"state":-1})", 400},
        {"PUT", "/v1/accessory", R"({"state":4294967296})", 400},
        {"PUT", "/v1/accessory", R"({"state":"3"})", 400},
        {"PUT", "/v1/accessory", R"({"type":3})", 400},
        {"PUT", "/v1/accessory", R"({"present":true})", 400},
        {"PUT", "/v1/lpwg", R"({"result":2147483648})", 400},
        {"PUT", "/v1/lpwg", R"({"result":"0"})", 400},
        {"PUT", "/v1/lpwg", R"({"present":true})", 400},
        {"PUT", "/v1/accessory/declared", R"({"state":3})", 400},
        {"DELETE", "/v1/lpwg/declared", "", 404},
        {"PUT", "/v1/cover", R"({"touch_rows":0})", 400},
        {"PUT", "/v1/cover", R"({"touch_columns":1001})", 400},
        {"PUT", "/v1/cover", R"({"self_test_report_bytes":-1})", 400},
        {"PUT", "/v1/cover", R"({"self_test_report_bytes":1048577})", 400},
        {"PUT", "/v1/cover", R"({"upgrade_ms":-1})", 400},
        {"PUT", "/v1/cover", R"({"upgrade_ms":86400001})", 400},
        {"PUT", "/v1/cover", R"({"touch_upgrade_ms":"long"})", 400},
        {"PUT", "/v1/cover", R"({"closing_wait_ms":-1})", 400},
        {"PUT", "/v1/cover", R"({"closing_wait_ms":86400001})", 400},
        {"PUT", "/v1/cover", R"({"closing_wait_ms":"30s"})", 400},
        {"PUT", "/v1/cover", R"({"wake_ms":-1})", 400},
        {"PUT", "/v1/cover", R"({"wake_ms":"never"})", 400},
        {"PUT", "/v1/cover", R"({"autosuspend_ms":-1})", 400},
        {"PUT", "/v1/cover", R"({"autosuspend_ms":86400001})", 400},
};

constexpr WrongRequest kWrongOfThePhone[] = {
        {"POST", "/v1/attach", "{", 400},
        {"POST", "/v1/attach", "[]", 400},
        {"POST", "/v1/attach", "\xff", 400},
        {"POST", "/v1/attach", R"({"tty":"0"})", 400},
        {"POST", "/v1/attach", R"({"tty":1.5})", 400},
        {"POST", "/v1/attach", R"({"tty":99999999999})", 400},
        {"POST", "/v1/attach", R"({"with_tty":1})", 400},
        {"POST", "/v1/attach", R"({"ttty":1})", 400},
        {"POST", "/v1/attach", R"({"tty":256})", 409},
        {"POST", "/v1/attach", R"({"tty":-1})", 409},
        {"POST", "/v1/detach", "", 409},
        {"POST", "/v1/detach", R"({"unread":"maybe"})", 400},
        {"POST", "/v1/reattach", "", 409},
        {"DELETE", "/v1/loader", "", 409},
        {"POST", "/v1/loader", R"({"serial":7})", 400},
        {"PUT", "/v1/loader", "", 400},
        {"PUT", "/v1/loader", R"({"mode":"fly"})", 400},
        {"PUT", "/v1/loader", R"({"mode":"leave"})", 409},
        {"PUT", "/v1/firmware", "", 400},
        {"PUT", "/v1/firmware", R"({"name":""})", 409},
        {"PUT", "/v1/firmware", R"({"name":".."})", 409},
        {"PUT", "/v1/firmware", R"({"name":"a/b"})", 409},
        {"PUT", "/v1/firmware", R"({"name":"a","size":67108865})", 409},
        {"PUT", "/v1/firmware", R"({"name":"a","size":-1})", 400},
        {"POST", "/v1/event", "", 400},
        {"POST", "/v1/event", R"({"name":7})", 400},
        {"POST", "/v1/event", R"({"name":"\\q"})", 400},
        {"POST", "/v1/event", R"({"name":"WAKEUP","more":1})", 400},
        {"POST", "/v1/uevent", "", 400},
        {"POST", "/v1/uevent", R"({"bytes":""})", 409},
        {"POST", "/v1/uevent", R"({"bytes":"","forged":true})", 409},
        {"POST", "/v1/uevent", R"({"bytes":"a","forged":1})", 400},
        {"POST", "/v1/uevent", R"({"bytes":"a","burst":0})", 400},
        {"POST", "/v1/uevent", R"({"bytes":"a","burst":10001})", 400},
        {"POST", "/v1/uevent", R"({"bytes":"a","burst":"many"})", 400},
        {"POST", "/v1/uevent", R"({"bytes":"","burst":2})", 409},
        {"POST", "/v1/faults", R"({"text":"on"})", 409},
        {"POST", "/v1/faults", R"({"text":"on * deaff"})", 409},
        {"POST", "/v1/faults", R"({"text":"on * deaf 5s"})", 409},
        {"POST", "/v1/faults", "{}", 400},
        {"PUT", "/v1/properties", R"({"key":"a"})", 400},
        {"PUT", "/v1/properties", R"({"key":"","value":""})", 409},
        {"PUT", "/v1/properties", R"({"key":"a","value":"\\n"})", 409},
        {"GET", "/v1/node", "", 400},
        {"GET", "/v1/node?path=/etc/passwd", "", 409},
        {"GET", "/v1/node?path=/sys/none", "", 409},
        {"GET", "/v1/node?path=%ff%00", "", 409},
        {"PUT", "/v1/node", R"({"path":"/etc/x","bytes":""})", 409},
        {"PUT", "/v1/node", R"({"path":"/sys/x","bytes":"\\xg0"})", 400},
        {"DELETE", "/v1/node?path=/sys/none", "", 409},
        {"PUT", "/v1/wakelock", R"({"held":"on"})", 400},
        {"POST", "/v1/signal", "{}", 400},
        {"POST", "/v1/signal", R"({"name":"HUP"})", 400},
        {"POST", "/v1/signal", R"({"name":"SIGUSR1"})", 400},
        {"POST", "/v1/signal", R"({"name":10})", 400},
        {"POST", "/v1/signal", R"({"name":"USR1"})", 409},
        {"GET", "/v1/journal?since=x", "", 400},
        {"GET", "/v1/journal?since=-1", "", 400},
        {"GET", "/v1/journal?limit=99999999999999999999", "", 400},
        {"GET", "/v1/nothing", "", 404},
        {"GET", "/v1/attach", "", 404},
        {"GET", "/", "", 404},
};

TEST_F(ControlTest, WrongRequestsOfTheCoverAreRefusedWithAReason) {
    for (const WrongRequest& wrong : kWrongOfTheCover) expectRefusal(wrong);
    EXPECT_EQ(get("/v1/state").status, 200);
}

TEST_F(ControlTest, WrongRequestsOfThePhoneAreRefusedWithAReason) {
    for (const WrongRequest& wrong : kWrongOfThePhone) expectRefusal(wrong);
    EXPECT_EQ(get("/v1/state").status, 200);
}

TEST_F(ControlTest, WrongValuesAreRefusedWithTheRange) {
    const std::vector<std::pair<WrongRequest, std::string>> wrong = {
            {{"PUT", "/v1/subdisplay", R"({"width":65536})", 400},
             "\"width\" must be an integer from 0 to 65535"},
            {{"PUT", "/v1/subdisplay", R"({"width":18446744073709551615})", 400},
             "\"width\" must be an integer from 0 to 65535"},
            {{"POST", "/v1/attach", R"({"tty":256})", 409},
             "\"tty\" must be an integer from 0 to 255"},
            {{"PUT", "/v1/cover", R"({"hot_plug_polls":"often"})", 400},
             "\"hot_plug_polls\" must be an integer from 0 to 2147483647 or \"never\""},
            {{"PUT", "/v1/cover", R"({"autosuspend_ms":"soon"})", 400},
             "\"autosuspend_ms\" must be an integer from 0 to 86400000 or \"never\""},
            {{"POST", "/v1/uevent", R"({"bytes":"a","burst":2,"forged":true})", 400},
             "a burst is of the kernel's own events: leave out \"forged\""},
            {{"PUT", "/v1/loader", R"({"mode":"fly"})", 400},
             "\"mode\" must be \"normal\", \"error\" or \"leave\""},
            {{"PUT", "/v1/wakelock", R"({"held":"on"})", 400}, "\"held\" must be true or false"},
            {{"POST", "/v1/signal", R"({"name":"HUP"})", 400},
             "\"name\" must be \"USR1\", \"TERM\", \"KILL\", \"STOP\" or \"CONT\""},
            {{"POST", "/v1/signal", R"({"name":"USR1"})", 409}, "no program runs on this phone"},
            {{"GET", "/v1/journal?limit=x", "", 400},
             "\"limit\" must be an integer from 0 to 999999999999999999"},
    };
    for (const auto& [each, error] : wrong) {
        const Reply reply = request(each.method, each.path, each.body);
        EXPECT_EQ(reply.status, each.status) << error;
        EXPECT_EQ(reply.body, json({{"error", error}}));
    }
}

TEST_F(ControlTest, TellsItsAbilities) {
    const json abilities = get("/v1/abilities").body["abilities"];
    const auto attach = std::find_if(abilities.begin(), abilities.end(),
                                     [](const json& each) { return each["name"] == "attach"; });
    ASSERT_NE(attach, abilities.end());
    EXPECT_EQ((*attach)["help"], "Put the cover on");
    const json request = (*attach)["requests"][0];
    EXPECT_EQ(request["method"], "POST");
    EXPECT_EQ(request["path"], "/v1/attach");
    ASSERT_EQ(request["arguments"].size(), 7u);
    EXPECT_EQ(request["arguments"][0], json({{"name", "tty"},
                                             {"type", "integer"},
                                             {"required", false},
                                             {"option", "--tty"},
                                             {"many", false},
                                             {"in_ctl", true},
                                             {"least", 0},
                                             {"most", 255},
                                             {"default", 0},
                                             {"help", "Number of its ttyACM"}}));
}

TEST_F(ControlTest, AnswersEveryRequestOfItsAbilities) {
    size_t requests = 0;
    const json abilities = get("/v1/abilities").body["abilities"];
    for (const json& ability : abilities) {
        for (const json& each : ability["requests"]) {
            const bool hasBody = each["method"] == "POST" || each["method"] == "PUT";
            const Reply reply = request(each["method"], each["path"], hasBody ? "[]" : "");
            EXPECT_NE(reply.status, 404) << each;
            EXPECT_NE(reply.status, 0) << each;
            EXPECT_NE(reply.status, 500) << each;
            ++requests;
        }
    }
    EXPECT_GT(requests, 40u);
}

TEST_F(ControlTest, TooLongAUeventIsRefused) {
    const std::string longest(phone::kLongestUevent, 'x');
    EXPECT_EQ(post("/v1/uevent", {{"bytes", longest}}).status, 200);
    EXPECT_EQ(post("/v1/uevent", {{"bytes", longest + "x"}}).status, 409);
    EXPECT_EQ(post("/v1/event", {{"name", longest}}).status, 409);
}

TEST_F(ControlTest, TooLargeABodyIsRefused) {
    EXPECT_EQ(post("/v1/faults", {{"text", std::string(2 << 20, 'x')}}).status, 413);
    EXPECT_EQ(get("/v1/state").status, 200);
}

TEST_F(ControlTest, GarbageOnTheSocketHarmsNobody) {
    for (int i = 0; i < 50; ++i) {
        const android::base::unique_fd socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
        sockaddr_un address = {AF_UNIX, "/data/hidl/emulator.sock"};
        ASSERT_EQ(connect(socket.get(), reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
        ASSERT_EQ(write(socket.get(), "\0\xff garbage\r\n\r\n", 14), 14);
    }
    EXPECT_EQ(get("/v1/state").status, 200);
}

TEST_F(ControlTest, SecondServerOnTheSameSocketIsRefused) {
    EXPECT_THROW(control::ControlServer(phone, neighbours, mFolder), phone::Error);
    EXPECT_EQ(get("/v1/state").status, 200);
}

TEST_F(ControlTest, SocketThatNobodyAnswersIsReplaced) {
    server.reset();
    {
        const android::base::unique_fd dead(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
        sockaddr_un address = {AF_UNIX, "/data/hidl/emulator.sock"};
        ASSERT_EQ(bind(dead.get(), reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
    }
    EXPECT_EQ(get("/v1/state").status, 0);
    server.emplace(phone, neighbours, mFolder);
    EXPECT_EQ(get("/v1/state").status, 200);
}

TEST_F(ControlTest, FolderMayHaveALongName) {
    const std::string folder = "/data/" + std::string(200, 'x');
    control::makeSocketFolder(folder);
    const control::ControlServer other(phone, neighbours, folder);
    struct stat status;
    ASSERT_EQ(stat((folder + "/emulator.sock").c_str(), &status), 0);
    EXPECT_TRUE(S_ISSOCK(status.st_mode));
    EXPECT_EQ(status.st_mode & 0777, 0600u);
}

TEST_F(ControlTest, FolderIsMadePrivateAndOthersAreRefused) {
    control::makeSocketFolder("/data/made/deep");
    struct stat status;
    ASSERT_EQ(stat("/data/made/deep", &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0700u);
    chmod("/data/made/deep", 0777);
    EXPECT_THROW(control::makeSocketFolder("/data/made/deep"), phone::Error);
    phone.files.set("/data/file", "");
    EXPECT_THROW(control::makeSocketFolder("/data/file"), phone::Error);
    EXPECT_THROW(control::makeSocketFolder("/data/file/below"), phone::Error);
}

}  // namespace
