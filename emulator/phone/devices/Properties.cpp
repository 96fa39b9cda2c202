// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/phone/devices/Properties.h"

#include "emulator/phone/Error.h"
#include "emulator/phone/Paths.h"

namespace phone {

namespace {

void check(const std::string& key, const std::string& value) {
    if (key.empty() || key.find_first_of("=\n") != std::string::npos) {
        throw Error("a property's key must not be empty nor hold \"=\" or a line end");
    }
    if (value.find('\n') != std::string::npos) {
        throw Error("a property's value must not hold a line end");
    }
}

}  // namespace

void Properties::set(const std::string& key, const std::string& value) {
    check(key, value);
    call([&] {
        mValues[key] = value;
        std::string text;
        for (const auto& [name, content] : mValues) {
            text.append(name).append("=").append(content).append("\n");
        }
        mJournal.add(Kind::Property, key, value);
        mBackend.putFile(kPropertyFile, text);
    });
}

std::map<std::string, std::string> Properties::list() const {
    return call([&] { return mValues; });
}

void Properties::clear() {
    call([&] {
        mValues.clear();
        mJournal.add(Kind::Property, {}, {}, "cleared");
        mBackend.removeFile(kPropertyFile);
    });
}

void Properties::reset() {
    if (!mValues.empty()) clear();
}

}  // namespace phone
