// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "tools/commands/Command.h"

#include <nlohmann/json.hpp>

#include "tools/ExitStatus.h"

namespace bivistactl {

std::string stateInWords(const Json& state) {
    const Json& name = state["state"];
    return name.is_string() ? name.get<std::string>() : "state " + state["code"].dump();
}

std::string panelInWords(const Json& panel) {
    return panel["x"].dump() + " x " + panel["y"].dump() + ", format " + panel["format"].dump();
}

std::shared_ptr<bool> addFlag(cli::Command& command, const char* name, const char* help) {
    auto given = std::make_shared<bool>(false);
    command.flag(name, given.get(), help);
    return given;
}

std::shared_ptr<bool> addJsonFlag(cli::Command& command) {
    return addFlag(command, "--json", "Print one JSON object on one line");
}

void addIdleJsonFlag(cli::Command& command) {
    command.flag("--json", "Changes nothing: JSON is printed in any case");
}

void addPrinting(cli::Command& command, const std::function<int(bool json)>& action) {
    const auto json = addJsonFlag(command);
    command.setAction([action, json] { return action(*json); });
}

void addPlain(cli::Command& parent, const Plain& command) {
    addPrinting(parent.add(command.name, command.about, command.help),
                [command](bool json) { return command.run(json, command.failure); });
}

int reportStatus(Status answered, const std::string& failure) {
    if (answered == Status::OK) return EXIT_ANSWERED_OK;
    complain("FAIL: " + failure);
    return EXIT_ANSWERED_FAIL;
}

}  // namespace bivistactl
