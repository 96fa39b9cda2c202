// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/phone/control/Ability.h"

#include <algorithm>
#include <iterator>

namespace control {

namespace {

Json describe(const Argument& argument) {
    constexpr const char* kTypes[] = {"text", "bytes", "bytes", "boolean", "integer", "integer"};
    Json description = {{"name", argument.name},
                        {"type", kTypes[static_cast<size_t>(argument.type)]},
                        {"required", argument.isRequired},
                        {"option", optionOf(argument)},
                        {"many", argument.isMany},
                        {"in_ctl", argument.isInCtl},
                        {"in_request", argument.isInRequest}};
    if (argument.type >= Type::Integer) {
        description["least"] = argument.least;
        description["most"] = argument.most;
    }
    if (!argument.words.empty()) description["words"] = argument.words;
    if (!argument.otherwise.is_null()) description["default"] = argument.otherwise;
    if (!argument.flag.is_null()) description["flag"] = argument.flag;
    if (argument.type == Type::Verbatim) description["verbatim"] = true;
    if (!argument.help.empty()) description["help"] = argument.help;
    return description;
}

Json describe(const Request& request) {
    Json description = {
            {"method", request.method}, {"path", request.path}, {"show", request.show != nullptr}};
    if (!request.choice.word.empty()) description["choice"] = request.choice.word;
    if (!request.choice.help.empty()) description["help"] = request.choice.help;
    if (!request.fixed.is_null()) description["fixed"] = request.fixed;
    Json& arguments = description["arguments"] = Json::array();
    for (const Argument& argument : request.arguments) arguments.push_back(describe(argument));
    return description;
}

}  // namespace

const std::vector<Ability>& abilities() {
    static const std::vector<Ability> all = [] {
        std::vector<Ability> table;
        for (const auto subject :
             {ofCover, ofPanel, ofFirmware, ofEvents, ofJournal, ofNeighbours, ofPhone}) {
            std::ranges::move(subject(), std::back_inserter(table));
        }
        return table;
    }();
    return all;
}

Json describeAbilities() {
    Json list = Json::array();
    for (const Ability& ability : abilities()) {
        Json requests = Json::array();
        for (const Request& request : ability.requests) requests.push_back(describe(request));
        list.push_back({{"name", ability.name}, {"help", ability.help}, {"requests", requests}});
    }
    return {{"abilities", list}};
}

}  // namespace control
