// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Findings for people, and as JSON.
#include <unistd.h>

#include <algorithm>
#include <nlohmann/json.hpp>

#include "cli/Colour.h"
#include "tools/doctor/Examination.h"
#include "tools/text/Json.h"
#include "tools/text/Text.h"

namespace doctor {
namespace {

using ::bivistactl::Json;
using ::bivistactl::memberOf;
using ::bivistactl::spellControls;
using ::bivistactl::textOf;

std::string verdict(Weight weight) {
    switch (weight) {
        case Weight::FINE:
            return cli::inColour(cli::Colour::GOOD, "ok", STDOUT_FILENO) + "       ";
        case Weight::NOTE:
            return cli::inColour(cli::Colour::NAME, "note", STDOUT_FILENO) + "     ";
        case Weight::PROBLEM:
            break;
    }
    return cli::inColour(cli::Colour::BAD, "problem", STDOUT_FILENO) + "  ";
}

Json toJson(const Finding& finding) {
    Json entry = {{"check", finding.check},
                  {"ok", finding.weight != Weight::PROBLEM},
                  {"what", finding.what}};
    if (finding.weight == Weight::NOTE) entry["note"] = true;
    if (!finding.remedy.empty()) entry["remedy"] = finding.remedy;
    if (!finding.lines.empty()) entry["lines"] = finding.lines;
    return entry;
}

bool isTrue(const Json& object, const char* name) {
    const Json* const member = memberOf(object, name);
    return member != nullptr && *member == true;
}

Weight weightOf(const Json& finding) {
    if (!isTrue(finding, "ok")) return Weight::PROBLEM;
    return isTrue(finding, "note") ? Weight::NOTE : Weight::FINE;
}

}  // namespace

bool hasProblem(const Findings& findings) {
    return std::any_of(findings.begin(), findings.end(),
                       [](const Finding& finding) { return finding.weight == Weight::PROBLEM; });
}

std::string inWords(const Findings& findings) {
    constexpr char kBelow[] = "         ";
    std::string text;
    for (const Finding& finding : findings) {
        text += verdict(finding.weight) + finding.check + ": " + spellControls(finding.what) + "\n";
        if (!finding.remedy.empty()) text += kBelow + spellControls(finding.remedy) + "\n";
        for (const std::string& line : finding.lines) {
            text += std::string(kBelow) + "| " + spellControls(line) + "\n";
        }
    }
    return text;
}

std::string inJson(const Findings& findings) {
    Json list = Json::array();
    for (const Finding& finding : findings) list.push_back(toJson(finding));
    return bivistactl::toLine(Json({{"ok", !hasProblem(findings)}, {"findings", list}})) + "\n";
}

Findings readFindings(std::string_view json) {
    const Json all = ::bivistactl::parseShallow(json);
    const Json* const list = memberOf(all, "findings");
    Findings findings;
    if (list == nullptr || !list->is_array()) return findings;
    for (const Json& each : *list) {
        const auto check = textOf(memberOf(each, "check"));
        if (!check) continue;
        findings.push_back({weightOf(each), *check, textOf(memberOf(each, "what")).value_or(""),
                            textOf(memberOf(each, "remedy")).value_or("")});
    }
    return findings;
}

}  // namespace doctor
