// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/phone/program/Requests.h"

#include <algorithm>
#include <deque>

#include "emulator/phone/program/AbilityLine.h"
#include "emulator/phone/program/CtlCommand.h"

namespace emulator {

using control::Ability;
using control::Request;

Requests requestsOf(const std::vector<std::string>& words) {
    // It would change what this program prints.
    const auto isColour = [](const std::string& word) { return word.starts_with("--color"); };
    if (std::ranges::any_of(words, isColour)) return {{}, "--color has no use here."};
    Requests made;
    cli::Command program(kProgram, "");
    std::deque<AbilityLine> lines;
    addAbilities(program.add("ctl", ""), [&](cli::Command& command, const Ability& ability) {
        const AbilityLine& line = lines.emplace_back(command, ability);
        command.setAction([&] {
            const Request& request = line.request();
            for (const Json& values : line.values(request)) {
                made.requests.push_back({request.method, request.path, values});
            }
            return 0;
        });
    });
    std::vector<std::string> all = {"ctl"};
    all.insert(all.end(), words.begin(), words.end());
    made.error = program.tryRun(all);
    if (!made.error.empty()) return made;
    if (made.requests.front().method == "GET") {
        return {{}, "\"ctl " + words.front() + "\" only shows something, and changes nothing."};
    }
    return made;
}

}  // namespace emulator
