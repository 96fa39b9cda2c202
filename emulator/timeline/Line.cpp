// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/timeline/Line.h"

#include <algorithm>
#include <cstdio>
#include <ctime>

namespace timeline {

namespace {

// Columns of a line without title and detail: what the others take, and two between each.
constexpr size_t kTime = 12;      // "16:00:48.123"
constexpr size_t kLane = 8;       // "emulator"
constexpr size_t kDuration = 10;  // "12345.6 ms"
constexpr size_t kVerdict = 11;   // "no answer !"
constexpr size_t kGap = 2;
constexpr size_t kOthers = kTime + kLane + kDuration + kVerdict + 5 * kGap;
// Of title and detail where there is no width to keep.
constexpr size_t kWideTitle = 36;
constexpr size_t kWideDetail = 48;
constexpr size_t kNarrowest = 8;

std::string timeOfDay(int64_t wallUs) {
    constexpr int64_t kSecond = 1'000'000;
    const time_t seconds = static_cast<time_t>(wallUs / kSecond);
    tm local = {};
    localtime_r(&seconds, &local);
    char text[32];
    snprintf(text, sizeof(text), "%02d:%02d:%02d.%03d", local.tm_hour, local.tm_min, local.tm_sec,
             static_cast<int>(wallUs % kSecond / 1000));
    return text;
}

std::string fill(std::string text, size_t width) {
    if (text.size() < width) text.resize(width, ' ');
    return text;
}

std::string durationOf(const Item& item) {
    constexpr std::string_view kInstants[] = {"control", "log", "unsolicited"};
    const bool isInstant = std::ranges::find(kInstants, item.kind) != std::end(kInstants);
    // A short exchange too has a duration, an event has none.
    if (item.open || isInstant || (item.durationUs == 0 && item.verdict.empty())) return "";
    char text[32];
    const double ms = static_cast<double>(item.durationUs) / 1000;
    const int digits = ms < 100 ? 2 : ms < 99'999 ? 1 : 0;
    snprintf(text, sizeof(text), "%.*f ms", digits, ms);
    return text;
}

std::string verdictOf(const Item& item) {
    std::string verdict = item.open ? "open" : item.verdict;
    if (item.faulty) verdict += verdict.empty() ? "!" : " !";
    return verdict;
}

void trimRight(std::string& line) {
    line.erase(line.find_last_not_of(' ') + 1);
}

}  // namespace

std::string cut(std::string text, size_t width) {
    constexpr std::string_view kMore = "...";
    if (text.size() > width) text.replace(width - kMore.size(), std::string::npos, kMore);
    return text;
}

Line lineOf(const Item& item, size_t width) {
    size_t title = kWideTitle;
    size_t detail = kWideDetail;
    if (width != 0) {
        const size_t room = std::max(width, kOthers + 2 * kNarrowest) - kOthers;
        title = std::clamp(room * 2 / 5, kNarrowest, kWideTitle);
        detail = room - title;
    }
    const auto fitted = [width](const std::string& text, size_t most) {
        return fill(width == 0 ? text : cut(text, most), most);
    };
    const std::string gap(kGap, ' ');
    const std::string duration = durationOf(item);
    const std::string right =
            std::string(kDuration - std::min(kDuration, duration.size()), ' ') + duration;
    const std::string texts =
            item.detail.empty() ? fitted(item.title, title + kGap + detail)
                                : fitted(item.title, title) + gap + fitted(item.detail, detail);
    std::string line = timeOfDay(item.wallUs) + gap + fill(std::string(name(item.lane)), kLane) +
                       gap + texts + gap + right + gap;
    const std::string verdict = verdictOf(item);
    if (verdict.empty()) trimRight(line);
    if (width == 0) return {line, verdict};
    line = line.substr(0, width);
    return {line, verdict.substr(0, width - line.size())};
}

}  // namespace timeline
