// ctl: the services of other vendors, and the client of the cover's service.

#include <cstdint>

#include <nlohmann/json.hpp>

#include "emulator/cover/Integers.h"
#include "emulator/phone/program/Session.h"

namespace emulator {

namespace {

// "absent", "declared", "cover", or a state's number.
std::string checkAccessory(const std::string& text) {
    const bool isState = cover::parseInteger<uint32_t>(text).has_value();
    if (isState || text == "absent" || text == "declared" || text == "cover") return "";
    return "write absent, declared, cover or a state from 0 to 4294967295";
}

// Makes a neighbour absent, or declared and not up. False for a state in which it is up.
bool takeAway(Session& session, const std::string& path, const std::string& state) {
    if (state == "absent") {
        session.remove(path);
    } else if (state == "declared") {
        session.put(path + "/declared", Json::object());
    } else {
        return false;
    }
    return true;
}

void addAccessory(cli::Command& ctl) {
    struct Options {
        std::string state;
        std::optional<uint32_t> type;
    };
    const auto options = std::make_shared<Options>();
    cli::Command& command =
            add(ctl, "accessory",
                "What the phone's accessory service answers, and whether there is one",
                [options](Session& session) {
                    if (takeAway(session, "/v1/accessory", options->state)) return;
                    Json body = Json::object();
                    if (options->state != "cover") {
                        body["state"] = *cover::parseInteger<uint32_t>(options->state);
                    }
                    if (options->type) body["type"] = *options->type;
                    session.put("/v1/accessory", body);
                });
    command.take("STATE", &options->state,
                 "A state (3: attached); cover: 3 while the cover is on, else 0; absent; "
                 "declared: not up, and the phone's services wait for it")
            .required()
            .check(checkAccessory, "N|cover|absent|declared");
    command.take("--type", &options->type, "The first value, with N");
}

void addLpwg(cli::Command& ctl) {
    struct Options {
        std::string state;
        std::optional<int> result;
    };
    const auto options = std::make_shared<Options>();
    cli::Command& command =
            add(ctl, "lpwg", "Whether the phone's LPWG service is there, and what it answers",
                [options](Session& session) {
                    if ((options->state == "result") != options->result.has_value()) {
                        cli::refuseUsage("lpwg",
                                         "write present, absent, declared, or result and a number");
                    }
                    if (takeAway(session, "/v1/lpwg", options->state)) return;
                    Json body = Json::object();
                    if (options->result) body["result"] = *options->result;
                    session.put("/v1/lpwg", body);
                });
    command.take("STATE", &options->state,
                 "present, absent, declared (not up, and the phone's services wait for it), or "
                 "result and the N that it answers from now on")
            .required()
            .oneOf({"present", "absent", "declared", "result"});
    command.take("N", &options->result, "At the start: 0");
}

void addListen(cli::Command& ctl) {
    const auto older = std::make_shared<bool>(false);
    cli::Command& command =
            add(ctl, "listen",
                "Have the phone's framework hear of touch and pen events, for the journal",
                [older](Session& session) {
                    session.put("/v1/listen", {{"version", *older ? "1.0" : "1.1"}});
                });
    command.flag("--v1_0", older.get(), "With a callback that implements version 1.0 only");
}

}  // namespace

void addNeighbours(cli::Command& ctl) {
    addAccessory(ctl);
    addLpwg(ctl);
    addListen(ctl);
}

}  // namespace emulator
