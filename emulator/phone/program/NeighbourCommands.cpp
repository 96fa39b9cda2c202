// ctl: the services of other vendors, and the client of the cover's service.

#include <cstdint>

#include "emulator/cover/Integers.h"
#include "emulator/phone/program/Session.h"

namespace emulator {

namespace {

// "absent", "cover", or a state's number.
std::string checkAccessory(const std::string& text) {
    const bool isState = cover::parseInteger<uint32_t>(text).has_value();
    if (isState || text == "absent" || text == "cover") return "";
    return "write absent, cover or a state from 0 to 4294967295";
}

void addAccessory(CLI::App& ctl, int* status) {
    struct Options {
        std::string state;
        uint32_t type = 0;
    };
    const auto options = std::make_shared<Options>();
    CLI::App* command = ctl.add_subcommand(
            "accessory", "What the phone's accessory service answers, and whether there is one");
    command->add_option("STATE", options->state,
                        "A state (3: attached); cover: 3 while the cover is on, else 0; absent")
            ->required()
            ->check(checkAccessory, "N|cover|absent");
    CLI::Option* type = command->add_option("--type", options->type, "The first value, with N");
    command->callback([=] {
        Session session;
        if (options->state == "absent") {
            session.remove("/v1/accessory");
        } else {
            Json body = Json::object();
            if (options->state != "cover") {
                body["state"] = *cover::parseInteger<uint32_t>(options->state);
            }
            if (type->count() != 0) body["type"] = options->type;
            session.put("/v1/accessory", body);
        }
        *status = session.status();
    });
}

void addLpwg(CLI::App& ctl, int* status) {
    struct Options {
        std::string state;
        int result = 0;
    };
    const auto options = std::make_shared<Options>();
    CLI::App* command = ctl.add_subcommand(
            "lpwg", "Whether the phone's LPWG service is there, and what it answers");
    command->add_option("STATE", options->state,
                        "present, absent, or result and the N that it answers from now on")
            ->required()
            ->check(CLI::IsMember({"present", "absent", "result"}));
    CLI::Option* result = command->add_option("N", options->result, "At the start: 0");
    command->callback([=] {
        if ((options->state == "result") != (result->count() != 0)) {
            throw CLI::ValidationError("lpwg", "write present, absent, or result and a number");
        }
        Session session;
        if (options->state == "absent") {
            session.remove("/v1/lpwg");
        } else {
            Json body = Json::object();
            if (result->count() != 0) body["result"] = options->result;
            session.put("/v1/lpwg", body);
        }
        *status = session.status();
    });
}

void addListen(CLI::App& ctl, int* status) {
    const auto older = std::make_shared<bool>(false);
    CLI::App* command = ctl.add_subcommand(
            "listen", "Have the phone's framework hear of touch and pen events, for the journal");
    command->add_flag("--v1_0", *older, "With a callback that implements version 1.0 only");
    command->callback([=] {
        Session session;
        session.put("/v1/listen", {{"version", *older ? "1.0" : "1.1"}});
        *status = session.status();
    });
}

}  // namespace

void addNeighbours(CLI::App& ctl, int* status) {
    addAccessory(ctl, status);
    addLpwg(ctl, status);
    addListen(ctl, status);
}

}  // namespace emulator
