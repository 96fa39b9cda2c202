// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/phone/program/AbilityCommand.h"

#include <map>
#include <memory>
#include <optional>

#include "cli/Output.h"
#include "emulator/phone/program/Session.h"
#include "emulator/phone/words/AbilityLine.h"

namespace emulator {

namespace {

// The work of ctl itself for these abilities, which do not print one answer.
const std::map<std::string, void (*)(Session&, const Json& given)> kOwnWork = {
        {"journal", readJournal},
        {"klog", readKernelLog},
        {"snapshot", keepSnapshot},
        {"view", showView}};

void ask(const AbilityLine& line, const std::string& ability, Session& session) {
    const control::Request& request = line.request();
    const std::vector<Json> all = line.values(request);
    const auto own = kOwnWork.find(ability);
    if (own != kOwnWork.end()) return own->second(session, all.front());
    for (const Json& each : all) {
        const std::optional<Json> answer = session.ask(request.method, request.path, each);
        if (!answer) return;
        if (request.show == nullptr) continue;
        cli::printOrFail(line.isAsJson() ? answer->dump() + "\n" : request.show(*answer));
    }
}

}  // namespace

void addAbility(cli::Command& command, const control::Ability& ability) {
    const auto line = std::make_shared<AbilityLine>(command, ability);
    command.setAction([line, name = ability.name] {
        return Session::hold([&](Session& session) { ask(*line, name, session); });
    });
}

}  // namespace emulator
