// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/play/Around.h"

#include <algorithm>
#include <map>
#include <tuple>
#include <utility>
#include <vector>

#include "emulator/timeline/Line.h"
#include "emulator/timeline/Timeline.h"

namespace play {

namespace {

using timeline::Item;

// Where there are more than these, the first and the last are told.
constexpr size_t kMost = 12;
constexpr size_t kFirst = 4;

// Says nothing to a reader. `answers`: those that questions have had so far.
bool isNoise(const Item& item, std::map<std::string, std::string>& answers) {
    if (timeline::isBackground(item.kind)) return true;
    // Votes against USB's suspend stand around each exchange.
    if (item.title.starts_with("power/control <-")) return true;
    // Who waits asks again and again.
    if (item.kind != "call" || !item.title.starts_with("get")) return false;
    const std::string answer = item.verdict + " " + item.detail;
    return std::exchange(answers[item.title], answer) == answer;
}

std::vector<Item> itemsOf(const Stream<phone::Entry>& entries) {
    timeline::Timeline timeline;
    for (size_t i = entries.begin(); i < entries.end(); ++i) timeline.add(entries[i]);
    std::vector<Item> items = timeline.take();
    std::ranges::sort(items, {}, [](const Item& item) {
        return std::tuple(item.beginUs, -item.durationUs, item.id);
    });
    std::map<std::string, std::string> answers;
    std::erase_if(items, [&](const Item& item) { return isNoise(item, answers); });
    return items;
}

std::string inLine(const Item& item) {
    const timeline::Line line = timeline::lineOf(item, 0);
    return line.text + line.verdict + "\n";
}

}  // namespace

std::string tellAround(const Stream<phone::Entry>& entries, size_t since) {
    const std::vector<Item> items = itemsOf(entries);
    const uint64_t seq =
            since < entries.end() ? entries[std::max(since, entries.begin())].seq : UINT64_MAX;
    const auto isSince = [seq](const Item& item) { return item.last >= seq; };
    const size_t recent = static_cast<size_t>(std::ranges::count_if(items, isSince));
    size_t left = std::min(items.size(), std::max(recent, kMost));
    const size_t omitted = left > kMost ? left - kMost : 0;
    std::string text;
    for (size_t told = 0; left > 0; --left, ++told) {
        if (told == kFirst && omitted > 0) {
            text += "... " + std::to_string(omitted) + " more ...\n";
            left -= omitted;
        }
        text += inLine(items[items.size() - left]);
    }
    return text;
}

}  // namespace play
