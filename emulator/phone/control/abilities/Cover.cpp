// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The cover: put on and pulled off, its properties, what it sends. Another device beside it.

#include <chrono>
#include <future>
#include <optional>

#include "emulator/phone/control/Ability.h"

namespace control {

using phone::Phone;

namespace {

using enum Type;

void attach(Phone& phone, const Json& given) {
    phone::CoverOptions options;
    take(given, "tty", options.tty);
    take(given, "with_tty", options.withTty);
    take(given, "hid", options.hid);
    take(given, "with_hid", options.withHid);
    take(given, "with_usb", options.withUsb);
    take(given, "id_vendor", options.idVendorText);
    take(given, "id_product", options.idProductText);
    phone.cover.attach(options);
}

void detach(const Emulator& emulator, const Json& given) {
    if (given["unread"] == "lost") {
        emulator.phone.cover.detach();
        return;
    }
    const auto place = emulator.room.enter();
    const std::future<void> gone = emulator.phone.cover.detachWhenRead();
    const auto isGone = [&] {
        return gone.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
    };
    const auto isOver = [&] { return isGone() || emulator.room.isClosed(); };
    // The departure is an entry, and wakes this thread.
    while (!isOver()) emulator.phone.journal().await(UINT64_MAX, WaitingRoom::kSlice, isOver);
    if (!isGone()) throw Ending();
}

bool isNever(const Json& given, const char* name) {
    return given.value(name, Json()) == "never";
}

void setPower(Phone& phone, const Json& given) {
    phone::PowerOptions power = phone.usbPower.options();
    takeMs(given, "wake_ms", power.wakeTime);
    if (isNever(given, "autosuspend_ms")) {
        power.autosuspendDelay = std::nullopt;
    } else if (given.contains("autosuspend_ms")) {
        takeMs(given, "autosuspend_ms", power.autosuspendDelay.emplace());
    }
    phone.usbPower.setOptions(power);
}

void setCover(Phone& phone, const Json& given) {
    cover::Options options = phone.cover.options();
    take(given, "version", options.version);
    take(given, "cutout", options.cutout);
    take(given, "hot_plug_answer", options.hotPlugAnswer);
    take(given, "banner", options.banner);
    take(given, "touch_version", options.touchVersion);
    take(given, "touch_rows", options.touchSize.rows);
    take(given, "touch_columns", options.touchSize.columns);
    take(given, "self_test_report_bytes", options.selfTestReportSize);
    takeMs(given, "touch_upgrade_ms", options.touchUpgradeTime);
    takeMs(given, "self_test_ms", options.selfTestTime);
    takeMs(given, "upgrade_delay_ms", options.upgradeDelay);
    takeMs(given, "upgrade_ms", options.upgradeTime);
    if (isNever(given, "hot_plug_polls")) {
        options.hotPlugPolls = std::nullopt;
    } else {
        take(given, "hot_plug_polls", options.hotPlugPolls);
    }
    // Refuses a wrong text; what follows refuses nothing.
    phone.cover.setOptions(options);
    setPower(phone, given);
    cover::Time closingWait = phone.cover.closingWait();
    takeMs(given, "closing_wait_ms", closingWait);
    phone.cover.setClosingWait(closingWait);
}

// Why the cover does not send its log.
std::string describeSilence(const cover::State& state) {
    if (state.power != cover::Power::Running) return "no cover is attached";
    if (!state.dtr) return "DTR is down: the phone has not opened the tty, or lowered it";
    if (!state.streamsLog()) {
        return "AT%LOGSAVE= is " + std::to_string(state.logSave) + ": the phone sets it to 0 or 2";
    }
    return "too many of its lines wait";
}

void log(Phone& phone, const Json& given) {
    if (phone.cover.log(given["text"])) return;
    throw phone::Error("the cover's log is not sent: " + describeSilence(phone.cover.state()));
}

void setChatter(Phone& phone, const Json& given) {
    cover::Chatter chatter;
    take(given, "text", chatter.text);
    chatter.gap = std::chrono::microseconds(given["gap_us"].get<int>());
    phone.cover.setChatter(chatter);
}

// A number with a range of the phone's own.
Argument number(const char* name, int64_t most, const char* help) {
    Argument argument = integer(name, 0, most, help);
    argument.otherwise = 0;
    argument.isOfPhone = true;
    return argument;
}

Argument idFile(const char* name, const char* help) {
    return {.name = name, .help = help, .isInCtl = false};
}

Ability attachment() {
    return {"attach",
            "Put the cover on",
            {Request("POST", "/v1/attach", attach,
                     {number("tty", 255, "Number of its ttyACM"),
                      number("hid", 63, "Number of its panel's hidraw node"),
                      boolean("with_tty", "--no-tty", false, "Without its tty"),
                      boolean("with_hid", "--no-hid", false, "Without its panel's hidraw node"),
                      boolean("with_usb", "--no-usb", false, "Not on the USB bus"),
                      idFile("id_vendor", "Content of its file idVendor"),
                      idFile("id_product", "Content of its file idProduct")})}};
}

// An id file, with the id in the kernel's form.
std::string idText(const Json& id) {
    return id.get<std::string>() + "\n";
}

Ability foreignAttachment() {
    return {"foreign attach",
            "It comes",
            {Request("POST", "/v1/foreign",
                     [](Phone& phone, const Json& given) {
                         phone.foreignTtys.attach(given["tty"], idText(given["id_vendor"]),
                                                  idText(given["id_product"]));
                     },
                     {number("tty", 255, "Number of its ttyACM"),
                      {.name = "id_vendor", .help = "Its USB vendor", .otherwise = "1d6b"},
                      {.name = "id_product", .help = "Its USB product", .otherwise = "0104"}})}};
}

Ability kindOfCover() {
    Argument autosuspend = milliseconds(
            "autosuspend_ms",
            "From its last use until the kernel suspends it (with \"run\" 2000), or never");
    autosuspend.words = {"never"};
    return {"cover",
            "Change what the cover is like",
            {silent(Request(
                    "PUT", "/v1/cover", setCover,
                    {{.name = "version",
                      .option = "--firmware-version",
                      .help = "Answer to AT%SWV"},
                     {.name = "cutout", .help = "Answer to AT%GETBVCUTOUT"},
                     {.name = "hot_plug_answer",
                      .help = "Answer to AT%HPD when the panel is up (at the start: On)"},
                     {.name = "banner",
                      .type = Bytes,
                      .help = "Line that it says when it has started (empty: none)"},
                     {.name = "touch_version", .help = "Answer to AT%TCHDEBUG=FWVER"},
                     integer("touch_rows", 1, 1000, "Lines of a raw or delta frame (24)"),
                     integer("touch_columns", 1, 1000, "Values a line, five characters each (32)"),
                     integer("self_test_report_bytes", 0, 1 << 20,
                             "AT%TCHNOTIFY=PULL_SD_RESULT is filled up to so many (0)"),
                     milliseconds("touch_upgrade_ms",
                                  "Until AT%TCHNOTIFY=FW_UPGRADE is answered (300)"),
                     milliseconds("self_test_ms", "Until a self test is answered (200)"),
                     milliseconds("upgrade_delay_ms",
                                  "From the start of a firmware upgrade to the loader (500)"),
                     milliseconds("upgrade_ms", "How long the loader writes firmware (2000)"),
                     milliseconds("closing_wait_ms",
                                  "How long the kernel's close of its tty waits for a cover that "
                                  "is deaf (30000)"),
                     autosuspend,
                     milliseconds("wake_ms",
                                  "How long opening a node of the suspended cover takes (with "
                                  "\"run\" 70)"),
                     {.name = "hot_plug_polls",
                      .type = Integer,
                      .most = INT32_MAX,
                      .words = {"never"},
                      .help = "\"Off\" answers before the panel is up, or never"}}))}};
}

Ability chatter() {
    return {"chatter",
            "The cover logs lines by itself, between answers and ahead of each",
            {silent(Request(
                     "PUT", "/v1/chatter", setChatter,
                     {{.name = "text", .type = Bytes, .help = "Begins each line"},
                      number("gap_us", INT32_MAX,
                             "From line to line, in microseconds; 0: as fast as the phone takes "
                             "them")},
                     {"on"})),
             silent(Request("DELETE", "/v1/chatter",
                            [](Phone& phone) { phone.cover.setChatter(std::nullopt); }, {},
                            {"off"}))}};
}

}  // namespace

std::vector<Ability> ofCover() {
    return {
            attachment(),
            {"detach",
             "Pull the cover off",
             {Request("POST", "/v1/detach", detach,
                      {{.name = "unread",
                        .words = {"lost", "read"},
                        .option = "--when-read",
                        .help = "Not before the phone has read what was sent",
                        .otherwise = "lost",
                        .flag = "read"}})}},
            {"reattach",
             "Pull the cover off and put it on at once",
             {Request("POST", "/v1/reattach", [](Phone& phone) { phone.cover.reattach(); })}},
            {"foreign", "Another device with a tty, such as a modem"},
            foreignAttachment(),
            {"foreign detach",
             "It goes",
             {Request("DELETE", "/v1/foreign",
                      [](Phone& phone, const Json& given) {
                          phone.foreignTtys.detach(given["tty"]);
                      },
                      {number("tty", 255, "Number of its ttyACM")})}},
            kindOfCover(),
            {"log",
             "The cover logs a line, if the phone listens",
             {Request("POST", "/v1/log", log,
                      {placed("TEXT", "text", Bytes, "Without line ends; may hold \\xHH, \\\\")})},
             "The phone listens while DTR is raised and AT%LOGSAVE= is 0 or 2."},
            chatter(),
            {"send",
             "Send bytes from the cover, whether or not the phone listens",
             {Request("POST", "/v1/send",
                      [](Phone& phone, const Json& given) { phone.cover.send(given["bytes"]); },
                      {placed("TEXT", "bytes", Bytes, "May hold \\r, \\n, \\xHH, \\\\")})}},
    };
}

}  // namespace control
