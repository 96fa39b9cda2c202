// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "tools/doctor/Account.h"

#include <algorithm>

namespace doctor {
namespace {

constexpr size_t kLongestLine = 300;

bool fits(std::string_view asked, const std::string& text) {
    return asked.empty() || asked == text;
}

void keepLast(Lines* lines) {
    if (lines->size() > kMostLines) {
        lines->erase(lines->begin(), lines->end() - static_cast<ptrdiff_t>(kMostLines));
    }
}

std::string valueOf(const bivistactl::Dump& dump, const bivistactl::DumpMember& member) {
    if (const auto flag = dump.flag(member)) return *flag ? "true" : "false";
    if (const auto number = dump.number(member)) return std::to_string(*number);
    return dump.text(member).value_or("null");
}

}  // namespace

bool Which::matches(const Event& event) const {
    return event.number > after && fits(kind, event.kind) && fits(what, event.what) &&
           fits(cause, event.cause);
}

const Event* Account::last(const Which& which) const {
    const auto& events = history.events();
    const auto found = std::find_if(events.rbegin(), events.rend(),
                                    [&](const Event& event) { return which.matches(event); });
    return found == events.rend() ? nullptr : &*found;
}

int64_t Account::count(const Which& which) const {
    const auto& events = history.events();
    return std::count_if(events.begin(), events.end(),
                         [&](const Event& event) { return which.matches(event); });
}

Lines Account::lines(const Which& which) const {
    Lines found;
    for (const Event& event : history.events()) {
        if (which.matches(event)) found.push_back(inWords(event));
    }
    keepLast(&found);
    return found;
}

Lines Account::lines(const Event* event) {
    return event == nullptr ? Lines() : Lines{inWords(*event)};
}

Lines Account::line(const bivistactl::DumpMember& member) const {
    if (!dump.has(member)) return {};
    return {"dump: " + std::string(member.section) + "." + member.name + " is " +
            valueOf(dump, member)};
}

Lines Account::logLines(std::string_view text) const {
    Lines found;
    size_t number = 1;
    for (size_t at = 0; at < log.size(); ++number) {
        const size_t end = std::min(log.find('\n', at), log.size());
        const std::string_view line = std::string_view(log).substr(at, end - at);
        if (line.find(text) != std::string_view::npos) {
            found.push_back("log:" + std::to_string(number) + ": " +
                            std::string(line.substr(0, kLongestLine)));
            keepLast(&found);
        }
        at = end + 1;
    }
    return found;
}

Lines operator+(Lines lines, const Lines& more) {
    lines.insert(lines.end(), more.begin(), more.end());
    return lines;
}

std::string counted(int64_t number, const std::string& noun) {
    return std::to_string(number) + " " + noun + (number == 1 ? "" : "s");
}

}  // namespace doctor
