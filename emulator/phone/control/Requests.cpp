#include "emulator/phone/control/Requests.h"

#include <chrono>
#include <functional>
#include <limits>
#include <set>
#include <string>

#include <nlohmann/json.hpp>

#include "emulator/cover/ScreenView.h"
#include "emulator/cover/Text.h"

namespace control {

using Json = nlohmann::ordered_json;
using neighbours::Accessory;
using phone::Phone;

namespace {

// The request itself is wrong, whatever the state of the phone.
class BadRequest : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

constexpr uint64_t kDefaultLimit = 1000;
constexpr uint64_t kMaxLimit = 10'000;
constexpr uint64_t kMaxWaitMs = 30'000;
// How long a waiting request may overlook that the emulator ends.
constexpr std::chrono::milliseconds kSlice(250);

// Members of a request's JSON object; those that nobody asked for are refused.
class Members {
  public:
    explicit Members(const std::string& body) {
        mObject = body.empty() ? Json::object() : Json::parse(body, nullptr, false);
        if (!mObject.is_object()) throw BadRequest("the body must be a JSON object");
    }

    template <typename Value>
    std::optional<Value> take(const char* name) {
        mKnown.insert(name);
        const auto member = mObject.find(name);
        if (member == mObject.end() || member->is_null()) return std::nullopt;
        if (!isA<Value>(*member)) throw BadRequest(wrongType<Value>(name));
        return member->get<Value>();
    }

    bool isText(const char* name) const {
        return mObject.contains(name) && mObject[name].is_string();
    }

    template <typename Value>
    Value need(const char* name) {
        std::optional<Value> value = take<Value>(name);
        if (!value) throw BadRequest(std::string("\"") + name + "\" is missing");
        return *std::move(value);
    }

    // A text that spells bytes.
    std::string needBytes(const char* name) { return spelt(name, need<std::string>(name)); }
    std::optional<std::string> takeBytes(const char* name) {
        const std::optional<std::string> text = take<std::string>(name);
        if (!text) return std::nullopt;
        return spelt(name, *text);
    }

    // To be called when all that is known was taken.
    void refuseOthers() const {
        for (const auto& [name, value] : mObject.items()) {
            if (mKnown.count(name) == 0) throw BadRequest("unknown member \"" + name + "\"");
        }
    }

  private:
    template <typename Value>
    static bool isA(const Json& member) {
        if constexpr (std::is_same_v<Value, bool>) return member.is_boolean();
        if constexpr (std::is_same_v<Value, int>) {
            return member.is_number_integer() && member >= INT32_MIN && member <= INT32_MAX;
        }
        if constexpr (std::is_same_v<Value, uint32_t>) {
            return member.is_number_unsigned() && member <= UINT32_MAX;
        }
        return member.is_string();
    }

    static std::string spelt(const char* name, const std::string& text) {
        std::optional<std::string> bytes = cover::unescape(text);
        if (!bytes) {
            throw BadRequest(std::string("\"") + name +
                             "\" has a wrong escape: write \\\\ for a backslash, \\xHH for a byte");
        }
        return *std::move(bytes);
    }

    template <typename Value>
    static std::string wrongType(const char* name) {
        const char* type = std::is_same_v<Value, bool>       ? "true or false"
                           : std::is_same_v<Value, int>      ? "an integer"
                           : std::is_same_v<Value, uint32_t> ? "an integer from 0 to 4294967295"
                                                             : "a text";
        return std::string("\"") + name + "\" must be " + type;
    }

    Json mObject;
    std::set<std::string> mKnown;
};

uint64_t takeNumber(const httplib::Request& request, const char* name, uint64_t otherwise) {
    if (!request.has_param(name)) return otherwise;
    const std::string text = request.get_param_value(name);
    if (text.empty() || text.size() > 18 ||
        text.find_first_not_of("0123456789") != std::string::npos) {
        throw BadRequest(std::string("\"") + name + "\" must be a number");
    }
    return std::stoull(text);
}

std::string takePath(const httplib::Request& request) {
    if (!request.has_param("path")) throw BadRequest("\"path\" is missing");
    return request.get_param_value("path");
}

Json listFaults(Phone& phone) {
    return phone.faults();
}

Json listProperties(Phone& phone) {
    Json list = Json::object();
    for (const auto& [key, value] : phone.properties()) {
        list[cover::escape(key)] = cover::escape(value);
    }
    return list;
}

Json showScreen(const cover::ScreenView& view) {
    if (!view.on) return {{"on", false}};
    return {{"on", true},
            {"brightness", view.brightness},
            {"rgb", view.rgb},
            {"tune", view.tune},
            {"mode", view.mode}};
}

Json showAccessory(const Accessory& accessory) {
    if (!accessory.isServed()) return {{"present", false}};
    const neighbours::AccessoryState state = accessory.state();
    return {{"present", true}, {"type", state.type}, {"state", state.state}};
}

Json showChatter(Phone& phone) {
    const std::optional<cover::Chatter> chatter = phone.chatter();
    if (!chatter) return nullptr;
    return {{"text", cover::escape(chatter->text)},
            {"gap_us",
             std::chrono::duration_cast<std::chrono::microseconds>(chatter->gap).count()}};
}

Json showSubDisplay(Phone& phone) {
    const cover::PanelState state = phone.panelState();
    const cover::PanelOptions options = phone.panelOptions();
    return {{"attached", phone.isPanelAttached()},
            {"on", state.on},
            {"brightness", state.brightness},
            {"width", options.width},
            {"height", options.height},
            {"format", options.format},
            {"ready", options.ready},
            {"frames", state.frames},
            {"reports", state.reports},
            {"refused", state.refused}};
}

Json showState(Phone& phone, const Accessory& accessory) {
    Json cover = Json::object();
    for (const auto& [name, value] : phone.listCoverState()) cover[name] = value;
    return {{"attached", phone.isCoverAttached()},
            {"screen", showScreen(cover::viewOf(phone.coverState()))},
            {"sub_display", showSubDisplay(phone)},
            {"cover", cover},
            {"chatter", showChatter(phone)},
            {"accessory", showAccessory(accessory)},
            {"faults", listFaults(phone)},
            {"properties", listProperties(phone)}};
}

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
    phone.attachCover(options);
    return Json::object();
}

Json detach(Phone& phone, const httplib::Request& request) {
    Members members(request.body);
    const std::string unread = members.take<std::string>("unread").value_or("lost");
    members.refuseOthers();
    if (unread != "lost" && unread != "read") {
        throw BadRequest("\"unread\" must be \"lost\" or \"read\"");
    }
    phone.detachCover(unread == "lost" ? phone::Unread::Lost : phone::Unread::Read);
    return Json::object();
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

Json setCover(Phone& phone, const httplib::Request& request) {
    Members members(request.body);
    cover::Options options = phone.coverOptions();
    options.version = members.take<std::string>("version").value_or(options.version);
    options.cutout = members.take<std::string>("cutout").value_or(options.cutout);
    options.touchVersion =
            members.take<std::string>("touch_version").value_or(options.touchVersion);
    options.hotPlugAnswer =
            members.take<std::string>("hot_plug_answer").value_or(options.hotPlugAnswer);
    takeHotPlugPolls(members, options);
    members.refuseOthers();
    phone.setCoverOptions(options);
    return Json::object();
}

// A member that is a number of `Number`'s range; otherwise left alone.
template <typename Number>
void takeSmall(Members& members, const char* name, Number& out) {
    const std::optional<int> value = members.take<int>(name);
    if (!value) return;
    constexpr int kMax = std::numeric_limits<Number>::max();
    if (*value < 0 || *value > kMax) {
        throw BadRequest(std::string("\"") + name + "\" must be 0 to " + std::to_string(kMax));
    }
    out = static_cast<Number>(*value);
}

Json setSubDisplay(Phone& phone, const httplib::Request& request) {
    Members members(request.body);
    cover::PanelOptions options = phone.panelOptions();
    takeSmall(members, "width", options.width);
    takeSmall(members, "height", options.height);
    takeSmall(members, "format", options.format);
    takeSmall(members, "ready", options.ready);
    members.refuseOthers();
    phone.setPanelOptions(options);
    return Json::object();
}

Json showSnapshot(Phone& phone, const httplib::Request& /*request*/) {
    if (!phone.isPanelAttached()) throw phone::Error("no sub display is attached");
    const std::optional<cover::Picture> picture = phone.panelPicture();
    if (!picture) throw phone::Error("the sub display claims more pixels than it has memory for");
    std::string levels;
    for (const uint8_t level : picture->levels) levels += "0123456789abcdef"[level];
    return {{"width", picture->width}, {"height", picture->height}, {"levels", levels}};
}

Json send(Phone& phone, const httplib::Request& request) {
    Members members(request.body);
    const std::string bytes = members.needBytes("bytes");
    members.refuseOthers();
    phone.sendFromCover(bytes);
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
    if (!phone.logFromCover(text)) {
        throw phone::Error("the cover's log is not sent: " + describeSilence(phone.coverState()));
    }
    return Json::object();
}

Json setChatter(Phone& phone, const httplib::Request& request) {
    Members members(request.body);
    cover::Chatter chatter;
    chatter.text = members.takeBytes("text").value_or(chatter.text);
    chatter.gap = std::chrono::microseconds(members.take<int>("gap_us").value_or(0));
    members.refuseOthers();
    phone.setChatter(chatter);
    return Json::object();
}

// Present, with a state of its own or that of the cover.
Json setAccessory(Accessory& accessory, const httplib::Request& request) {
    Members members(request.body);
    const std::optional<uint32_t> state = members.take<uint32_t>("state");
    const std::optional<uint32_t> type = members.take<uint32_t>("type");
    members.refuseOthers();
    if (type && !state) throw BadRequest("\"type\" needs \"state\"");
    std::optional<neighbours::AccessoryState> fixed;
    if (state) fixed = neighbours::AccessoryState{type.value_or(0), *state};
    accessory.setState(fixed);
    accessory.serve();
    return Json::object();
}

Json reset(Phone& phone, Accessory& accessory) {
    phone.reset();
    accessory.setState(std::nullopt);
    accessory.serve();
    return Json::object();
}

Json attachLoader(Phone& phone, const httplib::Request& request) {
    Members members(request.body);
    const std::string serial = members.take<std::string>("serial").value_or("00000000001A");
    const std::string product = members.take<std::string>("product").value_or("TQC330R");
    members.refuseOthers();
    phone.attachLoader(serial, product);
    return Json::object();
}

Json addFault(Phone& phone, const httplib::Request& request) {
    Members members(request.body);
    const std::string text = members.need<std::string>("text");
    members.refuseOthers();
    phone.setFault(text);
    return Json::object();
}

Json setProperty(Phone& phone, const httplib::Request& request) {
    Members members(request.body);
    const std::string key = members.needBytes("key");
    const std::string value = members.needBytes("value");
    members.refuseOthers();
    phone.setProperty(key, value);
    return Json::object();
}

Json showNode(Phone& phone, const httplib::Request& request) {
    const std::string path = takePath(request);
    const std::optional<std::string> content = phone.node(path);
    if (!content) throw phone::Error("there is no file " + path);
    return {{"path", path}, {"bytes", cover::escape(*content)}};
}

Json setNode(Phone& phone, const httplib::Request& request) {
    Members members(request.body);
    const std::string path = members.need<std::string>("path");
    const std::string bytes = members.needBytes("bytes");
    members.refuseOthers();
    phone.setNode(path, bytes);
    return Json::object();
}

Json setWakeLock(Phone& phone, const httplib::Request& request) {
    Members members(request.body);
    const bool held = members.need<bool>("held");
    members.refuseOthers();
    phone.wakeLock(held);
    return Json::object();
}

void awaitEntry(Phone& phone, uint64_t since, uint64_t waitMs, const std::atomic<bool>& stopping) {
    const auto end = std::chrono::steady_clock::now() +
                     std::chrono::milliseconds(std::min(waitMs, kMaxWaitMs));
    const auto any = [](const phone::Entry&) { return true; };
    while (!stopping && std::chrono::steady_clock::now() < end) {
        if (phone.journal().waitFor(any, since, kSlice)) return;
    }
}

Json showJournal(Phone& phone, const httplib::Request& request, const std::atomic<bool>& stopping) {
    const uint64_t since = takeNumber(request, "since", 1);
    const uint64_t limit = std::min(takeNumber(request, "limit", kDefaultLimit), kMaxLimit);
    awaitEntry(phone, since, takeNumber(request, "wait_ms", 0), stopping);
    Json entries = Json::array();
    uint64_t next = since;
    for (const phone::Entry& entry : phone.journal().since(since)) {
        if (entries.size() >= limit) break;
        entries.push_back(Json::parse(toJson(entry)));
        next = entry.seq + 1;
    }
    return {{"next", next}, {"entries", entries}};
}

void reply(httplib::Response& response, int status, const Json& body) {
    response.status = status;
    response.set_content(body.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n",
                         "application/json");
}

Json describe(const std::exception& error) {
    return {{"error", error.what()}};
}

using Action = std::function<Json(Phone&, const httplib::Request&)>;

httplib::Server::Handler makeHandler(Phone& phone, const Action& action) {
    return [&phone, action](const httplib::Request& request, httplib::Response& response) {
        try {
            reply(response, 200, action(phone, request));
        } catch (const BadRequest& error) {
            reply(response, 400, describe(error));
        } catch (const phone::Error& error) {
            reply(response, 409, describe(error));
        } catch (const std::exception& error) {
            reply(response, 500, describe(error));
        }
    };
}

// For requests without a body, that only do something.
Action plain(void (*work)(Phone&)) {
    return [work](Phone& phone, const httplib::Request& /*request*/) {
        work(phone);
        return Json::object();
    };
}

void addCoverRequests(httplib::Server& server, Phone& phone) {
    const auto handler = [&phone](const Action& action) { return makeHandler(phone, action); };
    server.Post("/v1/attach", handler(attach));
    server.Post("/v1/detach", handler(detach));
    server.Post("/v1/reattach", handler(plain([](Phone& p) { p.reattachCover(); })));
    server.Put("/v1/cover", handler(setCover));
    server.Put("/v1/subdisplay", handler(setSubDisplay));
    server.Get("/v1/snapshot", handler(showSnapshot));
    server.Post("/v1/send", handler(send));
    server.Post("/v1/log", handler(log));
    server.Put("/v1/chatter", handler(setChatter));
    server.Delete("/v1/chatter", handler(plain([](Phone& p) { p.setChatter(std::nullopt); })));
    server.Post("/v1/loader", handler(attachLoader));
    server.Delete("/v1/loader", handler(plain([](Phone& p) { p.detachLoader(); })));
}

void addPhoneRequests(httplib::Server& server, Phone& phone) {
    const auto handler = [&phone](const Action& action) { return makeHandler(phone, action); };
    server.Get("/v1/faults", handler([](Phone& p, const httplib::Request&) -> Json {
                   return {{"faults", listFaults(p)}};
               }));
    server.Post("/v1/faults", handler(addFault));
    server.Delete("/v1/faults", handler(plain([](Phone& p) { p.clearFaults(); })));
    server.Get("/v1/properties", handler([](Phone& p, const httplib::Request&) -> Json {
                   return {{"properties", listProperties(p)}};
               }));
    server.Put("/v1/properties", handler(setProperty));
    server.Delete("/v1/properties", handler(plain([](Phone& p) { p.clearProperties(); })));
    server.Get("/v1/node", handler(showNode));
    server.Put("/v1/node", handler(setNode));
    server.Delete("/v1/node", handler([](Phone& p, const httplib::Request& request) {
                      p.removeNode(takePath(request));
                      return Json::object();
                  }));
    server.Put("/v1/wakelock", handler(setWakeLock));
}

void addAccessoryRequests(httplib::Server& server, Phone& phone, Accessory& accessory) {
    const auto handler = [&phone](const Action& action) { return makeHandler(phone, action); };
    server.Put("/v1/accessory", handler([&accessory](Phone&, const httplib::Request& request) {
                   return setAccessory(accessory, request);
               }));
    server.Delete("/v1/accessory", handler([&accessory](Phone&, const httplib::Request&) {
                      accessory.withdraw();
                      return Json::object();
                  }));
    server.Get("/v1/state", handler([&accessory](Phone& p, const httplib::Request&) {
                   return showState(p, accessory);
               }));
    server.Post("/v1/reset", handler([&accessory](Phone& p, const httplib::Request&) {
                    return reset(p, accessory);
                }));
}

}  // namespace

void addRequests(httplib::Server& server, Phone& phone, Accessory& accessory,
                 const std::atomic<bool>& stopping) {
    addCoverRequests(server, phone);
    addPhoneRequests(server, phone);
    addAccessoryRequests(server, phone, accessory);
    server.Get("/v1/journal",
               makeHandler(phone, [&stopping](Phone& p, const httplib::Request& request) {
                   return showJournal(p, request, stopping);
               }));
    server.set_error_handler([](const httplib::Request& request, httplib::Response& response) {
        if (!response.body.empty()) return;
        reply(response, response.status,
              {{"error", "no such request: " + request.method + " " + request.path}});
    });
}

}  // namespace control
