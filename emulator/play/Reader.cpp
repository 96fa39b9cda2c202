// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/play/Reader.h"

#include "emulator/play/Document.h"
#include "emulator/play/ReaderSteps.h"

namespace play {

namespace {

const Value& need(const Values& values, const Value& map, const char* name) {
    const Value* value = map.find(name);
    if (value != nullptr) return *value;
    values.refuse(map, "\"" + std::string(name) + "\" is missing");
}

Start readStart(const Value& value, Steps& steps) {
    const Values& values = steps.values();
    if (value.kind != Value::Kind::Map) {
        values.refuse(value, "\"start\" must be a map of properties, cover and do");
    }
    values.requireKeys(value, "word of \"start\"", {"properties", "cover", "do"});
    Start start;
    if (const Value* properties = value.find("properties")) {
        if (properties->kind != Value::Kind::Map) {
            values.refuse(*properties, "\"properties\" must be a map, {KEY: VALUE}");
        }
        for (size_t i = 0; i < properties->keys.size(); ++i) {
            start.properties.emplace_back(properties->keys[i].text,
                                          values.text(properties->items[i], "a property"));
        }
    }
    if (const Value* cover = value.find("cover")) start.cover = values.flag(*cover, "\"cover\"");
    if (const Value* deeds = value.find("do")) start.deeds = steps.deeds(*deeds);
    return start;
}

}  // namespace

Scenario readBytes(const std::string& bytes, const std::filesystem::path& file) {
    const Value root = parse(bytes, file);
    Steps steps(file);
    const Values& values = steps.values();
    values.requireKeys(root, "part of a scenario", {"scenario", "about", "start", "steps"});
    Scenario scenario = {.file = file,
                         .name = values.line(need(values, root, "scenario"), "\"scenario\"")};
    scenario.about = values.text(need(values, root, "about"), "\"about\"");
    if (scenario.about.empty()) {
        values.refuse(*root.find("about"), "\"about\" is empty: write what the scenario shows");
    }
    if (const Value* start = root.find("start")) scenario.start = readStart(*start, steps);
    scenario.steps = steps.steps(need(values, root, "steps"));
    return scenario;
}

Scenario read(const std::filesystem::path& file) {
    return readBytes(load(file), file);
}

}  // namespace play
