// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/play/Condition.h"

#include <algorithm>

#include "emulator/play/Nearest.h"
#include "emulator/play/StageRun.h"

namespace play {

namespace {

// The first element from *at on that the pattern takes and no other condition has; *at moves on.
template <typename Element, typename Wanted>
bool find(const Stream<Element>& stream, const Wanted& pattern, std::set<size_t>& taken,
          size_t* at) {
    for (*at = std::max(*at, stream.begin()); *at < stream.end();) {
        const size_t number = (*at)++;
        if (takes(pattern, stream[number]) && taken.insert(number).second) return true;
    }
    return false;
}

template <typename Element, typename Wanted>
std::string tell(const Stream<Element>& stream, const Wanted& pattern, size_t from) {
    std::string text = tellNearest(pattern, stream, from);
    for (size_t i = stream.begin(); i < std::min(from, stream.end()); ++i) {
        if (!takes(pattern, stream[i])) continue;
        return text + "\nit came earlier, before " + inWords(stream[from - 1]) +
               ", which was found first: expect it above that, or both in any order";
    }
    return text;
}

// What stands at the pointer, or what of it is there.
std::string tellValue(const Json& state, const std::string& pointer) {
    for (Json::json_pointer part(pointer);; part = part.parent_pointer()) {
        if (!state.contains(part)) continue;
        const Json& value = state.at(part);
        if (part.to_string() == pointer) return pointer + " is " + value.dump();
        std::string names;
        for (const auto& [name, ignored] : value.items()) {
            names += (names.empty() ? "" : ", ") + name;
        }
        const std::string place = part.to_string().empty() ? "the state" : part.to_string();
        if (!value.is_structured()) return place + " is " + value.dump();
        return "there is no " + pointer + "; " + place + " has " + names;
    }
}

// Where two pictures of one size differ.
std::string tellPixels(const std::string& expected, const std::string& shown, size_t width) {
    size_t differ = 0;
    size_t first = expected.size();
    for (size_t i = expected.size(); i-- > 0;) {
        if (expected[i] == shown[i]) continue;
        ++differ;
        first = i;
    }
    const auto level = [](char digit) {
        return std::to_string(digit >= 'a' ? digit - 'a' + 10 : digit - '0');
    };
    return std::to_string(differ) + " of " + std::to_string(expected.size()) +
           " pixels differ; the first, in column " + std::to_string(first % width) + " of row " +
           std::to_string(first / width) + ", is of level " + level(shown[first]) + " instead of " +
           level(expected[first]);
}

std::string sizeOf(size_t width, size_t height) {
    return std::to_string(width) + " x " + std::to_string(height) + " pixels";
}

}  // namespace

Condition::Condition(const Expectation& expectation, Stage& stage, const Cursor& from)
    : mExpectation(expectation), mStage(stage), mFrom(from), mAt(from) {}

bool Condition::isOfService() const {
    return std::holds_alternative<ServicePattern>(mExpectation.what);
}

bool Condition::isOfPicture() const {
    return std::holds_alternative<PicturePattern>(mExpectation.what);
}

bool Condition::holds(Taken& taken, Milliseconds limit) {
    mHeld = std::visit([&](const auto& pattern) { return look(pattern, taken, limit); },
                       mExpectation.what);
    return mHeld;
}

bool Condition::look(const EntryPattern& pattern, Taken& taken, Milliseconds /*limit*/) {
    const Stream<phone::Entry>& entries = mStage.streams().entries;
    mIsFound = mIsFound || find(entries, pattern, taken.entries, &mAt.entry);
    return mIsFound;
}

bool Condition::look(const LogPattern& pattern, Taken& taken, Milliseconds /*limit*/) {
    const Stream<LogLine>& lines = mStage.streams().lines;
    mIsFound = mIsFound || find(lines, pattern, taken.lines, &mAt.line);
    return mIsFound;
}

bool Condition::look(const StatePattern& pattern, Taken& /*taken*/, Milliseconds /*limit*/) {
    const Json& state = mStage.look("/v1/state");
    const Json::json_pointer pointer(pattern.pointer);
    if (state.contains(pointer) && state.at(pointer) == pattern.value) {
        mCame = pattern.pointer + " is " + pattern.value.dump();
        return true;
    }
    mCame = tellValue(state, pattern.pointer);
    return false;
}

bool Condition::look(const ServicePattern& pattern, Taken& /*taken*/, Milliseconds limit) {
    const Outcome outcome = waitForService(mStage, pattern.condition, limit);
    mCame = outcome.status == 0 ? "it is so" : outcome.err;
    return outcome.status == 0;
}

bool Condition::look(const PicturePattern& pattern, Taken& /*taken*/, Milliseconds /*limit*/) {
    try {
        return compare(pattern, mStage.look("/v1/snapshot"));
    } catch (const Refused& refused) {
        mCame = refused.what();
        return false;
    }
}

bool Condition::compare(const PicturePattern& pattern, const Json& shown) {
    const auto width = shown.at("width").get<size_t>();
    const auto height = shown.at("height").get<size_t>();
    const auto& levels = shown.at("levels").get_ref<const std::string&>();
    if (width != pattern.width || height != pattern.height || levels.size() != width * height) {
        mCame = "the panel has " + sizeOf(width, height) + ", the picture " +
                sizeOf(pattern.width, pattern.height);
        return false;
    }
    mCame = levels == pattern.levels ? "it is shown" : tellPixels(pattern.levels, levels, width);
    return levels == pattern.levels;
}

std::string Condition::came() const {
    const Streams& streams = mStage.streams();
    if (const auto* entry = std::get_if<EntryPattern>(&mExpectation.what)) {
        return mIsFound ? inWords(streams.entries[mAt.entry - 1])
                        : tell(streams.entries, *entry, mFrom.entry);
    }
    if (const auto* line = std::get_if<LogPattern>(&mExpectation.what)) {
        return mIsFound ? inWords(streams.lines[mAt.line - 1])
                        : tell(streams.lines, *line, mFrom.line);
    }
    return mCame;
}

}  // namespace play
