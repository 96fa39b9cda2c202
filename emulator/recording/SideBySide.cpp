// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstdio>
#include <string_view>
#include <utility>

#include "emulator/cover/Text.h"
#include "emulator/recording/Deeds.h"
#include "emulator/timeline/Event.h"
#include "emulator/timeline/Line.h"

namespace recording {

using phone::Entry;
using timeline::cut;

namespace {

constexpr size_t kContext = 3;  // entries before and after a difference
constexpr size_t kWidest = 160;
constexpr size_t kNarrowest = 24;
constexpr std::string_view kNothing = "(nothing)";

// Two columns, between them whether they differ.
class Table {
  public:
    explicit Table(size_t width)
        : mWidth(std::clamp(width == 0 ? kWidest : width, kNarrowest, kWidest)) {}

    void title(const std::string& text) { mText += cut(text, mWidth) + "\n"; }

    void row(const std::string& left, const std::string& right, bool differs) {
        const size_t column = (mWidth - kMark.size()) / 2;
        std::string line = cut(left, column);
        line.resize(column, ' ');
        line += differs ? kMark : std::string_view("   ");
        line += cut(right, column);
        line.erase(line.find_last_not_of(' ') + 1);
        mText += line + "\n";
    }

    std::string text() && { return std::move(mText); }

  private:
    static constexpr std::string_view kMark = " ! ";
    const size_t mWidth;
    std::string mText;
};

// "2.191 AT%BV=1\r": seconds since the start, and what it was.
std::string cellOf(const Entry* entry) {
    if (entry == nullptr) return std::string(kNothing);
    const timeline::Item item = timeline::describe(*entry);
    char time[32];
    snprintf(time, sizeof(time), "%.3f ", static_cast<double>(entry->time.count()) / 1e9);
    std::string text = time + item.title;
    for (const std::string& part : {item.verdict, item.detail}) {
        if (!part.empty()) text += "  " + part;
    }
    return text;
}

// Where long texts differ is seldom in what a column shows of them.
void showText(Table& table, const char* name, const std::string& left, const std::string& right) {
    if (left == right) return;
    const auto [at, other] = std::ranges::mismatch(left, right);
    const auto offset = static_cast<size_t>(at - left.begin());
    // Some of the same bytes tell where in the text it is.
    const size_t from = offset - std::min<size_t>(offset, 4);
    constexpr size_t kShown = 64;
    const auto part = [&](const std::string& text) {
        const std::string begin = std::string("  ") + name + " at " + std::to_string(offset) + ": ";
        return begin + cover::quote(text.substr(std::min(from, text.size()), kShown));
    };
    table.row(part(left), part(right), true);
}

const Entry* at(const Deeds& deeds, size_t place) {
    return place < deeds.size() ? deeds[place] : nullptr;
}

void show(Table& table, const Difference& difference, const Deeds& left, const Deeds& right) {
    const Entry* const recorded = difference.recorded;
    const Entry* const replayed = difference.replayed;
    const auto place = static_cast<size_t>(
            recorded != nullptr ? std::ranges::find(left, recorded) - left.begin()
                                : std::ranges::find(right, replayed) - right.begin());
    table.title(difference.lane + ", deed " + std::to_string(place + 1));
    const size_t most = std::max(left.size(), right.size());
    const size_t end = std::min(place + kContext + 1, most);
    for (size_t i = place - std::min(place, kContext); i < end; ++i) {
        table.row(cellOf(at(left, i)), cellOf(at(right, i)), i == place);
        if (i != place || recorded == nullptr || replayed == nullptr) continue;
        showText(table, "bytes", recorded->bytes, replayed->bytes);
        showText(table, "note", recorded->note, replayed->note);
    }
}

}  // namespace

std::string sideBySide(const Comparison& comparison, const Recording& recorded,
                       const std::vector<Entry>& replayed, size_t width) {
    if (comparison.differences.empty()) return "";
    std::map<std::string, Deeds> left = byLane(deedsOf(recorded.header, recorded.entries));
    std::map<std::string, Deeds> right = byLane(deedsOf(recorded.header, replayed));
    Table table(width);
    table.row("recorded", "replayed", false);
    for (const Difference& difference : comparison.differences) {
        table.title("");
        show(table, difference, left[difference.lane], right[difference.lane]);
    }
    return std::move(table).text();
}

}  // namespace recording
