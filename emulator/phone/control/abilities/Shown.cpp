// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/phone/control/abilities/Shown.h"

#include <unistd.h>

#include "cli/Colour.h"
#include "emulator/cover/Text.h"

namespace control {

Json describeFaults(const phone::Phone& phone) {
    Json texts = Json::array();
    Json met = Json::array();
    for (const phone::SetFault& fault : phone.faults.listMet()) {
        texts.push_back(fault.text);
        met.push_back({{"fault", fault.text}, {"met", fault.met}});
    }
    return {{"faults", texts}, {"faults_met", met}};
}

Json describeProperties(const phone::Phone& phone) {
    Json list = Json::object();
    for (const auto& [key, value] : phone.properties.list()) {
        list[cover::escape(key)] = cover::escape(value);
    }
    return list;
}

Json describeFirmware(const phone::Phone& phone) {
    Json files = Json::array();
    for (const phone::File& file : phone.firmware.list()) {
        files.push_back({{"name", cover::escape(file.name)}, {"size", file.size}});
    }
    return files;
}

std::string heading(const std::string& name) {
    return cli::inColour(cli::Colour::NAME, name + ":", STDOUT_FILENO);
}

std::string show(const std::string& name, const std::string& value) {
    return heading(name) + " " + value + "\n";
}

std::string showMembers(const Json& object, const std::string& indent) {
    std::string text;
    for (const auto& [name, value] : object.items()) {
        text += indent + show(name, value.is_string() ? value.get<std::string>() : value.dump());
    }
    return text;
}

std::string showFaults(const Json& faults, const std::string& indent, bool withCounts) {
    std::string text;
    for (const Json& each : faults.at("faults_met")) {
        text += indent + each.at("fault").get<std::string>();
        const auto met = each.at("met").get<uint64_t>();
        // A comment, should the line be given to a shell.
        if (withCounts) text += "  # met " + std::to_string(met) + (met == 1 ? " time" : " times");
        text += "\n";
    }
    return text;
}

}  // namespace control
