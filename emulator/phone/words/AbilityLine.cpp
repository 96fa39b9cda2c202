// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/phone/words/AbilityLine.h"

#include <algorithm>
#include <map>

#include "emulator/cover/Text.h"

namespace emulator {

using control::Ability;
using control::Argument;
using control::Request;
using control::Type;

namespace {

constexpr char kState[] = "STATE";
const Argument kAsJson = {.name = "json", .help = "As one JSON object", .flag = true};

bool isFlag(const std::string& choice) {
    return choice.starts_with("--");
}

bool isWord(const std::string& choice) {
    return !choice.empty() && !isFlag(choice);
}

std::string join(const std::vector<std::string>& words, const char* between) {
    std::string text;
    for (const std::string& word : words) text += (text.empty() ? "" : between) + word;
    return text;
}

// How the help writes what a value may be.
std::string shapeOf(const Argument& argument) {
    if (!argument.words.empty()) {
        return isNumber(argument) ? "N|" + join(argument.words, "|")
                                  : "{" + join(argument.words, ",") + "}";
    }
    const bool isAny = argument.least == INT32_MIN || argument.most >= UINT32_MAX;
    if (!isNumber(argument) || isAny) return "";
    return "INT in [" + std::to_string(argument.least) + " - " + std::to_string(argument.most) +
           "]";
}

std::string typeOf(const Argument& argument) {
    if (!isNumber(argument) || !argument.words.empty()) return "TEXT";
    return argument.type == Type::Natural ? "UINT" : "INT";
}

std::string defaultOf(const Argument& argument) {
    const Json& value = argument.otherwise;
    if (value.is_null()) return "";
    return value.is_string() ? value.get<std::string>() : value.dump();
}

std::vector<Argument> argumentsOf(const Request& request) {
    std::vector<Argument> arguments = request.arguments;
    std::erase_if(arguments, [](const Argument& argument) { return !argument.isInCtl; });
    return arguments;
}

bool takes(const Request& request, const std::string& option) {
    return std::ranges::any_of(argumentsOf(request), [&](const Argument& argument) {
        return optionOf(argument) == option;
    });
}

// The first word, where it chooses the request. A number may stand in its place.
std::optional<Argument> stateOf(const Ability& ability) {
    Argument state = {.help = ability.state, .isRequired = true};
    for (const Request& request : ability.requests) {
        if (isWord(request.choice.word)) state.words.push_back(request.choice.word);
        for (const Argument& argument : request.arguments) {
            if (argument.option != kState) continue;
            state.type = argument.type;
            state.least = argument.least;
            state.most = argument.most;
        }
    }
    return state.words.empty() ? std::nullopt : std::optional(state);
}

}  // namespace

// An argument on the command line, which several requests may take.
struct AbilityLine::Slot {
    Argument argument;
    std::string option;
    std::optional<std::string> text{};
    std::vector<std::string> words{};
    bool isSet = false;

    bool isGiven() const { return text || !words.empty() || isSet; }

    Json value() const {
        if (isSet) return argument.flag;
        if (argument.isMany) return join(words, " ");
        if (argument.type == Type::Boolean) return text == "on";
        if (argument.type == Type::Verbatim) return cover::escape(*text);
        return control::fromText(argument, *text);
    }
};

void AbilityLine::add(cli::Command& command, Slot& slot) {
    const Argument& argument = slot.argument;
    if (!argument.flag.is_null()) {
        command.flag(slot.option, &slot.isSet, argument.help);
        return;
    }
    cli::Option option = argument.isMany
                                 ? command.takeWords(slot.option, &slot.words, argument.help)
                                 : command.take(slot.option, &slot.text, argument.help);
    if (argument.isRequired) option.required();
    // The texts that the command line takes for it.
    Argument typed = argument;
    if (!isNumber(argument)) typed.type = Type::Text;
    if (argument.type == Type::Boolean) typed.words = {"on", "off"};
    option.write(typeOf(typed), defaultOf(argument));
    const auto check = [typed](const std::string& text) {
        return control::wrong(typed, control::fromText(typed, text));
    };
    option.check(check, shapeOf(typed));
}

AbilityLine::AbilityLine(cli::Command& command, const Ability& ability) : mAbility(ability) {
    if (const auto state = stateOf(ability)) mSlots.push_back({*state, kState});
    for (const Request& request : ability.requests) {
        for (Argument& argument : argumentsOf(request)) {
            const std::string option = optionOf(argument);
            if (find(option) != nullptr) continue;
            // An argument that another request lacks may be missing.
            argument.isRequired &= std::ranges::all_of(
                    ability.requests, [&](const Request& each) { return takes(each, option); });
            mSlots.push_back({argument, option});
        }
    }
    for (const Request& request : ability.requests) {
        if (isFlag(request.choice.word)) {
            mSlots.push_back({{.help = request.choice.help, .flag = true}, request.choice.word});
        }
    }
    for (const Request& request : ability.requests) {
        if (request.show != nullptr) mSlots.push_back({kAsJson, optionOf(kAsJson)});
    }
    for (Slot& slot : mSlots) add(command, slot);
}

AbilityLine::~AbilityLine() = default;

const AbilityLine::Slot* AbilityLine::find(const std::string& option) const {
    const auto slot = std::ranges::find(mSlots, option, &Slot::option);
    return slot == mSlots.end() ? nullptr : &*slot;
}

bool AbilityLine::isChosen(const Request& request) const {
    if (isFlag(request.choice.word)) return find(request.choice.word)->isSet;
    return isWord(request.choice.word) && find(kState)->text == request.choice.word;
}

// The request of the given flag or word. Without one, the first that takes the given arguments, or
// the last, which needs no argument.
const Request& AbilityLine::choose() const {
    for (const Request& request : mAbility.requests) {
        if (isChosen(request)) return request;
    }
    const Request* chosen = &mAbility.requests.back();
    for (const Request& request : mAbility.requests) {
        if (!request.choice.word.empty()) continue;
        chosen = &request;
        const auto isAsked = [this](const Argument& argument) {
            const Slot& slot = *find(optionOf(argument));
            return slot.isGiven() && !slot.argument.isRequired;
        };
        if (std::ranges::any_of(argumentsOf(request), isAsked)) break;
    }
    return *chosen;
}

void AbilityLine::refuseMisfits(const Request& request) const {
    for (const Argument& argument : argumentsOf(request)) {
        if (argument.isRequired && !find(optionOf(argument))->isGiven()) {
            cli::refuseUsage(mAbility.name, optionOf(argument) + " is missing");
        }
    }
    for (const Slot& slot : mSlots) {
        const bool isTaken = slot.option == kState || slot.option == request.choice.word ||
                             takes(request, slot.option) ||
                             (slot.option == optionOf(kAsJson) && request.show != nullptr);
        if (!slot.isGiven() || isTaken) continue;
        const std::string& chosen = request.choice.word;
        cli::refuseUsage(mAbility.name, slot.option + " does not go with " +
                                                (chosen.empty() ? "the rest" : chosen));
    }
}

// The values of each request to make.
std::vector<Json> AbilityLine::values(const Request& request) const {
    std::vector<Json> all = {request.fixed.is_null() ? Json::object() : request.fixed};
    for (const Argument& argument : argumentsOf(request)) {
        const Slot& slot = *find(optionOf(argument));
        if (!slot.isGiven()) continue;
        if (!argument.isMany || argument.type == Type::Text) {
            for (Json& each : all) each[argument.name] = slot.value();
            continue;
        }
        const Json others = all.front();
        all.clear();
        for (const std::string& word : slot.words) {
            all.push_back(others);
            all.back()[argument.name] = word;
        }
    }
    return all;
}

const Request& AbilityLine::request() const {
    const Request& request = choose();
    refuseMisfits(request);
    return request;
}

bool AbilityLine::isAsJson() const {
    return find(optionOf(kAsJson))->isGiven();
}

void addAbilities(cli::Command& ctl, const std::function<bool(const Ability&)>& takes,
                  const std::function<void(cli::Command&, const Ability&)>& add) {
    std::map<std::string, cli::Command*> commands = {{"", &ctl}};
    for (const Ability& ability : control::abilities()) {
        if (!takes(ability)) continue;
        const size_t space = ability.name.find(' ');
        const bool isBelow = space != std::string::npos;
        cli::Command& command =
                commands.at(isBelow ? ability.name.substr(0, space) : "")
                        ->add(ability.name.substr(isBelow ? space + 1 : 0), ability.help);
        commands[ability.name] = &command;
        if (!ability.requests.empty()) add(command, ability);
    }
    // After all commands are made: a new command takes over the help of the command above it.
    for (const Ability& ability : control::abilities()) {
        const bool isThere = commands.contains(ability.name);
        if (isThere && !ability.more.empty()) commands.at(ability.name)->setHelp(ability.more);
    }
}

}  // namespace emulator
