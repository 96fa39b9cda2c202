// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/phone/Entry.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include <nlohmann/json.hpp>

#include "emulator/cover/Text.h"

namespace phone {

namespace {

using Json = nlohmann::ordered_json;
using std::chrono::duration_cast;
using std::chrono::microseconds;
using std::chrono::nanoseconds;

constexpr std::pair<Kind, std::string_view> kNames[] = {
        {Kind::Attach, "attach"},
        {Kind::Detach, "detach"},
        {Kind::TtyOpen, "tty-open"},
        {Kind::Dtr, "dtr"},
        {Kind::TtyRx, "tty-rx"},
        {Kind::TtyTx, "tty-tx"},
        {Kind::NodeOpen, "node-open"},
        {Kind::NodeWrite, "node-write"},
        {Kind::NodeClose, "node-close"},
        {Kind::NodeRefused, "node-refused"},
        {Kind::NodeSet, "node-set"},
        {Kind::KernelLog, "klog"},
        {Kind::HidOpen, "hid-open"},
        {Kind::HidGet, "hid-get"},
        {Kind::HidSet, "hid-set"},
        {Kind::HidWrite, "hid-write"},
        {Kind::HidClose, "hid-close"},
        {Kind::HidlCall, "hidl-call"},
        {Kind::Uevent, "uevent"},
        {Kind::Upgrade, "upgrade"},
        {Kind::Property, "property"},
        {Kind::Fault, "fault"},
        {Kind::TtyLost, "tty-lost"},
        {Kind::UsbPower, "usb-power"},
        {Kind::ClientCall, "client-call"},
        {Kind::ClientCallback, "client-callback"},
        {Kind::Mark, "mark"},
        {Kind::FaultMet, "fault-met"},
        {Kind::Control, "control"},
        {Kind::Signal, "signal"},
};

int64_t us(nanoseconds time) {
    return duration_cast<microseconds>(time).count();
}

bool readTime(const Json& object, const char* member, nanoseconds& out) {
    constexpr int64_t kMost = duration_cast<microseconds>(nanoseconds::max()).count();
    const auto value = object.find(member);
    if (value == object.end() || !value->is_number_unsigned()) return false;
    if (value->get<uint64_t>() > uint64_t{kMost}) return false;
    out = microseconds(value->get<int64_t>());
    return true;
}

bool readText(const Json& object, const char* member, std::string& out) {
    const auto value = object.find(member);
    if (value == object.end()) return true;
    if (!value->is_string()) return false;
    auto text = cover::unescape(value->get_ref<const std::string&>());
    if (!text) return false;
    out = *std::move(text);
    return true;
}

}  // namespace

std::string_view name(Kind kind) {
    for (const auto& [named, text] : kNames) {
        if (named == kind) return text;
    }
    return "unknown";
}

std::optional<Kind> kindOf(std::string_view name) {
    for (const auto& [named, text] : kNames) {
        if (text == name) return named;
    }
    return std::nullopt;
}

std::string toJson(const Entry& entry) {
    Json json = {{"seq", entry.seq},
                 {"time_us", us(entry.time)},
                 {"wall_us", us(entry.wall)},
                 {"kind", name(entry.kind)}};
    if (!entry.path.empty()) json["path"] = cover::escape(entry.path);
    if (!entry.bytes.empty()) json["bytes"] = cover::escape(entry.bytes);
    if (!entry.note.empty()) json["note"] = cover::escape(entry.note);
    if (entry.duration) json["duration_us"] = us(*entry.duration);
    return json.dump();
}

std::optional<Entry> fromJson(const Json& object) {
    if (!object.is_object()) return std::nullopt;
    const auto seq = object.find("seq");
    const auto kindName = object.find("kind");
    if (seq == object.end() || !seq->is_number_unsigned()) return std::nullopt;
    if (kindName == object.end() || !kindName->is_string()) return std::nullopt;
    const std::optional<Kind> kind = kindOf(kindName->get_ref<const std::string&>());
    if (!kind) return std::nullopt;
    Entry entry;
    entry.seq = seq->get<uint64_t>();
    entry.kind = *kind;
    const bool isWhole =
            readTime(object, "time_us", entry.time) && readText(object, "path", entry.path) &&
            readText(object, "bytes", entry.bytes) && readText(object, "note", entry.note);
    if (!isWhole) return std::nullopt;
    // Journals of earlier versions have no wall clock.
    if (object.contains("wall_us") && !readTime(object, "wall_us", entry.wall)) return std::nullopt;
    if (object.contains("duration_us") &&
        !readTime(object, "duration_us", entry.duration.emplace())) {
        return std::nullopt;
    }
    return entry;
}

Match is(Kind kind, std::string bytes) {
    return [kind, bytes = std::move(bytes)](const Entry& entry) {
        return entry.kind == kind && entry.bytes == bytes;
    };
}

Match beginsWith(Kind kind, std::string bytes) {
    return [kind, bytes = std::move(bytes)](const Entry& entry) {
        return entry.kind == kind && entry.bytes.starts_with(bytes);
    };
}

Match isOn(Kind kind, std::string path, std::string bytes) {
    return [kind, path = std::move(path), bytes = std::move(bytes)](const Entry& entry) {
        return entry.kind == kind && entry.path == path && entry.bytes == bytes;
    };
}

}  // namespace phone
