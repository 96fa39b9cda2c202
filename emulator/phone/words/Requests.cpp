// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/phone/words/Requests.h"

#include <algorithm>
#include <deque>

#include "emulator/phone/words/AbilityLine.h"

namespace emulator {

using control::Ability;
using control::Request;

namespace {

std::string firstWord(const std::string& name) {
    return name.substr(0, name.find(' '));
}

}  // namespace

Requests requestsOf(const std::vector<std::string>& words) {
    // It would change what this program prints.
    const auto isColour = [](const std::string& word) { return word.starts_with("--color"); };
    if (std::ranges::any_of(words, isColour)) return {{}, "--color has no use here."};
    const std::string first = words.empty() ? "" : words.front();
    const auto isAsked = [&](const Ability& each) { return firstWord(each.name) == first; };
    // To make the other commands takes most of the time; only a message needs them.
    const bool isKnown = std::ranges::any_of(control::abilities(), isAsked);
    const auto takes = [&](const Ability& each) { return !isKnown || isAsked(each); };
    Requests made;
    cli::Command program("bivista-emulator", "");
    std::deque<AbilityLine> lines;
    const auto add = [&](cli::Command& command, const Ability& ability) {
        const AbilityLine& line = lines.emplace_back(command, ability);
        command.setAction([&] {
            const Request& request = line.request();
            for (const Json& values : line.values(request)) {
                made.requests.push_back({request.method, request.path, values});
            }
            return 0;
        });
    };
    addAbilities(program.add("ctl", ""), takes, add);
    std::vector<std::string> all = {"ctl"};
    all.insert(all.end(), words.begin(), words.end());
    made.error = program.tryRun(all);
    if (!made.error.empty()) return made;
    if (made.requests.front().method == "GET") {
        return {{}, "\"ctl " + first + "\" only shows something, and changes nothing."};
    }
    return made;
}

}  // namespace emulator
