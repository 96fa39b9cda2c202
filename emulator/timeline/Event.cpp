// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/timeline/Event.h"

#include <algorithm>

#include <nlohmann/json.hpp>

#include "emulator/timeline/Spelling.h"

namespace timeline {

using phone::Entry;
using phone::Kind;

namespace {

using Json = nlohmann::ordered_json;

// "/sys/.../bv2_pd" is "bv2_pd"; "/sys/.../1-1/power/control" is "power/control".
std::string shortPath(const std::string& path) {
    size_t slash = path.rfind('/');
    if (slash == std::string::npos) return path;
    if (path.ends_with("/power/control")) slash = path.rfind('/', slash - 1);
    return path.substr(slash + 1);
}

// A line's end says nothing to people.
std::string_view withoutLineEnd(std::string_view text) {
    if (text.ends_with('\n')) text.remove_suffix(1);
    return text;
}

uint8_t byteAt(const std::string& report, size_t at) {
    return at < report.size() ? static_cast<uint8_t>(report[at]) : 0;
}

// The panel's feature reports in words; emulator/cover/Panel.h has their bytes.
std::string describeInfo(const std::string& report) {
    const int width = byteAt(report, 1) | byteAt(report, 2) << 8;
    const int height = byteAt(report, 3) | byteAt(report, 4) << 8;
    return "panel is " + std::to_string(width) + "x" + std::to_string(height) + ", format " +
           std::to_string(byteAt(report, 5)) + ", ready " + std::to_string(byteAt(report, 6));
}

std::string describeConfig(const std::string& report) {
    constexpr int kOn = 2;
    const bool isOn = (byteAt(report, 1) & kOn) != 0;
    return std::string("panel <- ") + (isOn ? "on" : "off") + ", brightness " +
           std::to_string(byteAt(report, 2));
}

// The words of a uevent that say more than which device it is of.
std::string describeUevent(const std::string& message) {
    constexpr std::string_view kCommon[] = {"ACTION=", "DEVPATH=", "SUBSYSTEM=", "SEQNUM="};
    std::string words;
    for (size_t at = 0; at < message.size();) {
        const size_t end = std::min(message.find('\0', at), message.size());
        const std::string_view word = std::string_view(message).substr(at, end - at);
        const bool isCommon = std::ranges::any_of(
                kCommon, [&](std::string_view common) { return word.starts_with(common); });
        if (at > 0 && !isCommon) append(words, spell(word));
        at = end + 1;
    }
    return words.empty() ? spell(message.substr(0, message.find('\0'))) : words;
}

// A call without the interface's name, its arguments in brackets.
std::string describeCall(const Entry& entry, std::string_view arguments) {
    const std::string& path = entry.path;
    std::string_view method = path;
    if (const size_t point = path.rfind('.'); point != std::string::npos) {
        method = std::string_view(path).substr(point + 1);
    }
    return spellText(std::string(method).append("(").append(arguments).append(")"));
}

std::string_view withoutBrackets(std::string_view json) {
    if (!json.starts_with('[') || !json.ends_with(']')) return json;
    return json.substr(1, json.size() - 2);
}

// Strings in calls spell their bytes already; JSON's own escapes on top would double each
// backslash.
std::string withoutEscapes(std::string_view json) {
    std::string text;
    for (size_t i = 0; i < json.size(); ++i) {
        const bool escapes = i + 1 < json.size() && (json[i + 1] == '\\' || json[i + 1] == '"');
        if (json[i] == '\\' && escapes) ++i;
        text += json[i];
    }
    return text;
}

// The status is the first of the results.
void describeClientCall(const Entry& entry, Item& item) {
    item.kind = entry.kind == Kind::ClientCall ? "call" : "callback";
    item.title = describeCall(entry, withoutEscapes(withoutBrackets(entry.bytes)));
    const Json results = Json::parse(entry.note, nullptr, false);
    if (!results.is_array()) {
        item.verdict = spell(entry.note);
        return;
    }
    const bool hasStatus =
            !results.empty() && (results[0] == Json("OK") || results[0] == Json("FAIL"));
    item.verdict = hasStatus ? results[0].get<std::string>() : "OK";
    std::string rest;
    for (size_t i = hasStatus ? 1 : 0; i < results.size(); ++i) {
        if (!rest.empty()) rest += ",";
        rest += results[i].dump(-1, ' ', true, Json::error_handler_t::replace);
    }
    item.detail = spellText(withoutEscapes(rest));
}

std::string titleOf(const Entry& entry) {
    switch (entry.kind) {
        case Kind::Attach:
        case Kind::Detach:
        case Kind::UsbPower:
            return spell(std::string(name(entry.kind))
                                 .append(entry.path.empty() ? "" : " ")
                                 .append(entry.path));
        case Kind::TtyOpen:
        case Kind::NodeOpen:
        case Kind::HidOpen:
            return spell("open " + shortPath(entry.path));
        case Kind::NodeClose:
        case Kind::HidClose:
            return spell("close " + shortPath(entry.path));
        case Kind::NodeRefused:
            return spell("refused " + shortPath(entry.path));
        case Kind::Dtr:
            return spell("DTR " + entry.note);
        case Kind::TtyLost:
            return spell("lost " + entry.bytes);
        case Kind::NodeWrite:
            return spell(shortPath(entry.path).append(" <- ").append(withoutLineEnd(entry.bytes)));
        case Kind::NodeSet:
            return spell(shortPath(entry.path).append(" = ").append(withoutLineEnd(entry.bytes)));
        case Kind::HidGet:
            return describeInfo(entry.bytes);
        case Kind::HidSet:
            return describeConfig(entry.bytes);
        case Kind::HidlCall:
            return describeCall(entry, entry.bytes);
        case Kind::Uevent:
            return describeUevent(entry.bytes);
        case Kind::Property:
            return entry.path.empty() ? "properties" : spell(entry.path + " = " + entry.bytes);
        case Kind::Fault:
            return entry.bytes.empty() ? "faults cleared" : spellText("fault " + entry.bytes);
        case Kind::FaultMet:
            return spellText("met " + entry.bytes);
        case Kind::Control:
            return spell(entry.path);
        case Kind::KernelLog:
            return spell(withoutLineEnd(entry.bytes));
        case Kind::Signal:
            return spell("signal " + entry.bytes);
        default:
            return spell(entry.bytes);
    }
}

}  // namespace

Item describe(const Entry& entry) {
    Item item = begin(entry);
    if (entry.kind == Kind::ClientCall || entry.kind == Kind::ClientCallback) {
        describeClientCall(entry, item);
        return item;
    }
    item.kind = entry.kind == Kind::HidlCall ? "neighbour-call" : name(entry.kind);
    item.title = titleOf(entry);
    if (entry.kind == Kind::Control) {
        item.detail = spellText(entry.bytes);
        append(item.detail, spell(entry.note));
        if (!entry.note.empty()) item.verdict = "refused";
    } else if (entry.kind != Kind::Dtr) {
        item.detail = spell(entry.note);
    }
    return item;
}

}  // namespace timeline
