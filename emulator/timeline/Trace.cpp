// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/timeline/Trace.h"

#include <algorithm>
#include <charconv>
#include <optional>
#include <utility>

#include <nlohmann/json.hpp>

#include "emulator/cover/Text.h"
#include "kernel/base/CommandName.h"

namespace timeline {

using phone::Entry;
using phone::Kind;
using vendor::qmx::hardware::bivista::V1_1::implementation::nameOfCommand;
using Json = nlohmann::ordered_json;

namespace {

constexpr int kProcess = 1;
// More calls at once than any phone makes.
constexpr int kMostTracks = 64;
constexpr int kNoTrack = -1;

constexpr char kBrightness[] = "cover brightness";
constexpr char kPanelBrightness[] = "sub display brightness";
constexpr char kWaiting[] = "commands waiting";
constexpr char kVotes[] = "USB votes";

int firstTrack(Lane lane) {
    return 1 + static_cast<int>(lane) * kMostTracks;
}

bool lasts(const Item& item) {
    constexpr std::string_view kKinds[] = {"exchange", "frame", "upgrade", "call", "callback"};
    return item.durationUs > 0 || std::ranges::find(kKinds, item.kind) != std::end(kKinds);
}

std::optional<int64_t> brightnessOf(const Item& item) {
    constexpr std::string_view kCommand = "AT%DB=";
    if (item.kind != "exchange" || item.verdict != "OK") return std::nullopt;
    if (!cover::startsWithNoCase(item.title, kCommand)) return std::nullopt;
    int64_t value = 0;
    const char* const end = item.title.data() + item.title.size();
    const auto read = std::from_chars(item.title.data() + kCommand.size(), end, value);
    return read.ptr == end && read.ec == std::errc() ? std::optional(value) : std::nullopt;
}

// A member of an object; the value is JSON.
std::string member(const char* name, const std::string& value) {
    return std::string(",\"") + name + "\":" + value;
}

// Of printable ASCII, as all texts of items are.
std::string textMember(const char* name, const std::string& value) {
    return value.empty() ? "" : member(name, cover::quote(value));
}

// As the service names its own slices in the system's trace: an exchange without its arguments.
std::string nameOf(const Item& item) {
    return item.kind == "exchange" ? nameOfCommand(item.title.c_str()) : item.title;
}

std::string argumentsOf(const Item& item) {
    const std::string command = item.kind == "exchange" ? item.title : "";
    return "{\"seq\":" + std::to_string(item.id) + textMember("command", command) +
           textMember("detail", item.detail) + textMember("verdict", item.verdict) +
           (item.faulty ? member("faulty", "true") : "") + "}";
}

}  // namespace

Trace::Trace(Sink sink, Filter filter) : mSink(std::move(sink)), mFilter(std::move(filter)) {
    mSink("{\"displayTimeUnit\":\"ms\",\"traceEvents\":[");
    write(Json{{"name", "process_name"},
               {"ph", "M"},
               {"pid", kProcess},
               {"args", {{"name", "bivista-emulator"}}}}
                  .dump());
    for (const Lane lane : kLanes) {
        mTracks[lane].emplace_back();
        name(firstTrack(lane), std::string(timeline::name(lane)));
    }
}

void Trace::write(std::string_view event) {
    mSink(std::exchange(mIsFirst, false) ? "\n" : ",\n");
    mSink(event);
}

void Trace::name(int track, const std::string& text) {
    const auto tell = [&](const char* what, const Json& arguments) {
        write(Json{
                {"name", what}, {"ph", "M"}, {"pid", kProcess}, {"tid", track}, {"args", arguments}}
                      .dump());
    };
    tell("thread_name", {{"name", text}});
    tell("thread_sort_index", {{"sort_index", track}});
}

bool Trace::isTooEarly(int64_t timeUs) const {
    return mFilter.sinceWallUs && mStartWallUs + timeUs < *mFilter.sinceWallUs;
}

void Trace::count(std::string_view counter, int64_t timeUs, int64_t value) {
    const auto [known, isNew] = mCounters.emplace(counter, value);
    if (!isNew && std::exchange(known->second, value) == value) return;
    if (mAreCountersShown) writeCounter(counter, timeUs, value);
}

void Trace::writeCounter(std::string_view counter, int64_t timeUs, int64_t value) {
    write(Json{{"name", counter},
               {"ph", "C"},
               {"pid", kProcess},
               {"ts", timeUs},
               {"args", {{"value", value}}}}
                  .dump());
}

void Trace::countOf(const Entry& entry) {
    const int64_t timeUs = begin(entry).beginUs;
    constexpr size_t kConfigSize = 3;
    if (entry.kind == Kind::HidSet && entry.note.empty() && entry.bytes.size() == kConfigSize) {
        count(kPanelBrightness, timeUs, static_cast<uint8_t>(entry.bytes[2]));
    }
    if (entry.kind == Kind::NodeWrite && entry.path.ends_with("/power/control")) {
        const std::string word = entry.bytes.substr(0, entry.bytes.find('\n'));
        if (word == "on" || word == "auto") count(kVotes, timeUs, word == "on" ? 1 : 0);
    }
    const auto waiting = static_cast<int64_t>(mTimeline.waiting());
    if (waiting != 0 || mCounters.contains(kWaiting)) count(kWaiting, timeUs, waiting);
}

void Trace::add(const Entry& entry) {
    const Item own = begin(entry);
    if (mStartWallUs == 0) mStartWallUs = own.wallUs - own.beginUs;
    if (!mAreCountersShown && !isTooEarly(own.beginUs)) {
        mAreCountersShown = true;
        for (const auto& [counter, value] : mCounters) writeCounter(counter, own.beginUs, value);
    }
    if (entry.kind == Kind::Detach && mTimeline.isOfCover(entry)) {
        for (const char* const counter : {kBrightness, kPanelBrightness, kVotes}) {
            if (mCounters.contains(counter)) count(counter, own.beginUs, 0);
        }
    }
    mLastUs = std::max(mLastUs, own.beginUs + own.durationUs);
    mTimeline.add(entry);
    countOf(entry);
    for (Item& item : mTimeline.take()) {
        if (item.open) {
            mOpen[item.id] = std::move(item);
        } else {
            mOpen.erase(item.id);
            put(item);
        }
    }
}

int Trace::trackFor(const Item& item) {
    std::vector<Track>& tracks = mTracks[item.lane];
    auto free = std::ranges::find_if(
            tracks, [&](const Track& track) { return track.endUs <= item.beginUs; });
    const int track = firstTrack(item.lane) + static_cast<int>(free - tracks.begin());
    if (free == tracks.end()) {
        if (tracks.size() == kMostTracks) return kNoTrack;
        free = tracks.insert(free, Track());
        name(track, std::string(timeline::name(item.lane)) + " " + std::to_string(tracks.size()));
    }
    free->endUs = item.beginUs + item.durationUs;
    return track;
}

void Trace::put(const Item& item) {
    const auto brightness = brightnessOf(item);
    if (brightness) count(kBrightness, item.beginUs + item.durationUs, *brightness);
    if (!mFilter.takes(item)) return;
    const int track = lasts(item) ? trackFor(item) : kNoTrack;
    // By hand: a library takes several times as long, and there are 200,000 of them.
    std::string event = "{\"name\":" + cover::quote(nameOf(item)) + textMember("cat", item.kind);
    if (track == kNoTrack) {
        event += R"(,"ph":"i","s":"t")" + member("tid", std::to_string(firstTrack(item.lane)));
    } else {
        event += R"(,"ph":"X")" + member("dur", std::to_string(item.durationUs)) +
                 member("tid", std::to_string(track));
    }
    event += member("pid", std::to_string(kProcess)) + member("ts", std::to_string(item.beginUs)) +
             member("args", argumentsOf(item)) + "}";
    write(event);
}

void Trace::end() {
    for (auto& [id, item] : mOpen) {
        item.durationUs = std::max(item.durationUs, mLastUs - item.beginUs);
        item.verdict = "open";
        put(item);
    }
    mOpen.clear();
    mSink("\n],\"otherData\":" + Json{{"start_wall_us", mStartWallUs}}.dump() + "}\n");
}

}  // namespace timeline
