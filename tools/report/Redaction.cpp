// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "tools/report/Redaction.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>
#include <utility>

#include "tools/text/Json.h"

namespace report {
namespace {

using ::bivistactl::Json;
using ::bivistactl::memberOf;
using ::bivistactl::parseShallow;
using ::bivistactl::textOf;

constexpr char kRedacted[] = "redacted";
constexpr char kWhy[] = "left out by --redact";

// The names of the commands that the service sends by itself, and the row for many. A client's own
// command may hold anything.
bool isKnownCommand(const std::string& name) {
    static const std::set<std::string> kNames = {
            "ATE0",
            "AT%BV",
            "AT%DB",
            "AT%GETBVCUTOUT",
            "AT%GODLOAD",
            "AT%GOSTMDLOAD",
            "AT%HPD",
            "AT%LOGSAVE",
            "AT%MODEL",
            "AT%PRGB",
            "AT%SHS",
            "AT%SMODE",
            "AT%SWV",
            "AT%TCHDEBUG=DELTA",
            "AT%TCHDEBUG=FWVER",
            "AT%TCHDEBUG=GPIO_PIN",
            "AT%TCHDEBUG=RAWDATA",
            "AT%TCHDEBUG=RESET",
            "AT%TCHNOTIFY=FW_UPGRADE",
            "AT%TCHNOTIFY=LPWG_NOTIFY",
            "AT%TCHNOTIFY=LPWG_SD",
            "AT%TCHNOTIFY=PULL_SD_RESULT",
            "AT%TCHNOTIFY=SD",
            "AT%TCHNOTIFY=SWTICH_AES",
            "AT%TCHUPDATE",
            "AT%TCPERF",
            "other",
    };
    return kNames.count(name) > 0;
}

bool isLower(char letter) {
    return letter >= 'a' && letter <= 'z';
}

bool isWordLetter(char letter) {
    return isLower(letter) || (letter >= 'A' && letter <= 'Z') ||
           (letter >= '0' && letter <= '9') || letter == '_' || letter == '.';
}

// The name of a method or a setting. A client's command has no small letters there.
bool isOwnName(const std::string& name) {
    return isLower(name.empty() ? '\0' : name.back()) &&
           std::all_of(name.begin(), name.end(), isWordLetter);
}

bool isKnownName(const std::string& name) {
    return isKnownCommand(name) || isOwnName(name);
}

// What the kernel or the service calls an event, a state, an order.
bool isWord(const std::string& text) {
    return std::all_of(text.begin(), text.end(), isWordLetter);
}

bool isAny(const std::string& /*text*/) {
    return true;
}

// Which texts of a section stay.
struct Rule {
    const char* section;
    const char* member;
    bool (*stays)(const std::string& text);
};

constexpr Rule kRules[] = {
        {"service", "version", isWord},    {"service", "build", isWord},
        {"callbacks", "lpwg", isWord},     {"serial", "path", isAny},
        {"subDisplay", "path", isAny},     {"subDisplay", "state", isWord},
        {"upgrade", "order", isWord},      {"upgrade", "status", isWord},
        {"colour", "group", isWord},       {"buffers", "state", isWord},
        {"lastFailure", "cause", isAny},   {"lastFailure", "command", isKnownName},
        {"commands", "name", isKnownName}, {"threads", "name", isAny},
        {"events", "kind", isWord},        {"events", "cause", isAny},
};

// Kinds of events whose `what` is the name of a command, which a client may have sent.
bool isOfCommand(const std::string& kind) {
    return kind == "failure" || kind == "timeout" || kind == "refused" || kind == "upgrade";
}

bool staysInEvent(const Json& event, const std::string& what) {
    const std::string kind = textOf(memberOf(event, "kind")).value_or("");
    return isOfCommand(kind) ? isKnownName(what) : isWord(what);
}

bool stays(const std::string& section, const Json& row, const std::string& member,
           const std::string& text) {
    if (section == "events" && member == "what") return staysInEvent(row, text);
    return std::any_of(std::begin(kRules), std::end(kRules), [&](const Rule& rule) {
        return section == rule.section && member == rule.member && rule.stays(text);
    });
}

Json redactRow(const std::string& section, const Json& row) {
    Json kept = Json::object();
    for (const auto& [name, value] : row.items()) {
        if (value.is_string()) {
            const auto& text = value.get_ref<const std::string&>();
            kept[name] = stays(section, row, name, text) ? text : kRedacted;
        } else if (!value.is_structured()) {
            kept[name] = value;
        } else if (value.is_array()) {
            kept[name] = Json::array();
            for (const Json& each : value) {
                if (each.is_number() || each.is_boolean()) kept[name].push_back(each);
            }
        }
    }
    return kept;
}

// The sections of a dump, whose names and members' names are the service's.
std::string redactDump(const std::string& text) {
    const Json whole = parseShallow(text);
    Json kept = Json::object();
    for (const auto& [section, value] : whole.items()) {
        if (value.is_object()) kept[section] = redactRow(section, value);
        if (!value.is_array()) continue;
        kept[section] = Json::array();
        for (const Json& row : value) {
            if (row.is_object()) kept[section].push_back(redactRow(section, row));
        }
    }
    return bivistactl::toLine(kept) + "\n";
}

// Which examinations found something; their words name users, programs and folders.
std::string redactFindings(const std::string& text) {
    doctor::Findings findings = doctor::readFindings(text);
    for (doctor::Finding& finding : findings) {
        finding.what = kRedacted;
        finding.remedy.clear();
        finding.lines.clear();
    }
    return doctor::inJson(findings);
}

// {"seq":N,"us":N,...,"kind":K,"path":P}: a path of the phone is the kernel's.
std::string redactEntry(const std::string& line) {
    const Json whole = parseShallow(line);
    Json kept = Json::object();
    if (!whole.is_object()) return "";
    for (const auto& [name, value] : whole.items()) {
        const std::string text = textOf(&value).value_or("");
        const bool isPath = text.starts_with("/dev/") || text.starts_with("/sys/");
        if (value.is_number() || value.is_boolean() || name == "kind" ||
            (name == "path" && isPath)) {
            kept[name] = value;
        }
    }
    return bivistactl::toLine(kept) + "\n";
}

std::string redactJournal(const std::string& text) {
    std::string kept;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) kept += redactEntry(line);
    return kept;
}

}  // namespace

Gathering redact(const Gathering& whole) {
    const std::pair<const char*, std::string (*)(const std::string&)> kept[] = {
            {kDump, redactDump},
            {kEvents, redactDump},
            {kDoctor, redactFindings},
            {kPhoneJournal, redactJournal},
    };
    Gathering gathering;
    for (const Missing& missing : whole.missing) gathering.miss(missing.name.c_str(), missing.why);
    for (const Member& member : whole.members) {
        const auto* const rule =
                std::find_if(std::begin(kept), std::end(kept),
                             [&](const auto& each) { return member.name == each.first; });
        if (rule == std::end(kept)) {
            gathering.miss(member.name.c_str(), kWhy);
        } else {
            gathering.add(member.name.c_str(), rule->second(member.bytes));
        }
    }
    return gathering;
}

Manifest redact(Manifest manifest) {
    manifest.redacted = true;
    manifest.machine.host.clear();
    manifest.machine.user.clear();
    return manifest;
}

}  // namespace report
