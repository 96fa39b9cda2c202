// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/play/ReaderSteps.h"

#include <algorithm>

#include "emulator/phone/Error.h"
#include "emulator/phone/calls/Invoke.h"
#include "emulator/phone/devices/Faults.h"
#include "emulator/phone/words/Requests.h"

namespace play {

namespace {

constexpr char kAnyOrder[] = "expect any order";
constexpr size_t kMostSteps = 10'000;

// What the file says.
std::string inShort(const Value& map) {
    const std::string text = spell(map);
    return cut(text.substr(1, text.size() - 2));
}

}  // namespace

// What a step does, and the words that go with it.
struct Steps::Verb {
    std::string name;
    std::vector<std::string> more{};
};

const Steps::Verb& Steps::verbOf(const Value& map) const {
    static const std::vector<Verb> verbs = {{"call", {"with", "gives", "background", "within"}},
                                            {"do"},
                                            {"run", {"status", "out", "err", "within"}},
                                            {"pause"},
                                            {"wait", {"within"}},
                                            {"expect", {"within"}},
                                            {kAnyOrder, {"within"}},
                                            {"never"}};
    if (map.kind != Value::Kind::Map || map.keys.empty()) {
        mValues.refuse(map, "a step is VERB: VALUE, such as \"call: getFirmwareVersion\"");
    }
    std::vector<std::string> words;
    const Verb* found = nullptr;
    for (const Verb& verb : verbs) {
        words.push_back(verb.name);
        for (const Value& key : map.keys) {
            if (key.text != verb.name) continue;
            if (found != nullptr) {
                mValues.refuse(key, "\"" + key.text + "\" and \"" + found->name +
                                            "\" are two steps: begin each with \"- \"");
            }
            found = &verb;
        }
    }
    if (found == nullptr) mValues.refuseWord(map.keys.front(), "step", words);
    for (const Value& key : map.keys) {
        if (!found->more.empty() || key.text == found->name) continue;
        mValues.refuse(key, "\"" + cut(key.text) + "\" does not go with \"" + found->name +
                                    "\", which stands alone");
    }
    std::vector<std::string> known = found->more;
    known.push_back(found->name);
    mValues.requireKeys(map, "word of \"" + found->name + "\"", known);
    return *found;
}

std::vector<Step> Steps::steps(const Value& value) {
    if (value.kind != Value::Kind::List || value.items.empty()) {
        mValues.refuse(value, "\"steps\" must be a list of steps, each begun with \"- \"");
    }
    std::vector<Step> all;
    for (const Value& item : value.items) addStep(item, all);
    return all;
}

std::vector<Step> Steps::deeds(const Value& value) {
    std::vector<Step> all;
    for (const Value* item : each(value)) addDeeds(*item, all);
    return all;
}

void Steps::requireRoom(const Value& value, size_t steps) const {
    if (steps <= kMostSteps) return;
    mValues.refuse(value, "a scenario has at most " + std::to_string(kMostSteps) + " steps");
}

void Steps::addStep(const Value& map, std::vector<Step>& all) {
    requireRoom(map, all.size() + 1);
    const std::string verb = verbOf(map).name;
    const Value& value = *map.find(verb);
    if (verb == "do") return addDeeds(value, all);
    Step step = {map.place, inShort(map), Never{}};
    if (verb == "call") {
        step.what = call(map, value);
    } else if (verb == "run") {
        step.what = run(map, value);
    } else if (verb == "pause") {
        step.what = Pause{mValues.time(value, "\"pause\"")};
    } else if (verb == "wait") {
        step.what = wait(map, value);
    } else if (verb == "never") {
        step.what = Never{mExpectations.items(value, verb)};
    } else {
        step.what = expect(map, value, verb != kAnyOrder);
    }
    all.push_back(std::move(step));
}

// One line of words may ask for several requests.
void Steps::addDeeds(const Value& value, std::vector<Step>& all) {
    const std::vector<std::string> words = mValues.words(value, "\"do\"");
    const emulator::Requests made = emulator::requestsOf(words);
    if (!made.error.empty()) mValues.refuse(value, cut(made.error, 300));
    requireRoom(value, all.size() + made.requests.size());
    const std::string text = cut(spell(value));
    for (const emulator::MadeRequest& request : made.requests) {
        if (request.path == "/v1/faults") requireFault(value, request.values);
        if (request.path == "/v1/subdisplay") mPictures.noteSize(request.values);
        all.push_back({value.place, "do: " + text,
                       Deed{text, request.method, request.path, request.values}});
    }
}

// The emulator would refuse it when it is too late.
void Steps::requireFault(const Value& value, const Json& given) const {
    if (!given.contains("text")) return;
    const std::string text = given.at("text");
    try {
        phone::checkFault(text);
    } catch (const phone::Error& error) {
        // As a shell does.
        const bool hasLost =
                value.text.find('"') != std::string::npos && text.find('"') == std::string::npos;
        mValues.refuse(value, std::string(error.what()) +
                                      (hasLost ? "; put the whole fault between '...', which keeps "
                                                 "its double quotes"
                                               : ""));
    }
}

Json Steps::arguments(const Value& value, const std::string& method) {
    if (value.kind == Value::Kind::Map && method == "drawSubDisplay") {
        mValues.requireKeys(value, "way to give a frame", {"picture"});
        return Json::array({mPictures.words(value.items.front())});
    }
    if (value.kind == Value::Kind::List) return mValues.json(value);
    mValues.refuse(value, "\"with\" must be a list of arguments, such as [128]");
}

Call Steps::call(const Value& map, const Value& method) {
    Call call;
    call.method = mValues.word(method, "method of the service", calls::methodNames());
    call.limit = limit(map, call.limit);
    const Value* with = map.find("with");
    if (with != nullptr) call.arguments = arguments(*with, call.method);
    const std::string wrong = calls::checkArguments(call.method, call.arguments);
    if (!wrong.empty()) mValues.refuse(with == nullptr ? method : *with, wrong);
    if (const Value* background = map.find("background")) {
        call.background = mValues.flag(*background, "\"background\"");
    }
    if (const Value* gives = map.find("gives")) {
        const Json results = mValues.json(*gives);
        call.gives = results.is_array() ? results : Json::array({results});
    }
    return call;
}

Run Steps::run(const Value& map, const Value& words) const {
    Run run;
    run.words = mValues.words(words, "\"run\"");
    run.limit = limit(map, run.limit);
    const std::vector<std::string> programs = {"bivistactl", "bivista-emulator"};
    if (std::ranges::find(programs, run.words.front()) == programs.end()) {
        Value program = words;
        program.text = run.words.front();
        mValues.refuseWord(program, "program to run", programs);
    }
    if (const Value* status = map.find("status")) {
        run.status = mValues.number(*status, "\"status\"", 0, 255);
    }
    if (const Value* out = map.find("out")) run.out = mValues.pattern(*out, "\"out\"");
    if (const Value* err = map.find("err")) run.err = mValues.pattern(*err, "\"err\"");
    return run;
}

Wait Steps::wait(const Value& map, const Value& conditions) {
    Wait wait;
    wait.limit = limit(map, wait.limit);
    wait.forCalls = conditions.kind == Value::Kind::Text && conditions.text == "calls";
    if (!wait.forCalls) wait.conditions = mExpectations.conditions(conditions);
    return wait;
}

Expect Steps::expect(const Value& map, const Value& items, bool inOrder) {
    Expect expect;
    expect.items = mExpectations.items(items, inOrder ? "expect" : kAnyOrder);
    expect.inOrder = inOrder;
    expect.limit = limit(map, expect.limit);
    return expect;
}

Milliseconds Steps::limit(const Value& map, Milliseconds otherwise) const {
    const Value* within = map.find("within");
    return within == nullptr ? otherwise : mValues.time(*within, "\"within\"");
}

}  // namespace play
