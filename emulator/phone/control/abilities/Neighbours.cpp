// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The services of other vendors: their answers, and whether they are there. The client of the
// cover's service.

#include "emulator/phone/control/Ability.h"

namespace control {

namespace {

using neighbours::Framework;
using neighbours::Neighbours;

// Present, with a state of its own or the cover's state.
void setAccessory(const Emulator& emulator, const Json& given) {
    if (given.contains("type") && !given.contains("state")) {
        throw BadRequest("\"type\" needs \"state\"");
    }
    std::optional<neighbours::AccessoryState> fixed;
    if (given.contains("state")) fixed = {given.value("type", 0u), given["state"]};
    emulator.neighbours.accessory.setState(fixed);
    emulator.neighbours.accessory.serve();
}

// Present, with a result that the request gives, or with its old result.
void setLpwg(const Emulator& emulator, const Json& given) {
    if (given.contains("result")) emulator.neighbours.lpwg.setResult(given["result"]);
    emulator.neighbours.lpwg.serve();
}

template <auto neighbour>
void declare(const Emulator& emulator, const Json& /*given*/) {
    (emulator.neighbours.*neighbour).declare();
}

template <auto neighbour>
void withdraw(const Emulator& emulator, const Json& /*given*/) {
    (emulator.neighbours.*neighbour).withdraw();
}

void listen(const Emulator& emulator, const Json& given) {
    emulator.neighbours.framework.listen(given["version"] == "1.0" ? Framework::Version::V1_0
                                                                   : Framework::Version::V1_1);
}

Argument unsignedNumber(const char* name, const char* option, const char* help) {
    return {.name = name,
            .type = Type::Natural,
            .most = UINT32_MAX,
            .option = option,
            .help = help};
}

Argument result(bool isInCtl) {
    Argument argument = integer("result", INT32_MIN, INT32_MAX, "At the start: 0");
    argument.option = "N";
    argument.isRequired = argument.isInCtl = isInCtl;
    return argument;
}

Ability accessory() {
    const Argument type = unsignedNumber("type", "", "The first value, with N");
    return {"accessory",
            "What the phone's accessory service answers, and whether there is one",
            {silent(Request("PUT", "/v1/accessory", setAccessory,
                            {unsignedNumber("state", "STATE", "3: attached"), type})),
             Request("PUT", "/v1/accessory", {}, {type}, {"cover"}),
             silent(Request("DELETE", "/v1/accessory", withdraw<&Neighbours::accessory>, {},
                            {"absent"})),
             silent(Request("PUT", "/v1/accessory/declared", declare<&Neighbours::accessory>, {},
                            {"declared"}))},
            "",
            "A state (3: attached); cover: 3 while the cover is on, else 0; absent; declared: not "
            "up, and the phone's services wait for it"};
}

Ability lpwg() {
    return {"lpwg",
            "Whether the phone's LPWG service is there, and what it answers",
            {silent(Request("PUT", "/v1/lpwg", setLpwg, {result(false)}, {"present"})),
             silent(Request("DELETE", "/v1/lpwg", withdraw<&Neighbours::lpwg>, {}, {"absent"})),
             silent(Request("PUT", "/v1/lpwg/declared", declare<&Neighbours::lpwg>, {},
                            {"declared"})),
             Request("PUT", "/v1/lpwg", {}, {result(true)}, {"result"})},
            "",
            "present, absent, declared (not up, and the phone's services wait for it), or result "
            "and the N that it answers from now on"};
}

}  // namespace

std::vector<Ability> ofNeighbours() {
    return {accessory(),
            lpwg(),
            {"listen",
             "Register the phone's framework for touch and pen events, for the journal",
             {Request("PUT", "/v1/listen", listen,
                      {{.name = "version",
                        .words = {"1.0", "1.1"},
                        .option = "--v1_0",
                        .help = "With a callback that implements version 1.0 only",
                        .otherwise = "1.1",
                        .flag = "1.0"}})}}};
}

}  // namespace control
