// The cover: put on and pulled off, what it is like, what it shows and sends.

#include <chrono>
#include <future>
#include <limits>
#include <optional>
#include <string>

#include "emulator/phone/control/Routes.h"

namespace control {

using phone::Phone;

namespace {

Json attach(Phone& phone, const httplib::Request& request) {
    Members members(request.body);
    phone::CoverOptions options;
    options.tty = members.take<int>("tty").value_or(options.tty);
    options.withTty = members.take<bool>("with_tty").value_or(options.withTty);
    options.hid = members.take<int>("hid").value_or(options.hid);
    options.withHid = members.take<bool>("with_hid").value_or(options.withHid);
    options.withUsb = members.take<bool>("with_usb").value_or(options.withUsb);
    options.idVendorText = members.take<std::string>("id_vendor");
    options.idProductText = members.take<std::string>("id_product");
    members.refuseOthers();
    phone.cover.attach(options);
    return Json::object();
}

void detachWhenRead(Phone& phone, WaitingRoom& room) {
    const auto place = room.enter();
    const std::future<void> gone = phone.cover.detachWhenRead();
    while (gone.wait_for(WaitingRoom::kSlice) == std::future_status::timeout) {
        if (room.isClosed()) throw phone::Error("the emulator ends");
    }
}

Json detach(Phone& phone, WaitingRoom& room, const httplib::Request& request) {
    Members members(request.body);
    const std::string unread = members.take<std::string>("unread").value_or("lost");
    members.refuseOthers();
    if (unread == "lost") {
        phone.cover.detach();
    } else if (unread == "read") {
        detachWhenRead(phone, room);
    } else {
        throw BadRequest("\"unread\" must be \"lost\" or \"read\"");
    }
    return Json::object();
}

// A member that is a number in this range, if there is one.
std::optional<int> takeRange(Members& members, const char* name, int least, int most) {
    const std::optional<int> value = members.take<int>(name);
    if (value && (*value < least || *value > most)) {
        throw BadRequest(std::string("\"") + name + "\" must be " + std::to_string(least) + " to " +
                         std::to_string(most));
    }
    return value;
}

// A number, or "never".
void takeHotPlugPolls(Members& members, cover::Options& options) {
    constexpr char kName[] = "hot_plug_polls";
    if (members.isText(kName)) {
        if (members.take<std::string>(kName) != "never") {
            throw BadRequest("\"hot_plug_polls\" must be a number or \"never\"");
        }
        options.hotPlugPolls = std::nullopt;
    } else if (const std::optional<int> polls = members.take<int>(kName)) {
        if (*polls < 0) throw BadRequest("\"hot_plug_polls\" must not be negative");
        options.hotPlugPolls = *polls;
    }
}

// A time in whole milliseconds, at most a day; otherwise left alone.
void takeMs(Members& members, const char* name, cover::Time& out) {
    constexpr int kDay = 24 * 60 * 60 * 1000;
    if (const auto value = takeRange(members, name, 0, kDay))
        out = std::chrono::milliseconds(*value);
}

void takeTouch(Members& members, cover::Options& options) {
    constexpr int kMaxSide = 1000;
    constexpr int kMaxReport = 1 << 20;
    options.touchVersion =
            members.take<std::string>("touch_version").value_or(options.touchVersion);
    if (const auto rows = takeRange(members, "touch_rows", 1, kMaxSide)) {
        options.touchSize.rows = *rows;
    }
    if (const auto columns = takeRange(members, "touch_columns", 1, kMaxSide)) {
        options.touchSize.columns = *columns;
    }
    if (const auto size = takeRange(members, "self_test_report_bytes", 0, kMaxReport)) {
        options.selfTestReportSize = static_cast<size_t>(*size);
    }
    takeMs(members, "touch_upgrade_ms", options.touchUpgradeTime);
    takeMs(members, "self_test_ms", options.selfTestTime);
}

Json setCover(Phone& phone, const httplib::Request& request) {
    Members members(request.body);
    cover::Options options = phone.cover.options();
    options.version = members.take<std::string>("version").value_or(options.version);
    options.cutout = members.take<std::string>("cutout").value_or(options.cutout);
    options.hotPlugAnswer =
            members.take<std::string>("hot_plug_answer").value_or(options.hotPlugAnswer);
    takeHotPlugPolls(members, options);
    takeTouch(members, options);
    takeMs(members, "upgrade_delay_ms", options.upgradeDelay);
    takeMs(members, "upgrade_ms", options.upgradeTime);
    members.refuseOthers();
    phone.cover.setOptions(options);
    return Json::object();
}

// A member that is a number of `Number`'s range; otherwise left alone.
template <typename Number>
void takeSmall(Members& members, const char* name, Number& out) {
    const auto value = takeRange(members, name, 0, std::numeric_limits<Number>::max());
    if (value) out = static_cast<Number>(*value);
}

Json setSubDisplay(Phone& phone, const httplib::Request& request) {
    Members members(request.body);
    cover::PanelOptions options = phone.panel.options();
    takeSmall(members, "width", options.width);
    takeSmall(members, "height", options.height);
    takeSmall(members, "format", options.format);
    takeSmall(members, "ready", options.ready);
    members.refuseOthers();
    phone.panel.setOptions(options);
    return Json::object();
}

Json showSnapshot(Phone& phone, const httplib::Request& /*request*/) {
    if (!phone.panel.isAttached()) throw phone::Error("no sub display is attached");
    const std::optional<cover::Picture> picture = phone.panel.picture();
    if (!picture) throw phone::Error("the sub display claims more pixels than it has memory for");
    std::string levels;
    for (const uint8_t level : picture->levels) levels += "0123456789abcdef"[level];
    return {{"width", picture->width}, {"height", picture->height}, {"levels", levels}};
}

Json send(Phone& phone, const httplib::Request& request) {
    Members members(request.body);
    const std::string bytes = members.needBytes("bytes");
    members.refuseOthers();
    phone.cover.send(bytes);
    return Json::object();
}

// Why the cover's log goes nowhere.
std::string describeSilence(const cover::State& state) {
    if (state.power != cover::Power::Running) return "no cover is attached";
    if (!state.dtr) return "DTR is down: the phone has not opened the tty, or lowered it";
    if (!state.streamsLog()) {
        return "AT%LOGSAVE= is " + std::to_string(state.logSave) + ": the phone sets it to 0 or 2";
    }
    return "too many of its lines wait";
}

Json log(Phone& phone, const httplib::Request& request) {
    Members members(request.body);
    const std::string text = members.needBytes("text");
    members.refuseOthers();
    if (!phone.cover.log(text)) {
        throw phone::Error("the cover's log is not sent: " + describeSilence(phone.cover.state()));
    }
    return Json::object();
}

Json setChatter(Phone& phone, const httplib::Request& request) {
    Members members(request.body);
    cover::Chatter chatter;
    chatter.text = members.takeBytes("text").value_or(chatter.text);
    chatter.gap = std::chrono::microseconds(members.take<int>("gap_us").value_or(0));
    members.refuseOthers();
    phone.cover.setChatter(chatter);
    return Json::object();
}

}  // namespace

void addCoverRequests(httplib::Server& server, Phone& phone, WaitingRoom& room) {
    const auto handler = [&phone](const Action& action) { return makeHandler(phone, action); };
    server.Post("/v1/attach", handler(attach));
    server.Post("/v1/detach", handler([&room](Phone& p, const httplib::Request& request) {
                    return detach(p, room, request);
                }));
    server.Post("/v1/reattach", handler(plain([](Phone& p) { p.cover.reattach(); })));
    server.Put("/v1/cover", handler(setCover));
    server.Put("/v1/subdisplay", handler(setSubDisplay));
    server.Get("/v1/snapshot", handler(showSnapshot));
    server.Post("/v1/send", handler(send));
    server.Post("/v1/log", handler(log));
    server.Put("/v1/chatter", handler(setChatter));
    server.Delete("/v1/chatter",
                  handler(plain([](Phone& p) { p.cover.setChatter(std::nullopt); })));
}

}  // namespace control
